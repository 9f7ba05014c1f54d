// A manual-reset event on an eventfd, so that it can be waited for together with a port.
#pragma once
#include <atomic>
#include <mutex>

#include "platform/Sync.h"
#include "platform/posix/FileDescriptor.h"

namespace mova {

class PosixEvent final : public Event {
public:
    PosixEvent();
    void set() override;
    void reset() override;
    WaitResult wait(std::uint32_t milliseconds) override;
    bool isSet() override { return set_.load(std::memory_order_acquire); }  // asked in every pass: without the system

    // Readable while the event is set; -1 when the system refused the event.
    int descriptor() const { return descriptor_.get(); }
    // Called by a waiter that has seen the event: what was done before set() is visible from here on.
    void acquire() const { static_cast<void>(set_.load(std::memory_order_acquire)); }

private:
    FileDescriptor descriptor_;
    std::mutex mutex_;  // keeps the descriptor's state and its copy together
    std::atomic<bool> set_{false};
};

}  // namespace mova
