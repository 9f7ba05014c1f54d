#include "platform/posix/PosixFolders.h"

#include "base/Environment.h"

namespace mova {

std::string deviceDir() { return environmentOr(variable::kDeviceDir, kDefaultDeviceDir); }

std::string stateDir() {
    const std::string home = environmentOr(variable::kHome, "");
    const std::string folder = environmentOr(variable::kStateHome, home.empty() ? "" : home + "/.local/state");
    return folder.starts_with('/') ? folder : std::string();
}

std::string entryName(std::string_view name, std::string_view suffix) {
    const auto lastSeparator = name.find_last_of("\\/");
    if (lastSeparator != std::string_view::npos) name.remove_prefix(lastSeparator + 1);
    return std::string(name).append(suffix);
}

}  // namespace mova
