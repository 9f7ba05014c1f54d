// E2P objects, the Bluetooth controller, WiFi.
#include "component/automation/AutomationObject.h"
#include "component/automation/Guard.h"
#include "component/automation/Results.h"

namespace mova {

namespace {

std::string textBehind(const BSTR* text) { return text ? narrow(*text) : std::string(); }

LONG valueBehind(const LONG* value) { return value ? *value : 0; }

// For texts that the client only receives.
HRESULT putReply(const TextResult& result, BSTR* text, LONG* code) {
    if (result.text) putText(text, wide(*result.text));
    return putCodeAndStatus(code, result.code);
}

// For texts that the client passes in and gets back.
HRESULT replaceByReply(const TextResult& result, BSTR* text, LONG* code) {
    if (result.text) replaceText(text, wide(*result.text));
    return putCodeAndStatus(code, result.code);
}

}  // namespace

STDMETHODIMP AutomationObject::ReadE2PObject(LONG ObjectID, LONG Record, BSTR* bstrBuffer, LONG* plErrorCode) {
    return guarded([&] { return putReply(manager_.ReadE2PObject(ObjectID, Record), bstrBuffer, plErrorCode); });
}

STDMETHODIMP AutomationObject::WriteE2PObject(LONG ObjectID, LONG Record, BSTR* bstrBuffer, LONG* plErrorCode) {
    return guarded([&] {
        return replaceByReply(manager_.WriteE2PObject(ObjectID, Record, textBehind(bstrBuffer)), bstrBuffer,
                              plErrorCode);
    });
}

STDMETHODIMP AutomationObject::ReadE2PObjectEx(LONG ObjectID, LONG Record, LONG StartPos, LONG* length,
                                               BSTR* bstrBuffer, LONG* plErrorCode) {
    return guarded([&] {
        const RangeResult result = manager_.ReadE2PObjectEx(ObjectID, Record, StartPos, valueBehind(length));
        if (result.text) putText(bstrBuffer, wide(*result.text));
        if (result.length) put(length, *result.length);
        return putCodeAndStatus(plErrorCode, result.code);
    });
}

STDMETHODIMP AutomationObject::WriteE2PObjectEx(LONG ObjectID, LONG Record, LONG StartPos, LONG* length,
                                                BSTR* bstrBuffer, LONG* plErrorCode) {
    return guarded([&] {
        const RangeResult result =
            manager_.WriteE2PObjectEx(ObjectID, Record, StartPos, valueBehind(length), textBehind(bstrBuffer));
        if (result.length) put(length, *result.length);
        return putCodeAndStatus(plErrorCode, result.code);
    });
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

STDMETHODIMP AutomationObject::SendHashReq(LONG ObjectID, LONG Record, BSTR* bstrBuffer, LONG* plErrorCode) {
    return guarded([&] { return putReply(manager_.SendHashReq(ObjectID, Record), bstrBuffer, plErrorCode); });
}

STDMETHODIMP AutomationObject::SendLockOtp(LONG lOption, LONG lRecord, BSTR* pbstrBuffer, LONG* plErrorCode) {
    return guarded([&] { return putReply(manager_.SendLockOtp(lOption, lRecord), pbstrBuffer, plErrorCode); });
}

STDMETHODIMP AutomationObject::HciAction(LONG lOption, BSTR bstrCmd, BSTR* pbstrReturn, LONG* plErrorCode) {
    return guarded([&] { return putReply(manager_.HciAction(lOption, narrow(bstrCmd)), pbstrReturn, plErrorCode); });
}

STDMETHODIMP AutomationObject::WiFiAction(BYTE bytCmd, BSTR bstrParam, BSTR* pbstrReturn, LONG* plErrorCode) {
    return guarded([&] {
        const TextResult result = manager_.WiFiAction(bytCmd, narrow(bstrParam));
        if (result.text) putText(pbstrReturn, wide(*result.text));
        return putCode(plErrorCode, result.code);
    });
}

}  // namespace mova
