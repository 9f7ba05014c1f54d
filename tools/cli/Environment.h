// The variables of the environment.
#pragma once
#include <optional>
#include <string>

namespace mova::cli {

std::optional<std::string> environment(const char* name);  // empty: not set

}  // namespace mova::cli
