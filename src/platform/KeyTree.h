// The system's device tree: keys with subkeys and named values (on Windows the registry's local-machine root).
#pragma once
#include <cstddef>
#include <cstdint>
#include <string>

namespace mova {

enum class KeyAccess { Query, Read };  // Query: values only; Read: values and subkeys

class KeyTree {
public:
    using Key = std::uintptr_t;
    static constexpr Key kNoKey = 0;

    virtual ~KeyTree() = default;
    virtual Key open(const std::string& path, KeyAccess access) = 0;  // backslash-separated; kNoKey when it does not open
    virtual bool subkey(Key key, std::uint32_t index, std::string& name) = 0;  // false past the last one
    // Copies a value's raw bytes. size: capacity in, bytes out. False when missing or larger than the buffer.
    virtual bool value(Key key, const std::string& name, void* buffer, std::size_t& size) = 0;
    virtual void close(Key key) = 0;
};

}  // namespace mova
