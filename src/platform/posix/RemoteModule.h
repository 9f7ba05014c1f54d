// RemoteModule loads what speaks RFC 2217, the first time that it is needed.
#pragma once
#include "platform/posix/RemoteLine.h"

namespace mova {

// Null when the module, or the library that it is made with, is not there.
RemoteLineEntry loadRemoteModule();

}  // namespace mova
