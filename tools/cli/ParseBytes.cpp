#include "cli/ParseBytes.h"

#include <algorithm>
#include <iterator>

#include "base/HexText.h"
#include "base/Text.h"

namespace mova::cli {

namespace {

struct Escape {
    char letter;
    char byte;
};
constexpr Escape kEscapes[] = {{'r', '\r'}, {'n', '\n'}, {'t', '\t'}, {'0', '\0'}, {'\\', '\\'}};

}  // namespace

std::optional<std::string> parseHex(std::string_view text) {
    std::string digits;
    for (const char c : text) {
        const bool between = c == ' ' || c == '\t' || c == ':' || c == '-';
        if (between && digits.size() % 2 == 0) continue;
        if (!isHexDigit(c)) return std::nullopt;
        digits += upperCase(c);
    }
    if (digits.size() % 2 != 0) return std::nullopt;
    return digits;
}

std::optional<std::string> parseEscapes(std::string_view text) {
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            bytes += text[i];
            continue;
        }
        if (++i == text.size()) return std::nullopt;
        if (text[i] == 'x') {
            const bool complete = i + 2 < text.size() && isHexDigit(text[i + 1]) && isHexDigit(text[i + 2]);
            if (!complete) return std::nullopt;
            bytes += static_cast<char>(hexByteAt(text, i + 1));
            i += 2;
            continue;
        }
        const auto* const escape = std::find_if(std::begin(kEscapes), std::end(kEscapes),
                                                [&](const Escape& e) { return e.letter == text[i]; });
        if (escape == std::end(kEscapes)) return std::nullopt;
        bytes += escape->byte;
    }
    return bytes;
}

}  // namespace mova::cli
