// A manual-reset event on an eventfd, so that it can be waited for together with a port.
#pragma once
#include <atomic>

#include "platform/Sync.h"
#include "platform/posix/FileDescriptor.h"

namespace mova {

class PosixEvent final : public Event {
public:
    PosixEvent();
    void set() override;
    void reset() override;
    WaitResult wait(std::uint32_t milliseconds) override;

    // Readable while the event is set; -1 when the system refused the event.
    int descriptor() const { return descriptor_.get(); }
    // Called by a waiter that has seen the event: what was done before set() is visible from here on.
    void acquire() const { static_cast<void>(sets_.load(std::memory_order_acquire)); }

private:
    FileDescriptor descriptor_;
    std::atomic<unsigned> sets_{0};
};

}  // namespace mova
