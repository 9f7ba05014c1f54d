#include "cli/CodeHints.h"

#include <algorithm>
#include <array>

#include "base/CodeTexts.h"
#include "cli/ParseNumber.h"
#include "mova/Codes.h"

namespace mova::cli {

namespace {

struct Row {
    std::uint32_t code;
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
    Row{code::Stopped, kCheckCable, LineTrouble},
    Row{code::NoTraceFile, "check that the folder is there and may be written to", FileTrouble},
    Row{code::BadAtCommand, "", Usage},
    Row{code::UnknownProperty, kTryAgain, LineTrouble},
    Row{code::ReaderNotStarted, "the system is short of memory or threads", LineTrouble},
    Row{code::WaitFailed, kTryAgain, LineTrouble},
    Row{code::NotOpen, kCheckPort, PortNotOpened},
    Row{code::NotSerial, kCheckPort, PortNotOpened},
    Row{code::PortUnreadable, kCheckCable, PortNotOpened},
    Row{code::NotConfigured, "does the device know this baud rate? try --baud 115200", PortNotOpened},
    Row{code::NoAnswer,
        "is the handset switched on, plugged in and at this baud rate? \"mova at AT\" tries it; --timeout waits longer",
        ExitStatus::NoAnswer},
    Row{code::WriteTimeout, "flow control may hold the line: \"mova signals\" shows CTS", ExitStatus::NoAnswer},
    Row{code::ShortWrite, kCheckCable, LineTrouble},
    Row{code::ChecksumMismatch, kCheckLine, LineTrouble},
    Row{code::EventMaskNotSet, kCheckPort, PortNotOpened},
    Row{code::WrongCommandEcho, kTryAgain, LineTrouble},
    Row{code::WrongObject, kTryAgain, LineTrouble},
    Row{code::WrongRecord, kTryAgain, LineTrouble},
    Row{code::WrongData, kTryAgain, LineTrouble},
    Row{code::WrongDataLength, kTryAgain, LineTrouble},
    Row{code::UnknownOption, "", Usage},
    Row{code::ReadFailed, kCheckCable, LineTrouble},
    Row{code::WriteFailed, kCheckCable, LineTrouble},
    Row{code::ErrorsNotCleared, kCheckCable, LineTrouble},
    Row{code::NotClosed, kCheckCable, LineTrouble},
    Row{code::SignalNotSet, "has this port modem lines? a pseudo-terminal has none", LineTrouble},
    Row{code::SignalsUnreadable, "has this port modem lines? a pseudo-terminal has none", LineTrouble},
    Row{code::OtpError, "this handset does not tell its one-time-programmable status", Refused},
    Row{code::E2pStatusOther, "", Refused},
    Row{code::FlashChecksum, "the record is damaged: \"mova e2p read 0x1003 2\" shows it", Refused},
    Row{code::FlashCounterAtLimit, "", Refused},
    Row{code::FlashNotInProgress, "", Refused},
    Row{code::HciStatus, "", Refused},
    Row{code::WifiStatus1, "", Refused},
    Row{code::WifiStatus2, "", Refused},
};

constexpr const char* kE2pHint = "the handset has no such object or record, or not of this size, or does not allow it";

}  // namespace

CodeDescription describeCode(std::uint32_t code) {
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

std::uint32_t parseCode(const std::string& text) {
    if (const auto number = parseNumber(text)) return static_cast<std::uint32_t>(*number);
    return codeOfName(text).value_or(code::Success);
}

}  // namespace mova::cli
