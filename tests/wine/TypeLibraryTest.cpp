// Reads the library back from the built DLL: what compiled clients and scripts rely on.
#include <map>

#include "Client.h"

namespace mova::test {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

ComPtr<ITypeLib> library() {
    ComPtr<ITypeLib> library;
    EXPECT_EQ(LoadTypeLibEx(dllPath().c_str(), REGKIND_NONE, library.receive()), S_OK);
    return library;
}

std::string narrowed(BSTR text) {
    const std::wstring wide(text, SysStringLen(text));
    SysFreeString(text);
    return {wide.begin(), wide.end()};
}

std::string nameOf(ITypeInfo* info, MEMBERID id = MEMBERID_NIL) {
    BSTR name = nullptr;
    info->GetDocumentation(id, &name, nullptr, nullptr, nullptr);
    return narrowed(name);
}

std::string helpOf(ITypeInfo* info) {
    BSTR help = nullptr;
    info->GetDocumentation(MEMBERID_NIL, nullptr, &help, nullptr, nullptr);
    return narrowed(help);
}

// The vtable's view of the dual interface.
ComPtr<ITypeInfo> vtableView(ITypeLib* from) {
    ComPtr<ITypeInfo> dispatch;
    EXPECT_EQ(from->GetTypeInfoOfGuid(__uuidof(IVeCmdManager), dispatch.receive()), S_OK);
    HREFTYPE reference = 0;
    EXPECT_EQ(dispatch->GetRefTypeOfImplType(static_cast<UINT>(-1), &reference), S_OK);
    ComPtr<ITypeInfo> view;
    EXPECT_EQ(dispatch->GetRefTypeInfo(reference, view.receive()), S_OK);
    return view;
}

std::string typeName(const TYPEDESC& type) {
    switch (type.vt) {
        case VT_PTR: return typeName(*type.lptdesc) + "*";
        case VT_I2: return "short";
        case VT_I4: return "long";
        case VT_INT: return "int";
        case VT_UI1: return "unsigned char";
        case VT_UI2: return "unsigned short";
        case VT_UI4: return "unsigned long";
        case VT_BSTR: return "BSTR";
        case VT_VARIANT: return "VARIANT";
        default: return "type " + std::to_string(type.vt);
    }
}

std::string flagsOf(const ELEMDESC& element) {
    const USHORT flags = element.paramdesc.wParamFlags;
    std::string text;
    if (flags & PARAMFLAG_FIN) text += "in";
    if (flags & PARAMFLAG_FOUT) text += text.empty() ? "out" : ",out";
    if (flags & PARAMFLAG_FRETVAL) text += ",retval";
    return "[" + text + "] ";
}

// "slot id kind name(parameters)"
std::string describe(ITypeInfo* info, UINT index, std::size_t firstSlot) {
    FUNCDESC* function = nullptr;
    EXPECT_EQ(info->GetFuncDesc(index, &function), S_OK);
    BSTR names[16] = {};
    UINT count = 0;
    info->GetNames(function->memid, names, 16, &count);
    const char* const kind = function->invkind == INVOKE_PROPERTYGET   ? "get "
                             : function->invkind == INVOKE_PROPERTYPUT ? "put "
                                                                       : "";
    std::string text = std::to_string(static_cast<std::size_t>(function->oVft) / sizeof(void*) - firstSlot) + " " +
                       std::to_string(function->memid) + " " + kind + narrowed(names[0]) + "(";
    for (SHORT i = 0; i < function->cParams; ++i) {
        const ELEMDESC& element = function->lprgelemdescParam[i];
        if (i > 0) text += ", ";
        text += flagsOf(element) + typeName(element.tdesc);
        const auto name = static_cast<UINT>(i + 1);
        if (function->invkind != INVOKE_PROPERTYPUT && name < count)
            text += " " + narrowed(std::exchange(names[name], nullptr));
    }
    for (UINT i = 1; i < count; ++i) SysFreeString(names[i]);
    EXPECT_EQ(function->elemdescFunc.tdesc.vt, VT_HRESULT);
    EXPECT_EQ(function->callconv, CC_STDCALL);
    info->ReleaseFuncDesc(function);
    return text + ")";
}

std::wstring idText(REFGUID id) {
    wchar_t buffer[40];
    StringFromGUID2(id, buffer, 40);
    return buffer;
}

TEST(TypeLibrary, IsTheOneThatClientsKnow) {
    const auto lib = library();
    TLIBATTR* attributes = nullptr;
    ASSERT_EQ(lib->GetLibAttr(&attributes), S_OK);
    EXPECT_EQ(idText(attributes->guid), L"{42F19DC8-90EF-428C-9410-46300A83FA1A}");
    EXPECT_EQ(attributes->lcid, 0x409u);
    EXPECT_EQ(attributes->wMajorVerNum, 1);
    EXPECT_EQ(attributes->wMinorVerNum, 0);
    EXPECT_EQ(attributes->syskind, sizeof(void*) == 8 ? SYS_WIN64 : SYS_WIN32);
    lib->ReleaseTLibAttr(attributes);
    BSTR name = nullptr;
    BSTR help = nullptr;
    ASSERT_EQ(lib->GetDocumentation(-1, &name, &help, nullptr, nullptr), S_OK);
    EXPECT_EQ(narrowed(name), "MOVACMDSVRLib");
    EXPECT_EQ(narrowed(help), "MovaCmdSvr 1.0 Type Library");
}

TEST(TypeLibrary, IdentifiersNeverChange) {
    EXPECT_EQ(idText(__uuidof(IVeCmdManager)), L"{FF0381D5-EB26-4F16-A82F-7F593595B369}");
    EXPECT_EQ(idText(__uuidof(_IVeCmdManagerEvents)), L"{DEB4045C-EDD6-4221-8A33-7225B054A6D3}");
    EXPECT_EQ(idText(__uuidof(VeCmdManager)), L"{FE640147-2F81-4A07-AF44-F1B818ED5CEE}");
}

TEST(TypeLibrary, InterfaceIsDualAndDerivesFromIDispatch) {
    const auto view = vtableView(library().get());
    TYPEATTR* attributes = nullptr;
    ASSERT_EQ(view->GetTypeAttr(&attributes), S_OK);
    EXPECT_EQ(attributes->typekind, TKIND_INTERFACE);
    EXPECT_TRUE(attributes->wTypeFlags & TYPEFLAG_FDUAL);
    EXPECT_TRUE(attributes->wTypeFlags & TYPEFLAG_FOLEAUTOMATION);
    EXPECT_EQ(attributes->cImplTypes, 1);
    view->ReleaseTypeAttr(attributes);
    HREFTYPE reference = 0;
    ASSERT_EQ(view->GetRefTypeOfImplType(0, &reference), S_OK);
    ComPtr<ITypeInfo> base;
    ASSERT_EQ(view->GetRefTypeInfo(reference, base.receive()), S_OK);
    EXPECT_EQ(nameOf(base.get()), "IDispatch");
}

TEST(TypeLibrary, EntriesStandInTheirSlotsWithIdsAndNames) {
    const auto view = vtableView(library().get());
    TYPEATTR* attributes = nullptr;
    ASSERT_EQ(view->GetTypeAttr(&attributes), S_OK);
    const UINT count = attributes->cFuncs;
    view->ReleaseTypeAttr(attributes);
    std::vector<std::string> entries;
    for (UINT i = 0; i < count; ++i) entries.push_back(describe(view.get(), i, 7));
    const std::vector<std::string> expected{
        "0 1 get BaudRate([out,retval] long* pVal)",
        "1 1 put BaudRate([in] long)",
        "2 2 get CommPortId([out,retval] long* pVal)",
        "3 2 put CommPortId([in] long)",
        "4 3 InitCmdManager([in] unsigned long ulParam, [out] unsigned long* pulErrorCode)",
        "5 4 SetGeneralParam([in] unsigned long ulParam1, [in] unsigned long ulParam2, [in] unsigned long ulParam3, "
        "[in] int iParam4, [in] int iParam5, [in] int iParam6)",
        "6 5 RfGeneralTestReq([in] unsigned char bytServiceType, [in] unsigned short ushIndex, "
        "[out] unsigned long* pulResult)",
        "7 6 RfChangeParamReq([in] unsigned char bytReq, [in] unsigned char bytAccess, [in] unsigned short ushIndex, "
        "[in] unsigned short ushParam, [out] unsigned long* pulResult)",
        "8 7 RfChangeTableReq([in] unsigned char bytReq, [in] unsigned char bytAccess, [in] unsigned short ushIndex, "
        "[in] unsigned short ushLength, [in] VARIANT varArray, [out] unsigned long* pulResult)",
        "9 8 RfTestCaseReq([in] unsigned char bytReq, [in] unsigned char bytAccess, [out] unsigned long* pulResult)",
        "10 9 RfStatisticsReq([in] unsigned char bytReq, [in] unsigned char bytAccess, [in] unsigned short ushIndex, "
        "[in] unsigned short ushParam, [out] unsigned long* pulResult)",
        "11 10 ResetCmdManager([in] unsigned long ulParam, [out] unsigned long* pulErrorCode)",
        "12 11 SetAtCmdProperty([in] unsigned long ulPropertyId, [in] unsigned long ulParam, "
        "[out] unsigned long* pulErrorCode)",
        "13 12 FetchMovaCnfData([out] unsigned long* pulRemainedSig, [out] unsigned long* pulLength, "
        "[out] unsigned long* pulError, [out] BSTR* pbstrData)",
        "14 13 RfOtherTestService([in] unsigned char bytReq, [in] unsigned char bytAccess, [in] unsigned short "
        "ushIndex, "
        "[in] unsigned short ushLength, [in] VARIANT varArray, [out] unsigned long* pulResult)",
        "15 14 FetchQueuedCnfItem([out] unsigned long* pulRemainedSig, [out] unsigned long* pulLength, "
        "[out] unsigned long* pulError, [out] BSTR* pbstrData)",
        "16 15 SwitchOperateMode([in] unsigned long ulOption, [in] unsigned long ulParam, "
        "[out] unsigned long* pulErrorCode)",
        "17 16 ReadE2PObject([in] long ObjectID, [in] long Record, [out] BSTR* bstrBuffer, "
        "[out,retval] long* plErrorCode)",
        "18 17 WriteE2PObject([in] long ObjectID, [in] long Record, [in,out] BSTR* bstrBuffer, "
        "[out,retval] long* plErrorCode)",
        "19 18 ActivateMovaLogging([in] BSTR bstrFileName, [in] unsigned long ulStartTick, "
        "[in,out] unsigned long* pulParamError)",
        "20 19 ProprietaryOpenComPort([in] long lOption, [out,retval] long* plErrorCode)",
        "21 20 ProprietaryCloseComPort([in] long lOption, [out,retval] long* plErrorCode)",
        "22 21 RetriveComPortData([in] long lOption, [in] long lPollingDuration, [out] BSTR* pbstrData, "
        "[out,retval] long* plErrorCode)",
        "23 22 SendNormalAtCmd([in] long lOption, [in] BSTR bstrAtString, [out,retval] long* plErrorCode)",
        "24 23 GetNormalAtResult([in] long lOption, [out] long* plDataLength, [out] BSTR* pbstrAtData, "
        "[out,retval] long* plErrorCode)",
        "25 24 SetCommSignal([in] int iIndex, [in] long bValue, [out,retval] long* plErrorCode)",
        "26 25 DetectCommSignal([in] int iIndex, [out,retval] int* piValue)",
        "27 26 VbInitCmdManager([in] long lParam, [out,retval] long* plErrorCode)",
        "28 27 VbSetAtCmdProperty([in] long lPropertyId, [in] long lParam, [out,retval] long* plErrorCode)",
        "29 28 VbSwitchOperateMode([in] long lOption, [in] long lParam, [out,retval] long* plErrorCode)",
        "30 29 SendE2PPasswd([in] long ObjectID, [in] long Record, [in,out] BSTR* bstrBuffer, "
        "[out,retval] long* plErrorCode)",
        "31 30 SendAuthReq([in] long ObjectID, [in] long Record, [out] BSTR* bstrBuffer, [out,retval] long* "
        "plErrorCode)",
        "32 31 SendAuthKey([in] long ObjectID, [in] long Record, [in,out] BSTR* bstrBuffer, "
        "[out,retval] long* plErrorCode)",
        "33 32 SendSerialNumber([in] long ObjectID, [in] long Record, [in,out] BSTR* bstrBuffer, "
        "[out,retval] long* plErrorCode)",
        "34 33 GetCmpVersion([in] long lOption, [out,retval] BSTR* pbstrVersion)",
        "35 34 ActivateMovaLoggingVb([in] BSTR bstrFileName, [in] long lStartTick, [in] long lParam, "
        "[out,retval] long* plErrorCode)",
        "36 35 AssignTimeoutConstant([in] long lOption, [in] long lMiliSecTimeout)",
        "37 36 ReadE2PObjectEx([in] long ObjectID, [in] long Record, [in] long StartPos, [in,out] long* length, "
        "[out] BSTR* bstrBuffer, [out,retval] long* plErrorCode)",
        "38 37 WriteE2PObjectEx([in] long ObjectID, [in] long Record, [in] long StartPos, [in,out] long* length, "
        "[in,out] BSTR* bstrBuffer, [out,retval] long* plErrorCode)",
        "39 38 SetCommDeviceType([in] short sDeviceType, [in] long lDevicePara1, [in] long lDevicePara2, "
        "[out,retval] long* plErrorCode)",
        "40 39 FetchQueuedCnfTextItem([out] long* plRemainedSig, [out] long* plLength, [out] long* plError, "
        "[out] BSTR* pbstrData)",
        "41 40 ClearQueue([out,retval] long* plErrorCode)",
        "42 41 DirectWriteHexData([in] BSTR bstrBuffer, [in] long lDataToWrite, [out] long* plDataWrite, "
        "[out,retval] long* plErrorCode)",
        "43 42 DirectReadHexData([out] BSTR* pbstrBuffer, [in] long lDataToRead, [out] long* plDataRead, "
        "[out,retval] long* plErrorCode)",
        "44 43 DirectQueryDataInQueue([out,retval] long* plDataInQueue)",
        "45 44 SwitchCommFlowControlMode([in] long lFlowControlMode)",
        "46 45 VbRfVarReq([in] long lReqType, [in] unsigned char bytReq, [in] BSTR bstrParameter, "
        "[out,retval] long* plResult)",
        "47 46 SpecificInfo([in] long lOption, [in] int iAccess, [in] BSTR bstrParam, [out] BSTR* pbstrResult, "
        "[out,retval] long* plErrorCode)",
        "48 47 HciAction([in] long lOption, [in] BSTR bstrCmd, [out] BSTR* pbstrReturn, [out,retval] long* "
        "plErrorCode)",
        "49 48 DirectWriteAsciiData([in] VARIANT varArray, [in] long lDataToWrite, [out] long* plDataWrite, "
        "[out,retval] long* plErrorCode)",
        "50 49 DirectReadAsciiData([out] VARIANT* pvarArray, [in] long lDataToRead, [out] long* plDataRead, "
        "[out,retval] long* plErrorCode)",
        "51 50 SendHashReq([in] long ObjectID, [in] long Record, [out] BSTR* bstrBuffer, [out,retval] long* "
        "plErrorCode)",
        "52 51 SendLockOtp([in] long lOption, [in] long lRecord, [out] BSTR* pbstrBuffer, [out,retval] long* "
        "plErrorCode)",
        "53 52 WiFiAction([in] unsigned char bytCmd, [in] BSTR bstrParam, [out] BSTR* pbstrReturn, "
        "[out,retval] long* plErrorCode)",
        "54 53 IsCommDeviceOpen([out,retval] long* pbOpened)",
        "55 54 GetDeviceHandle([out,retval] long* plHandle)",
        "56 55 SetDeviceHandle([in] long lHandle, [out,retval] long* plErrorCode)",
        "57 56 Set_Log_File_Path([in] BSTR bstrPath)",
        "58 57 DirectWriteByteData([in] unsigned char* pbytBuf, [in] long lDataToWrite, [out] long* plDataWrite, "
        "[out,retval] long* plErrorCode)",
    };
    EXPECT_THAT(entries, ElementsAreArray(expected));
}

TEST(TypeLibrary, EventsAreAPureDispatchInterface) {
    ComPtr<ITypeInfo> events;
    ASSERT_EQ(library()->GetTypeInfoOfGuid(__uuidof(_IVeCmdManagerEvents), events.receive()), S_OK);
    TYPEATTR* attributes = nullptr;
    ASSERT_EQ(events->GetTypeAttr(&attributes), S_OK);
    EXPECT_EQ(attributes->typekind, TKIND_DISPATCH);
    EXPECT_FALSE(attributes->wTypeFlags & TYPEFLAG_FDUAL);
    const UINT count = attributes->cFuncs;
    events->ReleaseTypeAttr(attributes);
    std::vector<std::string> entries;
    for (UINT i = 0; i < count; ++i) {
        FUNCDESC* function = nullptr;
        ASSERT_EQ(events->GetFuncDesc(i, &function), S_OK);
        BSTR names[4] = {};
        UINT named = 0;
        events->GetNames(function->memid, names, 4, &named);
        std::string text = std::to_string(function->memid);
        for (UINT name = 0; name < named; ++name) text += " " + narrowed(names[name]);
        for (SHORT p = 0; p < function->cParams; ++p) text += " " + typeName(function->lprgelemdescParam[p].tdesc);
        entries.push_back(text);
        events->ReleaseFuncDesc(function);
    }
    EXPECT_THAT(entries, ElementsAre("1 OnCpMsgInfo bstrMsg lParamAlpha lParamBeta BSTR long long",
                                     "2 OnCpGetMovaCnf lType lParam bstrDataBuffer long long BSTR"));
}

// A name and a number of a member, with the help that an object browser shows.
struct Member {
    std::string name;
    std::int32_t number = 0;
    std::string help;
};

std::vector<Member> membersOf(ITypeInfo* enumeration) {
    TYPEATTR* attributes = nullptr;
    EXPECT_EQ(enumeration->GetTypeAttr(&attributes), S_OK);
    const UINT count = attributes->cVars;
    enumeration->ReleaseTypeAttr(attributes);
    std::vector<Member> members;
    for (UINT i = 0; i < count; ++i) {
        VARDESC* variable = nullptr;
        EXPECT_EQ(enumeration->GetVarDesc(i, &variable), S_OK);
        EXPECT_EQ(variable->varkind, VAR_CONST);
        EXPECT_EQ(V_VT(variable->lpvarValue), VT_I4);
        BSTR name = nullptr;
        BSTR help = nullptr;
        EXPECT_EQ(enumeration->GetDocumentation(variable->memid, &name, &help, nullptr, nullptr), S_OK);
        const std::int32_t value = V_I4(variable->lpvarValue);
        members.push_back({narrowed(name), value, narrowed(help)});
        enumeration->ReleaseVarDesc(variable);
    }
    return members;
}

std::vector<ComPtr<ITypeInfo>> enumerations(ITypeLib* from) {
    std::vector<ComPtr<ITypeInfo>> found;
    for (UINT i = 3; i < from->GetTypeInfoCount(); ++i) {
        ComPtr<ITypeInfo> info;
        EXPECT_EQ(from->GetTypeInfo(i, info.receive()), S_OK);
        found.push_back(std::move(info));
    }
    return found;
}

TEST(TypeLibrary, InterfaceEventsAndClassComeFirstAndEnumerationsBehindThem) {
    const auto lib = library();
    ASSERT_EQ(lib->GetTypeInfoCount(), 19u);
    std::vector<std::string> first;
    for (UINT i = 0; i < 3; ++i) {
        TYPEKIND kind{};
        EXPECT_EQ(lib->GetTypeInfoType(i, &kind), S_OK);
        ComPtr<ITypeInfo> info;
        EXPECT_EQ(lib->GetTypeInfo(i, info.receive()), S_OK);
        first.push_back(nameOf(info.get()) + " " + std::to_string(kind));
    }
    // 4: dispatch, which a dual interface is by this number, too; 5: class
    EXPECT_THAT(first, ElementsAre("IVeCmdManager 4", "_IVeCmdManagerEvents 4", "VeCmdManager 5"));
    for (UINT i = 3; i < 19; ++i) {
        TYPEKIND kind{};
        EXPECT_EQ(lib->GetTypeInfoType(i, &kind), S_OK);
        EXPECT_EQ(kind, TKIND_ENUM) << i;
    }
}

TEST(TypeLibrary, EnumerationsNameTheNumbers) {
    std::vector<std::string> entries;
    const auto lib = library();
    for (const auto& enumeration : enumerations(lib.get())) {
        std::string text = nameOf(enumeration.get()) + ":";
        for (const Member& member : membersOf(enumeration.get())) {
            text += " " + member.name + "=" + std::to_string(member.number);
        }
        entries.push_back(text);
    }
    const std::vector<std::string> expected{
        "MovaCode: movaCodeSuccess=0 movaCodeStopped=16 movaCodeNoTraceFile=4098 movaCodeBadAtCommand=8199 "
        "movaCodeUnknownProperty=12289 movaCodeMalformedConfirmation=12289 movaCodeWrongArrayType=12289 "
        "movaCodeReaderNotStarted=12293 movaCodeWaitFailed=12294 movaCodeNotOpen=16384 movaCodeNotSerial=16385 "
        "movaCodePortUnreadable=16386 movaCodeNotConfigured=16387 movaCodeNoAnswer=16388 "
        "movaCodeWriteTimeout=16389 movaCodeShortWrite=16400 movaCodeChecksumMismatch=16401 "
        "movaCodeNotSynchronous=16404 movaCodeEventMaskNotSet=16897 movaCodeWrongCommandEcho=16899 "
        "movaCodeWrongObject=16900 movaCodeWrongRecord=16901 movaCodeWrongData=16902 "
        "movaCodeWrongDataLength=16903 movaCodeUnknownOption=17157 movaCodeNotInitialised=17175 "
        "movaCodeReadFailed=17216 movaCodeWriteFailed=17217 movaCodeErrorsNotCleared=17218 "
        "movaCodeNotClosed=17219 movaCodeSignalNotSet=17220 movaCodeSignalsUnreadable=17221 "
        "movaCodeAlreadyOpen=17222 movaCodeOtpError=25344 movaCodeE2pStatus2=33281 movaCodeE2pStatus3=33282 "
        "movaCodeE2pStatus4=33283 movaCodeE2pStatus5=33284 movaCodeE2pStatus6=33285 movaCodeE2pStatus7=33286 "
        "movaCodeE2pStatus8=33287 movaCodeE2pStatus9=33288 movaCodeE2pStatus10=33289 movaCodeE2pStatus11=33290 "
        "movaCodeE2pStatus12=33291 movaCodeE2pStatusOther=33292 movaCodeE2pStatus15=33552 "
        "movaCodeE2pStatus16=33553 movaCodeE2pStatus17=33554 movaCodeE2pStatus13=33555 movaCodeE2pStatus14=33556 "
        "movaCodeE2pStatus18=33557 movaCodeE2pStatus19=33558 movaCodeE2pStatus20=33559 "
        "movaCodeFlashChecksum=45888 movaCodeFlashCounterAtLimit=45889 movaCodeFlashNotInProgress=45890 "
        "movaCodeHciStatus=54019 movaCodeWifiStatus1=54144 movaCodeWifiStatus2=54145",
        "MovaMode: movaModeSynchronous=0 movaModeEvents=1 movaModeBackground=2 movaModeSynchronousOk=3 "
        "movaModeSynchronousOk4=4 movaModeBackgroundOk=5",
        "MovaTimeout: movaTimeoutWrite=1 movaTimeoutRfAcknowledgement=3 movaTimeoutAcknowledgement=4 "
        "movaTimeoutAtWrite=5",
        "MovaProperty: movaPropertyEcho=1 movaPropertyWake=2 movaPropertyUartSwap=3 movaPropertyCall112=4 "
        "movaPropertyHangUp=5 movaPropertyFullFunction=6 movaPropertyRegisterAutomatically=7 "
        "movaPropertySleepModeOn=8 movaPropertySleepModeOff=9 movaPropertyAutoAnswer=10 movaPropertySendJ=11 "
        "movaPropertyBypass=12 movaPropertySendK=13 movaPropertyBoardTest=14 movaPropertyWaits=100",
        "MovaCollect: movaCollectTextAndPending=1 movaCollectWholeRecord=2",
        "MovaInfo: movaInfoVersion=0 movaInfoField1=1 movaInfoImei=2 movaInfoField3=3 movaInfoField4=4 "
        "movaInfoField5=5 movaInfoField6=6 movaInfoField7=7 movaInfoField8=8 movaInfoFlashStatus=9 "
        "movaInfoOtpStatus=10",
        "MovaAccess: movaAccessRead=0 movaAccessWrite=1",
        "MovaOutputSignal: movaOutputRts=0 movaOutputDtr=1",
        "MovaInputSignal: movaInputWholeStatus=-1 movaInputCts=0 movaInputDsr=1 movaInputRing=2 "
        "movaInputCarrier=3",
        "MovaStatusBit: movaStatusCts=16 movaStatusDsr=32 movaStatusRing=64 movaStatusCarrier=128",
        "MovaFlowControl: movaFlowControlRtsHandshake=1 movaFlowControlRtsCts=2 movaFlowControlDtrHandshake=3 "
        "movaFlowControlDtrDsr=4 movaFlowControlXonXoffOut=5 movaFlowControlXonXoffIn=6 movaFlowControlXonXoff=7 "
        "movaFlowControlNone=8",
        "MovaDevice: movaDeviceSerial=0",
        "MovaCmp: movaCmpVersion=1 movaCmpBuild=2",
        "MovaRawData: movaCollectRawData=3",
        "MovaTrace: movaStartTrace=1",
        "MovaRfRequest: movaRfRequestChangeParameter=1 movaRfRequestChangeTable=2 movaRfRequestTestCase=3 "
        "movaRfRequestStatistics=4",
    };
    EXPECT_THAT(entries, ElementsAreArray(expected));
}

TEST(TypeLibrary, EachNumberHasItsHelp) {
    std::map<std::string, std::string> helps;
    const auto lib = library();
    for (const auto& enumeration : enumerations(lib.get())) {
        EXPECT_NE(helpOf(enumeration.get()), "") << nameOf(enumeration.get());
        for (const Member& member : membersOf(enumeration.get())) {
            EXPECT_NE(member.help, "") << member.name;
            EXPECT_TRUE(helps.emplace(member.name, member.help).second) << member.name << " is there twice";
        }
    }
    EXPECT_EQ(helps.size(), 128u);
    EXPECT_EQ(helps["movaCodeSuccess"], "success");
    EXPECT_EQ(helps["movaCodeNoAnswer"], "no (accepted) answer within the time");
    EXPECT_EQ(helps["movaCodeWifiStatus2"], "WiFi status 2");
    EXPECT_EQ(helps["movaModeBackgroundOk"], "A background thread; to the queue; OK ends an answer");
    EXPECT_EQ(helps["movaInputWholeStatus"], "All of them, as the bits of MovaStatusBit");
    EXPECT_EQ(helps["movaPropertySendJ"], "<j");
    EXPECT_EQ(helps["movaRfRequestStatistics"], "RfStatisticsReq");
}

TEST(TypeLibrary, ClassHasItsInterfaceAndItsDefaultSource) {
    ComPtr<ITypeInfo> coclass;
    ASSERT_EQ(library()->GetTypeInfoOfGuid(__uuidof(VeCmdManager), coclass.receive()), S_OK);
    EXPECT_EQ(nameOf(coclass.get()), "VeCmdManager");
    EXPECT_EQ(helpOf(coclass.get()), "VeCmdManager Class");
    std::vector<std::string> implemented;
    for (UINT i = 0; i < 2; ++i) {
        HREFTYPE reference = 0;
        ASSERT_EQ(coclass->GetRefTypeOfImplType(i, &reference), S_OK);
        ComPtr<ITypeInfo> info;
        ASSERT_EQ(coclass->GetRefTypeInfo(reference, info.receive()), S_OK);
        INT flags = 0;
        ASSERT_EQ(coclass->GetImplTypeFlags(i, &flags), S_OK);
        implemented.push_back(nameOf(info.get()) + " " + std::to_string(flags));
    }
    EXPECT_THAT(implemented, ElementsAre("IVeCmdManager 1", "_IVeCmdManagerEvents 3"));  // 1 default, 2 source
}

TEST(Resources, VersionIsThatOfTheComponent) {
    DWORD none = 0;
    const DWORD size = GetFileVersionInfoSizeW(dllPath().c_str(), &none);
    ASSERT_GT(size, 0u);
    std::vector<char> data(size);
    ASSERT_TRUE(GetFileVersionInfoW(dllPath().c_str(), 0, size, data.data()));
    VS_FIXEDFILEINFO* info = nullptr;
    UINT length = 0;
    ASSERT_TRUE(VerQueryValueW(data.data(), L"\\", reinterpret_cast<void**>(&info), &length));
    EXPECT_EQ(info->dwFileVersionMS, 0x00010008u);
    EXPECT_EQ(info->dwFileVersionLS, 0x00040000u);
    EXPECT_EQ(info->dwFileType, static_cast<DWORD>(VFT_DLL));
}

TEST(Resources, StringTableHasTheModulesNameAlone) {
    const HMODULE module = LoadLibraryExW(dllPath().c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
    ASSERT_TRUE(module);
    wchar_t text[64] = {};
    EXPECT_EQ(LoadStringW(module, 100, text, 64), 10);
    EXPECT_EQ(std::wstring(text), L"MovaCmdSvr");
    for (UINT id = 96; id < 112; ++id) {
        EXPECT_TRUE(id == 100 || LoadStringW(module, id, text, 64) == 0) << id;
    }
    FreeLibrary(module);
}

}  // namespace
}  // namespace mova::test
