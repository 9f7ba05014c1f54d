// Bytes as people type them: hexadecimal data, or text with escapes.
#pragma once
#include <optional>
#include <string>
#include <string_view>

namespace mova::cli {

// Upper-case hexadecimal digits; blanks, ":" and "-" between bytes are left out. Empty: an odd number of digits or
// something else.
std::optional<std::string> parseHex(std::string_view text);

// \r \n \t \0 \\ and \xNN. Empty: another escape.
std::optional<std::string> parseEscapes(std::string_view text);

}  // namespace mova::cli
