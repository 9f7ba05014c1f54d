#include "platform/win32/Win32Event.h"

#include "platform/win32/ShortTimer.h"

namespace mova {

namespace {

DWORD waitAtMost(HANDLE event, std::uint32_t milliseconds) {
    if (ShortTimer::isFor(milliseconds)) {
        const ShortTimer timer(milliseconds);
        if (timer) {
            const HANDLE both[] = {event, timer.get()};
            const DWORD first = WaitForMultipleObjects(2, both, FALSE, INFINITE);
            return first == WAIT_OBJECT_0 + 1 ? DWORD{WAIT_TIMEOUT} : first;
        }
    }
    return WaitForSingleObject(event, milliseconds);
}

}  // namespace

Win32Event::Win32Event() : event_(CreateEventA(nullptr, TRUE, FALSE, nullptr)) {}

void Win32Event::set() {
    const std::lock_guard guard(mutex_);
    if (SetEvent(event_.get())) set_.store(true, std::memory_order_release);
}

void Win32Event::reset() {
    const std::lock_guard guard(mutex_);
    if (ResetEvent(event_.get())) set_.store(false, std::memory_order_relaxed);
}

WaitResult Win32Event::wait(std::uint32_t milliseconds) {
    switch (waitAtMost(event_.get(), milliseconds)) {
        case WAIT_OBJECT_0:
            return WaitResult::Signalled;
        case WAIT_TIMEOUT:
            return WaitResult::TimedOut;
        default:
            return WaitResult::Failed;
    }
}

}  // namespace mova
