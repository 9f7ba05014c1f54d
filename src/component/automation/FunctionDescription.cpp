#include "component/automation/FunctionDescription.h"

namespace mova {

namespace {

// Holds one of the system's descriptions.
class SystemDescription {
public:
    explicit SystemDescription(ITypeInfo& info) : info_(info) {}
    SystemDescription(const SystemDescription&) = delete;
    SystemDescription& operator=(const SystemDescription&) = delete;
    ~SystemDescription() {
        if (description_) info_.ReleaseFuncDesc(description_);
    }

    HRESULT load(UINT index) { return info_.GetFuncDesc(index, &description_); }
    const FUNCDESC& get() const { return *description_; }

private:
    ITypeInfo& info_;
    FUNCDESC* description_ = nullptr;
};

ParameterDescription describe(const ELEMDESC& element) {
    ParameterDescription parameter;
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

FunctionDescription describe(const FUNCDESC& description) {
    FunctionDescription function;
    function.id = description.memid;
    function.kind = description.invkind;
    for (SHORT i = 0; i < description.cParams; ++i) {
        const ELEMDESC& element = description.lprgelemdescParam[i];
        if ((element.paramdesc.wParamFlags & PARAMFLAG_FRETVAL) == 0) function.parameters.push_back(describe(element));
    }
    return function;
}

}  // namespace

HRESULT describeFunctions(ITypeInfo& info, std::vector<FunctionDescription>& functions) {
    TYPEATTR* attributes = nullptr;
    HRESULT result = info.GetTypeAttr(&attributes);
    if (FAILED(result)) return result;
    const UINT count = attributes->cFuncs;
    info.ReleaseTypeAttr(attributes);
    std::vector<FunctionDescription> described;
    described.reserve(count);
    for (UINT i = 0; i < count; ++i) {
        SystemDescription description(info);
        result = description.load(i);
        if (FAILED(result)) return result;
        // What the interface inherits is restricted: it is not for late-bound callers.
        if ((description.get().wFuncFlags & FUNCFLAG_FRESTRICTED) == 0)
            described.push_back(describe(description.get()));
    }
    functions = std::move(described);
    return S_OK;
}

}  // namespace mova
