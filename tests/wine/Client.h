// What the tests of the automation interface share: a client's values, late-bound calls, and the ports with a handset.
#pragma once
#include <gmock/gmock.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "component/automation/ComPtr.h"

namespace mova::test {

// Ports of the prefix: each has a simulated handset of its own.
int linePort();       // answers at 115200 baud
int fastPort();       // answers as fast as the machine
int spareFastPort();  // another such
std::wstring dllPath();
std::string environment(const char* name);  // fails the test when it is not set

// An owned VARIANT.
class Variant {
public:
    Variant() { VariantInit(&value_); }
    Variant(int value) : Variant() { V_VT(&value_) = VT_I4, V_I4(&value_) = value; }
    Variant(const wchar_t* text) : Variant() { V_VT(&value_) = VT_BSTR, V_BSTR(&value_) = SysAllocString(text); }
    Variant(const Variant& other) : Variant() { VariantCopy(&value_, const_cast<VARIANT*>(&other.value_)); }
    Variant& operator=(Variant other) {
        std::swap(value_, other.value_);
        return *this;
    }
    ~Variant() { VariantClear(&value_); }

    static Variant typed(VARTYPE type, long long bits = 0);
    static Variant missing();
    static Variant byteArray(const std::string& bytes, VARTYPE element = VT_UI1);
    // Its bytes are the storage of an array of so many rows.
    static Variant byteTable(const std::string& bytes, ULONG rows);
    static Variant scriptArray(const std::vector<Variant>& elements);

    VARTYPE type() const { return V_VT(&value_); }
    VARIANT& raw() { return value_; }
    const VARIANT& raw() const { return value_; }
    std::int32_t number() const;  // of VT_I4; fails the test for another type
    std::wstring text() const;    // of VT_BSTR
    std::string bytes() const;    // of an array's storage, or packed in a text

private:
    VARIANT value_;
};

// A script's variable, passed by reference.
VARIANT variable(Variant& variable);
// A typed reference.
VARIANT reference(VARTYPE type, void* data);

struct Outcome {
    HRESULT result = E_FAIL;
    Variant value;
    UINT wrongArgument = 0xFFFF;
    HRESULT raised = S_OK;  // by the entry itself

    // The error that a script's host tells.
    HRESULT failure() const { return result == DISP_E_EXCEPTION ? raised : result; }
};

// Arguments in natural order.
Outcome call(IDispatch* object, DISPID id, std::vector<VARIANT> arguments,
             WORD flags = DISPATCH_METHOD | DISPATCH_PROPERTYGET);
Outcome call(IDispatch* object, const wchar_t* name, std::vector<VARIANT> arguments,
             WORD flags = DISPATCH_METHOD | DISPATCH_PROPERTYGET);
// Named arguments: ids are parameter indices.
Outcome callNamed(IDispatch* object, DISPID id, std::vector<std::pair<DISPID, VARIANT>> arguments);
DISPID idOf(IDispatch* object, const wchar_t* name);

// Owns a text that an entry gave.
class Text {
public:
    ~Text() { SysFreeString(text_); }
    Text() = default;
    explicit Text(const wchar_t* text) : text_(SysAllocString(text)) {}
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;
    BSTR* receive() {
        SysFreeString(text_);
        text_ = nullptr;
        return &text_;
    }
    BSTR* inOut() { return &text_; }
    BSTR get() const { return text_; }
    std::wstring wide() const { return text_ ? std::wstring(text_, SysStringLen(text_)) : std::wstring(); }
    std::string bytes() const {
        return text_ ? std::string(reinterpret_cast<const char*>(text_), SysStringByteLen(text_)) : std::string();
    }

private:
    BSTR text_ = nullptr;
};

ComPtr<IVeCmdManager> makeManager();
// Opened on a port; fails the test when that does not succeed.
ComPtr<IVeCmdManager> openManager(int port);
// Sends an AT command in the synchronous mode and collects its whole answer.
std::wstring exchange(IVeCmdManager* manager, const wchar_t* command);

std::size_t heapBytes();  // in use in the process's heaps
std::size_t threads();    // of the process
std::size_t handles();    // that the process has open

bool eventually(const std::function<bool()>& condition, unsigned milliseconds = 10000);

}  // namespace mova::test
