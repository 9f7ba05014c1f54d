#include "platform/win32/ShortTimer.h"

namespace mova {

namespace {
constexpr DWORD kManualReset = 0x1;     // CREATE_WAITABLE_TIMER_MANUAL_RESET
constexpr DWORD kHighResolution = 0x2;  // CREATE_WAITABLE_TIMER_HIGH_RESOLUTION, from Windows 10 1803 on
constexpr LONGLONG kTicksPerMillisecond = 10'000;
}  // namespace

ShortTimer::ShortTimer()
    : timer_(CreateWaitableTimerExW(nullptr, nullptr, kManualReset | kHighResolution, TIMER_ALL_ACCESS)) {}

bool ShortTimer::start(std::uint32_t milliseconds) {
    if (!timer_) return false;
    LARGE_INTEGER due;
    due.QuadPart = -static_cast<LONGLONG>(milliseconds) * kTicksPerMillisecond;  // negative: from now on
    if (!SetWaitableTimer(timer_.get(), &due, 0, nullptr, nullptr, FALSE)) timer_ = OwnedHandle();
    return static_cast<bool>(timer_);
}

}  // namespace mova
