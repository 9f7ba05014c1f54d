// Clock gives time as the component uses it: a wrapping millisecond count, the local time of day, and pauses.
#pragma once
#include <cstdint>
#include <string>

namespace mova {

struct LocalTime {
    int year = 0;   // four digits
    int month = 0;  // 1 to 12
    int day = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;
    int millisecond = 0;
};

class Clock {
public:
    virtual ~Clock() = default;
    virtual std::uint32_t tickCount() = 0;  // milliseconds, wraps after 49.7 days
    virtual LocalTime localTime() = 0;
    virtual void sleep(std::uint32_t milliseconds) = 0;  // 1 means 1 ms, not the system's timer tick
    // The long date-and-time form of a time (seconds since 1970, UTC) is in local time; it is empty when it cannot be
    // formed.
    virtual std::string longDateText(std::int64_t secondsSinceEpoch) = 0;
};

}  // namespace mova
