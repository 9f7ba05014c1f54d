// Names with texts, as a script uses them: ${name}.
#pragma once
#include <map>
#include <string>
#include <string_view>

namespace mova::cli {

using Variables = std::map<std::string, std::string, std::less<>>;

// A letter or "_", behind it also digits and "-".
bool isVariableName(std::string_view name);
// One that the run itself tells: ${station}, ${port} and, within a repeat, ${round}.
bool isOwnVariable(std::string_view name);
namespace own_variable {
inline constexpr const char* kStation = "station";
inline constexpr const char* kPort = "port";
inline constexpr const char* kRound = "round";
}  // namespace own_variable
inline constexpr const char* kVariableNameRule =
    "a name has letters, digits, \"_\" and \"-\", and begins with no digit";

}  // namespace mova::cli
