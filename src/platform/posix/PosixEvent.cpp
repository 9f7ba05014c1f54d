#include "platform/posix/PosixEvent.h"

#include <sys/eventfd.h>

#include "platform/posix/PosixWait.h"

namespace mova {

PosixEvent::PosixEvent() : descriptor_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {}

void PosixEvent::set() {
    const std::lock_guard guard(mutex_);
    set_.store(static_cast<bool>(descriptor_), std::memory_order_release);
    const std::uint64_t one = 1;
    // A full counter refuses the write and is as set as it can be.
    [[maybe_unused]] const auto written = ::write(descriptor_.get(), &one, sizeof one);
}

void PosixEvent::reset() {
    const std::lock_guard guard(mutex_);
    set_.store(false, std::memory_order_relaxed);
    std::uint64_t count = 0;
    // One read empties the counter; it fails when there is nothing to reset.
    [[maybe_unused]] const auto got = ::read(descriptor_.get(), &count, sizeof count);
}

WaitResult PosixEvent::wait(std::uint32_t milliseconds) {
    if (!descriptor_) return WaitResult::Failed;  // poll would overlook the descriptor and wait
    pollfd awaited{descriptor_.get(), POLLIN, 0};
    const int ready = pollUntil({&awaited, 1}, deadlineAfter(milliseconds));
    if (ready < 0) return WaitResult::Failed;
    if (ready == 0) return WaitResult::TimedOut;
    acquire();
    return WaitResult::Signalled;
}

}  // namespace mova
