#include <optional>

#include "device/HandsetPort.h"
#include "unit/device/HandsetFixture.h"

namespace mova {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using HandsetPortTest = HandsetFixture;

// --- settings

TEST_F(HandsetPortTest, ANewPortHasItsDefaultsAndIsClosed) {
    HandsetPort fresh(platform, debug, trace);
    EXPECT_EQ(fresh.portNumber(), 1);
    EXPECT_EQ(fresh.baudRate(), 115200);
    EXPECT_EQ(fresh.deviceType(), 0);
    EXPECT_TRUE(fresh.isSerial());
    EXPECT_FALSE(fresh.isInitialised());
    EXPECT_FALSE(fresh.hasHandle());
    EXPECT_FALSE(fresh.device().isOpen());
    EXPECT_EQ(fresh.cardType(), -1);
    EXPECT_EQ(fresh.pendingFlowControlMode(), 7);
    EXPECT_FALSE(fresh.stopEvent().isSet());
}

TEST_F(HandsetPortTest, PortNumberIsKeptOnlyWhileClosedButAsksForANewLookUpAlways) {
    openQuietly();
    port.setPortNumber(3);
    EXPECT_EQ(port.portNumber(), 7);
    debug.post("x");
    EXPECT_THAT(platform.datagrams().texts(), ElementsAre("MovaCmdSvr:(COM7) x"));
    EXPECT_EQ(port.open(), 0u);
    EXPECT_THAT(
        platform.datagrams().texts(),
        ElementsAre("MovaCmdSvr:(COM7) x", "MovaCmdSvr:(COM7) Card Type: 6\nDriver Name: USB Serial Port (COM7)"));
    port.close();
    port.setPortNumber(3);
    EXPECT_EQ(port.portNumber(), 3);
}

struct DeviceTypeCase {
    std::int16_t type;
    std::int32_t parameter1;
    std::int32_t parameter2;
    std::int32_t portNumber;
    std::int32_t baudRate;
    const char* prefix;
};

class DeviceTypeTest : public HandsetFixture, public ::testing::WithParamInterface<DeviceTypeCase> {};

TEST_P(DeviceTypeTest, PositiveParametersOfASerialDeviceCount) {
    const DeviceTypeCase& c = GetParam();
    port.setDeviceType(c.type, c.parameter1, c.parameter2);
    EXPECT_EQ(port.deviceType(), c.type);
    EXPECT_EQ(port.portNumber(), c.portNumber);
    EXPECT_EQ(port.baudRate(), c.baudRate);
    debug.post("x");
    EXPECT_THAT(platform.datagrams().texts(), ElementsAre(std::string(c.prefix) + "x"));
}

INSTANTIATE_TEST_SUITE_P(Types, DeviceTypeTest,
                         ::testing::Values(DeviceTypeCase{0, 5, 9600, 5, 9600, "MovaCmdSvr:(COM5) "},
                                           DeviceTypeCase{0, 0, 0, 7, 115200, "MovaCmdSvr:(COM7) "},
                                           DeviceTypeCase{0, -5, -1, 7, 115200, "MovaCmdSvr:(COM7) "},
                                           DeviceTypeCase{0, 5, 0, 5, 115200, "MovaCmdSvr:(COM5) "},
                                           DeviceTypeCase{0, 0, 9600, 7, 9600, "MovaCmdSvr:(COM7) "},
                                           DeviceTypeCase{1, 5, 9600, 7, 115200, "MovaCmdSvr:() "},
                                           DeviceTypeCase{-1, 5, 9600, 7, 115200, "MovaCmdSvr:() "}),
                         [](const auto& test) { return "Case" + std::to_string(test.index); });

TEST_F(HandsetPortTest, InitialisesOnlyOnASerialDeviceAndForGood) {
    port.setDeviceType(1, 0, 0);
    port.markInitialised();
    EXPECT_FALSE(port.isInitialised());
    port.setDeviceType(0, 0, 0);
    port.markInitialised();
    EXPECT_TRUE(port.isInitialised());
    port.setDeviceType(1, 0, 0);
    port.markInitialised();
    EXPECT_TRUE(port.isInitialised());
    port.setDeviceType(0, 0, 0);
}

// --- open

TEST_F(HandsetPortTest, OpensOverlappedAndTracesTheDeviceParameterInsteadOfThePort) {
    EXPECT_EQ(port.open(), 0u);
    EXPECT_THAT(trace.lines(), ElementsAre("18 Open Device:0,115200", "18 Open Device Success"));
    EXPECT_THAT(platform.datagrams().texts(),
                ElementsAre("MovaCmdSvr:(COM7) Card Type: 6\nDriver Name: USB Serial Port (COM7)"));
    EXPECT_TRUE(port.hasHandle());
    EXPECT_EQ(port.cardType(), 6);
    EXPECT_EQ(platform.journal().serial().front(), "open \\\\.\\COM7 overlapped");
    trace.clear();
    port.setDeviceType(0, 7, 9600);
    EXPECT_EQ(port.open(), 0u);
    EXPECT_THAT(trace.lines(), ElementsAre("18 Open Device:7,9600", "18 Open Device Success"));
    EXPECT_EQ(comm.lineSettings.baudRate, 9600u);
}

TEST_F(HandsetPortTest, OpenPortIsClosedAndReopened) {
    openQuietly();
    EXPECT_EQ(port.open(), 0u);
    EXPECT_EQ(comm.opens(), 2u);
    EXPECT_EQ(passed(), 500);
    EXPECT_EQ(port.device().handle(), 0x104);
    EXPECT_THAT(trace.lines(), ElementsAre("18 Open Device:0,115200", "18 Open Device Success"));
}

TEST_F(HandsetPortTest, DriverIsLookedUpOnceUntilTheSettingsChange) {
    const auto lookUps = [&] {
        const auto posted = platform.datagrams().texts().size();
        platform.datagrams().clear();
        return posted;
    };
    EXPECT_EQ(port.open(), 0u);
    EXPECT_EQ(lookUps(), 1u);
    EXPECT_EQ(port.open(), 0u);
    EXPECT_EQ(lookUps(), 0u);
    port.setDeviceType(0, 0, 0);
    EXPECT_EQ(port.open(), 0u);
    EXPECT_EQ(lookUps(), 1u);
    port.setPortNumber(7);
    EXPECT_EQ(port.open(), 0u);
    EXPECT_EQ(lookUps(), 1u);
}

TEST_F(HandsetPortTest, DriverThatWasNotFoundIsLookedUpEachTime) {
    port.setPortNumber(8);
    EXPECT_EQ(port.open(), 0x4000u);
    EXPECT_EQ(port.open(), 0x4000u);
    EXPECT_EQ(port.cardType(), -2);
    EXPECT_THAT(platform.datagrams().texts(), ElementsAre("MovaCmdSvr:(COM8) Card Type: -2\nDriver Name: ",
                                                          "MovaCmdSvr:(COM8) Card Type: -2\nDriver Name: "));
    platform.withPort(8);
    EXPECT_EQ(port.open(), 0u);
    EXPECT_EQ(port.cardType(), 1);
}

TEST_F(HandsetPortTest, FailingOpenIsTracedAndItsCodeReturned) {
    platform.failures().fail(Op::Properties).always();
    EXPECT_EQ(port.open(), 0x4002u);
    EXPECT_FALSE(port.hasHandle());
    EXPECT_THAT(trace.lines(), ElementsAre("18 Open Device:0,115200", "18 Open Device Fail"));
    platform.failures().clear();
    EXPECT_EQ(port.waitingBytes(), 0u);
    EXPECT_EQ(comm.opens(), 4u) << "not opened once: nothing to reopen";
}

// A number that is cut to 16 bits names another port, which may be another handset's.
TEST_F(HandsetPortTest, NumbersThatNoPortHasOpenNone) {
    platform.withPath("\\\\.\\COM65543");
    platform.withPath("\\\\.\\COM4294901767");
    for (const std::int32_t number : {65536 + 7, 131072 + 7, 65536, 2147418112 + 7, -65536 + 7, -1, 0}) {
        port.setPortNumber(number);
        EXPECT_EQ(port.open(), 0x4000u) << number;
        EXPECT_FALSE(port.hasHandle()) << number;
    }
    EXPECT_EQ(comm.opens(), 0u);
    EXPECT_THAT(platform.journal().serial(), IsEmpty());
    EXPECT_THAT(platform.datagrams().texts(),
                ::testing::Contains("MovaCmdSvr:(COM65543) Card Type: 6\nDriver Name: Microsoft USB Sync"));
}

TEST_F(HandsetPortTest, TheLastNumberIsOneLikeOthers) {
    ScriptedPort& last = platform.withPath("\\\\.\\COM65535");
    port.setPortNumber(65535);
    EXPECT_EQ(port.open(), 0u);
    EXPECT_EQ(last.opens(), 1u);
}

TEST_F(HandsetPortTest, OtherDeviceTypesOpenWithoutTouchingAPort) {
    port.setDeviceType(1, 5, 9600);
    EXPECT_EQ(port.open(), 0u);
    EXPECT_THAT(trace.lines(), ElementsAre("18 Open Device:5,115200", "18 Open Device Success"));
    EXPECT_THAT(platform.journal().serial(), IsEmpty());
    EXPECT_THAT(platform.keys().opened(), IsEmpty());
    EXPECT_THAT(sink.messages(), IsEmpty());
    EXPECT_FALSE(port.hasHandle());
}

TEST_F(HandsetPortTest, OpenResetsTheStopEventEvenWhenItFails) {
    port.stopEvent().set();
    EXPECT_EQ(port.open(), 0u);
    EXPECT_FALSE(port.stopEvent().isSet());
    port.close();
    port.stopEvent().set();
    platform.failures().fail(Op::Open);
    EXPECT_EQ(port.open(), 0x4000u);
    EXPECT_FALSE(port.stopEvent().isSet());
}

// --- close

TEST_F(HandsetPortTest, CloseTracesAndStopsEveryWait) {
    openQuietly();
    EXPECT_EQ(port.close(), 0u);
    EXPECT_TRUE(port.stopEvent().isSet());
    EXPECT_FALSE(port.hasHandle());
    EXPECT_THAT(trace.lines(), ElementsAre("18 Close Device", "18 Close Device Success"));
    EXPECT_EQ(port.waitingBytes(), 0u);
    EXPECT_EQ(comm.opens(), 1u) << "a closed port is not reopened";
}

TEST_F(HandsetPortTest, ClosingAClosedPortIsASuccess) {
    EXPECT_EQ(port.close(), 0u);
    EXPECT_THAT(trace.lines(), ElementsAre("18 Close Device", "18 Close Device Success"));
    EXPECT_THAT(sink.messages(), IsEmpty());
    EXPECT_EQ(platform.elapsed(), 0);
}

TEST_F(HandsetPortTest, FailingCloseKeepsTheHandle) {
    openQuietly();
    platform.failures().fail(Op::Close);
    EXPECT_EQ(port.close(), 0x4343u);
    EXPECT_TRUE(port.hasHandle());
    EXPECT_THAT(trace.lines(), ElementsAre("18 Close Device", "18 Close Device Fail"));
    comm.feed("AB");
    EXPECT_EQ(port.waitingBytes(), 2u) << "it counts as open still";
}

TEST_F(HandsetPortTest, CloseAfterTheDeviceClosedItselfGivesUpTheHandle) {
    openQuietly();
    letTheDeviceCloseItself();
    EXPECT_EQ(port.close(), 0u);
    EXPECT_FALSE(port.hasHandle());
}

TEST_F(HandsetPortTest, AtTheEndOnlyAnOpenSerialPortIsClosed) {
    port.closeAtEnd();
    EXPECT_THAT(trace.lines(), IsEmpty());
    openQuietly();
    port.setDeviceType(1, 0, 0);
    port.closeAtEnd();
    EXPECT_THAT(trace.lines(), IsEmpty());
    port.setDeviceType(0, 0, 0);
    port.closeAtEnd();
    EXPECT_THAT(trace.lines(), ElementsAre("18 Close Device", "18 Close Device Success"));
    EXPECT_FALSE(comm.isOpen());
}

// --- object write

using ObjectWriteTest = HandsetFixture;

TEST_F(ObjectWriteTest, SendsTheWholeBufferAtOnce) {
    openQuietly();
    std::uint32_t written = 77;
    EXPECT_EQ(port.write("AT\r", 3, &written), 0u);
    EXPECT_EQ(written, 3u);
    EXPECT_THAT(comm.writeTexts(), ElementsAre("AT\r"));
    EXPECT_EQ(port.write("B", 1), 0u) << "the count may be left out";
}

TEST_F(ObjectWriteTest, BeforeInitialisationIsRefused) {
    ASSERT_EQ(port.open(), 0u);
    platform.journal().clear();
    std::uint32_t written = 77;
    EXPECT_EQ(port.write("A", 1, &written), 0x4317u);
    EXPECT_EQ(written, 0u);
    EXPECT_THAT(platform.journal().serial(), IsEmpty());
}

TEST_F(ObjectWriteTest, OtherDeviceTypesWriteNothingAndSucceed) {
    openQuietly();
    port.setDeviceType(1, 0, 0);
    std::uint32_t written = 77;
    EXPECT_EQ(port.write("A", 1, &written), 0u);
    EXPECT_EQ(written, 0u);
    EXPECT_THAT(platform.journal().serial(), IsEmpty());
    port.setDeviceType(0, 0, 0);
}

TEST_F(ObjectWriteTest, OpensAPortThatIsClosed) {
    port.markInitialised();
    EXPECT_EQ(port.write("A", 1), 0u);
    EXPECT_EQ(comm.written(), "A");
    EXPECT_THAT(trace.lines(), ElementsAre("18 Open Device:0,115200", "18 Open Device Success"));
}

TEST_F(ObjectWriteTest, OpenThatFailsIsItsResult) {
    port.markInitialised();
    platform.failures().fail(Op::SetEventMask).matching("setEventMask 1").always();
    std::uint32_t written = 77;
    EXPECT_EQ(port.write("A", 1, &written), 0x4201u);
    EXPECT_EQ(written, 0u);
    EXPECT_EQ(comm.written(), "");
}

// Changes the device type while the port is being opened.
class TypeChanger : public CCallBack {
public:
    explicit TypeChanger(HandsetPort& port) : port_(port) {}
    void text(const std::string& message) override {
        if (message == "Open with Overlapped I/O Success!!!") port_.setDeviceType(1, 0, 0);
    }

private:
    HandsetPort& port_;
};

TEST_F(ObjectWriteTest, DeviceTypeThatChangesWhileOpeningStopsTheWrite) {
    TypeChanger changer(port);
    port.device().setMessageSink(&changer);
    port.markInitialised();
    std::uint32_t written = 77;
    EXPECT_EQ(port.write("A", 1, &written), 0u);
    EXPECT_EQ(written, 0u);
    port.device().CloseDevice();
    port.setDeviceType(0, 0, 0);
    EXPECT_EQ(port.close(), 0u);
    EXPECT_EQ(port.pacedWrite("AB", 2, 100), 0u);
    EXPECT_EQ(port.deviceType(), 1);
    EXPECT_EQ(comm.written(), "");
    port.device().setMessageSink(nullptr);
    port.setDeviceType(0, 0, 0);
}

TEST_F(ObjectWriteTest, DeviceThatClosedItselfIsNotReopenedAndNothingIsWritten) {
    openQuietly();
    letTheDeviceCloseItself();
    std::uint32_t written = 77;
    EXPECT_EQ(port.write("A", 1, &written), 0u);
    EXPECT_EQ(written, 0u);
    EXPECT_THAT(platform.journal().serial(), IsEmpty());
    EXPECT_FALSE(port.device().isOpen());
}

TEST_F(ObjectWriteTest, FailuresOfTheWriteAreItsResult) {
    openQuietly();
    std::uint32_t written = 77;
    platform.failures().fail(Op::BeginWrite).as(FailureKind::WaitFailed);
    EXPECT_EQ(port.write("AB", 2, &written), 0x3006u);
    EXPECT_EQ(written, 0u);
    platform.failures().fail(Op::BeginWrite).as(FailureKind::ShortCount).count(1);
    EXPECT_EQ(port.write("AB", 2, &written), 0x4010u);
    EXPECT_EQ(written, 1u);
}

TEST_F(ObjectWriteTest, WhatIsToEndAtOnceIsNotBegun) {
    openQuietly();
    const StopEvent::End end(port.stopEvent(), StopEvent::End::Stays::Yes);
    std::uint32_t written = 77;
    EXPECT_EQ(port.write("A", 1, &written), 0x10u);
    EXPECT_EQ(written, 0u);
    EXPECT_THAT(platform.journal().serial(), IsEmpty());
}

TEST_F(ObjectWriteTest, WhatIsToEndAtOnceOpensNoPort) {
    port.markInitialised();
    const StopEvent::End end(port.stopEvent(), StopEvent::End::Stays::Yes);
    EXPECT_EQ(port.write("A", 1), 0x10u);
    Code result{};
    EXPECT_FALSE(port.makeAvailable(HandsetPort::OpenTest::Handle, result));
    EXPECT_EQ(result, 0x10u);
    EXPECT_EQ(comm.opens(), 0u);
}

TEST_F(ObjectWriteTest, AnEndThatComesWhileThePortIsOpenedIsNotForgotten) {
    port.markInitialised();
    std::optional<StopEvent::End> end;
    platform.failures().fail(Op::SetQueueSizes);  // so that opening takes its time
    platform.after(100ms, [&] { end.emplace(port.stopEvent(), StopEvent::End::Stays::Yes); });
    EXPECT_EQ(port.write("A", 1), 0x10u);
    EXPECT_EQ(comm.written(), "");
    EXPECT_TRUE(comm.isOpen());
}

// --- paced write

struct PacedCard {
    const char* friendlyName;
    CardType card;
    bool whole;
};

class PacedWriteByCardTest : public HandsetFixture, public ::testing::WithParamInterface<PacedCard> {
protected:
    PacedWriteByCardTest() {
        platform.withPort(7, GetParam().friendlyName);
        openQuietly();
    }
};

TEST_P(PacedWriteByCardTest, UsbCardsTakeTheRequestWholeAndTheOthersByteByByte) {
    ASSERT_EQ(port.cardType(), GetParam().card);
    EXPECT_EQ(port.pacedWrite("ABC", 3, 1000), 0u);
    if (GetParam().whole) {
        EXPECT_THAT(comm.writeTexts(), ElementsAre("ABC"));
    } else {
        EXPECT_THAT(comm.writeTexts(), ElementsAre("A", "B", "C"));
    }
}

INSTANTIATE_TEST_SUITE_P(Cards, PacedWriteByCardTest,
                         ::testing::Values(PacedCard{"My Serial Port (COM7)", 0, false},
                                           PacedCard{"Communications Port (COM7)", 1, false},
                                           PacedCard{"PCI Serial 16550 (COM7)", 2, false},
                                           PacedCard{"MosChip PCI Serial Port (COM7)", 3, false},
                                           PacedCard{"MOXA Communication Port 1 (COM7)", 4, false},
                                           PacedCard{"USB to Serial Port (COM7)", 5, true},
                                           PacedCard{"USB Serial Port (COM7)", 6, true}),
                         [](const auto& test) { return "Type" + std::to_string(test.param.card); });

class PacedWriteTest : public HandsetFixture {
protected:
    PacedWriteTest() { platform.withPort(7, "Communications Port (COM7)"); }
};

TEST_F(PacedWriteTest, BeforeInitialisationIsRefused) {
    ASSERT_EQ(port.open(), 0u);
    platform.journal().clear();
    EXPECT_EQ(port.pacedWrite("A", 1, 1000), 0x4317u);
    EXPECT_THAT(platform.journal().serial(), IsEmpty());
}

TEST_F(PacedWriteTest, OtherDeviceTypesSucceedEvenBeforeInitialisation) {
    port.setDeviceType(1, 0, 0);
    EXPECT_EQ(port.pacedWrite("A", 1, 1000), 0u);
    EXPECT_THAT(platform.journal().serial(), IsEmpty());
    port.setDeviceType(0, 0, 0);
}

TEST_F(PacedWriteTest, ClosedPortIsOpenedAtTheFirstByte) {
    port.markInitialised();
    EXPECT_EQ(port.pacedWrite("AB", 2, 1000), 0u);
    EXPECT_THAT(comm.writeTexts(), ElementsAre("A", "B"));
    EXPECT_EQ(comm.opens(), 1u);
}

TEST_F(PacedWriteTest, CardThatWasNotLookedUpYetCountsAsNoUsbCard) {
    platform.withPort(7, "USB Serial Port (COM7)");
    port.markInitialised();
    EXPECT_EQ(port.pacedWrite("AB", 2, 1000), 0u);
    EXPECT_THAT(comm.writeTexts(), ElementsAre("A", "B"));
    comm.clearWritten();
    EXPECT_EQ(port.pacedWrite("AB", 2, 1000), 0u);
    EXPECT_THAT(comm.writeTexts(), ElementsAre("AB")) << "known since the open";
}

TEST_F(PacedWriteTest, OpenThatFailsIsItsResult) {
    port.markInitialised();
    platform.failures().fail(Op::Open);
    EXPECT_EQ(port.pacedWrite("AB", 2, 1000), 0x4000u);
    EXPECT_EQ(comm.written(), "");
}

struct LimitCase {
    std::uint32_t limit;
    std::uint32_t result;
    const char* written;
};

class PacedWriteLimitTest : public PacedWriteTest, public ::testing::WithParamInterface<LimitCase> {};

TEST_P(PacedWriteLimitTest, IsForTheWholeRequestAndSeenAfterEachByte) {
    openQuietly();
    comm.writesTake(10ms);
    EXPECT_EQ(port.pacedWrite("ABCD", 4, GetParam().limit), GetParam().result);
    EXPECT_EQ(comm.written(), GetParam().written);
    EXPECT_TRUE(port.device().isOpen());
}

INSTANTIATE_TEST_SUITE_P(Limits, PacedWriteLimitTest,
                         ::testing::Values(LimitCase{0, 0x4005, "A"}, LimitCase{9, 0x4005, "A"},
                                           LimitCase{10, 0x4005, "AB"}, LimitCase{19, 0x4005, "AB"},
                                           LimitCase{20, 0x4005, "ABC"}, LimitCase{29, 0x4005, "ABC"},
                                           // The request that has gone out is done, whatever the time.
                                           LimitCase{30, 0, "ABCD"}, LimitCase{1000, 0, "ABCD"}),
                         [](const auto& test) { return std::to_string(test.param.limit); });

TEST_F(PacedWriteTest, LooksAtTheErrorBitsOnceInAMillisecond) {
    openQuietly();
    comm.writesTake(std::chrono::microseconds(400));  // the bytes begin at 0, 0.4, 0.8, 1.2, 1.6, 2.0 ms
    EXPECT_EQ(port.pacedWrite("ABCDEF", 6, 1000), 0u);
    EXPECT_EQ(platform.journal().only({Op::BeginWrite}).size(), 6u);
    EXPECT_EQ(platform.journal().only({Op::ClearErrors}).size(), 3u);
}

TEST_F(PacedWriteTest, TellsOfAnErrorOnTheLineBeforeTheNextMillisecondsByte) {
    openQuietly();
    comm.writesTake(1ms);
    platform.after(1500us, [this] { comm.addErrorBits(LineError::Framing); });
    EXPECT_EQ(port.pacedWrite("ABCD", 4, 1000), 0u);
    EXPECT_EQ(comm.written(), "ABCD");
    EXPECT_THAT(sink.messages(), ::testing::ElementsAre("The hardware detected a framing error."));
}

TEST_F(PacedWriteTest, LimitOf0SufficesWhenNoTimePasses) {
    openQuietly();
    EXPECT_EQ(port.pacedWrite("ABCD", 4, 0), 0u);
    EXPECT_EQ(comm.written(), "ABCD");
}

TEST_F(PacedWriteTest, ALimitThatWrapsTheTickCountCountsAsPassed) {
    openQuietly();
    platform.clock().setTickCount(0xFFFFFFFA);
    EXPECT_EQ(port.pacedWrite("ABCD", 4, 1000), 0x4005u);
    EXPECT_EQ(comm.written(), "A");
}

TEST_F(PacedWriteTest, TickCountThatWrapsOnTheWayMakesNoEnd) {
    openQuietly();
    platform.clock().setTickCount(0xFFFFFFF0);
    comm.writesTake(10ms);
    EXPECT_EQ(port.pacedWrite("ABCD", 4, 12), 0u);  // the deadline 0xFFFFFFFC is above every count after the wrap
    EXPECT_EQ(comm.written(), "ABCD");
}

TEST_F(PacedWriteTest, StopEventIsSeenAfterTheFirstByte) {
    openQuietly();
    port.stopEvent().set();
    EXPECT_EQ(port.pacedWrite("ABCD", 4, 1000), 0x10u);
    EXPECT_EQ(comm.written(), "A");
    EXPECT_TRUE(port.stopEvent().isSet());
    EXPECT_THAT(sink.messages(), IsEmpty());
    comm.clearWritten();
    EXPECT_EQ(port.pacedWrite("A", 1, 1000), 0u) << "all of it has gone out";
}

TEST_F(PacedWriteTest, WhatIsToEndAtOnceSendsNoByte) {
    for (const char* name : {"Communications Port (COM7)", "USB Serial Port (COM7)"}) {
        platform.withPort(7, name);
        port.close();
        port.setPortNumber(7);
        openQuietly();
        const StopEvent::End end(port.stopEvent(), StopEvent::End::Stays::Yes);
        EXPECT_EQ(port.pacedWrite("ABCD", 4, 1000), 0x10u) << name;
        EXPECT_EQ(comm.written(), "") << name;
    }
}

TEST_F(PacedWriteTest, StopEventComesBeforeTheLimit) {
    openQuietly();
    comm.writesTake(10ms);
    platform.after(10ms, [&] { port.stopEvent().set(); });
    EXPECT_EQ(port.pacedWrite("ABCD", 4, 0), 0x10u);
}

TEST_F(PacedWriteTest, StopEventEndsTheByteThatIsPending) {
    openQuietly();
    comm.writesTake(10ms);
    platform.after(15ms, [&] { port.stopEvent().set(); });
    EXPECT_EQ(port.pacedWrite("ABCD", 4, 1000), 0x10u);
    EXPECT_EQ(comm.written(), "A");
    EXPECT_EQ(passed(), 15);
    EXPECT_THAT(sink.messages(), ElementsAre("Get Stop Event in WriteData"));
}

TEST_F(PacedWriteTest, WholeRequestsKnowNeitherLimitNorStop) {
    platform.withPort(7, "USB Serial Port (COM7)");
    openQuietly();
    comm.writesTake(500ms);
    EXPECT_EQ(port.pacedWrite("AB", 2, 1), 0u);
    comm.transfersCompleteAtOnce();
    port.stopEvent().set();
    EXPECT_EQ(port.pacedWrite("CD", 2, 1), 0u);
    EXPECT_THAT(comm.writeTexts(), ElementsAre("AB", "CD"));
}

TEST_F(PacedWriteTest, FailureOfAByteIsItsResultAtOnce) {
    openQuietly();
    platform.failures().fail(Op::BeginWrite).onCall(3);
    EXPECT_EQ(port.pacedWrite("ABCD", 4, 1000), 0x4341u);
    EXPECT_EQ(comm.written(), "AB");
    EXPECT_FALSE(port.device().isOpen());
}

TEST_F(PacedWriteTest, ByteThatDoesNotGoOutIsAShortWrite) {
    openQuietly();
    platform.failures().fail(Op::BeginWrite).onCall(2).as(FailureKind::ShortCount).count(0);
    EXPECT_EQ(port.pacedWrite("ABCD", 4, 1000), 0x4010u);
    EXPECT_EQ(comm.written(), "A");
}

TEST_F(PacedWriteTest, DeviceThatClosedItselfIsFoundClosedAndNothingIsWritten) {
    for (const char* name : {"Communications Port (COM7)", "USB Serial Port (COM7)"}) {
        platform.withPort(7, name);
        port.setPortNumber(7);
        openQuietly();
        letTheDeviceCloseItself();
        EXPECT_EQ(port.pacedWrite("ABCD", 4, 1000), 0u) << name;
        EXPECT_EQ(passed(), 0);
        EXPECT_THAT(platform.journal().serial(), IsEmpty());
    }
}

TEST_F(PacedWriteTest, LongestRequestGoesOutWhole) {
    platform.withPort(7, "USB Serial Port (COM7)");
    openQuietly();
    std::string request;
    for (int i = 0; i < 4096; ++i) request += static_cast<char>('A' + i % 26);
    EXPECT_EQ(port.pacedWrite(request.data(), 4096, 1000), 0u);
    EXPECT_EQ(comm.written(), request);
}

// --- for the receive engine

TEST_F(HandsetPortTest, WaitingBytesOfAPortThatWasNeverOpenedAre0) {
    port.markInitialised();
    char c = 0;
    EXPECT_EQ(port.waitingBytes(), 0u);
    EXPECT_EQ(port.readWaiting(&c, 1), 0u);
    EXPECT_THAT(platform.journal().serial(), IsEmpty());
}

TEST_F(HandsetPortTest, WaitingBytesAreCountedAndRead) {
    openQuietly();
    comm.feed("OK\r\n");
    EXPECT_EQ(port.waitingBytes(), 4u);
    char buffer[3] = {};
    EXPECT_EQ(port.readWaiting(buffer, 2), 2u);
    EXPECT_STREQ(buffer, "OK");
    EXPECT_EQ(port.waitingBytes(), 2u);
}

TEST_F(HandsetPortTest, PortThatClosedItselfIsReopenedForTheReceiveEngine) {
    openQuietly();
    letTheDeviceCloseItself();
    EXPECT_EQ(port.waitingBytes(), 0u);
    EXPECT_TRUE(port.device().isOpen());
    EXPECT_THAT(trace.lines(), ElementsAre("18 Open Device:0,115200", "18 Open Device Success"));
    letTheDeviceCloseItself();
    char c = 0;
    EXPECT_EQ(port.readWaiting(&c, 1), 0u);
    EXPECT_TRUE(port.device().isOpen());
}

TEST_F(HandsetPortTest, ReopeningThatFailsGives0BytesEachTime) {
    openQuietly();
    letTheDeviceCloseItself();
    platform.failures().fail(Op::Open).always();
    char c = 0;
    EXPECT_EQ(port.waitingBytes(), 0u);
    EXPECT_EQ(port.readWaiting(&c, 1), 0u);
    EXPECT_THAT(trace.lines(), ElementsAre("18 Open Device:0,115200", "18 Open Device Fail", "18 Open Device:0,115200",
                                           "18 Open Device Fail"));
}

TEST_F(HandsetPortTest, OtherDeviceTypesHaveNothingWaiting) {
    openQuietly();
    comm.feed("A");
    port.setDeviceType(1, 0, 0);
    char c = 0;
    EXPECT_EQ(port.waitingBytes(), 0u);
    EXPECT_EQ(port.readWaiting(&c, 1), 0u);
    EXPECT_THAT(platform.journal().serial(), IsEmpty());
    port.setDeviceType(0, 0, 0);
}

// --- the gate

TEST_F(HandsetPortTest, GateRefusesBeforeInitialisationWhateverTheDeviceType) {
    for (const std::int16_t type : {std::int16_t{0}, std::int16_t{1}}) {
        port.setDeviceType(type, 0, 0);
        for (const auto test : {HandsetPort::OpenTest::Handle, HandsetPort::OpenTest::Device}) {
            Code result{77};
            EXPECT_FALSE(port.makeAvailable(test, result));
            EXPECT_EQ(result, 0x4317u);
        }
    }
    EXPECT_THAT(platform.journal().serial(), IsEmpty());
    port.setDeviceType(0, 0, 0);
}

TEST_F(HandsetPortTest, GateSkipsOtherDeviceTypesWithCode0) {
    openQuietly();
    port.setDeviceType(2, 0, 0);
    Code result{77};
    EXPECT_FALSE(port.makeAvailable(HandsetPort::OpenTest::Device, result));
    EXPECT_EQ(result, 0u);
    port.setDeviceType(0, 0, 0);
}

TEST_F(HandsetPortTest, GateOpensAClosedPort) {
    for (const auto test : {HandsetPort::OpenTest::Handle, HandsetPort::OpenTest::Device}) {
        port.markInitialised();
        Code result{77};
        EXPECT_TRUE(port.makeAvailable(test, result));
        EXPECT_EQ(result, 0u);
        EXPECT_TRUE(port.makeAvailable(test, result)) << "and leaves an open one alone";
        port.close();
    }
    EXPECT_EQ(comm.opens(), 2u);
}

TEST_F(HandsetPortTest, GatePassesOnTheCodeOfAFailingOpen) {
    port.markInitialised();
    platform.failures().fail(Op::GetLineSettings).always();
    Code result = Code::Success;
    EXPECT_FALSE(port.makeAvailable(HandsetPort::OpenTest::Device, result));
    EXPECT_EQ(result, 0x4002u);
}

TEST_F(HandsetPortTest, GateAsksTheManagersHandleOrTheDevice) {
    openQuietly();
    letTheDeviceCloseItself();
    Code result{77};
    EXPECT_TRUE(port.makeAvailable(HandsetPort::OpenTest::Handle, result)) << "the handle is still kept";
    EXPECT_FALSE(port.device().isOpen());
    EXPECT_TRUE(port.makeAvailable(HandsetPort::OpenTest::Device, result));
    EXPECT_TRUE(port.device().isOpen());
}

}  // namespace
}  // namespace mova
