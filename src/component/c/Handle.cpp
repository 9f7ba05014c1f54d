#include "component/c/Handle.h"

#include <algorithm>
#include <array>
#include <limits>

#include "base/CodeTexts.h"
#include "mova/Device.h"

namespace mova {

namespace {

struct UnreadText {
    std::optional<std::string> text;
    mova_code code = MOVA_SUCCESS;
};
thread_local UnreadText unread;

struct OwnCode {
    mova_code code;
    const char* name;
    const char* text;
};
constexpr std::array kOwnCodes{
    OwnCode{MOVA_SUCCESS, "Success", "success"},
    OwnCode{MOVA_OUT_OF_MEMORY, "OutOfMemory", "out of memory"},
    OwnCode{MOVA_INVALID_ARGUMENT, "InvalidArgument", "an argument that the function cannot take"},
    OwnCode{MOVA_BUFFER_TOO_SMALL, "BufferTooSmall", "the text does not fit into the buffer"},
    OwnCode{MOVA_FAILED, "Failed", "the system did something unexpected"},
};

const OwnCode* ownCode(mova_code code) {
    const auto* const row =
        std::find_if(kOwnCodes.begin(), kOwnCodes.end(), [code](const OwnCode& own) { return own.code == code; });
    return row == kOwnCodes.end() ? nullptr : row;
}

mova_code give(const std::string& text, mova_code code, const TextPlace& place) {
    put(place.length, text.size());
    const bool fits = place.buffer != nullptr && place.capacity > text.size();
    if (!fits) return place.buffer == nullptr ? code : MOVA_BUFFER_TOO_SMALL;
    *std::copy(text.begin(), text.end(), place.buffer) = '\0';
    unread.text.reset();
    return code;
}

}  // namespace

void CallbackEvents::OnCpGetMovaCnf(std::int32_t type, std::int32_t, const std::string& text) {
    if (told_.confirmation != nullptr) told_.confirmation(told_.user, type, text.c_str(), text.size());
}

void CallbackEvents::readerStarted() {
    if (told_.reader_started != nullptr) told_.reader_started(told_.user);
}

void CallbackEvents::readerEnded() {
    if (told_.reader_ended != nullptr) told_.reader_ended(told_.user);
}

void CallbackEvents::letCallsIn() {
    if (told_.let_calls_in != nullptr) told_.let_calls_in(told_.user);
}

std::string textFrom(const char* text, std::size_t length) {
    constexpr auto kLongest = static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max());
    if (text == nullptr) {
        if (length != 0 && length != MOVA_TO_ZERO) throw InvalidArgument();
        return {};
    }
    if (length == MOVA_TO_ZERO) return text;
    if (length > kLongest) throw InvalidArgument();
    return {text, length};
}

void requireArray(const std::uint8_t* array, std::size_t size) {
    if (array == nullptr && size != 0) throw InvalidArgument();
}

mova_code giveText(std::optional<std::string> text, Code code, const TextPlace& place) noexcept {
    unread.text = std::move(text);
    unread.code = number(code);
    if (unread.text) return give(*unread.text, unread.code, place);
    put(place.length, std::size_t{0});
    return unread.code;
}

}  // namespace mova

using namespace mova;

const char* mova_code_text(mova_code code) noexcept {
    const OwnCode* const own = ownCode(code);
    return own != nullptr ? own->text : codeMeaningText(Code{code});
}

const char* mova_code_name(mova_code code) noexcept {
    const OwnCode* const own = ownCode(code);
    return own != nullptr ? own->name : codeNameText(Code{code});
}

mova_code mova_create(const char* device, const mova_events* events, mova_handset** handset) noexcept {
    if (handset == nullptr) return MOVA_INVALID_ARGUMENT;
    *handset = nullptr;
    return guarded([&] {
        std::shared_ptr<ConfirmationEvents> listener;
        if (events != nullptr) listener = std::make_shared<CallbackEvents>(*events);
        std::unique_ptr<mova_handset> made;
        if (device == nullptr) {
            made = std::make_unique<mova_handset>(std::move(listener));
        } else {
            made = std::make_unique<mova_handset>(platformOfDevice(device), std::move(listener));
        }
        *handset = made.release();
    });
}

void mova_destroy(mova_handset* handset) noexcept { delete handset; }

mova_code mova_unread_text(char* buffer, size_t capacity, size_t* length) noexcept {
    if (!unread.text) return MOVA_INVALID_ARGUMENT;
    return give(*unread.text, unread.code, {buffer, capacity, length});
}
