#include "base/HexText.h"

#include <array>

namespace mova {

namespace {

constexpr std::array<char, 512> makePairs() {
    constexpr char digits[] = "0123456789ABCDEF";
    std::array<char, 512> pairs{};
    for (std::size_t value = 0; value < 256; ++value) {
        pairs[2 * value] = digits[value >> 4];
        pairs[2 * value + 1] = digits[value & 15];
    }
    return pairs;
}

// 0 for what is no digit. Both letter cases differ in one bit.
constexpr std::uint8_t digitValue(char c) {
    const auto character = static_cast<std::uint8_t>(c);
    const auto digit = static_cast<std::uint8_t>(character - '0');
    const auto letter = static_cast<std::uint8_t>((character | ('a' ^ 'A')) - 'a');
    return static_cast<std::uint8_t>((digit < 10 ? digit : 0) | (letter < 6 ? letter + 10 : 0));
}

constexpr auto kPairs = makePairs();

}  // namespace

// The loops below have no tables and no branches, so that the compiler turns them into vector instructions.

void encodeHexTo(std::span<const std::uint8_t> bytes, char* out) {
    constexpr std::uint8_t kToLetters = 'A' - '9' - 1;
    const auto digit = [](std::uint8_t value) { return static_cast<char>(value + '0' + (value > 9 ? kToLetters : 0)); };
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        out[2 * i] = digit(static_cast<std::uint8_t>(bytes[i] >> 4));
        out[2 * i + 1] = digit(bytes[i] & 15);
    }
}

std::string encodeHex(std::span<const std::uint8_t> bytes) {
    std::string text(2 * bytes.size(), '\0');
    encodeHexTo(bytes, text.data());
    return text;
}

std::string encodeHex(std::string_view bytes) {
    return encodeHex(std::span(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()));
}

void appendHexByte(std::string& text, std::uint8_t value) { text.append(&kPairs[std::size_t{2} * value], 2); }

void appendHexWord(std::string& text, std::uint16_t value) {
    appendHexByte(text, static_cast<std::uint8_t>(value & 0xFF));
    appendHexByte(text, static_cast<std::uint8_t>(value >> 8));
}

std::uint8_t hexDigit(char c) { return digitValue(c); }

std::uint32_t hexNumber(std::string_view text) {
    std::uint32_t value = 0;
    for (const char c : text) value = value * 16 + hexDigit(c);
    return value;
}

std::uint8_t hexByteAt(std::string_view text, std::size_t position) {
    return position < text.size() ? static_cast<std::uint8_t>(hexNumber(text.substr(position, 2))) : std::uint8_t{0};
}

std::uint16_t hexWordAt(std::string_view text, std::size_t position) {
    return static_cast<std::uint16_t>(hexByteAt(text, position) | hexByteAt(text, position + 2) << 8);
}

void decodeHexTo(std::string_view text, std::uint8_t* out) {
    const std::size_t pairs = text.size() / 2;
    for (std::size_t i = 0; i < pairs; ++i) {
        out[i] = static_cast<std::uint8_t>(digitValue(text[2 * i]) << 4 | digitValue(text[2 * i + 1]));
    }
    if (text.size() % 2 != 0) out[pairs] = digitValue(text.back());
}

std::string decodeHex(std::string_view text) {
    std::string bytes((text.size() + 1) / 2, '\0');
    decodeHexTo(text, reinterpret_cast<std::uint8_t*>(bytes.data()));
    return bytes;
}

std::uint8_t hexChecksum(std::string_view text) {
    const std::size_t pairs = text.size() / 2;
    std::uint8_t high = 0;
    std::uint8_t low = 0;
    for (std::size_t i = 0; i < pairs; ++i) {
        high ^= digitValue(text[2 * i]);
        low ^= digitValue(text[2 * i + 1]);
    }
    if (text.size() % 2 != 0) low ^= digitValue(text.back());
    return static_cast<std::uint8_t>(high << 4 | low);
}

}  // namespace mova
