// KeyTree is the system's device tree. Its keys have subkeys and named values; on Windows it is the registry's
// local-machine root.
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
    // The path is separated by backslashes. The result is kNoKey when the key does not open.
    virtual Key open(const std::string& path, KeyAccess access) = 0;
    virtual bool subkey(Key key, std::uint32_t index, std::string& name) = 0;  // false past the last one
    // value() copies a value's raw bytes. size has the capacity before and the count after. The result is false when
    // the value is missing or larger than the buffer.
    virtual bool value(Key key, const std::string& name, void* buffer, std::size_t& size) = 0;
    virtual void close(Key key) = 0;
};

}  // namespace mova
