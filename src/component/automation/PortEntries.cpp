// The port: its properties, its opening and closing, its modem lines; the log and the trace.
#include "component/automation/AutomationObject.h"
#include "component/automation/Guard.h"
#include "component/automation/Results.h"

namespace mova {

STDMETHODIMP AutomationObject::get_BaudRate(LONG* pVal) {
    return guarded([&] { return put(pVal, manager_.get_BaudRate()); });
}

STDMETHODIMP AutomationObject::put_BaudRate(LONG value) {
    return guarded([&] { manager_.put_BaudRate(value); });
}

STDMETHODIMP AutomationObject::get_CommPortId(LONG* pVal) {
    return guarded([&] { return put(pVal, manager_.get_CommPortId()); });
}

STDMETHODIMP AutomationObject::put_CommPortId(LONG value) {
    return guarded([&] { manager_.put_CommPortId(value); });
}

STDMETHODIMP AutomationObject::InitCmdManager(ULONG ulParam, ULONG* pulErrorCode) {
    return guarded([&] { return putCode(pulErrorCode, manager_.InitCmdManager(ulParam)); });
}

STDMETHODIMP AutomationObject::VbInitCmdManager(LONG lParam, LONG* plErrorCode) {
    return guarded([&] { return putCode(plErrorCode, manager_.InitCmdManager(static_cast<ULONG>(lParam))); });
}

STDMETHODIMP AutomationObject::ResetCmdManager(ULONG ulParam, ULONG* pulErrorCode) {
    return guarded([&] { return putCode(pulErrorCode, manager_.ResetCmdManager(ulParam)); });
}

STDMETHODIMP AutomationObject::ProprietaryOpenComPort(LONG lOption, LONG* plErrorCode) {
    return guarded([&] { return putCode(plErrorCode, manager_.ProprietaryOpenComPort(lOption)); });
}

STDMETHODIMP AutomationObject::ProprietaryCloseComPort(LONG lOption, LONG* plErrorCode) {
    return guarded([&] { return putCode(plErrorCode, manager_.ProprietaryCloseComPort(lOption)); });
}

STDMETHODIMP AutomationObject::IsCommDeviceOpen(LONG* pbOpened) {
    return guarded([&] { return put(pbOpened, manager_.IsCommDeviceOpen()); });
}

STDMETHODIMP AutomationObject::GetDeviceHandle(LONG* plHandle) {
    return guarded([&] {
        const auto handle = manager_.GetDeviceHandle();
        if (handle) put(plHandle, *handle);
        return S_OK;
    });
}

STDMETHODIMP AutomationObject::SetDeviceHandle(LONG lHandle, LONG* plErrorCode) {
    return guarded([&] { return putCode(plErrorCode, manager_.SetDeviceHandle(lHandle)); });
}

STDMETHODIMP AutomationObject::SetCommDeviceType(short sDeviceType, LONG lDevicePara1, LONG lDevicePara2,
                                                 LONG* plErrorCode) {
    return guarded(
        [&] { return putCode(plErrorCode, manager_.SetCommDeviceType(sDeviceType, lDevicePara1, lDevicePara2)); });
}

STDMETHODIMP AutomationObject::AssignTimeoutConstant(LONG lOption, LONG lMiliSecTimeout) {
    return guarded([&] { manager_.AssignTimeoutConstant(lOption, lMiliSecTimeout); });
}

STDMETHODIMP AutomationObject::SetGeneralParam(ULONG ulParam1, ULONG ulParam2, ULONG ulParam3, int iParam4, int iParam5,
                                               int iParam6) {
    return guarded([&] { manager_.SetGeneralParam(ulParam1, ulParam2, ulParam3, iParam4, iParam5, iParam6); });
}

STDMETHODIMP AutomationObject::GetCmpVersion(LONG lOption, BSTR* pbstrVersion) {
    return guarded([&] {
        putText(pbstrVersion, wide(manager_.GetCmpVersion(lOption)));
        return S_OK;
    });
}

STDMETHODIMP AutomationObject::SetCommSignal(int iIndex, LONG bValue, LONG* plErrorCode) {
    return guarded([&] { return putCode(plErrorCode, manager_.SetCommSignal(iIndex, bValue)); });
}

STDMETHODIMP AutomationObject::DetectCommSignal(int iIndex, int* piValue) {
    return guarded([&] { return put(piValue, manager_.DetectCommSignal(iIndex)); });
}

STDMETHODIMP AutomationObject::SwitchCommFlowControlMode(LONG lFlowControlMode) {
    return guarded([&] { manager_.SwitchCommFlowControlMode(lFlowControlMode); });
}

STDMETHODIMP AutomationObject::ActivateMovaLogging(BSTR bstrFileName, ULONG ulStartTick, ULONG* pulParamError) {
    return guarded([&] {
        const ULONG parameter = pulParamError ? *pulParamError : 0;
        return putCode(pulParamError, manager_.ActivateMovaLogging(narrow(bstrFileName), ulStartTick, parameter));
    });
}

STDMETHODIMP AutomationObject::ActivateMovaLoggingVb(BSTR bstrFileName, LONG lStartTick, LONG lParam,
                                                     LONG* plErrorCode) {
    return guarded([&] {
        const ULONG startTick = static_cast<ULONG>(lStartTick);
        const ULONG parameter = static_cast<ULONG>(lParam);
        return putCode(plErrorCode, manager_.ActivateMovaLogging(narrow(bstrFileName), startTick, parameter));
    });
}

STDMETHODIMP AutomationObject::Set_Log_File_Path(BSTR bstrPath) {
    return guarded([&] { manager_.Set_Log_File_Path(narrow(bstrPath)); });
}

}  // namespace mova
