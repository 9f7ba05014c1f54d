// The outcomes that methods report: 32-bit numbers, 0 for success, grouped by their high digits (0x2xxx arguments of AT
// commands, 0x3xxx the component itself, 0x40xx the port and its waits, 0x42xx and 0x43xx replies and port operations,
// 0x8xxx E2P statuses of the handset, 0xBxxx its flash status record, 0xDxxx Bluetooth controller and WiFi).
//
// A code is a type of its own: it is no count, no length and no truth value, and one that is not looked at is a
// compiler warning.
#pragma once
#include <cstdint>

namespace mova {

// The formatter takes the attribute for an initialiser.
// clang-format off
enum class [[nodiscard]] Code : std::uint32_t {
    // clang-format on
    Success = 0,
    Stopped = 0x0010,  // the port was closed, or the object told to end, while an operation waited

    LogPathEmpty = 0x1001,  // of the log writer: there is no file to write to
    NoTraceFile = 0x1002,   // neither the trace file nor its fallback could be opened

    BadAtCommand = 0x2007,  // empty, or longer than 4094 characters

    UnknownProperty = 0x3001,
    MalformedConfirmation = 0x3001,  // deliberate: one number for three errors, hosts know it as such
    WrongArrayType = 0x3001,
    ReaderNotStarted = 0x3005,  // the system has no thread to give
    WaitFailed = 0x3006,

    NotOpen = 0x4000,         // the port is not open, not present, could not be opened; a bad length
    NotSerial = 0x4001,       // the operation needs device type 0
    PortUnreadable = 0x4002,  // the port's properties or state could not be read
    NotConfigured = 0x4003,   // the port could not be configured
    NoAnswer = 0x4004,        // no (accepted) answer within the time
    WriteTimeout = 0x4005,
    ShortWrite = 0x4010,  // fewer bytes were written than asked
    ChecksumMismatch = 0x4011,
    NotSynchronous = 0x4014,  // AT answers are collected only in the synchronous modes

    EventMaskNotSet = 0x4201,
    WrongCommandEcho = 0x4203,  // the reply's command or option differs from the request's, or there is no reply
    WrongObject = 0x4204,
    WrongRecord = 0x4205,
    WrongData = 0x4206,        // the echoed data differs from the data sent
    WrongDataLength = 0x4207,  // its length does; of ReadWholeE2PObject, it is not the length that was announced

    UnknownOption = 0x4305,  // of HciAction; of SpecificInfo, also its access
    NotInitialised = 0x4317,
    ReadFailed = 0x4340,
    WriteFailed = 0x4341,
    ErrorsNotCleared = 0x4342,
    NotClosed = 0x4343,  // the port's handle could not be closed
    SignalNotSet = 0x4344,
    SignalsUnreadable = 0x4345,
    AlreadyOpen = 0x4346,  // a handle was given while a port is open

    OtpError = 0x6300,  // the handset answered the one-time-programmable query with "ERROR"

    // The handset's status of an E2P request, by its number there.
    E2pStatus2 = 0x8201,
    E2pStatus3 = 0x8202,
    E2pStatus4 = 0x8203,
    E2pStatus5 = 0x8204,
    E2pStatus6 = 0x8205,
    E2pStatus7 = 0x8206,
    E2pStatus8 = 0x8207,
    E2pStatus9 = 0x8208,
    E2pStatus10 = 0x8209,
    E2pStatus11 = 0x820A,
    E2pStatus12 = 0x820B,
    E2pStatusOther = 0x820C,  // every status without a code of its own: 1, and 21 and above
    E2pStatus15 = 0x8310,
    E2pStatus16 = 0x8311,
    E2pStatus17 = 0x8312,
    E2pStatus13 = 0x8313,  // deliberate: 13 and 14 come behind 15 to 17
    E2pStatus14 = 0x8314,
    E2pStatus18 = 0x8315,
    E2pStatus19 = 0x8316,
    E2pStatus20 = 0x8317,

    FlashChecksum = 0xB340,  // the flash status record fails its checksum
    FlashCounterAtLimit = 0xB341,
    FlashNotInProgress = 0xB342,  // an entry without a start

    HciStatus = 0xD303,  // not "00"
    WifiStatus1 = 0xD380,
    WifiStatus2 = 0xD381,
};

// For printing, and for interfaces that know plain numbers only.
constexpr std::uint32_t number(Code code) { return static_cast<std::uint32_t>(code); }

}  // namespace mova
