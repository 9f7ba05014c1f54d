// This header has threads, the events that they wait for and the mutexes that keep them apart. The interfaces are
// shaped like the system calls that they stand for.
#pragma once
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "base/ThreadSafety.h"

namespace mova {

constexpr std::uint32_t kInfinite = 0xFFFFFFFF;  // a wait without limit, in milliseconds

enum class WaitResult {
    Signalled,  // the awaited thing happened
    Stopped,    // the second thing of the wait (the stop event) happened first
    TimedOut,
    Failed,  // the wait itself failed
};

// An event is reset by hand and is created non-signalled.
class Event {
public:
    virtual ~Event() = default;
    virtual void set() = 0;
    virtual void reset() = 0;
    virtual WaitResult wait(std::uint32_t milliseconds) = 0;
    virtual bool isSet() { return wait(0) == WaitResult::Signalled; }
};

// A mutex keeps the threads of this process apart for short sections. It is not recursive, takes no memory and cannot
// fail. The runtime's own on Windows is only made when it is first locked, which may be in a destructor with no memory
// left, and what it then takes it never gives back.
class MOVA_CAPABILITY("mutex") Mutex {
public:
    Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

#ifdef _WIN32
    void lock() noexcept MOVA_ACQUIRE();
    void unlock() noexcept MOVA_RELEASE();

private:
    void* state_ = nullptr;  // belongs to the system
#else
    void lock() MOVA_ACQUIRE() { mutex_.lock(); }
    void unlock() MOVA_RELEASE() { mutex_.unlock(); }

private:
    std::mutex mutex_;
#endif
};

// A recursive mutex keeps the threads of this process apart; the thread that holds it may lock it again. As with Mutex,
// a lock waits without limit.
class MOVA_CAPABILITY("mutex") RecursiveMutex {
public:
    virtual ~RecursiveMutex() = default;
    virtual void lock() MOVA_ACQUIRE() = 0;
    virtual void unlock() MOVA_RELEASE() = 0;
};

// Holds a Mutex or a RecursiveMutex while it lives, as std::lock_guard would, which the compiler's analysis does not know.
template <class AnyMutex>
class MOVA_SCOPED_CAPABILITY LockGuard {
public:
    explicit LockGuard(AnyMutex& mutex) MOVA_ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
    ~LockGuard() MOVA_RELEASE() { mutex_.unlock(); }
    LockGuard(const LockGuard&) = delete;
    LockGuard& operator=(const LockGuard&) = delete;

private:
    AnyMutex& mutex_;
};

// A named mutex keeps the threads of all processes apart that use its name; on Linux those of one user, since what
// others can take they can keep.
class NamedMutex {
public:
    virtual ~NamedMutex() = default;
    virtual bool acquire() = 0;  // waits without limit; true once held, also when its last owner died holding it
    virtual void release() = 0;
};

// A started thread keeps the module loaded until it ends. Destroying the object neither stops nor awaits the thread.
class Thread {
public:
    virtual ~Thread() = default;
    virtual std::uint32_t id() const = 0;
    virtual void setLowestPriority() = 0;
    virtual bool join(std::uint32_t milliseconds) = 0;  // true when it has ended
    virtual void terminate() = 0;  // the last resort; where the system has no safe way the thread is left to itself
};

class Threading {
public:
    virtual ~Threading() = default;
    // The result is never null: an event that the system refused is one whose waits fail.
    virtual std::unique_ptr<Event> makeEvent() = 0;
    virtual std::unique_ptr<RecursiveMutex> makeRecursiveMutex() = 0;
    virtual std::unique_ptr<NamedMutex> makeNamedMutex(const std::string& name) = 0;
    // The result is null when the thread could not be created. The function must not throw.
    virtual std::unique_ptr<Thread> start(std::function<void()> run) = 0;
    virtual std::uint32_t currentThreadId() = 0;
};

}  // namespace mova
