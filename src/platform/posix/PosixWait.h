// Waits on descriptors against a monotonic deadline, and calls that a signal handler may interrupt.
#pragma once
#include <poll.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <span>

namespace mova {

using Deadline = std::chrono::steady_clock::time_point;
constexpr Deadline kNever = Deadline::max();

Deadline deadlineAfter(std::uint32_t milliseconds);  // kInfinite gives kNever
inline bool passed(Deadline deadline) { return std::chrono::steady_clock::now() >= deadline; }

// As poll: the number of descriptors with news, 0 at the deadline, negative with errno set. Signals do not end it.
int pollUntil(std::span<pollfd> descriptors, Deadline deadline);

// Repeats a system call while a signal handler interrupts it.
template <class Call>
auto uninterrupted(Call call) {
    for (;;) {
        const auto result = call();
        if (result >= 0 || errno != EINTR) return result;
    }
}

}  // namespace mova
