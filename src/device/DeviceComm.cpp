#include "device/DeviceComm.h"

#include <array>

#include "base/Text.h"
#include "device/FlowControlFlags.h"
#include "device/PortDiscovery.h"
#include "logging/LogWriter.h"

namespace mova {

namespace {

constexpr int kConfigurationAttempts = 4;
constexpr std::uint32_t kPauseBetweenErrorPasses = 10;
constexpr int kErrorPasses = 10;
constexpr std::uint32_t kPauseBeforeSignalRetry = 50;

// Reads return at once with what is queued; the wait for data is done with events.
constexpr PortTimeouts kTimeouts{0xFFFFFFFF, 0, 0, 10, 500};

struct ErrorText {
    std::uint32_t bit;
    const char* text;
};

constexpr std::array kErrorTexts{
    ErrorText{LineError::Break, "The hardware detected a break condition."},
    ErrorText{LineError::ParallelNotSelected, "Windows 95/98/Me: A parallel device is not selected."},
    ErrorText{LineError::Framing, "The hardware detected a framing error."},
    ErrorText{LineError::Io, "An I/O error occurred during communications with the device."},
    ErrorText{LineError::Mode,
              "The requested mode is not supported, or the hFile parameter is invalid. If this value is specified, "
              "it is the only valid error."},
    ErrorText{LineError::ParallelOutOfPaper, "Windows 95/98/Me: A parallel device signaled that it is out of paper."},
    ErrorText{LineError::Overrun, "A character-buffer overrun has occurred. The next character is lost."},
    ErrorText{LineError::ParallelTimeout, "Windows 95/98/Me: A time-out occurred on a parallel device."},
    ErrorText{LineError::InputOverflow,
              "An input buffer overflow has occurred. There is either no room in the input buffer, or a character was "
              "received after the end-of-file (EOF) character."},
    ErrorText{LineError::Parity, "The hardware detected a parity error."},
    ErrorText{LineError::OutputFull, "The application tried to transmit a character, but the output buffer was full."},
};

unsigned printed(PortHandle handle) { return static_cast<unsigned>(handle); }

}  // namespace

DeviceComm::DeviceComm(Platform& platform)
    : platform_(platform),
      serial_(platform.serial),
      reading_(serial_.makeTransfer()),
      writing_(serial_.makeTransfer()) {}

DeviceComm::~DeviceComm() {
    if (!externalHandle_) static_cast<void>(CloseDevice());  // nobody is left to be told
}

Code DeviceComm::openByNumber(std::uint32_t portNumber, std::uint32_t baudRate, PortHandle& handle) {
    portNumber_ = portNumber;
    baudRate_ = baudRate;
    handle = handle_;  // also when there is no memory to get any further
    const Code result = OpenDevice();
    handle = handle_;
    return result;
}

Code DeviceComm::OpenDevice() {
    std::string path;
    Code result = findDevicePath(path);
    if (result == Code::Success) result = createFile(path);
    if (result == Code::Success) result = configureWithRetries(path);
    message("Open with %s I/O %s!!!", overlapped_ ? "Overlapped" : "Non-Overlapped",
            result == Code::Success ? "Success" : "Fail");
    message(" ### Get Handle: 0x%x", printed(handle_));
    return result;
}

Code DeviceComm::findDevicePath(std::string& path) {
    if (!devicePath_.empty()) {
        path = devicePath_;
        return Code::Success;
    }
    label_ = format("DeviceComm%u", portNumber_);
    std::string driverName;
    const CardType card = PortDiscovery(platform_).lookUp(portNumber_, driverName);
    message("Get Driver Name: %s", driverName.c_str());
    usbCard_ = isUsb(card);
    path = "\\\\.\\" + serial_.portName(portNumber_);
    // Deliberate: a port that the device tree does not list is never opened by number.
    if (driverName.empty() || portNumber_ == 0 || portNumber_ > kLastPort) return Code::NotOpen;
    return Code::Success;
}

Code DeviceComm::createFile(const std::string& path) {
    message(" ### Attempt to Open Com Port!! BaudRate: %d", static_cast<int>(baudRate_));
    message("CreateFile DeviceName: %s", path.c_str());
    handle_ = serial_.open(path, overlapped_);
    externalHandle_ = false;
    return isOpen() ? Code::Success : Code::NotOpen;
}

Code DeviceComm::configureWithRetries(const std::string& path) {
    Code result = Code::Success;
    for (int attempt = 0; attempt < kConfigurationAttempts; ++attempt) {
        result = configurationAttempt(path, attempt);
        if (result == Code::Success) return result;
    }
    reportLastError("OpenDevice Error");
    static_cast<void>(CloseDevice());  // the attempt's own code is told
    return result;
}

Code DeviceComm::configurationAttempt(const std::string& path, int attempt) {
    if (attempt > 0) {
        const Code reopened = reopenForRetry(path, attempt);
        if (reopened != Code::Success) return reopened;
    }
    if (overlapped_) serial_.cancelAll(handle_);
    return setUpPort();
}

Code DeviceComm::reopenForRetry(const std::string& path, int attempt) {
    static_cast<void>(CloseDevice());  // opened again whatever came of it
    platform_.clock.sleep(kPauseBeforeReopen);
    handle_ = serial_.open(path, overlapped_);
    message("Retry Config COM Port Count %d, Get Handle 0x%x", attempt, printed(handle_));
    if (!isOpen()) return Code::NotOpen;
    clearErrorBits(nullptr);  // deliberate: whatever comes of it, the attempt goes on
    return Code::Success;
}

Code DeviceComm::setUpPort() {
    if (!serial_.setQueueSizes(handle_, kInputQueue, kOutputQueue))
        return failConfiguration("SetupComm Fail", Code::NotConfigured);
    if (!serial_.setTimeouts(handle_, kTimeouts)) return failConfiguration("SetCommTimeouts Fail", Code::NotConfigured);
    if (!serial_.properties(handle_, properties_))
        return failConfiguration("GetCommProperties Fail", Code::PortUnreadable);
    working_.length = sizeof(LineSettings);
    if (!serial_.lineSettings(handle_, working_)) return failConfiguration("GetCommState Fail", Code::PortUnreadable);
    applied_ = working_;
    const Code configured = configure();
    if (configured != Code::Success) return configured;
    if (!serial_.setEventMask(handle_, kEventMaskRxChar))
        return failConfiguration("SetCommMask Fail", Code::EventMaskNotSet);
    return Code::Success;
}

Code DeviceComm::failConfiguration(const char* text, Code result) {
    fileMessage("%s", text);
    return result;
}

Code DeviceComm::configure() {
    if (!isOpen()) return Code::NotOpen;
    working_ = applied_;
    working_.baudRate = baudRate_;
    working_.byteSize = kByteSize;
    working_.parity = kParity;
    working_.stopBits = kStopBits;
    working_.flags = flowControlFlags(flowControlMode_, working_.flags);
    ClearDeviceError();
    if (!serial_.setLineSettings(handle_, working_)) return failConfiguration("SetCommState Fail", Code::NotConfigured);
    applied_ = working_;
    return Code::Success;
}

Code DeviceComm::CloseDevice(PortHandle* handle) {
    Code result = Code::Success;
    if (isOpen()) {
        message(" ### Attempt to Close Com Port!! Handle: 0x%x", printed(handle_));
        serial_.setEventMask(handle_, 0);  // wakes a pending wait on port events
        if (serial_.close(handle_)) {
            handle_ = kInvalidPort;
            platform_.clock.sleep(kPauseAfterClose);
            message(" ### Close Com Port Success!!");
        } else {
            reportLastError(" ### Close Com Port Error");
            result = Code::NotClosed;
        }
    }
    if (handle) *handle = handle_;
    return result;
}

Code DeviceComm::setHandle(PortHandle handle) {
    if (isOpen()) return Code::AlreadyOpen;
    handle_ = handle;
    externalHandle_ = true;
    return Code::Success;
}

void DeviceComm::setOverlapped(bool overlapped) {
    if (overlapped == overlapped_) return;
    static_cast<void>(CloseDevice());  // the next open tells
    overlapped_ = overlapped;
}

void DeviceComm::setTimeouts(std::uint32_t readMilliseconds, std::uint32_t writeMilliseconds) {
    readTimeout_ = readMilliseconds;
    writeTimeout_ = writeMilliseconds;
}

void DeviceComm::setTraceFlags(bool send, bool receive) {
    traceSend_ = send;
    traceReceive_ = receive;
}

Code DeviceComm::setFlowControlMode(std::uint8_t mode) {
    flowControlMode_ = mode;
    return isOpen() ? configure() : Code::Success;
}

// --- error bits

bool DeviceComm::ClearDeviceError() { return isOpen() && clearErrorBits(nullptr); }

Code DeviceComm::ClearDeviceError(std::uint32_t& waiting) {
    waiting = 0;
    if (!isOpen()) return Code::NotOpen;
    PortStatus status;
    if (!clearErrorBits(&status)) return Code::ErrorsNotCleared;
    lastStatus_ = status;
    waiting = lastStatus_.inQueue;
    return Code::Success;
}

bool DeviceComm::clearErrorBits(PortStatus* status) {
    for (int pass = 1;; ++pass) {
        std::uint32_t bits = 0;
        if (!serial_.clearErrors(handle_, bits, status)) return false;
        if (bits != 0) {
            reportErrorBits(bits);
            platform_.clock.sleep(kPauseBetweenErrorPasses);
        }
        if (pass > kErrorPasses) {  // deliberate: the eleventh pass fails whatever it reports
            fileMessage("ClearDeviceError Error More Than 10 Times");
            return false;
        }
        if (bits == 0) return true;
    }
}

void DeviceComm::reportErrorBits(std::uint32_t bits) {
    for (const ErrorText& error : kErrorTexts) {
        if (bits & error.bit) message("%s", error.text);
    }
}

void DeviceComm::purge() {
    if (isOpen()) serial_.purge(handle_, kPurgeTxClear | kPurgeRxClear);
}

// --- modem lines

Code DeviceComm::setSignal(std::int32_t index, bool raise) {
    if (!isOpen()) return Code::NotOpen;
    clearErrorBits(nullptr);
    const LineControl function = index == 1 ? (raise ? LineControl::SetDtr : LineControl::ClearDtr)
                                            : (raise ? LineControl::SetRts : LineControl::ClearRts);
    if (serial_.control(handle_, function)) return Code::Success;
    message("Retry Setting Signal");
    platform_.clock.sleep(kPauseBeforeSignalRetry);
    ClearDeviceError();
    if (serial_.control(handle_, function)) return Code::Success;
    message("Setting Signal Error in Function: %d", static_cast<int>(function));
    return Code::SignalNotSet;
}

Code DeviceComm::detectSignal(std::int32_t index, std::int32_t& value) {
    constexpr std::array kLines{ModemStatus::Cts, ModemStatus::Dsr, ModemStatus::Ring, ModemStatus::Rlsd};
    value = 0;
    if (!isOpen()) return Code::NotOpen;
    clearErrorBits(nullptr);
    std::uint32_t status = 0;
    if (!serial_.modemStatus(handle_, status)) {
        reportLastError("DetectSignal Error");
        return Code::SignalsUnreadable;
    }
    if (index == -1) {
        value = static_cast<std::int32_t>(status);
    } else if (index >= 0 && static_cast<std::size_t>(index) < kLines.size()) {
        value = (status & kLines[static_cast<std::size_t>(index)]) != 0;
    }
    return Code::Success;
}

// --- messages

void DeviceComm::reportLastError(const char* prefix) noexcept {
    const std::uint32_t error = serial_.lastError();
    std::string systemText;
    try {
        systemText = serial_.errorText(error);
    } catch (...) {
        // Out of memory: the code says it too.
    }
    message("%s : %s(%d)", prefix, systemText.c_str(), static_cast<int>(error));
}

void DeviceComm::message(const char* pattern, ...) noexcept {
    va_list arguments;
    va_start(arguments, pattern);
    tell(ToFile::No, pattern, arguments);
    va_end(arguments);
}

void DeviceComm::fileMessage(const char* pattern, ...) noexcept {
    va_list arguments;
    va_start(arguments, pattern);
    tell(ToFile::Yes, pattern, arguments);
    va_end(arguments);
}

void DeviceComm::tell(ToFile toFile, const char* pattern, va_list arguments) noexcept {
    try {
        const std::string text = formatList(pattern, arguments);
        if (toFile == ToFile::Yes && !logFilePath_.empty()) {
            static_cast<void>(Log(platform_, logFilePath_, LogType::Comment, text));
        }
        if (sink_) sink_->text(text);
    } catch (...) {
        // A sink's failure is its own.
    }
}

}  // namespace mova
