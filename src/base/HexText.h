// Hexadecimal text as it travels on the line and through the methods: two digits per byte, high nibble first,
// upper case on output. On input either case; any other character counts as the digit 0, without error.
#pragma once
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace mova {

std::string encodeHex(std::span<const std::uint8_t> bytes);
std::string encodeHex(std::string_view bytes);
void encodeHexTo(std::span<const std::uint8_t> bytes, char* out);  // twice as many characters
void appendHexByte(std::string& text, std::uint8_t value);
void appendHexWord(std::string& text, std::uint16_t value);  // least significant byte first

constexpr bool isHexDigit(char c) { return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f'); }
std::uint8_t hexDigit(char c);
// A number of any length, wrapping in 32 bits; the empty text is 0.
std::uint32_t hexNumber(std::string_view text);
// The byte at a character position; a text that ends there gives the byte of one digit, or 0.
std::uint8_t hexByteAt(std::string_view text, std::size_t position);
std::uint16_t hexWordAt(std::string_view text, std::size_t position);  // least significant byte first
// One byte per pair; a trailing single character gives a byte from that one digit.
std::string decodeHex(std::string_view text);
void decodeHexTo(std::string_view text, std::uint8_t* out);  // half as many bytes, rounded up
// The exclusive-or of these bytes.
std::uint8_t hexChecksum(std::string_view text);

}  // namespace mova
