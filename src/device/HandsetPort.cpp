#include "device/HandsetPort.h"

#include <utility>

#include "base/Text.h"

namespace mova {

HandsetPort::HandsetPort(Platform& platform, MyDebugMsg& debug, Trace& trace)
    : platform_(platform),
      debug_(debug),
      trace_(trace),
      lock_(platform.threading.makeRecursiveMutex()),
      stop_(platform.threading.makeEvent()),
      device_(platform) {
    device_.setStopEvent(stop_.ofSystem());
    device_.setOverlapped(true);
}

void HandsetPort::setPortNumber(std::int32_t port) {
    if (!hasHandle()) portNumber_ = port;
    driverKnown_ = false;  // deliberate: also when the port is open and keeps its number
    setDebugPrefix();
}

void HandsetPort::setDeviceType(std::int16_t type, std::int32_t parameter1, std::int32_t parameter2) {
    deviceType_ = type;
    parameter1_ = parameter1;
    parameter2_ = parameter2;
    if (isSerial()) {
        if (parameter1 > 0) portNumber_ = parameter1;
        if (parameter2 > 0) baudRate_ = parameter2;
    }
    driverKnown_ = false;
    setDebugPrefix();
}

void HandsetPort::setDebugPrefix() {
    const std::string port = isSerial() ? platform_.serial.portName(portNumber_) : std::string();
    debug_.setPrefix("MovaCmdSvr:(" + port + ") ");
}

Code HandsetPort::open() {
    // Deliberate: the first number is the device parameter, not the port number.
    trace_.record(TraceKind::FreeText, format("Open Device:%d,%d", parameter1_, baudRate_));
    stop_.reset();
    if (isSerial()) {
        if (!driverKnown_ || cardType_ == kCardNotFound) {
            std::string driverName;
            cardType_ = PortDiscovery(platform_).lookUp(static_cast<std::uint32_t>(portNumber_), driverName);
            debug_.post(format("Card Type: %d\nDriver Name: %s", cardType_, driverName.c_str()));
            driverKnown_ = true;
        }
        if (device_.isOpen()) static_cast<void>(device_.CloseDevice());  // the open that follows tells
        const Code result = device_.openByNumber(static_cast<std::uint32_t>(portNumber_),
                                                 static_cast<std::uint32_t>(baudRate_), handle_);
        if (result != Code::Success) {
            trace_.record(TraceKind::FreeText, "Open Device Fail");
            return result;
        }
    }
    deviceOpen_ = true;
    trace_.record(TraceKind::FreeText, "Open Device Success");
    return Code::Success;
}

Code HandsetPort::close() {
    trace_.record(TraceKind::FreeText, "Close Device");
    stop_.set();
    const Code result = device_.CloseDevice(&handle_);
    if (result == Code::Success) deviceOpen_ = false;
    trace_.record(TraceKind::FreeText, result == Code::Success ? "Close Device Success" : "Close Device Fail");
    return result;
}

void HandsetPort::closeAtEnd() {
    if (isSerial() && device_.isOpen()) static_cast<void>(close());  // its trace tells
}

// NOLINTNEXTLINE(readability-non-const-parameter): written through a reference
Code HandsetPort::write(const void* data, std::uint32_t length, std::uint32_t* bytesWritten,
                        DeviceComm::Before before) {
    std::uint32_t written = 0;
    std::uint32_t& out = bytesWritten ? *bytesWritten : written;
    out = 0;
    if (!initialised_) return Code::NotInitialised;
    if (!isSerial()) return Code::Success;
    const Code opened = openForWrite();
    if (opened != Code::Success || !isSerial()) return opened;
    // Deliberate: a port that closed itself is only reopened when the manager's own handle says so.
    return device_.isOpen() ? device_.WriteData(data, length, out, before) : Code::Success;
}

Code HandsetPort::openForWrite() {
    if (stop_.endsExchanges()) return Code::Stopped;
    if (hasHandle()) return Code::Success;
    const Code opened = open();
    return opened == Code::Success && stop_.endsExchanges() ? Code::Stopped : opened;
}

Code HandsetPort::pacedWrite(const void* data, std::uint32_t length, std::uint32_t limitMilliseconds) {
    const std::uint32_t start = platform_.clock.tickCount();
    if (!isSerial()) return Code::Success;
    if (isUsb(cardType_)) return write(data, length);

    // Required: every other kind of card takes the request byte by byte.
    const char* const bytes = static_cast<const char*>(data);
    std::uint32_t now = start;
    auto before = DeviceComm::Before::LookAtErrors;
    for (std::uint32_t sent = 0; sent < length;) {
        std::uint32_t written = 0;
        const Code result = write(bytes + sent, 1, &written, before);
        if (result != Code::Success) return result;
        // As in a whole write: a device that is found closed, or is no serial one any more, takes nothing.
        if (!isSerial() || !device_.isOpen()) return Code::Success;
        sent += written;
        if (sent == length) break;
        if (stop_.isSet()) return Code::Stopped;
        const std::uint32_t last = std::exchange(now, platform_.clock.tickCount());
        before = now == last ? DeviceComm::Before::Nothing : DeviceComm::Before::LookAtErrors;
        // Deliberate: a plain comparison, without regard to the count's wrap.
        if (start + limitMilliseconds < now) return Code::WriteTimeout;
    }
    return Code::Success;
}

bool HandsetPort::shouldBeOpen() {
    if (!deviceOpen_ || !isSerial()) return false;
    return device_.isOpen() || open() == Code::Success;
}

std::uint32_t HandsetPort::waitingBytes() {
    std::uint32_t waiting = 0;
    if (shouldBeOpen()) static_cast<void>(device_.ClearDeviceError(waiting));  // a failure counts nothing
    return waiting;
}

std::uint32_t HandsetPort::readWaiting(void* buffer, std::uint32_t capacity) {
    std::uint32_t bytesRead = 0;
    if (shouldBeOpen()) {
        // A failure reads nothing.
        static_cast<void>(device_.ReadData(buffer, static_cast<std::int32_t>(capacity), bytesRead));
    }
    return bytesRead;
}

bool HandsetPort::makeAvailable(OpenTest test, Code& result) {
    if (!initialised_) {
        result = Code::NotInitialised;
        return false;
    }
    result = Code::Success;
    if (!isSerial()) return false;
    if (test == OpenTest::Handle) {
        result = openForWrite();
    } else if (!device_.isOpen()) {
        result = open();
    }
    return result == Code::Success;
}

void HandsetPort::switchFlowControlMode(std::int32_t mode) {
    if (!initialised_) {
        pendingFlowControlMode_ = mode;  // deliberate: kept, and read by nobody
        return;
    }
    if (!isSerial()) return;
    constexpr std::int32_t kFallback = number(FlowControl::XonXoff);  // deliberate: not the device's own default
    // Deliberate: callers are not told what the port made of it.
    static_cast<void>(device_.setFlowControlMode(static_cast<std::uint8_t>(
        mode >= number(FlowControl::RtsHandshake) && mode <= number(FlowControl::None) ? mode : kFallback)));
}

}  // namespace mova
