#include "cli/Interrupt.h"

#include <atomic>
#include <csignal>
#include <cstdlib>

#include "cli/ExitStatus.h"

namespace mova::cli {

namespace {

std::atomic<bool> noted{false};
static_assert(std::atomic<bool>::is_always_lock_free);

extern "C" void note(int signal) {
    if (noted.exchange(true)) std::_Exit(static_cast<int>(ExitStatus::Interrupted));
    std::signal(signal, note);  // some systems forget the handler
}

}  // namespace

void watchForInterrupt() {
    std::signal(SIGINT, note);
    std::signal(SIGTERM, note);
}

bool interrupted() { return noted; }
void forgetInterrupt() { noted = false; }

}  // namespace mova::cli
