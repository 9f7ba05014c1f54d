// Texts of unknown origin on their way to a terminal or into JSON.
#pragma once
#include <string>
#include <string_view>

namespace mova {

// UTF-8 stays what it is, anything else is taken for Latin-1.
std::string asUtf8(std::string_view bytes);

enum class Tabs { Kept, Escaped };

// Control characters become "\r", "\n", "\x1B", so that no text can drive the terminal.
std::string printable(std::string_view text, Tabs tabs = Tabs::Kept);

}  // namespace mova
