// The identity fields: any text decodes within its field, and a value that is written reads back.
#include "atchannel/IdentityFields.h"

#include <algorithm>

#include "campaigns/fuzz/Input.h"
#include "campaigns/fuzz/Require.h"
#include "handset/Frames.h"
#include "oracle/Frames.h"
#include "oracle/Text.h"

using namespace mova;
using namespace mova::fuzz;

namespace {

constexpr std::int32_t kOptions[] = {1, 3, 4, 5, 6, 7, 8};

Landmark neverWritten("IdentityFields", "a field never written");
Landmark readsBack("IdentityFields", "a value that reads back");
Landmark cut("IdentityFields", "a value too long for its field");
Landmark three("IdentityFields", "a field of three values");

std::string beforeComma(std::string_view text, std::size_t longest) {
    return std::string(text.substr(0, std::min(text.find(','), longest)));
}

void anyTextDecodes(const IdentityField& field, std::string_view text) {
    const std::string value = decodeField(field, text);
    using enum IdentityField::Layout;
    switch (field.layout) {
        case LengthPrefixed:
        case LengthAndZeros: {
            std::string expected;
            if (text.size() >= 2 && oracle::lowered(std::string(text.substr(0, 2))) != "ff") {
                expected = oracle::lenientBytes(text.substr(2, 2 * std::size_t{oracle::lenientByte(text, 0)}));
            } else {
                neverWritten.reach();
            }
            requireEqual(value, expected, "a value behind its length");
            break;
        }
        case ZeroFilled:
        case Framed: {
            std::string expected = oracle::lenientBytes(text);
            expected.resize(std::min(expected.find_first_of(std::string_view("\0\xFF", 2)), expected.size()));
            requireEqual(value, expected, "a filled value");
            break;
        }
        case ThreeValues:
            three.reach();
            require(value.size() >= 4, "a number and three commas");
            require(value.size() <= 6 + std::max<std::size_t>(text.size(), 2) / 2, "three values within their text");
            break;
    }
}

void valueReadsBack(const IdentityField& field, std::string_view oldText, std::string_view parameter) {
    const EncodedField encoded = encodeField(field, oldText, Fields(parameter));
    const auto width = static_cast<std::size_t>(field.write.width);
    requireEqual(encoded.text.size(), width, "width of a written field");
    if (field.layout == IdentityField::Layout::ThreeValues) {
        require(std::count(encoded.value.begin(), encoded.value.end(), ',') == 2, "two commas between three values");
        requireEqual(decodeField(field, encoded.text).substr(2), encoded.value, "three values read back");
        return;
    }
    const std::string value = beforeComma(parameter, field.longestValue);
    requireEqual(encoded.value, value, "the value written");
    if (parameter.find(',') > field.longestValue && parameter.size() > field.longestValue) cut.reach();
    if (field.layout == IdentityField::Layout::LengthPrefixed) {
        const std::size_t used = 2 + 2 * value.size();
        requireEqual(std::string_view(encoded.text).substr(used), oldText.substr(used),
                     "what the field held behind it");
    } else if (field.layout == IdentityField::Layout::LengthAndZeros) {
        const std::size_t used = 2 + 2 * value.size();
        requireEqual(std::string_view(encoded.text).substr(used), std::string(width - used, '0'), "zeros behind it");
    } else if (value.find_first_of(std::string_view("\0\xFF", 2)) != std::string::npos) {
        return;  // these end a filled value
    }
    const auto from = static_cast<std::size_t>(field.read.start - field.write.start);
    requireEqual(
        decodeField(field, std::string_view(encoded.text).substr(from, static_cast<std::size_t>(field.read.width))),
        value, "a value read back");
    if (!value.empty()) readsBack.reach();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const IdentityField* const field = findIdentityField(input.of(kOptions));
    require(field != nullptr, "a known option");
    const std::string_view parameter = input.text(input.byte());
    const std::string_view text = input.text();
    anyTextDecodes(*field, text);
    std::string oldText(text);
    oldText.resize(static_cast<std::size_t>(field->write.width), 'F');
    valueReadsBack(*field, oldText, parameter);
    return 0;
}
