// The port's bytes as they come and go.
#include "component/automation/AutomationObject.h"
#include "component/automation/ByteArray.h"
#include "component/automation/Guard.h"
#include "component/automation/Results.h"

namespace mova {

STDMETHODIMP AutomationObject::DirectWriteHexData(BSTR bstrBuffer, LONG lDataToWrite, LONG* plDataWrite,
                                                  LONG* plErrorCode) {
    return guarded([&] {
        const CountResult result = manager_.DirectWriteHexData(narrow(bstrBuffer), lDataToWrite);
        put(plDataWrite, result.count);
        return putCode(plErrorCode, result.code);
    });
}

STDMETHODIMP AutomationObject::DirectReadHexData(BSTR* pbstrBuffer, LONG lDataToRead, LONG* plDataRead,
                                                 LONG* plErrorCode) {
    return guarded([&] {
        const ReadResult result = manager_.DirectReadHexData(lDataToRead);
        if (result.data) putText(pbstrBuffer, wide(*result.data));
        put(plDataRead, result.count);
        return putCode(plErrorCode, result.code);
    });
}

STDMETHODIMP AutomationObject::DirectQueryDataInQueue(LONG* plDataInQueue) {
    return guarded([&] { return put(plDataInQueue, manager_.DirectQueryDataInQueue()); });
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
        const ByteArray array(pvarArray ? *pvarArray : VARIANT{});  // null: a VARIANT without an array
        const CountResult result = manager_.DirectReadAsciiData(array.bytes(), lDataToRead);
        put(plDataRead, result.count);
        return putCode(plErrorCode, result.code);
    });
}

STDMETHODIMP AutomationObject::DirectWriteByteData(BYTE* pbytBuf, LONG lDataToWrite, LONG* plDataWrite,
                                                   LONG* plErrorCode) {
    return guarded([&] {
        const CountResult result = manager_.DirectWriteByteData(pbytBuf, lDataToWrite);
        put(plDataWrite, result.count);
        return putCode(plErrorCode, result.code);
    });
}

// Deliberate: plErrorCode is not written.
STDMETHODIMP AutomationObject::RetriveComPortData(LONG lOption, LONG lPollingDuration, BSTR* pbstrData, LONG*) {
    return guarded([&] {
        const auto collected = manager_.RetriveComPortData(lOption, lPollingDuration);
        if (collected) putText(pbstrData, wide(*collected));
        return S_OK;
    });
}

}  // namespace mova
