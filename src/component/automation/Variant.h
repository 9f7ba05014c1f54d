// Owns a VARIANT, which is empty until something is put into it. It adds nothing to it: an array of these is an array
// of VARIANTs as the system takes it.
#pragma once
#include <utility>

#include "component/automation/Bstr.h"

namespace mova {

class Variant : public VARIANT {
public:
    Variant() : VARIANT() { VariantInit(this); }
    explicit Variant(LONG number) : Variant() {
        V_VT(this) = VT_I4;
        V_I4(this) = number;
    }
    explicit Variant(Bstr text) : Variant() {
        V_VT(this) = VT_BSTR;
        V_BSTR(this) = text.release();
    }
    Variant(Variant&& other) noexcept : VARIANT(other.release()) {}
    Variant& operator=(Variant&& other) noexcept {
        std::swap<VARIANT>(*this, other);
        return *this;
    }
    ~Variant() { VariantClear(this); }

    // Leaves it empty.
    VARIANT release() {
        const VARIANT value = *this;
        VariantInit(this);
        return value;
    }
};
static_assert(sizeof(Variant) == sizeof(VARIANT));

// Of the value itself, or of what a reference leads to.
inline VARTYPE valueType(const VARIANT& value) { return V_VT(&value) & static_cast<VARTYPE>(0xFFFF ^ VT_BYREF); }

inline bool isReference(const VARIANT& value) { return (V_VT(&value) & VT_BYREF) != 0; }

// A script passes its variable as a reference to a VARIANT.
inline bool isVariable(const VARIANT& argument) { return V_VT(&argument) == (VT_VARIANT | VT_BYREF); }

// What a script's variable holds; any other argument is itself.
inline VARIANT& contentOf(VARIANT& argument) { return isVariable(argument) ? *V_VARIANTREF(&argument) : argument; }

}  // namespace mova
