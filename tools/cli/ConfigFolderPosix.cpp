#include "base/Environment.h"
#include "cli/ConfigFolder.h"

namespace mova::cli {

std::string configFolder() {
    std::string folder = environmentOr(variable::kConfigHome, "");
    if (folder.starts_with('/')) return folder;  // any other is to be passed over
    const std::string home = environmentOr(variable::kHome, "");
    return home.empty() ? home : home + "/.config";
}

}  // namespace mova::cli
