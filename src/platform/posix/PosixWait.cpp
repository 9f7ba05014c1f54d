#include "platform/posix/PosixWait.h"

#include <algorithm>
#include <ctime>

#include "platform/Sync.h"

namespace mova {

namespace {

timespec remainingUntil(Deadline deadline) {
    using namespace std::chrono;
    const auto left = std::max(deadline - steady_clock::now(), steady_clock::duration::zero());
    const auto wholeSeconds = duration_cast<seconds>(left);
    return {static_cast<std::time_t>(wholeSeconds.count()),
            static_cast<long>(duration_cast<nanoseconds>(left - wholeSeconds).count())};
}

}  // namespace

Deadline deadlineAfter(std::uint32_t milliseconds) {
    if (milliseconds == kInfinite) return kNever;
    return std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
}

int pollUntil(std::span<pollfd> descriptors, Deadline deadline) {
    return uninterrupted([&] {
        timespec left{};
        if (deadline != kNever) left = remainingUntil(deadline);
        return ppoll(descriptors.data(), descriptors.size(), deadline == kNever ? nullptr : &left, nullptr);
    });
}

}  // namespace mova
