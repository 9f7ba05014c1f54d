#include "platform/win32/Win32Clock.h"

#include <ctime>

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

std::uint32_t Win32Clock::tickCount() { return GetTickCount(); }

LocalTime Win32Clock::localTime() {
    SYSTEMTIME now{};
    GetLocalTime(&now);
    return {now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond, now.wMilliseconds};
}

void Win32Clock::sleep(std::uint32_t milliseconds) {
    if (ShortTimer::isFor(milliseconds)) {
        const ShortTimer timer(milliseconds);
        if (timer && WaitForSingleObject(timer.get(), INFINITE) == WAIT_OBJECT_0) return;
    }
    Sleep(milliseconds);
}

std::string Win32Clock::longDateText(std::int64_t secondsSinceEpoch) {
    const __time64_t time = secondsSinceEpoch;
    const std::tm* const local = _localtime64(&time);  // the record is the thread's own
    if (local == nullptr) return {};
    char text[128];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat"  // the long form is the runtime's own
    return std::string(text, std::strftime(text, sizeof text, "%#c", local));
#pragma GCC diagnostic pop
}

}  // namespace mova
