// One WriteFile for one text.
#pragma once
#include <limits>
#include <string_view>

#include "platform/win32/WindowsApi.h"

namespace mova {

// False when it fails or takes less than all.
inline bool writeWhole(HANDLE file, std::string_view bytes) {
    if (bytes.size() > std::numeric_limits<DWORD>::max()) return false;
    const auto length = static_cast<DWORD>(bytes.size());
    DWORD written = 0;
    return WriteFile(file, bytes.data(), length, &written, nullptr) && written == length;
}

}  // namespace mova
