#include "platform/win32/Win32Host.h"

#include "platform/win32/OwnModule.h"

namespace mova {

namespace {

static_assert(sizeof(OSVERSIONINFOA) == 148);

constexpr DWORD kPathSize = MAX_PATH + 1;
constexpr std::int64_t kTicksPerSecond = 10'000'000;              // of a file time
constexpr std::int64_t kTicksBefore1970 = 116444736'000'000'000;  // since 1601

std::int64_t secondsSince1970(const FILETIME& time) {
    const LARGE_INTEGER ticks{{time.dwLowDateTime, static_cast<LONG>(time.dwHighDateTime)}};
    return (ticks.QuadPart - kTicksBefore1970) / kTicksPerSecond;
}

}  // namespace

SystemVersion Win32Host::systemVersion() {
    OSVERSIONINFOA info{};
    info.dwOSVersionInfoSize = sizeof info;
    if (!GetVersionExA(&info)) return {};
    return asWithoutManifest({info.dwPlatformId, info.dwMajorVersion, info.dwMinorVersion});
}

std::string Win32Host::modulePath() {
    const HMODULE module = ownModule();
    if (module == nullptr) return {};  // null would name the host's program
    char path[kPathSize];
    return std::string(path, GetModuleFileNameA(module, path, kPathSize));
}

std::optional<std::int64_t> Win32Host::fileTime(const std::string& path) {
    WIN32_FIND_DATAA found{};
    const HANDLE search = FindFirstFileA(path.c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) return std::nullopt;
    FindClose(search);
    return secondsSince1970(found.ftLastWriteTime);
}

}  // namespace mova
