#include "trace/TraceRecord.h"

#include <algorithm>

#include "base/HexText.h"

namespace mova::trace {

namespace {

struct Beginning {
    std::string_view text;
    RecordKind kind;
};

// Longer beginnings before those they begin with.
constexpr std::array kBeginnings{
    Beginning{"Mv-S ", RecordKind::RfSent},           Beginning{"Mv-R-Error ", RecordKind::ReplyInError},
    Beginning{"Mv-R ", RecordKind::RfReply},          Beginning{"Mv-ECHO ", RecordKind::Echo},
    Beginning{"Mv-A %Mova", RecordKind::BadChecksum}, Beginning{"E2P-S ", RecordKind::E2pFirstSent},
    Beginning{"E2P-R ", RecordKind::E2pReply},        Beginning{"E2P-A %E2p Ack!", RecordKind::AckSeen},
    Beginning{"E2P-A % E2p OK!", RecordKind::OkSeen}, Beginning{"E2P-Msg ", RecordKind::E2pMessage},
    Beginning{"HCI-S ", RecordKind::HciFirstSent},    Beginning{"HCI-R ", RecordKind::HciReply},
    Beginning{"WIFI-S ", RecordKind::WifiFirstSent},  Beginning{"WIFI-R ", RecordKind::WifiReply},
    Beginning{"AT-S ", RecordKind::AtSent},           Beginning{"AT-R ", RecordKind::AtReply},
    Beginning{"AT-Purge ", RecordKind::Purged},
};

// Of the texts about the port, and of those about what is dropped.
constexpr std::array<std::string_view, 29> kNotes{"Open Device",
                                                  "Close Device",
                                                  "OpenDevice Error : ",
                                                  "Open with ",
                                                  " ### ",
                                                  "Get Driver Name: ",
                                                  "CreateFile DeviceName: ",
                                                  "Retry Config COM Port Count ",
                                                  "Retry Setting Signal",
                                                  "Setting Signal Error in Function: ",
                                                  "DetectSignal Error : ",
                                                  "ClearDeviceError Error More Than 10 Times",
                                                  "SetupComm Fail",
                                                  "SetComm",
                                                  "GetComm",
                                                  "Try to Re-Open Device",
                                                  "DC Recv: ",
                                                  "DC Send: ",
                                                  "Desired Write: ",
                                                  "Read Timeout",
                                                  "Write Timeout",
                                                  "Get Stop Event in ",
                                                  "The hardware detected a ",
                                                  "The requested mode is not supported",
                                                  "An I/O error occurred during communications",
                                                  "A character-buffer overrun has occurred",
                                                  "An input buffer overflow has occurred",
                                                  "Windows 95/98/Me: ",
                                                  "More than 16777216 characters "};

constexpr FieldForm Byte = FieldForm::Byte;
constexpr FieldForm Word = FieldForm::Word;

// The sizes and signs of the component's record table, seen from the reader's side.
struct Layout {
    RecordKind kind;
    std::vector<FieldLayout> fields;
};

const std::vector<Layout>& layouts() {
    static const std::vector<FieldLayout> laterSegment{
        {"frame length", Word, 0}, {"family", Byte, '#'}, {"segments", Byte, 0}, {"segment", Byte, 0}};
    static const std::vector<Layout> all{
        {RecordKind::RfSent,
         {{"frame length", Word, 0},
          {"service", Byte, '#'},
          {"access", Byte, '-'},
          {"index", Word, '-'},
          {"data length", Word, '-'},
          {"segment", Byte, '-'},
          {"segments", Byte, 0}}},
        {RecordKind::RfReply, {{"service", Byte, 0}, {"second byte", Byte, '-'}, {"index", Word, '-'}}},
        {RecordKind::E2pFirstSent,
         {{"frame length", Word, 0},
          {"family", Byte, '#'},
          {"segments", Byte, 0},
          {"segment", Byte, 0},
          {"message length", Word, '-'},
          {"command", Byte, '-'},
          {"flag", Byte, '-'},
          {"object", Word, '-'},
          {"record", Word, '-'}}},
        {RecordKind::E2pLaterSent, laterSegment},
        {RecordKind::E2pReply,
         {{"message length", Word, 0},
          {"command", Byte, '-'},
          {"status", Byte, '-'},
          {"object", Word, '-'},
          {"record", Word, '-'}}},
        {RecordKind::HciFirstSent,
         {{"frame length", Word, 0},
          {"family", Byte, '#'},
          {"segments", Byte, 0},
          {"segment", Byte, 0},
          {"data length", Word, '-'},
          {"option", Byte, '-'}}},
        {RecordKind::HciLaterSent, laterSegment},
        {RecordKind::HciReply, {{"data length", Word, 0}, {"option", Byte, '-'}}},
        {RecordKind::WifiFirstSent,
         {{"frame length", Word, 0},
          {"family", Byte, '#'},
          {"segments", Byte, 0},
          {"segment", Byte, 0},
          {"command", Byte, '-'},
          {"spare", Byte, '-'},
          {"data length", Word, '-'}}},
        {RecordKind::WifiLaterSent, laterSegment},
        {RecordKind::WifiReply, {{"command", Byte, 0}, {"status", Byte, '-'}, {"data length", Word, '-'}}},
    };
    return all;
}

// The byte at a position; -1 where there is none.
int byteAt(std::string_view text, std::size_t at) {
    if (at + 1 >= text.size() || !isHexDigit(text[at]) || !isHexDigit(text[at + 1])) return -1;
    return hexByteAt(text, at);
}

bool isSent(RecordKind kind) {
    switch (kind) {
        case RecordKind::RfSent:
        case RecordKind::E2pFirstSent:
        case RecordKind::E2pLaterSent:
        case RecordKind::HciFirstSent:
        case RecordKind::HciLaterSent:
        case RecordKind::WifiFirstSent:
        case RecordKind::WifiLaterSent: return true;
        default: return false;
    }
}

// First and later segments begin alike; after the family byte and two numbers either a field follows or the data.
RecordKind laterOrFirst(std::string_view text, RecordKind first, RecordKind later) {
    const auto number = text.find('#');
    const auto next = number == text.npos ? text.npos : text.find_first_of("-%", number);
    return next != text.npos && text[next] == '%' ? later : first;
}

bool takeField(std::string_view text, std::size_t& at, const FieldLayout& field, std::uint32_t& value) {
    if (field.before != 0) {
        if (at >= text.size() || text[at] != field.before) return false;
        ++at;
    }
    const int low = byteAt(text, at);
    if (low < 0) return false;
    at += 2;
    value = static_cast<std::uint32_t>(low);
    if (field.form == FieldForm::Byte) return true;
    const int high = byteAt(text, at);
    if (high < 0) return false;
    at += 2;
    value |= static_cast<std::uint32_t>(high) << 8U;
    return true;
}

// The exclusive-or over every byte of the frame, its checksum included, is 0.
void checkFrame(std::string_view text, std::size_t from, Decoded& decoded) {
    std::string digits;
    std::copy_if(text.begin() + static_cast<std::ptrdiff_t>(from),
                 text.begin() + static_cast<std::ptrdiff_t>(decoded.dataTo + 2), std::back_inserter(digits),
                 isHexDigit);
    if (digits.size() % 2 != 0) digits.pop_back();
    if (hexChecksum(digits) != 0) decoded.problem = "the checksum does not fit the frame";
    // The length counts the payload and the checksum, not itself.
    const std::size_t counted = digits.size() / 2 - 2;
    if (decoded.field(0) != counted) {
        decoded.problem = "the length field says " + std::to_string(decoded.field(0)) + " bytes, the frame has " +
                          std::to_string(counted);
    }
}

void findData(std::string_view text, std::size_t at, Decoded& decoded) {
    if (at >= text.size() || text[at] != '%') {
        decoded.problem = "the sign before the data is missing";
        return;
    }
    ++at;
    while (at < text.size() && text[at] == '\n') ++at;
    std::size_t end = text.size();
    while (end > at && (text[end - 1] == '\r' || text[end - 1] == '\n')) --end;
    decoded.dataFrom = at;
    decoded.dataTo = end;
}

}  // namespace

std::string_view nameOf(RecordKind kind) {
    static constexpr std::array<std::string_view, kRecordKinds> kNames{"empty record",
                                                                       "RF request",
                                                                       "RF answer",
                                                                       "E2P request",
                                                                       "E2P request, later segment",
                                                                       "E2P answer",
                                                                       "acknowledgement",
                                                                       "OK",
                                                                       "E2P message",
                                                                       "AT command",
                                                                       "AT answer",
                                                                       "checksum error",
                                                                       "answer in error",
                                                                       "thrown away",
                                                                       "HCI request",
                                                                       "HCI request, later segment",
                                                                       "HCI answer",
                                                                       "echo",
                                                                       "port and notes",
                                                                       "WiFi request",
                                                                       "WiFi request, later segment",
                                                                       "WiFi answer"};
    return kNames[static_cast<std::size_t>(kind)];
}

const std::vector<FieldLayout>& layoutOf(RecordKind kind) {
    static const std::vector<FieldLayout> none;
    const auto found =
        std::find_if(layouts().begin(), layouts().end(), [&](const Layout& l) { return l.kind == kind; });
    return found == layouts().end() ? none : found->fields;
}

RecordKind kindOf(std::string_view text) {
    if (text.empty()) return RecordKind::Empty;
    for (const Beginning& beginning : kBeginnings) {
        if (!text.starts_with(beginning.text)) continue;
        switch (beginning.kind) {
            case RecordKind::E2pFirstSent: return laterOrFirst(text, beginning.kind, RecordKind::E2pLaterSent);
            case RecordKind::HciFirstSent: return laterOrFirst(text, beginning.kind, RecordKind::HciLaterSent);
            case RecordKind::WifiFirstSent: return laterOrFirst(text, beginning.kind, RecordKind::WifiLaterSent);
            default: return beginning.kind;
        }
    }
    return RecordKind::FreeText;
}

bool quotesTheLine(RecordKind kind) {
    switch (kind) {
        case RecordKind::AtReply:
        case RecordKind::Purged:
        case RecordKind::ReplyInError:
        case RecordKind::Echo:
        case RecordKind::RfReply:
        case RecordKind::E2pReply:
        case RecordKind::HciReply:
        case RecordKind::WifiReply: return true;
        default: return false;
    }
}

bool isNote(std::string_view text) {
    return std::any_of(kNotes.begin(), kNotes.end(), [&](std::string_view note) { return text.starts_with(note); });
}

Decoded decode(std::string_view text) {
    Decoded decoded;
    decoded.kind = kindOf(text);
    const auto& layout = layoutOf(decoded.kind);
    const auto blank = text.find(' ');
    if (decoded.kind == RecordKind::Empty) return decoded;
    if (layout.empty()) {
        decoded.dataFrom = decoded.kind == RecordKind::FreeText || blank == text.npos ? 0 : blank + 1;
        decoded.dataTo = text.size();
        return decoded;
    }
    const std::size_t begin = blank + 1;
    std::size_t at = begin;
    for (const FieldLayout& field : layout) {
        std::uint32_t value = 0;
        if (!takeField(text, at, field, value)) {
            decoded.problem = std::string("the frame ends before its field \"") + field.name + "\"";
            decoded.dataFrom = decoded.dataTo = text.size();
            return decoded;
        }
        decoded.fields.push_back(value);
    }
    findData(text, at, decoded);
    if (!isSent(decoded.kind) || !decoded.problem.empty()) return decoded;
    if (decoded.dataTo < decoded.dataFrom + 2) {
        decoded.problem = "the frame ends before its checksum";
        return decoded;
    }
    decoded.dataTo -= 2;
    checkFrame(text, begin, decoded);
    return decoded;
}

std::string dataOf(const Record& record, const Decoded& decoded) {
    std::string data = record.text.substr(decoded.dataFrom, decoded.dataTo - decoded.dataFrom);
    std::erase(data, '\n');
    return data;
}

}  // namespace mova::trace
