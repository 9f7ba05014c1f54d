#include "platform/posix/PosixHost.h"

#include <dlfcn.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "platform/posix/PosixFolders.h"

namespace mova {

namespace {
const char ownSymbol = 0;
constexpr mode_t kOwnFolder = 0700;
}  // namespace

std::string PosixHost::modulePath() {
    Dl_info module{};
    void* entry = nullptr;
    if (dladdr1(&ownSymbol, &module, &entry, RTLD_DL_LINKMAP) == 0) return {};
    // The loader lists the program itself without a name, and dladdr gives it as it was typed.
    const std::string name = static_cast<const link_map*>(entry)->l_name;
    std::error_code failed;
    const auto path = std::filesystem::canonical(name.empty() ? "/proc/self/exe" : name, failed);
    return failed ? name : path.string();
}

std::string PosixHost::fallbackTraceFile() {
    const std::string state = stateDir();
    if (state.empty()) return {};
    const std::string folder = state + "/mova";
    for (auto end = folder.find('/', 1); end != folder.npos; end = folder.find('/', end + 1)) {
        mkdir(folder.substr(0, end).c_str(), kOwnFolder);
    }
    mkdir(folder.c_str(), kOwnFolder);
    struct stat status {};
    const bool own = lstat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == geteuid();
    return own ? folder + "/TempMova.Log" : std::string();
}

std::optional<std::int64_t> PosixHost::fileTime(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) return std::nullopt;
    return status.st_mtim.tv_sec;
}

}  // namespace mova
