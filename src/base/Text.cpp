#include "base/Text.h"

#include <algorithm>
#include <cstdio>

namespace mova {

namespace {
constexpr std::string_view kWhiteSpace = " \t\r\n\v\f";
}

std::string format(const char* pattern, ...) {
    va_list arguments;
    va_start(arguments, pattern);
    std::string text = formatList(pattern, arguments);
    va_end(arguments);
    return text;
}

std::string formatList(const char* pattern, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    char small[256];
    const int length = std::vsnprintf(small, sizeof small, pattern, again);
    va_end(again);
    if (length <= 0) return {};
    const auto size = static_cast<std::size_t>(length);
    if (size < sizeof small) return std::string(small, size);
    std::string text(size, '\0');
    std::vsnprintf(text.data(), size + 1, pattern, arguments);
    return text;
}

std::string counted(std::uint64_t count, std::string_view thing) {
    return std::to_string(count).append(" ").append(thing).append(count == 1 ? "" : "s");
}

std::string_view trimRight(std::string_view text) {
    if (text.empty() || text.back() > ' ') return text;  // as nearly every line is
    const auto last = text.find_last_not_of(kWhiteSpace);
    return last == text.npos ? std::string_view{} : text.substr(0, last + 1);
}

std::string_view withoutByteOrderMark(std::string_view text) {
    constexpr std::string_view kMark = "\xEF\xBB\xBF";
    if (text.starts_with(kMark)) text.remove_prefix(kMark.size());
    return text;
}

std::string_view trim(std::string_view text) {
    const auto first = text.find_first_not_of(kWhiteSpace);
    return first == text.npos ? std::string_view{} : trimRight(text.substr(first));
}

std::string upperCase(std::string_view text) {
    std::string upper(text);
    for (char& c : upper) c = upperCase(c);
    return upper;
}

bool equalIgnoringCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return lowerCase(x) == lowerCase(y); });
}

std::string tildeLines(std::string_view text) {
    std::string folded;
    folded.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') {
            folded += '~';
            ++i;
        } else {
            folded += text[i];
        }
    }
    return folded;
}

std::string foldLines(std::string_view text) {
    std::string folded = tildeLines(text);
    std::size_t kept = 0;
    for (const char c : folded) {
        if (c != '~' || kept == 0 || folded[kept - 1] != '~') folded[kept++] = c;
    }
    folded.resize(kept);
    return folded;
}

}  // namespace mova
