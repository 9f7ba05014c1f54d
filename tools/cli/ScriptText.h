// Texts of a script in which ${name} stands for a value, and $${ for "${" itself.
#pragma once
#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "cli/Variables.h"

namespace mova::cli {

struct TextPart {
    std::string text;  // as it is, or the name of a variable
    bool isName = false;
    std::size_t at = 0;  // where the part begins in the whole
};

struct WrongReference : std::runtime_error {
    WrongReference(std::size_t where, const std::string& what) : std::runtime_error(what), at(where) {}
    std::size_t at;
};

std::vector<TextPart> partsOf(std::string_view text);  // throws WrongReference

// With the values. Throws Failure: one is not there, because what was to capture it has failed.
std::string filledIn(std::string_view text, const Variables& values);
std::string shownIn(std::string_view text, const Variables& values);  // leaves what has no value as it is
// As filledIn, for a regular expression and for a pattern with * and ?: there the values stand for themselves.
std::string filledExpression(std::string_view text, const Variables& values);
bool matchesPattern(std::string_view line, std::string_view pattern, const Variables& values);

}  // namespace mova::cli
