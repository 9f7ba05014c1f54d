#include "component/automation/LateBinding.h"

#include <algorithm>

#include "component/automation/BoundCall.h"
#include "component/automation/Module.h"

namespace mova {

HRESULT LateBinding::load() {
    if (info_) return S_OK;
    ComPtr<ITypeInfo> info;
    HRESULT result = loadTypeInfo(__uuidof(IVeCmdManager), info);
    if (SUCCEEDED(result)) result = describeFunctions(*info.get(), functions_);
    if (SUCCEEDED(result)) info_ = std::move(info);
    return result;
}

HRESULT LateBinding::typeInfo(ComPtr<ITypeInfo>& info) {
    const HRESULT result = load();
    info = info_;
    return result;
}

HRESULT LateBinding::namesToIds(LPOLESTR* names, UINT count, DISPID* ids) {
    const HRESULT result = load();
    return FAILED(result) ? result : info_->GetIDsOfNames(names, count, ids);
}

const FunctionDescription* LateBinding::find(DISPID id, WORD flags) const {
    const auto found = std::find_if(functions_.begin(), functions_.end(), [&](const FunctionDescription& function) {
        return function.id == id && (static_cast<WORD>(function.kind) & flags) != 0;
    });
    return found == functions_.end() ? nullptr : &*found;
}

HRESULT LateBinding::invoke(void* target, DISPID id, WORD flags, DISPPARAMS* parameters, VARIANT* result,
                            EXCEPINFO* exception, UINT* wrongArgument) {
    if (!parameters) return E_INVALIDARG;
    HRESULT outcome = load();
    if (FAILED(outcome)) return outcome;
    const FunctionDescription* const function = find(id, flags);
    const bool plain = !function || (flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)) != 0;
    if (plain) return info_->Invoke(target, id, flags, parameters, result, exception, wrongArgument);

    BoundCall call(*function);
    outcome = call.run(*info_.get(), target, flags, *parameters, result, exception);
    if (FAILED(outcome) && wrongArgument) *wrongArgument = call.wrongArgument();
    return outcome;
}

}  // namespace mova
