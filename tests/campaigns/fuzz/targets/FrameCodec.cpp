// Frames, against the simulated handset's own codec: what one side builds the other reads, what one finds damaged the
// other does too, and any text is answered within the codec's terms.
#include "transport/FrameCodec.h"

#include "base/HexText.h"
#include "campaigns/fuzz/Input.h"
#include "campaigns/fuzz/Require.h"
#include "handset/Frames.h"
#include "mova/Codes.h"
#include "oracle/Frames.h"

using namespace mova;
using namespace mova::fuzz;

namespace {

constexpr std::size_t kLongestPayload = 0xFFFE;  // the length field counts the checksum too

Landmark goodLine("FrameCodec", "a whole confirmation");
Landmark badChecksum("FrameCodec", "a checksum mismatch");
Landmark malformed("FrameCodec", "a malformed line");
Landmark splits("FrameCodec", "a payload with a segment header");
Landmark handsetReads("FrameCodec", "a body that the handset reads");

void requestsReachTheHandset(std::string_view payload) {
    const std::string request = buildRequest(encodeHex(payload));
    require(request.starts_with("AT*MOVA=") && request.ends_with('\r'), "a request's frame");
    const handset::Request read = handset::readRequest(std::string_view(request).substr(8, request.size() - 9));
    require(read.fault == handset::FrameFault::None, "the handset reads the request");
    requireEqual(read.payload, payload, "the request's payload");
}

void confirmationsReachTheComponent(std::string_view payload, Input& input) {
    std::string line = handset::confirmationLine(payload);
    const std::string hex = handset::toHex(payload);
    const ParsedConfirmation parsed = parseConfirmation(line);
    requireEqual(parsed.status, payload.empty() ? Code::MalformedConfirmation : Code::Success, "the handset's line");
    requireEqual(parsed.payload, hex, "its payload");
    requireEqual(parsed.firstByte, payload.empty() ? 0 : static_cast<std::uint8_t>(payload[0]), "its first byte");
    if (payload.empty()) return;

    requireEqual(parseConfirmation(handset::confirmationLine(payload, true)).status, Code::ChecksumMismatch,
                 "a wrong checksum");
    const std::size_t at = 6 + input.number() % (line.size() - 6);
    const char was = line[at];
    line[at] = was == 'F' ? '0' : 'F';
    requireEqual(parseConfirmation(line).status, Code::ChecksumMismatch, "a changed digit");
}

void anyTextIsARequest(std::string_view text) {
    std::string body;
    const std::size_t length = text.size() / 2 + 1;
    appendHexByte(body, static_cast<std::uint8_t>(length & 0xFF));
    appendHexByte(body, static_cast<std::uint8_t>(length >> 8 & 0xFF));
    body += text;
    std::string sum;
    appendHexByte(sum, static_cast<std::uint8_t>(oracle::lenientChecksum(body)));
    requireEqual(buildRequest(text), "AT*MOVA=" + body + sum + "\r", "a request of any text");
}

void anyLineIsParsed(std::string_view line) {
    const ParsedConfirmation parsed = parseConfirmation(line);
    const oracle::Frame expected = oracle::parsedFrame(line);
    requireEqual(parsed.status, expected.status, "status of any line");
    requireEqual(parsed.payload, expected.payload, "payload of any line");
    requireEqual(parsed.firstByte, expected.firstByte, "first byte of any line");
    (parsed.status == 0 ? goodLine : parsed.status == Code::ChecksumMismatch ? badChecksum : malformed).reach();
    if (parsed.status == Code::MalformedConfirmation) return;

    const handset::Request read = handset::readRequest(line.substr(6));
    if (read.fault == handset::FrameFault::None) {
        handsetReads.reach();
        requireEqual(parsed.status, Code::Success, "what the handset reads");
        requireEqual(decodeHex(parsed.payload), read.payload, "the payload both read");
    }
    if (read.fault == handset::FrameFault::Checksum) {
        requireEqual(parsed.status, Code::ChecksumMismatch, "what the handset finds damaged");
    }
}

void anyPayloadIsSplit(std::string_view payload) {
    const SplitPayload split = splitPayload(payload);
    const unsigned type = oracle::lenientByte(payload, 0);
    if (payload.size() < 6 || (type != 0x80 && type != 0xA0 && type != 0xB0)) {
        requireEqual(split.status, Code::MalformedConfirmation, "a payload of no family");
        requireEqual(split.data, "", "its data");
        return;
    }
    splits.reach();
    requireEqual(split.status, Code::Success, "a family's payload");
    requireEqual(split.header1, oracle::lenientByte(payload, 2), "header 1");
    requireEqual(split.header2, oracle::lenientByte(payload, 4), "segment number");
    requireEqual(split.data, payload.substr(6), "data");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    Input text = input;
    const std::string_view line = text.text();
    anyLineIsParsed(line);
    anyPayloadIsSplit(parseConfirmation(line).payload);
    anyPayloadIsSplit(line);
    anyTextIsARequest(line);
    const std::string_view payload = line.substr(0, kLongestPayload);
    requestsReachTheHandset(payload);
    confirmationsReachTheComponent(payload, input);
    return 0;
}
