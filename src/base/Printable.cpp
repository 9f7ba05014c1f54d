#include "base/Printable.h"

#include <algorithm>
#include <cstdint>

#include "base/HexText.h"

namespace mova {

namespace {

// The bytes of the UTF-8 character at a position; 0 where none begins there.
std::size_t characterAt(std::string_view text, std::size_t position) {
    const auto c = static_cast<unsigned char>(text[position]);
    const std::size_t more = c < 0x80                ? 0
                             : c >= 0xC2 && c < 0xE0 ? 1
                             : c >= 0xE0 && c < 0xF0 ? 2
                             : c >= 0xF0 && c < 0xF5 ? 3
                                                     : 4;
    if (more > 3 || position + more >= text.size()) return 0;
    for (std::size_t k = 1; k <= more; ++k) {
        if ((static_cast<unsigned char>(text[position + k]) & 0xC0U) != 0x80U) return 0;
    }
    // Overlong forms, surrogates and what lies beyond the last character.
    const auto second = more > 0 ? static_cast<unsigned char>(text[position + 1]) : 0U;
    if ((c == 0xE0 && second < 0xA0) || (c == 0xED && second > 0x9F) || (c == 0xF0 && second < 0x90) ||
        (c == 0xF4 && second > 0x8F)) {
        return 0;
    }
    return more + 1;
}

bool isUtf8(std::string_view text) {
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t bytes = characterAt(text, i);
        if (bytes == 0) return false;
        i += bytes;
    }
    return true;
}

// The second group of control characters, and a byte that a terminal without UTF-8 takes for one of them.
bool isC1(std::string_view character) {
    return character.size() == 2 && character[0] == '\xC2' && static_cast<unsigned char>(character[1]) < 0xA0;
}
// Line and paragraph separator, at which many programs end a line.
bool isSeparator(std::string_view character) { return character == "\xE2\x80\xA8" || character == "\xE2\x80\xA9"; }
const char* separatorEscape(std::string_view character) { return character.back() == '\xA8' ? "\\u2028" : "\\u2029"; }

bool isC1Byte(unsigned char byte) { return byte >= 0x80 && byte < 0xA0; }

void appendControl(std::string& shown, char c) {
    if (c == '\r') {
        shown += "\\r";
    } else if (c == '\n') {
        shown += "\\n";
    } else {
        shown += "\\x";
        appendHexByte(shown, static_cast<std::uint8_t>(c));
    }
}

}  // namespace

std::string asUtf8(std::string_view bytes) {
    if (isUtf8(bytes)) return std::string(bytes);
    std::string text;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x80) {
            text += c;
        } else {
            text += static_cast<char>(0xC0U | (byte >> 6U));
            text += static_cast<char>(0x80U | (byte & 0x3FU));
        }
    }
    return text;
}

std::string printable(std::string_view text, Tabs tabs) {
    std::string shown;
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t bytes = std::max<std::size_t>(characterAt(text, i), 1);
        const std::string_view character = text.substr(i, bytes);
        const auto byte = static_cast<unsigned char>(character[0]);
        const bool controls = byte < 0x20 || byte == 0x7F || (bytes == 1 && isC1Byte(byte));
        if (isC1(character)) {
            shown += "\\u00";
            appendHexByte(shown, static_cast<std::uint8_t>(character[1]));
        } else if (isSeparator(character)) {
            shown += separatorEscape(character);
        } else if (controls && (byte != '\t' || tabs == Tabs::Escaped)) {
            appendControl(shown, character[0]);
        } else {
            shown += character;
        }
        i += bytes;
    }
    return shown;
}

std::string printableJson(std::string json) {
    for (std::size_t i = 0; i < json.size(); ++i) {
        const std::string_view separator = std::string_view(json).substr(i, 3);
        if (isSeparator(separator)) {
            json.replace(i, separator.size(), separatorEscape(separator));
            continue;
        }
        const std::size_t bytes = json[i] == '\x7F' ? 1 : isC1(std::string_view(json).substr(i, 2)) ? 2 : 0;
        if (bytes == 0) continue;
        std::string escape = "\\u00";
        appendHexByte(escape, static_cast<std::uint8_t>(json[i + bytes - 1]));
        json.replace(i, bytes, escape);
    }
    return json;
}

}  // namespace mova
