// The identity fields that live in the handset's E2P objects: where they are, and how a value is laid out in the
// hexadecimal text of its field. Every value character is two digits.
//
//   LengthPrefixed   2 digits length, the value behind it; the rest of the field keeps what it held
//   LengthAndZeros   2 digits length, the value behind it, filled up with "00"
//   ZeroFilled       the value, filled up with "00"
//   Framed           2 digits length, "000000", the value filled with "00" to 12 digits, "0000"; read from digit 8 on
//   ThreeValues      2 digits number of values that are not empty, then three times a length-prefixed value
//
// Erased digits ("F" in either case) read as an empty value.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>

#include "base/Fields.h"

namespace mova {

struct IdentityField {
    enum class Layout { LengthPrefixed, LengthAndZeros, ZeroFilled, Framed, ThreeValues };
    struct Range {
        std::int32_t start = 0;  // in characters
        std::int32_t width = 0;
    };

    std::int32_t option = 0;
    std::int32_t object = 0;
    std::int32_t record = 0;
    Range write;
    Range read;
    Layout layout = Layout::LengthPrefixed;
    std::size_t longestValue = 0;  // characters; longer values are cut
    bool readable = true;
};

const IdentityField* findIdentityField(std::int32_t option);

// The field's new text from its old one and the parameters, and the value as it was written.
struct EncodedField {
    std::string text;
    std::string value;
};
EncodedField encodeField(const IdentityField& field, std::string_view oldText, const Fields& parameters);
std::string decodeField(const IdentityField& field, std::string_view text);

}  // namespace mova
