// Late-bound calls, in the shapes in which hosts make them. A manager whose port does not exist answers InitCmdManager
// with 0x4000.
#include "Client.h"

namespace mova::test {
namespace {

constexpr std::int32_t kNoPort = 0x4000;
constexpr std::int32_t kNotInitialised = 0x4317;
constexpr DISPID kInitCmdManager = 3;
constexpr DISPID kSetAtCmdProperty = 11;

class LateBinding : public testing::Test {
protected:
    LateBinding() { manager->put_CommPortId(250); }

    const ComPtr<IVeCmdManager> manager = makeManager();
    IDispatch* const object = manager.get();
    Variant code{-1};
};

TEST_F(LateBinding, EveryNameHasItsId) {
    const wchar_t* const names[] = {L"BaudRate",
                                    L"CommPortId",
                                    L"InitCmdManager",
                                    L"SetGeneralParam",
                                    L"RfGeneralTestReq",
                                    L"RfChangeParamReq",
                                    L"RfChangeTableReq",
                                    L"RfTestCaseReq",
                                    L"RfStatisticsReq",
                                    L"ResetCmdManager",
                                    L"SetAtCmdProperty",
                                    L"FetchMovaCnfData",
                                    L"RfOtherTestService",
                                    L"FetchQueuedCnfItem",
                                    L"SwitchOperateMode",
                                    L"ReadE2PObject",
                                    L"WriteE2PObject",
                                    L"ActivateMovaLogging",
                                    L"ProprietaryOpenComPort",
                                    L"ProprietaryCloseComPort",
                                    L"RetriveComPortData",
                                    L"SendNormalAtCmd",
                                    L"GetNormalAtResult",
                                    L"SetCommSignal",
                                    L"DetectCommSignal",
                                    L"VbInitCmdManager",
                                    L"VbSetAtCmdProperty",
                                    L"VbSwitchOperateMode",
                                    L"SendE2PPasswd",
                                    L"SendAuthReq",
                                    L"SendAuthKey",
                                    L"SendSerialNumber",
                                    L"GetCmpVersion",
                                    L"ActivateMovaLoggingVb",
                                    L"AssignTimeoutConstant",
                                    L"ReadE2PObjectEx",
                                    L"WriteE2PObjectEx",
                                    L"SetCommDeviceType",
                                    L"FetchQueuedCnfTextItem",
                                    L"ClearQueue",
                                    L"DirectWriteHexData",
                                    L"DirectReadHexData",
                                    L"DirectQueryDataInQueue",
                                    L"SwitchCommFlowControlMode",
                                    L"VbRfVarReq",
                                    L"SpecificInfo",
                                    L"HciAction",
                                    L"DirectWriteAsciiData",
                                    L"DirectReadAsciiData",
                                    L"SendHashReq",
                                    L"SendLockOtp",
                                    L"WiFiAction",
                                    L"IsCommDeviceOpen",
                                    L"GetDeviceHandle",
                                    L"SetDeviceHandle",
                                    L"Set_Log_File_Path",
                                    L"DirectWriteByteData"};
    ASSERT_EQ(std::size(names), 57u);
    for (std::size_t i = 0; i < std::size(names); ++i)
        EXPECT_EQ(idOf(object, names[i]), static_cast<DISPID>(i + 1)) << i;
    EXPECT_EQ(idOf(object, L"initcmdmanager"), kInitCmdManager);  // scripts write names as they like
    EXPECT_EQ(idOf(object, L"NoSuchEntry"), DISPID_UNKNOWN);
}

TEST_F(LateBinding, AFreshObjectHasItsDefaults) {
    EXPECT_EQ(call(makeManager().get(), L"CommPortId", {}).value.number(), 1);
    EXPECT_EQ(call(object, L"BaudRate", {}).value.number(), 115200);
    EXPECT_EQ(call(object, L"IsCommDeviceOpen", {}).value.number(), 0);
    EXPECT_EQ(call(object, L"GetCmpVersion", {Variant(1).raw()}).value.text(), L"<MovaCmdSvr Ver 1.8.6>");
}

TEST_F(LateBinding, AScriptsVariableTakesTheCodeWhateverItHeld) {
    for (Variant held : {Variant(), Variant(7), Variant(L"text"), Variant::typed(VT_NULL), Variant::typed(VT_I2, 3)}) {
        const Outcome outcome = call(object, kInitCmdManager, {Variant(0).raw(), variable(held)});
        EXPECT_EQ(outcome.result, S_OK);
        EXPECT_EQ(held.number(), kNoPort);
    }
}

TEST_F(LateBinding, AReferenceOfAnyNumberTypeTakesTheCode) {
    ULONG unsignedLong = 0;
    LONG signedLong = 0;
    UINT unsignedInt = 0;
    double real = 0;
    long long wide = 0;
    USHORT unsignedShort = 0;
    EXPECT_EQ(call(object, kInitCmdManager, {Variant(0).raw(), reference(VT_UI4, &unsignedLong)}).result, S_OK);
    EXPECT_EQ(call(object, kInitCmdManager, {Variant(0).raw(), reference(VT_I4, &signedLong)}).result, S_OK);
    EXPECT_EQ(call(object, kInitCmdManager, {Variant(0).raw(), reference(VT_UINT, &unsignedInt)}).result, S_OK);
    EXPECT_EQ(call(object, kInitCmdManager, {Variant(0).raw(), reference(VT_R8, &real)}).result, S_OK);
    EXPECT_EQ(call(object, kInitCmdManager, {Variant(0).raw(), reference(VT_I8, &wide)}).result, S_OK);
    EXPECT_EQ(call(object, kInitCmdManager, {Variant(0).raw(), reference(VT_UI2, &unsignedShort)}).result, S_OK);
    EXPECT_EQ(unsignedLong, 0x4000u);
    EXPECT_EQ(signedLong, kNoPort);
    EXPECT_EQ(unsignedInt, 0x4000u);
    EXPECT_EQ(real, 16384.0);
    EXPECT_EQ(wide, 16384);
    EXPECT_EQ(unsignedShort, 0x4000);
}

TEST_F(LateBinding, ATextReferenceTakesTheCodeAsText) {
    BSTR text = SysAllocString(L"old");
    EXPECT_EQ(call(object, kInitCmdManager, {Variant(0).raw(), reference(VT_BSTR, &text)}).result, S_OK);
    EXPECT_EQ(std::wstring(text), L"16384");
    SysFreeString(text);
}

TEST_F(LateBinding, AReferenceThatIsTooSmallIsRefused) {
    BYTE small = 1;
    const Outcome outcome = call(object, kInitCmdManager, {Variant(0).raw(), reference(VT_UI1, &small)});
    EXPECT_EQ(outcome.result, DISP_E_OVERFLOW);
    EXPECT_EQ(outcome.wrongArgument, 0u);
    EXPECT_EQ(small, 1);
}

TEST_F(LateBinding, WhenOneResultDoesNotFitNoneIsGiven) {
    LONG remained = 7;
    Variant length(8);
    Variant error;
    LONG number = 9;  // no text of an empty queue is a number
    const Outcome outcome =
        call(object, L"FetchQueuedCnfTextItem",
             {reference(VT_I4, &remained), variable(length), variable(error), reference(VT_I4, &number)});
    EXPECT_EQ(outcome.result, DISP_E_TYPEMISMATCH);
    EXPECT_EQ(outcome.wrongArgument, 0u);
    EXPECT_EQ(remained, 7);
    EXPECT_EQ(length.number(), 8);
    EXPECT_EQ(error.type(), VT_EMPTY);
    EXPECT_EQ(number, 9);
}

TEST_F(LateBinding, AValueForAnOutParameterIsAccepted) {
    EXPECT_EQ(call(object, kInitCmdManager, {Variant(0).raw(), Variant(5).raw()}).result, S_OK);
}

TEST_F(LateBinding, AMissingOutParameterIsTolerated) {
    EXPECT_EQ(call(object, kInitCmdManager, {Variant(0).raw()}).result, S_OK);
    EXPECT_EQ(call(object, kInitCmdManager, {Variant(0).raw(), Variant::missing().raw()}).result, S_OK);
}

TEST_F(LateBinding, AReferenceToNothingCountsAsMissing) {
    for (const VARTYPE type : {VT_UI4, VT_I4, VT_R8, VT_BSTR, VT_VARIANT}) {
        EXPECT_EQ(call(object, kInitCmdManager, {Variant(0).raw(), reference(type, nullptr)}).result, S_OK) << type;
        EXPECT_EQ(call(object, kInitCmdManager, {reference(type, nullptr), variable(code)}).result,
                  DISP_E_PARAMNOTOPTIONAL)
            << type;
    }
    Variant count;
    EXPECT_EQ(call(object, L"DirectReadAsciiData", {reference(VT_VARIANT, nullptr), Variant(1).raw(), variable(count)})
                  .result,
              S_OK);
    EXPECT_EQ(
        call(object, L"DirectWriteByteData", {reference(VT_UI1, nullptr), Variant(1).raw(), variable(count)}).result,
        DISP_E_PARAMNOTOPTIONAL);
}

TEST_F(LateBinding, AMissingInParameterIsNot) {
    EXPECT_EQ(call(object, kInitCmdManager, {}).result, DISP_E_PARAMNOTOPTIONAL);
    EXPECT_EQ(call(object, kInitCmdManager, {Variant::missing().raw(), variable(code)}).result,
              DISP_E_PARAMNOTOPTIONAL);
}

TEST_F(LateBinding, TooManyArgumentsAreRefused) {
    EXPECT_EQ(call(object, kInitCmdManager, {Variant(0).raw(), variable(code), Variant(0).raw()}).result,
              DISP_E_BADPARAMCOUNT);
}

TEST_F(LateBinding, AnUnknownIdIsRefused) {
    EXPECT_EQ(call(object, DISPID{58}, {}).result, DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(call(object, DISPID{0}, {}).result, DISP_E_MEMBERNOTFOUND);
}

TEST_F(LateBinding, AnotherInterfaceIdIsRefused) {
    DISPPARAMS none{};
    EXPECT_EQ(
        object->Invoke(kInitCmdManager, __uuidof(IDispatch), 0, DISPATCH_METHOD, &none, nullptr, nullptr, nullptr),
        DISP_E_UNKNOWNINTERFACE);
}

TEST_F(LateBinding, AnArgumentThatDoesNotConvertIsNamed) {
    const Outcome outcome = call(object, kSetAtCmdProperty, {Variant(L"text").raw(), Variant(0).raw(), variable(code)});
    EXPECT_EQ(outcome.result, DISP_E_TYPEMISMATCH);
    EXPECT_EQ(outcome.wrongArgument, 2u);  // last first: the first of three
}

TEST_F(LateBinding, NamedArgumentsComeInAnyOrder) {
    const Outcome outcome =
        callNamed(object, kSetAtCmdProperty, {{1, Variant(7).raw()}, {2, variable(code)}, {0, Variant(50).raw()}});
    EXPECT_EQ(outcome.result, S_OK);
    EXPECT_EQ(code.number(), 0x3001);
    EXPECT_EQ(callNamed(object, kSetAtCmdProperty, {{0, Variant(1).raw()}, {0, Variant(1).raw()}}).result,
              DISP_E_PARAMNOTFOUND);
    EXPECT_EQ(callNamed(object, kSetAtCmdProperty, {{9, Variant(1).raw()}}).result, DISP_E_PARAMNOTFOUND);
}

TEST_F(LateBinding, UnsignedParametersTakeTheirBitsAsSignedNumbers) {
    EXPECT_EQ(call(object, kSetAtCmdProperty, {Variant(-1).raw(), Variant(0).raw(), variable(code)}).result, S_OK);
    EXPECT_EQ(code.number(), 0x3001);
    Variant shortMinusOne = Variant::typed(VT_I2, 0xFFFF);  // for an unsigned long: all bits
    EXPECT_EQ(call(object, kSetAtCmdProperty, {shortMinusOne.raw(), Variant(0).raw(), variable(code)}).result, S_OK);
    EXPECT_EQ(code.number(), 0x3001);
    EXPECT_EQ(call(object, L"RfGeneralTestReq", {Variant(1).raw(), Variant(70000).raw(), variable(code)}).result,
              DISP_E_OVERFLOW);
    Variant minusOne = Variant::typed(VT_I2, 0xFFFF);  // &hFFFF of a script, for an unsigned short
    Variant result;
    EXPECT_EQ(call(object, L"RfGeneralTestReq", {Variant(1).raw(), minusOne.raw(), variable(result)}).result, S_OK);
    EXPECT_EQ(result.number(), kNotInitialised);
}

TEST_F(LateBinding, AVariableIsReadForAnInParameter) {
    Variant id(50);
    Variant parameter;
    EXPECT_EQ(call(object, kSetAtCmdProperty, {variable(id), variable(parameter), variable(code)}).result, S_OK);
    EXPECT_EQ(code.number(), 0x3001);
    EXPECT_EQ(id.number(), 50);
    EXPECT_EQ(parameter.type(), VT_EMPTY);
}

TEST_F(LateBinding, PropertiesAreReadAndWritten) {
    EXPECT_EQ(call(object, L"BaudRate", {Variant(9600).raw()}, DISPATCH_PROPERTYPUT).result, S_OK);
    EXPECT_EQ(call(object, L"BaudRate", {}, DISPATCH_PROPERTYGET).value.number(), 9600);
    Variant rate(57600);
    EXPECT_EQ(call(object, L"BaudRate", {variable(rate)}, DISPATCH_PROPERTYPUT).result, S_OK);
    EXPECT_EQ(call(object, L"BaudRate", {}, DISPATCH_PROPERTYGET).value.number(), 57600);
    EXPECT_EQ(call(object, L"BaudRate", {Variant(1).raw()}, DISPATCH_PROPERTYGET).result, DISP_E_BADPARAMCOUNT);
}

TEST_F(LateBinding, ClosingHasTwoIdsAndOneMeaning) {
    EXPECT_EQ(call(object, DISPID{10}, {Variant(0).raw(), variable(code)}).result, S_OK);
    EXPECT_EQ(call(object, DISPID{20}, {Variant(0).raw()}).value.number(), code.number());
}

TEST_F(LateBinding, ResultsAreTypesThatScriptsKnow) {
    EXPECT_EQ(call(object, L"DetectCommSignal", {Variant(0).raw()}).value.type(), VT_I4);  // an int in the library
    Variant remained;
    Variant length;
    Variant error;
    Variant data;
    EXPECT_EQ(
        call(object, L"FetchQueuedCnfItem", {variable(remained), variable(length), variable(error), variable(data)})
            .result,
        S_OK);
    EXPECT_EQ(remained.number(), 0);
    EXPECT_EQ(length.number(), 0);
    EXPECT_EQ(error.number(), 0);
    EXPECT_EQ(data.text(), L"");
}

TEST_F(LateBinding, AnInOutTextIsKeptOnFailure) {
    Variant buffer(L"AABB");
    const Outcome outcome = call(object, L"WriteE2PObject", {Variant(1).raw(), Variant(1).raw(), variable(buffer)});
    EXPECT_TRUE(SUCCEEDED(outcome.result));
    EXPECT_EQ(outcome.value.number(), kNotInitialised);
    EXPECT_EQ(buffer.text(), L"AABB");
}

TEST_F(LateBinding, WhatAnEntryDoesNotWriteStaysTheCallers) {
    Variant text(L"kept");
    call(object, L"ReadE2PObject", {Variant(1).raw(), Variant(1).raw(), variable(text)});
    EXPECT_EQ(text.text(), L"kept");
    Variant count(7);
    call(object, L"DirectWriteAsciiData", {Variant(L"no array").raw(), Variant(1).raw(), variable(count)});
    EXPECT_EQ(count.number(), 7);
    BSTR typed = SysAllocString(L"kept");
    call(object, L"RetriveComPortData", {Variant(1).raw(), Variant(1).raw(), reference(VT_BSTR, &typed)});
    EXPECT_EQ(std::wstring(typed), L"kept");
    SysFreeString(typed);
}

TEST_F(LateBinding, NullIsNoText) {
    Variant null = Variant::typed(VT_NULL);
    EXPECT_EQ(call(object, L"SendNormalAtCmd", {Variant(0).raw(), null.raw()}).result, DISP_E_TYPEMISMATCH);
}

TEST_F(LateBinding, AnEmptyVariableIsTheEmptyText) {
    Variant empty;
    EXPECT_EQ(call(object, L"SendNormalAtCmd", {Variant(0).raw(), variable(empty)}).value.number(), 0x2007);
}

TEST_F(LateBinding, AFailedArrayReadLeavesTheVariableAlone) {
    for (Variant held : {Variant(5), Variant(L"text"), Variant(), Variant::typed(VT_NULL), Variant::byteArray("abc")}) {
        const VARTYPE type = held.type();
        Variant count;
        const Outcome outcome =
            call(object, L"DirectReadAsciiData", {variable(held), Variant(2).raw(), variable(count)});
        EXPECT_EQ(outcome.result, S_OK);
        EXPECT_EQ(outcome.value.number(), kNotInitialised);
        EXPECT_EQ(count.number(), 0);
        EXPECT_EQ(held.type(), type);
    }
}

TEST_F(LateBinding, BytesThatAreNotThereAreNotWritten) {
    Variant count;
    const auto write = [&](VARIANT bytes, int length) {
        return call(object, L"DirectWriteByteData", {bytes, Variant(length).raw(), variable(count)}).result;
    };
    Variant array = Variant::byteArray("abc");
    Variant script = Variant::scriptArray({Variant(65), Variant(66)});
    BYTE byte = 65;
    EXPECT_EQ(write(array.raw(), 4), DISP_E_OVERFLOW);
    EXPECT_EQ(write(array.raw(), 3), S_OK);
    EXPECT_EQ(write(variable(script), 3), DISP_E_OVERFLOW);
    EXPECT_EQ(write(variable(script), 2), S_OK);
    EXPECT_EQ(write(Variant(65).raw(), 2), DISP_E_OVERFLOW);
    EXPECT_EQ(write(Variant(65).raw(), 1), S_OK);
    EXPECT_EQ(write(Variant(65).raw(), -1), S_OK);
    EXPECT_EQ(write(reference(VT_UI1, &byte), 1), S_OK);
    EXPECT_EQ(write(Variant(L"A").raw(), 1), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(write(Variant::byteArray("AB", VT_UI2).raw(), 1), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(write(Variant(300).raw(), 1), DISP_E_OVERFLOW);
}

TEST_F(LateBinding, ATableOfBytesHasThoseOfAllItsRows) {
    Variant count;
    const auto write = [&](const Variant& bytes, int length) {
        return call(object, L"DirectWriteByteData", {bytes.raw(), Variant(length).raw(), variable(count)}).result;
    };
    for (const ULONG rows : {1u, 2u, 5u, 10u}) {
        const Variant table = Variant::byteTable("0123456789", rows);
        EXPECT_EQ(write(table, 10), S_OK) << rows;
        EXPECT_EQ(write(table, 11), DISP_E_OVERFLOW) << rows;
    }
}

TEST_F(LateBinding, WrongUseOfTheDispatchEntryIsRefused) {
    ComPtr<ITypeInfo> info;
    EXPECT_EQ(object->GetTypeInfo(1, 0, info.receive()), DISP_E_BADINDEX);
    EXPECT_EQ(object->GetTypeInfo(0, 0, nullptr), E_POINTER);
    EXPECT_EQ(object->Invoke(kInitCmdManager, IID_NULL, 0, DISPATCH_METHOD, nullptr, nullptr, nullptr, nullptr),
              E_INVALIDARG);
    UINT count = 0;
    EXPECT_EQ(object->GetTypeInfoCount(&count), S_OK);
    EXPECT_EQ(count, 1u);
}

TEST_F(LateBinding, NullOutParametersAreToleratedThroughTheVtable) {
    EXPECT_EQ(manager->InitCmdManager(0, nullptr), S_OK);
    EXPECT_EQ(manager->FetchQueuedCnfItem(nullptr, nullptr, nullptr, nullptr), S_OK);
    EXPECT_EQ(manager->GetNormalAtResult(2, nullptr, nullptr, nullptr), S_OK);
    EXPECT_EQ(manager->WriteE2PObject(1, 1, nullptr, nullptr), S_FALSE);
    EXPECT_EQ(manager->WriteE2PObjectEx(1, 1, 0, nullptr, nullptr, nullptr), S_FALSE);
    EXPECT_EQ(manager->DirectReadAsciiData(nullptr, 4, nullptr, nullptr), S_OK);
    EXPECT_EQ(manager->DirectWriteByteData(nullptr, 4, nullptr, nullptr), S_OK);
    EXPECT_EQ(manager->ActivateMovaLogging(nullptr, 0, nullptr), S_OK);
    EXPECT_EQ(manager->get_BaudRate(nullptr), S_OK);
}

}  // namespace
}  // namespace mova::test
