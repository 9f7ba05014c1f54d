// What the type library says of the interface's functions.
#pragma once
#include <vector>

#include "component/automation/Ole.h"

namespace mova {

struct ParameterDescription {
    VARTYPE type = VT_EMPTY;  // of the value, also behind a pointer
    bool pointer = false;
    bool in = false;
    bool out = false;

    bool isOutOnly() const { return pointer && out && !in; }
};

struct FunctionDescription {
    DISPID id = 0;
    INVOKEKIND kind = INVOKE_FUNC;
    std::vector<ParameterDescription> parameters;  // without the return value
};

// Those that late-bound callers may call.
HRESULT describeFunctions(ITypeInfo& info, std::vector<FunctionDescription>& functions);

}  // namespace mova
