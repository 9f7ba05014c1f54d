#include "oracle/Frames.h"

namespace mova::oracle {

namespace {
bool begins(std::string_view text, std::string_view with) { return text.substr(0, with.size()) == with; }
}  // namespace

unsigned lenientDigit(char c) {
    if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
    if (c >= 'A' && c <= 'F') return static_cast<unsigned>(c - 'A') + 10;
    if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a') + 10;
    return 0;
}

unsigned lenientByte(std::string_view text, std::size_t position) {
    if (position >= text.size()) return 0;
    if (position + 1 == text.size()) return lenientDigit(text[position]);
    return 16 * lenientDigit(text[position]) + lenientDigit(text[position + 1]);
}

unsigned lenientWord(std::string_view text, std::size_t position) {
    return lenientByte(text, position) + 256 * lenientByte(text, position + 2);
}

std::string lenientBytes(std::string_view text) {
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); i += 2) bytes += static_cast<char>(lenientByte(text, i));
    return bytes;
}

unsigned lenientChecksum(std::string_view text) {
    unsigned sum = 0;
    for (std::size_t i = 0; i < text.size(); i += 2) sum ^= lenientByte(text, i);
    return sum;
}

std::string hexByte(unsigned value) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    return {kDigits[value / 16 % 16], kDigits[value % 16]};
}

std::string hexWord(unsigned value) { return hexByte(value) + hexByte(value / 256); }

std::string hexOf(std::string_view bytes) {
    std::string text;
    for (const char c : bytes) text += hexByte(static_cast<unsigned char>(c));
    return text;
}

std::string requestLine(const std::string& payload) {
    const std::string body = hexWord(static_cast<unsigned>(payload.size() / 2 + 1)) + payload;
    return "AT*MOVA=" + body + hexByte(lenientChecksum(body)) + "\r";
}

unsigned kindOf(std::string_view line, std::string_view companion) {
    if (begins(line, "AT*MOVA=")) return kEcho;
    if (begins(line, "*MOVA=ACK") || begins(companion, "*MOVA=ACK")) return kAcknowledged;
    if (!begins(line, "*MOVA=") || line.size() < 11) return kAtText;
    const unsigned first = lenientByte(line, 10);
    return first == 0x80 ? kE2p : first == 0xA0 ? kHci : first == 0xB0 ? kWifi : kGeneral;
}

bool isConfirmation(unsigned kind) { return kind == kGeneral || kind == kE2p || kind == kHci || kind == kWifi; }

Frame parsedFrame(std::string_view line) {
    Frame frame;
    frame.status = kMalformed;
    if (!begins(line, "*MOVA=") || line.size() < 13) return frame;
    const std::string_view summed = line.substr(6, line.size() - 8);
    frame.payload = summed.substr(4);
    frame.firstByte = lenientByte(frame.payload, 0);
    frame.status = lenientChecksum(summed) == lenientByte(line, line.size() - 2) ? 0 : kChecksumMismatch;
    return frame;
}

Segment segmentOf(const Frame& frame) {
    if (frame.status != 0) return {frame.status, 0, {}};
    const unsigned family = frame.firstByte;
    if (frame.payload.size() < 6 || (family != 0x80 && family != 0xA0 && family != 0xB0)) return {kMalformed, 0, {}};
    return {0, lenientByte(frame.payload, 4), frame.payload.substr(6)};
}

}  // namespace mova::oracle
