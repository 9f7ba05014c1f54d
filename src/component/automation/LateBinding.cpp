#include "component/automation/LateBinding.h"

#include <algorithm>

#include "component/automation/BoundCall.h"
#include "component/automation/Module.h"

namespace mova {

namespace {

LateBinding::Parameter describe(const ELEMDESC& element) {
    LateBinding::Parameter parameter;
    const TYPEDESC* type = &element.tdesc;
    if (type->vt == VT_PTR) {
        parameter.pointer = true;
        type = type->lptdesc;
    }
    parameter.type = type->vt;
    parameter.in = (element.paramdesc.wParamFlags & PARAMFLAG_FIN) != 0;
    parameter.out = (element.paramdesc.wParamFlags & PARAMFLAG_FOUT) != 0;
    return parameter;
}

// A function's description, which is the system's.
class Description {
public:
    explicit Description(ITypeInfo& info) : info_(info) {}
    Description(const Description&) = delete;
    Description& operator=(const Description&) = delete;
    ~Description() {
        if (description_) info_.ReleaseFuncDesc(description_);
    }

    HRESULT load(UINT index) { return info_.GetFuncDesc(index, &description_); }
    const FUNCDESC& get() const { return *description_; }

private:
    ITypeInfo& info_;
    FUNCDESC* description_ = nullptr;
};

LateBinding::Function describe(const FUNCDESC& description) {
    LateBinding::Function function;
    function.id = description.memid;
    function.kind = description.invkind;
    for (SHORT i = 0; i < description.cParams; ++i) {
        const ELEMDESC& element = description.lprgelemdescParam[i];
        if ((element.paramdesc.wParamFlags & PARAMFLAG_FRETVAL) == 0) function.parameters.push_back(describe(element));
    }
    return function;
}

}  // namespace

HRESULT LateBinding::load() {
    if (info_) return S_OK;
    ComPtr<ITypeInfo> info;
    HRESULT result = loadTypeInfo(__uuidof(IVeCmdManager), info);
    if (FAILED(result)) return result;
    TYPEATTR* attributes = nullptr;
    result = info->GetTypeAttr(&attributes);
    if (FAILED(result)) return result;
    const UINT count = attributes->cFuncs;
    info->ReleaseTypeAttr(attributes);
    // A table of its own: the system's search by member id is not to be relied on with inherited entries.
    std::vector<Function> functions;
    functions.reserve(count);
    for (UINT i = 0; i < count; ++i) {
        Description description(*info.get());
        result = description.load(i);
        if (FAILED(result)) return result;
        const FUNCDESC& known = description.get();
        // What it inherits is not for late-bound callers.
        if ((known.wFuncFlags & FUNCFLAG_FRESTRICTED) == 0) functions.push_back(describe(known));
    }
    functions_ = std::move(functions);
    info_ = std::move(info);
    return S_OK;
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

const LateBinding::Function* LateBinding::find(DISPID id, WORD flags) const {
    const auto found = std::find_if(functions_.begin(), functions_.end(), [&](const Function& function) {
        return function.id == id && (static_cast<WORD>(function.kind) & flags) != 0;
    });
    return found == functions_.end() ? nullptr : &*found;
}

HRESULT LateBinding::invoke(void* target, DISPID id, WORD flags, DISPPARAMS* parameters, VARIANT* result,
                            EXCEPINFO* exception, UINT* wrongArgument) {
    if (!parameters) return E_INVALIDARG;
    HRESULT outcome = load();
    if (FAILED(outcome)) return outcome;
    const Function* const function = find(id, flags);
    const bool plain = !function || (flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)) != 0;
    if (plain) return info_->Invoke(target, id, flags, parameters, result, exception, wrongArgument);

    BoundCall call(*function);
    outcome = call.take(*parameters);
    if (FAILED(outcome)) {
        if (wrongArgument) *wrongArgument = call.wrongArgument();
        return outcome;
    }
    DISPPARAMS complete = call.forSystem();
    UINT wrong = 0;
    outcome = info_->Invoke(target, id, flags, &complete, result ? &call.returned() : nullptr, exception, &wrong);
    if (FAILED(outcome)) {
        if (wrongArgument) *wrongArgument = call.callersIndex(wrong);
        return outcome;
    }
    const HRESULT given = call.giveBack(result);
    if (FAILED(given)) {
        if (wrongArgument) *wrongArgument = call.wrongArgument();
        return given;
    }
    return outcome;
}

}  // namespace mova
