// A RemoteLine is the way to a serial port on another machine. Here is what the port asks of it; what speaks RFC 2217
// stands in a module of its own, so that the library needs nothing beside itself until such a port is opened. Both are
// built together: the name of the module's entry holds the version of this interface.
#pragma once
#include <cstddef>
#include <cstdint>
#include <memory>

#include "platform/SerialDriver.h"

namespace mova {

// Told and asked from a thread of the line's own, also while a call of the line is under way.
class RemoteLineUser {
public:
    virtual void received(const char* bytes, std::size_t count) = 0;
    // Moves what is to be sent next to the line; 0 is nothing for now.
    virtual std::size_t takeOutput(char* to, std::size_t capacity) = 0;
    virtual void modemLines(std::uint32_t status) = 0;  // bits of ModemStatus, as they are now
    virtual void lineErrors(std::uint32_t errors) = 0;  // bits of LineError that came up
    virtual void lost() = 0;                            // the line has ended, once

protected:
    ~RemoteLineUser() = default;
};

// The operations give errno, 0 for success, and end within a bounded time. They may be called from several threads.
class RemoteLine {
public:
    // What is still to be sent goes out, within a bounded time. Afterwards the user is neither told nor asked.
    virtual ~RemoteLine() = default;

    // Once, before all others. On success `settings` has the baud rate, byte size, parity and stop bits of the port.
    // ENONET: there is no such host. ENETDOWN: nobody answers who could say. EADDRNOTAVAIL: this machine has no address
    // beside that of loopback. EPROTONOSUPPORT: there is no serial port behind the host's port, or its server
    // does not let it be set. ECONNRESET: the server closed the connection, because another has the port or it has none.
    virtual int open(const char* host, const char* port, LineSettings& settings) = 0;
    // `actual` is what the port has come up with.
    virtual int apply(const LineSettings& wanted, LineSettings& actual) = 0;
    virtual int control(LineControl function) = 0;  // ENOTTY: the port has no such line
    // The same, without waiting for what the server says: of a port without such lines some say nothing.
    virtual void tryControl(LineControl function) = 0;
    // Nothing that had come in over there before is told as received once this has returned.
    virtual int purge(std::uint32_t what) = 0;
    virtual void outputWaits() = 0;  // takeOutput() has something again
    virtual void beginClose() = 0;   // operations under way end
};

// The module's one entry. The result is owned by the caller, and is null when there is no memory.
using RemoteLineEntry = RemoteLine* (*)(RemoteLineUser*);
constexpr const char* kRemoteLineEntry = "mova_rfc2217_line_1";
constexpr const char* kRemoteLineModule = "libmovacmdsvr-rfc2217.so";

}  // namespace mova
