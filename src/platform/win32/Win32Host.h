// Win32Host tells about a Windows system.
#pragma once
#include "platform/Host.h"

namespace mova {

// From Windows 8.1 on GetVersionEx answers by the host's manifest, not by the component's: 6.2 without one, the true
// version with one. Port discovery must not depend on who hosts the component, so later versions count as 6.2.
constexpr SystemVersion asWithoutManifest(SystemVersion version) {
    constexpr std::uint32_t kMajor = 6;
    constexpr std::uint32_t kMinor = 2;
    const bool later = version.major > kMajor || (version.major == kMajor && version.minor > kMinor);
    return later ? SystemVersion{version.platformId, kMajor, kMinor} : version;
}

class Win32Host final : public Host {
public:
    SystemVersion systemVersion() override;  // 0.0 when the system does not say
    std::string modulePath() override;       // at most 261 bytes; empty when the system does not say
    std::string fallbackTraceFile() override { return "c:\\TempMova.Log"; }
    std::optional<std::int64_t> fileTime(const std::string& path) override;
};

}  // namespace mova
