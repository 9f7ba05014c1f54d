// Each entry called three ways, by slot, by id and by name, on a port with a simulated handset: the same outcome in
// every out-parameter.
#include "Client.h"

namespace mova::test {
namespace {

std::wstring shown(const Variant& value) {
    if (value.type() == VT_BSTR) return L"'" + value.text() + L"'";
    if (value.type() == VT_EMPTY) return L"nothing";
    if (value.type() & VT_ARRAY) {
        const std::string bytes = value.bytes();
        return L"[" + std::wstring(bytes.begin(), bytes.end()) + L"]";
    }
    return std::to_wstring(value.number());
}

// By slot: what a compiled client has in its variables afterwards, in parameter order.
class Slots {
public:
    Slots& number(long long value) { return add(std::to_wstring(static_cast<std::int32_t>(value))); }
    Slots& text(const Text& value) { return add(L"'" + value.wide() + L"'"); }
    Slots& array(const Variant& value) { return add(shown(value)); }
    std::wstring all() const { return text_; }

private:
    Slots& add(const std::wstring& text) {
        text_ += text + L" ";
        return *this;
    }
    std::wstring text_;
};

struct Parameter {
    Variant value;
    bool out = false;
};
Parameter in(Variant value) { return {std::move(value), false}; }
Parameter out(Variant before = {}) { return {std::move(before), true}; }

struct Entry {
    const wchar_t* name;
    DISPID id;
    std::vector<Parameter> parameters;
    bool hasResult;
    std::wstring expected;
    std::function<Slots(IVeCmdManager*)> bySlot;
    WORD kind = DISPATCH_METHOD | DISPATCH_PROPERTYGET;
};

std::wstring late(IDispatch* object, DISPID id, const Entry& entry) {
    std::vector<Variant> held;
    for (const Parameter& parameter : entry.parameters) held.push_back(parameter.value);
    std::vector<VARIANT> arguments;
    for (std::size_t i = 0; i < held.size(); ++i)
        arguments.push_back(entry.parameters[i].out ? variable(held[i]) : held[i].raw());
    const Outcome outcome = call(object, id, arguments, entry.kind);
    EXPECT_TRUE(SUCCEEDED(outcome.result)) << std::hex << outcome.result;
    std::wstring text;
    for (std::size_t i = 0; i < held.size(); ++i) {
        if (entry.parameters[i].out) text += shown(held[i]) + L" ";
    }
    if (entry.hasResult) text += shown(outcome.value) + L" ";
    return text;
}

// Short forms for what most entries have.
using Manager = IVeCmdManager*;
Slots code(ULONG value) { return Slots().number(value); }
Slots code(LONG value) { return Slots().number(value); }

// A table, one entry a line.
// clang-format off
const std::vector<Entry>& entries() {
    static const std::vector<Entry> all{
        {L"BaudRate", 1, {in(115200)}, false, L"", [](Manager m) { m->put_BaudRate(115200); return Slots(); }, DISPATCH_PROPERTYPUT},
        {L"BaudRate", 1, {}, true, L"115200 ", [](Manager m) { LONG v = 0; m->get_BaudRate(&v); return code(v); }},
        {L"CommPortId", 2, {in(3)}, false, L"", [](Manager m) { m->put_CommPortId(3); return Slots(); }, DISPATCH_PROPERTYPUT},
        {L"CommPortId", 2, {}, true, std::to_wstring(fastPort()) + L" ", [](Manager m) { LONG v = 0; m->get_CommPortId(&v); return code(v); }},
        {L"InitCmdManager", 3, {in(0), out()}, false, L"0 ", [](Manager m) { ULONG e = 1; m->InitCmdManager(0, &e); return code(e); }},
        {L"SetGeneralParam", 4, {in(1), in(2), in(3), in(4), in(5), in(6)}, false, L"", [](Manager m) { m->SetGeneralParam(1, 2, 3, 4, 5, 6); return Slots(); }},
        {L"RfGeneralTestReq", 5, {in(5), in(1), out()}, false, L"0 ", [](Manager m) { ULONG e = 1; m->RfGeneralTestReq(5, 1, &e); return code(e); }},
        {L"RfChangeParamReq", 6, {in(1), in(2), in(3), in(4), out()}, false, L"0 ", [](Manager m) { ULONG e = 1; m->RfChangeParamReq(1, 2, 3, 4, &e); return code(e); }},
        {L"RfChangeTableReq", 7, {in(1), in(2), in(3), in(2), in(Variant::byteArray("ab")), out()}, false, L"0 ", [](Manager m) { ULONG e = 1; m->RfChangeTableReq(1, 2, 3, 2, Variant::byteArray("ab").raw(), &e); return code(e); }},
        {L"RfTestCaseReq", 8, {in(1), in(2), out()}, false, L"0 ", [](Manager m) { ULONG e = 1; m->RfTestCaseReq(1, 2, &e); return code(e); }},
        {L"RfStatisticsReq", 9, {in(1), in(2), in(3), in(4), out()}, false, L"0 ", [](Manager m) { ULONG e = 1; m->RfStatisticsReq(1, 2, 3, 4, &e); return code(e); }},
        {L"SetAtCmdProperty", 11, {in(50), in(0), out()}, false, L"12289 ", [](Manager m) { ULONG e = 1; m->SetAtCmdProperty(50, 0, &e); return code(e); }},
        {L"FetchMovaCnfData", 12, {out(), out(), out(), out()}, false, L"0 4 0 BYTES ", nullptr},
        {L"RfOtherTestService", 13, {in(1), in(2), in(3), in(2), in(L"text"), out()}, false, L"12289 ", [](Manager m) { ULONG e = 1; m->RfOtherTestService(1, 2, 3, 2, Variant(L"text").raw(), &e); return code(e); }},
        {L"FetchQueuedCnfItem", 14, {out(), out(), out(), out()}, false, L"0 0 0 '' ", [](Manager m) { ULONG r = 1, l = 1, e = 1; Text t; m->FetchQueuedCnfItem(&r, &l, &e, t.receive()); return Slots().number(r).number(l).number(e).text(t); }},
        {L"SwitchOperateMode", 15, {in(3), in(0), out()}, false, L"0 ", [](Manager m) { ULONG e = 1; m->SwitchOperateMode(3, 0, &e); return code(e); }},
        {L"WriteE2PObject", 17, {in(0x1234), in(2), out(L"aa0b")}, true, L"'AA0B' 0 ", [](Manager m) { LONG e = 1; Text t(L"aa0b"); m->WriteE2PObject(0x1234, 2, t.inOut(), &e); return Slots().text(t).number(e); }},
        {L"ReadE2PObject", 16, {in(0x1234), in(2), out()}, true, L"'AA0B' 0 ", [](Manager m) { LONG e = 1; Text t; m->ReadE2PObject(0x1234, 2, t.receive(), &e); return Slots().text(t).number(e); }},
        {L"ActivateMovaLogging", 18, {in(L"C:\\every-entry.log"), in(0), out(7)}, false, L"0 ", [](Manager m) { ULONG e = 7; Text t(L"C:\\every-entry.log"); m->ActivateMovaLogging(t.get(), 0, &e); return code(e); }},
        {L"RetriveComPortData", 21, {in(3), in(0), out()}, false, L"'NULL' ", [](Manager m) { LONG e = 1; Text t; m->RetriveComPortData(3, 0, t.receive(), &e); return Slots().text(t); }},
        {L"SendNormalAtCmd", 22, {in(0), in(L"")}, true, L"8199 ", [](Manager m) { LONG e = 1; Text t(L""); m->SendNormalAtCmd(0, t.get(), &e); return code(e); }},
        {L"GetNormalAtResult", 23, {in(0), out(), out()}, true, L"0 '' 0 ", [](Manager m) { LONG l = 1, e = 1; Text t; m->GetNormalAtResult(0, &l, t.receive(), &e); return Slots().number(l).text(t).number(e); }},
        {L"SetCommSignal", 24, {in(1), in(1)}, true, L"0 ", [](Manager m) { LONG e = 1; m->SetCommSignal(1, 1, &e); return code(e); }},
        {L"DetectCommSignal", 25, {in(4)}, true, L"0 ", [](Manager m) { int v = 1; m->DetectCommSignal(4, &v); return Slots().number(v); }},
        {L"VbInitCmdManager", 26, {in(0)}, true, L"0 ", [](Manager m) { LONG e = 1; m->VbInitCmdManager(0, &e); return code(e); }},
        {L"VbSetAtCmdProperty", 27, {in(50), in(0)}, true, L"12289 ", [](Manager m) { LONG e = 1; m->VbSetAtCmdProperty(50, 0, &e); return code(e); }},
        {L"VbSwitchOperateMode", 28, {in(3), in(0)}, true, L"0 ", [](Manager m) { LONG e = 1; m->VbSwitchOperateMode(3, 0, &e); return code(e); }},
        {L"SendE2PPasswd", 29, {in(1), in(1), out(L"0102")}, true, L"'0102' 0 ", [](Manager m) { LONG e = 1; Text t(L"0102"); m->SendE2PPasswd(1, 1, t.inOut(), &e); return Slots().text(t).number(e); }},
        {L"SendAuthReq", 30, {in(1), in(1), out()}, true, L"'0123456789ABCDEF' 0 ", [](Manager m) { LONG e = 1; Text t; m->SendAuthReq(1, 1, t.receive(), &e); return Slots().text(t).number(e); }},
        {L"SendAuthKey", 31, {in(1), in(1), out(L"0304")}, true, L"'0304' 0 ", [](Manager m) { LONG e = 1; Text t(L"0304"); m->SendAuthKey(1, 1, t.inOut(), &e); return Slots().text(t).number(e); }},
        {L"SendSerialNumber", 32, {in(1), in(1), out(L"0506")}, true, L"'0506' 0 ", [](Manager m) { LONG e = 1; Text t(L"0506"); m->SendSerialNumber(1, 1, t.inOut(), &e); return Slots().text(t).number(e); }},
        {L"GetCmpVersion", 33, {in(3)}, true, L"'<MovaCmdSvr Ver 1.8.6>' ", [](Manager m) { Text t; m->GetCmpVersion(3, t.receive()); return Slots().text(t); }},
        {L"ActivateMovaLoggingVb", 34, {in(L"C:\\every-entry.log"), in(0), in(7)}, true, L"0 ", [](Manager m) { LONG e = 1; Text t(L"C:\\every-entry.log"); m->ActivateMovaLoggingVb(t.get(), 0, 7, &e); return code(e); }},
        {L"AssignTimeoutConstant", 35, {in(5), in(1500)}, false, L"", [](Manager m) { m->AssignTimeoutConstant(5, 1500); return Slots(); }},
        {L"ReadE2PObjectEx", 36, {in(0x1234), in(2), in(2), out(9), out()}, true, L"2 '0B' 0 ", [](Manager m) { LONG l = 9, e = 1; Text t; m->ReadE2PObjectEx(0x1234, 2, 2, &l, t.receive(), &e); return Slots().number(l).text(t).number(e); }},
        {L"WriteE2PObjectEx", 37, {in(0x1234), in(2), in(2), out(9), out(L"0B")}, true, L"2 '0B' 0 ", [](Manager m) { LONG l = 9, e = 1; Text t(L"0B"); m->WriteE2PObjectEx(0x1234, 2, 2, &l, t.inOut(), &e); return Slots().number(l).text(t).number(e); }},
        {L"FetchQueuedCnfTextItem", 39, {out(), out(), out(), out()}, false, L"0 0 0 '' ", [](Manager m) { LONG r = 1, l = 1, e = 1; Text t; m->FetchQueuedCnfTextItem(&r, &l, &e, t.receive()); return Slots().number(r).number(l).number(e).text(t); }},
        {L"ClearQueue", 40, {}, false, L"", [](Manager m) { LONG e = 1; m->ClearQueue(&e); return Slots(); }},
        {L"DirectWriteHexData", 41, {in(L"0A0D"), in(1), out()}, true, L"1 0 ", [](Manager m) { LONG n = 7, e = 1; Text t(L"0A0D"); m->DirectWriteHexData(t.get(), 1, &n, &e); return Slots().number(n).number(e); }},
        {L"DirectReadHexData", 42, {out(L"kept"), in(0), out()}, true, L"'kept' 0 0 ", [](Manager m) { LONG n = 7, e = 1; Text t(L"kept"); m->DirectReadHexData(t.inOut(), 0, &n, &e); return Slots().text(t).number(n).number(e); }},
        {L"DirectQueryDataInQueue", 43, {}, true, L"0 ", [](Manager m) { LONG n = 7; m->DirectQueryDataInQueue(&n); return code(n); }},
        {L"SwitchCommFlowControlMode", 44, {in(8)}, false, L"", [](Manager m) { m->SwitchCommFlowControlMode(8); return Slots(); }},
        {L"VbRfVarReq", 45, {in(3), in(7), in(L"1")}, true, L"0 ", [](Manager m) { LONG e = 1; Text t(L"1"); m->VbRfVarReq(3, 7, t.get(), &e); return code(e); }},
        {L"SpecificInfo", 46, {in(2), in(0), in(L""), out()}, true, L"'490154203237518' 0 ", [](Manager m) { LONG e = 1; Text p(L""), t; m->SpecificInfo(2, 0, p.get(), t.receive(), &e); return Slots().text(t).number(e); }},
        {L"HciAction", 47, {in(0), in(L"0102"), out()}, true, L"'000102' 0 ", [](Manager m) { LONG e = 1; Text p(L"0102"), t; m->HciAction(0, p.get(), t.receive(), &e); return Slots().text(t).number(e); }},
        {L"DirectWriteAsciiData", 48, {in(Variant::byteArray("\n\n")), in(2), out()}, false, L"2 ", [](Manager m) { LONG n = 7, e = 1; m->DirectWriteAsciiData(Variant::byteArray("\n\n").raw(), 2, &n, &e); return Slots().number(n); }},
        {L"DirectReadAsciiData", 49, {out(Variant::byteArray("kept")), in(0), out()}, true, L"[kept] 0 0 ", [](Manager m) { LONG n = 7, e = 1; Variant a = Variant::byteArray("kept"); m->DirectReadAsciiData(&a.raw(), 0, &n, &e); return Slots().array(a).number(n).number(e); }},
        {L"SendHashReq", 50, {in(1), in(1), out()}, true, L"'5A5A5A5A5A5A5A5A5A5A5A5A5A5A5A5A5A5A5A5A' 0 ", [](Manager m) { LONG e = 1; Text t; m->SendHashReq(1, 1, t.receive(), &e); return Slots().text(t).number(e); }},
        {L"SendLockOtp", 51, {in(1), in(1), out()}, true, L"'' 0 ", [](Manager m) { LONG e = 1; Text t; m->SendLockOtp(1, 1, t.receive(), &e); return Slots().text(t).number(e); }},
        {L"WiFiAction", 52, {in(0x21), in(L"AABB"), out()}, true, L"'AABB' 0 ", [](Manager m) { LONG e = 1; Text p(L"AABB"), t; m->WiFiAction(0x21, p.get(), t.receive(), &e); return Slots().text(t).number(e); }},
        {L"IsCommDeviceOpen", 53, {}, true, L"1 ", [](Manager m) { LONG v = 7; m->IsCommDeviceOpen(&v); return code(v); }},
        {L"SetDeviceHandle", 55, {in(4)}, true, L"17222 ", [](Manager m) { LONG e = 1; m->SetDeviceHandle(4, &e); return code(e); }},
        {L"Set_Log_File_Path", 56, {in(L"")}, false, L"", [](Manager m) { Text t(L""); m->Set_Log_File_Path(t.get()); return Slots(); }},
        {L"DirectWriteByteData", 57, {in(Variant::byteArray("\n")), in(1), out()}, true, L"1 0 ", [](Manager m) { LONG n = 7, e = 1; BYTE b = '\n'; m->DirectWriteByteData(&b, 1, &n, &e); return Slots().number(n).number(e); }},
        {L"SetCommDeviceType", 38, {in(0), in(0), in(0)}, true, L"0 ", [](Manager m) { LONG e = 1; m->SetCommDeviceType(0, 0, 0, &e); return code(e); }},
        {L"ProprietaryOpenComPort", 19, {in(0)}, true, L"0 ", [](Manager m) { LONG e = 1; m->ProprietaryOpenComPort(0, &e); return code(e); }},
        {L"ResetCmdManager", 10, {in(0), out()}, false, L"0 ", [](Manager m) { ULONG e = 1; m->ResetCmdManager(0, &e); return code(e); }},
        {L"ProprietaryCloseComPort", 20, {in(0)}, true, L"0 ", [](Manager m) { LONG e = 1; m->ProprietaryCloseComPort(0, &e); return code(e); }},
        {L"GetDeviceHandle", 54, {}, true, L"-1 ", [](Manager m) { LONG v = 7; m->GetDeviceHandle(&v); return code(v); }},
    };
    return all;
}
// clang-format on

// A confirmation that waits in the queue as bytes.
void queueOne(Manager manager) {
    ULONG code = 1;
    manager->SwitchOperateMode(3, 0, &code);
    manager->RfGeneralTestReq(5, 0x4241, &code);
    EXPECT_EQ(code, 0u);
}

TEST(EveryEntry, HasTheSameOutcomeBySlotByIdAndByName) {
    ASSERT_EQ(entries().size(), 59u);
    const auto manager = openManager(fastPort());
    exchange(manager.get(), L"ATE0");
    ULONG switched = 1;
    manager->SwitchOperateMode(3, 0, &switched);  // requests wait for the handset's OK
    const auto afresh = [&] {
        LONG ignored = 0;
        manager->ClearQueue(&ignored);
    };
    for (const Entry& entry : entries()) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(entry.name)));
        EXPECT_EQ(idOf(manager.get(), entry.name), entry.id);
        if (!entry.bySlot) continue;  // below
        afresh();
        EXPECT_EQ(entry.bySlot(manager.get()).all(), entry.expected) << "by slot";
        afresh();
        EXPECT_EQ(late(manager.get(), entry.id, entry), entry.expected) << "by id";
        afresh();
        EXPECT_EQ(late(manager.get(), idOf(manager.get(), entry.name), entry), entry.expected) << "by name";
    }
}

TEST(EveryEntry, FetchesTheSameBytesUnderBothNames) {
    const auto manager = openManager(fastPort());
    const std::string bytes("\x05\x00\x41\x42\0\0\0\0\0\0", 10);  // 4 + 1 characters; the length tells of 4 bytes
    for (const wchar_t* name : {L"FetchMovaCnfData", L"FetchQueuedCnfItem"}) {
        queueOne(manager.get());
        Variant remained, length, error, data;
        EXPECT_EQ(
            call(manager.get(), name, {variable(remained), variable(length), variable(error), variable(data)}).result,
            S_OK);
        EXPECT_EQ(length.number(), 4);
        EXPECT_EQ(data.bytes(), bytes);
    }
    const auto bySlot = [&](auto entry) {
        queueOne(manager.get());
        ULONG remained = 1;
        ULONG length = 1;
        ULONG error = 1;
        Text data;
        EXPECT_EQ((manager.get()->*entry)(&remained, &length, &error, data.receive()), S_OK);
        EXPECT_EQ(length, 4u);
        EXPECT_EQ(data.bytes(), bytes);
        EXPECT_EQ(error, 0u);
        return remained;
    };
    EXPECT_EQ(bySlot(&IVeCmdManager::FetchMovaCnfData), bySlot(&IVeCmdManager::FetchQueuedCnfItem));
}

}  // namespace
}  // namespace mova::test
