// The handset's port as the command manager uses it: its settings and state, the open and close procedures, and the
// writes and reads that reopen it when needed.
//
// lock() is the port's lock: whoever touches the port or the answers holds it, from an exchange's write to
// its last wait, so that a background reader never swallows the answer that a caller waits for. It is recursive.
#pragma once
#include <atomic>
#include <cstdint>
#include <memory>

#include "device/DeviceComm.h"
#include "device/PortDiscovery.h"
#include "device/StopEvent.h"
#include "logging/MyDebugMsg.h"
#include "logging/Trace.h"
#include "mova/Options.h"
#include "platform/Platform.h"

namespace mova {

class HandsetPort {
public:
    static constexpr std::int32_t kSlowDevice = 2;          // device type whose polling pauses are longer
    static constexpr std::uint32_t kSlowDevicePause = 100;  // milliseconds

    HandsetPort(Platform& platform, MyDebugMsg& debug, Trace& trace);

    RecursiveMutex& lock() { return *lock_; }
    StopEvent& stopEvent() { return stop_; }
    DeviceComm& device() { return device_; }
    const DeviceComm& device() const { return device_; }

    std::int32_t portNumber() const MOVA_REQUIRES(portLockRole) { return portNumber_; }
    // Kept only while the port is closed; the rest happens always.
    void setPortNumber(std::int32_t port) MOVA_REQUIRES(portLockRole);
    std::int32_t baudRate() const MOVA_REQUIRES(portLockRole) { return baudRate_; }
    void setBaudRate(std::int32_t baudRate) MOVA_REQUIRES(portLockRole) { baudRate_ = baudRate; }
    std::int32_t deviceType() const MOVA_REQUIRES(portLockRole) { return deviceType_; }
    bool isSerial() const MOVA_REQUIRES(portLockRole) { return deviceType_ == number(DeviceType::Serial); }
    void setDeviceType(std::int16_t type, std::int32_t parameter1, std::int32_t parameter2) MOVA_REQUIRES(portLockRole);
    bool isInitialised() const MOVA_REQUIRES(portLockRole) { return initialised_; }
    void markInitialised() MOVA_REQUIRES(portLockRole) { initialised_ = initialised_ || isSerial(); }
    // The manager's copy of the handle: invalid whenever the port has been closed through close().
    bool hasHandle() const MOVA_REQUIRES(portLockRole) { return handle_ != kInvalidPort; }
    // The port whose bytes the receive engine reads: invalid while none is open.
    PortHandle listenedPort() const MOVA_REQUIRES(portLockRole) {
        return deviceOpen_ && isSerial() ? device_.handle() : kInvalidPort;
    }
    // It closed itself, and the next look at it will try to open it.
    bool isToBeReopened() const MOVA_REQUIRES(portLockRole) { return deviceOpen_ && isSerial() && !device_.isOpen(); }
    CardType cardType() const MOVA_REQUIRES(portLockRole) { return cardType_; }
    std::int32_t pendingFlowControlMode() const MOVA_REQUIRES(portLockRole) { return pendingFlowControlMode_; }

    Code open() MOVA_REQUIRES(portLockRole);
    Code close() MOVA_REQUIRES(portLockRole);
    // At the object's end: closes only an open serial port.
    void closeAtEnd() MOVA_REQUIRES(portLockRole);

    // Object write: the whole buffer at once. bytesWritten may be null.
    Code write(const void* data, std::uint32_t length, std::uint32_t* bytesWritten = nullptr,
               DeviceComm::Before before = DeviceComm::Before::LookAtErrors) MOVA_REQUIRES(portLockRole);
    // Byte by byte unless the card sits on USB; the limit is for the whole request.
    Code pacedWrite(const void* data, std::uint32_t length, std::uint32_t limitMilliseconds)
        MOVA_REQUIRES(portLockRole);

    // For the receive engine: reopens a port that closed itself while it should be open. 0 when there is none.
    std::uint32_t waitingBytes() MOVA_REQUIRES(portLockRole);
    std::uint32_t readWaiting(void* buffer, std::uint32_t capacity) MOVA_REQUIRES(portLockRole);  // bytes read

    // Opens the port when needed and says whether it can be used; result is the code for the caller when not. A write
    // that would end at once is not begun (Stopped).
    enum class OpenTest { Handle, Device };  // writes ask the manager's handle, reads ask the device itself
    bool makeAvailable(OpenTest test, Code& result) MOVA_REQUIRES(portLockRole);

    void switchFlowControlMode(std::int32_t mode) MOVA_REQUIRES(portLockRole);

private:
    Code openForWrite() MOVA_REQUIRES(portLockRole);
    bool shouldBeOpen() MOVA_REQUIRES(portLockRole);
    void setDebugPrefix() MOVA_REQUIRES(portLockRole);

    Platform& platform_;
    MyDebugMsg& debug_;
    Trace& trace_;
    std::unique_ptr<RecursiveMutex> lock_;
    StopEvent stop_;
    DeviceComm device_;

    std::int32_t portNumber_ MOVA_GUARDED_BY(portLockRole) = 1;
    std::int32_t baudRate_ MOVA_GUARDED_BY(portLockRole) = 115200;
    bool initialised_ MOVA_GUARDED_BY(portLockRole) = false;
    std::int16_t deviceType_ MOVA_GUARDED_BY(portLockRole) = 0;
    std::int32_t parameter1_ MOVA_GUARDED_BY(portLockRole) = 0;
    std::int32_t parameter2_ MOVA_GUARDED_BY(portLockRole) = 0;
    PortHandle handle_ MOVA_GUARDED_BY(portLockRole) = kInvalidPort;
    std::int32_t pendingFlowControlMode_ MOVA_GUARDED_BY(portLockRole) = number(FlowControl::XonXoff);
    bool deviceOpen_ MOVA_GUARDED_BY(portLockRole) = false;
    bool driverKnown_ MOVA_GUARDED_BY(portLockRole) = false;
    CardType cardType_ MOVA_GUARDED_BY(portLockRole) = kCardNotLookedUp;
};

}  // namespace mova
