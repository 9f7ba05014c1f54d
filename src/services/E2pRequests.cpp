#include "services/E2pRequests.h"

#include <algorithm>

#include "base/E2pStatus.h"
#include "base/HexText.h"
#include "base/Text.h"

namespace mova {

namespace {

constexpr std::size_t kHeader = 16;
constexpr std::size_t kHeaderBytes = 6;  // counted by the message length, which does not count itself

struct Reply {
    std::uint16_t length = 0;
    std::uint8_t command = 0;
    std::uint8_t status = 0;
    std::uint16_t object = 0;
    std::uint16_t record = 0;
    std::string_view data;
};

std::string makeMessage(E2pCommand command, std::uint16_t object, std::uint16_t record, std::string_view data) {
    std::string message;
    message.reserve(kHeader + data.size());
    appendHexWord(message, static_cast<std::uint16_t>(data.size() / 2 + kHeaderBytes));
    appendHexByte(message, static_cast<std::uint8_t>(command));
    appendHexByte(message, 0);
    appendHexWord(message, object);
    appendHexWord(message, record);
    return message.append(data);
}

Reply parseReply(std::string_view text) {
    Reply reply;
    if (text.size() < kHeader) return reply;
    reply.length = hexWordAt(text, 0);
    reply.command = hexByteAt(text, 4);
    reply.status = hexByteAt(text, 6);
    reply.object = hexWordAt(text, 8);
    reply.record = hexWordAt(text, 12);
    reply.data = text.substr(kHeader);
    return reply;
}

// The handset echoes what these commands sent.
bool echoesData(E2pCommand command) {
    return command == E2pCommand::Write || command == E2pCommand::Password ||
           command == E2pCommand::AuthenticationKey || command == E2pCommand::SerialNumber;
}

Code check(const Reply& reply, E2pCommand command, std::uint16_t object, std::uint16_t record, std::string_view sent) {
    if (reply.command != static_cast<std::uint8_t>(command)) return Code::WrongCommandEcho;
    if (reply.status != 0) return e2pStatusCode(reply.status);
    if (reply.object != object) return Code::WrongObject;
    if (reply.record != record) return Code::WrongRecord;
    if (!echoesData(command)) return Code::Success;
    if (reply.data.size() != sent.size()) return Code::WrongDataLength;
    return equalIgnoringCase(reply.data, sent) ? Code::Success : Code::WrongData;
}

// Digits alone, and as many as the handset announced. A character that is no digit counts as 0 in the checksum, so one
// in the place of a "0" arrives unnoticed otherwise.
bool isWhole(const Reply& reply) {
    return reply.data.size() + 2 * kHeaderBytes == std::size_t{2} * reply.length &&
           std::all_of(reply.data.begin(), reply.data.end(), isHexDigit);
}

struct Range {
    std::size_t start;
    std::size_t length;
};

Range clampRange(std::size_t size, std::int32_t start, std::int32_t length) {
    const std::size_t from = std::min(size, static_cast<std::size_t>(std::max(start, 0)));
    return {from, std::min(size - from, static_cast<std::size_t>(std::max(length, 0)))};
}

}  // namespace

TextReply E2pRequests::request(E2pCommand command, std::int32_t object, std::int32_t record, std::string_view data) {
    return exchange(command, object, record, data, Demand::Any);
}

TextReply E2pRequests::readWhole(std::int32_t object, std::int32_t record) {
    return exchange(E2pCommand::Read, object, record, {}, Demand::Whole);
}

TextReply E2pRequests::exchange(E2pCommand command, std::int32_t object, std::int32_t record, std::string_view data,
                                Demand demand) {
    const auto objectId = static_cast<std::uint16_t>(object);
    const auto recordNumber = static_cast<std::uint16_t>(record);
    TextReply result;
    result.code = sender_.sendText(delivery::E2p, Family::E2p, makeMessage(command, objectId, recordNumber, data));
    if (result.code != Code::Success) return result;
    const auto fetched = answers_.queue().fetch(LineClass::E2p, ConfirmationQueue::Take::Remove);
    const Reply reply = parseReply(fetched.record.hexData);
    result.code = check(reply, command, objectId, recordNumber, data);
    if (result.code == Code::Success && demand == Demand::Whole && !isWhole(reply)) result.code = Code::WrongDataLength;
    if (result.code != Code::Success) return result;
    result.data = reply.data;
    if (command == E2pCommand::Read) {
        log_.write(LogType::At, result.data + "\n");
    }
    return result;
}

E2pRequests::RangeReply E2pRequests::readRange(std::int32_t object, std::int32_t record, std::int32_t start,
                                               std::int32_t length) {
    TextReply whole = request(E2pCommand::Read, object, record);
    RangeReply result;
    result.code = whole.code;
    if (whole.code != Code::Success) return result;
    const Range range = clampRange(whole.data.size(), start, length);
    result.data = whole.data.substr(range.start, range.length);
    result.length = static_cast<std::int32_t>(range.length);
    result.lengthKnown = true;
    return result;
}

E2pRequests::RangeReply E2pRequests::writeRange(std::int32_t object, std::int32_t record, std::int32_t start,
                                                std::int32_t length, std::string_view data) {
    TextReply whole = request(E2pCommand::Read, object, record);
    RangeReply result;
    result.code = whole.code;
    if (whole.code != Code::Success) return result;
    const Range range = clampRange(whole.data.size(), start, length);
    result.length = static_cast<std::int32_t>(range.length);
    result.lengthKnown = true;
    const std::string_view part = data.substr(0, range.length);
    whole.data.replace(range.start, part.size(), part);
    result.code = request(E2pCommand::Write, object, record, whole.data).code;
    return result;
}

}  // namespace mova
