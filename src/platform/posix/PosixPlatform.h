// Everything that Linux gives the component, composed.
#pragma once
#include <string>

#include "platform/Platform.h"
#include "platform/posix/PosixClock.h"
#include "platform/posix/PosixFiles.h"
#include "platform/posix/PosixHost.h"
#include "platform/posix/PosixSerialDriver.h"
#include "platform/posix/PosixThreading.h"
#include "platform/posix/SysfsKeyTree.h"
#include "platform/posix/UnixDatagramChannel.h"

namespace mova {

struct PosixOptions {
    std::string deviceDir = "/dev";  // where port n is the link COMn
    std::string sysDir = "/sys";
    std::string channelDir;  // of datagram sockets and lock files; empty: $XDG_RUNTIME_DIR, or /tmp without it
};

// The defaults, but the environment variable MOVA_DEVICE_DIR, when set, names the folder of the COMn links: for tests,
// and for users who may not write to /dev. nativePlatform() has these.
PosixOptions nativeOptions();

class PosixPlatform {
public:
    explicit PosixPlatform(const PosixOptions& options = {});
    Platform& platform() { return platform_; }

private:
    PosixSerialDriver serial_;
    PosixThreading threading_;
    PosixClock clock_;
    SysfsKeyTree keys_;
    UnixDatagramChannel datagrams_;
    PosixFiles files_;
    PosixHost host_;
    Platform platform_;
};

}  // namespace mova
