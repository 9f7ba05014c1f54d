// Win32Clock tells the time on Windows. The pauses and the waits of this layer use ShortTimer.
#pragma once
#include <cstdint>

#include "platform/Clock.h"
#include "platform/win32/OwnedHandle.h"

namespace mova {

class Win32Clock final : public Clock {
public:
    std::uint32_t tickCount() override;
    LocalTime localTime() override;
    void sleep(std::uint32_t milliseconds) override;
    // The text is in the C locale of the process: "Tuesday, March 05, 2024 09:07:02".
    std::string longDateText(std::int64_t secondsSinceEpoch) override;
};

// A ShortTimer measures time-outs below the system's timer tick. An ordinary wait of 1 ms ends at the next tick, up to
// 15.6 ms later; a high-resolution timer ends when it is due. It exists for one wait only: a timer kept per thread
// would stay behind with every host thread that outlives the module. The host's global timer resolution is left alone.
class ShortTimer {
public:
    static constexpr std::uint32_t kLongest = 15;  // milliseconds; longer waits are left to the tick

    static bool isFor(std::uint32_t milliseconds) { return milliseconds > 0 && milliseconds <= kLongest; }
    // The timer starts at once. It is empty where the system has no such timer.
    explicit ShortTimer(std::uint32_t milliseconds);

    HANDLE get() const { return timer_.get(); }  // signalled when the time is over
    explicit operator bool() const { return static_cast<bool>(timer_); }

private:
    OwnedHandle timer_;
};

}  // namespace mova
