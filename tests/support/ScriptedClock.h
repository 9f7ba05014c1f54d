// The virtual clock as the code under test sees it. It starts with the tick count 100000 and the local time
// 2024-03-05 09:07:02.045, and moves only while every thread waits.
#pragma once
#include <string>

#include "platform/Clock.h"
#include "support/ScriptedCore.h"

namespace mova {

class ScriptedClock : public Clock {
public:
    explicit ScriptedClock(ScriptedCore& core) : core_(core) {}

    std::uint32_t tickCount() override;
    LocalTime localTime() override;
    void sleep(std::uint32_t milliseconds) override;
    // "Tuesday, March 05, 2024 09:07:02", with local time equal to UTC.
    std::string longDateText(std::int64_t secondsSinceEpoch) override;

    // What the clock shows now; it goes on from there. Near 2^31 and 2^32 for the wraps.
    void setTickCount(std::uint32_t ticks);
    void setLocalTime(const LocalTime& time);

private:
    ScriptedCore& core_;
    std::uint64_t tickOffset_ = 100000;
    std::int64_t localOffset_ = 1709629622045;  // milliseconds since 1970 at the platform's making
};

}  // namespace mova
