// The outcomes that methods report; mova/Numbers.h has their numbers and what each means.
//
// A code is a type of its own: it is no count, no length and no truth value, and one that is not looked at is a
// compiler warning.
#pragma once
#include <cstdint>

#include "mova/Numbers.h"

namespace mova {

// The formatter takes the attribute for an initialiser.
// clang-format off
enum class [[nodiscard]] Code : std::uint32_t {
    // clang-format on
    Success = MOVA_SUCCESS,
    Stopped = MOVA_STOPPED,
    LogPathEmpty = MOVA_LOG_PATH_EMPTY,
    NoTraceFile = MOVA_NO_TRACE_FILE,
    BadAtCommand = MOVA_BAD_AT_COMMAND,
    UnknownProperty = MOVA_UNKNOWN_PROPERTY,
    MalformedConfirmation = MOVA_MALFORMED_CONFIRMATION,
    WrongArrayType = MOVA_WRONG_ARRAY_TYPE,
    ReaderNotStarted = MOVA_READER_NOT_STARTED,
    WaitFailed = MOVA_WAIT_FAILED,
    NotOpen = MOVA_NOT_OPEN,
    NotSerial = MOVA_NOT_SERIAL,
    PortUnreadable = MOVA_PORT_UNREADABLE,
    NotConfigured = MOVA_NOT_CONFIGURED,
    NoAnswer = MOVA_NO_ANSWER,
    WriteTimeout = MOVA_WRITE_TIMEOUT,
    ShortWrite = MOVA_SHORT_WRITE,
    ChecksumMismatch = MOVA_CHECKSUM_MISMATCH,
    NotSynchronous = MOVA_NOT_SYNCHRONOUS,
    EventMaskNotSet = MOVA_EVENT_MASK_NOT_SET,
    WrongCommandEcho = MOVA_WRONG_COMMAND_ECHO,
    WrongObject = MOVA_WRONG_OBJECT,
    WrongRecord = MOVA_WRONG_RECORD,
    WrongData = MOVA_WRONG_DATA,
    WrongDataLength = MOVA_WRONG_DATA_LENGTH,
    UnknownOption = MOVA_UNKNOWN_OPTION,
    NotInitialised = MOVA_NOT_INITIALISED,
    ReadFailed = MOVA_READ_FAILED,
    WriteFailed = MOVA_WRITE_FAILED,
    ErrorsNotCleared = MOVA_ERRORS_NOT_CLEARED,
    NotClosed = MOVA_NOT_CLOSED,
    SignalNotSet = MOVA_SIGNAL_NOT_SET,
    SignalsUnreadable = MOVA_SIGNALS_UNREADABLE,
    AlreadyOpen = MOVA_ALREADY_OPEN,
    OtpError = MOVA_OTP_ERROR,

    // The handset's status of an E2P request, by its number there.
    E2pStatus2 = MOVA_E2P_STATUS_2,
    E2pStatus3 = MOVA_E2P_STATUS_3,
    E2pStatus4 = MOVA_E2P_STATUS_4,
    E2pStatus5 = MOVA_E2P_STATUS_5,
    E2pStatus6 = MOVA_E2P_STATUS_6,
    E2pStatus7 = MOVA_E2P_STATUS_7,
    E2pStatus8 = MOVA_E2P_STATUS_8,
    E2pStatus9 = MOVA_E2P_STATUS_9,
    E2pStatus10 = MOVA_E2P_STATUS_10,
    E2pStatus11 = MOVA_E2P_STATUS_11,
    E2pStatus12 = MOVA_E2P_STATUS_12,
    E2pStatusOther = MOVA_E2P_STATUS_OTHER,
    E2pStatus15 = MOVA_E2P_STATUS_15,
    E2pStatus16 = MOVA_E2P_STATUS_16,
    E2pStatus17 = MOVA_E2P_STATUS_17,
    E2pStatus13 = MOVA_E2P_STATUS_13,
    E2pStatus14 = MOVA_E2P_STATUS_14,
    E2pStatus18 = MOVA_E2P_STATUS_18,
    E2pStatus19 = MOVA_E2P_STATUS_19,
    E2pStatus20 = MOVA_E2P_STATUS_20,
    FlashChecksum = MOVA_FLASH_CHECKSUM,
    FlashCounterAtLimit = MOVA_FLASH_COUNTER_AT_LIMIT,
    FlashNotInProgress = MOVA_FLASH_NOT_IN_PROGRESS,
    HciStatus = MOVA_HCI_STATUS,
    WifiStatus1 = MOVA_WIFI_STATUS_1,
    WifiStatus2 = MOVA_WIFI_STATUS_2,
};

// For printing, and for interfaces that know plain numbers only.
constexpr std::uint32_t number(Code code) { return static_cast<std::uint32_t>(code); }

}  // namespace mova
