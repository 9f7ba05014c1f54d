#include "cli/Variables.h"

#include <algorithm>

#include "base/Text.h"

namespace mova::cli {

bool isVariableName(std::string_view name) {
    const auto begins = [](char c) { return (lowerCase(c) >= 'a' && lowerCase(c) <= 'z') || c == '_'; };
    const auto goesOn = [&](char c) { return begins(c) || (c >= '0' && c <= '9') || c == '-'; };
    return !name.empty() && begins(name.front()) && std::all_of(name.begin(), name.end(), goesOn);
}

bool isOwnVariable(std::string_view name) {
    using namespace own_variable;
    return name == kStation || name == kPort || name == kRound;
}

}  // namespace mova::cli
