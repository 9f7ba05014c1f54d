// The line format told a second time, straight from its description and as plainly as can be: hexadecimal text, frames,
// and what a line is. What the component does with them is compared with it.
#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace mova::oracle {

constexpr unsigned kAtText = 0, kGeneral = 1, kEcho = 2, kE2p = 3, kAcknowledged = 4, kHci = 5, kWifi = 6;

unsigned lenientDigit(char c);                                      // 0 for what is none
unsigned lenientByte(std::string_view text, std::size_t position);  // one digit at the text's end, 0 behind it
unsigned lenientWord(std::string_view text, std::size_t position);  // the low byte stands first
std::string lenientBytes(std::string_view text);                    // an odd last digit is a byte of its own
unsigned lenientChecksum(std::string_view text);

std::string hexByte(unsigned value);
std::string hexWord(unsigned value);
std::string hexOf(std::string_view bytes);

// A request's line with this payload, in hexadecimal.
std::string requestLine(const std::string& payload);

// One of the kinds above. The companion is the terminator that ended the line's record.
unsigned kindOf(std::string_view line, std::string_view companion);
bool isConfirmation(unsigned kind);

constexpr std::uint32_t kMalformed = 0x3001;
constexpr std::uint32_t kChecksumMismatch = 0x4011;

struct Frame {
    std::uint32_t status = 0;  // 0 or one of these
    unsigned firstByte = 0;
    std::string payload;  // in hexadecimal
};
Frame parsedFrame(std::string_view line);

// A confirmation of a family: the data behind the segment header.
struct Segment {
    std::uint32_t status = 0;
    unsigned number = 0;
    std::string data;
};
Segment segmentOf(const Frame& frame);

}  // namespace mova::oracle
