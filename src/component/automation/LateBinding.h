// Late-bound calls as scripts make them. The system's own Invoke refuses a script's plain variable for a typed
// out-parameter; here every call is handed to it complete, in order and exactly typed, and the results go back into the
// caller's references in types that scripts can use (32-bit integers become signed).
//
// What a parameter accepts:
//   value            anything that converts; unsigned 32- and 16-bit values also as the signed number with the same
//   bits text out         any reference number in/out    any reference that converts; a plain value is taken in and its
//   result dropped array of bytes   (VARIANT*) the caller's own byte array, filled in place; a script's array gets its
//   elements set bytes            (unsigned char*) a reference to a byte, an array of bytes, a script's array of
//   numbers, or one
//                    number; more bytes asked for than there are: DISP_E_OVERFLOW
// A missing out-parameter's result is dropped; a missing in-parameter is DISP_E_PARAMNOTOPTIONAL.
#pragma once
#include <vector>

#include "component/automation/ComPtr.h"

namespace mova {

class LateBinding {
public:
    HRESULT typeInfo(ComPtr<ITypeInfo>& info);
    HRESULT namesToIds(LPOLESTR* names, UINT count, DISPID* ids);
    HRESULT invoke(void* target, DISPID id, WORD flags, DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                   UINT* wrongArgument);

    struct Parameter {
        VARTYPE type = VT_EMPTY;  // of the value, also behind a pointer
        bool pointer = false;
        bool in = false;
        bool out = false;
    };
    struct Function {
        DISPID id = 0;
        INVOKEKIND kind = INVOKE_FUNC;
        std::vector<Parameter> parameters;  // without the return value
    };

private:
    HRESULT load();
    const Function* find(DISPID id, WORD flags) const;

    ComPtr<ITypeInfo> info_;
    std::vector<Function> functions_;
};

}  // namespace mova
