// The serial port itself: opens it by number or path with its retry policy, configures it, moves bytes, clears its
// error bits, drives and reads its modem lines, and turns failures into codes and readable messages.
//
// Nothing throws but std::bad_alloc. It has no lock of its own: whoever uses it holds that of the object's port. isOpen
// and handle may be asked from any thread.
#pragma once
#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <memory>
#include <string>

#include "base/Text.h"
#include "device/CCallBack.h"
#include "device/PortLockRole.h"
#include "mova/Codes.h"
#include "mova/Options.h"
#include "platform/Platform.h"

namespace mova {

class DeviceComm {
public:
    static constexpr std::uint32_t kInputQueue = 8192;
    static constexpr std::uint32_t kOutputQueue = 2048;
    // Deliberate: USB-serial drivers need time to release the port.
    static constexpr std::uint32_t kPauseAfterClose = 500;
    static constexpr std::uint32_t kPauseBeforeReopen = 500;

    explicit DeviceComm(Platform& platform);
    virtual ~DeviceComm();  // closes the port, unless its handle was given from outside
    DeviceComm(const DeviceComm&) = delete;
    DeviceComm& operator=(const DeviceComm&) = delete;

    Code OpenDevice() MOVA_REQUIRES(portLockRole);
    // Stores number and rate, opens, and always hands back the handle (invalid on failure). There is no port 0 and none
    // above kLastPort.
    Code openByNumber(std::uint32_t portNumber, std::uint32_t baudRate, PortHandle& handle) MOVA_REQUIRES(portLockRole);
    Code CloseDevice(PortHandle* handle = nullptr) MOVA_REQUIRES(portLockRole);  // 0 and no message when closed already

    bool isOpen() const { return handle() != kInvalidPort; }
    PortHandle handle() const { return handle_; }
    Code setHandle(PortHandle handle) MOVA_REQUIRES(portLockRole);  // AlreadyOpen while a port is open

    // The stop event ends every wait; not owned; null: none.
    void setStopEvent(Event* stop) MOVA_REQUIRES(portLockRole) { stop_ = stop; }
    void setMessageSink(CCallBack* sink) MOVA_REQUIRES(portLockRole) { sink_ = sink; }
    void setOverlapped(bool overlapped) MOVA_REQUIRES(portLockRole);  // a change closes an open port
    // For programs that use the device by itself. The component leaves these as they are at first: no path, no log file,
    // no limit of a wait, no bytes in the messages. A path that is not empty is used as it stands, without discovery.
    void setDevicePath(std::string path) MOVA_REQUIRES(portLockRole) { devicePath_ = std::move(path); }
    void setLogFilePath(std::string path) MOVA_REQUIRES(portLockRole) { logFilePath_ = std::move(path); }
    void setTimeouts(std::uint32_t readMilliseconds, std::uint32_t writeMilliseconds) MOVA_REQUIRES(portLockRole);
    void setTraceFlags(bool send, bool receive) MOVA_REQUIRES(portLockRole);
    // Kept for the next open; an open port is configured at once and the result is that of the configuration.
    Code setFlowControlMode(std::uint8_t mode) MOVA_REQUIRES(portLockRole);
    Code configure() MOVA_REQUIRES(portLockRole);

    // Capacity below 1: NotOpen. A success of 0 bytes is usual: reads return what is queued.
    Code ReadData(void* buffer, std::int32_t capacity, std::uint32_t& bytesRead) MOVA_REQUIRES(portLockRole);
    // Length 0 is accepted, deliberately unlike ReadData. A short write closes the port and, overlapped, reopens it.
    // Before: what is done before the transfer. A paced write looks at the line's error bits once in a millisecond.
    enum class Before { LookAtErrors, Nothing };
    Code WriteData(const void* data, std::uint32_t length, std::uint32_t& bytesWritten,
                   Before before = Before::LookAtErrors) MOVA_REQUIRES(portLockRole);
    bool ClearDeviceError() MOVA_REQUIRES(portLockRole);  // reporting form
    // Queue form: bytes waiting in the input queue.
    Code ClearDeviceError(std::uint32_t& waiting) MOVA_REQUIRES(portLockRole);
    // Waits for bytes, the stop event (Stopped) or the end of the time. Failed: the port is closed, or its driver cannot
    // wait for bytes; no time has passed.
    WaitResult awaitInput(std::uint32_t milliseconds) MOVA_REQUIRES(portLockRole);
    void purge() MOVA_REQUIRES(portLockRole);  // drops what waits in both queues; failures are not told

    Code setSignal(std::int32_t index, bool raise) MOVA_REQUIRES(portLockRole);  // index 1: DTR, every other: RTS
    // Index -1: the whole status word; 0 to 3: CTS, DSR, RING, carrier as 0 or 1; others: 0.
    Code detectSignal(std::int32_t index, std::int32_t& value) MOVA_REQUIRES(portLockRole);

    bool isUsbCard() const MOVA_REQUIRES(portLockRole) { return usbCard_; }

private:
    enum class ToFile : bool { No, Yes };

    Code findDevicePath(std::string& path);
    Code createFile(const std::string& path) MOVA_REQUIRES(portLockRole);
    Code configureWithRetries(const std::string& path) MOVA_REQUIRES(portLockRole);
    Code configurationAttempt(const std::string& path, int attempt) MOVA_REQUIRES(portLockRole);
    Code reopenForRetry(const std::string& path, int attempt) MOVA_REQUIRES(portLockRole);
    Code setUpPort() MOVA_REQUIRES(portLockRole);
    Code overlappedRead(void* buffer, std::uint32_t capacity, std::uint32_t& bytesRead) MOVA_REQUIRES(portLockRole);
    Code blockingRead(void* buffer, std::uint32_t capacity, std::uint32_t& bytesRead) MOVA_REQUIRES(portLockRole);
    Code overlappedWrite(const void* data, std::uint32_t length, std::uint32_t& bytesWritten)
        MOVA_REQUIRES(portLockRole);
    Code blockingWrite(const void* data, std::uint32_t length, std::uint32_t& bytesWritten) MOVA_REQUIRES(portLockRole);
    Code closeAfter(const char* prefix, Code result) MOVA_REQUIRES(portLockRole);
    bool clearErrorBits(PortStatus* status);
    void reportErrorBits(std::uint32_t bits);
    void reportLastError(const char* prefix) noexcept;
    Code failConfiguration(const char* text, Code result);
    // A message that there is no memory for is lost: it never stands in the way of what it tells about.
    MOVA_PRINTF(2, 3) void message(const char* pattern, ...) noexcept;
    MOVA_PRINTF(2, 3) void fileMessage(const char* pattern, ...) noexcept;
    MOVA_PRINTF(3, 0) void tell(ToFile toFile, const char* pattern, va_list arguments) noexcept;

    Platform& platform_;
    SerialDriver& serial_;
    std::uint32_t portNumber_ = 1;
    std::string devicePath_;
    std::uint32_t baudRate_ = 115200;
    bool overlapped_ = false;
    std::uint8_t flowControlMode_ = static_cast<std::uint8_t>(FlowControl::None);
    // Every port is set to these; nobody changes them.
    static constexpr std::uint8_t kByteSize = 8;
    static constexpr std::uint8_t kParity = 0;    // none
    static constexpr std::uint8_t kStopBits = 0;  // one
    std::uint32_t writeTimeout_ = kInfinite;
    std::uint32_t readTimeout_ = kInfinite;
    std::string logFilePath_;
    std::atomic<PortHandle> handle_{kInvalidPort};
    PortProperties properties_;
    LineSettings working_;
    LineSettings applied_;  // the last settings the port accepted; every configuration starts from them
    PortStatus lastStatus_;
    std::unique_ptr<Transfer> reading_;
    std::unique_ptr<Transfer> writing_;
    Event* stop_ = nullptr;
    bool externalHandle_ = false;
    bool usbCard_ = false;
    std::string label_;
    bool traceSend_ = false;
    bool traceReceive_ = false;
    CCallBack* sink_ = nullptr;
};

}  // namespace mova
