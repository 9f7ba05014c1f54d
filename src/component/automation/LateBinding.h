// Late-bound calls as scripts make them. The system's own Invoke refuses a script's plain variable for a typed
// out-parameter; here every call is handed to it complete, in order and exactly typed, and the results go back into the
// caller's references in types that scripts can use (32-bit integers become signed).
//
// What each kind of parameter accepts:
//
//   value             anything that converts; for unsigned 16- and 32-bit values also
//                     the signed number with the same bits
//   text, out         any reference
//   number, in/out    any reference that converts; a plain value is taken in and its
//                     result dropped
//   VARIANT*          the caller's own byte array, which is filled in place; a script's
//                     array, whose elements are set
//   unsigned char*    a reference to a byte, an array of bytes, a script's array of
//                     numbers, or one number; more bytes asked for than there are:
//                     DISP_E_OVERFLOW
//
// A missing out-parameter's result is dropped; a missing in-parameter is DISP_E_PARAMNOTOPTIONAL.
#pragma once
#include <vector>

#include "component/automation/ComPtr.h"
#include "component/automation/FunctionDescription.h"

namespace mova {

class LateBinding {
public:
    HRESULT typeInfo(ComPtr<ITypeInfo>& info);
    HRESULT namesToIds(LPOLESTR* names, UINT count, DISPID* ids);
    HRESULT invoke(void* target, DISPID id, WORD flags, DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                   UINT* wrongArgument);

private:
    HRESULT load();
    const FunctionDescription* find(DISPID id, WORD flags) const;

    ComPtr<ITypeInfo> info_;
    // A table of its own: the system's search by member id is not to be relied on with inherited entries.
    std::vector<FunctionDescription> functions_;
};

}  // namespace mova
