#include "component/automation/ScriptArray.h"

namespace mova {

ScriptArray::ScriptArray(const VARIANT& argument) {
    SAFEARRAY* const array = arrayIn(argument);
    if (!array || (V_VT(&argument) & VT_TYPEMASK) != VT_VARIANT || SafeArrayGetDim(array) != 1) return;
    access_ = ArrayAccess(array);
    if (access_) elements_ = {static_cast<VARIANT*>(access_.data()), array->rgsabound[0].cElements};
}

}  // namespace mova
