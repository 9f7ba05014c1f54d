#include <windows.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

#include "cli/StandardInput.h"

namespace mova::cli {

namespace {

std::atomic<DWORD> asItWas{0};
std::atomic<bool> changed{false};

HANDLE input() { return GetStdHandle(STD_INPUT_HANDLE); }

}  // namespace

void restoreTerminal() noexcept {
    if (changed.exchange(false)) SetConsoleMode(input(), asItWas);
}

struct StandardInput::State {
    // A pipe or file. Neither can be waited for, so a thread of its own reads it, one piece ahead; it ends with the input or
    // the program.
    class PipedInput {
    public:
        static std::shared_ptr<PipedInput> start() {
            auto piped = std::make_shared<PipedInput>();
            std::thread([piped] { piped->readAll(); }).detach();
            return piped;
        }

        StandardInput::Outcome take(std::string& bytes, std::uint32_t milliseconds) {
            std::unique_lock lock(mutex_);
            changed_.wait_for(lock, std::chrono::milliseconds(milliseconds),
                              [this] { return ended_ || !piece_.empty(); });
            if (piece_.empty()) return ended_ ? StandardInput::Outcome::Ended : StandardInput::Outcome::Nothing;
            bytes += std::exchange(piece_, {});
            changed_.notify_all();
            return StandardInput::Outcome::Bytes;
        }

    private:
        void readAll() {
            std::array<char, 4096> buffer{};
            for (;;) {
                DWORD got = 0;
                const BOOL read = ReadFile(input(), buffer.data(), static_cast<DWORD>(buffer.size()), &got, nullptr);
                std::unique_lock lock(mutex_);
                changed_.wait(lock, [this] { return piece_.empty(); });
                ended_ = !read || got == 0;
                piece_.assign(buffer.data(), got);
                changed_.notify_all();
                if (ended_) return;
            }
        }

        std::mutex mutex_;
        std::condition_variable changed_;
        std::string piece_;
        bool ended_ = false;
    };

    bool isConsole = false;
    std::shared_ptr<PipedInput> piped;
    wchar_t firstHalf = 0;  // of a character of two

    State() {
        DWORD mode = 0;
        isConsole = GetConsoleMode(input(), &mode) != 0;
        if (!isConsole) piped = PipedInput::start();
    }

    void takeKeys() const {
        DWORD mode = 0;
        if (!isConsole || !GetConsoleMode(input(), &mode)) return;
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
};

StandardInput::StandardInput(Mode mode) : state_(std::make_unique<State>()) {
    if (mode == Mode::Keys) state_->takeKeys();
}

StandardInput::~StandardInput() { restoreTerminal(); }

StandardInput::Outcome StandardInput::read(std::string& bytes, std::uint32_t milliseconds) {
    return state_->isConsole ? state_->readConsole(bytes, milliseconds) : state_->piped->take(bytes, milliseconds);
}

}  // namespace mova::cli
