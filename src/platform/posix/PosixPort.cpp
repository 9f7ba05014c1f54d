#include "platform/posix/PosixPort.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <termios.h>

#include <array>

#include "platform/posix/TermiosLine.h"

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

struct ErrorRow {
    int serial_icounter_struct::*count;
    std::uint32_t bit;
};
constexpr std::array kErrorRows{
    ErrorRow{&serial_icounter_struct::frame, LineError::Framing},
    ErrorRow{&serial_icounter_struct::overrun, LineError::Overrun},
    ErrorRow{&serial_icounter_struct::parity, LineError::Parity},
    ErrorRow{&serial_icounter_struct::brk, LineError::Break},
    ErrorRow{&serial_icounter_struct::buf_overrun, LineError::InputOverflow},
};

struct ModemRow {
    int line;
    std::uint32_t bit;
};
constexpr std::array kModemRows{
    ModemRow{TIOCM_CTS, ModemStatus::Cts},
    ModemRow{TIOCM_DSR, ModemStatus::Dsr},
    ModemRow{TIOCM_RNG, ModemStatus::Ring},
    ModemRow{TIOCM_CAR, ModemStatus::Rlsd},
};

int request(int descriptor, unsigned long code, int& value) { return ioctl(descriptor, code, &value) < 0 ? errno : 0; }

int setLine(int descriptor, int line, bool raised) { return request(descriptor, raised ? TIOCMBIS : TIOCMBIC, line); }

bool hasHungUp(short revents) { return (revents & (POLLHUP | POLLERR | POLLNVAL)) != 0; }

}  // namespace

std::shared_ptr<PosixPort> PosixPort::open(const std::string& device, int& error) {
    constexpr int kFlags = O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC;
    FileDescriptor opened(uninterrupted([&] { return ::open(device.c_str(), kFlags); }));
    error = opened ? 0 : errno;
    if (!opened) return nullptr;
    // The lock also keeps a second process of the superuser out, who may open an exclusive device.
    if (flock(opened.get(), LOCK_EX | LOCK_NB) != 0) {
        error = errno == EWOULDBLOCK ? EBUSY : errno;
        return nullptr;
    }
    error = makeTerminalRaw(opened.get());
    if (error != 0) return nullptr;
    ioctl(opened.get(), TIOCEXCL);
    return std::shared_ptr<PosixPort>(new PosixPort(opened.release(), true));
}

std::shared_ptr<PosixPort> PosixPort::adopt(int descriptor, int& error) {
    LineSettings ignored;
    error = readSettings(descriptor, ignored);  // refuses what is no terminal
    if (error != 0) return nullptr;
    fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) | O_NONBLOCK);
    return std::shared_ptr<PosixPort>(new PosixPort(descriptor, false));
}

PosixPort::PosixPort(int descriptor, bool owned)
    : device_(descriptor), owned_(owned), inputQueue_(kDefaultInputQueue), outputQueue_(kDefaultOutputQueue) {
    remembered_.flags = kFreshFlags;
    remembered_.xonLimit = kFreshXonLimit;
    remembered_.xoffLimit = kFreshXoffLimit;
    countsErrors_ = ioctl(descriptor, TIOCGICOUNT, &counts_) == 0;
}

PosixPort::~PosixPort() {
    if (!owned_) {
        device_.release();
        return;
    }
    // Taken back, not left to the close: a pseudo-terminal would stay exclusive while its other end is open, and a
    // child that was forked meanwhile would keep the lock.
    ioctl(descriptor(), TIOCNXCL);
    flock(descriptor(), LOCK_UN);
}

void PosixPort::beginClose() {
    owned_ = true;
    closing_.set();
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

int PosixPort::lineSettings(LineSettings& out) const {
    const LockGuard guard(mutex_);
    LineSettings settings = remembered_;
    if (const int error = readSettings(descriptor(), settings)) return error;
    out = settings;
    return 0;
}

int PosixPort::setLineSettings(const LineSettings& settings) {
    const LockGuard guard(mutex_);
    if (const int error = applySettings(descriptor(), settings)) return error;
    remembered_ = settings;
    remembered_.length = sizeof settings;
    raiseAndDropLines(settings.flags);
    return 0;
}

// A refusal is ignored: pseudo-terminals and plain three-wire devices have no such lines.
void PosixPort::raiseAndDropLines(std::uint32_t flags) const {
    setLine(descriptor(), TIOCM_DTR, (flags & LineFlags::DtrControlMask) != 0);
    const std::uint32_t rts = flags & LineFlags::RtsControlMask;
    if (rts != LineFlags::RtsHandshake) setLine(descriptor(), TIOCM_RTS, rts != 0);
}

int PosixPort::setEventMask(std::uint32_t) const { return presence(); }

int PosixPort::presence() const {
    pollfd device{descriptor(), 0, 0};
    if (poll(&device, 1, 0) < 0 && errno != EINTR) return errno;
    return hasHungUp(device.revents) ? EIO : 0;
}

int PosixPort::clearErrors(std::uint32_t& errorBits, PortStatus* status) {
    if (status == nullptr) {  // before every transfer, of which there is one for each byte of a paced write
        int unused = 0;
        if (const int error = request(descriptor(), TIOCOUTQ, unused)) return error;  // EIO after a hang-up
        errorBits = newErrors();
        return 0;
    }
    int inQueue = 0;
    int outQueue = 0;
    if (const int error = request(descriptor(), FIONREAD, inQueue)) return error;  // EIO after a hang-up
    if (const int error = request(descriptor(), TIOCOUTQ, outQueue)) return error;
    errorBits = newErrors();
    *status = {};
    status->inQueue = static_cast<std::uint32_t>(inQueue);
    status->outQueue = static_cast<std::uint32_t>(outQueue);
    return 0;
}

std::uint32_t PosixPort::newErrors() {
    if (!countsErrors_) return 0;
    const LockGuard guard(mutex_);
    serial_icounter_struct now{};
    if (ioctl(descriptor(), TIOCGICOUNT, &now) != 0) return 0;
    std::uint32_t bits = 0;
    for (const ErrorRow& row : kErrorRows) {
        if (now.*row.count != counts_.*row.count) bits |= row.bit;
    }
    counts_ = now;
    return bits;
}

int PosixPort::purge(std::uint32_t what) const {
    const bool input = (what & kPurgeRxClear) != 0;
    const bool output = (what & kPurgeTxClear) != 0;
    if (!input && !output) return presence();
    const int queues = input && output ? TCIOFLUSH : input ? TCIFLUSH : TCOFLUSH;
    return tcflush(descriptor(), queues) == 0 ? 0 : errno;
}

int PosixPort::control(LineControl function) const {
    switch (function) {
        case LineControl::SetRts: return setLine(descriptor(), TIOCM_RTS, true);
        case LineControl::ClearRts: return setLine(descriptor(), TIOCM_RTS, false);
        case LineControl::SetDtr: return setLine(descriptor(), TIOCM_DTR, true);
        case LineControl::ClearDtr: return setLine(descriptor(), TIOCM_DTR, false);
    }
    return EINVAL;
}

int PosixPort::modemStatus(std::uint32_t& out) const {
    int lines = 0;
    if (const int error = request(descriptor(), TIOCMGET, lines)) return error;
    out = 0;
    for (const ModemRow& row : kModemRows) {
        if ((lines & row.line) != 0) out |= row.bit;
    }
    return 0;
}

int PosixPort::readQueued(void* buffer, std::uint32_t capacity, std::uint32_t& bytes) const {
    bytes = 0;
    if (capacity == 0) return presence();
    const auto got = uninterrupted([&] { return ::read(descriptor(), buffer, capacity); });
    if (got < 0) return errno == EAGAIN ? presence() : errno;
    bytes = static_cast<std::uint32_t>(got);
    return got == 0 ? presence() : 0;
}

int PosixPort::writeSome(const void* data, std::uint32_t length, std::uint32_t& bytes) const {
    bytes = 0;
    if (length == 0) return presence();
    const auto put = uninterrupted([&] { return ::write(descriptor(), data, length); });
    if (put < 0) return errno == EAGAIN ? presence() : errno;
    bytes = static_cast<std::uint32_t>(put);
    return 0;
}

PortWait PosixPort::waitFor(short events, PosixEvent* stop, Deadline deadline) {
    const int noStop = -1;  // overlooked by poll
    pollfd awaited[] = {{descriptor(), events, 0},
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
