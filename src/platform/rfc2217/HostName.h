// Why the library found no address for a host's name: it does not tell a name that nobody has from one that nobody could
// look up.
#pragma once
#include <string>

namespace mova {

// `error` is the errno of what the library said, and is given back where the system knows no better: ENONET, ENETDOWN or
// EADDRNOTAVAIL, as RemoteLine::open() has them.
int whyNotFound(const std::string& host, int error);

}  // namespace mova
