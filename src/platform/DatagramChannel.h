// A datagram channel carries messages one way on this machine and drops them while nobody listens. On Windows it is a
// mailslot.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>

namespace mova {

class DatagramChannel {
public:
    using Handle = std::intptr_t;
    static constexpr Handle kInvalid = -1;

    virtual ~DatagramChannel() = default;
    virtual Handle open(const std::string& name) = 0;                  // for writing; kInvalid when nobody listens
    virtual bool write(Handle channel, std::string_view message) = 0;  // one message, whole
    virtual void close(Handle channel) = 0;
};

}  // namespace mova
