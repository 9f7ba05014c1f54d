// What people type: numbers (decimal, or hexadecimal behind "0x"), ranges of them, hexadecimal data, text with
// escapes, words with quotes, wildcards.
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mova::cli {

std::optional<std::uint64_t> parseNumber(std::string_view text);

struct NumberRange {
    std::uint32_t first;
    std::uint32_t last;
};

// "1-8,0x20": in ascending order, joined where they touch. Empty: not such a list, or beyond the limit.
std::optional<std::vector<NumberRange>> parseRanges(std::string_view text, std::uint32_t limit);
std::string rangesText(const std::vector<NumberRange>& ranges);  // decimal, in one form
std::uint64_t countOf(const std::vector<NumberRange>& ranges);

// Upper-case hexadecimal digits; blanks, ":" and "-" between bytes are left out. Empty: an odd number of digits or
// something else.
std::optional<std::string> parseHex(std::string_view text);

// \r \n \t \0 \\ and \xNN. Empty: another escape.
std::optional<std::string> parseEscapes(std::string_view text);
// What does not show is written as an escape, so that an answer cannot drive the terminal.
std::string printable(std::string_view bytes);

// Cut at blanks; "…" and '…' hold blanks, and \" and \\ inside "…" stand for themselves. Empty: an unclosed quote.
std::optional<std::vector<std::string>> splitWords(std::string_view line);

// "*" stands for any text, "?" for one character; the whole text must match.
bool matchesWildcard(std::string_view text, std::string_view pattern);

std::vector<std::string> splitAt(std::string_view text, char separator);

}  // namespace mova::cli
