// Where a user keeps what programs are to know of the workplace.
#pragma once
#include <string>

namespace mova::cli {

// Linux: the folder that XDG_CONFIG_HOME names, or ~/.config; Windows: %APPDATA%. Empty: neither is told.
std::string configFolder();

}  // namespace mova::cli
