// What stands behind a handle of the C interface, and what its functions share: the guard that keeps exceptions inside,
// texts from the caller, texts for the caller.
#pragma once
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

#include "mova/CVeCmdManager.h"
#include "mova/mova.h"

namespace mova {

// Tells the caller's functions what the object tells its listener.
class CallbackEvents final : public ConfirmationEvents {
public:
    explicit CallbackEvents(const mova_events& told) : told_(told) {}

    void OnCpGetMovaCnf(std::int32_t type, std::int32_t length, const std::string& text) override;
    void readerStarted() override;
    void readerEnded() override;
    void letCallsIn() override;

private:
    const mova_events told_;
};

struct InvalidArgument {};

// The caller's text; throws InvalidArgument when it cannot be one.
std::string textFrom(const char* text, std::size_t length);
// Throws it when there is a size without an array.
void requireArray(const std::uint8_t* array, std::size_t size);

// Where the caller wants a text.
struct TextPlace {
    char* buffer;
    std::size_t capacity;
    std::size_t* length;
};

// Writes the text, or keeps it for mova_unread_text: what the function then returns.
mova_code giveText(std::optional<std::string> text, Code code, const TextPlace& place) noexcept;

template <class Out, class Value>
void put(Out* out, Value value) {
    if (out != nullptr) *out = static_cast<Out>(value);
}

inline mova_code outcome(Code code) { return number(code); }
inline mova_code outcome(mova_code code) { return code; }

// Every function with a handle runs inside this: an exception that leaves it would end the caller's program. An action
// without a result of its own succeeds.
template <class Action>
mova_code guarded(Action action) noexcept {
    try {
        if constexpr (std::is_void_v<decltype(action())>) {
            action();
            return MOVA_SUCCESS;
        } else {
            return outcome(action());
        }
    } catch (const InvalidArgument&) {
        return MOVA_INVALID_ARGUMENT;
    } catch (const std::bad_alloc&) {
        return MOVA_OUT_OF_MEMORY;
    } catch (const std::length_error&) {  // a length that no text or buffer can have
        return MOVA_OUT_OF_MEMORY;
    } catch (...) {
        return MOVA_FAILED;
    }
}

}  // namespace mova

struct mova_handset {
    explicit mova_handset(std::shared_ptr<mova::ConfirmationEvents> events) : manager(std::move(events)) {}
    mova_handset(mova::Platform& platform, std::shared_ptr<mova::ConfirmationEvents> events)
        : manager(platform, std::move(events)) {}

    mova::CVeCmdManager manager;
};

namespace mova {

template <class Action>
mova_code onHandset(mova_handset* handset, Action action) noexcept {
    if (handset == nullptr) return MOVA_INVALID_ARGUMENT;
    return guarded([&] { return action(handset->manager); });
}

}  // namespace mova
