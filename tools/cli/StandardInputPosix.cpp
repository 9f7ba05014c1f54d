#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>

#include "cli/StandardInput.h"

namespace mova::cli {

namespace {

termios asItWas;
termios withKeys;
std::atomic<bool> changed{false};
static_assert(std::atomic<bool>::is_always_lock_free);

extern "C" void restoreAndLeave(int signal) {
    restoreTerminal();
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

extern "C" void restoreAndStop(int) {
    const bool before = changed;
    restoreTerminal();
    std::raise(SIGSTOP);
    // The shell has let the program go on.
    if (before) changed = tcsetattr(STDIN_FILENO, TCSANOW, &withKeys) == 0;
}

// What would end or stop the program and leave the terminal to the shell as it is. Ctrl-C and the wish to end are
// noted, and the program ends by itself (Interrupt.h).
constexpr std::array kEnding{SIGHUP, SIGQUIT, SIGABRT, SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGTSTP};

}  // namespace

void restoreTerminal() noexcept {
    if (changed.exchange(false)) tcsetattr(STDIN_FILENO, TCSANOW, &asItWas);
}

struct StandardInput::State {
    bool keys = false;
    std::array<struct sigaction, kEnding.size()> before{};

    void takeKeys() {
        if (tcgetattr(STDIN_FILENO, &asItWas) != 0) return;  // no terminal
        for (std::size_t i = 0; i < kEnding.size(); ++i) {
            sigaction(kEnding[i], nullptr, &before[i]);
            if (before[i].sa_handler == SIG_IGN) continue;
            struct sigaction action {};
            action.sa_handler = kEnding[i] == SIGTSTP ? restoreAndStop : restoreAndLeave;
            sigaction(kEnding[i], &action, nullptr);
        }
        keys = true;
        withKeys = asItWas;
        // The output goes on to turn line feeds into line ends.
        withKeys.c_iflag &= ~static_cast<tcflag_t>(BRKINT | ICRNL | INLCR | IGNCR | INPCK | ISTRIP | IXON | PARMRK);
        withKeys.c_lflag &= ~static_cast<tcflag_t>(ECHO | ICANON | IEXTEN | ISIG);
        withKeys.c_cc[VMIN] = 1;
        withKeys.c_cc[VTIME] = 0;
        changed = tcsetattr(STDIN_FILENO, TCSANOW, &withKeys) == 0;
    }

    void giveBack() const {
        if (!keys) return;
        restoreTerminal();
        for (std::size_t i = 0; i < kEnding.size(); ++i) sigaction(kEnding[i], &before[i], nullptr);
    }
};

StandardInput::StandardInput(Mode mode) : state_(std::make_unique<State>()) {
    if (mode == Mode::Keys) state_->takeKeys();
}

StandardInput::~StandardInput() { state_->giveBack(); }

StandardInput::Outcome StandardInput::read(std::string& bytes, std::uint32_t milliseconds) {
    pollfd input{STDIN_FILENO, POLLIN, 0};
    if (poll(&input, 1, static_cast<int>(milliseconds)) <= 0) return Outcome::Nothing;  // also woken by a signal
    std::array<char, 4096> buffer{};
    const ssize_t got = ::read(STDIN_FILENO, buffer.data(), buffer.size());
    if (got < 0 && (errno == EINTR || errno == EAGAIN)) return Outcome::Nothing;
    if (got <= 0) return Outcome::Ended;
    bytes.append(buffer.data(), static_cast<std::size_t>(got));
    return Outcome::Bytes;
}

}  // namespace mova::cli
