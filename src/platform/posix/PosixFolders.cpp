#include "platform/posix/PosixFolders.h"

#include <cstdlib>

#include "platform/Platform.h"

namespace mova {

namespace {

std::string folderOf(const char* variable, const char* otherwise) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing here changes the environment
    const char* folder = std::getenv(variable);
    return folder != nullptr && *folder != '\0' ? folder : otherwise;
}

}  // namespace

std::string deviceDir() { return folderOf(kDeviceDirVariable, kDefaultDeviceDir); }

std::string channelDir() { return folderOf(kRuntimeDirVariable, "/tmp"); }

std::string channelPath(const std::string& folder, std::string_view name, std::string_view suffix) {
    const auto lastSeparator = name.find_last_of("\\/");
    if (lastSeparator != std::string_view::npos) name.remove_prefix(lastSeparator + 1);
    return std::string(folder).append("/").append(name).append(suffix);
}

}  // namespace mova
