// Time on Windows.
#pragma once
#include "platform/Clock.h"

namespace mova {

class Win32Clock final : public Clock {
public:
    std::uint32_t tickCount() override;
    LocalTime localTime() override;
    void sleep(std::uint32_t milliseconds) override;
    // In the C locale of the process: "Tuesday, March 05, 2024 09:07:02".
    std::string longDateText(std::int64_t secondsSinceEpoch) override;
};

}  // namespace mova
