#include "support/ScriptedSerialDriver.h"

#include <algorithm>

#include "support/ScriptedThreading.h"

namespace mova {

namespace {

constexpr std::uint32_t kFileNotFound = 2;
constexpr std::uint32_t kAccessDenied = 5;
constexpr std::uint32_t kInvalidHandle = 6;
constexpr std::uint32_t kInvalidParameter = 87;
constexpr std::uint32_t kAborted = 995;
constexpr std::uint32_t kIncomplete = 996;

const char* nameOf(LineControl function) {
    switch (function) {
        case LineControl::SetRts: return "SetRts";
        case LineControl::ClearRts: return "ClearRts";
        case LineControl::SetDtr: return "SetDtr";
        case LineControl::ClearDtr: return "ClearDtr";
    }
    return "?";
}

bool dealtWithByCall(FailureKind kind) { return kind != FailureKind::Error; }

std::string_view viewOf(const void* data, std::uint32_t length) {
    return length == 0 ? std::string_view() : std::string_view(static_cast<const char*>(data), length);
}

std::string withBytes(const ScriptedCore& core, const char* name, const void* data, std::uint32_t length) {
    if (!core.isRead()) return {};
    const std::string bytes = hexBytes(viewOf(data, length));
    return bytes.empty() ? name : std::string(name) + " " + bytes;
}

}  // namespace

class ScriptedTransfer : public Transfer {
public:
    enum class State { Idle, Pending, Done };

    ScriptedTransfer(ScriptedSerialDriver& home, bool isRefused)
        : driver(home), refused(isRefused), done(home.core_.scheduler, "a transfer") {
        driver.transfers_.push_back(this);
    }
    ~ScriptedTransfer() override {
        if (state == State::Pending) driver.core_.complain("a transfer is destroyed while pending");
        std::erase(driver.transfers_, this);
    }

    ScriptedSerialDriver& driver;
    const bool refused;  // its completion event was refused by the system
    Signal done;
    State state = State::Idle;
    unsigned generation = 0;
    PortHandle handle = kInvalidPort;
    ScriptedPort* port = nullptr;
    bool isRead = false;
    bool waitsForByte = false;
    void* buffer = nullptr;
    const void* data = nullptr;
    std::uint32_t length = 0;
    std::uint32_t bytes = 0;
    std::uint32_t error = 0;
    std::uint32_t thread = 0;
    std::optional<Failure> failure;
};

namespace {

ScriptedTransfer& scripted(Transfer& transfer) { return static_cast<ScriptedTransfer&>(transfer); }

}  // namespace

ScriptedSerialDriver::ScriptedSerialDriver(ScriptedCore& core)
    : core_(core),
      errorTexts_{
          {0, "The operation completed successfully.\r\n"},
          {2, "The system cannot find the file specified.\r\n"},
          {5, "Access is denied.\r\n"},
          {6, "The handle is invalid.\r\n"},
          {22, "The device does not recognize the command.\r\n"},
          {31, "A device attached to the system is not functioning.\r\n"},
          {87, "The parameter is incorrect.\r\n"},
          {995, "The I/O operation has been aborted because of either a thread exit or an application request.\r\n"},
          {996, "Overlapped I/O event is not in a signaled state.\r\n"},
      } {}

ScriptedSerialDriver::~ScriptedSerialDriver() = default;

ScriptedPort& ScriptedSerialDriver::add(const std::string& path) {
    auto& port = ports_[path];
    if (!port) {
        port = std::make_unique<ScriptedPort>(core_, path);
        port->changed_ = [this, raw = port.get()] { portChanged(*raw); };
    }
    return *port;
}

ScriptedPort& ScriptedSerialDriver::port(const std::string& path) {
    const auto found = ports_.find(path);
    if (found == ports_.end()) core_.scheduler.giveUp("no scripted port " + path);
    return *found->second;
}

std::size_t ScriptedSerialDriver::pendingTransfers() const {
    return static_cast<std::size_t>(std::count_if(transfers_.begin(), transfers_.end(), [](const ScriptedTransfer* t) {
        return t->state == ScriptedTransfer::State::Pending;
    }));
}

// --- calls

bool ScriptedSerialDriver::fail(std::uint32_t error) {
    core_.scheduler.current().lastError = error;
    return false;
}

ScriptedSerialDriver::Call ScriptedSerialDriver::begin(Op op, PortHandle handle, std::string_view text,
                                                       std::string_view outcome) {
    const auto failure = core_.enter(op, text);
    const auto found = handles_.find(handle);
    std::uint32_t error = 0;
    if (found == handles_.end())
        error = kInvalidHandle;
    else if (isDead(found->second) && op != Op::Close)
        error = found->second.port->unpluggedError_;
    else if (failure && !dealtWithByCall(failure->kind))
        error = failure->error;
    const std::string path = found == handles_.end() ? std::string() : found->second.port->path_;
    if (error != 0) {
        core_.note(op, path, text, "error " + std::to_string(error));
        fail(error);
        return {};
    }
    core_.note(op, path, text, outcome.empty() && failure ? nameOf(failure->kind) : outcome);
    return {found->second.port, failure};
}

bool ScriptedSerialDriver::simple(Op op, PortHandle handle, std::string_view text, ScriptedPort*& out) {
    out = begin(op, handle, text).port;
    return out != nullptr;
}

PortHandle ScriptedSerialDriver::open(const std::string& path, bool overlapped) {
    const auto failure = core_.enter(Op::Open, path);
    const auto found = ports_.find(path);
    std::uint32_t error = 0;
    if (failure)
        error = failure->error;
    else if (found == ports_.end() || !found->second->plugged_)
        error = kFileNotFound;
    else if (found->second->open_)
        error = kAccessDenied;
    core_.note(Op::Open, path, "open " + path + (overlapped ? " overlapped" : " blocking"),
               error ? "error " + std::to_string(error) : "");
    if (error != 0) {
        fail(error);
        return kInvalidPort;
    }
    ScriptedPort& port = *found->second;
    port.pullPeer();  // what the peer has said before is lost
    port.open_ = true;
    ++port.opens_;
    const PortHandle handle = nextHandle_;
    nextHandle_ += 4;
    handles_.emplace(handle, Handle{&port, overlapped, port.plugging_});
    return handle;
}

bool ScriptedSerialDriver::close(PortHandle handle) {
    if (!begin(Op::Close, handle, "close").port) return false;
    const auto found = handles_.find(handle);
    for (ScriptedTransfer* transfer : transfers_) {
        if (transfer->handle == handle) abort(*transfer, kAborted);
    }
    endInputWaits(*found->second.port);
    if (!isDead(found->second)) {
        found->second.port->pullPeer();
        found->second.port->open_ = false;
        found->second.port->incoming_.clear();
    }
    handles_.erase(found);
    return true;
}

bool ScriptedSerialDriver::setQueueSizes(PortHandle handle, std::uint32_t input, std::uint32_t output) {
    ScriptedPort* port;
    if (!simple(Op::SetQueueSizes, handle, core_.call("setQueueSizes %u %u", input, output), port)) return false;
    port->inputQueue = input;
    port->outputQueue = output;
    return true;
}

bool ScriptedSerialDriver::setTimeouts(PortHandle handle, const PortTimeouts& t) {
    ScriptedPort* port;
    if (!simple(Op::SetTimeouts, handle,
                core_.call("setTimeouts %u %u %u %u %u", t.readInterval, t.readMultiplier, t.readConstant,
                           t.writeMultiplier, t.writeConstant),
                port))
        return false;
    port->timeouts = t;
    return true;
}

bool ScriptedSerialDriver::properties(PortHandle handle, PortProperties& out) {
    ScriptedPort* port;
    if (!simple(Op::Properties, handle, "properties", port)) return false;
    out = port->properties;
    return true;
}

bool ScriptedSerialDriver::lineSettings(PortHandle handle, LineSettings& out) {
    ScriptedPort* port;
    if (!simple(Op::GetLineSettings, handle, "lineSettings", port)) return false;
    out = port->lineSettings;
    return true;
}

bool ScriptedSerialDriver::setLineSettings(PortHandle handle, const LineSettings& s) {
    ScriptedPort* port;
    if (!simple(Op::SetLineSettings, handle,
                core_.call("setLineSettings flags=0x%04X baud=%u size=%d parity=%d stop=%d", s.flags, s.baudRate,
                           s.byteSize, s.parity, s.stopBits),
                port))
        return false;
    port->lineSettings = s;
    port->driveFromSettings();
    return true;
}

bool ScriptedSerialDriver::setEventMask(PortHandle handle, std::uint32_t mask) {
    ScriptedPort* port;
    if (!simple(Op::SetEventMask, handle, core_.call("setEventMask %u", mask), port)) return false;
    port->eventMask = mask;
    return true;
}

bool ScriptedSerialDriver::clearErrors(PortHandle handle, std::uint32_t& errorBits, PortStatus* status) {
    ScriptedPort* port;
    if (!simple(Op::ClearErrors, handle, status ? "clearErrors status" : "clearErrors", port)) return false;
    errorBits = port->nextErrorBits();
    if (status) {
        status->flags = port->statusFlags;
        status->inQueue = static_cast<std::uint32_t>(std::min<std::size_t>(port->waiting(), port->inQueueCap_));
        status->outQueue = 0;
    }
    return true;
}

bool ScriptedSerialDriver::purge(PortHandle handle, std::uint32_t what) {
    ScriptedPort* port;
    if (!simple(Op::Purge, handle, core_.call("purge 0x%X", what), port)) return false;
    if (what & kPurgeRxClear) {
        port->pullPeer();
        port->incoming_.clear();
    }
    return true;
}

bool ScriptedSerialDriver::control(PortHandle handle, LineControl function) {
    ScriptedPort* port;
    if (!simple(Op::Control, handle, std::string("control ") + nameOf(function), port)) return false;
    port->drive(function);
    return true;
}

bool ScriptedSerialDriver::modemStatus(PortHandle handle, std::uint32_t& out) {
    ScriptedPort* port;
    if (!simple(Op::ModemStatus, handle, "modemStatus", port)) return false;
    out = port->modemStatus_;
    return true;
}

// --- overlapped transfers

std::unique_ptr<Transfer> ScriptedSerialDriver::makeTransfer() {
    const bool refused = core_.enter(Op::MakeTransfer).has_value();
    return std::make_unique<ScriptedTransfer>(*this, refused);
}

ScriptedSerialDriver::Call ScriptedSerialDriver::beginTransfer(Op op, PortHandle handle, ScriptedTransfer& transfer,
                                                               std::string_view text) {
    if (transfer.state == ScriptedTransfer::State::Pending) core_.complain("a transfer is begun while it is pending");
    transfer.done.reset();
    transfer.state = ScriptedTransfer::State::Idle;
    ++transfer.generation;
    transfer.failure.reset();
    transfer.waitsForByte = false;
    transfer.bytes = 0;
    transfer.error = 0;
    transfer.isRead = op == Op::BeginRead;
    const auto found = handles_.find(handle);
    if (found != handles_.end() && !found->second.overlapped)
        core_.complain("an overlapped transfer on a port that was opened without");
    std::string_view outcome;
    if (found != handles_.end() && !transfer.refused) {
        ScriptedPort& port = *found->second.port;
        port.pullPeer();
        const bool timed = transfer.isRead ? port.readTime_.has_value() : port.writeTimeEach_.has_value();
        if (timed || (transfer.isRead && port.emptyReadsPend_ && port.incoming_.empty())) outcome = "pending";
    }
    Call call = begin(op, handle, text, outcome);
    if (call.port && transfer.refused) {
        fail(kInvalidHandle);
        call.port = nullptr;
    }
    if (!call.port) return call;
    transfer.handle = handle;
    transfer.port = call.port;
    transfer.thread = core_.scheduler.current().id;
    transfer.state = ScriptedTransfer::State::Pending;
    transfer.done.rename(std::string(transfer.isRead ? "a read on " : "a write on ") + call.port->path_);
    transfer.failure = call.failure;
    return call;
}

BeginResult ScriptedSerialDriver::beginRead(PortHandle handle, Transfer& record, void* buffer, std::uint32_t capacity) {
    ScriptedTransfer& transfer = scripted(record);
    const Call call = beginTransfer(Op::BeginRead, handle, transfer, core_.call("beginRead %u", capacity));
    if (!call.port) return BeginResult::Failed;
    transfer.buffer = buffer;
    transfer.length =
        call.failure && call.failure->kind == FailureKind::ShortCount ? call.failure->shortOf(capacity) : capacity;
    if (call.failure && call.failure->kind != FailureKind::ShortCount) return BeginResult::Pending;
    if (call.port->readTime_) {
        completeLater(transfer, core_.scheduler.now() + *call.port->readTime_);
        return BeginResult::Pending;
    }
    if (call.port->emptyReadsPend_ && call.port->incoming_.empty()) {
        transfer.waitsForByte = true;
        watchPeer(transfer);
        return BeginResult::Pending;
    }
    complete(transfer);
    return BeginResult::Complete;
}

BeginResult ScriptedSerialDriver::beginWrite(PortHandle handle, Transfer& record, const void* data,
                                             std::uint32_t length) {
    ScriptedTransfer& transfer = scripted(record);
    const Call call = beginTransfer(Op::BeginWrite, handle, transfer, withBytes(core_, "beginWrite", data, length));
    if (!call.port) return BeginResult::Failed;
    transfer.data = data;
    transfer.length =
        call.failure && call.failure->kind == FailureKind::ShortCount ? call.failure->shortOf(length) : length;
    if (call.failure && call.failure->kind != FailureKind::ShortCount) return BeginResult::Pending;
    if (const auto time = call.port->writeTime(transfer.length)) {
        completeLater(transfer, core_.scheduler.now() + *time);
        return BeginResult::Pending;
    }
    complete(transfer);
    return BeginResult::Complete;
}

void ScriptedSerialDriver::completeLater(ScriptedTransfer& transfer, VirtualTime when) {
    core_.scheduler.at(when, [this, record = &transfer, generation = transfer.generation] {
        const bool there = std::find(transfers_.begin(), transfers_.end(), record) != transfers_.end();
        if (!there || record->generation != generation || record->state != ScriptedTransfer::State::Pending) return;
        complete(*record);
    });
}

// The record is done before the bytes go out: what they set off may unplug or close the port.
void ScriptedSerialDriver::complete(ScriptedTransfer& transfer) {
    ScriptedPort& port = *transfer.port;
    transfer.state = ScriptedTransfer::State::Done;
    transfer.bytes = transfer.isRead ? port.take(transfer.buffer, transfer.length) : transfer.length;
    transfer.done.set();
    if (!transfer.isRead) port.deliver(viewOf(transfer.data, transfer.length));
}

void ScriptedSerialDriver::abort(ScriptedTransfer& transfer, std::uint32_t error) {
    if (transfer.state != ScriptedTransfer::State::Pending) return;
    transfer.state = ScriptedTransfer::State::Done;
    transfer.bytes = 0;
    transfer.error = error;
    transfer.done.set();
}

void ScriptedSerialDriver::portChanged(ScriptedPort& port) {
    if (!port.plugged_ || port.waiting() > 0)
        endInputWaits(port);
    else if (std::any_of(inputWaiters_.begin(), inputWaiters_.end(), [&](auto* w) { return w->port == &port; }))
        watchPeer(port);
    for (ScriptedTransfer* transfer : std::vector(transfers_)) {
        if (transfer->port != &port || transfer->state != ScriptedTransfer::State::Pending) continue;
        const auto handle = handles_.find(transfer->handle);
        if (handle != handles_.end() && isDead(handle->second)) {
            abort(*transfer, port.unpluggedError_);
        } else if (transfer->waitsForByte) {
            if (port.waiting() > 0)
                complete(*transfer);
            else
                watchPeer(*transfer);
        }
    }
}

void ScriptedSerialDriver::watchPeer(ScriptedTransfer& transfer) {
    if (!transfer.port->peer_) return;
    const auto next = transfer.port->peer_->nextDue();
    if (!next) return;
    core_.scheduler.at(
        VirtualTime(static_cast<std::int64_t>(*next)), [this, record = &transfer, generation = transfer.generation] {
            const bool there = std::find(transfers_.begin(), transfers_.end(), record) != transfers_.end();
            if (there && record->generation == generation) portChanged(*record->port);
        });
}

WaitResult ScriptedSerialDriver::await(Transfer& record, Event* stop, std::uint32_t milliseconds) {
    ScriptedTransfer& transfer = scripted(record);
    auto failure = core_.enter(Op::Await);
    if (!failure) failure = transfer.failure;
    auto* const event = static_cast<ScriptedEvent*>(stop);
    const std::string limit = milliseconds == kInfinite ? "infinite" : std::to_string(milliseconds);
    core_.note(Op::Await, transfer.port ? transfer.port->path_ : "",
               core_.call("await %s %s", transfer.isRead ? "read" : "write", limit.c_str()),
               failure && failure->kind != FailureKind::ShortCount ? nameOf(failure->kind) : "");
    if (transfer.state == ScriptedTransfer::State::Idle) {
        core_.complain("a transfer is awaited that was not begun");
        return WaitResult::Failed;
    }
    if (event && event->isRefused()) return WaitResult::Failed;
    if (failure && failure->kind == FailureKind::WaitFailed) return WaitResult::Failed;
    if (failure && failure->kind == FailureKind::Stopped && event) event->signal().set();
    // Without a stop event there is nobody to stop it: it times out.
    const bool timesOut =
        failure && (failure->kind == FailureKind::TimedOut || (failure->kind == FailureKind::Stopped && !event));
    if (timesOut && milliseconds == kInfinite) return WaitResult::TimedOut;
    Signal* const done = timesOut || (failure && failure->kind == FailureKind::Stopped) ? nullptr : &transfer.done;
    switch (core_.scheduler.wait(done, event ? &event->signal() : nullptr, milliseconds)) {
        case WaitOutcome::First: return WaitResult::Signalled;
        case WaitOutcome::Second: return WaitResult::Stopped;
        case WaitOutcome::TimedOut: break;
    }
    return WaitResult::TimedOut;
}

bool ScriptedSerialDriver::finish(PortHandle handle, Transfer& record, std::uint32_t& bytes) {
    ScriptedTransfer& transfer = scripted(record);
    const Call call = begin(Op::Finish, handle, transfer.isRead ? "finish read" : "finish write",
                            transfer.error ? "error " + std::to_string(transfer.error) : "");
    if (!call.port) return false;
    if (transfer.state == ScriptedTransfer::State::Pending) return fail(kIncomplete);
    if (transfer.state == ScriptedTransfer::State::Idle) {
        core_.complain("a transfer is finished that was not begun");
        return fail(kInvalidParameter);
    }
    transfer.state = ScriptedTransfer::State::Idle;
    if (transfer.error != 0) return fail(transfer.error);
    bytes = call.failure ? call.failure->shortOf(transfer.bytes) : transfer.bytes;
    return true;
}

void ScriptedSerialDriver::cancel(PortHandle handle, Transfer& record) {
    ScriptedTransfer& transfer = scripted(record);
    if (!begin(Op::Cancel, handle, transfer.isRead ? "cancel read" : "cancel write").port) {
        abort(transfer, kAborted);  // of a handle that is gone nothing is in use any more
        return;
    }
    if (transfer.state != ScriptedTransfer::State::Pending) return;
    if (transfer.thread != core_.scheduler.current().id) core_.complain("a transfer is cancelled by another thread");
    abort(transfer, kAborted);
}

void ScriptedSerialDriver::cancelAll(PortHandle handle) {
    if (!begin(Op::CancelAll, handle, "cancelAll").port) return;
    const std::uint32_t self = core_.scheduler.current().id;
    for (ScriptedTransfer* transfer : transfers_) {
        if (transfer->handle == handle && transfer->thread == self) abort(*transfer, kAborted);
    }
}

// --- waiting for bytes

WaitResult ScriptedSerialDriver::awaitInput(PortHandle handle, Event* event, std::uint32_t milliseconds) {
    constexpr std::uint32_t kLongestPause = 100;
    const auto failure = core_.enter(Op::AwaitInput);
    const auto found = handles_.find(handle);
    auto* const awaited = static_cast<ScriptedEvent*>(event);
    const bool fails = found == handles_.end() || (awaited && awaited->isRefused()) ||
                       (failure && failure->kind == FailureKind::WaitFailed) ||
                       (plainPauses_ && milliseconds > kLongestPause);
    core_.note(Op::AwaitInput, found == handles_.end() ? "" : found->second.port->path_,
               core_.call("awaitInput %u", milliseconds),
               failure ? nameOf(failure->kind)
               : fails ? "error 6"
                       : "");
    if (fails) {
        fail(kInvalidHandle);
        return WaitResult::Failed;
    }
    if (failure && failure->kind == FailureKind::Stopped && awaited) awaited->signal().set();
    Signal* const stop = awaited ? &awaited->signal() : nullptr;
    if (stop && stop->isSet()) return WaitResult::Stopped;
    ScriptedPort& port = *found->second.port;
    const bool deaf = plainPauses_ || (failure && failure->kind == FailureKind::TimedOut);
    if (failure && failure->kind == FailureKind::ForNothing) return WaitResult::Signalled;
    if (!deaf && (isDead(found->second) || port.waiting() > 0)) return WaitResult::Signalled;
    InputWaiter waiter{&port, Signal(core_.scheduler, "bytes on " + port.path_)};
    if (!deaf) {
        inputWaiters_.push_back(&waiter);
        watchPeer(port);
    }
    const WaitOutcome outcome = core_.scheduler.wait(&waiter.arrived, stop, milliseconds);
    std::erase(inputWaiters_, &waiter);
    if (outcome == WaitOutcome::First) return WaitResult::Signalled;
    return outcome == WaitOutcome::Second ? WaitResult::Stopped : WaitResult::TimedOut;
}

void ScriptedSerialDriver::endInputWaits(ScriptedPort& port) {
    for (InputWaiter* waiter : inputWaiters_) {
        if (waiter->port == &port) waiter->arrived.set();
    }
}

// A peer says when its next bytes are due, not that they have come.
void ScriptedSerialDriver::watchPeer(ScriptedPort& port) {
    if (!port.peer_) return;
    const auto next = port.peer_->nextDue();
    if (!next) return;
    core_.scheduler.at(VirtualTime(static_cast<std::int64_t>(*next)), [this, &port] {
        if (std::any_of(inputWaiters_.begin(), inputWaiters_.end(), [&](auto* w) { return w->port == &port; }))
            portChanged(port);
    });
}

// --- blocking transfers

// False when the port is gone before the transfer's time is over.
bool ScriptedSerialDriver::passBlocking(PortHandle handle, ScriptedPort& port, std::optional<VirtualTime> time) {
    if (!time) return true;
    core_.scheduler.waitFor(&port.unplugged_, nullptr, time);
    const auto found = handles_.find(handle);
    if (found == handles_.end()) return fail(kAborted);
    return isDead(found->second) ? fail(port.unpluggedError_) : true;
}

bool ScriptedSerialDriver::read(PortHandle handle, void* buffer, std::uint32_t capacity, std::uint32_t& bytes) {
    bytes = 0;
    const Call call = begin(Op::Read, handle, core_.call("read %u", capacity));
    if (!call.port) return false;
    if (handles_.at(handle).overlapped) core_.complain("a blocking read on a port that was opened overlapped");
    if (!passBlocking(handle, *call.port, call.port->readTime_)) return false;
    bytes = call.port->take(buffer, call.failure ? call.failure->shortOf(capacity) : capacity);
    return true;
}

bool ScriptedSerialDriver::write(PortHandle handle, const void* data, std::uint32_t length, std::uint32_t& bytes) {
    bytes = 0;
    const Call call = begin(Op::Write, handle, withBytes(core_, "write", data, length));
    if (!call.port) return false;
    if (handles_.at(handle).overlapped) core_.complain("a blocking write on a port that was opened overlapped");
    const std::uint32_t count = call.failure ? call.failure->shortOf(length) : length;
    if (!passBlocking(handle, *call.port, call.port->writeTime(count))) return false;
    bytes = count;
    call.port->deliver(viewOf(data, count));
    return true;
}

std::uint32_t ScriptedSerialDriver::lastError() { return core_.scheduler.current().lastError; }

std::string ScriptedSerialDriver::errorText(std::uint32_t error) {
    const auto found = errorTexts_.find(error);
    return found == errorTexts_.end() ? "System error " + std::to_string(error) + ".\r\n" : found->second;
}

}  // namespace mova
