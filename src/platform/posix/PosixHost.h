// PosixHost tells about a Linux system. The version is the one under which port discovery takes the first match of the
// device tree.
#pragma once
#include "platform/Host.h"

namespace mova {

class PosixHost final : public Host {
public:
    SystemVersion systemVersion() override { return {2, 6, 1}; }
    std::string modulePath() override;  // of the shared library or program that this code is linked into
    // mova/TempMova.Log in the folder that XDG_STATE_HOME names, or in ~/.local/state without it. The folder becomes the
    // user's alone; one of another user or that others may write to, a link, or a way on which another user could have
    // planted something is not taken.
    std::string fallbackTraceFile() override;
    std::optional<std::int64_t> fileTime(const std::string& path) override;
};

}  // namespace mova
