// A manual-reset event of the system.
#pragma once
#include <atomic>

#include "platform/PlainMutex.h"
#include "platform/Sync.h"
#include "platform/win32/OwnedHandle.h"

namespace mova {

class Win32Event final : public Event {
public:
    Win32Event();
    void set() override;
    void reset() override;
    WaitResult wait(std::uint32_t milliseconds) override;
    bool isSet() override { return set_.load(std::memory_order_acquire); }  // asked in every pass: without the system

    HANDLE handle() const { return event_.get(); }  // null when the system refused the event: waits on it fail

private:
    OwnedHandle event_;
    PlainMutex mutex_;  // keeps the event's state and its copy together
    std::atomic<bool> set_{false};
};

}  // namespace mova
