#include "base/CodeTexts.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "base/E2pStatus.h"
#include "base/Text.h"

namespace mova {

namespace {

struct Row {
    Code code;
    const char* name;
    const char* meaning;
};

constexpr std::array kRows{
    Row{Code::Stopped, "Stopped", "the port was closed while an answer was awaited"},
    Row{Code::NoTraceFile, "NoTraceFile", "no trace file could be opened"},
    Row{Code::BadAtCommand, "BadAtCommand", "the AT command is empty or longer than 4094 characters"},
    Row{Code::UnknownProperty, "UnknownProperty", "unknown property, or a malformed confirmation"},
    Row{Code::ReaderNotStarted, "ReaderNotStarted", "the reader thread could not be created"},
    Row{Code::WaitFailed, "WaitFailed", "a wait itself failed"},
    Row{Code::NotOpen, "NotOpen",
        "the port is not open, not present, or could not be opened; or a message is too long"},
    Row{Code::NotSerial, "NotSerial", "the operation needs a serial port"},
    Row{Code::PortUnreadable, "PortUnreadable", "the port's properties or state could not be read"},
    Row{Code::NotConfigured, "NotConfigured", "the port could not be configured"},
    Row{Code::NoAnswer, "NoAnswer", "no (accepted) answer within the time"},
    Row{Code::WriteTimeout, "WriteTimeout", "the write timed out"},
    Row{Code::ShortWrite, "ShortWrite", "fewer bytes were written than asked"},
    Row{Code::ChecksumMismatch, "ChecksumMismatch", "checksum mismatch on a confirmation"},
    Row{Code::NotSynchronous, "NotSynchronous", "AT answers are collected only in the synchronous mode"},
    Row{Code::EventMaskNotSet, "EventMaskNotSet", "the port's event mask could not be set"},
    Row{Code::WrongCommandEcho, "WrongCommandEcho", "the reply names another command, or there is none"},
    Row{Code::WrongObject, "WrongObject", "the reply names another object"},
    Row{Code::WrongRecord, "WrongRecord", "the reply names another record"},
    Row{Code::WrongData, "WrongData", "the handset echoed other data than was sent"},
    Row{Code::WrongDataLength, "WrongDataLength", "the data has another length than was sent or announced"},
    Row{Code::UnknownOption, "UnknownOption", "unknown option or access"},
    Row{Code::NotInitialised, "NotInitialised", "the command manager is not initialised"},
    Row{Code::ReadFailed, "ReadFailed", "reading the port failed"},
    Row{Code::WriteFailed, "WriteFailed", "writing to the port failed"},
    Row{Code::ErrorsNotCleared, "ErrorsNotCleared", "the port's errors would not clear"},
    Row{Code::NotClosed, "NotClosed", "the port could not be closed"},
    Row{Code::SignalNotSet, "SignalNotSet", "a modem signal could not be set"},
    Row{Code::SignalsUnreadable, "SignalsUnreadable", "the modem signals could not be read"},
    Row{Code::AlreadyOpen, "AlreadyOpen", "a handle was given while the port is open"},
    Row{Code::OtpError, "OtpError", "the handset answered the one-time-programmable query with ERROR"},
    Row{Code::E2pStatusOther, "E2pStatusOther", "E2P status 1, or 21 to 255"},
    Row{Code::FlashChecksum, "FlashChecksum", "the flash status record fails its checksum"},
    Row{Code::FlashCounterAtLimit, "FlashCounterAtLimit", "a flash status counter is at its limit"},
    Row{Code::FlashNotInProgress, "FlashNotInProgress", "a flash status entry without a start"},
    Row{Code::HciStatus, "HciStatus", "the Bluetooth controller reports a failure"},
    Row{Code::WifiStatus1, "WifiStatus1", "WiFi status 1"},
    Row{Code::WifiStatus2, "WifiStatus2", "WiFi status 2"},
};

const Row* rowOf(Code code) {
    const auto* const row = std::find_if(kRows.begin(), kRows.end(), [&](const Row& r) { return r.code == code; });
    return row == kRows.end() ? nullptr : row;
}

// The statuses with a code of their own are told by their numbers.
struct StatusTexts {
    Code code = Code::Success;
    char name[16] = {};
    char meaning[16] = {};
};

constexpr void putText(char* out, std::string_view text, unsigned status) {
    for (const char character : text) *out++ = character;
    if (status >= 10) *out++ = static_cast<char>('0' + status / 10);
    *out = static_cast<char>('0' + status % 10);
}

constexpr std::array<StatusTexts, kE2pStatuses.size()> makeStatusTexts() {
    std::array<StatusTexts, kE2pStatuses.size()> texts{};
    for (std::size_t i = 0; i < texts.size(); ++i) {
        texts[i].code = kE2pStatuses[i].code;
        putText(texts[i].name, "E2pStatus", kE2pStatuses[i].status);
        putText(texts[i].meaning, "E2P status ", kE2pStatuses[i].status);
    }
    return texts;
}
constexpr auto kStatusTexts = makeStatusTexts();

const StatusTexts* statusTextsOf(Code code) {
    const auto* const texts =
        std::find_if(kStatusTexts.begin(), kStatusTexts.end(), [&](const StatusTexts& t) { return t.code == code; });
    return texts == kStatusTexts.end() || code == Code::Success ? nullptr : texts;
}

}  // namespace

const char* codeNameText(Code code) noexcept {
    if (const StatusTexts* const texts = statusTextsOf(code)) return texts->name;
    const Row* const row = rowOf(code);
    return row != nullptr ? row->name : "";
}

const char* codeMeaningText(Code code) noexcept {
    if (const StatusTexts* const texts = statusTextsOf(code)) return texts->meaning;
    const Row* const row = rowOf(code);
    return row != nullptr ? row->meaning : "";
}

std::string codeName(Code code) { return codeNameText(code); }

std::string codeMeaning(Code code) { return codeMeaningText(code); }

std::optional<Code> codeOfName(const std::string& name) {
    for (const Row& row : kRows) {
        if (name == row.name) return row.code;
    }
    for (const E2pStatusRow& row : kE2pStatuses) {
        if (row.status != 0 && name == codeName(row.code)) return row.code;
    }
    return std::nullopt;
}

std::string hexCode(Code code) { return format("0x%04X", number(code)); }

bool isE2pStatus(Code code) { return code == Code::E2pStatusOther || statusTextsOf(code) != nullptr; }

}  // namespace mova
