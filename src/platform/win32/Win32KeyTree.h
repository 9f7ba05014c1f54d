// Win32KeyTree is the registry below HKEY_LOCAL_MACHINE. A 32-bit process sees the same device tree: its branch is not
// redirected.
#pragma once
#include "platform/KeyTree.h"

namespace mova {

class Win32KeyTree final : public KeyTree {
public:
    Key open(const std::string& path, KeyAccess access) override;
    bool subkey(Key key, std::uint32_t index, std::string& name) override;  // names up to 500 bytes
    bool value(Key key, const std::string& name, void* buffer, std::size_t& size) override;
    void close(Key key) override;
};

}  // namespace mova
