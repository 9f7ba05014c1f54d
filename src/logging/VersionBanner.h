// The three lines by which the component introduces itself in the debug channel.
#pragma once
#include <string>

#include "logging/MyDebugMsg.h"
#include "platform/Platform.h"

namespace mova {

struct VersionTexts {
    std::string version;     // deliberate: its number is the banner's own, not that of the version resource
    std::string modulePath;  // the component's own module file
    std::string build;       // that file's last-write time as a long local date; empty when it cannot be told
};

// Posts version, module path and build text, in this order.
VersionTexts postVersionBanner(Platform& platform, MyDebugMsg& debug);

}  // namespace mova
