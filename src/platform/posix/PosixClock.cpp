#include "platform/posix/PosixClock.h"

#include <cerrno>
#include <ctime>

namespace mova {

namespace {

constexpr long kNanosecondsPerMillisecond = 1'000'000;
constexpr long kNanosecondsPerSecond = 1'000'000'000;

timespec now(clockid_t clock) {
    timespec time{};
    clock_gettime(clock, &time);
    return time;
}

timespec later(timespec time, std::uint32_t milliseconds) {
    time.tv_sec += static_cast<std::time_t>(milliseconds / 1000);
    time.tv_nsec += static_cast<long>(milliseconds % 1000) * kNanosecondsPerMillisecond;
    if (time.tv_nsec >= kNanosecondsPerSecond) {
        time.tv_nsec -= kNanosecondsPerSecond;
        ++time.tv_sec;
    }
    return time;
}

}  // namespace

std::uint32_t PosixClock::tickCount() {
    const timespec time = now(CLOCK_MONOTONIC);
    return static_cast<std::uint32_t>(static_cast<std::uint64_t>(time.tv_sec) * 1000U +
                                      static_cast<std::uint64_t>(time.tv_nsec / kNanosecondsPerMillisecond));
}

LocalTime PosixClock::localTime() {
    const timespec time = now(CLOCK_REALTIME);
    std::tm local{};
    localtime_r(&time.tv_sec, &local);
    return {local.tm_year + 1900,
            local.tm_mon + 1,
            local.tm_mday,
            local.tm_hour,
            local.tm_min,
            local.tm_sec,
            static_cast<int>(time.tv_nsec / kNanosecondsPerMillisecond)};
}

void PosixClock::sleep(std::uint32_t milliseconds) {
    const timespec end = later(now(CLOCK_MONOTONIC), milliseconds);
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr) == EINTR) {
    }
}

std::string PosixClock::longDateText(std::int64_t secondsSinceEpoch) {
    const std::time_t time = secondsSinceEpoch;
    std::tm local{};
    if (localtime_r(&time, &local) == nullptr) return {};
    char text[128];
    return std::string(text, std::strftime(text, sizeof text, "%A, %B %d, %Y %H:%M:%S", &local));
}

}  // namespace mova
