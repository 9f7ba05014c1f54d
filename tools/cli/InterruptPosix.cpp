#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <string_view>

#include "cli/Interrupt.h"
#include "cli/StandardInput.h"
#include "program/ExitStatus.h"

namespace mova::cli {

namespace {

std::atomic<bool> noted{false};
std::atomic<bool> toldToEnd{false};
static_assert(std::atomic<bool>::is_always_lock_free);

extern "C" void note(int signal) {
    if (signal == SIGTERM) toldToEnd = true;
    if (noted.exchange(true)) {
        restoreTerminal();
        std::_Exit(static_cast<int>(ExitStatus::Interrupted));
    }
    alarm(kPatience);
}

extern "C" void end(int) {
    constexpr std::string_view kWhy = "mova: interrupted while something would not end\n";
    restoreTerminal();
    [[maybe_unused]] const auto told = ::write(STDERR_FILENO, kWhy.data(), kWhy.size());
    std::_Exit(static_cast<int>(ExitStatus::Interrupted));
}

void handle(int signal, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;  // without SA_RESTART: what waits is woken
    sigaction(signal, &action, nullptr);
}

}  // namespace

void watchForInterrupt() {
    handle(SIGINT, note);
    handle(SIGTERM, note);
    handle(SIGALRM, end);
    handle(SIGPIPE, SIG_IGN);  // a reader that leaves shows as a failing write
}

bool interrupted() { return noted; }

void forgetInterrupt() {
    if (toldToEnd) return;
    alarm(0);
    noted = false;
}

}  // namespace mova::cli
