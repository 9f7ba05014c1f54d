// Small text tools for every layer and every program.
#pragma once
#include <cstdarg>
#include <cstdint>
#include <string>
#include <string_view>

namespace mova {

// printf into a text of any length.
#if defined(__MINGW32__)
#define MOVA_PRINTF(pattern, first) [[gnu::format(__MINGW_PRINTF_FORMAT, pattern, first)]]
#else
#define MOVA_PRINTF(pattern, first) [[gnu::format(printf, pattern, first)]]
#endif
MOVA_PRINTF(1, 2) std::string format(const char* pattern, ...);
MOVA_PRINTF(1, 0) std::string formatList(const char* pattern, va_list arguments);

// "1 error", "2 errors"
std::string counted(std::uint64_t count, std::string_view thing);

// White space is space, tab, carriage return, line feed, vertical tab and form feed.
std::string_view trimRight(std::string_view text);
// Editors on Windows write one before UTF-8 text.
std::string_view withoutByteOrderMark(std::string_view text);
std::string_view trim(std::string_view text);

// Letters of other alphabets than ASCII stay as they are, whatever the locale.
constexpr char lowerCase(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }
constexpr char upperCase(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - ('a' - 'A')) : c; }
std::string upperCase(std::string_view text);
bool equalIgnoringCase(std::string_view a, std::string_view b);

// "\r\n" becomes "~", then every run of "~" becomes one: a multi-line answer on one line.
std::string foldLines(std::string_view text);
// "\r\n" becomes "~", nothing more.
std::string tildeLines(std::string_view text);

}  // namespace mova
