// The line format and the receive engine once more, written straight from their description and as plainly as can be:
// everything is split anew on every pass. What the component does is compared with it.
#pragma once
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mova::fuzz {

constexpr unsigned kAtText = 0, kGeneral = 1, kEcho = 2, kE2p = 3, kAcknowledged = 4, kHci = 5, kWifi = 6;

unsigned lenientDigit(char c);
unsigned lenientByte(std::string_view text, std::size_t position);  // one digit at the text's end, 0 behind it
std::string lenientBytes(std::string_view text);                    // an odd last digit is a byte of its own
unsigned lenientChecksum(std::string_view text);

unsigned referenceClass(std::string_view line, std::string_view companion);

struct ReferenceFrame {
    std::uint32_t status = 0;
    unsigned firstByte = 0;
    std::string payload;
};
ReferenceFrame referenceFrame(std::string_view line);

struct ReferenceRecord {
    unsigned kind = 0;
    unsigned primitive = 0;
    std::string response;
    std::string terminator;
    std::string hexData;
    std::string byteData;
    std::uint32_t error = 0;
    unsigned valid = 1;
    std::string leftOver;
};
// Everything of a record but what is handed back, as one readable text.
std::string describe(const ReferenceRecord& record);
ReferenceRecord referenceRecord(std::string response, const std::string& terminator);

class ReferenceEngine {
public:
    explicit ReferenceEngine(std::string_view list);
    // One pass: with these new bytes, or over what is pending.
    std::optional<ReferenceRecord> pass(std::string_view bytes);
    const std::string& pending() const { return pending_; }

private:
    bool isTerminator(std::string_view line) const;

    bool single_;
    std::vector<std::string> terminators_;
    std::string pending_;
};

}  // namespace mova::fuzz
