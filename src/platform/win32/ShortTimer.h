// Time-outs below the system's timer tick. An ordinary wait of 1 ms ends at the next tick, up to 15.6 ms later; a
// high-resolution timer ends when it is due. It exists for one wait only: a timer kept per thread would stay behind
// with every host thread that outlives the module. The host's global timer resolution is left alone.
#pragma once
#include <cstdint>

#include "platform/win32/OwnedHandle.h"

namespace mova {

class ShortTimer {
public:
    static constexpr std::uint32_t kLongest = 15;  // milliseconds; longer waits are left to the tick

    static bool isFor(std::uint32_t milliseconds) { return milliseconds > 0 && milliseconds <= kLongest; }
    // Starts at once. Empty where the system has no such timer.
    explicit ShortTimer(std::uint32_t milliseconds);

    HANDLE get() const { return timer_.get(); }  // signalled when the time is over
    explicit operator bool() const { return static_cast<bool>(timer_); }

private:
    OwnedHandle timer_;
};

}  // namespace mova
