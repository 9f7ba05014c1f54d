// Numbers as people type them: decimal, or hexadecimal behind "0x"; and lists of ranges of them.
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

}  // namespace mova::cli
