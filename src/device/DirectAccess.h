// Raw bytes in and out of the handset's port, past the request protocol. Callers hold the port's lock.
#pragma once
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "device/HandsetPort.h"
#include "platform/Platform.h"

namespace mova {

class DirectAccess {
public:
    DirectAccess(Platform& platform, HandsetPort& port) : platform_(platform), port_(port) {}

    // Writes at most count bytes of a hexadecimal text; bad digits count as 0.
    Code writeHex(std::string_view hexText, std::int32_t count, std::uint32_t& written) MOVA_REQUIRES(portLockRole);
    Code writeBytes(const std::uint8_t* bytes, std::int32_t count, std::uint32_t& written) MOVA_REQUIRES(portLockRole);
    // Deliberate: the outcome of this write is not told, only its count.
    void writeArray(std::span<const std::uint8_t> array, std::int32_t count, std::uint32_t& written)
        MOVA_REQUIRES(portLockRole);
    // bytes: what was read, empty when nothing came.
    Code read(std::int32_t count, std::string& bytes) MOVA_REQUIRES(portLockRole);
    std::uint32_t waiting() MOVA_REQUIRES(portLockRole);
    // Collects what comes within the duration (at most 1000 ms): hexadecimal text, or "NULL" when nothing came.
    // No text when the stop event ends it, when the port is not available, or for an option other than 3.
    std::optional<std::string> collect(std::int32_t option, std::int32_t durationMilliseconds)
        MOVA_REQUIRES(portLockRole);

private:
    std::uint32_t readInto(std::uint8_t* buffer, std::uint32_t capacity) MOVA_REQUIRES(portLockRole);

    Platform& platform_;
    HandsetPort& port_;
};

}  // namespace mova
