#include "simulation/SimulatedDriver.h"

#include <algorithm>
#include <array>

#include "simulation/SimulatedKeyTree.h"

namespace mova::simulation {

namespace {

using Clock = std::chrono::steady_clock;

enum SimulatedError : std::uint32_t { kNone, kNoSuchPort, kInUse, kGone, kNotOpen, kNothingBegun };
constexpr std::array kErrorTexts{"no error",
                                 "there is no such port",
                                 "the port is in use",
                                 "the port has hung up",
                                 "the port is not open",
                                 "no transfer was begun"};

thread_local std::uint32_t lastErrorOfThread = kNone;

bool fail(SimulatedError error) {
    lastErrorOfThread = error;
    return false;
}

// A port that nobody has set yet.
constexpr std::uint32_t kFreshFlags = LineFlags::Binary | LineFlags::DtrOn | LineFlags::RtsOn;
constexpr std::uint32_t kFreshBaudRate = 9600;
constexpr std::uint8_t kFreshByteSize = 8;

std::uint64_t nowMicroseconds() {
    return static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::microseconds>(Clock::now().time_since_epoch()).count());
}

Moment momentOf(std::uint64_t microseconds) { return Moment(std::chrono::microseconds(microseconds)); }

}  // namespace

class SimulatedDriver::SimulatedTransfer final : public Transfer {
public:
    // Every transfer that the driver is given is one that it made.
    static SimulatedTransfer& of(Transfer& transfer) { return static_cast<SimulatedTransfer&>(transfer); }

    bool begun = false;
    std::uint32_t bytes = 0;
};

SimulatedDriver::SimulatedDriver(Bell& bell, const handset::HandsetSetup& setup)
    : bell_(bell), handset_(setup.profile) {
    setup.applyTo(handset_, nowMicroseconds());
    settings_.baudRate = kFreshBaudRate;
    settings_.byteSize = kFreshByteSize;
    settings_.flags = kFreshFlags;
}

bool SimulatedDriver::isThere() {
    const std::lock_guard guard(bell_.mutex);
    return Clock::now() >= backAt_;
}

void SimulatedDriver::with(const std::function<void(handset::Handset&)>& action) {
    const std::lock_guard guard(bell_.mutex);
    action(handset_);
}

void SimulatedDriver::bringUpToNow() {
    arrived_ += handset_.due(nowMicroseconds());
    if (!handset_.takeHangUp()) return;
    hungUp_ = true;
    backAt_ = Clock::now() + kAway;
    arrived_.clear();
    handset_.lineLost();
}

bool SimulatedDriver::isUp(PortHandle port) {
    if (port == kInvalidPort || port != port_) return fail(kNotOpen);
    bringUpToNow();
    return hungUp_ ? fail(kGone) : true;
}

template <class Call>
bool SimulatedDriver::on(PortHandle port, Call call) {
    const std::lock_guard guard(bell_.mutex);
    if (!isUp(port)) return false;
    call();
    return true;
}

// --- the port

std::string SimulatedDriver::portName(std::int64_t) const { return kPortName; }

// What came while nobody listened is lost, as on a line without a port at its end.
PortHandle SimulatedDriver::open(const std::string& path, bool) {
    const std::lock_guard guard(bell_.mutex);
    SimulatedError error = kNone;
    if (path != "\\\\.\\" + std::string(kPortName)) {
        error = kNoSuchPort;
    } else if (port_ != kInvalidPort) {
        error = kInUse;
    } else if (Clock::now() < backAt_) {
        error = kGone;
    }
    if (error != kNone) {
        fail(error);
        return kInvalidPort;
    }
    hungUp_ = false;
    bringUpToNow();
    arrived_.clear();
    dtr_ = rts_ = true;
    port_ = ++lastPort_;
    return port_;
}

bool SimulatedDriver::close(PortHandle port) {
    {
        const std::lock_guard guard(bell_.mutex);
        if (port == kInvalidPort || port != port_) return fail(kNotOpen);
        port_ = kInvalidPort;
        dtr_ = rts_ = false;
    }
    bell_.rung.notify_all();
    return true;
}

bool SimulatedDriver::setQueueSizes(PortHandle port, std::uint32_t, std::uint32_t) {
    return on(port, [] {});
}

bool SimulatedDriver::setTimeouts(PortHandle port, const PortTimeouts&) {
    return on(port, [] {});
}

bool SimulatedDriver::properties(PortHandle port, PortProperties& out) {
    return on(port, [&] {
        out = {};
        out.packetLength = sizeof out;
    });
}

bool SimulatedDriver::lineSettings(PortHandle port, LineSettings& out) {
    return on(port, [&] { out = settings_; });
}

bool SimulatedDriver::setLineSettings(PortHandle port, const LineSettings& settings) {
    return on(port, [&] {
        settings_ = settings;
        dtr_ = (settings.flags & LineFlags::DtrControlMask) != 0;
        rts_ = (settings.flags & LineFlags::RtsControlMask) != 0;
    });
}

bool SimulatedDriver::setEventMask(PortHandle port, std::uint32_t) {
    return on(port, [] {});
}

bool SimulatedDriver::clearErrors(PortHandle port, std::uint32_t& errorBits, PortStatus* status) {
    return on(port, [&] {
        errorBits = 0;
        if (status == nullptr) return;
        *status = {};
        status->inQueue = static_cast<std::uint32_t>(arrived_.size());
    });
}

bool SimulatedDriver::purge(PortHandle port, std::uint32_t what) {
    return on(port, [&] {
        if ((what & kPurgeRxClear) != 0) arrived_.clear();
    });
}

bool SimulatedDriver::control(PortHandle port, LineControl function) {
    return on(port, [&] {
        switch (function) {
            case LineControl::SetRts: rts_ = true; break;
            case LineControl::ClearRts: rts_ = false; break;
            case LineControl::SetDtr: dtr_ = true; break;
            case LineControl::ClearDtr: dtr_ = false; break;
        }
    });
}

bool SimulatedDriver::modemStatus(PortHandle port, std::uint32_t& out) {
    return on(port, [&] {
        out = 0;
        if (rts_) out |= ModemStatus::Cts;
        if (dtr_) out |= ModemStatus::Dsr | ModemStatus::Rlsd;
    });
}

// --- transfers

std::unique_ptr<Transfer> SimulatedDriver::makeTransfer() { return std::make_unique<SimulatedTransfer>(); }

BeginResult SimulatedDriver::beginRead(PortHandle port, Transfer& transfer, void* buffer, std::uint32_t capacity) {
    SimulatedTransfer& begun = SimulatedTransfer::of(transfer);
    begun.begun = read(port, buffer, capacity, begun.bytes);
    return begun.begun ? BeginResult::Complete : BeginResult::Failed;
}

BeginResult SimulatedDriver::beginWrite(PortHandle port, Transfer& transfer, const void* data, std::uint32_t length) {
    SimulatedTransfer& begun = SimulatedTransfer::of(transfer);
    begun.begun = write(port, data, length, begun.bytes);
    return begun.begun ? BeginResult::Complete : BeginResult::Failed;
}

WaitResult SimulatedDriver::await(Transfer& transfer, Event*, std::uint32_t) {
    if (SimulatedTransfer::of(transfer).begun) return WaitResult::Signalled;
    fail(kNothingBegun);
    return WaitResult::Failed;
}

bool SimulatedDriver::finish(PortHandle, Transfer& transfer, std::uint32_t& bytes) {
    bytes = SimulatedTransfer::of(transfer).bytes;
    return SimulatedTransfer::of(transfer).begun ? true : fail(kNothingBegun);
}

WaitResult SimulatedDriver::awaitInput(PortHandle port, Event* event, std::uint32_t milliseconds) {
    const Moment deadline = momentAfter(milliseconds);
    SimulatedEvent* const awaited = SimulatedEvent::of(event);
    std::unique_lock guard(bell_.mutex);
    for (;;) {
        if (!isUp(port)) return WaitResult::Signalled;
        if (awaited != nullptr && awaited->isSet()) return WaitResult::Stopped;
        if (!arrived_.empty()) return WaitResult::Signalled;
        if (Clock::now() >= deadline) return WaitResult::TimedOut;
        Moment look = nextLook(deadline);
        if (const auto due = handset_.nextDue()) look = std::min(look, momentOf(*due));
        bell_.rung.wait_until(guard, look);
    }
}

bool SimulatedDriver::read(PortHandle port, void* buffer, std::uint32_t capacity, std::uint32_t& bytes) {
    bytes = 0;
    return on(port, [&] {
        bytes = static_cast<std::uint32_t>(arrived_.copy(static_cast<char*>(buffer), capacity));
        arrived_.erase(0, bytes);
    });
}

bool SimulatedDriver::write(PortHandle port, const void* data, std::uint32_t length, std::uint32_t& bytes) {
    bytes = 0;
    const bool written = on(port, [&] {
        handset_.receive(std::string_view(static_cast<const char*>(data), length), nowMicroseconds());
        bytes = length;
    });
    bell_.rung.notify_all();
    return written;
}

std::uint32_t SimulatedDriver::lastError() { return lastErrorOfThread; }

std::string SimulatedDriver::errorText(std::uint32_t error) {
    return error < kErrorTexts.size() ? kErrorTexts[error] : std::string();
}

}  // namespace mova::simulation
