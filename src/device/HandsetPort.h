// The handset's port as the command manager uses it: its settings and state, the open and close procedures, and the
// writes and reads that reopen it when needed.
//
// lock() is the object's receive lock: whoever touches the port or the answers holds it, from an exchange's write to
// its last wait, so that a background reader never swallows the answer that a caller waits for. It is recursive.
#pragma once
#include <atomic>
#include <cstdint>
#include <memory>

#include "device/DeviceComm.h"
#include "device/PortDiscovery.h"
#include "logging/MyDebugMsg.h"
#include "logging/Trace.h"
#include "platform/Platform.h"

namespace mova {

class HandsetPort {
public:
    static constexpr std::int32_t kSlowDevice = 2;            // device type whose polling pauses are longer
    static constexpr std::uint32_t kSlowDevicePause = 100;  // milliseconds

    HandsetPort(Platform& platform, MyDebugMsg& debug, Trace& trace);

    RecursiveMutex& lock() { return *lock_; }
    Event& stopEvent() { return *stop_; }
    DeviceComm& device() { return device_; }
    const DeviceComm& device() const { return device_; }

    std::int32_t portNumber() const { return portNumber_; }
    void setPortNumber(std::int32_t port);  // kept only while the port is closed; the rest happens always
    std::int32_t baudRate() const { return baudRate_; }
    void setBaudRate(std::int32_t baudRate) { baudRate_ = baudRate; }
    std::int32_t deviceType() const { return deviceType_; }
    bool isSerial() const { return deviceType_ == 0; }
    void setDeviceType(std::int16_t type, std::int32_t parameter1, std::int32_t parameter2);
    bool isInitialised() const { return initialised_; }
    void markInitialised() { initialised_ = initialised_ || isSerial(); }
    // The manager's copy of the handle: invalid whenever the port has been closed through close().
    bool hasHandle() const { return handle_ != kInvalidPort; }
    CardType cardType() const { return cardType_; }
    std::int32_t pendingFlowControlMode() const { return pendingFlowControlMode_; }

    Code open();
    Code close();
    // At the object's end: closes only an open serial port.
    void closeAtEnd();

    // Object write: the whole buffer at once. bytesWritten may be null.
    Code write(const void* data, std::uint32_t length, std::uint32_t* bytesWritten = nullptr);
    // Byte by byte unless the card sits on USB; the limit is for the whole request.
    Code pacedWrite(const void* data, std::uint32_t length, std::uint32_t limitMilliseconds);

    // For the receive engine: reopens a port that closed itself while it should be open. 0 when there is none.
    std::uint32_t waitingBytes();
    std::uint32_t readWaiting(void* buffer, std::uint32_t capacity);  // bytes read

    // Opens the port when needed and says whether it can be used; result is the code for the caller when not.
    enum class OpenTest { Handle, Device };  // writes ask the manager's handle, reads ask the device itself
    bool makeAvailable(OpenTest test, Code& result);

    void switchFlowControlMode(std::int32_t mode);

private:
    bool shouldBeOpen();
    void setDebugPrefix();

    Platform& platform_;
    MyDebugMsg& debug_;
    Trace& trace_;
    std::unique_ptr<RecursiveMutex> lock_;
    std::unique_ptr<Event> stop_;
    DeviceComm device_;

    std::int32_t portNumber_ = 1;
    std::int32_t baudRate_ = 115200;
    bool initialised_ = false;
    std::int16_t deviceType_ = 0;
    std::int32_t parameter1_ = 0;
    std::int32_t parameter2_ = 0;
    PortHandle handle_ = kInvalidPort;
    std::int32_t pendingFlowControlMode_ = number(FlowControl::XonXoff);
    bool deviceOpen_ = false;
    bool driverKnown_ = false;
    CardType cardType_ = kCardNotLookedUp;
};

}  // namespace mova
