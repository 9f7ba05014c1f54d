// SerialDriver drives serial ports: it has one call for each call of the system, and each reports its own failure.
// Its records have the layout of the Win32 ones, so that the Windows driver hands them through unchanged.
#pragma once
#include <cstdint>
#include <memory>
#include <string>

#include "mova/Numbers.h"
#include "platform/Threading.h"

namespace mova {

using PortHandle = std::intptr_t;
constexpr PortHandle kInvalidPort = -1;

// LineSettings has the layout of a DCB.
struct LineSettings {
    std::uint32_t length = 28;
    std::uint32_t baudRate = 0;
    std::uint32_t flags = 0;  // see LineFlags
    std::uint16_t reserved = 0;
    std::uint16_t xonLimit = 0;
    std::uint16_t xoffLimit = 0;
    std::uint8_t byteSize = 0;
    std::uint8_t parity = 0;    // 0 none, 1 odd, 2 even, 3 mark, 4 space
    std::uint8_t stopBits = 0;  // 0 one, 1 one and a half, 2 two
    char xonChar = 0;
    char xoffChar = 0;
    char errorChar = 0;
    char eofChar = 0;
    char eventChar = 0;
    std::uint16_t reserved1 = 0;
};
static_assert(sizeof(LineSettings) == 28);

// LineSettings::flags is made of these bits.
namespace LineFlags {
constexpr std::uint32_t Binary = 0x0001;
constexpr std::uint32_t Parity = 0x0002;
constexpr std::uint32_t OutCtsFlow = 0x0004;
constexpr std::uint32_t OutDsrFlow = 0x0008;
constexpr std::uint32_t DtrControlMask = 0x0030;  // 0x10 on, 0x20 handshake
constexpr std::uint32_t DtrOn = 0x0010;
constexpr std::uint32_t DtrHandshake = 0x0020;
constexpr std::uint32_t DsrSensitivity = 0x0040;
constexpr std::uint32_t TxContinueOnXoff = 0x0080;
constexpr std::uint32_t OutX = 0x0100;
constexpr std::uint32_t InX = 0x0200;
constexpr std::uint32_t ErrorChar = 0x0400;
constexpr std::uint32_t Null = 0x0800;
constexpr std::uint32_t RtsControlMask = 0x3000;  // 0x1000 on, 0x2000 handshake
constexpr std::uint32_t RtsOn = 0x1000;
constexpr std::uint32_t RtsHandshake = 0x2000;
constexpr std::uint32_t AbortOnError = 0x4000;
}  // namespace LineFlags

// PortTimeouts has the layout of COMMTIMEOUTS; its times are milliseconds.
struct PortTimeouts {
    std::uint32_t readInterval = 0;
    std::uint32_t readMultiplier = 0;
    std::uint32_t readConstant = 0;
    std::uint32_t writeMultiplier = 0;
    std::uint32_t writeConstant = 0;
};
static_assert(sizeof(PortTimeouts) == 20);

// PortProperties has the layout of COMMPROP.
struct PortProperties {
    std::uint16_t packetLength = 0;
    std::uint16_t packetVersion = 0;
    std::uint32_t serviceMask = 0;
    std::uint32_t reserved1 = 0;
    std::uint32_t maxTxQueue = 0;
    std::uint32_t maxRxQueue = 0;
    std::uint32_t maxBaud = 0;
    std::uint32_t provSubType = 0;
    std::uint32_t provCapabilities = 0;
    std::uint32_t settableParams = 0;
    std::uint32_t settableBaud = 0;
    std::uint16_t settableData = 0;
    std::uint16_t settableStopParity = 0;
    std::uint32_t currentTxQueue = 0;
    std::uint32_t currentRxQueue = 0;
    std::uint32_t provSpec1 = 0;
    std::uint32_t provSpec2 = 0;
    std::uint16_t provChar[1] = {0};
};
static_assert(sizeof(PortProperties) == 64);

// PortStatus has the layout of COMSTAT.
struct PortStatus {
    std::uint32_t flags = 0;
    std::uint32_t inQueue = 0;   // bytes received and not yet read
    std::uint32_t outQueue = 0;  // bytes not yet sent
};
static_assert(sizeof(PortStatus) == 12);

constexpr std::uint32_t kEventMaskRxChar = 1;  // EV_RXCHAR
constexpr std::uint32_t kPurgeTxClear = 0x4;   // PURGE_TXCLEAR
constexpr std::uint32_t kPurgeRxClear = 0x8;   // PURGE_RXCLEAR

// clearErrors() reports these bits; the system names them CE_...
namespace LineError {
constexpr std::uint32_t InputOverflow = 0x0001;
constexpr std::uint32_t Overrun = 0x0002;
constexpr std::uint32_t Parity = 0x0004;
constexpr std::uint32_t Framing = 0x0008;
constexpr std::uint32_t Break = 0x0010;
constexpr std::uint32_t OutputFull = 0x0100;
constexpr std::uint32_t ParallelTimeout = 0x0200;
constexpr std::uint32_t Io = 0x0400;
constexpr std::uint32_t ParallelNotSelected = 0x0800;
constexpr std::uint32_t ParallelOutOfPaper = 0x1000;
constexpr std::uint32_t Mode = 0x8000;  // the requested mode is not supported
}  // namespace LineError

// control() takes one of these functions for the lines that the computer drives.
enum class LineControl : std::uint32_t { SetRts = 3, ClearRts = 4, SetDtr = 5, ClearDtr = 6 };

// modemStatus() reports these bits for the lines that the handset drives; callers see them as they are.
namespace ModemStatus {
constexpr std::uint32_t Cts = MOVA_STATUS_CTS;
constexpr std::uint32_t Dsr = MOVA_STATUS_DSR;
constexpr std::uint32_t Ring = MOVA_STATUS_RING;
constexpr std::uint32_t Rlsd = MOVA_STATUS_CARRIER;
}  // namespace ModemStatus

enum class BeginResult {
    Complete,  // finish() has the count
    Pending,   // await() it
    Failed,    // lastError() says why
};

// A transfer is the record of what moves in one direction, with its completion event. It can be used again, for one
// transfer at a time. The buffer of a transfer must live until finish() or cancel() returned.
class Transfer {
public:
    virtual ~Transfer() = default;
};

class SerialDriver {
public:
    virtual ~SerialDriver() = default;

    // What the system calls port n. A driver of one device alone, which somebody named by its path, has a name for it.
    virtual std::string portName(std::int64_t number) const { return "COM" + std::to_string(number); }

    // The path is "\\.\" and such a name, or any device path, which is taken as it stands. The port is opened for this
    // caller alone, to read and to write. The result is kInvalidPort on failure.
    virtual PortHandle open(const std::string& path, bool overlapped) = 0;
    virtual bool close(PortHandle port) = 0;
    virtual bool setQueueSizes(PortHandle port, std::uint32_t input, std::uint32_t output) = 0;
    virtual bool setTimeouts(PortHandle port, const PortTimeouts& timeouts) = 0;
    virtual bool properties(PortHandle port, PortProperties& out) = 0;
    virtual bool lineSettings(PortHandle port, LineSettings& out) = 0;
    virtual bool setLineSettings(PortHandle port, const LineSettings& settings) = 0;
    virtual bool setEventMask(PortHandle port, std::uint32_t mask) = 0;
    virtual bool clearErrors(PortHandle port, std::uint32_t& errorBits, PortStatus* status) = 0;  // status may be null
    virtual bool purge(PortHandle port, std::uint32_t what) = 0;
    virtual bool control(PortHandle port, LineControl function) = 0;
    virtual bool modemStatus(PortHandle port, std::uint32_t& out) = 0;

    // These are overlapped transfers. begin resets the completion event first. A read completes at once with what is
    // queued, with 0 bytes when nothing is. await waits for completion or, when stop is not null, for it.
    virtual std::unique_ptr<Transfer> makeTransfer() = 0;
    virtual BeginResult beginRead(PortHandle port, Transfer& transfer, void* buffer, std::uint32_t capacity) = 0;
    virtual BeginResult beginWrite(PortHandle port, Transfer& transfer, const void* data, std::uint32_t length) = 0;
    virtual WaitResult await(Transfer& transfer, Event* stop, std::uint32_t milliseconds) = 0;
    virtual bool finish(PortHandle port, Transfer& transfer, std::uint32_t& bytes) = 0;
    // cancel() takes back what this thread has begun and returns when neither buffer nor record is in use any more.
    virtual void cancel(PortHandle port, Transfer& transfer) = 0;
    virtual void cancelAll(PortHandle port) = 0;

    // awaitInput() waits until bytes are there to be read, the event (which may be null) is set, or the time is over, and
    // leaves the bytes where they are. It is Signalled as well when the port hangs up or is closed, and it may be for
    // nothing: whoever has waited looks for himself. Failed: there is no waiting for this port's bytes, and no time has
    // passed. Several threads may wait for one port at a time, also while it is being closed.
    virtual WaitResult awaitInput(PortHandle port, Event* event, std::uint32_t milliseconds) = 0;

    // These transfers block; they are for a port opened without overlapped I/O.
    virtual bool read(PortHandle port, void* buffer, std::uint32_t capacity, std::uint32_t& bytes) = 0;
    virtual bool write(PortHandle port, const void* data, std::uint32_t length, std::uint32_t& bytes) = 0;

    // The error is that of the calling thread's last failed call here.
    virtual std::uint32_t lastError() = 0;
    virtual std::string errorText(std::uint32_t error) = 0;  // with the system's trailing line end, if it has one
};

}  // namespace mova
