#include "device/HexText.h"

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

constexpr std::array<std::uint8_t, 256> makeDigits() {
    std::array<std::uint8_t, 256> values{};
    for (std::uint8_t i = 0; i < 10; ++i) values['0' + i] = i;
    for (std::uint8_t i = 0; i < 6; ++i) {
        values['A' + i] = static_cast<std::uint8_t>(10 + i);
        values['a' + i] = static_cast<std::uint8_t>(10 + i);
    }
    return values;
}

constexpr auto kPairs = makePairs();
constexpr auto kDigits = makeDigits();

}  // namespace

void encodeHexTo(std::span<const std::uint8_t> bytes, char* out) {
    for (const std::uint8_t value : bytes) {
        *out++ = kPairs[std::size_t{2} * value];
        *out++ = kPairs[std::size_t{2} * value + 1];
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

std::uint8_t hexDigit(char c) { return kDigits[static_cast<unsigned char>(c)]; }

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
    std::size_t i = 0;
    for (std::size_t pair = 0; pair < text.size() / 2; ++pair, i += 2) {
        out[pair] = static_cast<std::uint8_t>(hexDigit(text[i]) << 4 | hexDigit(text[i + 1]));
    }
    if (i < text.size()) out[i / 2] = hexDigit(text[i]);
}

std::string decodeHex(std::string_view text) {
    std::string bytes((text.size() + 1) / 2, '\0');
    decodeHexTo(text, reinterpret_cast<std::uint8_t*>(bytes.data()));
    return bytes;
}

std::uint8_t hexChecksum(std::string_view text) {
    std::uint8_t sum = 0;
    for (std::size_t i = 0; i < text.size(); i += 2) sum ^= hexByteAt(text, i);
    return sum;
}

}  // namespace mova
