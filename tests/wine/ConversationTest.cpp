// The families of entries through the vtable and late-bound, on a port with a simulated handset.
#include <cstdio>
#include <fstream>
#include <iterator>
#include <limits>

#include "Client.h"

namespace mova::test {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

// Shared: each open and close takes the port half a second.
class Conversation : public testing::Test {
protected:
    static void SetUpTestSuite() { shared = openManager(fastPort()); }
    static void TearDownTestSuite() {
        ULONG code = 1;
        EXPECT_EQ(shared->ResetCmdManager(0, &code), S_OK);
        EXPECT_EQ(code, 0u);
        shared = {};
    }
    void SetUp() override {
        manager = shared;
        object = manager.get();
        LONG ignored = 0;
        manager->ClearQueue(&ignored);
    }

    static ComPtr<IVeCmdManager> shared;
    ComPtr<IVeCmdManager> manager;
    IDispatch* object = nullptr;
    Variant code{-1};
};
ComPtr<IVeCmdManager> Conversation::shared;

TEST_F(Conversation, APortWithoutADeviceIsNotOpened) {
    const auto other = makeManager();
    other->put_CommPortId(250);
    ULONG result = 0;
    EXPECT_EQ(other->InitCmdManager(0, &result), S_OK);
    EXPECT_EQ(result, 0x4000u);
    LONG open = -1;
    EXPECT_EQ(other->IsCommDeviceOpen(&open), S_OK);
    EXPECT_EQ(open, 0);
}

TEST_F(Conversation, ThePortNumberIsKeptWhileOpen) {
    EXPECT_EQ(manager->put_CommPortId(99), S_OK);
    LONG port = 0;
    EXPECT_EQ(manager->get_CommPortId(&port), S_OK);
    EXPECT_EQ(port, fastPort());
    EXPECT_EQ(call(object, L"IsCommDeviceOpen", {}).value.number(), 1);
    EXPECT_NE(call(object, L"GetDeviceHandle", {}).value.number(), -1);
    EXPECT_EQ(call(object, L"SetDeviceHandle", {Variant(4).raw()}).value.number(), 0x4346);
}

TEST_F(Conversation, AnAtCommandIsAnsweredOnOneLine) {
    EXPECT_EQ(exchange(manager.get(), L"ATE0"), L"ATE0\r~OK~");
    EXPECT_EQ(exchange(manager.get(), L"AT"), L"OK~");
    EXPECT_EQ(exchange(manager.get(), L"AT+CGMI"), L"ACME~OK~");
    EXPECT_EQ(exchange(manager.get(), L"AT+NOSUCHTHING"), L"ERROR~");
    exchange(manager.get(), L"ATE1");
}

TEST_F(Conversation, AnEmptyOrTooLongCommandIsNotSent) {
    EXPECT_EQ(call(object, L"SendNormalAtCmd", {Variant(0).raw(), Variant(L"").raw()}).value.number(), 0x2007);
    const std::wstring longest(4095, L'A');
    EXPECT_EQ(call(object, L"SendNormalAtCmd", {Variant(0).raw(), Variant(longest.c_str()).raw()}).value.number(),
              0x2007);
}

TEST_F(Conversation, TheAnswerReplacesTheTextThatWasThere) {
    LONG result = 0;
    LONG length = 7;
    Text text(L"old");
    EXPECT_EQ(manager->GetNormalAtResult(0, &length, text.inOut(), &result), S_OK);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(length, 0);
    EXPECT_EQ(text.wide(), L"");
}

TEST_F(Conversation, PropertiesAreSentByNumber) {
    EXPECT_EQ(call(object, L"VbSetAtCmdProperty", {Variant(101).raw(), Variant(1).raw()}).value.number(), 0);
    EXPECT_EQ(call(object, L"VbSetAtCmdProperty", {Variant(105).raw(), Variant(0).raw()}).value.number(), 0);
    EXPECT_EQ(call(object, L"VbSetAtCmdProperty", {Variant(113).raw(), Variant(0).raw()}).value.number(), 0);
    EXPECT_EQ(call(object, L"VbSetAtCmdProperty", {Variant(50).raw(), Variant(0).raw()}).value.number(), 0x3001);
    ULONG result = 1;
    EXPECT_EQ(manager->SetAtCmdProperty(102, 0, &result), S_OK);
    EXPECT_EQ(result, 0u);
}

// --- RF tests

class Confirmed : public Conversation {
protected:
    // In a background mode, so that the confirmation is taken in without a wait of the caller's.
    std::string fetchedBytes() {
        ULONG remained = 0;
        ULONG length = 0;
        ULONG error = 1;
        std::string bytes;
        const bool came = eventually([&] {
            Text data;
            EXPECT_EQ(manager->FetchQueuedCnfItem(&remained, &length, &error, data.receive()), S_OK);
            bytes = data.bytes();
            return length > 0;
        });
        EXPECT_TRUE(came);
        EXPECT_EQ(error, 0u);
        EXPECT_EQ(bytes.size(), 2 * (length + 1));
        EXPECT_EQ(bytes.substr(length), std::string(length + 2, '\0'));
        return bytes.substr(0, length);
    }
    void SetUp() override {
        Conversation::SetUp();
        EXPECT_EQ(call(object, L"VbSwitchOperateMode", {Variant(2).raw(), Variant(0).raw()}).value.number(), 0);
    }
    void TearDown() override {
        EXPECT_EQ(call(object, L"VbSwitchOperateMode", {Variant(0).raw(), Variant(0).raw()}).value.number(), 0);
    }
};

TEST_F(Confirmed, AGeneralTestIsConfirmedInBytes) {
    ULONG result = 1;
    EXPECT_EQ(manager->RfGeneralTestReq(5, 0x0102, &result), S_OK);
    EXPECT_EQ(result, 0u);
    EXPECT_EQ(fetchedBytes(), std::string("\x05\x00\x02\x01", 4));
}

TEST_F(Confirmed, AConfirmationIsFetchedAsTextToo) {
    Variant result;
    EXPECT_EQ(call(object, L"RfChangeParamReq",
                   {Variant(1).raw(), Variant(2).raw(), Variant(3).raw(), Variant(0xABCD).raw(), variable(result)})
                  .result,
              S_OK);
    EXPECT_EQ(result.number(), 0);
    Variant remained;
    Variant length;
    Variant error;
    Variant data;
    EXPECT_TRUE(eventually([&] {
        call(object, L"FetchQueuedCnfTextItem",
             {variable(remained), variable(length), variable(error), variable(data)});
        return length.number() > 0;
    }));
    EXPECT_EQ(length.number(), 12);
    EXPECT_EQ(data.text(), L"01000300CDAB");
    EXPECT_EQ(remained.number(), 0);
    EXPECT_EQ(error.number(), 0);
}

TEST_F(Confirmed, ATableIsSentFromAByteArrayAndFromAWordArray) {
    ULONG result = 1;
    EXPECT_EQ(manager->RfChangeTableReq(9, 1, 2, 3, Variant::byteArray("ABCD").raw(), &result), S_OK);
    EXPECT_EQ(result, 0u);
    EXPECT_EQ(fetchedBytes(), std::string("\x09\x00\x02\x00"
                                          "ABC",
                                          7));
    EXPECT_EQ(manager->RfOtherTestService(9, 1, 2, 99, Variant::byteArray("ABCD", VT_UI2).raw(), &result), S_OK);
    EXPECT_EQ(result, 0u);
    EXPECT_EQ(fetchedBytes(), std::string("\x09\x00\x02\x00"
                                          "ABCD",
                                          8));
}

TEST_F(Confirmed, ALongTableGoesInSegments) {
    const std::string table(201, 'T');
    ULONG result = 1;
    EXPECT_EQ(manager->RfChangeTableReq(9, 1, 2, 201, Variant::byteArray(table).raw(), &result), S_OK);
    EXPECT_EQ(result, 0u);
    EXPECT_EQ(fetchedBytes().size(), 4u + 200u);  // the handset confirms the first 200
}

TEST_F(Conversation, AnythingButAnArrayIsNoTable) {
    for (const Variant& table : {Variant(L"AABB"), Variant(5), Variant::scriptArray({Variant(1)}), Variant()}) {
        ULONG result = 0;
        EXPECT_EQ(manager->RfChangeTableReq(1, 2, 3, 2, table.raw(), &result), S_OK);
        EXPECT_EQ(result, 12289u);
    }
}

TEST_F(Confirmed, RequestsAreMadeFromText) {
    EXPECT_EQ(call(object, L"VbRfVarReq", {Variant(2).raw(), Variant(7).raw(), Variant(L"1,2,3,0A0B0C").raw()})
                  .value.number(),
              0);
    EXPECT_EQ(fetchedBytes(), std::string("\x07\x00\x02\x00\x0A\x0B\x0C", 7));
    EXPECT_EQ(call(object, L"VbRfVarReq", {Variant(9).raw(), Variant(7).raw(), Variant(L"300").raw()}).value.number(),
              0);
    EXPECT_EQ(fetchedBytes(), std::string("\x07\x00\x2C\x01", 4));
}

// --- E2P objects, HCI and WiFi

TEST_F(Conversation, AnObjectIsWrittenAndReadBack) {
    Text data(L"aa0b");
    LONG result = -1;
    EXPECT_EQ(manager->WriteE2PObject(0x1234, 2, data.inOut(), &result), S_OK);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(data.wide(), L"AA0B");  // the handset's echo
    Text read;
    EXPECT_EQ(manager->ReadE2PObject(0x1234, 2, read.receive(), &result), S_OK);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(read.wide(), L"AA0B");
}

TEST_F(Conversation, ARangeOfAnObjectIsRewritten) {
    Variant whole(L"00112233445566778899AABBCCDDEEFF");
    EXPECT_EQ(
        call(object, L"WriteE2PObject", {Variant(0x1234).raw(), Variant(1).raw(), variable(whole)}).value.number(), 0);
    Variant length(4);
    Variant part(L"FFEE");
    EXPECT_EQ(call(object, L"WriteE2PObjectEx",
                   {Variant(0x1234).raw(), Variant(1).raw(), Variant(6).raw(), variable(length), variable(part)})
                  .value.number(),
              0);
    EXPECT_EQ(length.number(), 4);
    length = Variant(8);
    Variant read;
    EXPECT_EQ(call(object, L"ReadE2PObjectEx",
                   {Variant(0x1234).raw(), Variant(1).raw(), Variant(4).raw(), variable(length), variable(read)})
                  .value.number(),
              0);
    EXPECT_EQ(read.text(), L"22FFEE55");
    EXPECT_EQ(length.number(), 8);
}

TEST_F(Conversation, AFailedRequestIsASuccessfulCallAndKeepsTheText) {
    Text kept(L"kept");
    BSTR out = kept.get();
    LONG result = 0;
    EXPECT_EQ(manager->ReadE2PObject(0x7777, 1, &out, &result), S_FALSE);
    EXPECT_EQ(result, 0x8202);  // the handset's status 3
    EXPECT_EQ(out, kept.get());
    EXPECT_EQ(manager->WriteE2PObject(0x7777, 1, kept.inOut(), &result), S_FALSE);
    EXPECT_EQ(kept.wide(), L"kept");
}

TEST_F(Conversation, ProvisioningRequestsAreEchoedOrAnswered) {
    const auto answer = [&](const wchar_t* name, const wchar_t* sent) {
        Variant text(sent);
        EXPECT_EQ(call(object, name, {Variant(1).raw(), Variant(2).raw(), variable(text)}).value.number(), 0) << name;
        return text.text();
    };
    EXPECT_EQ(answer(L"SendE2PPasswd", L"0102"), L"0102");
    EXPECT_EQ(answer(L"SendAuthKey", L"0304"), L"0304");
    EXPECT_EQ(answer(L"SendSerialNumber", L"0506"), L"0506");
    EXPECT_EQ(answer(L"SendAuthReq", L""), L"0123456789ABCDEF");
    EXPECT_EQ(answer(L"SendHashReq", L""), L"5A5A5A5A5A5A5A5A5A5A5A5A5A5A5A5A5A5A5A5A");
    EXPECT_EQ(answer(L"SendLockOtp", L"old"), L"");
}

TEST_F(Conversation, AControllerCommandIsPassed) {
    LONG result = -1;
    Text reply;
    const Text command(L"0102");
    EXPECT_EQ(manager->HciAction(0, command.get(), reply.receive(), &result), S_OK);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(reply.wide(), L"000102");  // status and the command
    EXPECT_EQ(manager->HciAction(6, command.get(), reply.inOut(), &result), S_FALSE);
    EXPECT_EQ(result, 0x4305);
    EXPECT_EQ(reply.wide(), L"000102");
}

// Its handset answers option 1 with the status 5 and the data AABB.
TEST(RefusedAction, CodeAndDataComeTogether) {
    const auto manager = openManager(spareFastPort());
    LONG result = 0;
    Text reply;
    EXPECT_EQ(manager->HciAction(1, Text(L"").get(), reply.receive(), &result), S_FALSE);
    EXPECT_EQ(result, 0xD303);
    EXPECT_EQ(reply.wide(), L"05AABB");
    Variant late;
    const Outcome outcome = call(manager.get(), L"HciAction", {Variant(1).raw(), Variant(L"").raw(), variable(late)});
    EXPECT_EQ(outcome.value.number(), 0xD303);
    EXPECT_EQ(late.text(), L"05AABB");
}

// In operating mode 1 the confirmation becomes an event: none comes to the action, which reads as option (command) 0.
TEST_F(Conversation, WithoutAConfirmationOptionAndCommandZeroSucceedWithoutData) {
    EXPECT_EQ(call(object, L"VbSwitchOperateMode", {Variant(1).raw(), Variant(0).raw()}).value.number(), 0);
    LONG result = -1;
    const Text data(L"0102");
    Text hci;
    EXPECT_EQ(manager->HciAction(0, data.get(), hci.receive(), &result), S_OK);
    EXPECT_EQ(result, 0);
    EXPECT_TRUE(hci.get());
    EXPECT_EQ(hci.wide(), L"");
    EXPECT_EQ(manager->HciAction(4, data.get(), hci.receive(), &result), S_FALSE);
    EXPECT_EQ(result, 0x4203);
    EXPECT_TRUE(hci.get());  // the reply's data, of which there are none
    Text wifi;
    EXPECT_EQ(manager->WiFiAction(0, data.get(), wifi.receive(), &result), S_OK);
    EXPECT_EQ(result, 0);
    EXPECT_TRUE(wifi.get());
    EXPECT_EQ(wifi.wide(), L"");
    for (const wchar_t* name : {L"HciAction", L"WiFiAction"}) {
        Variant late(L"before");
        EXPECT_EQ(call(object, name, {Variant(0).raw(), Variant(L"0102").raw(), variable(late)}).value.number(), 0);
        EXPECT_EQ(late.text(), L"");
    }
    Variant late(L"before");
    EXPECT_EQ(call(object, L"HciAction", {Variant(4).raw(), Variant(L"0102").raw(), variable(late)}).value.number(),
              0x4203);
    EXPECT_EQ(late.text(), L"");
    late = Variant(L"before");
    EXPECT_EQ(call(object, L"WiFiAction", {Variant(1).raw(), Variant(L"0102").raw(), variable(late)}).value.number(),
              0x4203);
    EXPECT_EQ(late.text(), L"before");
    EXPECT_EQ(call(object, L"VbSwitchOperateMode", {Variant(0).raw(), Variant(0).raw()}).value.number(), 0);
}

TEST_F(Conversation, AWifiCommandIsPassed) {
    Variant reply;
    EXPECT_EQ(
        call(object, L"WiFiAction", {Variant(0x21).raw(), Variant(L"AABB").raw(), variable(reply)}).value.number(), 0);
    EXPECT_EQ(reply.text(), L"AABB");
}

TEST_F(Conversation, TheHandsetTellsWhoItIs) {
    const auto info = [&](int option) {
        Variant text(L"old");
        const Outcome outcome = call(object, L"SpecificInfo",
                                     {Variant(option).raw(), Variant(0).raw(), Variant(L"").raw(), variable(text)});
        return std::to_wstring(outcome.value.number()) + L" " + text.text();
    };
    exchange(manager.get(), L"ATE0");
    EXPECT_EQ(info(0), L"0 ACME AM-1~SW 4.2.0 2026-03-01~~");
    EXPECT_EQ(info(2), L"0 490154203237518");
    EXPECT_EQ(info(10), L"0 UNLOCKED");
    EXPECT_EQ(info(3), L"0 ");  // never written
    EXPECT_EQ(info(11), L"17157 ");
    exchange(manager.get(), L"ATE1");
}

// --- raw port access

TEST_F(Conversation, RawBytesGoOutAndComeBack) {
    Variant written;
    Variant hex(L"41540D");
    EXPECT_EQ(call(object, L"DirectWriteHexData", {hex.raw(), Variant(3).raw(), variable(written)}).value.number(), 0);
    EXPECT_EQ(written.number(), 3);
    // Echo, line end, "OK", line end.
    EXPECT_TRUE(eventually([&] { return call(object, L"DirectQueryDataInQueue", {}).value.number() == 9; }));
    Variant read;
    Variant count;
    EXPECT_EQ(call(object, L"DirectReadHexData", {variable(read), Variant(100).raw(), variable(count)}).value.number(),
              0);
    EXPECT_EQ(count.number(), 9);
    EXPECT_EQ(read.text(), L"41540D0D0A4F4B0D0A");
    Variant none(L"kept");
    EXPECT_EQ(call(object, L"DirectReadHexData", {variable(none), Variant(0).raw(), variable(count)}).value.number(),
              0);
    EXPECT_EQ(count.number(), 0);
}

TEST_F(Conversation, ALengthBeyondTheTextAsksForNoMemory) {
    LONG count = 7;
    LONG result = 7;
    const Text hex(L"0A");
    EXPECT_EQ(manager->DirectWriteHexData(hex.get(), std::numeric_limits<LONG>::max(), &count, &result), S_OK);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(result, 0);
}

TEST_F(Conversation, BytesOfAnArrayAreWritten) {
    LONG written = 7;
    LONG untouched = 7;
    EXPECT_EQ(manager->DirectWriteAsciiData(Variant::byteArray("AT\r").raw(), 100, &written, &untouched), S_OK);
    EXPECT_EQ(written, 3);    // what the array holds
    EXPECT_EQ(untouched, 7);  // its code is not told
    Text collected;
    EXPECT_EQ(manager->RetriveComPortData(3, 300, collected.receive(), &untouched), S_OK);
    EXPECT_EQ(collected.wide(), L"41540D0D0A4F4B0D0A");
    EXPECT_EQ(untouched, 7);
    written = 7;
    EXPECT_EQ(manager->DirectWriteAsciiData(Variant(L"AT").raw(), 2, &written, &untouched), S_OK);
    EXPECT_EQ(written, 7);
    EXPECT_EQ(manager->DirectWriteAsciiData(Variant::byteArray("ATAT", VT_UI2).raw(), 2, &written, &untouched), S_OK);
    EXPECT_EQ(written, 7);
}

TEST_F(Conversation, NothingArrivedIsTheWordNull) {
    Text collected;
    LONG untouched = 7;
    EXPECT_EQ(manager->RetriveComPortData(3, 50, collected.receive(), &untouched), S_OK);
    EXPECT_EQ(collected.wide(), L"NULL");
    BSTR kept = nullptr;
    EXPECT_EQ(manager->RetriveComPortData(1, 50, &kept, &untouched), S_OK);
    EXPECT_EQ(kept, nullptr);
}

class ArrayRead : public Conversation {
protected:
    void ask() {
        Variant written;
        BYTE bytes[] = {'A', 'T', '\r'};
        EXPECT_EQ(call(object, L"DirectWriteByteData", {reference(VT_UI1, bytes), Variant(3).raw(), variable(written)})
                      .result,
                  S_OK);
        EXPECT_EQ(written.number(), 3);
        EXPECT_TRUE(eventually([&] { return call(object, L"DirectQueryDataInQueue", {}).value.number() == 9; }));
    }
    int read(VARIANT array, int length) {
        Variant count;
        const Outcome outcome = call(object, L"DirectReadAsciiData", {array, Variant(length).raw(), variable(count)});
        EXPECT_EQ(outcome.result, S_OK);
        EXPECT_EQ(outcome.value.number(), 0);
        return count.number();
    }
};

TEST_F(ArrayRead, FillsTheCallersOwnArrayHoweverItIsPassed) {
    Variant held = Variant::byteArray("123456789");
    ask();
    EXPECT_EQ(read(variable(held), 9), 9);
    EXPECT_EQ(held.bytes(), "AT\r\r\nOK\r\n");
    Variant array = Variant::byteArray("123456789");
    ask();
    EXPECT_EQ(read(reference(VT_ARRAY | VT_UI1, &V_ARRAY(&array.raw())), 9), 9);
    EXPECT_EQ(array.bytes(), "AT\r\r\nOK\r\n");
    Variant plain = Variant::byteArray("123456789");
    ask();
    EXPECT_EQ(read(plain.raw(), 9), 9);
    EXPECT_EQ(plain.bytes(), "AT\r\r\nOK\r\n");
    Variant inner = Variant::byteArray("123456789");
    Variant outer = Variant::typed(VT_EMPTY);
    V_VT(&outer.raw()) = VT_ARRAY | VT_UI1 | VT_BYREF;
    V_ARRAYREF(&outer.raw()) = &V_ARRAY(&inner.raw());
    ask();
    EXPECT_EQ(read(variable(outer), 9), 9);
    EXPECT_EQ(inner.bytes(), "AT\r\r\nOK\r\n");
}

TEST_F(ArrayRead, StaysInsideASmallerArray) {
    Variant held = Variant::byteArray("1234");
    ask();
    EXPECT_EQ(read(variable(held), 9), 4);
    EXPECT_EQ(held.bytes(), "AT\r\r");
    EXPECT_EQ(call(object, L"DirectQueryDataInQueue", {}).value.number(), 5);
}

TEST_F(ArrayRead, SetsTheElementsOfAScriptsArray) {
    Variant script = Variant::scriptArray({Variant(), Variant(), Variant(L"kept")});
    ask();
    EXPECT_EQ(read(variable(script), 2), 2);
    const VARIANT* const elements = static_cast<const VARIANT*>(V_ARRAY(&script.raw())->pvData);
    EXPECT_EQ(V_VT(&elements[0]), VT_UI1);
    EXPECT_EQ(V_UI1(&elements[0]), 'A');
    EXPECT_EQ(V_UI1(&elements[1]), 'T');
    EXPECT_EQ(V_VT(&elements[2]), VT_BSTR);  // not reached
}

TEST_F(ArrayRead, SetsTheElementsWhateverTypeTakesTheCount) {
    Variant script = Variant::scriptArray({Variant(), Variant(), Variant(L"kept")});
    double count = 0;
    ask();
    const Outcome outcome =
        call(object, L"DirectReadAsciiData", {variable(script), Variant(2).raw(), reference(VT_R8, &count)});
    EXPECT_EQ(outcome.result, S_OK);
    EXPECT_EQ(count, 2.0);
    const VARIANT* const elements = static_cast<const VARIANT*>(V_ARRAY(&script.raw())->pvData);
    EXPECT_EQ(V_UI1(&elements[0]), 'A');
    EXPECT_EQ(V_UI1(&elements[1]), 'T');
    EXPECT_EQ(V_VT(&elements[2]), VT_BSTR);
}

// In the order of its storage, however it is shaped; and never more than it holds.
TEST_F(ArrayRead, FillsATableOfBytesAsItLiesInMemory) {
    for (const ULONG rows : {1u, 2u, 4u, 8u}) {
        Variant table = Variant::byteTable("12345678", rows);
        ask();
        EXPECT_EQ(read(variable(table), 100), 8);
        const SAFEARRAY* const array = V_ARRAY(&table.raw());
        EXPECT_EQ(std::string(static_cast<const char*>(array->pvData), 8), "AT\r\r\nOK\r");
        EXPECT_EQ(array->cDims, 2u);
        Text rest;
        LONG count = 0;
        LONG failure = 1;
        EXPECT_EQ(manager->DirectReadHexData(rest.receive(), 100, &count, &failure), S_OK);
        EXPECT_EQ(rest.wide(), L"0A");
    }
}

TEST_F(Conversation, BytesOfATableAreNotWritten) {
    LONG written = 7;
    LONG untouched = 7;
    EXPECT_EQ(manager->DirectWriteAsciiData(Variant::byteTable("AT\rx", 2).raw(), 4, &written, &untouched), S_OK);
    EXPECT_EQ(written, 7);
    ULONG refused = 0;
    EXPECT_EQ(manager->RfChangeTableReq(1, 2, 3, 4, Variant::byteTable("AT\rx", 2).raw(), &refused), S_OK);
    EXPECT_EQ(refused, 0x3001u);
}

// --- modem lines and flow control

class ModemLines : public Conversation {
protected:
    ModemLines() : files_(environment("MODEM_LINES_WINDOWS") + "\\" + environment("MOVA_FAST_PTS")) {}

    void handsetRaises(const char* lines) const { std::ofstream(files_ + ".in", std::ios::binary) << lines; }
    std::string raised() const {
        std::ifstream file(files_ + ".out", std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

private:
    const std::string files_;
};

TEST_F(ModemLines, AreRaisedAndDropped) {
    const auto set = [&](int index, int value) {
        EXPECT_EQ(call(object, L"SetCommSignal", {Variant(index).raw(), Variant(value).raw()}).value.number(), 0);
        return raised();
    };
    set(1, 0);
    EXPECT_EQ(set(2, 0), "");
    EXPECT_EQ(set(1, 1), "DTR");
    EXPECT_EQ(set(7, -1), "DTR RTS");  // every index but 1 is RTS
    EXPECT_EQ(set(1, 0), "RTS");
    EXPECT_EQ(set(0, 0), "");
}

TEST_F(ModemLines, AreRead) {
    const auto detect = [&](int index) {
        return call(object, L"DetectCommSignal", {Variant(index).raw()}).value.number();
    };
    handsetRaises("CTS DSR");
    EXPECT_EQ(detect(-1), 0x30);
    EXPECT_EQ(detect(0), 1);
    EXPECT_EQ(detect(1), 1);
    EXPECT_EQ(detect(2), 0);
    EXPECT_EQ(detect(3), 0);
    EXPECT_EQ(detect(4), 0);
    handsetRaises("RING CARRIER");
    EXPECT_EQ(detect(-1), 0xC0);
    EXPECT_EQ(detect(2), 1);
    EXPECT_EQ(detect(3), 1);
    handsetRaises("");
    EXPECT_EQ(detect(-1), 0);
}

TEST_F(ModemLines, FlowControlIsSwitchedWhileOpen) {
    for (int mode = 0; mode <= 9; ++mode) {
        EXPECT_EQ(call(object, L"SwitchCommFlowControlMode", {Variant(mode).raw()}).result, S_OK);
    }
    EXPECT_EQ(call(object, L"SwitchCommFlowControlMode", {Variant(8).raw()}).result, S_OK);
    EXPECT_EQ(exchange(manager.get(), L"AT"), L"AT\r~OK~");
}

// --- files

std::string fileText(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

TEST_F(Conversation, TheTraceFileTellsWhatWentOverTheLine) {
    const std::wstring path = L"C:\\trace-of-test.log";
    const std::string narrow(path.begin(), path.end());
    std::remove(narrow.c_str());
    Variant enable(1);
    EXPECT_EQ(
        call(object, L"ActivateMovaLogging", {Variant(path.c_str()).raw(), Variant(0).raw(), variable(enable)}).result,
        S_OK);
    EXPECT_EQ(enable.number(), 0);
    exchange(manager.get(), L"AT+CGMI");
    Variant reply;
    call(object, L"WiFiAction", {Variant(0x21).raw(), Variant(L"AABB").raw(), variable(reply)});
    EXPECT_EQ(call(object, L"ActivateMovaLoggingVb", {Variant(path.c_str()).raw(), Variant(0).raw(), Variant(0).raw()})
                  .value.number(),
              0);
    exchange(manager.get(), L"AT+CGMM");
    const std::string text = fileText(narrow);
    EXPECT_THAT(text, HasSubstr("AT-S AT+CGMI\t\t\t\t[T:"));
    EXPECT_THAT(text, HasSubstr("WIFI-S 0A00#B00101-21-00-0200%\r\nAABB"));
    EXPECT_THAT(text, HasSubstr("WIFI-R 21-00-0200%\r\nAABB\r\n"));
    EXPECT_THAT(text, testing::Not(HasSubstr("AT+CGMM")));
}

TEST_F(Conversation, TheLogFileHasTaggedLinesWhileAPathIsSet) {
    const char* const path = "C:\\log-of-test.log";
    std::remove(path);
    exchange(manager.get(), L"AT");
    EXPECT_EQ(call(object, L"Set_Log_File_Path", {Variant(L"C:\\log-of-test.log").raw()}).result, S_OK);
    exchange(manager.get(), L"AT+CGMI");
    EXPECT_EQ(call(object, L"Set_Log_File_Path", {Variant(L"").raw()}).result, S_OK);
    exchange(manager.get(), L"AT+CGMM");
    const std::string text = fileText(path);
    EXPECT_THAT(text.substr(0, text.find('\r')),
                MatchesRegex("\\[20../../..-..:..:..::...\\]\\[.....\\]\t\\[AT\\] Send: AT\\+CGMI"));
    EXPECT_THAT(text, HasSubstr("[AT] Recv: "));
    EXPECT_THAT(text, testing::Not(HasSubstr("AT+CGMM")));
}

}  // namespace
}  // namespace mova::test
