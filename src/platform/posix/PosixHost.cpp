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
constexpr mode_t kWritableByOthers = 0022;

bool isUsersOrRoots(const struct stat& status) { return status.st_uid == geteuid() || status.st_uid == 0; }

// Nobody but this user and root can put another thing in the place of the folder or of what is in it: they own it, and
// either only they can write to it or, as in /tmp, only the owner of an entry can replace it. So also for the link that
// leads to it, if there is one.
bool isSafe(const std::string& folder) {
    struct stat status {};
    if (lstat(folder.c_str(), &status) != 0 || !isUsersOrRoots(status)) return false;
    if (S_ISLNK(status.st_mode) && (stat(folder.c_str(), &status) != 0 || !isUsersOrRoots(status))) return false;
    return S_ISDIR(status.st_mode) && ((status.st_mode & kWritableByOthers) == 0 || (status.st_mode & S_ISVTX) != 0);
}

// Makes the folder and those above it where they are absent. The result is false when another user could have led the
// way, and for a last folder that is not the user's own.
bool makeOwnFolder(const std::string& folder) {
    for (auto end = folder.find('/', 1);; end = folder.find('/', end + 1)) {
        const std::string above = folder.substr(0, end);
        mkdir(above.c_str(), kOwnFolder);
        if (!isSafe(above)) return false;
        if (end == folder.npos) break;
    }
    struct stat status {};
    return lstat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == geteuid() &&
           (status.st_mode & kWritableByOthers) == 0;
}

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
    return makeOwnFolder(folder) ? folder + "/TempMova.Log" : std::string();
}

std::optional<std::int64_t> PosixHost::fileTime(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) return std::nullopt;
    return status.st_mtim.tv_sec;
}

}  // namespace mova
