// PosixPlatform composes everything that Linux gives the component.
#pragma once
#include <string>

#include "platform/Platform.h"
#include "platform/posix/PosixClock.h"
#include "platform/posix/PosixFiles.h"
#include "platform/posix/PosixFolders.h"
#include "platform/posix/PosixHost.h"
#include "platform/posix/PosixSerialDriver.h"
#include "platform/posix/PosixThreading.h"
#include "platform/posix/SysfsKeyTree.h"
#include "platform/posix/UnixDatagramChannel.h"

namespace mova {

struct PosixOptions {
    std::string deviceDir = kDefaultDeviceDir;  // where port n is the link COMn
    std::string sysDir = "/sys";
    std::string privateDir;  // of datagram sockets and lock files, as PrivateFolder takes it
    // An absolute path, or RemoteName's name: when told, port 1 and the only one, called as PortLinks says.
    std::string device = {};
};

// nativePlatform() is one of these with the defaults, but its links are where deviceDir() says: for tests, and for
// users who may not write to /dev.
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
