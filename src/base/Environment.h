// The variables of the environment that the library and the programs read, by their names.
#pragma once
#include <optional>
#include <string>

namespace mova {

namespace variable {
constexpr const char* kPort = "MOVA_PORT";
constexpr const char* kDeviceDir = "MOVA_DEVICE_DIR";  // Linux
constexpr const char* kHistory = "MOVA_HISTORY";       // Linux
constexpr const char* kSystemRoot = "MOVA_SYSROOT";    // Linux
constexpr const char* kNoColour = "NO_COLOR";
constexpr const char* kTerminal = "TERM";
constexpr const char* kHome = "HOME";
constexpr const char* kStateHome = "XDG_STATE_HOME";
constexpr const char* kConfigHome = "XDG_CONFIG_HOME";
constexpr const char* kAppData = "APPDATA";
constexpr const char* kRuntimeDir = "XDG_RUNTIME_DIR";
}  // namespace variable

std::optional<std::string> environment(const char* name);                   // none: not set
std::string environmentOr(const char* name, const std::string& otherwise);  // also where it is set and empty

}  // namespace mova
