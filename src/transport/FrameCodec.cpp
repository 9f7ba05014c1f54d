#include "transport/FrameCodec.h"

#include "base/HexText.h"

namespace mova {

namespace {

constexpr std::size_t kLengthSize = 4;
constexpr std::size_t kChecksumSize = 2;
constexpr std::size_t kShortestBody = 7;
constexpr std::size_t kShortestClassified = 11;
constexpr std::size_t kPayloadHeader = 6;

bool isFamily(std::uint8_t value) {
    return value == static_cast<std::uint8_t>(Family::E2p) || value == static_cast<std::uint8_t>(Family::Hci) ||
           value == static_cast<std::uint8_t>(Family::Wifi);
}

}  // namespace

LineClass classifyLine(std::string_view line, std::string_view companion) {
    if (line.starts_with(kRequestPrefix)) return LineClass::Echo;
    if (line.starts_with(kAcknowledgement) || companion.starts_with(kAcknowledgement))
        return LineClass::Acknowledgement;
    if (!line.starts_with(kConfirmationPrefix) || line.size() < kShortestClassified) return LineClass::AtText;
    switch (static_cast<Family>(hexByteAt(line, kConfirmationPrefix.size() + kLengthSize))) {
        case Family::E2p: return LineClass::E2p;
        case Family::Hci: return LineClass::Hci;
        case Family::Wifi: return LineClass::Wifi;
    }
    return LineClass::Confirmation;
}

std::string buildRequest(std::string_view payloadHex) {
    std::string body;
    body.reserve(kLengthSize + payloadHex.size());
    appendHexWord(body, static_cast<std::uint16_t>(payloadHex.size() / 2 + 1));
    body += payloadHex;
    std::string request;
    request.reserve(kRequestPrefix.size() + body.size() + kChecksumSize + 1);
    request.append(kRequestPrefix).append(body);
    appendHexByte(request, hexChecksum(body));
    request += '\r';
    return request;
}

ParsedConfirmation parseConfirmation(std::string_view line) {
    ParsedConfirmation parsed;
    parsed.status = Code::MalformedConfirmation;
    if (!line.starts_with(kConfirmationPrefix)) return parsed;
    const std::string_view body = line.substr(kConfirmationPrefix.size());
    if (body.size() < kShortestBody) return parsed;
    const std::size_t checksumAt = body.size() - kChecksumSize;
    parsed.payload = body.substr(kLengthSize, checksumAt - kLengthSize);
    parsed.firstByte = hexByteAt(parsed.payload, 0);
    const bool matches = hexChecksum(body.substr(0, checksumAt)) == hexByteAt(body, checksumAt);
    parsed.status = matches ? Code::Success : Code::ChecksumMismatch;
    return parsed;
}

SplitPayload splitPayload(std::string_view payload) {
    SplitPayload split;
    if (payload.size() < kPayloadHeader || !isFamily(hexByteAt(payload, 0))) {
        split.status = Code::MalformedConfirmation;
        return split;
    }
    split.header1 = hexByteAt(payload, 2);
    split.header2 = hexByteAt(payload, 4);
    split.data = payload.substr(kPayloadHeader);
    return split;
}

}  // namespace mova
