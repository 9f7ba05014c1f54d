// The bytes of an array that a client passed in a VARIANT, in place and only while this holds them.
#pragma once
#include <cstdint>
#include <span>

#include "component/automation/SafeArray.h"

namespace mova {

class ByteArray {
public:
    explicit ByteArray(const VARIANT& argument);

    // One-dimensional, of 8-bit or 16-bit unsigned values, passed by value.
    bool holds(VARTYPE element) const { return type_ == (VT_ARRAY | element) && dimensions_ == 1; }
    // The whole storage; empty when there is no array or its elements are not plain numbers.
    std::span<std::uint8_t> bytes() const { return bytes_; }

private:
    VARTYPE type_;
    UINT dimensions_ = 0;
    ArrayAccess access_;
    std::span<std::uint8_t> bytes_;
};

}  // namespace mova
