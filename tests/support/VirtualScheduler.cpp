#include "support/VirtualScheduler.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace mova {

namespace {

constexpr std::uint64_t kCallsWithoutTime = 1'000'000;
constexpr VirtualTime kLongestWaitOfMain = std::chrono::hours(1);

std::string milliseconds(VirtualTime time) {
    char text[32];
    std::snprintf(text, sizeof text, "%lld.%03lld ms", static_cast<long long>(time.count() / 1000),
                  static_cast<long long>(time.count() % 1000));
    return text;
}

std::string currentTest() {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    return info ? std::string(info->test_suite_name()) + "." + info->name() : "(no test)";
}

}  // namespace

// --- Signal

Signal::~Signal() {
    for (VirtualThread* thread : waiting_) {
        ADD_FAILURE() << "destroyed while thread " << thread->id << " waits for it: " << what_;
        std::replace(thread->awaited.begin(), thread->awaited.end(), this, static_cast<Signal*>(nullptr));
    }
}

void Signal::set() {
    set_ = true;
    const auto waiting = waiting_;  // makeReady takes them out of the list
    for (VirtualThread* thread : waiting) {
        scheduler_.makeReady(*thread, thread->awaited[0] == this ? WaitOutcome::First : WaitOutcome::Second);
    }
}

// --- life

VirtualScheduler::VirtualScheduler() {
    auto main = std::make_shared<VirtualThread>();
    main->id = nextId_++;
    main->monitor = monitor_;
    main->state = VirtualThread::State::Running;
    main->realId = std::this_thread::get_id();
    main->ended = std::make_unique<Signal>(*this, "end of the main thread");
    current_ = main.get();
    threads_.push_back(std::move(main));
}

VirtualScheduler::~VirtualScheduler() { shutDown(); }

void VirtualScheduler::shutDown() {
    settle();
    for (const auto& thread : threads_) {
        if (thread.get() == current_ || !thread->isAlive()) continue;
        ADD_FAILURE() << "still there at the platform's end: " << describe(*thread);
        abandon(*thread);
    }
    reap();
}

std::shared_ptr<VirtualThread> VirtualScheduler::start(std::function<void()> run) {
    reap();
    auto thread = std::make_shared<VirtualThread>();
    thread->id = nextId_++;
    thread->monitor = monitor_;
    thread->ended = std::make_unique<Signal>(*this, "end of thread " + std::to_string(thread->id));
    threads_.push_back(thread);
    ready_.push_back(thread.get());
    thread->real = std::thread([this, thread, run = std::move(run)]() mutable {
        awaitBaton(*thread);
        thread->realId = std::this_thread::get_id();
        body(thread, run);
    });
    return thread;
}

void VirtualScheduler::body(const std::shared_ptr<VirtualThread>& thread, std::function<void()>& run) {
    run();
    run = nullptr;  // what it holds goes while this thread still has the baton
    end(*thread, VirtualThread::State::Ended);
    pass(*thread, next());
}

void VirtualScheduler::end(VirtualThread& thread, VirtualThread::State state) {
    thread.state = state;
    thread.ended->set();
    if (onEnd_) onEnd_(thread);
}

void VirtualScheduler::terminate(VirtualThread& thread) {
    if (!thread.isAlive()) return;
    if (&thread == current_) giveUp("a thread terminates itself");
    abandon(thread);
    end(thread, VirtualThread::State::Terminated);
}

// The real thread stays parked for the rest of the process: there is no safe way to end it, and it touches nothing.
void VirtualScheduler::abandon(VirtualThread& thread) {
    leaveSignals(thread);
    std::erase(ready_, &thread);
    thread.state = VirtualThread::State::Terminated;
    {
        const std::lock_guard guard(thread.mutex);
        thread.abandoned = true;
    }
    thread.wake.notify_all();
    thread.real.detach();
}

void VirtualScheduler::reap() {
    std::erase_if(threads_, [](const auto& thread) {
        if (thread->state != VirtualThread::State::Ended) return thread->state == VirtualThread::State::Terminated;
        thread->real.join();
        return true;
    });
}

// --- the baton

// A thread that is abandoned here must touch nothing but itself: the scheduler may be gone.
void VirtualScheduler::awaitBaton(VirtualThread& thread) {
    std::unique_lock guard(thread.mutex);
    CallMonitor& monitor = *thread.monitor;
    while (!thread.baton) {
        if (thread.abandoned) thread.wake.wait(guard, [] { return false; });
        const std::uint64_t seen = monitor.calls;
        const bool timedOut = thread.wake.wait_for(guard, monitor.hangLimit.load()) == std::cv_status::timeout;
        if (timedOut && !thread.baton && !thread.abandoned && seen == monitor.calls)
            giveUp("the running thread blocks outside the platform");
    }
    thread.baton = false;
}

void VirtualScheduler::pass(VirtualThread& from, VirtualThread& to) {
    to.state = VirtualThread::State::Running;
    if (&from == &to) return;
    current_ = &to;
    const bool returns = from.isAlive();
    {
        const std::lock_guard guard(to.mutex);
        to.baton = true;
        to.wake.notify_one();
    }
    if (returns) awaitBaton(from);
}

VirtualThread& VirtualScheduler::current() {
    VirtualThread& thread = *current_;
    if (&thread != &actionThread_ && thread.realId != std::this_thread::get_id())
        giveUp("a call comes from a thread that was not started through the platform");
    return thread;
}

VirtualThread& VirtualScheduler::next() {
    for (;;) {
        runDueActions(now_);
        expireWaits();
        if (VirtualThread* thread = takeReady()) return *thread;
        moveOn();
    }
}

VirtualThread* VirtualScheduler::takeReady() {
    if (ready_.empty()) return nullptr;
    auto chosen = ready_.begin();
    if (preemptOneIn_ != 0) chosen += static_cast<std::ptrdiff_t>(random_() % ready_.size());
    VirtualThread* thread = *chosen;
    ready_.erase(chosen);
    return thread;
}

void VirtualScheduler::moveOn() {
    std::optional<VirtualTime> earliest;
    if (!actions_.empty()) earliest = actions_.begin()->first.first;
    for (const auto& thread : threads_) {
        if (thread->state != VirtualThread::State::Waiting || !thread->deadline) continue;
        if (!earliest || *thread->deadline < *earliest) earliest = thread->deadline;
    }
    if (!earliest && rescue()) return;
    if (!earliest) giveUp("deadlock: every thread waits for ever");
    moveClock(*earliest);
    const VirtualThread& main = *threads_.front();
    if (main.state == VirtualThread::State::Waiting && !main.deadline && now_ - main.since > kLongestWaitOfMain)
        giveUp("the main thread has waited without limit for more than an hour");
}

// True when there is something to go on with.
bool VirtualScheduler::rescue() {
    ++timesStuck_;
    if (!whenStuck_) return false;
    at(now_, whenStuck_);
    runDueActions(now_);
    return !ready_.empty() || !actions_.empty();
}

void VirtualScheduler::moveClock(VirtualTime to) {
    if (to <= now_) return;
    now_ = to;
    callsSinceTimeMoved_ = 0;
}

// --- waiting

WaitOutcome VirtualScheduler::wait(Signal* first, Signal* second, std::uint32_t milliseconds) {
    if (milliseconds == kNoLimit) return waitFor(first, second, std::nullopt);
    return waitFor(first, second, std::chrono::milliseconds(milliseconds));
}

WaitOutcome VirtualScheduler::waitFor(Signal* first, Signal* second, std::optional<VirtualTime> limit) {
    VirtualThread& self = current();
    if (first && first->isSet()) return WaitOutcome::First;
    if (second && second->isSet()) return WaitOutcome::Second;
    if (limit == VirtualTime(0) && (first || second)) return WaitOutcome::TimedOut;
    if (&self == &actionThread_) giveUp("a scripted action waits");
    self.state = VirtualThread::State::Waiting;
    self.awaited = {first, second};
    self.since = now_;
    self.deadline.reset();
    if (limit) self.deadline = now_ + *limit;
    for (Signal* signal : self.awaited) {
        if (signal) signal->waiting_.push_back(&self);
    }
    pass(self, next());
    return self.outcome;
}

void VirtualScheduler::makeReady(VirtualThread& thread, WaitOutcome outcome) {
    leaveSignals(thread);
    thread.outcome = outcome;
    thread.state = VirtualThread::State::Ready;
    ready_.push_back(&thread);
}

void VirtualScheduler::leaveSignals(VirtualThread& thread) {
    for (Signal*& signal : thread.awaited) {
        if (signal) std::erase(signal->waiting_, &thread);
        signal = nullptr;
    }
}

void VirtualScheduler::expireWaits() {
    std::vector<VirtualThread*> expired;
    for (const auto& thread : threads_) {
        if (thread->state == VirtualThread::State::Waiting && thread->deadline && *thread->deadline <= now_)
            expired.push_back(thread.get());
    }
    std::stable_sort(expired.begin(), expired.end(),
                     [](const VirtualThread* a, const VirtualThread* b) { return *a->deadline < *b->deadline; });
    for (VirtualThread* thread : expired) makeReady(*thread, WaitOutcome::TimedOut);
}

void VirtualScheduler::yield() {
    VirtualThread& self = *current_;
    self.state = VirtualThread::State::Ready;
    ready_.push_back(&self);
    pass(self, next());
}

void VirtualScheduler::settle() {
    current();
    for (;;) {
        runDueActions(now_);
        expireWaits();
        if (ready_.empty()) return;
        yield();
    }
}

// --- actions and time

void VirtualScheduler::at(VirtualTime when, std::function<void()> action) {
    actions_.emplace(ActionKey{when, actionNumber_++}, std::move(action));
}

void VirtualScheduler::runDueActions(VirtualTime until) {
    VirtualThread* const interrupted = current_;
    while (!actions_.empty() && actions_.begin()->first.first <= until) {
        auto node = actions_.extract(actions_.begin());
        moveClock(node.key().first);
        current_ = &actionThread_;
        node.mapped()();
        current_ = interrupted;
    }
}

void VirtualScheduler::passTime(VirtualTime duration) {
    const VirtualTime until = now_ + duration;
    if (current_ != &actionThread_) runDueActions(until);
    moveClock(until);
}

void VirtualScheduler::countCall(bool mayYield) {
    ++monitor_->calls;
    VirtualThread& self = current();
    if (&self == &actionThread_) return;
    if (++callsSinceTimeMoved_ > kCallsWithoutTime) giveUp("a million calls and no time has passed");
    if (callCost_.count() > 0) passTime(callCost_);
    if (mayYield && preemptOneIn_ != 0 && random_() % preemptOneIn_ == 0 && !ready_.empty()) yield();
}

void VirtualScheduler::interleave(std::uint32_t seed, unsigned oneIn) {
    random_.seed(seed);
    preemptOneIn_ = oneIn;
}

// --- telling

std::string VirtualScheduler::describe(const VirtualThread& thread) const {
    std::string text = "thread " + std::to_string(thread.id);
    switch (thread.state) {
        case VirtualThread::State::Running: return text + " runs";
        case VirtualThread::State::Ready: return text + " is ready to run";
        case VirtualThread::State::Ended: return text + " has ended";
        case VirtualThread::State::Terminated: return text + " was terminated";
        case VirtualThread::State::Waiting: break;
    }
    text += thread.awaited[0] || thread.awaited[1] ? " waits for " : " sleeps";
    if (thread.awaited[0]) text += thread.awaited[0]->what();
    if (thread.awaited[1]) text += (thread.awaited[0] ? " or " : "") + thread.awaited[1]->what();
    text += thread.deadline ? ", until " + milliseconds(*thread.deadline) : ", without limit";
    return text + ", since " + milliseconds(thread.since);
}

std::string VirtualScheduler::describe() const {
    std::string text;
    for (const auto& thread : threads_) {
        if (thread->isAlive()) text += "  " + describe(*thread) + "\n";
    }
    return text;
}

void VirtualScheduler::giveUp(const std::string& reason) const {
    std::string text = "\nThe scripted platform gives up: " + reason + "\nTest " + currentTest() + ", at " +
                       milliseconds(now_) + "\n" + describe();
    if (context_) text += context_();
    std::fputs(text.c_str(), stderr);
    std::fflush(stderr);
    std::abort();
}

}  // namespace mova
