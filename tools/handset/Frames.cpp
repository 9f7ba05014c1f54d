#include "handset/Frames.h"

namespace mova::handset {

namespace {

int digit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
}

unsigned char xorOf(std::string_view bytes) {
    unsigned char sum = 0;
    for (const char byte : bytes) sum = static_cast<unsigned char>(sum ^ static_cast<unsigned char>(byte));
    return sum;
}

}  // namespace

std::string toHex(std::string_view bytes) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string text;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        text += kDigits[byte / 16];
        text += kDigits[byte % 16];
    }
    return text;
}

std::optional<std::string> fromHex(std::string_view text) {
    if (text.size() % 2 != 0) return std::nullopt;
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); i += 2) {
        const int high = digit(text[i]);
        const int low = digit(text[i + 1]);
        if (high < 0 || low < 0) return std::nullopt;
        bytes += static_cast<char>(high * 16 + low);
    }
    return bytes;
}

std::uint16_t wordAt(std::string_view bytes, std::size_t position) {
    if (position + 1 >= bytes.size()) return 0;
    return static_cast<std::uint16_t>(static_cast<unsigned char>(bytes[position]) +
                                      256 * static_cast<unsigned char>(bytes[position + 1]));
}

std::string word(std::uint16_t value) { return {static_cast<char>(value % 256), static_cast<char>(value / 256)}; }

Request readRequest(std::string_view body) {
    constexpr std::size_t kLength = 2;
    constexpr std::size_t kChecksum = 1;
    Request request;
    const auto bytes = fromHex(body);
    if (!bytes) {
        request.fault = FrameFault::NotHex;
    } else if (bytes->size() < kLength + kChecksum || wordAt(*bytes, 0) != bytes->size() - kLength) {
        request.fault = FrameFault::Length;
    } else if (xorOf(*bytes) != 0) {  // the checksum cancels the rest out
        request.fault = FrameFault::Checksum;
    } else {
        request.payload = bytes->substr(kLength, bytes->size() - kLength - kChecksum);
    }
    return request;
}

std::string confirmationLine(std::string_view payload, bool wrongChecksum) {
    std::string bytes = word(static_cast<std::uint16_t>(payload.size() + 1));
    bytes += payload;
    const unsigned char sum = xorOf(bytes);
    bytes += static_cast<char>(wrongChecksum ? sum ^ 0x5A : sum);
    return "*MOVA=" + toHex(bytes);
}

}  // namespace mova::handset
