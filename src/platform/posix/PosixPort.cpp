#include "platform/posix/PosixPort.h"

namespace mova {

namespace {

constexpr std::uint32_t kDefaultInputQueue = 4096;
constexpr std::uint32_t kDefaultOutputQueue = 4096;

// A port that nobody has set yet has these settings. The system raises both lines when it opens the device.
constexpr std::uint32_t kFreshFlags = LineFlags::Binary | LineFlags::DtrOn | LineFlags::RtsOn;
constexpr std::uint16_t kFreshXonLimit = 2048;
constexpr std::uint16_t kFreshXoffLimit = 512;

// The properties record has these values.
constexpr std::uint16_t kPropertiesVersion = 2;
constexpr std::uint32_t kServiceSerial = 0x1;
constexpr std::uint32_t kAnyBaud = 0x10000000;
constexpr std::uint32_t kSubTypeRs232 = 1;
constexpr std::uint32_t kAllCapabilities = 0xFF;  // lines, flow control, parity check, both kinds of time-outs
constexpr std::uint32_t kSettableParams = 0x3F;   // parity, baud, data bits, stop bits, handshaking, parity check
constexpr std::uint32_t kStandardBauds = 0x7FFFF;
constexpr std::uint16_t kDataBits5To8 = 0x000F;
constexpr std::uint16_t kAllStopAndParity = 0x1F07;

}  // namespace

PosixPort::PosixPort() : inputQueue_(kDefaultInputQueue), outputQueue_(kDefaultOutputQueue) {
    remembered_.flags = kFreshFlags;
    remembered_.xonLimit = kFreshXonLimit;
    remembered_.xoffLimit = kFreshXoffLimit;
}

int PosixPort::setQueueSizes(std::uint32_t input, std::uint32_t output) {
    const LockGuard guard(mutex_);
    inputQueue_ = input;
    outputQueue_ = output;
    return 0;
}

int PosixPort::setTimeouts(const PortTimeouts& timeouts) {
    const LockGuard guard(mutex_);
    timeouts_ = timeouts;
    return 0;
}

PortTimeouts PosixPort::timeouts() const {
    const LockGuard guard(mutex_);
    return timeouts_;
}

int PosixPort::properties(PortProperties& out) const {
    if (const int error = presence()) return error;
    out = {};
    out.packetLength = sizeof out;
    out.packetVersion = kPropertiesVersion;
    out.serviceMask = kServiceSerial;
    out.maxBaud = kAnyBaud;
    out.provSubType = kSubTypeRs232;
    out.provCapabilities = kAllCapabilities;
    out.settableParams = kSettableParams;
    out.settableBaud = kAnyBaud | kStandardBauds;
    out.settableData = kDataBits5To8;
    out.settableStopParity = kAllStopAndParity;
    const LockGuard guard(mutex_);
    out.currentRxQueue = inputQueue_;
    out.currentTxQueue = outputQueue_;
    return 0;
}

int PosixPort::setEventMask(std::uint32_t) const { return presence(); }

PortWait PosixPort::waitFor(short events, PosixEvent* stop, Deadline deadline) {
    const int noStop = -1;  // overlooked by poll
    pollfd awaited[] = {readiness(events),
                        {stop != nullptr ? stop->descriptor() : noStop, POLLIN, 0},
                        {closing_.descriptor(), POLLIN, 0}};
    const auto& [device, stopped, closed] = awaited;
    const int ready = pollUntil(awaited, deadline);
    if (ready < 0) return PortWait::Failed;
    if (ready == 0) return PortWait::TimedOut;
    if (closed.revents != 0) return PortWait::Closed;
    if (stop == nullptr || stopped.revents == 0) return PortWait::Ready;
    stop->acquire();
    return PortWait::Stopped;
}

}  // namespace mova
