// What tests look up in the registry.
#pragma once
#include <string>

#include "component/automation/Ole.h"

namespace mova::test {

// Of a text value, the unnamed one by default; "(none)" where there is none.
inline std::wstring registeredIn(HKEY hive, const std::wstring& key, const wchar_t* name = nullptr) {
    wchar_t text[512] = {};
    DWORD bytes = sizeof text;
    const LSTATUS result = RegGetValueW(hive, key.c_str(), name, RRF_RT_REG_SZ, nullptr, text, &bytes);
    return result == ERROR_SUCCESS ? text : L"(none)";
}

inline bool existsIn(HKEY hive, const std::wstring& key) {
    HKEY opened = nullptr;
    if (RegOpenKeyExW(hive, key.c_str(), 0, KEY_READ, &opened) != ERROR_SUCCESS) return false;
    RegCloseKey(opened);
    return true;
}

}  // namespace mova::test
