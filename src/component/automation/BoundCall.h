// One late-bound call: matches the caller's arguments with the parameters, calls, and gives the results back.
#pragma once
#include <memory>
#include <vector>

#include "component/automation/FunctionDescription.h"
#include "component/automation/PassedArgument.h"
#include "component/automation/Variant.h"

namespace mova {

class BoundCall {
public:
    explicit BoundCall(const FunctionDescription& function) : function_(function) {}

    // Once only. The caller gets all results or, when something fails, does not fit or finds no memory, none.
    // Fails with the system's dispatch errors; wrongArgument() then tells which of the caller's arguments it was.
    HRESULT run(ITypeInfo& info, void* target, WORD flags, DISPPARAMS& given, VARIANT* result, EXCEPINFO* exception);
    UINT wrongArgument() const { return wrong_; }

private:
    HRESULT match(DISPPARAMS& given);
    HRESULT prepare();
    HRESULT invoke(ITypeInfo& info, void* target, WORD flags, VARIANT* result, EXCEPINFO* exception);
    HRESULT giveBack(VARIANT* result);
    std::size_t count() const { return function_.parameters.size(); }

    const FunctionDescription& function_;
    std::vector<VARIANT*> given_;     // the caller's arguments by parameter; null: missing
    std::vector<UINT> givenIndices_;  // the caller's index of each
    std::vector<std::unique_ptr<PassedArgument>> arguments_;
    std::vector<VARIANT> passed_;  // last parameter first; nothing in it is owned
    Variant returned_;
    UINT wrong_ = 0;
};

}  // namespace mova
