// Lines cut into their parts.
#pragma once
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mova::cli {

std::vector<std::string> splitAt(std::string_view text, char separator);

// Cut at blanks; "…" and '…' hold blanks, and \" and \\ inside "…" stand for themselves. Empty: an unclosed quote.
std::optional<std::vector<std::string>> splitWords(std::string_view line);

}  // namespace mova::cli
