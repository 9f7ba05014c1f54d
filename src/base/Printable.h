// Texts of unknown origin on their way to a terminal or into JSON.
#pragma once
#include <string>
#include <string_view>

namespace mova {

// UTF-8 stays what it is, anything else is taken for Latin-1.
std::string asUtf8(std::string_view bytes);

enum class Tabs { Kept, Escaped };

// Control characters become "\r", "\n", "\x1B", "\u009B", so that no text can drive the terminal: C0, DEL and C1, the
// last in UTF-8 and as single bytes, and the line and paragraph separators. Other bytes stay as they are, whether they
// are UTF-8 or not.
std::string printable(std::string_view text, Tabs tabs = Tabs::Kept);

// JSON text in UTF-8, whose writer escapes C0 alone: DEL, C1 and the separators are escaped as well. The value is the
// same.
std::string printableJson(std::string json);

}  // namespace mova
