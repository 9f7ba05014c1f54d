#include "component/automation/BoundCall.h"

#include "component/automation/ValueConversion.h"

namespace mova {

HRESULT BoundCall::run(ITypeInfo& info, void* target, WORD flags, DISPPARAMS& given, VARIANT* result,
                       EXCEPINFO* exception) {
    HRESULT outcome = match(given);
    if (SUCCEEDED(outcome)) outcome = prepare();
    if (SUCCEEDED(outcome)) outcome = invoke(info, target, flags, result, exception);
    if (FAILED(outcome)) return outcome;
    const HRESULT givenBack = giveBack(result);
    return FAILED(givenBack) ? givenBack : outcome;
}

// A named argument's id is its parameter's index; the others come last first.
HRESULT BoundCall::match(DISPPARAMS& given) {
    if (given.cArgs > count()) return DISP_E_BADPARAMCOUNT;
    given_.resize(count());
    givenIndices_.resize(count());
    for (UINT i = 0; i < given.cArgs; ++i) {
        const UINT index = i < given.cNamedArgs ? static_cast<UINT>(given.rgdispidNamedArgs[i]) : given.cArgs - 1 - i;
        wrong_ = i;
        if (index >= count() || given_[index]) return DISP_E_PARAMNOTFOUND;
        given_[index] = &given.rgvarg[i];
        givenIndices_[index] = i;
    }
    for (VARIANT*& argument : given_) {
        if (isMissing(argument)) argument = nullptr;
    }
    return S_OK;
}

HRESULT BoundCall::prepare() {
    arguments_ = passedArguments(function_, given_);
    passed_.resize(count());
    for (std::size_t i = 0; i < count(); ++i) {
        const bool lacking = !given_[i] && !function_.parameters[i].isOutOnly();
        const HRESULT result = lacking ? DISP_E_PARAMNOTOPTIONAL : arguments_[i]->prepare(passed_[count() - 1 - i]);
        if (SUCCEEDED(result)) continue;
        wrong_ = givenIndices_[i];
        return result;
    }
    return S_OK;
}

HRESULT BoundCall::invoke(ITypeInfo& info, void* target, WORD flags, VARIANT* result, EXCEPINFO* exception) {
    DISPPARAMS complete{passed_.data(), nullptr, static_cast<UINT>(passed_.size()), 0};
    UINT wrong = 0;
    const HRESULT outcome =
        info.Invoke(target, function_.id, flags, &complete, result ? &returned_ : nullptr, exception, &wrong);
    wrong_ = wrong < count() ? givenIndices_[count() - 1 - wrong] : wrong;
    return outcome;
}

HRESULT BoundCall::giveBack(VARIANT* result) {
    for (std::size_t i = 0; i < count(); ++i) {
        const HRESULT fits = arguments_[i]->fitOutcome();
        if (SUCCEEDED(fits)) continue;
        wrong_ = givenIndices_[i];
        return fits;
    }
    for (const auto& argument : arguments_) argument->giveBack();
    if (result) {
        makeScriptSafe(returned_);
        *result = returned_.release();
    }
    return S_OK;
}

}  // namespace mova
