#include "platform/win32/Win32Clock.h"

#include <ctime>

#include "platform/win32/ShortTimer.h"

namespace mova {

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
