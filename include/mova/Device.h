// A serial device by its path, for programs that do not number their ports, or a port on another machine. On Linux alone.
#pragma once
#include <string>

#include "mova/Export.h"

namespace mova {

struct Platform;

// The running system with this device as port 1, and with no other port: for the constructor of CVeCmdManager. It lives
// as long as the program, and is the same one for the same path. The path is followed whenever the port is opened, so
// the device may come and go; nothing is looked at here. "host:4001" or "[address]:4001" in place of a path is a port of
// a server of serial ports (RFC 2217), for which libmovacmdsvr-rfc2217.so and gensio must be installed.
MOVA_API Platform& platformOfDevice(const std::string& path);

}  // namespace mova
