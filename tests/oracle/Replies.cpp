#include "oracle/Replies.h"

#include "oracle/Frames.h"
#include "oracle/Text.h"

namespace mova::oracle {

namespace {

std::uint32_t e2pCode(unsigned status) {
    if (status == 0) return 0;
    if (status >= 2 && status <= 12) return 0x81FF + status;
    switch (status) {
        case 13: return 0x8313;
        case 14: return 0x8314;
        case 15: return 0x8310;
        case 16: return 0x8311;
        case 17: return 0x8312;
        case 18: return 0x8315;
        case 19: return 0x8316;
        case 20: return 0x8317;
        default: return 0x820C;
    }
}

}  // namespace

Reply e2pReply(unsigned command, std::uint16_t object, std::uint16_t record, const std::string& sent,
               const std::string& hex) {
    const bool whole = hex.size() >= 16;
    const std::string text = whole ? hex : std::string(16, '0');
    if (lenientByte(text, 4) != command) return {kOtherCommand, {}};
    if (lenientByte(text, 6) != 0) return {e2pCode(lenientByte(text, 6)), {}};
    if (lenientWord(text, 8) != object) return {0x4204, {}};
    if (lenientWord(text, 12) != record) return {0x4205, {}};
    const std::string replied = text.substr(16);
    if (command == 0x81 || command == 0x82 || command == 0x84 || command == 0x85) {
        if (replied.size() != sent.size()) return {0x4207, {}};
        if (lowered(replied) != lowered(sent)) return {0x4206, {}};
    }
    return {0, replied};
}

Reply hciReply(std::uint8_t option, const std::string& hex) {
    const bool whole = hex.size() >= 6;
    const std::string replied = whole ? hex.substr(6) : "";
    if ((whole ? lenientByte(hex, 4) : 0) != option) return {kOtherCommand, replied};
    if ((option == 1 || option == 2) && (hex.size() < 8 || hex.substr(6, 2) != "00")) return {0xD303, replied};
    return {0, replied};
}

Reply wifiReply(std::uint8_t command, const std::string& hex) {
    const bool whole = hex.size() >= 8;
    if ((whole ? lenientByte(hex, 0) : 0) != command) return {kOtherCommand, {}};
    const unsigned status = whole ? lenientByte(hex, 2) : 0;
    if (status == 1 || status == 2) return {0xD37F + status, {}};
    return {0, whole ? hex.substr(8) : ""};
}

}  // namespace mova::oracle
