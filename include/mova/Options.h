// Names for the numbers that methods of CVeCmdManager take; mova/Numbers.h has the numbers and what each means. The
// methods take plain numbers, as automation clients pass them: static_cast, or number() below, turns a name into its
// number.
#pragma once
#include <cstdint>
#include <type_traits>

#include "mova/Numbers.h"

namespace mova {

// SwitchOperateMode.
enum class Mode : std::uint32_t {
    Synchronous = MOVA_MODE_SYNCHRONOUS,
    Events = MOVA_MODE_EVENTS,
    Background = MOVA_MODE_BACKGROUND,
    SynchronousOk = MOVA_MODE_SYNCHRONOUS_OK,
    SynchronousOk4 = MOVA_MODE_SYNCHRONOUS_OK_4,
    BackgroundOk = MOVA_MODE_BACKGROUND_OK,
};

// AssignTimeoutConstant.
enum class Timeout : std::int32_t {
    Write = MOVA_TIMEOUT_WRITE,
    RfAcknowledgement = MOVA_TIMEOUT_RF_ACKNOWLEDGEMENT,
    Acknowledgement = MOVA_TIMEOUT_ACKNOWLEDGEMENT,
    AtWrite = MOVA_TIMEOUT_AT_WRITE,
};

// SetAtCmdProperty; with kPropertyWaits added, the form that waits for the answer.
enum class Property : std::uint32_t {
    Echo = MOVA_PROPERTY_ECHO,
    Wake = MOVA_PROPERTY_WAKE,
    UartSwap = MOVA_PROPERTY_UART_SWAP,
    Call112 = MOVA_PROPERTY_CALL_112,
    HangUp = MOVA_PROPERTY_HANG_UP,
    FullFunction = MOVA_PROPERTY_FULL_FUNCTION,
    RegisterAutomatically = MOVA_PROPERTY_REGISTER_AUTOMATICALLY,
    SleepModeOn = MOVA_PROPERTY_SLEEP_MODE_ON,
    SleepModeOff = MOVA_PROPERTY_SLEEP_MODE_OFF,
    AutoAnswer = MOVA_PROPERTY_AUTO_ANSWER,
    SendJ = MOVA_PROPERTY_SEND_J,
    Bypass = MOVA_PROPERTY_BYPASS,
    SendK = MOVA_PROPERTY_SEND_K,
    BoardTest = MOVA_PROPERTY_BOARD_TEST,
};
constexpr std::uint32_t kPropertyWaits = MOVA_PROPERTY_WAITS;

// GetNormalAtResult.
enum class Collect : std::int32_t {
    TextAndPending = MOVA_COLLECT_TEXT_AND_PENDING,
    WholeRecord = MOVA_COLLECT_WHOLE_RECORD,
};

// SpecificInfo.
enum class Info : std::int32_t {
    Version = MOVA_INFO_VERSION,
    Field1 = MOVA_INFO_FIELD_1,
    Imei = MOVA_INFO_IMEI,
    Field3 = MOVA_INFO_FIELD_3,
    Field4 = MOVA_INFO_FIELD_4,
    Field5 = MOVA_INFO_FIELD_5,
    Field6 = MOVA_INFO_FIELD_6,
    Field7 = MOVA_INFO_FIELD_7,
    Field8 = MOVA_INFO_FIELD_8,
    FlashStatus = MOVA_INFO_FLASH_STATUS,
    OtpStatus = MOVA_INFO_OTP_STATUS,
};
enum class Access : std::int32_t { Read = MOVA_ACCESS_READ, Write = MOVA_ACCESS_WRITE };

// SetCommSignal.
enum class OutputSignal : std::int32_t { Rts = MOVA_OUTPUT_RTS, Dtr = MOVA_OUTPUT_DTR };
// DetectCommSignal.
enum class InputSignal : std::int32_t {
    WholeStatus = MOVA_INPUT_WHOLE_STATUS,
    Cts = MOVA_INPUT_CTS,
    Dsr = MOVA_INPUT_DSR,
    Ring = MOVA_INPUT_RING,
    Carrier = MOVA_INPUT_CARRIER
};
// The bits of its whole status.
enum class StatusBit : std::uint32_t {
    Cts = MOVA_STATUS_CTS,
    Dsr = MOVA_STATUS_DSR,
    Ring = MOVA_STATUS_RING,
    Carrier = MOVA_STATUS_CARRIER
};

// SwitchCommFlowControlMode.
enum class FlowControl : std::int32_t {
    RtsHandshake = MOVA_FLOW_CONTROL_RTS_HANDSHAKE,
    RtsCts = MOVA_FLOW_CONTROL_RTS_CTS,
    DtrHandshake = MOVA_FLOW_CONTROL_DTR_HANDSHAKE,
    DtrDsr = MOVA_FLOW_CONTROL_DTR_DSR,
    XonXoffOut = MOVA_FLOW_CONTROL_XON_XOFF_OUT,
    XonXoffIn = MOVA_FLOW_CONTROL_XON_XOFF_IN,
    XonXoff = MOVA_FLOW_CONTROL_XON_XOFF,
    None = MOVA_FLOW_CONTROL_NONE,
};

// SetCommDeviceType.
enum class DeviceType : std::int16_t { Serial = MOVA_DEVICE_SERIAL };
// GetCmpVersion.
enum class CmpVersion : std::int32_t { Version = MOVA_CMP_VERSION, Build = MOVA_CMP_BUILD };

// RetriveComPortData.
constexpr std::int32_t kCollectRawData = MOVA_COLLECT_RAW_DATA;
// ActivateMovaLogging.
constexpr std::uint32_t kStartTrace = MOVA_START_TRACE;

// VbRfVarReq.
enum class RfRequest : std::int32_t {
    ChangeParameter = MOVA_RF_REQUEST_CHANGE_PARAMETER,
    ChangeTable = MOVA_RF_REQUEST_CHANGE_TABLE,
    TestCase = MOVA_RF_REQUEST_TEST_CASE,
    Statistics = MOVA_RF_REQUEST_STATISTICS
};

template <class Name>
requires std::is_enum_v<Name>
constexpr auto number(Name name) { return static_cast<std::underlying_type_t<Name>>(name); }

}  // namespace mova
