#include "component/automation/BoundCall.h"

#include <algorithm>
#include <cstring>
#include <span>

#include "component/automation/ByteArray.h"

namespace mova {

namespace {

constexpr VARTYPE kVariantReference = VT_VARIANT | VT_BYREF;

VARTYPE valueType(const VARIANT& value) { return V_VT(&value) & static_cast<VARTYPE>(0xFFFF ^ VT_BYREF); }

HRESULT changeType(VARIANT& to, const VARIANT& from, VARTYPE type) {
    return VariantChangeType(&to, const_cast<VARIANT*>(&from), 0, type);
}

bool isMissing(const VARIANT* argument) {
    if (!argument || (V_VT(argument) == VT_ERROR && V_ERROR(argument) == DISP_E_PARAMNOTFOUND)) return true;
    return (V_VT(argument) & VT_BYREF) != 0 && !V_BYREF(argument);  // a reference to nothing
}

// What a script's variable holds; any other argument is itself.
VARIANT& behind(VARIANT& argument) {
    return V_VT(&argument) == kVariantReference ? *V_VARIANTREF(&argument) : argument;
}

std::size_t integerWidth(VARTYPE type) {
    switch (type) {
        case VT_I2:
        case VT_UI2:
            return 2;
        case VT_I4:
        case VT_UI4:
        case VT_INT:
        case VT_UINT:
            return 4;
        default:
            return 0;
    }
}

const void* dataOf(const VARIANT& value) { return (V_VT(&value) & VT_BYREF) != 0 ? V_BYREF(&value) : &V_NONE(&value); }

// Integers of one width go over with their bits: &hFFFFFFFF of a script is a negative number.
bool copyBits(VARTYPE type, const VARIANT& from, void* to) {
    const std::size_t width = integerWidth(type);
    if (width == 0 || integerWidth(valueType(from)) != width) return false;
    std::memcpy(to, dataOf(from), width);
    return true;
}

VARTYPE signedTwin(VARTYPE type) {
    switch (type) {
        case VT_UI2:
            return VT_I2;
        case VT_UI4:
            return VT_I4;
        case VT_UINT:
            return VT_INT;
        default:
            return VT_EMPTY;
    }
}

// value becomes the argument as that type. value is empty before and owned by the caller.
HRESULT convert(VARTYPE type, const VARIANT& argument, VARIANT& value) {
    if (copyBits(type, argument, &V_NONE(&value))) {
        V_VT(&value) = type;
        return S_OK;
    }
    HRESULT result = changeType(value, argument, type);
    const VARTYPE twin = signedTwin(type);
    if (result == DISP_E_OVERFLOW && twin != VT_EMPTY && SUCCEEDED(changeType(value, argument, twin))) {
        V_VT(&value) = type;  // a negative number stands for its bits
        result = S_OK;
    }
    return result;
}

// A pointer as the system's Invoke takes it.
void setReference(VARIANT& passed, VARTYPE type, void* data) {
    V_VT(&passed) = type | VT_BYREF;
    V_BYREF(&passed) = data;
}

SAFEARRAY* arrayIn(const VARIANT& value) {
    if ((V_VT(&value) & VT_ARRAY) == 0) return nullptr;
    if ((V_VT(&value) & VT_BYREF) == 0) return V_ARRAY(&value);
    return V_ARRAYREF(&value) ? *V_ARRAYREF(&value) : nullptr;
}

// The elements of a script's own array: one dimension, each a VARIANT.
class ScriptElements {
public:
    explicit ScriptElements(const VARIANT& value) {
        SAFEARRAY* const array = arrayIn(value);
        if (!array || (V_VT(&value) & VT_TYPEMASK) != VT_VARIANT || SafeArrayGetDim(array) != 1) return;
        void* data = nullptr;
        if (FAILED(SafeArrayAccessData(array, &data))) return;
        array_ = array;
        elements_ = {static_cast<VARIANT*>(data), array->rgsabound[0].cElements};
    }
    ScriptElements(const ScriptElements&) = delete;
    ScriptElements& operator=(const ScriptElements&) = delete;
    ~ScriptElements() {
        if (array_) SafeArrayUnaccessData(array_);
    }

    bool any() const { return array_ != nullptr; }
    std::span<VARIANT> all() const { return elements_; }

private:
    SAFEARRAY* array_ = nullptr;
    std::span<VARIANT> elements_;
};

HRESULT toByte(const VARIANT& value, std::uint8_t& byte) {
    VARIANT converted;
    VariantInit(&converted);
    const HRESULT result = changeType(converted, value, VT_UI1);
    if (SUCCEEDED(result)) byte = V_UI1(&converted);
    return result;
}

bool isText(const VARIANT& value) { return valueType(value) == VT_BSTR; }

// The type in which scripts can use a value; the bits of 32-bit integers stay.
void makeScriptSafe(VARIANT& value) {
    switch (V_VT(&value)) {
        case VT_INT:
        case VT_UINT:
        case VT_UI4:
            V_VT(&value) = VT_I4;
            break;
        case VT_UI2: {
            const LONG number = V_UI2(&value);
            V_VT(&value) = VT_I4;
            V_I4(&value) = number;
            break;
        }
        case VT_I1: {
            const LONG number = V_I1(&value);
            V_VT(&value) = VT_I4;
            V_I4(&value) = number;
            break;
        }
        default:
            break;
    }
}

// Moves value into a script's variable.
void moveInto(VARIANT& variable, VARIANT& value) {
    makeScriptSafe(value);
    VariantClear(&variable);
    variable = value;
    VariantInit(&value);
}

// Of what lies behind a typed reference; 0: nothing that could be written there.
std::size_t widthBehind(VARTYPE type) {
    switch (type) {
        case VT_I1:
        case VT_UI1:
            return 1;
        case VT_I2:
        case VT_UI2:
        case VT_BOOL:
            return 2;
        case VT_I4:
        case VT_UI4:
        case VT_INT:
        case VT_UINT:
        case VT_R4:
        case VT_ERROR:
            return 4;
        case VT_I8:
        case VT_UI8:
        case VT_R8:
        case VT_CY:
        case VT_DATE:
            return 8;
        case VT_BSTR:
            return sizeof(BSTR);
        default:
            return 0;
    }
}

// value becomes what a reference of that type takes, or stays as it is.
HRESULT fit(VARTYPE type, VARIANT& value) {
    if (V_VT(&value) == type) return S_OK;  // also bytes that are packed in a text
    if (widthBehind(type) == 0) return DISP_E_TYPEMISMATCH;
    VARIANT fitting;
    VariantInit(&fitting);
    if (copyBits(type, value, &V_NONE(&fitting))) {
        V_VT(&fitting) = type;
    } else {
        const HRESULT result = changeType(fitting, value, type);
        if (FAILED(result)) return result;
    }
    VariantClear(&value);
    value = fitting;
    return S_OK;
}

// Moves a value that fits to where a typed reference leads.
void moveThrough(VARIANT& reference, VARIANT& value) {
    if (V_VT(&value) == VT_BSTR) SysFreeString(*V_BSTRREF(&reference));
    std::memcpy(V_BYREF(&reference), &V_NONE(&value), widthBehind(V_VT(&value)));
    VariantInit(&value);
}

}  // namespace

BoundCall::BoundCall(const LateBinding::Function& function)
    : function_(function), slots_(function.parameters.size()), passed_(function.parameters.size()) {
    for (Slot& slot : slots_) {
        VariantInit(&slot.own);
        VariantInit(&slot.alias);
    }
    for (VARIANT& passed : passed_) VariantInit(&passed);
    VariantInit(&returned_);
}

BoundCall::~BoundCall() {
    for (Slot& slot : slots_) VariantClear(&slot.own);
    VariantClear(&returned_);
}

DISPPARAMS BoundCall::forSystem() { return {passed_.data(), nullptr, static_cast<UINT>(passed_.size()), 0}; }

UINT BoundCall::callersIndex(UINT systemsIndex) const {
    if (systemsIndex >= slots_.size()) return systemsIndex;
    return slots_[slots_.size() - 1 - systemsIndex].givenIndex;
}

HRESULT BoundCall::take(DISPPARAMS& given) {
    HRESULT result = match(given);
    for (std::size_t i = 0; i < slots_.size() && SUCCEEDED(result); ++i) {
        result = prepare(i);
        if (FAILED(result)) wrong_ = slots_[i].givenIndex;
    }
    return result;
}

// A named argument's id is its parameter's index; the others come last first.
HRESULT BoundCall::match(DISPPARAMS& given) {
    if (given.cArgs > slots_.size()) return DISP_E_BADPARAMCOUNT;
    for (UINT i = 0; i < given.cArgs; ++i) {
        const UINT index = i < given.cNamedArgs ? static_cast<UINT>(given.rgdispidNamedArgs[i]) : given.cArgs - 1 - i;
        wrong_ = i;
        if (index >= slots_.size() || slots_[index].given) return DISP_E_PARAMNOTFOUND;
        slots_[index].given = &given.rgvarg[i];
        slots_[index].givenIndex = i;
    }
    return S_OK;
}

HRESULT BoundCall::prepare(std::size_t index) {
    const LateBinding::Parameter& parameter = function_.parameters[index];
    Slot& slot = slots_[index];
    VARIANT& passed = passedTo(index);
    if (isMissing(slot.given)) {
        if (parameter.in || !parameter.out || !parameter.pointer) return DISP_E_PARAMNOTOPTIONAL;
        slot.given = nullptr;
    }
    if (!parameter.pointer) return prepareValue(parameter, slot, passed);
    if (parameter.type == VT_VARIANT) return prepareVariant(slot, passed);
    if (parameter.type == VT_UI1 && !parameter.out) return prepareBytes(index, slot, passed);
    return preparePointer(parameter, slot, passed);
}

// Converted here and not by the system's Invoke, which does not tell which argument it was.
HRESULT BoundCall::prepareValue(const LateBinding::Parameter& parameter, Slot& slot, VARIANT& passed) {
    const VARIANT& argument = behind(*slot.given);
    slot.lent = true;
    passed = argument;
    if (parameter.type == VT_VARIANT || V_VT(&argument) == parameter.type) return S_OK;
    const HRESULT result = convert(parameter.type, argument, slot.own);
    passed = slot.own;
    return result;
}

HRESULT BoundCall::preparePointer(const LateBinding::Parameter& parameter, Slot& slot, VARIANT& passed) {
    // An out-value is kept here until all of them can be given back; besides, an entry writes an out-text without
    // freeing what was there.
    if (parameter.in && V_VT(slot.given) == (parameter.type | VT_BYREF)) {
        passed = *slot.given;
        slot.lent = true;
        return S_OK;
    }
    if (parameter.in) {
        const HRESULT result = convert(parameter.type, behind(*slot.given), slot.own);
        if (FAILED(result)) return result;
    } else {
        // A number that the entry does not write stays the caller's; a text that it does not write stays null.
        const bool number = slot.given && parameter.type != VT_BSTR;
        if (!number || FAILED(convert(parameter.type, behind(*slot.given), slot.own))) V_I8(&slot.own) = 0;
        V_VT(&slot.own) = parameter.type;
    }
    setReference(passed, parameter.type, &V_NONE(&slot.own));
    return S_OK;
}

// The callee fills the array that the variant holds. A script's array of variants must not be filled with raw bytes: a
// byte array stands in for it.
HRESULT BoundCall::prepareVariant(Slot& slot, VARIANT& passed) {
    setReference(passed, VT_VARIANT, &slot.own);
    if (!slot.given) return S_OK;
    VARIANT& argument = behind(*slot.given);
    const ScriptElements elements(argument);
    if (elements.any()) {
        SAFEARRAY* const standIn = SafeArrayCreateVector(VT_UI1, 0, static_cast<ULONG>(elements.all().size()));
        if (!standIn) return E_OUTOFMEMORY;
        V_VT(&slot.own) = VT_ARRAY | VT_UI1;
        V_ARRAY(&slot.own) = standIn;
        slot.standsIn = true;
        return S_OK;
    }
    slot.lent = true;
    SAFEARRAY* const array = arrayIn(argument);
    if (array && (V_VT(&argument) & VT_BYREF) != 0) {
        V_VT(&slot.alias) = valueType(argument);
        V_ARRAY(&slot.alias) = array;
        setReference(passed, VT_VARIANT, &slot.alias);
    } else {
        setReference(passed, VT_VARIANT, &argument);
    }
    return S_OK;
}

HRESULT BoundCall::prepareBytes(std::size_t index, Slot& slot, VARIANT& passed) {
    VARIANT& argument = behind(*slot.given);
    if (V_VT(&argument) == (VT_UI1 | VT_BYREF)) {  // the caller vouches for what lies behind it
        passed = argument;
        slot.lent = true;
        return S_OK;
    }
    if (isText(argument)) return DISP_E_TYPEMISMATCH;
    const ScriptElements elements(argument);
    if (elements.any()) {
        for (const VARIANT& element : elements.all()) {
            const HRESULT result = toByte(element, slot.bytes.emplace_back());
            if (FAILED(result)) return result;
        }
    } else if (arrayIn(argument)) {
        if ((V_VT(&argument) & VT_TYPEMASK) != VT_UI1) return DISP_E_TYPEMISMATCH;
        const auto bytes = ByteArray(argument).bytes();
        slot.bytes.assign(bytes.begin(), bytes.end());
    } else {
        const HRESULT result = toByte(argument, slot.bytes.emplace_back());
        if (FAILED(result)) return result;
    }
    // The next parameter is the count.
    VARIANT count;
    VariantInit(&count);
    if (index + 1 < slots_.size() && !isMissing(slots_[index + 1].given)) {
        const HRESULT result = convert(VT_I4, behind(*slots_[index + 1].given), count);
        if (FAILED(result)) return result;
        if (V_I4(&count) > 0 && static_cast<std::size_t>(V_I4(&count)) > slot.bytes.size()) return DISP_E_OVERFLOW;
    }
    slot.lent = true;
    slot.bytes.push_back(0);  // never a null pointer
    setReference(passed, VT_UI1, slot.bytes.data());
    return S_OK;
}

// The next out-parameter tells how much of an array was filled.
std::size_t BoundCall::bytesFilled(std::size_t index) const {
    for (std::size_t i = index + 1; i < slots_.size(); ++i) {
        const LateBinding::Parameter& parameter = function_.parameters[i];
        if (parameter.in || !parameter.out || parameter.type != VT_I4) continue;
        return static_cast<std::size_t>(std::max<LONG>(V_I4(&slots_[i].own), 0));
    }
    return 0;
}

void BoundCall::giveBackElements(std::size_t index) {
    const Slot& slot = slots_[index];
    const ScriptElements elements(behind(*slot.given));
    const ByteArray array(slot.own);
    const std::size_t count = std::min({elements.all().size(), array.bytes().size(), slot.filled});
    for (std::size_t i = 0; i < count; ++i) {
        VARIANT& element = elements.all()[i];
        VariantClear(&element);
        V_VT(&element) = VT_UI1;
        V_UI1(&element) = array.bytes()[i];
    }
}

// A text that the entry did not write stays the caller's.
bool BoundCall::isGivenBack(std::size_t index) const {
    const Slot& slot = slots_[index];
    if (slot.lent || !slot.given || !function_.parameters[index].out) return false;
    return V_VT(&slot.own) != VT_BSTR || V_BSTR(&slot.own);
}

HRESULT BoundCall::fitOutcomes() {
    for (std::size_t i = 0; i < slots_.size(); ++i) {
        Slot& slot = slots_[i];
        if (!isGivenBack(i)) continue;
        if (slot.standsIn) {
            slot.filled = bytesFilled(i);  // while the count, which comes later, is still the entry's
            continue;
        }
        const VARTYPE given = V_VT(slot.given);
        if (given == kVariantReference || (given & VT_BYREF) == 0) continue;
        const HRESULT result = fit(valueType(*slot.given), slot.own);
        if (FAILED(result)) {
            wrong_ = slot.givenIndex;
            return result;
        }
    }
    return S_OK;
}

HRESULT BoundCall::giveBack(VARIANT* result) {
    const HRESULT fitted = fitOutcomes();
    if (FAILED(fitted)) return fitted;
    for (std::size_t i = 0; i < slots_.size(); ++i) {
        Slot& slot = slots_[i];
        if (!isGivenBack(i)) continue;
        if (slot.standsIn) {
            giveBackElements(i);
        } else if (V_VT(slot.given) == kVariantReference) {
            moveInto(*V_VARIANTREF(slot.given), slot.own);
        } else if ((V_VT(slot.given) & VT_BYREF) != 0) {
            moveThrough(*slot.given, slot.own);
        }
    }
    if (result) {
        makeScriptSafe(returned_);
        *result = returned_;
        VariantInit(&returned_);
    }
    return S_OK;
}

}  // namespace mova
