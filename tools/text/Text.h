// Texts of unknown origin on their way to a terminal or into JSON.
#pragma once
#include <string>
#include <string_view>

namespace mova::text {

// UTF-8 stays what it is, anything else is taken for Latin-1.
std::string asUtf8(std::string_view bytes);

// For a terminal: UTF-8 with control characters as "\r", "\n", "\x1B".
std::string printable(std::string_view bytes);

}  // namespace mova::text
