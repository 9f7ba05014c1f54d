#include "component/automation/ValueConversion.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace mova {

namespace {

struct TypeTraits {
    VARTYPE type;
    VARTYPE signedTwin;  // VT_EMPTY: none
    bool keepsBits;      // in a conversion from another such type of the same width
    std::size_t width;   // in bytes; 0: nothing that could be written through a reference
};

constexpr TypeTraits kTypes[] = {
    {VT_I1, VT_EMPTY, false, 1},
    {VT_UI1, VT_EMPTY, false, 1},
    {VT_I2, VT_EMPTY, true, 2},
    {VT_UI2, VT_I2, true, 2},
    {VT_BOOL, VT_EMPTY, false, 2},
    {VT_I4, VT_EMPTY, true, 4},
    {VT_UI4, VT_I4, true, 4},
    {VT_INT, VT_EMPTY, true, 4},
    {VT_UINT, VT_INT, true, 4},
    {VT_R4, VT_EMPTY, false, 4},
    {VT_ERROR, VT_EMPTY, false, 4},
    {VT_I8, VT_EMPTY, false, 8},
    {VT_UI8, VT_EMPTY, false, 8},
    {VT_R8, VT_EMPTY, false, 8},
    {VT_CY, VT_EMPTY, false, 8},
    {VT_DATE, VT_EMPTY, false, 8},
    {VT_BSTR, VT_EMPTY, false, sizeof(BSTR)},
};

TypeTraits traitsOf(VARTYPE type) {
    const auto found =
        std::find_if(std::begin(kTypes), std::end(kTypes), [type](const TypeTraits& row) { return row.type == type; });
    return found == std::end(kTypes) ? TypeTraits{type, VT_EMPTY, false, 0} : *found;
}

HRESULT changeType(Variant& to, const VARIANT& from, VARTYPE type) {
    return VariantChangeType(&to, const_cast<VARIANT*>(&from), 0, type);
}

const void* dataOf(const VARIANT& value) { return isReference(value) ? V_BYREF(&value) : &V_NONE(&value); }

bool copyBits(const VARIANT& from, VARTYPE type, Variant& to) {
    const TypeTraits source = traitsOf(valueType(from));
    const TypeTraits target = traitsOf(type);
    if (!source.keepsBits || !target.keepsBits || source.width != target.width) return false;
    std::memcpy(&V_NONE(&to), dataOf(from), target.width);
    V_VT(&to) = type;
    return true;
}

void widen(VARIANT& value, LONG number) {
    V_VT(&value) = VT_I4;
    V_I4(&value) = number;
}

}  // namespace

HRESULT convert(const VARIANT& argument, VARTYPE type, Variant& value) {
    if (copyBits(argument, type, value)) return S_OK;
    const HRESULT result = changeType(value, argument, type);
    const VARTYPE twin = traitsOf(type).signedTwin;
    if (result != DISP_E_OVERFLOW || twin == VT_EMPTY || FAILED(changeType(value, argument, twin))) return result;
    V_VT(&value) = type;
    return S_OK;
}

HRESULT convertForReference(VARTYPE type, Variant& value) {
    if (V_VT(&value) == type) return S_OK;  // also bytes that are packed in a text
    if (traitsOf(type).width == 0) return DISP_E_TYPEMISMATCH;
    Variant converted;
    const HRESULT result = copyBits(value, type, converted) ? S_OK : changeType(converted, value, type);
    if (SUCCEEDED(result)) value = std::move(converted);
    return result;
}

void moveThrough(const VARIANT& reference, Variant& value) {
    if (V_VT(&value) == VT_BSTR) SysFreeString(*V_BSTRREF(&reference));
    const VARIANT moved = value.release();
    std::memcpy(V_BYREF(&reference), &V_NONE(&moved), traitsOf(V_VT(&moved)).width);
}

void makeScriptSafe(VARIANT& value) {
    switch (V_VT(&value)) {
        case VT_INT:
        case VT_UINT:
        case VT_UI4: V_VT(&value) = VT_I4; break;
        case VT_UI2: widen(value, V_UI2(&value)); break;
        case VT_I1: widen(value, V_I1(&value)); break;
        default: break;
    }
}

void moveIntoVariable(VARIANT& variable, Variant& value) {
    makeScriptSafe(value);
    VariantClear(&variable);
    variable = value.release();
}

}  // namespace mova
