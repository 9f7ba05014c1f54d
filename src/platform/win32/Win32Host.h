// The Windows host.
#pragma once
#include "platform/Host.h"

namespace mova {

class Win32Host final : public Host {
public:
    SystemVersion systemVersion() override;  // 0.0 when the system does not say
    std::string modulePath() override;       // at most 261 bytes; empty when the system does not say
    std::optional<std::int64_t> fileTime(const std::string& path) override;
};

}  // namespace mova
