// Virtual threads, events and mutexes. Thread ids are small: the test's own thread has 1, the others 2, 3, ... in the
// order in which they were started. A mutex whose owner ends goes on to the next one that waits for it.
#pragma once
#include <deque>
#include <map>
#include <memory>
#include <string>

#include "platform/Threading.h"
#include "support/ScriptedCore.h"

namespace mova {

class ScriptedEvent : public Event {
public:
    ScriptedEvent(ScriptedCore& core, unsigned number, bool refused);

    void set() override;
    void reset() override;
    WaitResult wait(std::uint32_t milliseconds) override;

    Signal& signal() { return signal_; }
    bool isRefused() const { return refused_; }  // the system did not give it: its waits fail

private:
    ScriptedCore& core_;
    Signal signal_;
    bool refused_;
};

// A lock that virtual threads queue for, first come first served. Recursive.
class VirtualLock {
public:
    VirtualLock(ScriptedCore& core, std::string name) : core_(core), name_(std::move(name)) {}
    ~VirtualLock();

    void lock();
    void unlock();
    void takenBy(VirtualThread& thread);     // at once: the lock must be free
    void ownerEnded(VirtualThread& thread);  // hands it on when this thread held it
    const VirtualThread* owner() const { return owner_; }

private:
    struct Waiter {
        VirtualThread* thread;
        Signal* turn;
    };
    void handOn();

    ScriptedCore& core_;
    std::string name_;
    VirtualThread* owner_ = nullptr;
    unsigned depth_ = 0;
    std::deque<Waiter> queue_;
};

class ScriptedThreading : public Threading {
public:
    explicit ScriptedThreading(ScriptedCore& core);
    ~ScriptedThreading() override;

    std::unique_ptr<Event> makeEvent() override;
    std::unique_ptr<RecursiveMutex> makeRecursiveMutex() override;
    std::unique_ptr<NamedMutex> makeNamedMutex(const std::string& name) override;
    std::unique_ptr<Thread> start(std::function<void()> run) override;
    std::uint32_t currentThreadId() override;

    // Another process takes the named mutex; it must be free. Then it lets go of it, or dies while holding it, which
    // comes to the same for the next one.
    void takeElsewhere(const std::string& name);
    void releaseElsewhere(const std::string& name);
    bool isHeld(const std::string& name) const;

    unsigned started() const { return started_; }        // threads so far
    unsigned terminated() const { return terminated_; }  // by force
    unsigned alive() const;                              // beside the test's own
    unsigned loweredPriorities() const;                  // how many of those alive have asked for the lowest priority

private:
    friend class ScriptedThread;
    friend class ScriptedMutex;

    VirtualLock& named(const std::string& name);

    ScriptedCore& core_;
    std::map<std::string, std::unique_ptr<VirtualLock>> named_;
    std::vector<VirtualLock*> unnamed_;
    VirtualThread elsewhere_;
    unsigned events_ = 0;
    unsigned mutexes_ = 0;
    unsigned started_ = 0;
    unsigned terminated_ = 0;
};

}  // namespace mova
