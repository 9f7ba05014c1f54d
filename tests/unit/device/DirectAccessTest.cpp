#include "device/DirectAccess.h"
#include "unit/device/HandsetFixture.h"

namespace mova {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace std::string_literals;

class DirectAccessTest : public HandsetFixture {
protected:
    // The four operations that go through the gate with a code or a count of their own.
    Code writeHex(std::string_view text, std::int32_t count) { return direct.writeHex(text, count, written); }
    Code writeBytes(const std::string& data) {
        return direct.writeBytes(reinterpret_cast<const std::uint8_t*>(data.data()),
                                 static_cast<std::int32_t>(data.size()), written);
    }
    void writeArray(const std::string& data, std::int32_t count) {
        direct.writeArray(std::span(reinterpret_cast<const std::uint8_t*>(data.data()), data.size()), count, written);
    }
    Code read(std::int32_t count) {
        bytes = "left over";
        return direct.read(count, bytes);
    }

    std::uint32_t written = 77;
    std::string bytes;
    DirectAccess direct{platform, port};
};

// --- hexadecimal text

struct HexCase {
    const char* text;
    std::int32_t count;
    std::string sent;
};

class WriteHexTest : public DirectAccessTest, public ::testing::WithParamInterface<HexCase> {};

TEST_P(WriteHexTest, SendsAtMostTheBytesAskedFor) {
    openQuietly();
    EXPECT_EQ(writeHex(GetParam().text, GetParam().count), 0u);
    EXPECT_THAT(comm.writeTexts(), ElementsAre(GetParam().sent));
    EXPECT_EQ(written, GetParam().sent.size());
}

INSTANTIATE_TEST_SUITE_P(Texts, WriteHexTest,
                         ::testing::Values(HexCase{"0A1b", 2, "\x0A\x1B"}, HexCase{"0A1b2C", 2, "\x0A\x1B"},
                                           HexCase{"0A1b2C", 1, "\x0A"}, HexCase{"G1", 1, "\x01"},
                                           HexCase{"ABC", 2, "\xAB\x0C"}, HexCase{"ABC", 1, "\xAB"},
                                           HexCase{"A", 1, "\x0A"}, HexCase{"AB", 5, "\xAB"},
                                           HexCase{"4 5", 2, "\x40\x05"}, HexCase{"??", 1, "\0"s},
                                           HexCase{"41540D", 2147483647, "AT\r"},
                                           HexCase{"", 3, ""}),  // no pair: a write of no bytes
                         [](const auto& test) { return "Case" + std::to_string(test.index); });

TEST_F(DirectAccessTest, WriteHexWithoutACountStopsAtOnceEvenBeforeInitialisation) {
    for (const std::int32_t count : {0, -1, -2147483647 - 1}) {
        written = 77;
        EXPECT_EQ(writeHex("0A1B", count), 0u);
        EXPECT_EQ(written, 0u);
    }
    EXPECT_THAT(platform.journal().serial(), IsEmpty());
}

TEST_F(DirectAccessTest, WriteHexReportsTheWritesCodeAndCount) {
    openQuietly();
    platform.failures().fail(Op::BeginWrite).as(FailureKind::ShortCount).count(1);
    EXPECT_EQ(writeHex("0A1B2C", 3), 0x4010u);
    EXPECT_EQ(written, 1u);
    platform.failures().fail(Op::BeginWrite);
    EXPECT_EQ(writeHex("0A1B2C", 3), 0x4341u);
    EXPECT_EQ(written, 0u);
}

// --- bytes

TEST_F(DirectAccessTest, WriteBytesSendsThemAsTheyAre) {
    openQuietly();
    EXPECT_EQ(writeBytes("\x00\xFF\r"s), 0u);
    EXPECT_EQ(written, 3u);
    EXPECT_THAT(comm.writeTexts(), ElementsAre("\x00\xFF\r"s));
}

TEST_F(DirectAccessTest, WriteBytesStopsWithTheStopEvent) {
    openQuietly();
    comm.writesTake(1s);
    platform.after(100ms, [&] { port.stopEvent().set(); });
    EXPECT_EQ(writeBytes("A"), 0x10u);
    EXPECT_EQ(written, 0u);
    EXPECT_EQ(passed(), 100);
}

TEST_F(DirectAccessTest, WhatIsToEndAtOnceIsNotWritten) {
    openQuietly();
    const StopEvent::End end(port.stopEvent(), StopEvent::End::Stays::Yes);
    EXPECT_EQ(writeBytes("A"), 0x10u);
    EXPECT_EQ(writeHex("41", 1), 0x10u);
    writeArray("ABC", 3);
    EXPECT_EQ(written, 0u);
    EXPECT_EQ(comm.written(), "");
}

// --- the array

TEST_F(DirectAccessTest, WriteArraySendsTheCountOfItsBytes) {
    openQuietly();
    writeArray("ABCDE", 3);
    EXPECT_EQ(written, 3u);
    writeArray("ABCDE", 5);
    EXPECT_EQ(written, 5u);
    EXPECT_THAT(comm.writeTexts(), ElementsAre("ABC", "ABCDE"));
}

TEST_F(DirectAccessTest, WriteArrayNeverReadsPastASmallerArray) {
    openQuietly();
    writeArray("ABC", 5);
    EXPECT_EQ(written, 3u);
    writeArray("ABC", 2147483647);
    EXPECT_EQ(written, 3u);
    writeArray("", 5);
    EXPECT_EQ(written, 0u);
    EXPECT_EQ(comm.written(), "ABCABC");
}

TEST_F(DirectAccessTest, WriteArrayWithoutACountDoesNothing) {
    port.markInitialised();
    for (const std::int32_t count : {0, -1, -2147483647 - 1}) {
        written = 77;
        writeArray("ABC", count);
        EXPECT_EQ(written, 0u);
    }
    EXPECT_THAT(platform.journal().serial(), IsEmpty());
}

TEST_F(DirectAccessTest, WriteArrayTellsItsCountAlone) {
    openQuietly();
    platform.failures().fail(Op::BeginWrite).as(FailureKind::ShortCount).count(2);
    writeArray("ABCDE", 5);
    EXPECT_EQ(written, 2u);
    platform.failures().fail(Op::BeginWrite);
    writeArray("ABCDE", 5);
    EXPECT_EQ(written, 0u);
    forget();
    writeArray("ABCDE", 5);
    EXPECT_EQ(written, 0u) << "the manager's handle is kept: not reopened";
    EXPECT_THAT(platform.journal().serial(), IsEmpty());
}

// --- reading

TEST_F(DirectAccessTest, ReadGivesWhatIsQueued) {
    openQuietly();
    comm.feed("\x00\xFFOK"s);
    EXPECT_EQ(read(3), 0u);
    EXPECT_EQ(bytes, "\x00\xFFO"s);
    EXPECT_EQ(read(100), 0u);
    EXPECT_EQ(bytes, "K");
}

TEST_F(DirectAccessTest, ReadWithNothingQueuedIsASuccessWithoutBytes) {
    openQuietly();
    EXPECT_EQ(read(10), 0u);
    EXPECT_EQ(bytes, "");
    EXPECT_EQ(passed(), 0);
}

TEST_F(DirectAccessTest, ReadWithoutACountStopsAtOnceEvenBeforeInitialisation) {
    for (const std::int32_t count : {0, -1, -2147483647 - 1}) {
        EXPECT_EQ(read(count), 0u);
        EXPECT_EQ(bytes, "");
    }
    EXPECT_THAT(platform.journal().serial(), IsEmpty());
}

TEST_F(DirectAccessTest, FailingReadGivesItsCodeAndNoBytes) {
    openQuietly();
    comm.feed("OK");
    platform.failures().fail(Op::Finish);
    EXPECT_EQ(read(10), 0x4340u);
    EXPECT_EQ(bytes, "");
    comm.emptyReadsPend(true);
    platform.after(100ms, [&] { port.stopEvent().set(); });
    EXPECT_EQ(read(10), 0x10u);
    EXPECT_EQ(bytes, "");
}

TEST_F(DirectAccessTest, ReadReopensADeviceThatClosedItselfAndAWriteDoesNot) {
    openQuietly();
    letTheDeviceCloseItself();
    EXPECT_EQ(writeBytes("A"), 0x4000u);
    EXPECT_EQ(writeHex("0A", 1), 0x4000u);
    EXPECT_THAT(platform.journal().serial(), IsEmpty());
    EXPECT_EQ(read(10), 0u);
    EXPECT_TRUE(port.device().isOpen());
    EXPECT_EQ(writeBytes("A"), 0u);
}

// --- waiting bytes

TEST_F(DirectAccessTest, WaitingCountsTheInputQueue) {
    openQuietly();
    EXPECT_EQ(direct.waiting(), 0u);
    comm.feed("OK\r\n");
    EXPECT_EQ(direct.waiting(), 4u);
    EXPECT_THAT(platform.journal().serial(), ElementsAre("clearErrors status", "clearErrors status"));
}

TEST_F(DirectAccessTest, WaitingIs0OnEveryFailure) {
    EXPECT_EQ(direct.waiting(), 0u) << "not initialised";
    EXPECT_THAT(platform.journal().serial(), IsEmpty());
    port.markInitialised();
    platform.failures().fail(Op::Open);
    EXPECT_EQ(direct.waiting(), 0u);
    EXPECT_EQ(direct.waiting(), 0u) << "opened now";
    EXPECT_TRUE(port.device().isOpen());
    comm.feed("OK");
    platform.failures().fail(Op::ClearErrors);
    EXPECT_EQ(direct.waiting(), 0u);
    comm.addErrorBits(0x10, 10);
    EXPECT_EQ(direct.waiting(), 0u);
    EXPECT_EQ(direct.waiting(), 2u);
}

TEST_F(DirectAccessTest, WaitingReopensADeviceThatClosedItself) {
    openQuietly();
    letTheDeviceCloseItself();
    EXPECT_EQ(direct.waiting(), 0u);
    EXPECT_TRUE(port.device().isOpen());
}

// --- the common gate

TEST_F(DirectAccessTest, BeforeInitialisationEveryMethodIsRefusedWhateverTheDeviceType) {
    for (const std::int16_t type : {std::int16_t{0}, std::int16_t{1}}) {
        port.setDeviceType(type, 0, 0);
        written = 77;
        EXPECT_EQ(writeHex("0A", 1), 0x4317u);
        EXPECT_EQ(written, 0u);
        EXPECT_EQ(writeBytes("A"), 0x4317u);
        writeArray("A", 1);
        EXPECT_EQ(written, 0u);
        EXPECT_EQ(read(1), 0x4317u);
        EXPECT_EQ(bytes, "");
        EXPECT_EQ(direct.waiting(), 0u);
    }
    EXPECT_THAT(platform.journal().serial(), IsEmpty());
    port.setDeviceType(0, 0, 0);
}

TEST_F(DirectAccessTest, OtherDeviceTypesTouchNoPortAndReport0) {
    openQuietly();
    comm.feed("A");
    for (const std::int16_t type : {std::int16_t{1}, std::int16_t{2}, std::int16_t{-1}}) {
        port.setDeviceType(type, 0, 0);
        written = 77;
        EXPECT_EQ(writeHex("0A", 1), 0u);
        EXPECT_EQ(written, 0u);
        EXPECT_EQ(writeBytes("A"), 0u);
        EXPECT_EQ(written, 0u);
        writeArray("A", 1);
        EXPECT_EQ(written, 0u);
        EXPECT_EQ(read(1), 0u);
        EXPECT_EQ(bytes, "");
        EXPECT_EQ(direct.waiting(), 0u);
        EXPECT_EQ(direct.collect(3, 1000), std::nullopt);
    }
    EXPECT_THAT(platform.journal().serial(), IsEmpty());
    EXPECT_EQ(passed(), 0);
    port.setDeviceType(0, 0, 0);
}

TEST_F(DirectAccessTest, EachMethodOpensAClosedPort) {
    port.markInitialised();
    EXPECT_EQ(writeHex("41", 1), 0u);
    port.close();
    EXPECT_EQ(writeBytes("B"), 0u);
    port.close();
    writeArray("C", 1);
    port.close();
    EXPECT_EQ(read(1), 0u);
    port.close();
    EXPECT_EQ(direct.waiting(), 0u);
    EXPECT_EQ(comm.opens(), 5u);
    EXPECT_THAT(comm.writeTexts(), ElementsAre("A", "B", "C"));
}

TEST_F(DirectAccessTest, OpenThatFailsIsTheResult) {
    port.markInitialised();
    platform.failures().fail(Op::SetQueueSizes).always();
    EXPECT_EQ(writeHex("41", 1), 0x4003u);
    EXPECT_EQ(written, 0u);
    EXPECT_EQ(writeBytes("B"), 0x4003u);
    EXPECT_EQ(written, 0u);
    writeArray("C", 1);
    EXPECT_EQ(written, 0u);
    EXPECT_EQ(read(1), 0x4003u);
    EXPECT_EQ(bytes, "");
    EXPECT_EQ(comm.written(), "");
}

// --- collecting

using CollectTest = DirectAccessTest;

struct DurationCase {
    std::int32_t duration;
    std::int64_t takes;  // pauses of 25 ms, looked at after each
};

class CollectDurationTest : public DirectAccessTest, public ::testing::WithParamInterface<DurationCase> {};

TEST_P(CollectDurationTest, WithoutTrafficItIsTheTextNullAfterTheTime) {
    openQuietly();
    EXPECT_EQ(direct.collect(3, GetParam().duration), "NULL");
    EXPECT_EQ(passed(), GetParam().takes);
}

INSTANTIATE_TEST_SUITE_P(Durations, CollectDurationTest,
                         ::testing::Values(DurationCase{1000, 1000}, DurationCase{1001, 1000}, DurationCase{5000, 1000},
                                           DurationCase{2147483647, 1000}, DurationCase{500, 500},
                                           DurationCase{990, 1000}, DurationCase{26, 50}, DurationCase{25, 25},
                                           DurationCase{1, 25}, DurationCase{0, 0}, DurationCase{-1, 0},
                                           DurationCase{-5000, 0}, DurationCase{-2147483647 - 1, 0}),
                         [](const auto& test) { return "Case" + std::to_string(test.index); });

TEST_F(CollectTest, DurationOf0OrBelowAsksForNothing) {
    openQuietly();
    comm.feed("A");
    EXPECT_EQ(direct.collect(3, 0), "NULL");
    EXPECT_EQ(direct.collect(3, -1), "NULL");
    EXPECT_THAT(platform.journal().serial(), IsEmpty());
    EXPECT_EQ(comm.waiting(), 1u);
}

TEST_F(CollectTest, EveryOptionBut3ReturnsAtOnceWithoutAText) {
    openQuietly();
    comm.feed("A");
    for (const std::int32_t option : {0, 1, 2, 4, -3, 259, 2147483647}) {
        EXPECT_EQ(direct.collect(option, 1000), std::nullopt) << option;
    }
    EXPECT_EQ(passed(), 0);
    EXPECT_THAT(platform.journal().serial(), IsEmpty());
}

TEST_F(CollectTest, ClosedPortReturnsAtOnceWithoutATextAndIsNotOpened) {
    port.markInitialised();
    EXPECT_EQ(direct.collect(3, 1000), std::nullopt);
    EXPECT_EQ(platform.elapsed(), 0);
    EXPECT_THAT(platform.journal().serial(), IsEmpty());
}

TEST_F(CollectTest, OpenPortBeforeInitialisationGivesNothingUntilTheDeadline) {
    ASSERT_EQ(port.open(), 0u);
    forget();
    comm.feed("A");
    EXPECT_EQ(direct.collect(3, 300), "NULL");
    EXPECT_EQ(passed(), 300);
    EXPECT_THAT(platform.journal().serial(), ElementsAre("awaitInput 25"));  // it told of a byte that was not found
}

TEST_F(CollectTest, TrafficInBurstsIsCollectedInOrder) {
    openQuietly();
    comm.feed("A");
    comm.feedAfter(10ms, "B\r\n");
    comm.feedAfter(310ms, "\x00\xFF"s);
    comm.feedAfter(312ms, "\x1B"s);
    comm.feedAfter(970ms, "z");
    comm.feedAfter(990ms, "last");
    comm.feedAfter(1010ms, "late");  // while the last wait is under way: behind the deadline nothing is read
    EXPECT_EQ(direct.collect(3, 1000), "41420D0A00FF1B7A6C617374");
    EXPECT_EQ(passed(), 1010);
    EXPECT_EQ(comm.waiting(), 4u);
}

TEST_F(CollectTest, BytesAreTakenInAsManyReadsAsItNeeds) {
    openQuietly();
    comm.setReadCap(3);
    comm.feed("ABCDEFG");
    EXPECT_EQ(direct.collect(3, 50), "41424344454647");
    EXPECT_THAT(platform.journal().only({Op::BeginRead}), ElementsAre("beginRead 7", "beginRead 4", "beginRead 1"));
}

TEST_F(CollectTest, FullBufferOf2048BytesHoldsUntilTheDeadline) {
    openQuietly();
    std::string stream;
    for (int i = 0; i < 3000; ++i) stream += static_cast<char>(i % 251);
    comm.feed(stream);
    const auto text = direct.collect(3, 5000);
    ASSERT_TRUE(text);
    EXPECT_EQ(text->size(), 4096u);
    EXPECT_EQ(text->substr(0, 12), "000102030405");
    EXPECT_EQ(text->substr(4084), "222324252627");  // byte 2047 is 2047 % 251 = 39
    EXPECT_EQ(passed(), 1000);
    EXPECT_EQ(comm.waiting(), 952u);
    EXPECT_THAT(platform.journal().only({Op::BeginRead}), ElementsAre("beginRead 2048"));
}

TEST_F(CollectTest, LastReadIsForTheCapacityThatIsLeft) {
    openQuietly();
    comm.feed(std::string(2040, 'a'));
    comm.feedAfter(100ms, std::string(100, 'b'));
    const auto text = direct.collect(3, 1000);
    ASSERT_TRUE(text);
    EXPECT_EQ(text->size(), 4096u);
    EXPECT_EQ(text->substr(4076), "61616262626262626262");
    EXPECT_EQ(comm.waiting(), 92u);
    EXPECT_THAT(platform.journal().only({Op::BeginRead}), ElementsAre("beginRead 2040", "beginRead 8"));
}

TEST_F(CollectTest, StopEventInTheMiddleReturnsAtOnceWithoutAText) {
    openQuietly();
    comm.feed("collected, and lost");
    platform.after(310ms, [&] { port.stopEvent().set(); });
    EXPECT_EQ(direct.collect(3, 1000), std::nullopt);
    EXPECT_EQ(passed(), 310);
    EXPECT_TRUE(port.stopEvent().isSet());
}

TEST_F(CollectTest, StopEventThatIsSetAlreadyIsSeenWhenNothingWaits) {
    openQuietly();
    port.stopEvent().set();
    EXPECT_EQ(direct.collect(3, 1000), std::nullopt);
    comm.feed("A");
    EXPECT_EQ(direct.collect(3, 1000), std::nullopt);
    EXPECT_EQ(comm.waiting(), 0u) << "what waits is taken first";
    EXPECT_EQ(passed(), 0);
}

TEST_F(CollectTest, FullBufferDoesNotLookAtTheStopEventWhileMoreWaits) {
    openQuietly();
    comm.feed(std::string(3000, 'a'));
    platform.after(310ms, [&] { port.stopEvent().set(); });
    const auto text = direct.collect(3, 1000);
    ASSERT_TRUE(text);
    EXPECT_EQ(text->size(), 4096u);
    EXPECT_EQ(passed(), 1000);
}

TEST_F(CollectTest, ExactlyFullBufferLooksAtTheStopEventAgain) {
    openQuietly();
    comm.feed(std::string(2048, 'a'));
    platform.after(310ms, [&] { port.stopEvent().set(); });
    EXPECT_EQ(direct.collect(3, 1000), std::nullopt);
    EXPECT_EQ(passed(), 310);
}

TEST_F(CollectTest, ReadThatFailsAddsNothingAndTheLoopGoesOn) {
    openQuietly();
    comm.feed("A");
    platform.failures().fail(Op::Finish);
    comm.feedAfter(100ms, "B");
    EXPECT_EQ(direct.collect(3, 1000), "42");
    EXPECT_GE(passed(), 1000);
    EXPECT_LE(passed(), 1025);
    EXPECT_THAT(sink.messages(), ElementsAre("ReadFile Get Overlapped Result Error : " + kSystemText31));
}

TEST_F(CollectTest, ReadsThatAlwaysFailEndInNullAtTheDeadline) {
    openQuietly();
    comm.feed(std::string(5000, 'a'));
    platform.failures().fail(Op::BeginRead).always().as(FailureKind::WaitFailed);
    EXPECT_EQ(direct.collect(3, 1000), "NULL");
    EXPECT_EQ(passed(), 1000);
}

TEST_F(CollectTest, DeviceThatClosesItselfIsReopenedAndTheLoopGoesOn) {
    openQuietly();
    comm.feed("A");
    platform.failures().fail(Op::BeginRead);
    comm.feedAfter(700ms, "B");
    EXPECT_EQ(direct.collect(3, 1000), "42");
    EXPECT_EQ(comm.opens(), 2u);
    EXPECT_GE(passed(), 1000);
    EXPECT_LE(passed(), 1025);
}

TEST_F(CollectTest, ReopeningThatAlwaysFailsEndsInNullAtTheDeadline) {
    openQuietly();
    comm.feed("A");
    platform.failures().fail(Op::BeginRead);
    platform.failures().fail(Op::Open).always();
    EXPECT_EQ(direct.collect(3, 1000), "NULL");
    EXPECT_GE(passed(), 1000);
    EXPECT_LE(passed(), 1025);
    EXPECT_FALSE(port.device().isOpen());
}

TEST_F(CollectTest, WaitingCountThatCannotBeHadIsNothingWaiting) {
    openQuietly();
    comm.feed("A");
    platform.failures().fail(Op::ClearErrors).twice();
    EXPECT_EQ(direct.collect(3, 1000), "41");
    EXPECT_EQ(passed(), 1000);
}

TEST_F(CollectTest, TickCountMayWrapOnTheWay) {
    openQuietly();
    platform.clock().setTickCount(0xFFFFFE00);
    comm.feedAfter(700ms, "A");
    EXPECT_EQ(direct.collect(3, 1000), "41");
    EXPECT_EQ(passed(), 1000);
}

// Turns the device type to 2 once, when a read is traced.
class SlowDeviceMaker : public CCallBack {
public:
    explicit SlowDeviceMaker(HandsetPort& port) : port_(port) {}
    void text(const std::string& message) override {
        if (message == "DC Recv: 41") port_.setDeviceType(2, 0, 0);
    }

private:
    HandsetPort& port_;
};

TEST_F(CollectTest, SlowDevicePausesLongerAfterARead) {
    openQuietly();
    SlowDeviceMaker maker(port);
    port.device().setMessageSink(&maker);
    port.device().setTraceFlags(false, true);
    comm.feed("A");
    // 100 ms after the read, then nothing waits on this type: pauses of 25 ms.
    EXPECT_EQ(direct.collect(3, 110), "41");
    EXPECT_EQ(passed(), 125);
    port.device().setMessageSink(nullptr);
    port.setDeviceType(0, 0, 0);
}

}  // namespace
}  // namespace mova
