// A serial device by its path, for programs that do not number their ports. On Linux alone.
#pragma once
#include <string>

#include "mova/Export.h"

namespace mova {

struct Platform;

// The running system with this device as port 1, and with no other port: for the constructor of CVeCmdManager. It lives
// as long as the program, and is the same one for the same path. The path is followed whenever the port is opened, so
// the device may come and go; nothing is looked at here.
MOVA_API Platform& platformOfDevice(const std::string& path);

}  // namespace mova
