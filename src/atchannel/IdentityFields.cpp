#include "atchannel/IdentityFields.h"

#include <algorithm>
#include <array>

#include "base/HexText.h"
#include "base/Text.h"

namespace mova {

namespace {

using Layout = IdentityField::Layout;

constexpr std::array kFields{
    IdentityField{1, 0x1001, 1, {0, 80}, {0, 80}, Layout::ZeroFilled, 40},
    IdentityField{3, 0x1003, 1, {40, 40}, {40, 40}, Layout::LengthPrefixed, 19},
    IdentityField{4, 0x901F, 1, {976, 18}, {976, 18}, Layout::LengthAndZeros, 8, false},
    IdentityField{5, 0x10A0, 1, {0, 24}, {8, 16}, Layout::Framed, 6},
    IdentityField{6, 0x1003, 1, {80, 40}, {80, 40}, Layout::LengthPrefixed, 19},
    IdentityField{7, 0x10A4, 1, {0, 34}, {0, 34}, Layout::LengthPrefixed, 10},
    IdentityField{8, 0x1003, 7, {0, 56}, {0, 56}, Layout::ThreeValues, 8},
};

constexpr std::size_t kPrefix = 2;
constexpr std::string_view kNeverWritten = "FF";
constexpr std::size_t kValues = 3;
constexpr std::size_t kFramedValue = 12;

std::string lengthPrefixed(std::string_view value) {
    std::string text;
    appendHexByte(text, static_cast<std::uint8_t>(value.size()));
    return text + encodeHex(value);
}

std::string zeroFilled(std::string_view value, std::size_t width) {
    std::string text = encodeHex(value);
    text.resize(std::max(text.size(), width), '0');
    return text;
}

bool isWritten(std::string_view text) {
    return text.size() >= kPrefix && !equalIgnoringCase(text.substr(0, kPrefix), kNeverWritten);
}

std::string decodeLengthPrefixed(std::string_view text) {
    if (!isWritten(text)) return {};
    return decodeHex(text.substr(kPrefix, 2 * std::size_t{hexByteAt(text, 0)}));
}

std::string decodeZeroFilled(std::string_view text) {
    std::string value = decodeHex(text);
    value.resize(std::min(value.find_first_of(std::string_view("\0\xFF", 2)), value.size()));
    return value;
}

EncodedField encodeThreeValues(const IdentityField& field, const Fields& parameters) {
    EncodedField encoded;
    const std::size_t width = kPrefix + 2 * field.longestValue;
    std::uint8_t number = 0;
    std::string values;
    for (std::size_t i = 0; i < kValues; ++i) {
        const std::string_view value = parameters.text(i).substr(0, field.longestValue);
        if (!value.empty()) ++number;
        std::string text = lengthPrefixed(value);
        text.resize(width, '0');
        values += text;
        if (i > 0) encoded.value += ',';
        encoded.value += value;
    }
    appendHexByte(encoded.text, number);
    encoded.text += values;
    return encoded;
}

std::string decodeThreeValues(const IdentityField& field, std::string_view text) {
    const std::size_t width = kPrefix + 2 * field.longestValue;
    std::string result = format("%d", isWritten(text) ? hexByteAt(text, 0) : 0);
    for (std::size_t i = 0; i < kValues; ++i) {
        const std::size_t at = std::min(text.size(), kPrefix + i * width);
        result += ',';
        result += decodeLengthPrefixed(text.substr(at, width));
    }
    return result;
}

}  // namespace

const IdentityField* findIdentityField(std::int32_t option) {
    const auto row =
        std::find_if(kFields.begin(), kFields.end(), [&](const IdentityField& f) { return f.option == option; });
    return row == kFields.end() ? nullptr : &*row;
}

EncodedField encodeField(const IdentityField& field, std::string_view oldText, const Fields& parameters) {
    if (field.layout == Layout::ThreeValues) return encodeThreeValues(field, parameters);
    EncodedField encoded;
    encoded.value = parameters.text(0).substr(0, field.longestValue);
    switch (field.layout) {
        case Layout::LengthPrefixed:
            encoded.text = oldText;
            encoded.text.replace(0, kPrefix + 2 * encoded.value.size(), lengthPrefixed(encoded.value));
            break;
        case Layout::LengthAndZeros:
            encoded.text = lengthPrefixed(encoded.value);
            encoded.text.resize(static_cast<std::size_t>(field.write.width), '0');
            break;
        case Layout::ZeroFilled:
            encoded.text = zeroFilled(encoded.value, static_cast<std::size_t>(field.write.width));
            break;
        case Layout::Framed:
            appendHexByte(encoded.text, static_cast<std::uint8_t>(encoded.value.size()));
            encoded.text.append("000000").append(zeroFilled(encoded.value, kFramedValue)).append("0000");
            break;
        case Layout::ThreeValues: break;
    }
    return encoded;
}

std::string decodeField(const IdentityField& field, std::string_view text) {
    switch (field.layout) {
        case Layout::LengthPrefixed:
        case Layout::LengthAndZeros: return decodeLengthPrefixed(text);
        case Layout::ZeroFilled:
        case Layout::Framed: return decodeZeroFilled(text);
        case Layout::ThreeValues: return decodeThreeValues(field, text);
    }
    return {};
}

}  // namespace mova
