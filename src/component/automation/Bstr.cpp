#include "component/automation/Bstr.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

namespace mova {

namespace {

int lengthOf(std::size_t characters) {
    if (characters > static_cast<std::size_t>(std::numeric_limits<int>::max())) throw std::bad_alloc();
    return static_cast<int>(characters);
}

Bstr allocated(BSTR text) {
    if (!text) throw std::bad_alloc();
    return Bstr(text);
}

}  // namespace

std::string narrow(BSTR text) {
    const int length = lengthOf(SysStringLen(text));
    if (length == 0) return {};
    const int bytes = WideCharToMultiByte(CP_ACP, 0, text, length, nullptr, 0, nullptr, nullptr);
    std::string result(static_cast<std::size_t>(bytes), '\0');
    WideCharToMultiByte(CP_ACP, 0, text, length, result.data(), bytes, nullptr, nullptr);
    return result;
}

Bstr wide(const std::string& text) {
    const int length = lengthOf(text.size());
    if (length == 0) return allocated(SysAllocStringLen(nullptr, 0));
    const int characters = MultiByteToWideChar(CP_ACP, 0, text.data(), length, nullptr, 0);
    Bstr result = allocated(SysAllocStringLen(nullptr, static_cast<UINT>(characters)));
    MultiByteToWideChar(CP_ACP, 0, text.data(), length, result.get(), characters);
    return result;
}

Bstr packed(const std::string& bytes) {
    const std::size_t characters = bytes.empty() ? 0 : bytes.size() + 1;
    Bstr result = allocated(SysAllocStringLen(nullptr, static_cast<UINT>(lengthOf(characters))));
    std::fill_n(result.get(), characters, L'\0');
    std::memcpy(result.get(), bytes.data(), bytes.size());
    return result;
}

}  // namespace mova
