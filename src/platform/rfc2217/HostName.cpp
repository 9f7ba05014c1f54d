#include "platform/rfc2217/HostName.h"

#include <netdb.h>
#include <sys/socket.h>

#include <cerrno>

namespace mova {

int whyNotFound(const std::string& host, int error) {
    addrinfo wanted{};
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    switch (getaddrinfo(host.c_str(), nullptr, &wanted, &found)) {
        case 0:
            freeaddrinfo(found);
            // The library looks for addresses of the kinds that this machine has itself, beside that of loopback.
            return error == ENONET || error == EIO ? EADDRNOTAVAIL : error;
        case EAI_AGAIN:
        case EAI_FAIL: return ENETDOWN;
        case EAI_MEMORY: return ENOMEM;
        default: return ENONET;
    }
}

}  // namespace mova
