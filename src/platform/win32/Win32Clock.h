// Time on Windows.
#pragma once
#include <mutex>

#include "platform/Clock.h"
#include "platform/win32/ShortTimer.h"

namespace mova {

class Win32Clock final : public Clock {
public:
    std::uint32_t tickCount() override;
    LocalTime localTime() override;
    void sleep(std::uint32_t milliseconds) override;
    // In the C locale of the process: "Tuesday, March 05, 2024 09:07:02".
    std::string longDateText(std::int64_t secondsSinceEpoch) override;

private:
    std::mutex mutex_;  // held by the sleep that uses the timer; others make one of their own
    ShortTimer timer_;
};

}  // namespace mova
