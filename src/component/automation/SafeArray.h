// Access to the arrays that clients pass in VARIANTs.
#pragma once
#include "component/automation/Ole.h"

namespace mova {

// The array that a VARIANT holds or leads to; null when there is none.
SAFEARRAY* arrayIn(const VARIANT& value);

// Holds an array's storage in place.
class ArrayAccess {
public:
    ArrayAccess() = default;
    explicit ArrayAccess(SAFEARRAY* array);
    ArrayAccess(ArrayAccess&& other) noexcept;
    ArrayAccess& operator=(ArrayAccess&& other) noexcept;
    ~ArrayAccess();

    explicit operator bool() const { return array_ != nullptr; }
    // Null also when an array without elements has no storage.
    void* data() const { return data_; }

private:
    SAFEARRAY* array_ = nullptr;
    void* data_ = nullptr;
};

}  // namespace mova
