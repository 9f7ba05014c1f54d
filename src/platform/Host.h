// Host tells about the system that the component runs on and about the component's own module file.
#pragma once
#include <cstdint>
#include <optional>
#include <string>

namespace mova {

struct SystemVersion {
    std::uint32_t platformId = 2;  // 2: NT family; 1 or less: the family before it
    std::uint32_t major = 0;
    std::uint32_t minor = 0;
};

class Host {
public:
    virtual ~Host() = default;
    // The version is the one that a process without a compatibility manifest sees: it is never above 6.2.
    virtual SystemVersion systemVersion() = 0;
    virtual std::string modulePath() = 0;  // of the component's module, not of its host
    // Where the trace's file is when the one that was named cannot be opened; makes its folder. Empty: nowhere.
    virtual std::string fallbackTraceFile() = 0;
    virtual std::optional<std::int64_t> fileTime(const std::string& path) = 0;  // last write, seconds since 1970 UTC
};

}  // namespace mova
