// Names for the numbers that methods of CVeCmdManager take. The methods take plain numbers, as automation clients pass
// them: static_cast, or number() below, turns a name into its number.
#pragma once
#include <cstdint>
#include <type_traits>

namespace mova {

// SwitchOperateMode: who takes in the handset's answers, where they go, and what ends one. Every other number is
// Synchronous.
enum class Mode : std::uint32_t {
    Synchronous = 0,     // the caller's thread while it waits; to the queue; every look at the port ends an answer
    Events = 1,          // the reader thread; to ConfirmationEvents; every look at the port
    Background = 2,      // the reader thread; to the queue; every look at the port
    SynchronousOk = 3,   // the caller's thread; to the queue; "OK"
    SynchronousOk4 = 4,  // the same under a second number
    BackgroundOk = 5,    // the reader thread; to the queue; "OK"
};

// AssignTimeoutConstant. Time-outs 2 and 6 are kept for callers that set them; nothing reads them.
enum class Timeout : std::int32_t {
    Write = 1,              // of a request on the line
    RfAcknowledgement = 3,  // of each segment of an RF request
    Acknowledgement = 4,    // of each segment of an E2P, HCI or WiFi request: "*MOVA=ACK", then "OK"
    AtWrite = 5,            // of an AT command on the line
};

// SetAtCmdProperty, the forms that send and pause. The same number plus kPropertyWaits sends and waits for the answer.
enum class Property : std::uint32_t {
    Echo = 1,  // "ATE1" for parameter 1, else "ATE0"
    Wake = 2,
    UartSwap = 3,
    Call112 = 4,
    HangUp = 5,
    FullFunction = 6,
    RegisterAutomatically = 7,
    SleepModeOn = 8,
    SleepModeOff = 9,
    AutoAnswer = 10,  // "ATS0=" and the parameter
    SendJ = 11,       // "<j"
    Bypass = 12,      // "AT*BYPASS=1" for parameter 1, else 0
    SendK = 13,       // "<k"
    BoardTest = 14,   // "AT*BOARDTEST=1" for parameter 1, else 0
};
constexpr std::uint32_t kPropertyWaits = 100;

// GetNormalAtResult. Every other number: older answers are dropped first, then the final result alone, which is empty:
// what is taken in here ends with the look at the port.
enum class Collect : std::int32_t {
    TextAndPending = 1,  // older answers are dropped first; what is unfinished comes too
    WholeRecord = 2,     // the oldest answer whole; the record behind it is left, the AT answers behind that are joined
};

// SpecificInfo.
enum class Info : std::int32_t {
    Version = 0,
    Field1 = 1,
    Imei = 2,
    Field3 = 3,
    Field4 = 4,  // is written only
    Field5 = 5,
    Field6 = 6,
    Field7 = 7,
    Field8 = 8,
    FlashStatus = 9,
    OtpStatus = 10,
};
enum class Access : std::int32_t { Read = 0, Write = 1 };

// SetCommSignal: Dtr, every other number Rts.
enum class OutputSignal : std::int32_t { Rts = 0, Dtr = 1 };
// DetectCommSignal. WholeStatus gives the bits Cts 0x10, Dsr 0x20, Ring 0x40, Carrier 0x80.
enum class InputSignal : std::int32_t { WholeStatus = -1, Cts = 0, Dsr = 1, Ring = 2, Carrier = 3 };

// SwitchCommFlowControlMode. Every other number is XonXoff.
enum class FlowControl : std::int32_t {
    RtsHandshake = 1,
    RtsCts = 2,
    DtrHandshake = 3,
    DtrDsr = 4,
    XonXoffOut = 5,
    XonXoffIn = 6,
    XonXoff = 7,
    None = 8,
};

// RetriveComPortData: the one option that collects.
constexpr std::int32_t kCollectRawData = 3;
// ActivateMovaLogging: the one request that starts the trace; every other number stops it.
constexpr std::uint32_t kStartTrace = 1;

// VbRfVarReq. Every other number is RfGeneralTestReq.
enum class RfRequest : std::int32_t { ChangeParameter = 1, ChangeTable = 2, TestCase = 3, Statistics = 4 };

template <class Name>
requires std::is_enum_v<Name>
constexpr auto number(Name name) { return static_cast<std::underlying_type_t<Name>>(name); }

}  // namespace mova
