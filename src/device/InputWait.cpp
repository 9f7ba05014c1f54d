#include "device/InputWait.h"

namespace mova {

WaitResult InputWait::pause(std::uint32_t milliseconds, std::uint32_t waiting, std::uint32_t taken) {
    learnFrom(waiting, taken);
    const bool endsEarly =
        !inVain_ && looks_ < kPromptLooks && quickLooks_ < kQuickLooks && port_.listenedPort() != kInvalidPort;
    last_ = endsEarly ? awaitInput(milliseconds) : awaitStop(milliseconds);
    return last_;
}

void InputWait::learnFrom(std::uint32_t waiting, std::uint32_t taken) {
    if (taken > 0) {
        inVain_ = false;
    } else if (waiting > 0 || last_ == WaitResult::Signalled) {
        inVain_ = true;
    }
    if (last_ == WaitResult::TimedOut && taken == 0) {
        looks_ = looks_ < kPromptLooks ? 0 : kPromptLooks - 1;  // quiet; a line that has trickled has to be so twice
    } else if (last_ == WaitResult::Signalled && taken < kLittle) {
        ++looks_;
    }
}

WaitResult InputWait::awaitInput(std::uint32_t milliseconds) {
    const WaitResult seen = port_.device().awaitInput(milliseconds);
    if (seen == WaitResult::Failed) {
        ++quickLooks_;
        platform_.clock.sleep(0);
    }
    return seen;
}

WaitResult InputWait::awaitStop(std::uint32_t milliseconds) {
    const WaitResult seen = port_.stopEvent().wait(milliseconds);
    if (seen == WaitResult::Signalled) return WaitResult::Stopped;
    if (seen == WaitResult::Failed) platform_.clock.sleep(milliseconds);  // a wait that fails takes no time
    return WaitResult::TimedOut;
}

}  // namespace mova
