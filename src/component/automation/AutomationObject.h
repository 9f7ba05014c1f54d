// The component as clients see it: converts the arguments, calls the command manager, converts the results.
// With an outer object it is aggregated: its identity is the outer object's.
#pragma once
#include <atomic>
#include <memory>

#include "component/automation/ConnectionPoint.h"
#include "component/automation/EventSinks.h"
#include "component/automation/LateBinding.h"
#include "component/automation/Module.h"
#include "mova/CVeCmdManager.h"

namespace mova {

class AutomationObject final : public IVeCmdManager, public IProvideClassInfo2 {
public:
    // The interface asked for; on failure nothing is left.
    static HRESULT create(IUnknown* outer, REFIID iid, void** object);

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override { return outer_->QueryInterface(iid, object); }
    STDMETHODIMP_(ULONG) AddRef() override { return outer_->AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return outer_->Release(); }

    STDMETHODIMP GetTypeInfoCount(UINT* count) override;
    STDMETHODIMP GetTypeInfo(UINT index, LCID, ITypeInfo** info) override;
    STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) override;
    STDMETHODIMP Invoke(DISPID id, REFIID iid, LCID, WORD flags, DISPPARAMS* parameters, VARIANT* result,
                        EXCEPINFO* exception, UINT* wrongArgument) override;

    STDMETHODIMP GetClassInfo(ITypeInfo** info) override;
    STDMETHODIMP GetGUID(DWORD kind, GUID* id) override;

    // The interface's entries, in its order. They stand by subject in PortEntries, AtEntries, RfEntries, ObjectEntries
    // and DirectEntries.
    STDMETHODIMP get_BaudRate(LONG* pVal) override;
    STDMETHODIMP put_BaudRate(LONG value) override;
    STDMETHODIMP get_CommPortId(LONG* pVal) override;
    STDMETHODIMP put_CommPortId(LONG value) override;
    STDMETHODIMP InitCmdManager(ULONG ulParam, ULONG* pulErrorCode) override;
    STDMETHODIMP SetGeneralParam(ULONG ulParam1, ULONG ulParam2, ULONG ulParam3, int iParam4, int iParam5,
                                 int iParam6) override;
    STDMETHODIMP RfGeneralTestReq(BYTE bytServiceType, USHORT ushIndex, ULONG* pulResult) override;
    STDMETHODIMP RfChangeParamReq(BYTE bytReq, BYTE bytAccess, USHORT ushIndex, USHORT ushParam,
                                  ULONG* pulResult) override;
    STDMETHODIMP RfChangeTableReq(BYTE bytReq, BYTE bytAccess, USHORT ushIndex, USHORT ushLength, VARIANT varArray,
                                  ULONG* pulResult) override;
    STDMETHODIMP RfTestCaseReq(BYTE bytReq, BYTE bytAccess, ULONG* pulResult) override;
    STDMETHODIMP RfStatisticsReq(BYTE bytReq, BYTE bytAccess, USHORT ushIndex, USHORT ushParam,
                                 ULONG* pulResult) override;
    STDMETHODIMP ResetCmdManager(ULONG ulParam, ULONG* pulErrorCode) override;
    STDMETHODIMP SetAtCmdProperty(ULONG ulPropertyId, ULONG ulParam, ULONG* pulErrorCode) override;
    STDMETHODIMP FetchMovaCnfData(ULONG* pulRemainedSig, ULONG* pulLength, ULONG* pulError, BSTR* pbstrData) override;
    STDMETHODIMP RfOtherTestService(BYTE bytReq, BYTE bytAccess, USHORT ushIndex, USHORT ushLength, VARIANT varArray,
                                    ULONG* pulResult) override;
    STDMETHODIMP FetchQueuedCnfItem(ULONG* pulRemainedSig, ULONG* pulLength, ULONG* pulError, BSTR* pbstrData) override;
    STDMETHODIMP SwitchOperateMode(ULONG ulOption, ULONG ulParam, ULONG* pulErrorCode) override;
    STDMETHODIMP ReadE2PObject(LONG ObjectID, LONG Record, BSTR* bstrBuffer, LONG* plErrorCode) override;
    STDMETHODIMP WriteE2PObject(LONG ObjectID, LONG Record, BSTR* bstrBuffer, LONG* plErrorCode) override;
    STDMETHODIMP ActivateMovaLogging(BSTR bstrFileName, ULONG ulStartTick, ULONG* pulParamError) override;
    STDMETHODIMP ProprietaryOpenComPort(LONG lOption, LONG* plErrorCode) override;
    STDMETHODIMP ProprietaryCloseComPort(LONG lOption, LONG* plErrorCode) override;
    STDMETHODIMP RetriveComPortData(LONG lOption, LONG lPollingDuration, BSTR* pbstrData, LONG* plErrorCode) override;
    STDMETHODIMP SendNormalAtCmd(LONG lOption, BSTR bstrAtString, LONG* plErrorCode) override;
    STDMETHODIMP GetNormalAtResult(LONG lOption, LONG* plDataLength, BSTR* pbstrAtData, LONG* plErrorCode) override;
    STDMETHODIMP SetCommSignal(int iIndex, LONG bValue, LONG* plErrorCode) override;
    STDMETHODIMP DetectCommSignal(int iIndex, int* piValue) override;
    STDMETHODIMP VbInitCmdManager(LONG lParam, LONG* plErrorCode) override;
    STDMETHODIMP VbSetAtCmdProperty(LONG lPropertyId, LONG lParam, LONG* plErrorCode) override;
    STDMETHODIMP VbSwitchOperateMode(LONG lOption, LONG lParam, LONG* plErrorCode) override;
    STDMETHODIMP SendE2PPasswd(LONG ObjectID, LONG Record, BSTR* bstrBuffer, LONG* plErrorCode) override;
    STDMETHODIMP SendAuthReq(LONG ObjectID, LONG Record, BSTR* bstrBuffer, LONG* plErrorCode) override;
    STDMETHODIMP SendAuthKey(LONG ObjectID, LONG Record, BSTR* bstrBuffer, LONG* plErrorCode) override;
    STDMETHODIMP SendSerialNumber(LONG ObjectID, LONG Record, BSTR* bstrBuffer, LONG* plErrorCode) override;
    STDMETHODIMP GetCmpVersion(LONG lOption, BSTR* pbstrVersion) override;
    STDMETHODIMP ActivateMovaLoggingVb(BSTR bstrFileName, LONG lStartTick, LONG lParam, LONG* plErrorCode) override;
    STDMETHODIMP AssignTimeoutConstant(LONG lOption, LONG lMiliSecTimeout) override;
    STDMETHODIMP ReadE2PObjectEx(LONG ObjectID, LONG Record, LONG StartPos, LONG* length, BSTR* bstrBuffer,
                                 LONG* plErrorCode) override;
    STDMETHODIMP WriteE2PObjectEx(LONG ObjectID, LONG Record, LONG StartPos, LONG* length, BSTR* bstrBuffer,
                                  LONG* plErrorCode) override;
    STDMETHODIMP SetCommDeviceType(short sDeviceType, LONG lDevicePara1, LONG lDevicePara2, LONG* plErrorCode) override;
    STDMETHODIMP FetchQueuedCnfTextItem(LONG* plRemainedSig, LONG* plLength, LONG* plError, BSTR* pbstrData) override;
    STDMETHODIMP ClearQueue(LONG* plErrorCode) override;
    STDMETHODIMP DirectWriteHexData(BSTR bstrBuffer, LONG lDataToWrite, LONG* plDataWrite, LONG* plErrorCode) override;
    STDMETHODIMP DirectReadHexData(BSTR* pbstrBuffer, LONG lDataToRead, LONG* plDataRead, LONG* plErrorCode) override;
    STDMETHODIMP DirectQueryDataInQueue(LONG* plDataInQueue) override;
    STDMETHODIMP SwitchCommFlowControlMode(LONG lFlowControlMode) override;
    STDMETHODIMP VbRfVarReq(LONG lReqType, BYTE bytReq, BSTR bstrParameter, LONG* plResult) override;
    STDMETHODIMP SpecificInfo(LONG lOption, int iAccess, BSTR bstrParam, BSTR* pbstrResult, LONG* plErrorCode) override;
    STDMETHODIMP HciAction(LONG lOption, BSTR bstrCmd, BSTR* pbstrReturn, LONG* plErrorCode) override;
    STDMETHODIMP DirectWriteAsciiData(VARIANT varArray, LONG lDataToWrite, LONG* plDataWrite,
                                      LONG* plErrorCode) override;
    STDMETHODIMP DirectReadAsciiData(VARIANT* pvarArray, LONG lDataToRead, LONG* plDataRead,
                                     LONG* plErrorCode) override;
    STDMETHODIMP SendHashReq(LONG ObjectID, LONG Record, BSTR* bstrBuffer, LONG* plErrorCode) override;
    STDMETHODIMP SendLockOtp(LONG lOption, LONG lRecord, BSTR* pbstrBuffer, LONG* plErrorCode) override;
    STDMETHODIMP WiFiAction(BYTE bytCmd, BSTR bstrParam, BSTR* pbstrReturn, LONG* plErrorCode) override;
    STDMETHODIMP IsCommDeviceOpen(LONG* pbOpened) override;
    STDMETHODIMP GetDeviceHandle(LONG* plHandle) override;
    STDMETHODIMP SetDeviceHandle(LONG lHandle, LONG* plErrorCode) override;
    STDMETHODIMP Set_Log_File_Path(BSTR bstrPath) override;
    STDMETHODIMP DirectWriteByteData(BYTE* pbytBuf, LONG lDataToWrite, LONG* plDataWrite, LONG* plErrorCode) override;

private:
    // Counts the references and answers for the interfaces; the outer object, if any, speaks to it only.
    class Inner final : public IUnknown {
    public:
        explicit Inner(AutomationObject& object) : object_(object) {}
        STDMETHODIMP QueryInterface(REFIID iid, void** object) override;
        STDMETHODIMP_(ULONG) AddRef() override { return ++references_; }
        STDMETHODIMP_(ULONG) Release() override;

    private:
        AutomationObject& object_;
        std::atomic<ULONG> references_{1};
    };

    explicit AutomationObject(IUnknown* outer);
    ~AutomationObject();

    const ModuleLock lock_;
    Inner inner_;
    IUnknown* const outer_;  // not counted: it owns this object
    const std::shared_ptr<EventSinks> sinks_;
    ConnectionPointContainer connectionPoints_;
    LateBinding lateBinding_;
    CVeCmdManager manager_;
};

}  // namespace mova
