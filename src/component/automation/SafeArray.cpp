#include "component/automation/SafeArray.h"

#include <utility>

namespace mova {

SAFEARRAY* arrayIn(const VARIANT& value) {
    if ((V_VT(&value) & VT_ARRAY) == 0) return nullptr;
    if ((V_VT(&value) & VT_BYREF) == 0) return V_ARRAY(&value);
    return V_ARRAYREF(&value) ? *V_ARRAYREF(&value) : nullptr;
}

ArrayAccess::ArrayAccess(SAFEARRAY* array) {
    void* data = nullptr;
    if (FAILED(SafeArrayAccessData(array, &data))) return;
    array_ = array;
    data_ = data;
}

ArrayAccess::ArrayAccess(ArrayAccess&& other) noexcept
    : array_(std::exchange(other.array_, nullptr)), data_(std::exchange(other.data_, nullptr)) {}

ArrayAccess& ArrayAccess::operator=(ArrayAccess&& other) noexcept {
    std::swap(array_, other.array_);
    std::swap(data_, other.data_);
    return *this;
}

ArrayAccess::~ArrayAccess() {
    if (array_) SafeArrayUnaccessData(array_);
}

}  // namespace mova
