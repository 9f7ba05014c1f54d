#include "simulation/SimulatedThreading.h"

#include <algorithm>

namespace mova::simulation {

Moment momentAfter(std::uint32_t milliseconds) {
    if (milliseconds == kInfinite) return Moment::max();
    return std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
}

// Some runtimes wait by another clock and cannot convert a moment that is too far away.
Moment nextLook(Moment deadline) {
    return std::min(deadline, std::chrono::steady_clock::now() + std::chrono::hours(1));
}

void SimulatedEvent::set() {
    {
        const std::lock_guard guard(bell_.mutex);
        set_.store(true, std::memory_order_release);
    }
    bell_.rung.notify_all();
}

void SimulatedEvent::reset() {
    const std::lock_guard guard(bell_.mutex);
    set_.store(false, std::memory_order_release);
}

WaitResult SimulatedEvent::wait(std::uint32_t milliseconds) {
    if (isSet()) return WaitResult::Signalled;
    if (milliseconds == 0) return WaitResult::TimedOut;
    const Moment deadline = momentAfter(milliseconds);
    std::unique_lock guard(bell_.mutex);
    while (!isSet()) {
        if (std::chrono::steady_clock::now() >= deadline) return WaitResult::TimedOut;
        bell_.rung.wait_until(guard, nextLook(deadline));
    }
    return WaitResult::Signalled;
}

}  // namespace mova::simulation
