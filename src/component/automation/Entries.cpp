// The entries of IVeCmdManager, in its order.
#include "component/automation/AutomationObject.h"
#include "component/automation/ByteArray.h"
#include "component/automation/Guard.h"
#include "component/automation/Results.h"

namespace mova {

namespace {

std::optional<std::span<const std::uint8_t>> table(const ByteArray& array) {
    if (!array.holds(VT_UI1) && !array.holds(VT_UI2)) return std::nullopt;
    return array.bytes();
}

HRESULT putQueued(const QueuedItem& item, Bstr data, auto* remained, auto* length, auto* error, BSTR* text) {
    put(remained, item.remained);
    put(length, item.length);
    put(error, item.error);
    putText(text, std::move(data));
    return S_OK;
}

// For texts that the client only receives.
HRESULT putReply(const TextResult& result, BSTR* text, LONG* code) {
    if (result.text) putText(text, wide(*result.text));
    return putCode(code, result.code);
}

// For texts that the client passes in and gets back.
HRESULT replaceByReply(const TextResult& result, BSTR* text, LONG* code) {
    if (result.text) replaceText(text, wide(*result.text));
    return putCode(code, result.code);
}

std::string textBehind(const BSTR* text) { return text ? narrow(*text) : std::string(); }

LONG valueBehind(const LONG* value) { return value ? *value : 0; }

}  // namespace

STDMETHODIMP AutomationObject::get_BaudRate(LONG* pVal) {
    return guarded([&] { return put(pVal, manager_.get_BaudRate()); });
}

STDMETHODIMP AutomationObject::put_BaudRate(LONG value) {
    return guarded([&] {
        manager_.put_BaudRate(value);
        return S_OK;
    });
}

STDMETHODIMP AutomationObject::get_CommPortId(LONG* pVal) {
    return guarded([&] { return put(pVal, manager_.get_CommPortId()); });
}

STDMETHODIMP AutomationObject::put_CommPortId(LONG value) {
    return guarded([&] {
        manager_.put_CommPortId(value);
        return S_OK;
    });
}

STDMETHODIMP AutomationObject::InitCmdManager(ULONG ulParam, ULONG* pulErrorCode) {
    return guarded([&] { return put(pulErrorCode, manager_.InitCmdManager(ulParam)); });
}

STDMETHODIMP AutomationObject::SetGeneralParam(ULONG ulParam1, ULONG ulParam2, ULONG ulParam3, int iParam4, int iParam5,
                                               int iParam6) {
    return guarded([&] {
        manager_.SetGeneralParam(ulParam1, ulParam2, ulParam3, iParam4, iParam5, iParam6);
        return S_OK;
    });
}

STDMETHODIMP AutomationObject::RfGeneralTestReq(BYTE bytServiceType, USHORT ushIndex, ULONG* pulResult) {
    return guarded([&] { return put(pulResult, manager_.RfGeneralTestReq(bytServiceType, ushIndex)); });
}

STDMETHODIMP AutomationObject::RfChangeParamReq(BYTE bytReq, BYTE bytAccess, USHORT ushIndex, USHORT ushParam,
                                                ULONG* pulResult) {
    return guarded([&] { return put(pulResult, manager_.RfChangeParamReq(bytReq, bytAccess, ushIndex, ushParam)); });
}

STDMETHODIMP AutomationObject::RfChangeTableReq(BYTE bytReq, BYTE bytAccess, USHORT ushIndex, USHORT ushLength,
                                                VARIANT varArray, ULONG* pulResult) {
    return guarded([&] {
        const ByteArray array(varArray);
        return put(pulResult, manager_.RfChangeTableReq(bytReq, bytAccess, ushIndex, ushLength, table(array)));
    });
}

STDMETHODIMP AutomationObject::RfTestCaseReq(BYTE bytReq, BYTE bytAccess, ULONG* pulResult) {
    return guarded([&] { return put(pulResult, manager_.RfTestCaseReq(bytReq, bytAccess)); });
}

STDMETHODIMP AutomationObject::RfStatisticsReq(BYTE bytReq, BYTE bytAccess, USHORT ushIndex, USHORT ushParam,
                                               ULONG* pulResult) {
    return RfChangeParamReq(bytReq, bytAccess, ushIndex, ushParam, pulResult);
}

STDMETHODIMP AutomationObject::ResetCmdManager(ULONG ulParam, ULONG* pulErrorCode) {
    return guarded([&] { return put(pulErrorCode, manager_.ResetCmdManager(ulParam)); });
}

STDMETHODIMP AutomationObject::SetAtCmdProperty(ULONG ulPropertyId, ULONG ulParam, ULONG* pulErrorCode) {
    return guarded([&] { return put(pulErrorCode, manager_.SetAtCmdProperty(ulPropertyId, ulParam)); });
}

STDMETHODIMP AutomationObject::FetchMovaCnfData(ULONG* pulRemainedSig, ULONG* pulLength, ULONG* pulError,
                                                BSTR* pbstrData) {
    return FetchQueuedCnfItem(pulRemainedSig, pulLength, pulError, pbstrData);
}

STDMETHODIMP AutomationObject::RfOtherTestService(BYTE bytReq, BYTE bytAccess, USHORT ushIndex, USHORT ushLength,
                                                  VARIANT varArray, ULONG* pulResult) {
    return RfChangeTableReq(bytReq, bytAccess, ushIndex, ushLength, varArray, pulResult);
}

STDMETHODIMP AutomationObject::FetchQueuedCnfItem(ULONG* pulRemainedSig, ULONG* pulLength, ULONG* pulError,
                                                  BSTR* pbstrData) {
    return guarded([&] {
        const QueuedItem item = manager_.FetchQueuedCnfItem();
        return putQueued(item, packed(item.data), pulRemainedSig, pulLength, pulError, pbstrData);
    });
}

STDMETHODIMP AutomationObject::SwitchOperateMode(ULONG ulOption, ULONG ulParam, ULONG* pulErrorCode) {
    return guarded([&] { return put(pulErrorCode, manager_.SwitchOperateMode(ulOption, ulParam)); });
}

STDMETHODIMP AutomationObject::ReadE2PObject(LONG ObjectID, LONG Record, BSTR* bstrBuffer, LONG* plErrorCode) {
    return guarded([&] { return putReply(manager_.ReadE2PObject(ObjectID, Record), bstrBuffer, plErrorCode); });
}

STDMETHODIMP AutomationObject::WriteE2PObject(LONG ObjectID, LONG Record, BSTR* bstrBuffer, LONG* plErrorCode) {
    return guarded([&] {
        return replaceByReply(manager_.WriteE2PObject(ObjectID, Record, textBehind(bstrBuffer)), bstrBuffer,
                              plErrorCode);
    });
}

STDMETHODIMP AutomationObject::ActivateMovaLogging(BSTR bstrFileName, ULONG ulStartTick, ULONG* pulParamError) {
    return guarded([&] {
        const ULONG parameter = pulParamError ? *pulParamError : 0;
        return put(pulParamError, manager_.ActivateMovaLogging(narrow(bstrFileName), ulStartTick, parameter));
    });
}

STDMETHODIMP AutomationObject::ProprietaryOpenComPort(LONG lOption, LONG* plErrorCode) {
    return guarded([&] { return put(plErrorCode, manager_.ProprietaryOpenComPort(lOption)); });
}

STDMETHODIMP AutomationObject::ProprietaryCloseComPort(LONG lOption, LONG* plErrorCode) {
    return guarded([&] { return put(plErrorCode, manager_.ProprietaryCloseComPort(lOption)); });
}

// Deliberate: plErrorCode is not written.
STDMETHODIMP AutomationObject::RetriveComPortData(LONG lOption, LONG lPollingDuration, BSTR* pbstrData, LONG*) {
    return guarded([&] {
        const auto collected = manager_.RetriveComPortData(lOption, lPollingDuration);
        if (collected) putText(pbstrData, wide(*collected));
        return S_OK;
    });
}

STDMETHODIMP AutomationObject::SendNormalAtCmd(LONG lOption, BSTR bstrAtString, LONG* plErrorCode) {
    return guarded([&] { return put(plErrorCode, manager_.SendNormalAtCmd(lOption, narrow(bstrAtString))); });
}

// Deliberate: the text that the client passes here is freed; it must be a text or null.
STDMETHODIMP AutomationObject::GetNormalAtResult(LONG lOption, LONG* plDataLength, BSTR* pbstrAtData,
                                                 LONG* plErrorCode) {
    return guarded([&] {
        const AtResult result = manager_.GetNormalAtResult(lOption);
        replaceText(pbstrAtData, wide(result.text));
        put(plDataLength, result.length);
        return put(plErrorCode, result.code);
    });
}

STDMETHODIMP AutomationObject::SetCommSignal(int iIndex, LONG bValue, LONG* plErrorCode) {
    return guarded([&] { return put(plErrorCode, manager_.SetCommSignal(iIndex, bValue)); });
}

STDMETHODIMP AutomationObject::DetectCommSignal(int iIndex, int* piValue) {
    return guarded([&] { return put(piValue, manager_.DetectCommSignal(iIndex)); });
}

STDMETHODIMP AutomationObject::VbInitCmdManager(LONG lParam, LONG* plErrorCode) {
    ULONG code = 0;
    const HRESULT result = InitCmdManager(static_cast<ULONG>(lParam), &code);
    if (SUCCEEDED(result)) put(plErrorCode, code);
    return result;
}

STDMETHODIMP AutomationObject::VbSetAtCmdProperty(LONG lPropertyId, LONG lParam, LONG* plErrorCode) {
    ULONG code = 0;
    const HRESULT result = SetAtCmdProperty(static_cast<ULONG>(lPropertyId), static_cast<ULONG>(lParam), &code);
    if (SUCCEEDED(result)) put(plErrorCode, code);
    return result;
}

STDMETHODIMP AutomationObject::VbSwitchOperateMode(LONG lOption, LONG lParam, LONG* plErrorCode) {
    ULONG code = 0;
    const HRESULT result = SwitchOperateMode(static_cast<ULONG>(lOption), static_cast<ULONG>(lParam), &code);
    if (SUCCEEDED(result)) put(plErrorCode, code);
    return result;
}

STDMETHODIMP AutomationObject::SendE2PPasswd(LONG ObjectID, LONG Record, BSTR* bstrBuffer, LONG* plErrorCode) {
    return guarded([&] {
        return replaceByReply(manager_.SendE2PPasswd(ObjectID, Record, textBehind(bstrBuffer)), bstrBuffer,
                              plErrorCode);
    });
}

STDMETHODIMP AutomationObject::SendAuthReq(LONG ObjectID, LONG Record, BSTR* bstrBuffer, LONG* plErrorCode) {
    return guarded([&] { return putReply(manager_.SendAuthReq(ObjectID, Record), bstrBuffer, plErrorCode); });
}

STDMETHODIMP AutomationObject::SendAuthKey(LONG ObjectID, LONG Record, BSTR* bstrBuffer, LONG* plErrorCode) {
    return guarded([&] {
        return replaceByReply(manager_.SendAuthKey(ObjectID, Record, textBehind(bstrBuffer)), bstrBuffer, plErrorCode);
    });
}

STDMETHODIMP AutomationObject::SendSerialNumber(LONG ObjectID, LONG Record, BSTR* bstrBuffer, LONG* plErrorCode) {
    return guarded([&] {
        return replaceByReply(manager_.SendSerialNumber(ObjectID, Record, textBehind(bstrBuffer)), bstrBuffer,
                              plErrorCode);
    });
}

STDMETHODIMP AutomationObject::GetCmpVersion(LONG lOption, BSTR* pbstrVersion) {
    return guarded([&] {
        putText(pbstrVersion, wide(manager_.GetCmpVersion(lOption)));
        return S_OK;
    });
}

STDMETHODIMP AutomationObject::ActivateMovaLoggingVb(BSTR bstrFileName, LONG lStartTick, LONG lParam,
                                                     LONG* plErrorCode) {
    ULONG parameter = static_cast<ULONG>(lParam);
    const HRESULT result = ActivateMovaLogging(bstrFileName, static_cast<ULONG>(lStartTick), &parameter);
    if (SUCCEEDED(result)) put(plErrorCode, parameter);
    return result;
}

STDMETHODIMP AutomationObject::AssignTimeoutConstant(LONG lOption, LONG lMiliSecTimeout) {
    return guarded([&] {
        manager_.AssignTimeoutConstant(lOption, lMiliSecTimeout);
        return S_OK;
    });
}

STDMETHODIMP AutomationObject::ReadE2PObjectEx(LONG ObjectID, LONG Record, LONG StartPos, LONG* length,
                                               BSTR* bstrBuffer, LONG* plErrorCode) {
    return guarded([&] {
        const RangeResult result = manager_.ReadE2PObjectEx(ObjectID, Record, StartPos, valueBehind(length));
        if (result.text) putText(bstrBuffer, wide(*result.text));
        if (result.length) put(length, *result.length);
        return putCode(plErrorCode, result.code);
    });
}

STDMETHODIMP AutomationObject::WriteE2PObjectEx(LONG ObjectID, LONG Record, LONG StartPos, LONG* length,
                                                BSTR* bstrBuffer, LONG* plErrorCode) {
    return guarded([&] {
        const RangeResult result =
            manager_.WriteE2PObjectEx(ObjectID, Record, StartPos, valueBehind(length), textBehind(bstrBuffer));
        if (result.length) put(length, *result.length);
        return putCode(plErrorCode, result.code);
    });
}

STDMETHODIMP AutomationObject::SetCommDeviceType(short sDeviceType, LONG lDevicePara1, LONG lDevicePara2,
                                                 LONG* plErrorCode) {
    return guarded(
        [&] { return put(plErrorCode, manager_.SetCommDeviceType(sDeviceType, lDevicePara1, lDevicePara2)); });
}

STDMETHODIMP AutomationObject::FetchQueuedCnfTextItem(LONG* plRemainedSig, LONG* plLength, LONG* plError,
                                                      BSTR* pbstrData) {
    return guarded([&] {
        const QueuedItem item = manager_.FetchQueuedCnfTextItem();
        return putQueued(item, wide(item.data), plRemainedSig, plLength, plError, pbstrData);
    });
}

// Deliberate: plErrorCode is not written.
STDMETHODIMP AutomationObject::ClearQueue(LONG*) {
    return guarded([&] {
        manager_.ClearQueue();
        return S_OK;
    });
}

STDMETHODIMP AutomationObject::DirectWriteHexData(BSTR bstrBuffer, LONG lDataToWrite, LONG* plDataWrite,
                                                  LONG* plErrorCode) {
    return guarded([&] {
        const CountResult result = manager_.DirectWriteHexData(narrow(bstrBuffer), lDataToWrite);
        put(plDataWrite, result.count);
        return put(plErrorCode, result.code);
    });
}

STDMETHODIMP AutomationObject::DirectReadHexData(BSTR* pbstrBuffer, LONG lDataToRead, LONG* plDataRead,
                                                 LONG* plErrorCode) {
    return guarded([&] {
        const ReadResult result = manager_.DirectReadHexData(lDataToRead);
        if (result.data) putText(pbstrBuffer, wide(*result.data));
        put(plDataRead, result.count);
        return put(plErrorCode, result.code);
    });
}

STDMETHODIMP AutomationObject::DirectQueryDataInQueue(LONG* plDataInQueue) {
    return guarded([&] { return put(plDataInQueue, manager_.DirectQueryDataInQueue()); });
}

STDMETHODIMP AutomationObject::SwitchCommFlowControlMode(LONG lFlowControlMode) {
    return guarded([&] {
        manager_.SwitchCommFlowControlMode(lFlowControlMode);
        return S_OK;
    });
}

STDMETHODIMP AutomationObject::VbRfVarReq(LONG lReqType, BYTE bytReq, BSTR bstrParameter, LONG* plResult) {
    return guarded([&] { return put(plResult, manager_.VbRfVarReq(lReqType, bytReq, narrow(bstrParameter))); });
}

STDMETHODIMP AutomationObject::SpecificInfo(LONG lOption, int iAccess, BSTR bstrParam, BSTR* pbstrResult,
                                            LONG* plErrorCode) {
    return guarded([&] {
        const TextResult result = manager_.SpecificInfo(lOption, iAccess, narrow(bstrParam));
        putText(pbstrResult, wide(result.text.value_or(std::string())));
        return put(plErrorCode, result.code);
    });
}

STDMETHODIMP AutomationObject::HciAction(LONG lOption, BSTR bstrCmd, BSTR* pbstrReturn, LONG* plErrorCode) {
    return guarded([&] { return putReply(manager_.HciAction(lOption, narrow(bstrCmd)), pbstrReturn, plErrorCode); });
}

// Deliberate: plErrorCode is not written.
STDMETHODIMP AutomationObject::DirectWriteAsciiData(VARIANT varArray, LONG lDataToWrite, LONG* plDataWrite, LONG*) {
    return guarded([&] {
        const ByteArray array(varArray);
        if (!array.holds(VT_UI1) || lDataToWrite < 1) return S_OK;
        return put(plDataWrite, manager_.DirectWriteAsciiData(array.bytes(), lDataToWrite).count);
    });
}

STDMETHODIMP AutomationObject::DirectReadAsciiData(VARIANT* pvarArray, LONG lDataToRead, LONG* plDataRead,
                                                   LONG* plErrorCode) {
    return guarded([&] {
        VARIANT none;
        VariantInit(&none);
        const ByteArray array(pvarArray ? *pvarArray : none);
        const CountResult result = manager_.DirectReadAsciiData(array.bytes(), lDataToRead);
        put(plDataRead, result.count);
        return put(plErrorCode, result.code);
    });
}

STDMETHODIMP AutomationObject::SendHashReq(LONG ObjectID, LONG Record, BSTR* bstrBuffer, LONG* plErrorCode) {
    return guarded([&] { return putReply(manager_.SendHashReq(ObjectID, Record), bstrBuffer, plErrorCode); });
}

STDMETHODIMP AutomationObject::SendLockOtp(LONG lOption, LONG lRecord, BSTR* pbstrBuffer, LONG* plErrorCode) {
    return guarded([&] { return putReply(manager_.SendLockOtp(lOption, lRecord), pbstrBuffer, plErrorCode); });
}

STDMETHODIMP AutomationObject::WiFiAction(BYTE bytCmd, BSTR bstrParam, BSTR* pbstrReturn, LONG* plErrorCode) {
    return guarded([&] {
        const TextResult result = manager_.WiFiAction(bytCmd, narrow(bstrParam));
        if (result.text) putText(pbstrReturn, wide(*result.text));
        return put(plErrorCode, result.code);
    });
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
    return guarded([&] { return put(plErrorCode, manager_.SetDeviceHandle(lHandle)); });
}

STDMETHODIMP AutomationObject::Set_Log_File_Path(BSTR bstrPath) {
    return guarded([&] {
        manager_.Set_Log_File_Path(narrow(bstrPath));
        return S_OK;
    });
}

STDMETHODIMP AutomationObject::DirectWriteByteData(BYTE* pbytBuf, LONG lDataToWrite, LONG* plDataWrite,
                                                   LONG* plErrorCode) {
    return guarded([&] {
        const CountResult result = manager_.DirectWriteByteData(pbytBuf, lDataToWrite);
        put(plDataWrite, result.count);
        return put(plErrorCode, result.code);
    });
}

}  // namespace mova
