#include "logging/MyDebugMsg.h"

#include <new>

namespace mova {

namespace {
constexpr int kProbeTries = 10;
constexpr std::uint32_t kProbePause = 2000;
constexpr std::uint32_t kPauseAfterProbeStart = 50;  // lets a probe that finds the listener at once carry this message
constexpr std::uint32_t kShutdownWait = 100;
constexpr std::uint32_t kShutdownPause = 10;
// For a loaded machine; ending a thread by force is the last resort.
constexpr std::uint32_t kGraceBeforeTermination = 1000;
}  // namespace

struct MyDebugMsg::Probe {
    explicit Probe(Platform& p) : platform(p), done(p.threading.makeEvent()), stop(p.threading.makeEvent()) {}

    void search() noexcept {
        try {
            lookTenTimes();
        } catch (...) {
            // Out of memory: the next post starts another search.
        }
        running = false;
        done->set();
    }

    void lookTenTimes() {
        for (int attempt = 0; attempt < kProbeTries && !stopping; ++attempt) {
            const auto channel = platform.datagrams.open(kMailslotName);
            if (channel != DatagramChannel::kInvalid) {
                present = true;
                platform.datagrams.close(channel);
                break;
            }
            if (stop->wait(kProbePause) != WaitResult::TimedOut) break;
        }
    }

    Platform& platform;
    std::unique_ptr<Event> done;
    std::unique_ptr<Event> stop;
    std::atomic<bool> stopping{false};
    std::atomic<bool> present{false};  // a listener has been seen and no send has failed since
    std::atomic<bool> running{false};
};

MyDebugMsg::MyDebugMsg(Platform& platform) : platform_(platform), probe_(std::make_shared<Probe>(platform)) {}

MyDebugMsg::~MyDebugMsg() {
    probe_->stopping = true;
    probe_->stop->set();
    if (probe_->running) {
        probe_->done->wait(kShutdownWait);
        platform_.clock.sleep(kShutdownPause);
        if (probe_->running && probeThread_ && !probeThread_->join(kGraceBeforeTermination)) probeThread_->terminate();
    }
    if (mailslot_ != DatagramChannel::kInvalid) platform_.datagrams.close(mailslot_);
}

void MyDebugMsg::setPrefix(std::string_view prefix) {
    const LockGuard guard(mutex_);
    prefix_ = prefix;
}

void MyDebugMsg::setOutputMode(OutputMode mode) { outputMode_ = mode; }

void MyDebugMsg::post(std::string_view message) noexcept {
    if (!hasListener()) return;
    try {
        std::string text;
        {
            const LockGuard guard(mutex_);
            text.reserve(prefix_.size() + message.size());
            text.append(prefix_).append(message);
        }
        send(text);
    } catch (...) {
        // Out of memory: lost like a message that nobody listens to.
    }
}

bool MyDebugMsg::hasListener() noexcept {
    if (outputMode_ == OutputMode::Off) return false;
    if (!probe_->present) lookForListener();
    return probe_->present;
}

void MyDebugMsg::lookForListener() {
    if (probe_->running.exchange(true)) return;
    probe_->done->reset();
    std::unique_ptr<Thread> thread;
    try {
        thread = platform_.threading.start([probe = probe_] { probe->search(); });
    } catch (const std::bad_alloc&) {
        // As a thread that the system has not got.
    }
    if (!thread) {
        probe_->running = false;
        return;
    }
    thread->setLowestPriority();
    {
        const LockGuard guard(mutex_);
        probeThread_ = std::move(thread);
    }
    platform_.clock.sleep(kPauseAfterProbeStart);
}

void MyDebugMsg::send(const std::string& text) {
    const LockGuard guard(mutex_);
    if (mailslot_ == DatagramChannel::kInvalid) mailslot_ = platform_.datagrams.open(kMailslotName);
    if (mailslot_ == DatagramChannel::kInvalid) {
        probe_->present = false;
    } else if (!platform_.datagrams.write(mailslot_, text)) {
        probe_->present = false;
        platform_.datagrams.close(mailslot_);
        mailslot_ = DatagramChannel::kInvalid;
    }
}

}  // namespace mova
