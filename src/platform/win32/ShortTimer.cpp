#include "platform/win32/ShortTimer.h"

namespace mova {

namespace {
constexpr DWORD kManualReset = 0x1;     // CREATE_WAITABLE_TIMER_MANUAL_RESET
constexpr DWORD kHighResolution = 0x2;  // CREATE_WAITABLE_TIMER_HIGH_RESOLUTION, from Windows 10 1803 on
constexpr LONGLONG kTicksPerMillisecond = 10'000;
}  // namespace

ShortTimer::ShortTimer(std::uint32_t milliseconds)
    : timer_(CreateWaitableTimerExW(nullptr, nullptr, kManualReset | kHighResolution, TIMER_ALL_ACCESS)) {
    if (!timer_) return;
    LARGE_INTEGER due;
    due.QuadPart = -static_cast<LONGLONG>(milliseconds) * kTicksPerMillisecond;  // negative: from now on
    if (!SetWaitableTimer(timer_.get(), &due, 0, nullptr, nullptr, FALSE)) timer_ = OwnedHandle();
}

}  // namespace mova
