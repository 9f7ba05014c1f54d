// One argument of a late-bound call: how it reaches the method and how its outcome comes back to the caller. The way
// follows from the parameter: a value, a pointer for a value in and out, a pointer for a value out, a pointer to a
// VARIANT, a pointer to bytes.
#pragma once
#include <memory>
#include <span>
#include <vector>

#include "component/automation/FunctionDescription.h"

namespace mova {

class PassedArgument {
public:
    PassedArgument() = default;
    PassedArgument(const PassedArgument&) = delete;
    PassedArgument& operator=(const PassedArgument&) = delete;
    virtual ~PassedArgument() = default;

    // Fills in what the system's Invoke is handed; it owns nothing, and is good as long as this object. A missing
    // argument is prepared for an out-only parameter only.
    virtual HRESULT prepare(VARIANT& passed) = 0;
    // After the method's success: makes the outcome fit the caller's reference, and touches nothing of the caller's.
    virtual HRESULT fitOutcome() { return S_OK; }
    // After every argument's outcome fits: writes it where the caller's reference leads.
    virtual void giveBack() {}
};

// Not given: an argument that was left out or leads nowhere.
bool isMissing(const VARIANT* argument);

// given: the caller's arguments by parameter, null where there is none.
std::vector<std::unique_ptr<PassedArgument>> passedArguments(const FunctionDescription& function,
                                                             std::span<VARIANT* const> given);

}  // namespace mova
