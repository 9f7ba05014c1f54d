#include "device/DeviceComm.h"

#include <array>

#include "base/HexText.h"
#include "device/PortDiscovery.h"
#include "logging/LogWriter.h"
#include "base/Text.h"

namespace mova {

namespace {

constexpr int kConfigurationAttempts = 4;
constexpr std::uint32_t kPauseBeforeReopen = 500;
constexpr std::uint32_t kPauseBetweenErrorPasses = 10;
constexpr int kErrorPasses = 10;
constexpr std::uint32_t kPauseBeforeSignalRetry = 50;

// Reads return at once with what is queued; the wait for data is done with events.
constexpr PortTimeouts kTimeouts{0xFFFFFFFF, 0, 0, 10, 500};

struct FlowControlRow {
    std::uint8_t mode;
    std::uint32_t clear;
    std::uint32_t set;
};

// Every row governs these bits of LineSettings::flags: it clears those that it does not set. The other bits keep what
// the port reported.
constexpr std::uint32_t kGovernedFlags = LineFlags::Parity | LineFlags::OutCtsFlow | LineFlags::OutDsrFlow |
                                         LineFlags::DtrControlMask | LineFlags::DsrSensitivity | LineFlags::OutX |
                                         LineFlags::InX | LineFlags::RtsControlMask;

// Every row sets AbortOnError.
constexpr FlowControlRow flowControl(std::uint8_t mode, std::uint32_t flags) {
    return {mode, kGovernedFlags & ~flags, LineFlags::AbortOnError | flags};
}

constexpr std::array kFlowControl{
    flowControl(1, LineFlags::RtsHandshake | LineFlags::DtrOn),
    flowControl(2, LineFlags::RtsHandshake | LineFlags::DtrOn | LineFlags::OutCtsFlow),
    flowControl(3, LineFlags::DtrHandshake | LineFlags::RtsOn),
    flowControl(4, LineFlags::DtrHandshake | LineFlags::RtsOn | LineFlags::OutDsrFlow),
    flowControl(5, LineFlags::DtrOn | LineFlags::RtsOn | LineFlags::OutX),
    flowControl(6, LineFlags::DtrOn | LineFlags::RtsOn | LineFlags::InX),
    flowControl(7, LineFlags::DtrOn | LineFlags::RtsOn | LineFlags::OutX | LineFlags::InX),
};
constexpr FlowControlRow kFlowControlOff = flowControl(8, LineFlags::DtrOn | LineFlags::RtsOn);

const FlowControlRow& flowControlRow(std::uint8_t mode) {
    for (const FlowControlRow& row : kFlowControl) {
        if (row.mode == mode) return row;
    }
    return kFlowControlOff;
}

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

// A transfer that is under way. It is cancelled on every way out but its completion: the buffer is the caller's and
// must not be written to later.
class PendingTransfer {
public:
    PendingTransfer(SerialDriver& serial, PortHandle port, Transfer& transfer)
        : serial_(serial), port_(port), transfer_(transfer) {}
    ~PendingTransfer() {
        if (!completed_) serial_.cancel(port_, transfer_);
    }
    PendingTransfer(const PendingTransfer&) = delete;
    PendingTransfer& operator=(const PendingTransfer&) = delete;

    WaitResult await(Event* stop, std::uint32_t milliseconds) {
        const WaitResult result = serial_.await(transfer_, stop, milliseconds);
        completed_ = result == WaitResult::Signalled;
        return result;
    }

private:
    SerialDriver& serial_;
    const PortHandle port_;
    Transfer& transfer_;
    bool completed_ = false;
};

}  // namespace

DeviceComm::DeviceComm(Platform& platform)
    : platform_(platform),
      serial_(platform.serial),
      reading_(serial_.makeTransfer()),
      writing_(serial_.makeTransfer()) {}

DeviceComm::~DeviceComm() {
    if (!externalHandle_) CloseDevice();
}

std::uint32_t DeviceComm::open(std::uint16_t portNumber, std::uint32_t baudRate, PortHandle& handle) {
    portNumber_ = portNumber;
    baudRate_ = baudRate;
    handle = handle_;  // also when there is no memory to get any further
    const std::uint32_t result = OpenDevice();
    handle = handle_;
    return result;
}

std::uint32_t DeviceComm::OpenDevice() {
    std::string path;
    std::uint32_t result = findDevicePath(path);
    if (result == code::Success) result = createFile(path);
    if (result == code::Success) result = configureWithRetries(path);
    message("Open with %s I/O %s!!!", overlapped_ ? "Overlapped" : "Non-Overlapped",
            result == code::Success ? "Success" : "Fail");
    message(" ### Get Handle: 0x%x", printed(handle_));
    return result;
}

std::uint32_t DeviceComm::findDevicePath(std::string& path) {
    if (!devicePath_.empty()) {
        path = devicePath_;
        return code::Success;
    }
    label_ = format("DeviceComm%d", portNumber_);
    std::string driverName;
    const CardType card = PortDiscovery(platform_).lookUp(portNumber_, driverName);
    message("Get Driver Name: %s", driverName.c_str());
    usbCard_ = isUsb(card);
    path = format("\\\\.\\COM%d", portNumber_);
    // Deliberate: a port that the device tree does not list is never opened by number.
    if (driverName.empty() || portNumber_ == 0) return code::NotOpen;
    return code::Success;
}

std::uint32_t DeviceComm::createFile(const std::string& path) {
    message(" ### Attempt to Open Com Port!! BaudRate: %d", static_cast<int>(baudRate_));
    message("CreateFile DeviceName: %s", path.c_str());
    handle_ = serial_.open(path, overlapped_);
    externalHandle_ = false;
    return isOpen() ? code::Success : code::NotOpen;
}

std::uint32_t DeviceComm::configureWithRetries(const std::string& path) {
    std::uint32_t result = code::Success;
    for (int attempt = 0; attempt < kConfigurationAttempts; ++attempt) {
        result = configurationAttempt(path, attempt);
        if (result == code::Success) return result;
    }
    reportLastError("OpenDevice Error");
    CloseDevice();
    return result;
}

std::uint32_t DeviceComm::configurationAttempt(const std::string& path, int attempt) {
    if (attempt > 0) {
        const std::uint32_t reopened = reopenForRetry(path, attempt);
        if (reopened != code::Success) return reopened;
    }
    if (overlapped_) serial_.cancelAll(handle_);
    return setUpPort();
}

std::uint32_t DeviceComm::reopenForRetry(const std::string& path, int attempt) {
    CloseDevice();
    platform_.clock.sleep(kPauseBeforeReopen);
    handle_ = serial_.open(path, overlapped_);
    message("Retry Config COM Port Count %d, Get Handle 0x%x", attempt, printed(handle_));
    if (!isOpen()) return code::NotOpen;
    clearErrorBits(nullptr);  // deliberate: whatever comes of it, the attempt goes on
    return code::Success;
}

std::uint32_t DeviceComm::setUpPort() {
    if (!serial_.setQueueSizes(handle_, kInputQueue, kOutputQueue))
        return failConfiguration("SetupComm Fail", code::NotConfigured);
    if (!serial_.setTimeouts(handle_, kTimeouts)) return failConfiguration("SetCommTimeouts Fail", code::NotConfigured);
    if (!serial_.properties(handle_, properties_))
        return failConfiguration("GetCommProperties Fail", code::PortUnreadable);
    working_.length = sizeof(LineSettings);
    if (!serial_.lineSettings(handle_, working_)) return failConfiguration("GetCommState Fail", code::PortUnreadable);
    applied_ = working_;
    const std::uint32_t configured = configure();
    if (configured != code::Success) return configured;
    if (!serial_.setEventMask(handle_, kEventMaskRxChar))
        return failConfiguration("SetCommMask Fail", code::EventMaskNotSet);
    return code::Success;
}

std::uint32_t DeviceComm::failConfiguration(const char* text, std::uint32_t result) {
    fileMessage("%s", text);
    return result;
}

std::uint32_t DeviceComm::configure() {
    if (!isOpen()) return code::NotOpen;
    working_ = applied_;
    working_.baudRate = baudRate_;
    working_.byteSize = byteSize_;
    working_.parity = parity_;
    working_.stopBits = stopBits_;
    const FlowControlRow& row = flowControlRow(flowControlMode_);
    working_.flags = (working_.flags & ~row.clear) | row.set;
    ClearDeviceError();
    if (!serial_.setLineSettings(handle_, working_)) return failConfiguration("SetCommState Fail", code::NotConfigured);
    applied_ = working_;
    return code::Success;
}

std::uint32_t DeviceComm::CloseDevice(PortHandle* handle) {
    std::uint32_t result = code::Success;
    if (isOpen()) {
        message(" ### Attempt to Close Com Port!! Handle: 0x%x", printed(handle_));
        serial_.setEventMask(handle_, 0);  // wakes a pending wait on port events
        if (serial_.close(handle_)) {
            handle_ = kInvalidPort;
            platform_.clock.sleep(kPauseAfterClose);
            message(" ### Close Com Port Success!!");
        } else {
            reportLastError(" ### Close Com Port Error");
            result = code::NotClosed;
        }
    }
    if (handle) *handle = handle_;
    return result;
}

std::uint32_t DeviceComm::setHandle(PortHandle handle) {
    if (isOpen()) return code::AlreadyOpen;
    handle_ = handle;
    externalHandle_ = true;
    return code::Success;
}

void DeviceComm::setOverlapped(bool overlapped) {
    if (overlapped == overlapped_) return;
    CloseDevice();
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

std::uint32_t DeviceComm::setFlowControlMode(std::uint8_t mode) {
    flowControlMode_ = mode;
    return isOpen() ? configure() : code::Success;
}

// --- transfers

std::uint32_t DeviceComm::ReadData(void* buffer, std::int32_t capacity, std::uint32_t& bytesRead) {
    bytesRead = 0;
    if (!isOpen() || capacity < 1) return code::NotOpen;
    ClearDeviceError();  // deliberate: the transfer goes ahead even when the errors would not clear
    const auto size = static_cast<std::uint32_t>(capacity);
    const std::uint32_t result =
        overlapped_ ? overlappedRead(buffer, size, bytesRead) : blockingRead(buffer, size, bytesRead);
    if (result == code::Success && traceReceive_ && bytesRead > 0) {
        message("DC Recv: %s", encodeHex(std::string_view(static_cast<const char*>(buffer), bytesRead)).c_str());
    }
    return result;
}

std::uint32_t DeviceComm::overlappedRead(void* buffer, std::uint32_t capacity, std::uint32_t& bytesRead) {
    const BeginResult begun = serial_.beginRead(handle_, *reading_, buffer, capacity);
    if (begun == BeginResult::Failed) return closeAfter("ReadFile Error", code::ReadFailed);
    if (begun == BeginResult::Pending) {
        PendingTransfer pending(serial_, handle_, *reading_);
        switch (pending.await(stop_, readTimeout_)) {
            case WaitResult::Stopped:
                message("Get Stop Event in ReadData");
                return code::Stopped;
            case WaitResult::TimedOut:
                message("Read Timeout");
                return code::NoAnswer;
            case WaitResult::Failed:
                return code::WaitFailed;
            case WaitResult::Signalled:
                break;
        }
    }
    if (!serial_.finish(handle_, *reading_, bytesRead)) {
        bytesRead = 0;
        reportLastError(
            "ReadFile Get Overlapped Result Error");  // deliberate: unlike the write side the port stays open
        return code::ReadFailed;
    }
    return code::Success;
}

std::uint32_t DeviceComm::blockingRead(void* buffer, std::uint32_t capacity, std::uint32_t& bytesRead) {
    if (serial_.read(handle_, buffer, capacity, bytesRead)) return code::Success;
    bytesRead = 0;
    return closeAfter("ReadFile Error", code::ReadFailed);
}

std::uint32_t DeviceComm::WriteData(const void* data, std::uint32_t length, std::uint32_t& bytesWritten) {
    bytesWritten = 0;
    if (!isOpen() || static_cast<std::int32_t>(length) < 0) return code::NotOpen;
    ClearDeviceError();
    const std::uint32_t result =
        overlapped_ ? overlappedWrite(data, length, bytesWritten) : blockingWrite(data, length, bytesWritten);
    if (result == code::Success && traceSend_ && bytesWritten > 0) {
        message("DC Send: %s", encodeHex(std::string_view(static_cast<const char*>(data), bytesWritten)).c_str());
    }
    return result;
}

std::uint32_t DeviceComm::overlappedWrite(const void* data, std::uint32_t length, std::uint32_t& bytesWritten) {
    const BeginResult begun = serial_.beginWrite(handle_, *writing_, data, length);
    if (begun == BeginResult::Failed) return closeAfter("WriteFile Error", code::WriteFailed);
    if (begun == BeginResult::Pending) {
        PendingTransfer pending(serial_, handle_, *writing_);
        switch (pending.await(stop_, writeTimeout_)) {
            case WaitResult::Stopped:
                message("Get Stop Event in WriteData");
                return code::Stopped;
            case WaitResult::TimedOut:
                message("Write Timeout");
                return code::WriteTimeout;
            case WaitResult::Failed:
                return code::WaitFailed;
            case WaitResult::Signalled:
                break;
        }
    }
    if (!serial_.finish(handle_, *writing_, bytesWritten)) {
        bytesWritten = 0;
        return closeAfter("WriteFile Get Overlapped Result Error", code::WriteFailed);
    }
    if (bytesWritten < length) {
        fileMessage("Desired Write: %d, Real Write: %d", static_cast<int>(length), static_cast<int>(bytesWritten));
        CloseDevice();
        platform_.clock.sleep(kPauseBeforeReopen);
        fileMessage("Try to Re-Open Device");
        OpenDevice();
        return code::ShortWrite;
    }
    return code::Success;
}

std::uint32_t DeviceComm::blockingWrite(const void* data, std::uint32_t length, std::uint32_t& bytesWritten) {
    if (!serial_.write(handle_, data, length, bytesWritten)) {
        bytesWritten = 0;
        return closeAfter("WriteFile Error", code::WriteFailed);
    }
    if (bytesWritten < length) {  // deliberate: unlike the overlapped mode, no reopening and nothing to the file
        message("Desired Write: %d, Real Write: %d", static_cast<int>(length), static_cast<int>(bytesWritten));
        CloseDevice();
        return code::ShortWrite;
    }
    return code::Success;
}

std::uint32_t DeviceComm::closeAfter(const char* prefix, std::uint32_t result) {
    reportLastError(prefix);
    CloseDevice();
    return result;
}

// --- error bits

bool DeviceComm::ClearDeviceError() { return isOpen() && clearErrorBits(nullptr); }

std::uint32_t DeviceComm::ClearDeviceError(std::uint32_t& waiting) {
    waiting = 0;
    if (!isOpen()) return code::NotOpen;
    PortStatus status;
    if (!clearErrorBits(&status)) return code::ErrorsNotCleared;
    lastStatus_ = status;
    waiting = lastStatus_.inQueue;
    return code::Success;
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

std::uint32_t DeviceComm::setSignal(std::int32_t index, bool raise) {
    if (!isOpen()) return code::NotOpen;
    clearErrorBits(nullptr);
    const LineControl function = index == 1 ? (raise ? LineControl::SetDtr : LineControl::ClearDtr)
                                            : (raise ? LineControl::SetRts : LineControl::ClearRts);
    if (serial_.control(handle_, function)) return code::Success;
    message("Retry Setting Signal");
    platform_.clock.sleep(kPauseBeforeSignalRetry);
    ClearDeviceError();
    if (serial_.control(handle_, function)) return code::Success;
    message("Setting Signal Error in Function: %d", static_cast<int>(function));
    return code::SignalNotSet;
}

std::uint32_t DeviceComm::detectSignal(std::int32_t index, std::int32_t& value) {
    constexpr std::array kLines{ModemStatus::Cts, ModemStatus::Dsr, ModemStatus::Ring, ModemStatus::Rlsd};
    value = 0;
    if (!isOpen()) return code::NotOpen;
    clearErrorBits(nullptr);
    std::uint32_t status = 0;
    if (!serial_.modemStatus(handle_, status)) {
        reportLastError("DetectSignal Error");
        return code::SignalsUnreadable;
    }
    if (index == -1) {
        value = static_cast<std::int32_t>(status);
    } else if (index >= 0 && static_cast<std::size_t>(index) < kLines.size()) {
        value = (status & kLines[static_cast<std::size_t>(index)]) != 0;
    }
    return code::Success;
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
        if (toFile == ToFile::Yes && !logFilePath_.empty()) Log(platform_, logFilePath_, LogType::Comment, text);
        if (sink_) sink_->text(text);
    } catch (...) {
        // A sink's failure is its own.
    }
}

}  // namespace mova
