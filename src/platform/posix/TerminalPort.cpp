#include "platform/posix/TerminalPort.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <termios.h>

#include <array>

#include "platform/posix/TermiosLine.h"

namespace mova {

namespace {

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

std::shared_ptr<PosixPort> TerminalPort::open(const std::string& device, int& error) {
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
    return std::shared_ptr<PosixPort>(new TerminalPort(opened.release(), true));
}

std::shared_ptr<PosixPort> TerminalPort::adopt(int descriptor, int& error) {
    LineSettings ignored;
    error = readSettings(descriptor, ignored);  // refuses what is no terminal
    if (error != 0) return nullptr;
    fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) | O_NONBLOCK);
    return std::shared_ptr<PosixPort>(new TerminalPort(descriptor, false));
}

TerminalPort::TerminalPort(int descriptor, bool owned) : device_(descriptor), owned_(owned) {
    countsErrors_ = ioctl(descriptor, TIOCGICOUNT, &counts_) == 0;
}

TerminalPort::~TerminalPort() {
    if (!owned_) {
        device_.release();
        return;
    }
    // Taken back, not left to the close: a pseudo-terminal would stay exclusive while its other end is open, and a
    // child that was forked meanwhile would keep the lock.
    ioctl(descriptor(), TIOCNXCL);
    flock(descriptor(), LOCK_UN);
}

void TerminalPort::beginClose() {
    owned_ = true;
    PosixPort::beginClose();
}

int TerminalPort::lineSettings(LineSettings& out) const {
    const LockGuard guard(mutex_);
    LineSettings settings = remembered_;
    if (const int error = readSettings(descriptor(), settings)) return error;
    out = settings;
    return 0;
}

int TerminalPort::setLineSettings(const LineSettings& settings) {
    const LockGuard guard(mutex_);
    if (const int error = applySettings(descriptor(), settings)) return error;
    remembered_ = settings;
    remembered_.length = sizeof settings;
    raiseAndDropLines(settings.flags);
    return 0;
}

// A refusal is ignored: pseudo-terminals and plain three-wire devices have no such lines.
void TerminalPort::raiseAndDropLines(std::uint32_t flags) const {
    setLine(descriptor(), TIOCM_DTR, (flags & LineFlags::DtrControlMask) != 0);
    const std::uint32_t rts = flags & LineFlags::RtsControlMask;
    if (rts != LineFlags::RtsHandshake) setLine(descriptor(), TIOCM_RTS, rts != 0);
}

int TerminalPort::presence() const {
    pollfd device{descriptor(), 0, 0};
    if (poll(&device, 1, 0) < 0 && errno != EINTR) return errno;
    return hasHungUp(device.revents) ? EIO : 0;
}

int TerminalPort::clearErrors(std::uint32_t& errorBits, PortStatus* status) {
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

std::uint32_t TerminalPort::newErrors() {
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

int TerminalPort::purge(std::uint32_t what) {
    const bool input = (what & kPurgeRxClear) != 0;
    const bool output = (what & kPurgeTxClear) != 0;
    if (!input && !output) return presence();
    const int queues = input && output ? TCIOFLUSH : input ? TCIFLUSH : TCOFLUSH;
    return tcflush(descriptor(), queues) == 0 ? 0 : errno;
}

int TerminalPort::control(LineControl function) {
    switch (function) {
        case LineControl::SetRts: return setLine(descriptor(), TIOCM_RTS, true);
        case LineControl::ClearRts: return setLine(descriptor(), TIOCM_RTS, false);
        case LineControl::SetDtr: return setLine(descriptor(), TIOCM_DTR, true);
        case LineControl::ClearDtr: return setLine(descriptor(), TIOCM_DTR, false);
    }
    return EINVAL;
}

int TerminalPort::modemStatus(std::uint32_t& out) const {
    int lines = 0;
    if (const int error = request(descriptor(), TIOCMGET, lines)) return error;
    out = 0;
    for (const ModemRow& row : kModemRows) {
        if ((lines & row.line) != 0) out |= row.bit;
    }
    return 0;
}

int TerminalPort::readQueued(void* buffer, std::uint32_t capacity, std::uint32_t& bytes) {
    bytes = 0;
    if (capacity == 0) return presence();
    const auto got = uninterrupted([&] { return ::read(descriptor(), buffer, capacity); });
    if (got < 0) return errno == EAGAIN ? presence() : errno;
    bytes = static_cast<std::uint32_t>(got);
    return got == 0 ? presence() : 0;
}

int TerminalPort::writeSome(const void* data, std::uint32_t length, std::uint32_t& bytes) {
    bytes = 0;
    if (length == 0) return presence();
    const auto put = uninterrupted([&] { return ::write(descriptor(), data, length); });
    if (put < 0) return errno == EAGAIN ? presence() : errno;
    bytes = static_cast<std::uint32_t>(put);
    return 0;
}

}  // namespace mova
