#include "campaigns/conversation/Recorder.h"

#include <array>
#include <map>

namespace mova::conversation {

// --- the tape

void Recorder::mix(std::uint64_t number) { hash_ = (hash_ ^ number) * 1099511628211ull; }

void Recorder::mix(std::string_view text) {
    for (const char c : text) mix(static_cast<unsigned char>(c));
    mix(text.size());
}

void Recorder::lock() {
    if (depth_++ > 0) return;
    current_.thread = scheduler_.current().id;
    current_.since = static_cast<std::uint64_t>(scheduler_.now().count());
    current_.happenings.clear();
    current_.traced.clear();
}

void Recorder::unlock() {
    if (--depth_ > 0) return;
    mix(current_.thread);
    mix(current_.since);
    tape_.holds.push_back(std::move(current_));
    current_ = {};
    constexpr std::size_t kUsual = 16;
    current_.happenings.reserve(kUsual);
}

void Recorder::note(Act act, bool ok, std::uint32_t number, std::uint32_t count, std::string text) {
    if (depth_ == 0 || scheduler_.current().id != current_.thread) return;  // the reader thread between its passes
    const auto when = static_cast<std::uint64_t>(scheduler_.now().count());
    mix(static_cast<std::uint64_t>(act) * 2 + (ok ? 1 : 0));
    mix(number);
    mix(count);
    mix(when);
    mix(text);
    current_.happenings.push_back({act, ok, number, count, when, std::move(text)});
}

void Recorder::raise(oracle::Raised raised) {
    see(Seen::Event, raised.text);
    tape_.raised.push_back(std::move(raised));
}

void Recorder::see(Seen what, std::string text) {
    if (keepsAll_) seen_[static_cast<std::size_t>(what)].push_back(std::move(text));
}

void Recorder::trace(std::string_view message) {
    see(Seen::Trace, std::string(message));
    constexpr std::array<std::string_view, 5> kWanted{"AT-Purge ", "AT-R ", "Mv-R-Error ", "Mv-A ", "Mv-ECHO "};
    if (depth_ == 0 || scheduler_.current().id != current_.thread) return;
    const auto behindPrefix = message.find(") ");
    if (behindPrefix == message.npos) return;
    message.remove_prefix(behindPrefix + 2);
    for (const std::string_view wanted : kWanted) {
        if (!message.starts_with(wanted)) continue;
        mix(message);
        current_.traced.emplace_back(message);
        return;
    }
}

// --- taps

namespace {

// The oracle's words for the platform's, which it does not know.
std::uint32_t told(BeginResult result) {
    using oracle::Begun;
    const Begun begun = result == BeginResult::Complete  ? Begun::Complete
                        : result == BeginResult::Pending ? Begun::Pending
                                                         : Begun::Failed;
    return static_cast<std::uint32_t>(begun);
}

std::uint32_t told(WaitResult result) {
    using oracle::Waited;
    const Waited waited = result == WaitResult::Signalled  ? Waited::Signalled
                          : result == WaitResult::Stopped  ? Waited::Stopped
                          : result == WaitResult::TimedOut ? Waited::TimedOut
                                                           : Waited::Failed;
    return static_cast<std::uint32_t>(waited);
}

class TapedEvent : public Event {
public:
    TapedEvent(Recorder& recorder, std::unique_ptr<Event> inner) : recorder_(recorder), inner_(std::move(inner)) {}
    void set() override { inner_->set(); }
    void reset() override { inner_->reset(); }
    WaitResult wait(std::uint32_t milliseconds) override {
        const WaitResult result = inner_->wait(milliseconds);
        recorder_.note(Act::Poll, result == WaitResult::Signalled, milliseconds);
        return result;
    }
    Event* inner() { return inner_.get(); }

private:
    Recorder& recorder_;
    std::unique_ptr<Event> inner_;
};

class TapedLock : public RecursiveMutex {
public:
    TapedLock(Recorder& recorder, std::unique_ptr<RecursiveMutex> inner)
        : recorder_(recorder), inner_(std::move(inner)) {}
    void lock() override {
        inner_->lock();
        recorder_.lock();
    }
    void unlock() override {
        recorder_.unlock();
        inner_->unlock();
    }

private:
    Recorder& recorder_;
    std::unique_ptr<RecursiveMutex> inner_;
};

class TapedThreading : public Threading {
public:
    TapedThreading(Recorder& recorder, Threading& inner) : recorder_(recorder), inner_(inner) {}
    std::unique_ptr<Event> makeEvent() override { return std::make_unique<TapedEvent>(recorder_, inner_.makeEvent()); }
    // The first lock that a component makes is its port's.
    std::unique_ptr<RecursiveMutex> makeRecursiveMutex() override {
        auto mutex = inner_.makeRecursiveMutex();
        if (mutexes_++ > 0) return mutex;
        return std::make_unique<TapedLock>(recorder_, std::move(mutex));
    }
    std::unique_ptr<NamedMutex> makeNamedMutex(const std::string& name) override { return inner_.makeNamedMutex(name); }
    std::unique_ptr<Thread> start(std::function<void()> run) override {
        auto thread = inner_.start(std::move(run));
        recorder_.note(Act::Start, thread != nullptr);
        return thread;
    }
    std::uint32_t currentThreadId() override { return inner_.currentThreadId(); }

private:
    Recorder& recorder_;
    Threading& inner_;
    unsigned mutexes_ = 0;
};

class TapedClock : public Clock {
public:
    TapedClock(Recorder& recorder, Clock& inner) : recorder_(recorder), inner_(inner) {}
    std::uint32_t tickCount() override { return inner_.tickCount(); }
    LocalTime localTime() override { return inner_.localTime(); }
    void sleep(std::uint32_t milliseconds) override {
        inner_.sleep(milliseconds);
        recorder_.note(Act::Sleep, true, milliseconds);
    }
    std::string longDateText(std::int64_t seconds) override { return inner_.longDateText(seconds); }

private:
    Recorder& recorder_;
    Clock& inner_;
};

class TapedSerial : public SerialDriver {
public:
    TapedSerial(Recorder& recorder, SerialDriver& inner) : recorder_(recorder), inner_(inner) {}

    PortHandle open(const std::string& path, bool overlapped) override {
        const PortHandle handle = inner_.open(path, overlapped);
        recorder_.note(Act::Open, handle != kInvalidPort, 0, 0, path);
        return handle;
    }
    bool close(PortHandle port) override { return noted(Act::Close, inner_.close(port)); }
    bool setQueueSizes(PortHandle port, std::uint32_t input, std::uint32_t output) override {
        return noted(Act::Queues, inner_.setQueueSizes(port, input, output));
    }
    bool setTimeouts(PortHandle port, const PortTimeouts& timeouts) override {
        return noted(Act::Timeouts, inner_.setTimeouts(port, timeouts));
    }
    bool properties(PortHandle port, PortProperties& out) override {
        return noted(Act::Properties, inner_.properties(port, out));
    }
    bool lineSettings(PortHandle port, LineSettings& out) override {
        return noted(Act::Settings, inner_.lineSettings(port, out));
    }
    bool setLineSettings(PortHandle port, const LineSettings& settings) override {
        return noted(Act::Configure, inner_.setLineSettings(port, settings));
    }
    bool setEventMask(PortHandle port, std::uint32_t mask) override {
        return noted(Act::Mask, inner_.setEventMask(port, mask), mask);
    }
    bool clearErrors(PortHandle port, std::uint32_t& bits, PortStatus* status) override {
        const bool ok = inner_.clearErrors(port, bits, status);
        if (status)
            recorder_.note(Act::Count, ok, ok ? bits : 0, ok ? status->inQueue : 0);
        else
            recorder_.note(Act::Clear, ok, ok ? bits : 0);
        return ok;
    }
    bool purge(PortHandle port, std::uint32_t what) override {
        return noted(Act::Purge, inner_.purge(port, what), what);
    }
    bool control(PortHandle port, LineControl function) override { return inner_.control(port, function); }
    bool modemStatus(PortHandle port, std::uint32_t& out) override { return inner_.modemStatus(port, out); }

    std::unique_ptr<Transfer> makeTransfer() override { return inner_.makeTransfer(); }
    BeginResult beginRead(PortHandle port, Transfer& transfer, void* buffer, std::uint32_t capacity) override {
        buffers_[&transfer] = static_cast<const char*>(buffer);
        const BeginResult result = inner_.beginRead(port, transfer, buffer, capacity);
        recorder_.note(Act::BeginRead, result != BeginResult::Failed, capacity, told(result));
        return result;
    }
    BeginResult beginWrite(PortHandle port, Transfer& transfer, const void* data, std::uint32_t length) override {
        const BeginResult result = inner_.beginWrite(port, transfer, data, length);
        recorder_.note(Act::BeginWrite, result != BeginResult::Failed, 0, told(result),
                       std::string(static_cast<const char*>(data), length));
        return result;
    }
    WaitResult await(Transfer& transfer, Event* stop, std::uint32_t milliseconds) override {
        const WaitResult result =
            inner_.await(transfer, stop ? static_cast<TapedEvent*>(stop)->inner() : nullptr, milliseconds);
        recorder_.note(Act::Await, true, milliseconds, told(result));
        return result;
    }
    bool finish(PortHandle port, Transfer& transfer, std::uint32_t& bytes) override {
        const bool ok = inner_.finish(port, transfer, bytes);
        const auto buffer = buffers_.find(&transfer);
        const bool hasRead = ok && buffer != buffers_.end();
        recorder_.note(Act::Finish, ok, 0, ok ? bytes : 0,
                       hasRead ? std::string(buffer->second, bytes) : std::string());
        return ok;
    }
    void cancel(PortHandle port, Transfer& transfer) override {
        inner_.cancel(port, transfer);
        recorder_.note(Act::Cancel, true);
    }
    void cancelAll(PortHandle port) override {
        inner_.cancelAll(port);
        recorder_.note(Act::CancelAll, true);
    }
    WaitResult awaitInput(PortHandle port, Event* event, std::uint32_t milliseconds) override {
        const WaitResult result =
            inner_.awaitInput(port, event ? static_cast<TapedEvent*>(event)->inner() : nullptr, milliseconds);
        recorder_.note(Act::Input, result != WaitResult::Failed, milliseconds, told(result));
        return result;
    }
    bool read(PortHandle port, void* buffer, std::uint32_t capacity, std::uint32_t& bytes) override {
        return inner_.read(port, buffer, capacity, bytes);
    }
    bool write(PortHandle port, const void* data, std::uint32_t length, std::uint32_t& bytes) override {
        return inner_.write(port, data, length, bytes);
    }
    std::uint32_t lastError() override { return inner_.lastError(); }
    std::string errorText(std::uint32_t error) override { return inner_.errorText(error); }

private:
    bool noted(Act act, bool ok, std::uint32_t number = 0) {
        recorder_.note(act, ok, number);
        return ok;
    }

    Recorder& recorder_;
    SerialDriver& inner_;
    std::map<const Transfer*, const char*> buffers_;  // of the reading direction
};

class TapedDatagrams : public DatagramChannel {
public:
    TapedDatagrams(Recorder& recorder, DatagramChannel& inner) : recorder_(recorder), inner_(inner) {}
    Handle open(const std::string& name) override { return inner_.open(name); }
    bool write(Handle, std::string_view message) override {
        recorder_.trace(message);  // and no further: nobody reads them in a conversation
        return true;
    }
    void close(Handle channel) override { inner_.close(channel); }

private:
    Recorder& recorder_;
    DatagramChannel& inner_;
};

}  // namespace

struct TapedPlatform::Taps {
    Taps(Recorder& recorder, Platform& inner)
        : serial(recorder, inner.serial),
          threading(recorder, inner.threading),
          clock(recorder, inner.clock),
          datagrams(recorder, inner.datagrams) {}
    TapedSerial serial;
    TapedThreading threading;
    TapedClock clock;
    TapedDatagrams datagrams;
};

TapedPlatform::TapedPlatform(ScriptedPlatform& platform, Recorder& recorder)
    : taps_(std::make_unique<Taps>(recorder, platform.platform())),
      platform_{taps_->serial,
                taps_->threading,
                taps_->clock,
                platform.platform().keys,
                taps_->datagrams,
                platform.platform().files,
                platform.platform().host} {}

TapedPlatform::~TapedPlatform() = default;

}  // namespace mova::conversation
