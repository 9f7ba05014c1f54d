#include "component/ReaderThread.h"

#include <algorithm>
#include <utility>

namespace mova {

namespace {
constexpr std::uint32_t kAwaitSlice = 20;
}

Code ReaderThread::start(std::shared_ptr<void> keepAlive, Work work) {
    const LockGuard guard(*lock_);
    if (ending_) return Code::Success;
    // The new thread itself must not reset it: it would swallow a stop that is signalled before it runs.
    stop_.reset();
    stopping_ = false;
    if (recorded_) return Code::Success;
    std::shared_ptr<Thread> thread =
        platform_.threading.start([this, keep = std::move(keepAlive), work = std::move(work)] { run(work); });
    if (!thread) return Code::ReaderNotStarted;
    thread_ = std::move(thread);
    recorded_ = true;
    return Code::Success;
}

void ReaderThread::requestStop() {
    const LockGuard guard(*lock_);
    if (!recorded_) return;
    stopping_ = true;
    stop_.set();
    call();
}

void ReaderThread::requestEnd() {
    ending_ = true;
    requestStop();
}

bool ReaderThread::isRecorded() {
    const LockGuard guard(*lock_);
    return recorded_;
}

bool ReaderThread::isCurrent() {
    const LockGuard guard(*lock_);
    return thread_ && thread_->id() == platform_.threading.currentThreadId();
}

bool ReaderThread::awaitEnd(std::uint32_t milliseconds, const std::function<void()>& letCallsIn) {
    std::shared_ptr<Thread> thread;
    {
        const LockGuard guard(*lock_);
        thread = thread_;
    }
    if (!thread) return true;
    if (thread->id() == platform_.threading.currentThreadId()) return false;
    const std::uint32_t start = platform_.clock.tickCount();
    for (;;) {
        const std::uint32_t passed = platform_.clock.tickCount() - start;
        if (thread->join(std::min(kAwaitSlice, milliseconds - std::min(passed, milliseconds)))) return true;
        if (passed >= milliseconds) return false;
        letCallsIn();
    }
}

void ReaderThread::run(const Work& work) {
    {
        const LockGuard guard(*lock_);  // start() has recorded this thread when it lets go
    }
    work.begin();
    for (;;) {
        const WaitResult seen = stop_.wait(work.rest(*call_));
        if (seen == WaitResult::TimedOut && !isToStop()) {
            work.pass();
        } else if (mayEnd(seen)) {
            break;
        }
    }
    work.end();
}

bool ReaderThread::mayEnd(WaitResult seen) {
    const LockGuard guard(*lock_);
    if (seen != WaitResult::Failed && !stopping_ && !ending_ && !stop_.isSet()) return false;
    stop_.reset();
    recorded_ = false;
    return true;
}

}  // namespace mova
