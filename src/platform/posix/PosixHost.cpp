#include "platform/posix/PosixHost.h"

#include <dlfcn.h>
#include <link.h>
#include <sys/stat.h>

#include <filesystem>

namespace mova {

namespace {
const char ownSymbol = 0;
}

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

std::optional<std::int64_t> PosixHost::fileTime(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) return std::nullopt;
    return status.st_mtim.tv_sec;
}

}  // namespace mova
