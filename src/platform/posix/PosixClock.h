// PosixClock tells the time on Linux. The tick count and the pauses run on the monotonic clock.
#pragma once
#include "platform/Clock.h"

namespace mova {

class PosixClock final : public Clock {
public:
    std::uint32_t tickCount() override;
    LocalTime localTime() override;
    void sleep(std::uint32_t milliseconds) override;
    std::string longDateText(std::int64_t secondsSinceEpoch) override;  // "Tuesday, March 05, 2024 09:07:02"
};

}  // namespace mova
