#include "cli/ParseNumber.h"

#include <algorithm>
#include <charconv>

#include "base/Text.h"
#include "cli/SplitText.h"

namespace mova::cli {

namespace {

std::optional<NumberRange> parseRange(std::string_view text, std::uint32_t limit) {
    const auto dash = text.find('-');
    const auto first = parseNumber(trim(text.substr(0, dash)));
    const auto last = dash == text.npos ? first : parseNumber(trim(text.substr(dash + 1)));
    if (!first || !last || *last > limit || *first > *last) return std::nullopt;
    return NumberRange{static_cast<std::uint32_t>(*first), static_cast<std::uint32_t>(*last)};
}

}  // namespace

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

}  // namespace mova::cli
