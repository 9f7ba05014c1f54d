// RF tests, and the queue of the handset's confirmations.
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

}  // namespace

STDMETHODIMP AutomationObject::RfGeneralTestReq(BYTE bytServiceType, USHORT ushIndex, ULONG* pulResult) {
    return guarded([&] { return putCode(pulResult, manager_.RfGeneralTestReq(bytServiceType, ushIndex)); });
}

STDMETHODIMP AutomationObject::RfChangeParamReq(BYTE bytReq, BYTE bytAccess, USHORT ushIndex, USHORT ushParam,
                                                ULONG* pulResult) {
    return guarded(
        [&] { return putCode(pulResult, manager_.RfChangeParamReq(bytReq, bytAccess, ushIndex, ushParam)); });
}

STDMETHODIMP AutomationObject::RfChangeTableReq(BYTE bytReq, BYTE bytAccess, USHORT ushIndex, USHORT ushLength,
                                                VARIANT varArray, ULONG* pulResult) {
    return guarded([&] {
        const ByteArray array(varArray);
        return putCode(pulResult, manager_.RfChangeTableReq(bytReq, bytAccess, ushIndex, ushLength, table(array)));
    });
}

STDMETHODIMP AutomationObject::RfTestCaseReq(BYTE bytReq, BYTE bytAccess, ULONG* pulResult) {
    return guarded([&] { return putCode(pulResult, manager_.RfTestCaseReq(bytReq, bytAccess)); });
}

STDMETHODIMP AutomationObject::RfStatisticsReq(BYTE bytReq, BYTE bytAccess, USHORT ushIndex, USHORT ushParam,
                                               ULONG* pulResult) {
    return RfChangeParamReq(bytReq, bytAccess, ushIndex, ushParam, pulResult);
}

STDMETHODIMP AutomationObject::RfOtherTestService(BYTE bytReq, BYTE bytAccess, USHORT ushIndex, USHORT ushLength,
                                                  VARIANT varArray, ULONG* pulResult) {
    return RfChangeTableReq(bytReq, bytAccess, ushIndex, ushLength, varArray, pulResult);
}

STDMETHODIMP AutomationObject::VbRfVarReq(LONG lReqType, BYTE bytReq, BSTR bstrParameter, LONG* plResult) {
    return guarded([&] { return putCode(plResult, manager_.VbRfVarReq(lReqType, bytReq, narrow(bstrParameter))); });
}

STDMETHODIMP AutomationObject::FetchQueuedCnfItem(ULONG* pulRemainedSig, ULONG* pulLength, ULONG* pulError,
                                                  BSTR* pbstrData) {
    return guarded([&] {
        const QueuedItem item = manager_.FetchQueuedCnfItem();
        return putQueued(item, packed(item.data), pulRemainedSig, pulLength, pulError, pbstrData);
    });
}

STDMETHODIMP AutomationObject::FetchMovaCnfData(ULONG* pulRemainedSig, ULONG* pulLength, ULONG* pulError,
                                                BSTR* pbstrData) {
    return FetchQueuedCnfItem(pulRemainedSig, pulLength, pulError, pbstrData);
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
    return guarded([&] { manager_.ClearQueue(); });
}

}  // namespace mova
