#include "cli/Numbers.h"

#include <algorithm>
#include <charconv>

#include "base/Text.h"

namespace mova::cli {

std::optional<std::uint64_t> parseNumber(std::string_view text) {
    int base = 10;
    if (text.starts_with("0x") || text.starts_with("0X")) {
        text.remove_prefix(2);
        base = 16;
    }
    std::uint64_t value = 0;
    const char* const end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data(), end, value, base);
    if (text.empty() || parsed.ec != std::errc() || parsed.ptr != end) return std::nullopt;
    return value;
}

std::vector<std::string> splitAt(std::string_view text, char separator) {
    std::vector<std::string> parts;
    for (;;) {
        const auto end = text.find(separator);
        parts.emplace_back(text.substr(0, end));
        if (end == text.npos) return parts;
        text.remove_prefix(end + 1);
    }
}

namespace {

std::optional<NumberRange> parseRange(std::string_view text, std::uint32_t limit) {
    const auto dash = text.find('-');
    const auto first = parseNumber(trim(text.substr(0, dash)));
    const auto last = dash == text.npos ? first : parseNumber(trim(text.substr(dash + 1)));
    if (!first || !last || *last > limit || *first > *last) return std::nullopt;
    return NumberRange{static_cast<std::uint32_t>(*first), static_cast<std::uint32_t>(*last)};
}

std::optional<int> digitOf(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return std::nullopt;
}

struct Escape {
    char letter;
    char byte;
};
constexpr Escape kEscapes[] = {{'r', '\r'}, {'n', '\n'}, {'t', '\t'}, {'0', '\0'}, {'\\', '\\'}};

}  // namespace

std::optional<std::vector<NumberRange>> parseRanges(std::string_view text, std::uint32_t limit) {
    std::vector<NumberRange> ranges;
    for (const std::string& part : splitAt(text, ',')) {
        const auto range = parseRange(part, limit);
        if (!range) return std::nullopt;
        ranges.push_back(*range);
    }
    std::sort(ranges.begin(), ranges.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<NumberRange> joined;
    for (const NumberRange& range : ranges) {
        if (!joined.empty() && range.first <= joined.back().last + 1) {
            joined.back().last = std::max(joined.back().last, range.last);
        } else {
            joined.push_back(range);
        }
    }
    return joined;
}

std::string rangesText(const std::vector<NumberRange>& ranges) {
    std::string text;
    for (const NumberRange& range : ranges) {
        if (!text.empty()) text += ',';
        text += std::to_string(range.first);
        if (range.last != range.first) text += "-" + std::to_string(range.last);
    }
    return text;
}

std::uint64_t countOf(const std::vector<NumberRange>& ranges) {
    std::uint64_t count = 0;
    for (const NumberRange& range : ranges) count += std::uint64_t{range.last} - range.first + 1;
    return count;
}

std::optional<std::string> parseHex(std::string_view text) {
    std::string digits;
    for (const char c : text) {
        const bool between = c == ' ' || c == '\t' || c == ':' || c == '-';
        if (between && digits.size() % 2 == 0) continue;
        if (!digitOf(c)) return std::nullopt;
        digits += c >= 'a' ? static_cast<char>(c - 'a' + 'A') : c;
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
            const auto high = i + 2 < text.size() ? digitOf(text[i + 1]) : std::nullopt;
            const auto low = high ? digitOf(text[i + 2]) : std::nullopt;
            if (!low) return std::nullopt;
            bytes += static_cast<char>(*high * 16 + *low);
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

std::string printable(std::string_view bytes) {
    std::string text;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '\r') {
            text += "\\r";
        } else if (c == '\n') {
            text += "\\n";
        } else if (c != '\t' && (byte < 0x20 || byte == 0x7F)) {
            text += format("\\x%02X", static_cast<unsigned>(byte));
        } else {
            text += c;
        }
    }
    return text;
}

std::optional<std::vector<std::string>> splitWords(std::string_view line) {
    std::vector<std::string> words;
    std::string word;
    bool inWord = false;
    char quote = 0;
    for (std::size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (quote != 0) {
            const bool escaped =
                quote == '"' && c == '\\' && i + 1 < line.size() && (line[i + 1] == '"' || line[i + 1] == '\\');
            if (escaped) {
                word += line[++i];
            } else if (c == quote) {
                quote = 0;
            } else {
                word += c;
            }
        } else if (c == '"' || c == '\'') {
            quote = c;
            inWord = true;
        } else if (c == ' ' || c == '\t' || c == '\r') {
            if (inWord) words.push_back(std::move(word));
            word.clear();
            inWord = false;
        } else {
            word += c;
            inWord = true;
        }
    }
    if (quote != 0) return std::nullopt;
    if (inWord) words.push_back(std::move(word));
    return words;
}

bool matchesWildcard(std::string_view text, std::string_view pattern) {
    std::size_t at = 0, in = 0;
    std::size_t star = pattern.npos, resume = 0;  // where to go on when a star takes one character more
    while (at < text.size()) {
        if (in < pattern.size() && pattern[in] == '*') {
            star = in++;
            resume = at;
        } else if (in < pattern.size() && (pattern[in] == '?' || pattern[in] == text[at])) {
            ++in;
            ++at;
        } else if (star != pattern.npos) {
            in = star + 1;
            at = ++resume;
        } else {
            return false;
        }
    }
    while (in < pattern.size() && pattern[in] == '*') ++in;
    return in == pattern.size();
}

}  // namespace mova::cli
