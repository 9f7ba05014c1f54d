#include "cli/CodeTable.h"

#include <array>

#include "cli/Numbers.h"
#include "mova/Codes.h"
#include "base/Text.h"

namespace mova::cli {

namespace {

struct Row {
    std::uint32_t code;
    const char* name;
    const char* meaning;
    const char* hint;
    ExitStatus status;
};

constexpr const char* kCheckPort =
    "run \"mova ports\"; see that no other program holds the port, and that you may open it";
constexpr const char* kCheckLine = "check cable and baud rate (--baud); a trace (--trace FILE) shows what arrived";
constexpr const char* kCheckCable = "is the handset still plugged in? \"mova ports\" shows what is there";
constexpr const char* kTryAgain =
    "try again; if it stays, check cable and baud rate, and look at a trace (--trace FILE)";

using enum ExitStatus;

constexpr std::array kRows{
    Row{Code::Stopped, "Stopped", "the port was closed while an answer was awaited", kCheckCable, LineTrouble},
    Row{0x1002, "NoTraceFile", "no trace file could be opened", "check that the folder is there and may be written to",
        FileTrouble},
    Row{Code::BadAtCommand, "BadAtCommand", "the AT command is empty or longer than 4094 characters", "", Usage},
    Row{Code::UnknownProperty, "UnknownProperty", "unknown property, or a malformed confirmation", kTryAgain,
        LineTrouble},
    Row{Code::ReaderNotStarted, "ReaderNotStarted", "the reader thread could not be created",
        "the system is short of memory or threads", LineTrouble},
    Row{Code::WaitFailed, "WaitFailed", "a wait itself failed", kTryAgain, LineTrouble},
    Row{Code::NotOpen, "NotOpen", "the port is not open, not present, or could not be opened; or a message is too long",
        kCheckPort, PortNotOpened},
    Row{Code::NotSerial, "NotSerial", "the operation needs a serial port", kCheckPort, PortNotOpened},
    Row{Code::PortUnreadable, "PortUnreadable", "the port's properties or state could not be read", kCheckCable,
        PortNotOpened},
    Row{Code::NotConfigured, "NotConfigured", "the port could not be configured",
        "does the device know this baud rate? try --baud 115200", PortNotOpened},
    Row{Code::NoAnswer, "NoAnswer", "no (accepted) answer within the time",
        "is the handset switched on, plugged in and at this baud rate? \"mova at AT\" tries it; --timeout waits longer",
        ExitStatus::NoAnswer},
    Row{Code::WriteTimeout, "WriteTimeout", "the write timed out",
        "flow control may hold the line: \"mova signals\" shows CTS", ExitStatus::NoAnswer},
    Row{Code::ShortWrite, "ShortWrite", "fewer bytes were written than asked", kCheckCable, LineTrouble},
    Row{Code::ChecksumMismatch, "ChecksumMismatch", "a confirmation arrived with a wrong checksum", kCheckLine,
        LineTrouble},
    Row{Code::NotSynchronous, "NotSynchronous", "AT answers are collected only in the synchronous mode", "",
        LineTrouble},
    Row{Code::EventMaskNotSet, "EventMaskNotSet", "the port's event mask could not be set", kCheckPort, PortNotOpened},
    Row{Code::WrongCommandEcho, "WrongCommandEcho", "the reply names another command, or there is none", kTryAgain,
        LineTrouble},
    Row{Code::WrongObject, "WrongObject", "the reply names another object", kTryAgain, LineTrouble},
    Row{Code::WrongRecord, "WrongRecord", "the reply names another record", kTryAgain, LineTrouble},
    Row{Code::WrongData, "WrongData", "the handset echoed other data than was sent", kTryAgain, LineTrouble},
    Row{Code::WrongDataLength, "WrongDataLength", "the handset echoed data of another length than was sent", kTryAgain,
        LineTrouble},
    Row{Code::UnknownOption, "UnknownOption", "unknown option or access", "", Usage},
    Row{Code::NotInitialised, "NotInitialised", "the command manager is not initialised", "", LineTrouble},
    Row{Code::ReadFailed, "ReadFailed", "reading the port failed", kCheckCable, LineTrouble},
    Row{Code::WriteFailed, "WriteFailed", "writing to the port failed", kCheckCable, LineTrouble},
    Row{Code::ErrorsNotCleared, "ErrorsNotCleared", "the port's errors would not clear", kCheckCable, LineTrouble},
    Row{Code::NotClosed, "NotClosed", "the port could not be closed", kCheckCable, LineTrouble},
    Row{Code::SignalNotSet, "SignalNotSet", "a modem signal could not be set",
        "has this port modem lines? a pseudo-terminal has none", LineTrouble},
    Row{Code::SignalsUnreadable, "SignalsUnreadable", "the modem signals could not be read",
        "has this port modem lines? a pseudo-terminal has none", LineTrouble},
    Row{Code::AlreadyOpen, "AlreadyOpen", "a handle was given while the port is open", "", LineTrouble},
    Row{Code::OtpError, "OtpError", "the handset answered the one-time-programmable query with ERROR",
        "this handset does not tell its one-time-programmable status", Refused},
    Row{0x820C, "E2pStatusOther", "the handset reports an E2P status without a code of its own", "", Refused},
    Row{Code::FlashChecksum, "FlashChecksum", "the flash status record fails its checksum",
        "the record is damaged: \"mova e2p read 0x1003 2\" shows it", Refused},
    Row{Code::FlashCounterAtLimit, "FlashCounterAtLimit", "a flash status counter is at its limit", "", Refused},
    Row{Code::FlashNotInProgress, "FlashNotInProgress", "a flash status entry without a start", "", Refused},
    Row{Code::HciStatus, "HciStatus", "the Bluetooth controller reports a failure", "", Refused},
    Row{Code::WifiStatus1, "WifiStatus1", "WiFi status 1", "", Refused},
    Row{Code::WifiStatus2, "WifiStatus2", "WiFi status 2", "", Refused},
};

// The handset's E2P statuses and the codes they become.
struct StatusRow {
    std::uint32_t first;  // code
    int status;
    int count;
};
constexpr std::array kE2pStatuses{StatusRow{0x8201, 2, 11}, StatusRow{0x8313, 13, 2}, StatusRow{0x8310, 15, 3},
                                  StatusRow{0x8315, 18, 3}};
constexpr std::uint32_t kE2pOther = 0x820C;

int e2pStatusOf(std::uint32_t code) {
    for (const StatusRow& row : kE2pStatuses) {
        if (code >= row.first && code < row.first + static_cast<std::uint32_t>(row.count)) {
            return row.status + static_cast<int>(code - row.first);
        }
    }
    return 0;
}

constexpr const char* kE2pHint = "the handset has no such object or record, or not of this size, or does not allow it";

}  // namespace

CodeText describeCode(std::uint32_t code) {
    for (const Row& row : kRows) {
        if (row.code == code) return {row.name, row.meaning, row.hint, row.status};
    }
    if (const int status = e2pStatusOf(code)) {
        return {format("E2pStatus%d", status), format("the handset reports E2P status %d", status), kE2pHint, Refused};
    }
    return {"Unknown", "a code that is not in the table", "", LineTrouble};
}

std::string hexCode(std::uint32_t code) { return format("0x%04X", code); }

std::uint32_t codeByName(const std::string& text) {
    if (const auto number = parseNumber(text)) return static_cast<std::uint32_t>(*number);
    for (const Row& row : kRows) {
        if (text == row.name) return row.code;
    }
    for (const StatusRow& row : kE2pStatuses) {
        for (int i = 0; i < row.count; ++i) {
            if (text == format("E2pStatus%d", row.status + i)) return row.first + static_cast<std::uint32_t>(i);
        }
    }
    return 0;
}

bool isE2pStatus(std::uint32_t code) { return code == kE2pOther || e2pStatusOf(code) != 0; }

}  // namespace mova::cli
