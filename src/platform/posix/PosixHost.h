// PosixHost tells about a Linux system. The version is the one under which port discovery takes the first match of the
// device tree.
#pragma once
#include "platform/Host.h"

namespace mova {

class PosixHost final : public Host {
public:
    SystemVersion systemVersion() override { return {2, 6, 1}; }
    std::string modulePath() override;  // of the shared library or program that this code is linked into
    std::optional<std::int64_t> fileTime(const std::string& path) override;
};

}  // namespace mova
