// RemoteModule loads what speaks RFC 2217, the first time that it is needed.
#pragma once
#include <memory>
#include <string>

#include "platform/posix/RemoteLine.h"

namespace mova {

// Null when the module, or the library that it is made with, is not there; `whyNot` then has the loader's words.
RemoteLineEntry loadRemoteModule(std::string& whyNot);

}  // namespace mova
