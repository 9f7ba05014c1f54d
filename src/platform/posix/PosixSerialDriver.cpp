#include "platform/posix/PosixSerialDriver.h"

#include <algorithm>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

#include "platform/posix/RemoteName.h"
#include "platform/posix/RemotePort.h"
#include "platform/posix/TerminalPort.h"

namespace mova {

namespace {

constexpr std::string_view kDevicePrefix = "\\\\.\\";
constexpr std::uint32_t kAllOnes = 0xFFFFFFFF;  // the time-out value with a meaning of its own

thread_local int lastErrorOfThread = 0;

bool fail(int error) {
    lastErrorOfThread = error;
    return false;
}

bool report(int error) { return error == 0 || fail(error); }

// The time-outs of a whole transfer are given as a sum; 0 is none.
Deadline transferDeadline(std::uint32_t multiplier, std::uint32_t length, std::uint32_t constant) {
    const std::uint64_t total = std::uint64_t{multiplier} * length + constant;
    if (total == 0) return kNever;
    return deadlineAfter(static_cast<std::uint32_t>(std::min<std::uint64_t>(total, kInfinite - 1)));
}

struct ReadLimits {
    bool atOnce = false;          // with what is queued, also nothing
    bool withFirstBytes = false;  // no waiting for more once something came
    Deadline deadline;
    std::uint32_t interval = 0;  // longest pause between bytes in milliseconds, 0 is none
};

ReadLimits readLimits(const PortTimeouts& timeouts, std::uint32_t capacity) {
    const bool noPause = timeouts.readInterval == kAllOnes;
    const std::uint32_t multiplier = noPause && timeouts.readMultiplier == kAllOnes ? 0 : timeouts.readMultiplier;
    return {noPause && multiplier == 0 && timeouts.readConstant == 0, noPause,
            transferDeadline(multiplier, capacity, timeouts.readConstant), noPause ? 0 : timeouts.readInterval};
}

}  // namespace

// The transfers under way are listed here, to be cancelled by port.
class PosixSerialDriver::PendingTransfers {
public:
    void add(PosixTransfer& transfer) {
        const LockGuard guard(mutex_);
        transfers_.push_back(&transfer);
    }
    void remove(PosixTransfer& transfer) {
        const LockGuard guard(mutex_);
        std::erase(transfers_, &transfer);
    }
    std::vector<PosixTransfer*> ofThisThread(PortHandle port);

private:
    Mutex mutex_;
    std::vector<PosixTransfer*> transfers_ MOVA_GUARDED_BY(mutex_);
};

class PosixSerialDriver::PosixTransfer final : public Transfer {
public:
    // Every transfer that the driver is given is one that it made.
    static PosixTransfer& of(Transfer& transfer) { return static_cast<PosixTransfer&>(transfer); }

    explicit PosixTransfer(std::shared_ptr<PendingTransfers> pending) : pending_(std::move(pending)) {}
    ~PosixTransfer() override { end(ECANCELED); }

    void finishAtOnce(std::uint32_t bytes) {
        end(ECANCELED);
        bytes_ = bytes;
        error_ = 0;
        state_ = State::Ended;
    }

    // What the device takes at once goes out here. The result is 0, or why nothing was begun.
    int beginWrite(PortHandle handle, const std::shared_ptr<PosixPort>& port, const void* data, std::uint32_t length) {
        end(ECANCELED);
        const PortTimeouts timeouts = port->timeouts();
        handle_ = handle;
        port_ = port;
        thread_ = std::this_thread::get_id();
        data_ = static_cast<const char*>(data);
        length_ = length;
        bytes_ = 0;
        deadline_ = transferDeadline(timeouts.writeMultiplier, length, timeouts.writeConstant);
        state_ = State::Pending;
        error_ = 0;
        carryOn(*port);
        if (state_ == State::Pending) {  // rare: only then do others have to know of it
            pending_->add(*this);
            listed_ = true;
        }
        if (error_ == 0) return 0;
        state_ = State::Idle;
        return error_;
    }

    WaitResult await(PosixEvent* stop, Deadline limit) {
        while (state_ == State::Pending) {
            const auto port = port_.lock();
            const auto outcome = port ? port->waitFor(POLLOUT, stop, std::min(limit, deadline_)) : PortWait::Closed;
            if (outcome == PortWait::Failed) return WaitResult::Failed;
            if (outcome == PortWait::Closed) end(ECANCELED);
            // Also at a stop: what can be completed now is complete, and completion goes before the stop.
            if (outcome == PortWait::Ready || outcome == PortWait::Stopped) carryOn(*port);
            if (state_ == State::Pending && outcome == PortWait::Stopped) return WaitResult::Stopped;
            if (state_ == State::Pending && passed(deadline_)) end(0);
            if (state_ == State::Pending && passed(limit)) return WaitResult::TimedOut;
        }
        return WaitResult::Signalled;
    }

    int result(std::uint32_t& bytes) const {
        bytes = bytes_;
        if (state_ == State::Pending) return EINPROGRESS;
        return state_ == State::Ended ? error_ : EINVAL;
    }

    void end(int error) {
        if (state_ != State::Pending) return;
        if (listed_) pending_->remove(*this);
        listed_ = false;
        state_ = State::Ended;
        error_ = error;
    }

    // The port of the last write, when the handle is still that one's: paced writes begin one for each byte, and what
    // all ports of the process share is not asked again.
    std::shared_ptr<PosixPort> lastPort(PortHandle handle) const {
        auto port = handle == handle_ ? port_.lock() : nullptr;
        return port && !port->isClosing() ? port : nullptr;
    }

    bool isIdle() const { return state_ == State::Idle; }
    bool isOfThisThread(PortHandle port) const { return handle_ == port && thread_ == std::this_thread::get_id(); }

private:
    enum class State { Idle, Pending, Ended };

    void carryOn(PosixPort& port) {
        std::uint32_t bytes = 0;
        const int error = port.writeSome(data_ + bytes_, length_ - bytes_, bytes);
        bytes_ += bytes;
        if (error != 0 || bytes_ == length_) end(error);
    }

    const std::shared_ptr<PendingTransfers> pending_;
    State state_ = State::Idle;
    bool listed_ = false;
    PortHandle handle_ = kInvalidPort;
    std::weak_ptr<PosixPort> port_;  // a transfer does not keep a closed port's device open
    std::thread::id thread_;
    const char* data_ = nullptr;
    std::uint32_t length_ = 0;
    std::uint32_t bytes_ = 0;
    Deadline deadline_ = kNever;
    int error_ = 0;
};

std::vector<PosixSerialDriver::PosixTransfer*> PosixSerialDriver::PendingTransfers::ofThisThread(PortHandle port) {
    const LockGuard guard(mutex_);
    std::vector<PosixTransfer*> found;
    std::copy_if(transfers_.begin(), transfers_.end(), std::back_inserter(found),
                 [port](const PosixTransfer* transfer) { return transfer->isOfThisThread(port); });
    return found;
}

PosixSerialDriver::PosixSerialDriver(PortLinks links)
    : links_(std::move(links)), pending_(std::make_shared<PendingTransfers>()) {}

PosixSerialDriver::~PosixSerialDriver() = default;

std::string PosixSerialDriver::devicePath(const std::string& path) const {
    if (!path.starts_with(kDevicePrefix)) return path;
    return links_.pathOf(std::string_view(path).substr(kDevicePrefix.size())).string();
}

PortHandle PosixSerialDriver::open(const std::string& path, bool) {
    int error = 0;
    const std::string device = devicePath(path);
    const auto remote = remoteNameOf(device);
    const auto port = remote ? RemotePort::open(*remote, error) : TerminalPort::open(device, error);
    if (!report(error)) return kInvalidPort;
    const std::lock_guard guard(mutex_);
    ports_[port->descriptor()] = port;
    return port->descriptor();
}

std::shared_ptr<PosixPort> PosixSerialDriver::known(PortHandle handle) {
    const std::shared_lock guard(mutex_);
    const auto port = ports_.find(handle);
    return port != ports_.end() ? port->second : nullptr;
}

std::shared_ptr<PosixPort> PosixSerialDriver::find(PortHandle handle) {
    if (auto port = known(handle)) return port;
    const std::lock_guard guard(mutex_);
    const auto adopted = ports_.find(handle);
    if (adopted != ports_.end()) return adopted->second;
    int error = 0;
    auto port = TerminalPort::adopt(descriptorOf(handle), error);
    if (report(error)) ports_[handle] = port;
    return port;
}

// The system gives the descriptor up even where its close reports an error, so from here on the port is closed.
bool PosixSerialDriver::close(PortHandle handle) {
    const auto port = find(handle);
    if (!port) return false;
    const std::lock_guard guard(mutex_);
    ports_.erase(handle);
    port->beginClose();
    return true;
}

template <class Call>
bool PosixSerialDriver::on(PortHandle handle, Call call) {
    const auto port = find(handle);
    return port && report(call(*port));
}

bool PosixSerialDriver::setQueueSizes(PortHandle handle, std::uint32_t input, std::uint32_t output) {
    return on(handle, [&](PosixPort& port) { return port.setQueueSizes(input, output); });
}

bool PosixSerialDriver::setTimeouts(PortHandle handle, const PortTimeouts& timeouts) {
    return on(handle, [&](PosixPort& port) { return port.setTimeouts(timeouts); });
}

bool PosixSerialDriver::properties(PortHandle handle, PortProperties& out) {
    return on(handle, [&](PosixPort& port) { return port.properties(out); });
}

bool PosixSerialDriver::lineSettings(PortHandle handle, LineSettings& out) {
    return on(handle, [&](PosixPort& port) { return port.lineSettings(out); });
}

bool PosixSerialDriver::setLineSettings(PortHandle handle, const LineSettings& settings) {
    return on(handle, [&](PosixPort& port) { return port.setLineSettings(settings); });
}

bool PosixSerialDriver::setEventMask(PortHandle handle, std::uint32_t mask) {
    return on(handle, [&](PosixPort& port) { return port.setEventMask(mask); });
}

bool PosixSerialDriver::clearErrors(PortHandle handle, std::uint32_t& errorBits, PortStatus* status) {
    return on(handle, [&](PosixPort& port) { return port.clearErrors(errorBits, status); });
}

bool PosixSerialDriver::purge(PortHandle handle, std::uint32_t what) {
    return on(handle, [&](PosixPort& port) { return port.purge(what); });
}

bool PosixSerialDriver::control(PortHandle handle, LineControl function) {
    return on(handle, [&](PosixPort& port) { return port.control(function); });
}

bool PosixSerialDriver::modemStatus(PortHandle handle, std::uint32_t& out) {
    return on(handle, [&](PosixPort& port) { return port.modemStatus(out); });
}

std::unique_ptr<Transfer> PosixSerialDriver::makeTransfer() { return std::make_unique<PosixTransfer>(pending_); }

BeginResult PosixSerialDriver::beginRead(PortHandle handle, Transfer& transfer, void* buffer, std::uint32_t capacity) {
    std::uint32_t bytes = 0;
    if (!on(handle, [&](PosixPort& port) { return port.readQueued(buffer, capacity, bytes); })) {
        return BeginResult::Failed;
    }
    PosixTransfer::of(transfer).finishAtOnce(bytes);
    return BeginResult::Complete;
}

BeginResult PosixSerialDriver::beginWrite(PortHandle handle, Transfer& transfer, const void* data,
                                          std::uint32_t length) {
    auto& write = PosixTransfer::of(transfer);
    auto port = write.lastPort(handle);
    if (!port) port = find(handle);
    if (!port || !report(write.beginWrite(handle, port, data, length))) return BeginResult::Failed;
    std::uint32_t bytes = 0;
    return write.result(bytes) == EINPROGRESS ? BeginResult::Pending : BeginResult::Complete;
}

WaitResult PosixSerialDriver::await(Transfer& transfer, Event* stop, std::uint32_t milliseconds) {
    auto& begun = PosixTransfer::of(transfer);
    auto* const stopEvent = PosixEvent::of(stop);
    const bool usableStop = stopEvent == nullptr || stopEvent->descriptor() >= 0;
    if (begun.isIdle() || !usableStop) {
        fail(EINVAL);
        return WaitResult::Failed;
    }
    const WaitResult outcome = begun.await(stopEvent, deadlineAfter(milliseconds));
    if (outcome == WaitResult::Failed) fail(errno);
    return outcome;
}

bool PosixSerialDriver::finish(PortHandle, Transfer& transfer, std::uint32_t& bytes) {
    return report(PosixTransfer::of(transfer).result(bytes));
}

void PosixSerialDriver::cancel(PortHandle, Transfer& transfer) { PosixTransfer::of(transfer).end(ECANCELED); }

void PosixSerialDriver::cancelAll(PortHandle handle) {
    for (PosixTransfer* transfer : pending_->ofThisThread(handle)) transfer->end(ECANCELED);
}

// A handle that is not known is not adopted here: its port may just have been closed, and its number be another's.
WaitResult PosixSerialDriver::awaitInput(PortHandle handle, Event* event, std::uint32_t milliseconds) {
    const auto port = known(handle);
    auto* const awaited = PosixEvent::of(event);
    if (!port || (awaited != nullptr && awaited->descriptor() < 0)) {
        fail(EINVAL);
        return WaitResult::Failed;
    }
    switch (port->waitFor(POLLIN, awaited, deadlineAfter(milliseconds))) {
        case PortWait::Stopped: return WaitResult::Stopped;
        case PortWait::TimedOut: return WaitResult::TimedOut;
        case PortWait::Failed: fail(errno); return WaitResult::Failed;
        case PortWait::Ready:
        case PortWait::Closed: break;
    }
    return WaitResult::Signalled;
}

bool PosixSerialDriver::read(PortHandle handle, void* buffer, std::uint32_t capacity, std::uint32_t& bytes) {
    bytes = 0;
    const auto port = find(handle);
    if (!port) return false;
    const ReadLimits limits = readLimits(port->timeouts(), capacity);
    for (;;) {
        std::uint32_t got = 0;
        if (const int error = port->readQueued(static_cast<char*>(buffer) + bytes, capacity - bytes, got)) {
            return fail(error);
        }
        bytes += got;
        if (bytes == capacity || limits.atOnce || (bytes > 0 && limits.withFirstBytes)) return true;
        Deadline deadline = limits.deadline;
        if (bytes > 0 && limits.interval > 0) deadline = std::min(deadline, deadlineAfter(limits.interval));
        const PortWait outcome = port->waitFor(POLLIN, nullptr, deadline);
        if (outcome == PortWait::TimedOut) return true;
        if (outcome != PortWait::Ready) return fail(outcome == PortWait::Closed ? ECANCELED : errno);
    }
}

bool PosixSerialDriver::write(PortHandle handle, const void* data, std::uint32_t length, std::uint32_t& bytes) {
    bytes = 0;
    PosixTransfer transfer(pending_);
    if (beginWrite(handle, transfer, data, length) == BeginResult::Failed) return false;
    return await(transfer, nullptr, kInfinite) == WaitResult::Signalled && finish(handle, transfer, bytes);
}

std::uint32_t PosixSerialDriver::lastError() { return static_cast<std::uint32_t>(lastErrorOfThread); }

std::string PosixSerialDriver::errorText(std::uint32_t error) {
    return std::generic_category().message(static_cast<int>(error));
}

}  // namespace mova
