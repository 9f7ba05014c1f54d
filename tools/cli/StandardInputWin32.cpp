#include <windows.h>

#include <algorithm>
#include <array>
#include <atomic>

#include "cli/StandardInput.h"

namespace mova::cli {

namespace {

constexpr DWORD kPipePause = 10;  // milliseconds between looks into a pipe, which cannot be waited for

std::atomic<DWORD> asItWas{0};
std::atomic<bool> changed{false};

HANDLE input() { return GetStdHandle(STD_INPUT_HANDLE); }

}  // namespace

void restoreTerminal() noexcept {
    if (changed.exchange(false)) SetConsoleMode(input(), asItWas);
}

struct StandardInput::State {
    enum class Kind { Console, Pipe, File } kind = Kind::File;
    wchar_t firstHalf = 0;  // of a character of two

    State() {
        DWORD mode = 0;
        kind = GetConsoleMode(input(), &mode)           ? Kind::Console
               : GetFileType(input()) == FILE_TYPE_PIPE ? Kind::Pipe
                                                        : Kind::File;
    }

    void takeKeys() const {
        DWORD mode = 0;
        if (kind != Kind::Console || !GetConsoleMode(input(), &mode)) return;
        asItWas = mode;
        const DWORD without = ENABLE_LINE_INPUT | ENABLE_ECHO_INPUT | ENABLE_PROCESSED_INPUT;
        changed = SetConsoleMode(input(), mode & ~without) != 0;
    }

    void append(std::string& bytes, wchar_t unit) {
        std::array<wchar_t, 2> units{firstHalf, unit};
        const bool isFirst = IS_HIGH_SURROGATE(unit);
        const bool isSecond = firstHalf != 0 && IS_LOW_SURROGATE(unit);
        firstHalf = isFirst ? unit : L'\0';
        if (isFirst) return;
        std::array<char, 8> text{};
        const int length = WideCharToMultiByte(CP_UTF8, 0, isSecond ? units.data() : &units[1], isSecond ? 2 : 1,
                                               text.data(), static_cast<int>(text.size()), nullptr, nullptr);
        bytes.append(text.data(), static_cast<std::size_t>(std::max(length, 0)));
    }

    Outcome readConsole(std::string& bytes, DWORD milliseconds) {
        if (WaitForSingleObject(input(), milliseconds) != WAIT_OBJECT_0) return Outcome::Nothing;
        std::array<INPUT_RECORD, 64> records{};
        DWORD count = 0;
        if (!ReadConsoleInputW(input(), records.data(), static_cast<DWORD>(records.size()), &count)) {
            return Outcome::Ended;
        }
        const std::size_t before = bytes.size();
        for (DWORD i = 0; i < count; ++i) {
            const KEY_EVENT_RECORD& key = records[i].Event.KeyEvent;
            if (records[i].EventType != KEY_EVENT || !key.bKeyDown || key.uChar.UnicodeChar == 0) continue;
            for (WORD repeated = 0; repeated < key.wRepeatCount; ++repeated) append(bytes, key.uChar.UnicodeChar);
        }
        return bytes.size() > before ? Outcome::Bytes : Outcome::Nothing;
    }

    static Outcome readFile(std::string& bytes) {
        std::array<char, 4096> buffer{};
        DWORD got = 0;
        if (!ReadFile(input(), buffer.data(), static_cast<DWORD>(buffer.size()), &got, nullptr) || got == 0) {
            return Outcome::Ended;
        }
        bytes.append(buffer.data(), got);
        return Outcome::Bytes;
    }

    static Outcome readPipe(std::string& bytes, DWORD milliseconds) {
        for (DWORD waited = 0;; waited += kPipePause) {
            DWORD there = 0;
            if (!PeekNamedPipe(input(), nullptr, 0, nullptr, &there, nullptr)) return Outcome::Ended;
            if (there > 0) return readFile(bytes);
            if (waited >= milliseconds) return Outcome::Nothing;
            Sleep(std::min(kPipePause, milliseconds - waited));
        }
    }
};

StandardInput::StandardInput(Mode mode) : state_(std::make_unique<State>()) {
    if (mode == Mode::Keys) state_->takeKeys();
}

StandardInput::~StandardInput() { restoreTerminal(); }

StandardInput::Outcome StandardInput::read(std::string& bytes, std::uint32_t milliseconds) {
    switch (state_->kind) {
        case State::Kind::Console: return state_->readConsole(bytes, milliseconds);
        case State::Kind::Pipe: return State::readPipe(bytes, milliseconds);
        case State::Kind::File: break;
    }
    return State::readFile(bytes);
}

}  // namespace mova::cli
