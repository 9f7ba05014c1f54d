// Threads and what they wait on, shaped like the system calls they stand for.
#pragma once
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace mova {

constexpr std::uint32_t kInfinite = 0xFFFFFFFF;  // a wait without limit, in milliseconds

enum class WaitResult {
    Signalled,  // the awaited thing happened
    Stopped,    // the second thing of the wait (the stop event) happened first
    TimedOut,
    Failed,  // the wait itself failed
};

// Manual-reset event, created non-signalled.
class Event {
public:
    virtual ~Event() = default;
    virtual void set() = 0;
    virtual void reset() = 0;
    virtual WaitResult wait(std::uint32_t milliseconds) = 0;
    virtual bool isSet() { return wait(0) == WaitResult::Signalled; }
};

// Unnamed mutex, recursive on its thread, waited for without limit. Usable with std::lock_guard and std::unique_lock.
class Mutex {
public:
    virtual ~Mutex() = default;
    virtual void lock() = 0;
    virtual void unlock() = 0;
};

// System-wide mutex.
class NamedMutex {
public:
    virtual ~NamedMutex() = default;
    virtual bool acquire() = 0;  // waits without limit; true once held, also when its last owner died holding it
    virtual void release() = 0;
};

// A started thread. It keeps the module loaded until it ends. Destroying the object neither stops nor awaits the thread.
class Thread {
public:
    virtual ~Thread() = default;
    virtual std::uint32_t id() const = 0;
    virtual void setLowestPriority() = 0;
    virtual bool join(std::uint32_t milliseconds) = 0;  // true when it has ended
    virtual void terminate() = 0;  // last resort; where the system has no safe way the thread is left to itself
};

class Threading {
public:
    virtual ~Threading() = default;
    // Never null: an event that the system refused is one whose waits fail.
    virtual std::unique_ptr<Event> makeEvent() = 0;
    virtual std::unique_ptr<Mutex> makeMutex() = 0;
    virtual std::unique_ptr<NamedMutex> makeNamedMutex(const std::string& name) = 0;
    // Null when the thread could not be created. The function must not throw.
    virtual std::unique_ptr<Thread> start(std::function<void()> run) = 0;
    virtual std::uint32_t currentThreadId() = 0;
};

}  // namespace mova
