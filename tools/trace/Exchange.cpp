#include "trace/Exchange.h"

#include <algorithm>
#include <array>

#include "base/Text.h"

namespace mova::trace {

namespace {

// Positions in the layouts of first segments.
enum RfField : std::size_t { kRfService = 1, kRfIndex = 3, kRfSegment = 5, kRfSegments = 6 };
enum TextField : std::size_t { kSegments = 2, kSegment = 3 };
enum E2pField : std::size_t { kE2pCommand = 5, kE2pObject = 7, kE2pRecord = 8 };
enum HciField : std::size_t { kHciOption = 5 };
enum WifiField : std::size_t { kWifiCommand = 4 };

std::string hexText(std::uint32_t value, int digits) { return format("0x%0*X", digits, value); }

std::string e2pName(std::uint32_t command) {
    switch (command) {
        case 0x80: return "E2P read";
        case 0x81: return "E2P write";
        case 0x82: return "E2P password";
        case 0x83: return "E2P authentication request";
        case 0x84: return "E2P authentication key";
        case 0x85: return "E2P serial number";
        case 0x86: return "E2P hash request";
        case 0x87: return "E2P lock OTP";
        default: return "E2P command " + hexText(command, 2);
    }
}

std::string shortened(std::string_view text) {
    constexpr std::size_t kMost = 40;
    std::string out(text.substr(0, kMost));
    if (text.size() > kMost) out += "…";
    return out;
}

void countSegments(Open& open, const Decoded& decoded, std::size_t segmentsField, std::size_t segmentField) {
    open.segments = std::max(1U, decoded.field(segmentsField));
    open.segment = std::max(1U, decoded.field(segmentField));
    open.outOfStep = open.segment > 1;
}

void nameIt(Open& open, Family family, std::string name, const std::string& detail) {
    open.exchange.family = family;
    open.exchange.name = std::move(name);
    open.exchange.title = open.exchange.name + " " + detail;
}

}  // namespace

std::string_view nameOf(Family family) {
    static constexpr std::array<std::string_view, kFamilies> kNames{"RF", "E2P", "HCI", "WiFi", "AT", "port"};
    return kNames[static_cast<std::size_t>(family)];
}

std::string_view nameOf(Role role) {
    static constexpr std::array<std::string_view, kRoles> kNames{
        "request",        "later segment", "acknowledgement", "OK",          "answer",
        "damaged answer", "text",          "thrown away",     "unsolicited", "note"};
    return kNames[static_cast<std::size_t>(role)];
}

std::string_view nameOf(Outcome outcome) {
    static constexpr std::array<std::string_view, kOutcomes> kNames{"good", "failed", "not collected", "unfinished"};
    return kNames[static_cast<std::size_t>(outcome)];
}

Open openRequest(const Record& record, const Decoded& decoded) {
    Open open;
    Exchange& exchange = open.exchange;
    const std::string data = dataOf(record, decoded);
    open.key = record.text;
    exchange.bytesSent = data.size() / 2;
    switch (decoded.kind) {
        case RecordKind::RfSent:
            countSegments(open, decoded, kRfSegments, kRfSegment);
            open.command = decoded.field(kRfService);
            open.object = decoded.field(kRfIndex);
            nameIt(open, Family::Rf, "RF",
                   "service " + hexText(open.command, 2) + ", index " + std::to_string(open.object));
            return open;  // its data is never compared
        case RecordKind::E2pFirstSent:
            countSegments(open, decoded, kSegments, kSegment);
            open.command = decoded.field(kE2pCommand);
            open.object = decoded.field(kE2pObject);
            open.record = decoded.field(kE2pRecord);
            nameIt(open, Family::E2p, e2pName(open.command),
                   hexText(open.object, 4) + "/" + std::to_string(open.record));
            break;
        case RecordKind::HciFirstSent:
            countSegments(open, decoded, kSegments, kSegment);
            open.command = decoded.field(kHciOption);
            nameIt(open, Family::Hci, "HCI", "option " + std::to_string(open.command));
            break;
        case RecordKind::WifiFirstSent:
            countSegments(open, decoded, kSegments, kSegment);
            open.command = decoded.field(kWifiCommand);
            nameIt(open, Family::Wifi, "WiFi", "command " + hexText(open.command, 2));
            break;
        default:
            exchange.family = Family::At;
            exchange.name = "AT";
            exchange.title = shortened(data);
            exchange.bytesSent = data.size();
            break;
    }
    open.data = data;
    return open;
}

}  // namespace mova::trace
