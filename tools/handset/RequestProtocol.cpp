#include "handset/RequestProtocol.h"

#include <algorithm>

#include "handset/Frames.h"

namespace mova::handset {

namespace {

enum FamilyByte : std::uint8_t { kE2p = 0x80, kHci = 0xA0, kWifi = 0xB0 };
enum E2pCommand : std::uint8_t {
    kRead = 0x80,
    kWrite = 0x81,
    kPassword = 0x82,
    kAuthenticationRequest = 0x83,
    kAuthenticationKey = 0x84,
    kSerialNumber = 0x85,
    kHashRequest = 0x86,
    kLockOtp = 0x87,
};
// Statuses as this handset reports them.
enum E2pStatus : std::uint8_t {
    kGood = 0,
    kUnknownCommand = 2,
    kNoObject = 3,
    kNoRecord = 4,
    kWrongSize = 5,
    kBadMessage = 6,
};

std::uint8_t byteAt(std::string_view bytes, std::size_t position) {
    return position < bytes.size() ? static_cast<std::uint8_t>(bytes[position]) : std::uint8_t{0};
}

constexpr const char* kAck = "*MOVA=ACK";
// One empty line, which is not sent.
std::vector<std::string> onlyAcknowledged() { return std::vector<std::string>(1); }

}  // namespace

RequestProtocol::Lines RequestProtocol::answer(std::string_view body) {
    const Request request = readRequest(body);
    if (request.fault != FrameFault::None || request.payload.empty()) return {"ERROR"};
    const std::uint8_t first = byteAt(request.payload, 0);
    const bool text = first == kE2p || first == kHci || first == kWifi;
    Lines lines = text ? answerText(request.payload) : answerRf(request.payload);
    if (lines.empty()) return {"ERROR"};
    std::erase(lines, "");
    if (!faults_.take(Fault::MissingAck)) lines.insert(lines.begin(), kAck);
    if (!faults_.take(Fault::MissingOk)) lines.push_back("OK");
    return lines;
}

const ServiceAnswer* RequestProtocol::ownAnswer(ServiceAnswer::Service service, std::string_view request) const {
    const auto fits = [&](const ServiceAnswer& own) {
        return own.service == service && request.starts_with(own.request);
    };
    const auto found = std::find_if(answers_.begin(), answers_.end(), fits);
    return found == answers_.end() ? nullptr : &*found;
}

// Head: service, access, index, data length, then segment number and count when there are several.
RequestProtocol::Lines RequestProtocol::answerRf(std::string_view payload) {
    constexpr std::size_t kHead = 8;
    const std::uint8_t service = byteAt(payload, 0);
    if (payload.size() < kHead || wordAt(payload, 4) != payload.size() - kHead) return {};
    const std::uint8_t number = byteAt(payload, 6);
    const std::uint8_t count = byteAt(payload, 7);
    Assembly& assembly = assemblies_[service];
    if (number <= 1) assembly = {};
    if (count > 0 && number != assembly.last + 1) return {};
    assembly.last = number;
    assembly.bytes += payload.substr(kHead);
    if (number < count) return onlyAcknowledged();
    // The confirmation: service, status, index, then the data as it was taken in.
    const ServiceAnswer* const own = ownAnswer(ServiceAnswer::Service::Rf, payload.substr(0, 4));
    std::string confirmation{static_cast<char>(service), static_cast<char>(own ? own->status : 0)};
    confirmation += payload.substr(2, 2);
    confirmation += own ? own->data : assembly.bytes.substr(0, 200);
    assembly = {};
    return {confirmationLine(confirmation, faults_.take(Fault::WrongChecksum))};
}

// Head: family byte, segment count, segment number.
RequestProtocol::Lines RequestProtocol::answerText(std::string_view payload) {
    constexpr std::size_t kHead = 3;
    if (payload.size() < kHead) return {};
    const std::uint8_t family = byteAt(payload, 0);
    const std::uint8_t count = byteAt(payload, 1);
    const std::uint8_t number = byteAt(payload, 2);
    Assembly& assembly = assemblies_[family];
    if (number == 1) assembly = {};
    if (number != assembly.last + 1 || number > count) return {};
    assembly.last = number;
    assembly.bytes += payload.substr(kHead);
    if (number < count) return onlyAcknowledged();
    const std::string message = std::move(assembly.bytes);
    assembly = {};
    Lines lines;
    addConfirmation(lines, family, serve(family, message));
    return lines;
}

std::string RequestProtocol::serve(std::uint8_t family, const std::string& message) {
    if (family == kE2p) return serveE2p(message);
    return family == kHci ? serveHci(message) : serveWifi(message);
}

// Message and reply: length, command, flag or status, object, record, data. The length does not count itself.
std::string RequestProtocol::serveE2p(const std::string& message) {
    constexpr std::size_t kHead = 8;
    std::uint8_t command = byteAt(message, 2);
    const std::uint16_t object = wordAt(message, 4);
    std::uint16_t record = wordAt(message, 6);
    std::string data = message.size() > kHead ? message.substr(kHead) : std::string();
    std::uint8_t status = kBadMessage;
    if (message.size() >= kHead && wordAt(message, 0) == message.size() - 2) {
        status = e2pStatus_ != 0 ? e2pStatus_ : performE2p(command, object, record, data);
    }
    if (status != kGood) data.clear();
    if (faults_.take(Fault::WrongEcho)) command = static_cast<std::uint8_t>(command ^ 1);
    if (faults_.take(Fault::WrongRecord)) ++record;
    if (!data.empty() && faults_.take(Fault::WrongData)) data.back() = static_cast<char>(data.back() ^ 1);
    std::string reply = word(static_cast<std::uint16_t>(data.size() + kHead - 2));
    reply += static_cast<char>(command);
    reply += static_cast<char>(status);
    return reply + word(object) + word(record) + data;
}

std::uint8_t RequestProtocol::performE2p(std::uint8_t command, std::uint16_t object, std::uint16_t record,
                                         std::string& data) {
    switch (command) {
        case kRead:
        case kWrite: {
            if (!store_.has(object)) return kNoObject;
            std::string* const stored = store_.find(object, record);
            if (!stored) return kNoRecord;
            if (command == kRead) {
                data = *stored;
            } else if (data.size() != stored->size()) {
                return kWrongSize;
            } else {
                *stored = data;
            }
            return kGood;
        }
        case kPassword:
        case kAuthenticationKey:
        case kSerialNumber: return kGood;  // echoed
        case kAuthenticationRequest: data = std::string("\x01\x23\x45\x67\x89\xAB\xCD\xEF", 8); return kGood;
        case kHashRequest: data = std::string(20, '\x5A'); return kGood;
        case kLockOtp: data.clear(); return kGood;
        default: return kUnknownCommand;
    }
}

// Message: length, option, command. Reply: length, option, data led by a status.
std::string RequestProtocol::serveHci(const std::string& message) {
    constexpr std::size_t kHead = 3;
    const std::uint8_t option = byteAt(message, 2);
    const std::string command = message.size() > kHead ? message.substr(kHead) : std::string();
    const ServiceAnswer* const own = ownAnswer(ServiceAnswer::Service::Hci, static_cast<char>(option) + command);
    const std::string data = static_cast<char>(own ? own->status : hciStatus_) + (own ? own->data : command);
    const bool wrong = faults_.take(Fault::WrongEcho);
    std::string reply = word(static_cast<std::uint16_t>(data.size()));
    reply += static_cast<char>(wrong ? option ^ 1 : option);
    return reply + data;
}

// Message: command, spare, length, parameter. Reply: command, status, length, data: the parameter as it came.
std::string RequestProtocol::serveWifi(const std::string& message) {
    constexpr std::size_t kHead = 4;
    const std::string parameter = message.size() > kHead ? message.substr(kHead) : std::string();
    const std::uint8_t command = byteAt(message, 0);
    const ServiceAnswer* const own = ownAnswer(ServiceAnswer::Service::Wifi, static_cast<char>(command) + parameter);
    const std::string& data = own ? own->data : parameter;
    const std::uint8_t status = own ? own->status : wifiStatus_;
    const bool wrong = faults_.take(Fault::WrongEcho);
    std::string reply{static_cast<char>(wrong ? command ^ 1 : command), static_cast<char>(status)};
    return reply + word(static_cast<std::uint16_t>(data.size())) + data;
}

// Confirmation payload: family byte, a spare byte, segment number, data.
std::string RequestProtocol::segment(std::uint8_t family, std::uint8_t number, std::string_view data) {
    std::string payload{static_cast<char>(family), '\0', static_cast<char>(number)};
    payload += data;
    return confirmationLine(payload, faults_.take(Fault::WrongChecksum));
}

void RequestProtocol::addConfirmation(Lines& lines, std::uint8_t family, const std::string& reply) {
    if (faults_.take(Fault::TwoFamilies)) lines.push_back(unsolicited());
    const std::size_t count = std::max<std::size_t>(1, (reply.size() + segmentSize_ - 1) / segmentSize_);
    const bool twice = faults_.take(Fault::DuplicateSegment);
    const bool skip = faults_.take(Fault::SkippedSegment);
    for (std::size_t i = 0; i < count; ++i) {
        const std::string_view data = std::string_view(reply).substr(i * segmentSize_, segmentSize_);
        const bool shifted = skip && count == 1;
        if (skip && count > 1 && i == 1) continue;
        lines.push_back(segment(family, static_cast<std::uint8_t>(i + (shifted ? 2 : 1)), data));
        if (twice && i == 0) lines.push_back(lines.back());
    }
}

std::string RequestProtocol::unsolicited() {
    std::string payload{'\x7E', '\0'};
    payload += word(unsolicited_++);
    return confirmationLine(payload);
}

}  // namespace mova::handset
