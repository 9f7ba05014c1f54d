// Small text tools that every room needs.
#pragma once
#include <string>
#include <string_view>

namespace mova {

// printf into a text of any length.
#if defined(__MINGW32__)
[[gnu::format(__MINGW_PRINTF_FORMAT, 1, 2)]]
#else
[[gnu::format(printf, 1, 2)]]
#endif
std::string format(const char* pattern, ...);

// White space is space, tab, carriage return, line feed, vertical tab and form feed.
std::string_view trimRight(std::string_view text);
std::string_view trim(std::string_view text);

// "\r\n" becomes "~", then every run of "~" becomes one: a multi-line answer on one line.
std::string foldLines(std::string_view text);
// "\r\n" becomes "~", nothing more.
std::string tildeLines(std::string_view text);

}  // namespace mova
