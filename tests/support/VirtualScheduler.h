// Virtual time and virtual threads. Every virtual thread is a real one, but exactly one holds the baton and runs;
// the baton passes only where a thread waits, and time moves only when all of them wait: to the earliest deadline or
// scripted action. So a time-out of 10 seconds takes microseconds, and the same test runs the same way every time.
//
// Order at one instant: scripted actions first (by time, then by registration), then threads whose wait was satisfied
// (in that order), then those whose time is up (by deadline, then by creation). One thread alone never switches.
//
// Ends the process with a list of who waits for what when all wait for ever, when the main thread waits for more than
// an hour of virtual time without limit, when a million calls pass without time moving, and when the thread with the
// baton blocks outside the platform for two real minutes (a std::mutex held across a platform wait, for instance).
#pragma once
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace mova {

using VirtualTime = std::chrono::microseconds;  // since the platform's making

class VirtualScheduler;
struct VirtualThread;

// Something that threads wait for: set or not, until reset.
class Signal {
public:
    Signal(VirtualScheduler& scheduler, std::string what) : scheduler_(scheduler), what_(std::move(what)) {}
    ~Signal();
    Signal(const Signal&) = delete;
    Signal& operator=(const Signal&) = delete;

    bool isSet() const { return set_; }
    void set();  // satisfies the waits under way, even when a reset follows at once
    void reset() { set_ = false; }
    const std::string& what() const { return what_; }
    void rename(std::string what) { what_ = std::move(what); }

private:
    friend class VirtualScheduler;
    VirtualScheduler& scheduler_;
    std::string what_;
    bool set_ = false;
    std::vector<VirtualThread*> waiting_;
};

enum class WaitOutcome { First, Second, TimedOut };

// Lets waiting threads see, in real time, that the running one still calls. It outlives the scheduler, as the threads
// do that never run again.
struct CallMonitor {
    std::atomic<std::uint64_t> calls{0};
    std::atomic<std::chrono::milliseconds> hangLimit{std::chrono::minutes(2)};
};

struct VirtualThread {
    enum class State { Running, Ready, Waiting, Ended, Terminated };

    std::uint32_t id = 0;
    State state = State::Ready;
    std::array<Signal*, 2> awaited{};
    std::optional<VirtualTime> deadline;
    VirtualTime since{0};  // waits since
    WaitOutcome outcome = WaitOutcome::TimedOut;
    std::uint32_t lastError = 0;
    bool lowestPriority = false;
    std::unique_ptr<Signal> ended;

    std::shared_ptr<CallMonitor> monitor;
    std::thread real;
    std::thread::id realId;
    std::mutex mutex;  // guards baton and abandoned
    std::condition_variable wake;
    bool baton = false;
    bool abandoned = false;

    bool isAlive() const { return state != State::Ended && state != State::Terminated; }
};

class VirtualScheduler {
public:
    static constexpr std::uint32_t kNoLimit = 0xFFFFFFFF;

    VirtualScheduler();
    ~VirtualScheduler();
    VirtualScheduler(const VirtualScheduler&) = delete;
    VirtualScheduler& operator=(const VirtualScheduler&) = delete;

    VirtualTime now() const { return now_; }
    void at(VirtualTime when, std::function<void()> action);  // in the past: at the next wait. It must not wait.
    // The clock moves while the caller keeps the baton: work that takes time. Actions that fall due run on the way.
    void passTime(VirtualTime duration);

    // Waits for the first or the second signal (either may be null). Two that are set: the first one.
    WaitOutcome wait(Signal* first, Signal* second, std::uint32_t milliseconds);
    WaitOutcome waitFor(Signal* first, Signal* second, std::optional<VirtualTime> limit);
    void settle();    // runs every other thread that can run now; time stands still
    void shutDown();  // settles; threads that are still there then fail the test and never run again

    std::shared_ptr<VirtualThread> start(std::function<void()> run);
    void terminate(VirtualThread& thread);  // it never runs again
    VirtualThread& current();               // a pseudo-thread with the id 0 inside an action

    std::vector<std::shared_ptr<VirtualThread>> threads() const { return threads_; }  // main first
    std::string describe() const;                                                     // who waits for what
    std::string describe(const VirtualThread& thread) const;
    [[noreturn]] void giveUp(const std::string& reason) const;

    // Every scripted call comes through here. One that may yield is a place where another thread may overtake it.
    void countCall(bool mayYield);
    void setCallCost(VirtualTime cost) { callCost_ = cost; }
    // Lets threads overtake each other: at about one such call in oneIn another thread that can run goes on, and of
    // several that can run any one is taken. Reproducible by the seed.
    void interleave(std::uint32_t seed, unsigned oneIn = 4);

    // Run when every thread waits for ever, before giving up: may set them going again (pull the cable). Runs as an
    // action does, each time it comes to that.
    void setWhenStuck(std::function<void()> rescue) { whenStuck_ = std::move(rescue); }
    unsigned timesStuck() const { return timesStuck_; }

    // How long, in real time, the running thread may go without a call while others wait for it.
    void setHangLimit(std::chrono::milliseconds limit) { monitor_->hangLimit = limit; }

    // Added to the list when the scheduler gives up.
    void setContext(std::function<std::string()> context) { context_ = std::move(context); }
    // Told when a thread ends or is terminated, so that what it holds can be handed on.
    void setOnEnd(std::function<void(VirtualThread&)> onEnd) { onEnd_ = std::move(onEnd); }

private:
    friend class Signal;
    using ActionKey = std::pair<VirtualTime, std::uint64_t>;

    void body(const std::shared_ptr<VirtualThread>& thread, std::function<void()>& run);
    void awaitBaton(VirtualThread& thread);
    void pass(VirtualThread& from, VirtualThread& to);
    VirtualThread& next();
    void makeReady(VirtualThread& thread, WaitOutcome outcome);
    void leaveSignals(VirtualThread& thread);
    void runDueActions(VirtualTime until);
    void expireWaits();
    VirtualThread* takeReady();
    bool rescue();
    void moveOn();
    void moveClock(VirtualTime to);
    void yield();
    void end(VirtualThread& thread, VirtualThread::State state);
    void abandon(VirtualThread& thread);
    void reap();

    VirtualTime now_{0};
    std::vector<std::shared_ptr<VirtualThread>> threads_;
    std::atomic<VirtualThread*> current_{nullptr};
    std::deque<VirtualThread*> ready_;
    std::map<ActionKey, std::function<void()>> actions_;
    std::uint64_t actionNumber_ = 0;
    VirtualThread actionThread_;
    std::uint32_t nextId_ = 1;
    VirtualTime callCost_{0};
    std::uint64_t callsSinceTimeMoved_ = 0;
    unsigned preemptOneIn_ = 0;
    std::minstd_rand random_;
    std::shared_ptr<CallMonitor> monitor_ = std::make_shared<CallMonitor>();
    std::function<void()> whenStuck_;
    unsigned timesStuck_ = 0;
    std::function<std::string()> context_;
    std::function<void(VirtualThread&)> onEnd_;
};

}  // namespace mova
