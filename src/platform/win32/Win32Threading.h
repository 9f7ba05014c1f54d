// Win32Threading makes the threads, events and mutexes of Windows. Its event is shown here because a transfer of the
// serial driver has one.
#pragma once
#include <atomic>
#include <span>

#include "platform/Threading.h"
#include "platform/win32/OwnedHandle.h"

namespace mova {

// Waits for the first of the handles, of which there are at most three: WAIT_OBJECT_0 and its index, WAIT_TIMEOUT or
// WAIT_FAILED. A short time-out is kept to the millisecond where the system has timers for that.
DWORD waitForFirst(std::span<const HANDLE> handles, DWORD milliseconds);

class Win32Event final : public Event {
public:
    // Every event that is waited for with a port is one that Win32Threading made, or null.
    static Win32Event* of(Event* event) { return static_cast<Win32Event*>(event); }

    Win32Event();
    void set() override;
    void reset() override;
    WaitResult wait(std::uint32_t milliseconds) override;
    bool isSet() override { return set_.load(std::memory_order_acquire); }  // asked in every pass: without the system

    HANDLE handle() const { return event_.get(); }  // null when the system refused the event: waits on it fail

private:
    OwnedHandle event_;
    Mutex mutex_;  // keeps the event's state and its copy together
    std::atomic<bool> set_{false};
};

// A named mutex is shared by all processes of the session and is recursive on its thread. Where the system has none to
// give, one lock of this process is held instead: acquire() must come back with something held, or a log line would
// hang its caller.
//
// A thread holds a reference to the module and gives it back as its very last step, after its function and everything
// that the function owned are destroyed. What a terminated thread owned stays behind, and what it held locked stays
// locked; a thread that has left its function is not touched. A thread must not terminate itself.
class Win32Threading final : public Threading {
public:
    std::unique_ptr<Event> makeEvent() override;
    std::unique_ptr<RecursiveMutex> makeRecursiveMutex() override;
    std::unique_ptr<NamedMutex> makeNamedMutex(const std::string& name) override;
    std::unique_ptr<Thread> start(std::function<void()> run) override;
    std::uint32_t currentThreadId() override;
};

}  // namespace mova
