#include "platform/win32/Win32KeyTree.h"

#include <algorithm>
#include <limits>

#include "platform/win32/WindowsApi.h"

namespace mova {

namespace {

constexpr DWORD kLongestName = 500;

HKEY keyOf(KeyTree::Key key) { return reinterpret_cast<HKEY>(key); }

REGSAM rightsOf(KeyAccess access) { return access == KeyAccess::Query ? KEY_QUERY_VALUE : KEY_READ; }

}  // namespace

KeyTree::Key Win32KeyTree::open(const std::string& path, KeyAccess access) {
    HKEY key = nullptr;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, rightsOf(access), &key) != ERROR_SUCCESS) return kNoKey;
    return reinterpret_cast<Key>(key);
}

bool Win32KeyTree::subkey(Key key, std::uint32_t index, std::string& name) {
    char buffer[kLongestName + 1];
    DWORD length = sizeof buffer;  // in with the closing zero, out without
    if (RegEnumKeyExA(keyOf(key), index, buffer, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) {
        return false;
    }
    name.assign(buffer, length);
    return true;
}

bool Win32KeyTree::value(Key key, const std::string& name, void* buffer, std::size_t& size) {
    auto bytes = static_cast<DWORD>(std::min<std::size_t>(size, std::numeric_limits<DWORD>::max()));
    const LONG outcome =
        RegQueryValueExA(keyOf(key), name.c_str(), nullptr, nullptr, static_cast<BYTE*>(buffer), &bytes);
    if (outcome != ERROR_SUCCESS) return false;
    size = bytes;
    return true;
}

void Win32KeyTree::close(Key key) { RegCloseKey(keyOf(key)); }

}  // namespace mova
