// The thread that runs the receive engine while no caller waits.
//
// It makes a pass every 5 ms while there is something to do, and rests otherwise: until bytes arrive or somebody calls
// it. After a rest it falls into the rhythm that it would have kept, so that records are cut as if it had never rested.
//
// A caller that opens the port or chooses a background mode starts it, and no second one makes passes beside it. The
// thread holds keepAlive, which owns this object and whatever Work touches, until it has ended, even when the manager
// went before. It ends, after the pass under way, when the stop event is signalled, unless start() takes that back
// first, or when the event can no longer be waited for.
#pragma once
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

#include "device/PortLockRole.h"
#include "mova/Codes.h"
#include "platform/Platform.h"

namespace mova {

class ReaderThread {
public:
    static constexpr std::uint32_t kPollPause = 5;

    struct Work {  // all on the thread
        std::function<void()> begin;
        // Returns when there is something to do or the call is set: the milliseconds until the pass is due.
        std::function<std::uint32_t(Event& call)> rest;
        std::function<void()> pass;  // when it is due and no stop has come
        std::function<void()> end;
    };

    ReaderThread(Platform& platform, Event& stop)
        : platform_(platform),
          stop_(stop),
          call_(platform.threading.makeEvent()),
          lock_(platform.threading.makeRecursiveMutex()) {}

    // Success, also when one runs already, and after requestEnd(), when none is started. ReaderNotStarted: the system
    // has no thread.
    Code start(std::shared_ptr<void> keepAlive, Work work);
    void call() { call_->set(); }  // ends a rest: there is something to do
    void requestStop();  // signals the stop event when a thread is recorded; a reset of the event does not undo it
    void requestEnd();   // for good: nothing takes this back
    bool isRecorded();
    bool isEnding() const { return ending_; }
    bool isToStop() const { return stopping_ || ending_; }
    bool isCurrent();  // called on the reader thread itself
    // Waits until the thread has ended; between short waits letCallsIn runs. False when it has not ended in time.
    // On the reader thread itself it does not wait. The reader may want the port's lock before it ends.
    bool awaitEnd(std::uint32_t milliseconds, const std::function<void()>& letCallsIn) MOVA_EXCLUDES(portLockRole);

private:
    void run(const Work& work);
    bool mayEnd(WaitResult seen);

    Platform& platform_;
    Event& stop_;
    const std::unique_ptr<Event> call_;
    std::unique_ptr<RecursiveMutex> lock_;
    std::shared_ptr<Thread> thread_ MOVA_GUARDED_BY(*lock_);
    bool recorded_ MOVA_GUARDED_BY(*lock_) = false;
    std::atomic<bool> stopping_{false};  // these two are also looked at without the lock
    std::atomic<bool> ending_{false};
};

}  // namespace mova
