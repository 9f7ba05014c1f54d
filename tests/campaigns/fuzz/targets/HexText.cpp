// Hexadecimal text: what is encoded decodes to the same, both as the simulated handset has it; any text decodes as the
// plain reference does.
#include "base/HexText.h"

#include "campaigns/fuzz/Input.h"
#include "campaigns/fuzz/Require.h"
#include "handset/Frames.h"
#include "oracle/Frames.h"

using namespace mova;
using namespace mova::fuzz;

namespace {
Landmark oddText("HexText", "a text of odd length");
Landmark foreignDigit("HexText", "a character that is no digit");
Landmark inLowerCase("HexText", "lower-case digits that the handset reads as well");
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = Input(data, size).text();

    const std::string hex = encodeHex(text);
    requireEqual(hex, handset::toHex(text), "encoded");
    requireEqual(decodeHex(hex), text, "decoded again");
    std::string appended;
    for (const char c : text) appendHexByte(appended, static_cast<std::uint8_t>(c));
    requireEqual(appended, hex, "encoded byte by byte");

    const std::string bytes = decodeHex(text);
    requireEqual(bytes, oracle::lenientBytes(text), "any text decoded");
    std::uint32_t number = 0;
    for (const char c : text) {
        requireEqual(hexDigit(c), oracle::lenientDigit(c), "digit");
        number = number * 16 + oracle::lenientDigit(c);
    }
    requireEqual(hexNumber(text), number, "number");
    for (std::size_t i = 0; i < text.size() + 2; ++i) {
        requireEqual(hexByteAt(text, i), oracle::lenientByte(text, i), "byte at a position");
        requireEqual(hexWordAt(text, i), oracle::lenientByte(text, i) + 256 * oracle::lenientByte(text, i + 2),
                     "word at a position");
    }
    if (const auto strict = handset::fromHex(text)) {
        requireEqual(bytes, *strict, "decoded as the handset does");
        if (text.find_first_of("abcdef") != text.npos) inLowerCase.reach();
    } else {
        (text.size() % 2 == 1 ? oddText : foreignDigit).reach();
    }
    return 0;
}
