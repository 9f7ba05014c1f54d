#include "base/CodeTexts.h"

#include <algorithm>
#include <array>

#include "base/Text.h"
#include "mova/Codes.h"

namespace mova {

namespace {

struct Row {
    std::uint32_t code;
    const char* name;
    const char* meaning;
};

constexpr std::array kRows{
    Row{code::Stopped, "Stopped", "the port was closed while an answer was awaited"},
    Row{code::NoTraceFile, "NoTraceFile", "no trace file could be opened"},
    Row{code::BadAtCommand, "BadAtCommand", "the AT command is empty or longer than 4094 characters"},
    Row{code::UnknownProperty, "UnknownProperty", "unknown property, or a malformed confirmation"},
    Row{code::ReaderNotStarted, "ReaderNotStarted", "the reader thread could not be created"},
    Row{code::WaitFailed, "WaitFailed", "a wait itself failed"},
    Row{code::NotOpen, "NotOpen",
        "the port is not open, not present, or could not be opened; or a message is too long"},
    Row{code::NotSerial, "NotSerial", "the operation needs a serial port"},
    Row{code::PortUnreadable, "PortUnreadable", "the port's properties or state could not be read"},
    Row{code::NotConfigured, "NotConfigured", "the port could not be configured"},
    Row{code::NoAnswer, "NoAnswer", "no (accepted) answer within the time"},
    Row{code::WriteTimeout, "WriteTimeout", "the write timed out"},
    Row{code::ShortWrite, "ShortWrite", "fewer bytes were written than asked"},
    Row{code::ChecksumMismatch, "ChecksumMismatch", "checksum mismatch on a confirmation"},
    Row{code::NotSynchronous, "NotSynchronous", "AT answers are collected only in the synchronous mode"},
    Row{code::EventMaskNotSet, "EventMaskNotSet", "the port's event mask could not be set"},
    Row{code::WrongCommandEcho, "WrongCommandEcho", "the reply names another command, or there is none"},
    Row{code::WrongObject, "WrongObject", "the reply names another object"},
    Row{code::WrongRecord, "WrongRecord", "the reply names another record"},
    Row{code::WrongData, "WrongData", "the handset echoed other data than was sent"},
    Row{code::WrongDataLength, "WrongDataLength", "the handset echoed data of another length than was sent"},
    Row{code::UnknownOption, "UnknownOption", "unknown option or access"},
    Row{code::NotInitialised, "NotInitialised", "the command manager is not initialised"},
    Row{code::ReadFailed, "ReadFailed", "reading the port failed"},
    Row{code::WriteFailed, "WriteFailed", "writing to the port failed"},
    Row{code::ErrorsNotCleared, "ErrorsNotCleared", "the port's errors would not clear"},
    Row{code::NotClosed, "NotClosed", "the port could not be closed"},
    Row{code::SignalNotSet, "SignalNotSet", "a modem signal could not be set"},
    Row{code::SignalsUnreadable, "SignalsUnreadable", "the modem signals could not be read"},
    Row{code::AlreadyOpen, "AlreadyOpen", "a handle was given while the port is open"},
    Row{code::OtpError, "OtpError", "the handset answered the one-time-programmable query with ERROR"},
    Row{code::E2pStatusOther, "E2pStatusOther", "E2P status 1, or 21 to 255"},
    Row{code::FlashChecksum, "FlashChecksum", "the flash status record fails its checksum"},
    Row{code::FlashCounterAtLimit, "FlashCounterAtLimit", "a flash status counter is at its limit"},
    Row{code::FlashNotInProgress, "FlashNotInProgress", "a flash status entry without a start"},
    Row{code::HciStatus, "HciStatus", "the Bluetooth controller reports a failure"},
    Row{code::WifiStatus1, "WifiStatus1", "WiFi status 1"},
    Row{code::WifiStatus2, "WifiStatus2", "WiFi status 2"},
};

// The E2P statuses from this one on have codes of their own. Deliberate: those of 13 to 17 are not in order.
constexpr unsigned kFirstE2pStatus = 2;
constexpr std::array<std::uint32_t, 19> kE2pStatuses{0x8201, 0x8202, 0x8203, 0x8204, 0x8205, 0x8206, 0x8207,
                                                     0x8208, 0x8209, 0x820A, 0x820B, 0x8313, 0x8314, 0x8310,
                                                     0x8311, 0x8312, 0x8315, 0x8316, 0x8317};

const Row* rowOf(std::uint32_t code) {
    const auto* const row = std::find_if(kRows.begin(), kRows.end(), [&](const Row& r) { return r.code == code; });
    return row == kRows.end() ? nullptr : row;
}

std::optional<unsigned> e2pStatusOf(std::uint32_t code) {
    const auto* const found = std::find(kE2pStatuses.begin(), kE2pStatuses.end(), code);
    if (found == kE2pStatuses.end()) return std::nullopt;
    return kFirstE2pStatus + static_cast<unsigned>(found - kE2pStatuses.begin());
}

}  // namespace

std::string codeName(std::uint32_t code) {
    if (const auto status = e2pStatusOf(code)) return format("E2pStatus%u", *status);
    const Row* const row = rowOf(code);
    return row != nullptr ? row->name : "";
}

std::string codeMeaning(std::uint32_t code) {
    if (const auto status = e2pStatusOf(code)) return format("E2P status %u", *status);
    const Row* const row = rowOf(code);
    return row != nullptr ? row->meaning : "";
}

std::optional<std::uint32_t> codeOfName(const std::string& name) {
    for (const Row& row : kRows) {
        if (name == row.name) return row.code;
    }
    for (const std::uint32_t code : kE2pStatuses) {
        if (name == codeName(code)) return code;
    }
    return std::nullopt;
}

std::string hexCode(std::uint32_t code) { return format("0x%04X", code); }

std::uint32_t e2pStatusCode(std::uint8_t status) {
    if (status == 0) return code::Success;
    const std::size_t row = std::size_t{status} - kFirstE2pStatus;  // wraps for status 1
    return row < kE2pStatuses.size() ? kE2pStatuses[row] : code::E2pStatusOther;
}

bool isE2pStatus(std::uint32_t code) { return code == code::E2pStatusOther || e2pStatusOf(code).has_value(); }

}  // namespace mova
