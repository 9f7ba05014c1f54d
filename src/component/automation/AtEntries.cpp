// AT commands, operating modes and device information.
#include "component/automation/AutomationObject.h"
#include "component/automation/Guard.h"
#include "component/automation/Results.h"

namespace mova {

STDMETHODIMP AutomationObject::SendNormalAtCmd(LONG lOption, BSTR bstrAtString, LONG* plErrorCode) {
    return guarded([&] { return putCode(plErrorCode, manager_.SendNormalAtCmd(lOption, narrow(bstrAtString))); });
}

// Deliberate: the text that the client passes here is freed; it must be a text or null.
STDMETHODIMP AutomationObject::GetNormalAtResult(LONG lOption, LONG* plDataLength, BSTR* pbstrAtData,
                                                 LONG* plErrorCode) {
    return guarded([&] {
        const AtResult result = manager_.GetNormalAtResult(lOption);
        replaceText(pbstrAtData, wide(result.text));
        put(plDataLength, result.length);
        return putCode(plErrorCode, result.code);
    });
}

STDMETHODIMP AutomationObject::SetAtCmdProperty(ULONG ulPropertyId, ULONG ulParam, ULONG* pulErrorCode) {
    return guarded([&] { return putCode(pulErrorCode, manager_.SetAtCmdProperty(ulPropertyId, ulParam)); });
}

STDMETHODIMP AutomationObject::VbSetAtCmdProperty(LONG lPropertyId, LONG lParam, LONG* plErrorCode) {
    return guarded([&] {
        const ULONG property = static_cast<ULONG>(lPropertyId);
        return putCode(plErrorCode, manager_.SetAtCmdProperty(property, static_cast<ULONG>(lParam)));
    });
}

STDMETHODIMP AutomationObject::SwitchOperateMode(ULONG ulOption, ULONG ulParam, ULONG* pulErrorCode) {
    return guarded([&] { return putCode(pulErrorCode, manager_.SwitchOperateMode(ulOption, ulParam)); });
}

STDMETHODIMP AutomationObject::VbSwitchOperateMode(LONG lOption, LONG lParam, LONG* plErrorCode) {
    return guarded([&] {
        const ULONG option = static_cast<ULONG>(lOption);
        return putCode(plErrorCode, manager_.SwitchOperateMode(option, static_cast<ULONG>(lParam)));
    });
}

STDMETHODIMP AutomationObject::SpecificInfo(LONG lOption, int iAccess, BSTR bstrParam, BSTR* pbstrResult,
                                            LONG* plErrorCode) {
    return guarded([&] {
        const TextResult result = manager_.SpecificInfo(lOption, iAccess, narrow(bstrParam));
        putText(pbstrResult, wide(result.text.value_or(std::string())));
        return putCode(plErrorCode, result.code);
    });
}

}  // namespace mova
