#include "base/Printable.h"

#include "base/HexText.h"

namespace mova {

namespace {

bool isUtf8(std::string_view text) {
    for (std::size_t i = 0; i < text.size();) {
        const auto c = static_cast<unsigned char>(text[i]);
        const std::size_t more = c < 0x80                ? 0
                                 : c >= 0xC2 && c < 0xE0 ? 1
                                 : c >= 0xE0 && c < 0xF0 ? 2
                                 : c >= 0xF0 && c < 0xF5 ? 3
                                                         : 4;
        if (more > 3 || i + more >= text.size()) return false;
        for (std::size_t k = 1; k <= more; ++k) {
            if ((static_cast<unsigned char>(text[i + k]) & 0xC0U) != 0x80U) return false;
        }
        // Overlong forms, surrogates and what lies beyond the last character.
        const auto second = more > 0 ? static_cast<unsigned char>(text[i + 1]) : 0U;
        if ((c == 0xE0 && second < 0xA0) || (c == 0xED && second > 0x9F) || (c == 0xF0 && second < 0x90) ||
            (c == 0xF4 && second > 0x8F)) {
            return false;
        }
        i += more + 1;
    }
    return true;
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
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        const bool controls = byte < 0x20 || byte == 0x7F;
        if (c == '\r') {
            shown += "\\r";
        } else if (c == '\n') {
            shown += "\\n";
        } else if (controls && (c != '\t' || tabs == Tabs::Escaped)) {
            shown += "\\x";
            appendHexByte(shown, byte);
        } else {
            shown += c;
        }
    }
    return shown;
}

}  // namespace mova
