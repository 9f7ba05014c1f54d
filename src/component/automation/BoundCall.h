// One late-bound call's arguments: matched with the parameters, typed exactly, and afterwards carried back.
#pragma once
#include <cstdint>
#include <vector>

#include "component/automation/LateBinding.h"

namespace mova {

class BoundCall {
public:
    explicit BoundCall(const LateBinding::Function& function);
    BoundCall(const BoundCall&) = delete;
    BoundCall& operator=(const BoundCall&) = delete;
    ~BoundCall();

    // Fails with the system's dispatch errors; wrongArgument() then tells which of the caller's arguments it was.
    HRESULT take(DISPPARAMS& given);
    // What the system's Invoke is handed: positional, last first.
    DISPPARAMS forSystem();
    // Where the system's Invoke puts the return value.
    VARIANT& returned() { return returned_; }
    // Only after success. The caller gets everything or, when something does not fit or there is no memory, nothing.
    HRESULT giveBack(VARIANT* result);
    // The caller's index of the argument that failed, from the system's index.
    UINT callersIndex(UINT systemsIndex) const;
    UINT wrongArgument() const { return wrong_; }

private:
    struct Slot {
        VARIANT* given = nullptr;  // the caller's argument; null: missing
        UINT givenIndex = 0;
        bool lent = false;                // the caller's own storage is passed
        VARIANT own{};                    // the typed value, when not lent
        VARIANT alias{};                  // a second view of the caller's array
        std::vector<std::uint8_t> bytes;  // storage for a byte pointer
        bool standsIn = false;            // own holds a byte array in place of a script's array
        std::size_t filled = 0;           // bytes of it that the entry wrote
    };

    HRESULT match(DISPPARAMS& given);
    HRESULT prepare(std::size_t index);
    HRESULT prepareValue(const LateBinding::Parameter& parameter, Slot& slot, VARIANT& passed);
    HRESULT preparePointer(const LateBinding::Parameter& parameter, Slot& slot, VARIANT& passed);
    HRESULT prepareVariant(Slot& slot, VARIANT& passed);
    HRESULT prepareBytes(std::size_t index, Slot& slot, VARIANT& passed);
    bool isGivenBack(std::size_t index) const;
    HRESULT fitOutcomes();
    void giveBackElements(std::size_t index);
    std::size_t bytesFilled(std::size_t index) const;
    VARIANT& passedTo(std::size_t index) { return passed_[passed_.size() - 1 - index]; }

    const LateBinding::Function& function_;
    std::vector<Slot> slots_;      // by parameter
    std::vector<VARIANT> passed_;  // last parameter first; nothing in it is owned
    VARIANT returned_{};
    UINT wrong_ = 0;
};

}  // namespace mova
