// PosixThreading makes the threads, events and mutexes of Linux. Its event is shown here because a port waits for it
// together with its device, and so are the waits on descriptors that both use.
#pragma once
#include <poll.h>

#include <atomic>
#include <chrono>
#include <span>
#include <string>

#include "platform/Threading.h"
#include "platform/posix/FileDescriptor.h"
#include "platform/posix/PrivateFolder.h"

namespace mova {

using Deadline = std::chrono::steady_clock::time_point;
constexpr Deadline kNever = Deadline::max();

Deadline deadlineAfter(std::uint32_t milliseconds);  // kInfinite gives kNever
inline bool passed(Deadline deadline) { return std::chrono::steady_clock::now() >= deadline; }

// The result is that of poll: the number of descriptors with news, 0 at the deadline, negative with errno set. Signals
// do not end the wait.
int pollUntil(std::span<pollfd> descriptors, Deadline deadline);

// A PosixEvent is an eventfd, so that it can be waited for together with a port.
class PosixEvent final : public Event {
public:
    // Every event that is waited for with a port is one that PosixThreading made, or null.
    static PosixEvent* of(Event* event) { return static_cast<PosixEvent*>(event); }

    PosixEvent();
    void set() override;
    void reset() override;
    WaitResult wait(std::uint32_t milliseconds) override;
    bool isSet() override { return set_.load(std::memory_order_acquire); }  // asked in every pass: without the system

    // The descriptor is readable while the event is set; it is -1 when the system refused the event.
    int descriptor() const { return descriptor_.get(); }
    // A waiter that has seen the event calls this: what was done before set() is visible from here on.
    void acquire() const { static_cast<void>(set_.load(std::memory_order_acquire)); }

private:
    FileDescriptor descriptor_;
    Mutex mutex_;  // keeps the descriptor's state and its copy together
    std::atomic<bool> set_{false};
};

// Named mutexes are lock files, "NAME.lock" in the private folder, which keep this user's processes apart: a lock that
// another user could open is one that another user could hold for ever. A lock inside the process keeps its threads and
// objects apart, also where there is no lock file. They are recursive on their thread, as the system's own are on
// Windows. An object that goes while it holds the mutex frees it.
//
// Threads: the id is the kernel's; what a thread's function captured is destroyed on the thread, before it counts as
// ended; a refused priority is ignored. There is no safe way to terminate a thread: it is left to itself.
class PosixThreading final : public Threading {
public:
    explicit PosixThreading(const std::string& privateDir) : privateFolder_(privateDir) {}

    std::unique_ptr<Event> makeEvent() override;
    std::unique_ptr<RecursiveMutex> makeRecursiveMutex() override;
    std::unique_ptr<NamedMutex> makeNamedMutex(const std::string& name) override;
    std::unique_ptr<Thread> start(std::function<void()> run) override;
    std::uint32_t currentThreadId() override;

private:
    PrivateFolder privateFolder_;
};

}  // namespace mova
