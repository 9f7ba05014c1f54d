// The handset's side of the line format: hexadecimal text, and the frames inside "AT*MOVA=" and "*MOVA=" lines.
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace mova::handset {

std::string toHex(std::string_view bytes);
std::optional<std::string> fromHex(std::string_view text);  // empty for an odd length or a character that is no digit

// Numbers in frames are 16 bits, least significant byte first.
std::uint16_t wordAt(std::string_view bytes, std::size_t position);
std::string word(std::uint16_t value);

enum class FrameFault { None, NotHex, Length, Checksum };

struct Request {
    FrameFault fault = FrameFault::None;
    std::string payload;  // bytes
};

// body: what stands behind "AT*MOVA=".
Request readRequest(std::string_view body);
// A confirmation line without its line end.
std::string confirmationLine(std::string_view payload, bool wrongChecksum = false);

}  // namespace mova::handset
