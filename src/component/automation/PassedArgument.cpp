#include "component/automation/PassedArgument.h"

#include <algorithm>
#include <cstdint>

#include "component/automation/ByteArray.h"
#include "component/automation/ScriptArray.h"
#include "component/automation/ValueConversion.h"

namespace mova {

namespace {

// A pointer as the system's Invoke takes it.
void setPointer(VARIANT& passed, VARTYPE type, void* data) {
    V_VT(&passed) = type | VT_BYREF;
    V_BYREF(&passed) = data;
}

class ByValue final : public PassedArgument {
public:
    ByValue(VARTYPE type, VARIANT* given) : type_(type), given_(given) {}

    // Converted here and not by the system's Invoke, which does not tell which argument it was.
    HRESULT prepare(VARIANT& passed) override {
        const VARIANT& argument = contentOf(*given_);
        passed = argument;
        if (type_ == VT_VARIANT || V_VT(&argument) == type_) return S_OK;
        const HRESULT result = convert(argument, type_, converted_);
        passed = converted_;
        return result;
    }

private:
    const VARTYPE type_;
    VARIANT* const given_;
    Variant converted_;
};

// What pointers to a number or a text have in common: a value of the call's own, which goes to the caller at the end.
class TypedPointer : public PassedArgument {
public:
    HRESULT fitOutcome() override {
        const bool typedReference = hasOutcome() && isReference(*given_) && !isVariable(*given_);
        return typedReference ? convertForReference(valueType(*given_), value_) : S_OK;
    }

    void giveBack() override {
        if (!hasOutcome() || !isReference(*given_)) return;
        if (isVariable(*given_)) {
            moveIntoVariable(*V_VARIANTREF(given_), value_);
        } else {
            moveThrough(*given_, value_);
        }
    }

protected:
    TypedPointer(VARTYPE type, VARIANT* given) : type_(type), given_(given) {}

    // A text that the method did not write stays the caller's.
    virtual bool hasOutcome() const { return given_ && (V_VT(&value_) != VT_BSTR || V_BSTR(&value_)); }

    const VARTYPE type_;
    VARIANT* const given_;
    Variant value_;
};

// The method reads and writes the caller's own storage where that has the type already.
class InOutPointer final : public TypedPointer {
public:
    InOutPointer(VARTYPE type, VARIANT* given) : TypedPointer(type, given) {}

    HRESULT prepare(VARIANT& passed) override {
        if (isCallersOwn()) {
            passed = *given_;
            return S_OK;
        }
        setPointer(passed, type_, &V_NONE(&value_));
        return convert(contentOf(*given_), type_, value_);
    }

private:
    bool isCallersOwn() const { return V_VT(given_) == (type_ | VT_BYREF); }
    bool hasOutcome() const override { return !isCallersOwn() && TypedPointer::hasOutcome(); }
};

// Never the caller's own storage: the outcome waits until all can be given back; besides, a method writes an out-text
// without freeing what was there.
class OutPointer final : public TypedPointer {
public:
    OutPointer(VARTYPE type, VARIANT* given) : TypedPointer(type, given) {}

    // A number that the method does not write stays the caller's; a text that it does not write stays null.
    HRESULT prepare(VARIANT& passed) override {
        const bool number = given_ && type_ != VT_BSTR;
        if (!number || FAILED(convert(contentOf(*given_), type_, value_))) V_I8(&value_) = 0;
        V_VT(&value_) = type_;
        setPointer(passed, type_, &V_NONE(&value_));
        return S_OK;
    }

    // Of a VT_I4, until its outcome is fitted.
    LONG number() const { return V_I4(&value_); }
};

// The method fills the array that the caller's VARIANT holds. A script's array of VARIANTs must not be filled with raw
// bytes: a byte array of its size replaces it for the call.
class VariantPointer final : public PassedArgument {
public:
    // filled: tells how many bytes the method filled; null: it fills none.
    VariantPointer(VARIANT* given, const OutPointer* filled) : given_(given), filled_(filled) {}

    HRESULT prepare(VARIANT& passed) override {
        setPointer(passed, VT_VARIANT, &replacement_);
        if (!given_) return S_OK;
        VARIANT& argument = contentOf(*given_);
        if (const ScriptArray script(argument); script) return makeByteArray(script.elements().size());
        SAFEARRAY* const array = arrayIn(argument);
        if (array && isReference(argument)) {
            V_VT(&callersArray_) = valueType(argument);
            V_ARRAY(&callersArray_) = array;
            setPointer(passed, VT_VARIANT, &callersArray_);
        } else {
            setPointer(passed, VT_VARIANT, &argument);
        }
        return S_OK;
    }

    // The count is read while it is still as the method wrote it: its own outcome is fitted later.
    HRESULT fitOutcome() override {
        if (filled_) bytesFilled_ = static_cast<std::size_t>(std::max<LONG>(filled_->number(), 0));
        return S_OK;
    }

    void giveBack() override {
        if (!given_ || V_VT(&replacement_) == VT_EMPTY) return;
        const ScriptArray script(contentOf(*given_));
        const ByteArray array(replacement_);
        const std::size_t count = std::min({script.elements().size(), array.bytes().size(), bytesFilled_});
        for (std::size_t i = 0; i < count; ++i) {
            VARIANT& element = script.elements()[i];
            VariantClear(&element);
            V_VT(&element) = VT_UI1;
            V_UI1(&element) = array.bytes()[i];
        }
    }

private:
    HRESULT makeByteArray(std::size_t size) {
        SAFEARRAY* const array = SafeArrayCreateVector(VT_UI1, 0, static_cast<ULONG>(size));
        if (!array) return E_OUTOFMEMORY;
        V_VT(&replacement_) = VT_ARRAY | VT_UI1;
        V_ARRAY(&replacement_) = array;
        return S_OK;
    }

    VARIANT* const given_;
    const OutPointer* const filled_;
    Variant replacement_;     // for a script's array or a missing argument
    VARIANT callersArray_{};  // as a value; the caller stays its owner
    std::size_t bytesFilled_ = 0;
};

class BytePointer final : public PassedArgument {
public:
    // count: the caller's number of bytes, null where there is none.
    BytePointer(VARIANT* given, VARIANT* count) : given_(given), count_(count) {}

    HRESULT prepare(VARIANT& passed) override {
        VARIANT& argument = contentOf(*given_);
        if (V_VT(&argument) == (VT_UI1 | VT_BYREF)) {  // the caller vouches for what lies behind it
            passed = argument;
            return S_OK;
        }
        HRESULT result = copyBytes(argument);
        if (SUCCEEDED(result)) result = checkCount();
        bytes_.push_back(0);  // never a null pointer
        setPointer(passed, VT_UI1, bytes_.data());
        return result;
    }

private:
    HRESULT copyBytes(const VARIANT& argument) {
        if (valueType(argument) == VT_BSTR) return DISP_E_TYPEMISMATCH;
        if (const ScriptArray script(argument); script) {
            for (const VARIANT& element : script.elements()) {
                const HRESULT result = appendByte(element);
                if (FAILED(result)) return result;
            }
            return S_OK;
        }
        if (!arrayIn(argument)) return appendByte(argument);
        if ((V_VT(&argument) & VT_TYPEMASK) != VT_UI1) return DISP_E_TYPEMISMATCH;
        const ByteArray array(argument);
        bytes_.assign(array.bytes().begin(), array.bytes().end());
        return S_OK;
    }

    HRESULT appendByte(const VARIANT& number) {
        Variant byte;
        const HRESULT result = convert(number, VT_UI1, byte);
        if (SUCCEEDED(result)) bytes_.push_back(V_UI1(&byte));
        return result;
    }

    HRESULT checkCount() const {
        if (!count_) return S_OK;
        Variant count;
        const HRESULT result = convert(contentOf(*count_), VT_I4, count);
        if (FAILED(result)) return result;
        const bool tooMany = V_I4(&count) > 0 && static_cast<std::size_t>(V_I4(&count)) > bytes_.size();
        return tooMany ? DISP_E_OVERFLOW : S_OK;
    }

    VARIANT* const given_;
    VARIANT* const count_;
    std::vector<std::uint8_t> bytes_;
};

}  // namespace

bool isMissing(const VARIANT* argument) {
    if (!argument || (V_VT(argument) == VT_ERROR && V_ERROR(argument) == DISP_E_PARAMNOTFOUND)) return true;
    return isReference(*argument) && !V_BYREF(argument);
}

std::vector<std::unique_ptr<PassedArgument>> passedArguments(const FunctionDescription& function,
                                                             std::span<VARIANT* const> given) {
    std::vector<std::unique_ptr<PassedArgument>> arguments(function.parameters.size());
    // Last first: what counts an argument's bytes comes after it.
    const OutPointer* nextOutNumber = nullptr;
    VARIANT* next = nullptr;
    for (std::size_t i = function.parameters.size(); i-- > 0;) {
        const ParameterDescription& parameter = function.parameters[i];
        if (!parameter.pointer) {
            arguments[i] = std::make_unique<ByValue>(parameter.type, given[i]);
        } else if (parameter.type == VT_VARIANT) {
            arguments[i] = std::make_unique<VariantPointer>(given[i], nextOutNumber);
        } else if (parameter.type == VT_UI1 && !parameter.out) {
            arguments[i] = std::make_unique<BytePointer>(given[i], next);
        } else if (parameter.in) {
            arguments[i] = std::make_unique<InOutPointer>(parameter.type, given[i]);
        } else {
            auto pointer = std::make_unique<OutPointer>(parameter.type, given[i]);
            if (parameter.type == VT_I4) nextOutNumber = pointer.get();
            arguments[i] = std::move(pointer);
        }
        next = given[i];
    }
    return arguments;
}

}  // namespace mova
