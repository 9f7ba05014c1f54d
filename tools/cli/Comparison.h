// Two values and how they are to compare, as a script has it: ${rssi} >= 10.
#pragma once
#include <string>
#include <string_view>

#include "cli/Variables.h"

namespace mova::cli {

struct Comparison {
    enum class Operator { Equal, Unequal, Less, AtMost, Greater, AtLeast, Like } op = Operator::Equal;
    std::string left, right;
    std::string text;  // as it stands in the file
};

Comparison parseComparison(std::string_view text);  // throws std::invalid_argument

// Empty when it holds, else how it does not. Two numbers (decimal, or hexadecimal behind "0x") compare as numbers; other
// values are equal or not as texts, and none is less than the other.
std::string unmetComparison(const Comparison& comparison, const Variables& values);

}  // namespace mova::cli
