#include "cli/CodeHints.h"

#include <algorithm>
#include <array>

#include "base/CodeTexts.h"
#include "cli/ParseNumber.h"
#include "mova/Codes.h"

namespace mova::cli {

namespace {

struct Row {
    Code code;
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

// The others have no hint, and end as trouble of the line.
constexpr std::array kHints{
    Row{Code::Stopped, kCheckCable, LineTrouble},
    Row{Code::NoTraceFile, "check that the folder is there and may be written to", FileTrouble},
    Row{Code::BadAtCommand, "", Usage},
    Row{Code::UnknownProperty, kTryAgain, LineTrouble},
    Row{Code::ReaderNotStarted, "the system is short of memory or threads", LineTrouble},
    Row{Code::WaitFailed, kTryAgain, LineTrouble},
    Row{Code::NotOpen, kCheckPort, PortNotOpened},
    Row{Code::NotSerial, kCheckPort, PortNotOpened},
    Row{Code::PortUnreadable, kCheckCable, PortNotOpened},
    Row{Code::NotConfigured, "does the device know this baud rate? try --baud 115200", PortNotOpened},
    Row{Code::NoAnswer,
        "is the handset switched on, plugged in and at this baud rate? \"mova at AT\" tries it; --timeout waits longer",
        ExitStatus::NoAnswer},
    Row{Code::WriteTimeout, "flow control may hold the line: \"mova signals\" shows CTS", ExitStatus::NoAnswer},
    Row{Code::ShortWrite, kCheckCable, LineTrouble},
    Row{Code::ChecksumMismatch, kCheckLine, LineTrouble},
    Row{Code::EventMaskNotSet, kCheckPort, PortNotOpened},
    Row{Code::WrongCommandEcho, kTryAgain, LineTrouble},
    Row{Code::WrongObject, kTryAgain, LineTrouble},
    Row{Code::WrongRecord, kTryAgain, LineTrouble},
    Row{Code::WrongData, kTryAgain, LineTrouble},
    Row{Code::WrongDataLength, kTryAgain, LineTrouble},
    Row{Code::UnknownOption, "", Usage},
    Row{Code::ReadFailed, kCheckCable, LineTrouble},
    Row{Code::WriteFailed, kCheckCable, LineTrouble},
    Row{Code::ErrorsNotCleared, kCheckCable, LineTrouble},
    Row{Code::NotClosed, kCheckCable, LineTrouble},
    Row{Code::SignalNotSet, "has this port modem lines? a pseudo-terminal has none", LineTrouble},
    Row{Code::SignalsUnreadable, "has this port modem lines? a pseudo-terminal has none", LineTrouble},
    Row{Code::OtpError, "this handset does not tell its one-time-programmable status", Refused},
    Row{Code::E2pStatusOther, "", Refused},
    Row{Code::FlashChecksum, "the record is damaged: \"mova e2p read 0x1003 2\" shows it", Refused},
    Row{Code::FlashCounterAtLimit, "", Refused},
    Row{Code::FlashNotInProgress, "", Refused},
    Row{Code::HciStatus, "", Refused},
    Row{Code::WifiStatus1, "", Refused},
    Row{Code::WifiStatus2, "", Refused},
};

constexpr const char* kE2pHint = "the handset has no such object or record, or not of this size, or does not allow it";

}  // namespace

CodeDescription describeCode(Code code) {
    CodeDescription description{codeName(code), codeMeaning(code), "", LineTrouble};
    if (description.name.empty()) return {"Unknown", "a code that is not in the table", "", LineTrouble};
    if (isE2pStatus(code)) {
        description.meaning.insert(0, "the handset reports ");
        description.hint = kE2pHint;
        description.status = Refused;
    }
    const auto* const row = std::find_if(kHints.begin(), kHints.end(), [&](const Row& r) { return r.code == code; });
    if (row != kHints.end()) {
        description.hint = row->hint;
        description.status = row->status;
    }
    return description;
}

Code parseCode(const std::string& text) {
    if (const auto number = parseNumber(text)) return static_cast<Code>(*number);
    return codeOfName(text).value_or(Code::Success);
}

}  // namespace mova::cli
