#include "unit/device/DeviceFixture.h"
#include "unit/device/MemoryShortage.h"

namespace mova {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

const Texts kCloses{" ### Attempt to Close Com Port!! Handle: 0x100", " ### Close Com Port Success!!"};

class TransferTest : public DeviceCommTest {
protected:
    Code read(std::int32_t capacity) {
        bytes = 0xEEEE;
        buffer.assign(64, '.');
        return device.ReadData(buffer.data(), capacity, bytes);
    }
    Code write(const std::string& data) {
        bytes = 0xEEEE;
        return device.WriteData(data.data(), static_cast<std::uint32_t>(data.size()), bytes);
    }
    void openBlocking() {
        device.setOverlapped(false);
        openQuietly();
    }
    std::string buffer;
    std::uint32_t bytes = 0;
};

// --- reading, overlapped

using ReadTest = TransferTest;

TEST_F(ReadTest, GivesWhatIsQueuedAtOnce) {
    openQuietly();
    port.feed("OK\r\n");
    EXPECT_EQ(read(64), 0u);
    EXPECT_EQ(bytes, 4u);
    EXPECT_EQ(buffer.substr(0, 5), "OK\r\n.");
    EXPECT_THAT(platform.journal().serial(), ElementsAre("clearErrors", "beginRead 64", "finish read"));
    EXPECT_THAT(messages(), IsEmpty());
    EXPECT_EQ(passed(), 0);
}

TEST_F(ReadTest, TakesNoMoreThanTheCapacity) {
    openQuietly();
    port.feed("ABCDE");
    EXPECT_EQ(read(2), 0u);
    EXPECT_EQ(bytes, 2u);
    EXPECT_EQ(read(1), 0u);
    EXPECT_EQ(buffer.substr(0, 2), "C.");
    EXPECT_EQ(port.waiting(), 2u);
}

TEST_F(ReadTest, NothingQueuedIsASuccessOf0Bytes) {
    openQuietly();
    EXPECT_EQ(read(64), 0u);
    EXPECT_EQ(bytes, 0u);
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(ReadTest, CapacityBelow1IsRefused) {
    openQuietly();
    port.feed("A");
    for (const std::int32_t capacity : {0, -1, -2147483647 - 1}) {
        EXPECT_EQ(read(capacity), 0x4000u) << capacity;
        EXPECT_EQ(bytes, 0u);
    }
    EXPECT_THAT(platform.journal().serial(), IsEmpty());
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(ReadTest, ClosedPortIsRefused) {
    EXPECT_EQ(read(64), 0x4000u);
    EXPECT_EQ(bytes, 0u);
    EXPECT_THAT(platform.journal().serial(), IsEmpty());
}

TEST_F(ReadTest, PendingReadWaitsWithoutLimitUntilAByteComes) {
    openQuietly();
    port.emptyReadsPend(true);
    port.feedAfter(90s, "X");
    EXPECT_EQ(read(64), 0u);
    EXPECT_EQ(bytes, 1u);
    EXPECT_EQ(passed(), 90000);
    EXPECT_THAT(platform.journal().serial(),
                ElementsAre("clearErrors", "beginRead 64 -> pending", "await read infinite", "finish read"));
}

TEST_F(ReadTest, FailureClosesThePort) {
    openQuietly();
    platform.failures().fail(Op::BeginRead);
    EXPECT_EQ(read(64), 0x4340u);
    EXPECT_EQ(bytes, 0u);
    EXPECT_FALSE(device.isOpen());
    EXPECT_EQ(passed(), 500);
    EXPECT_THAT(messages(), ElementsAreArray(Texts{"ReadFile Error : " + kSystemText31} + kCloses));
    EXPECT_THAT(platform.journal().serial(),
                ElementsAre("clearErrors", "beginRead 64 -> error 31", "setEventMask 0", "close"));
    EXPECT_EQ(read(64), 0x4000u) << "closed now";
}

TEST_F(ReadTest, FailureWithACloseThatFailsTooTellsBoth) {
    openQuietly();
    platform.failures().fail(Op::BeginRead).error(5);
    platform.failures().fail(Op::Close).error(6);
    EXPECT_EQ(read(64), 0x4340u);
    EXPECT_TRUE(device.isOpen());
    EXPECT_THAT(messages(), ElementsAre("ReadFile Error : Access is denied.\r\n(5)",
                                        " ### Attempt to Close Com Port!! Handle: 0x100",
                                        " ### Close Com Port Error : The handle is invalid.\r\n(6)"));
    EXPECT_EQ(read(64), 0u) << "the second read goes through";
}

TEST_F(ReadTest, FailureTwiceAndAlwaysClosesEachTime) {
    platform.failures().fail(Op::BeginRead).always();
    for (int time = 0; time < 3; ++time) {
        ASSERT_EQ(openCom7(), 0u);
        EXPECT_EQ(read(64), 0x4340u);
        EXPECT_FALSE(device.isOpen());
    }
}

TEST_F(ReadTest, StopEventEndsThePendingReadAndLeavesThePortOpen) {
    openQuietly();
    port.emptyReadsPend(true);
    platform.after(250ms, [&] { stop->set(); });
    EXPECT_EQ(read(64), 0x10u);
    EXPECT_EQ(bytes, 0u);
    EXPECT_EQ(passed(), 250);
    EXPECT_TRUE(device.isOpen());
    EXPECT_TRUE(stop->isSet()) << "the one who set it resets it";
    EXPECT_EQ(platform.serial().pendingTransfers(), 0u);
    EXPECT_THAT(messages(), ElementsAre("Get Stop Event in ReadData"));
    EXPECT_THAT(platform.journal().serial(),
                ElementsAre("clearErrors", "beginRead 64 -> pending", "await read infinite", "cancel read"));
}

TEST_F(ReadTest, StopEventThatIsSetAlreadyEndsAPendingReadAtOnce) {
    openQuietly();
    port.emptyReadsPend(true);
    stop->set();
    EXPECT_EQ(read(64), 0x10u);
    EXPECT_EQ(read(64), 0x10u);
    EXPECT_EQ(passed(), 0);
    EXPECT_THAT(messages(), ElementsAreArray(repeated("Get Stop Event in ReadData", 2)));
    port.feed("A");
    EXPECT_EQ(read(64), 0u) << "a read that completes at once does not ask the stop event";
    EXPECT_EQ(bytes, 1u);
}

TEST_F(ReadTest, WithoutAStopEventOnlyTheTransferIsAwaited) {
    openQuietly();
    device.setStopEvent(nullptr);
    stop->set();
    port.emptyReadsPend(true);
    port.feedAfter(30ms, "A");
    EXPECT_EQ(read(64), 0u);
    EXPECT_EQ(passed(), 30);
}

TEST_F(ReadTest, TimeoutCancelsAndLeavesThePortOpen) {
    openQuietly();
    device.setTimeouts(700, kInfinite);
    port.emptyReadsPend(true);
    EXPECT_EQ(read(64), 0x4004u);
    EXPECT_EQ(bytes, 0u);
    EXPECT_EQ(passed(), 700);
    EXPECT_TRUE(device.isOpen());
    EXPECT_THAT(messages(), ElementsAre("Read Timeout"));
    EXPECT_THAT(platform.journal().serial(),
                ElementsAre("clearErrors", "beginRead 64 -> pending", "await read 700", "cancel read"));
    port.feed("late");
    EXPECT_EQ(read(64), 0u);
    EXPECT_EQ(bytes, 4u);
}

TEST_F(ReadTest, WaitFailureSaysNothingAndLeavesThePortOpen) {
    openQuietly();
    platform.failures().fail(Op::BeginRead).twice().as(FailureKind::WaitFailed);
    for (int time = 0; time < 2; ++time) {
        EXPECT_EQ(read(64), 0x3006u);
        EXPECT_EQ(bytes, 0u);
        EXPECT_EQ(platform.serial().pendingTransfers(), 0u) << "the buffer is free again";
    }
    EXPECT_TRUE(device.isOpen());
    EXPECT_EQ(passed(), 0);
    EXPECT_THAT(messages(), IsEmpty());
    EXPECT_EQ(read(64), 0u);
}

TEST_F(ReadTest, ResultThatCannotBeHadLeavesThePortOpen) {
    openQuietly();
    port.feed("A");
    platform.failures().fail(Op::Finish).twice();
    for (int time = 0; time < 2; ++time) {
        EXPECT_EQ(read(64), 0x4340u);
        EXPECT_EQ(bytes, 0u);
    }
    EXPECT_TRUE(device.isOpen());
    EXPECT_EQ(passed(), 0);
    EXPECT_THAT(messages(), ElementsAreArray(repeated("ReadFile Get Overlapped Result Error : " + kSystemText31, 2)));
}

TEST_F(ReadTest, CablePulledWhileReadingIsAResultError) {
    openQuietly();
    port.emptyReadsPend(true);
    platform.after(40ms, [&] { port.unplug(22); });
    EXPECT_EQ(read(64), 0x4340u);
    EXPECT_TRUE(device.isOpen());
    EXPECT_THAT(messages(), ElementsAre("ReadFile Get Overlapped Result Error : The device does not recognize the "
                                        "command.\r\n(22)"));
}

TEST_F(ReadTest, RefusedCompletionEventFailsEveryRead) {
    platform.failures().fail(Op::MakeTransfer).twice();
    DeviceComm other(platform);
    other.setMessageSink(&sink);
    other.setOverlapped(true);
    PortHandle handle = kInvalidPort;
    ASSERT_EQ(other.openByNumber(7, 115200, handle), 0u);
    sink.clear();
    char c = 0;
    EXPECT_EQ(other.ReadData(&c, 1, bytes), 0x4340u);
    EXPECT_THAT(messages(), ElementsAreArray(Texts{"ReadFile Error : The handle is invalid.\r\n(6)"} + kCloses));
}

TEST_F(ReadTest, TraceIsOffAtFirstAndTellsUpperCaseHex) {
    openQuietly();
    port.feed("\x0A\x1B\xFFz");
    EXPECT_EQ(read(2), 0u);
    EXPECT_THAT(messages(), IsEmpty());
    device.setTraceFlags(false, true);
    EXPECT_EQ(read(64), 0u);
    EXPECT_EQ(read(64), 0u) << "nothing read, nothing told";
    EXPECT_EQ(write("A"), 0u) << "the other direction's trace stays off";
    EXPECT_THAT(messages(), ElementsAre("DC Recv: FF7A"));
}

TEST_F(ReadTest, FailedReadIsNotTraced) {
    openQuietly();
    device.setTraceFlags(true, true);
    port.feed("A");
    platform.failures().fail(Op::Finish);
    EXPECT_EQ(read(64), 0x4340u);
    EXPECT_THAT(messages(), ElementsAre("ReadFile Get Overlapped Result Error : " + kSystemText31));
}

// --- reading, blocking

TEST_F(ReadTest, BlockingReadGivesWhatIsQueued) {
    openBlocking();
    device.setTraceFlags(false, true);
    port.feed("AB");
    EXPECT_EQ(read(64), 0u);
    EXPECT_EQ(bytes, 2u);
    EXPECT_THAT(platform.journal().serial(), ElementsAre("clearErrors", "read 64"));
    EXPECT_THAT(messages(), ElementsAre("DC Recv: 4142"));
    EXPECT_EQ(read(0), 0x4000u);
    stop->set();
    EXPECT_EQ(read(64), 0u) << "no stop event here";
    EXPECT_EQ(bytes, 0u);
}

TEST_F(ReadTest, BlockingReadThatFailsClosesThePort) {
    openBlocking();
    platform.failures().fail(Op::Read);
    EXPECT_EQ(read(64), 0x4340u);
    EXPECT_EQ(bytes, 0u);
    EXPECT_FALSE(device.isOpen());
    EXPECT_THAT(messages(), ElementsAreArray(Texts{"ReadFile Error : " + kSystemText31} + kCloses));
    EXPECT_EQ(read(64), 0x4000u);
}

// --- writing, overlapped

using WriteTest = TransferTest;

TEST_F(WriteTest, SendsTheBytes) {
    openQuietly();
    EXPECT_EQ(write("AT\r"), 0u);
    EXPECT_EQ(bytes, 3u);
    EXPECT_EQ(port.written(), "AT\r");
    EXPECT_THAT(platform.journal().serial(), ElementsAre("clearErrors", "beginWrite 41 54 0D", "finish write"));
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(WriteTest, Length0IsAcceptedUnlikeACapacityOf0) {
    openQuietly();
    EXPECT_EQ(write(""), 0u);
    EXPECT_EQ(bytes, 0u);
    EXPECT_TRUE(device.isOpen());
    EXPECT_THAT(platform.journal().serial(), ElementsAre("clearErrors", "beginWrite", "finish write"));
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(WriteTest, LengthBelow0AsASignedNumberIsRefused) {
    openQuietly();
    for (const std::uint32_t length : {0x80000000u, 0xFFFFFFFFu}) {
        bytes = 1;
        EXPECT_EQ(device.WriteData("A", length, bytes), 0x4000u);
        EXPECT_EQ(bytes, 0u);
    }
    EXPECT_THAT(platform.journal().serial(), IsEmpty());
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(WriteTest, ClosedPortIsRefused) {
    EXPECT_EQ(write("A"), 0x4000u);
    EXPECT_EQ(bytes, 0u);
    EXPECT_EQ(write(""), 0x4000u);
    EXPECT_THAT(platform.journal().serial(), IsEmpty());
}

TEST_F(WriteTest, PendingWriteWaitsWithoutLimit) {
    openQuietly();
    port.writesTake(60s, 1ms);
    EXPECT_EQ(write("ABC"), 0u);
    EXPECT_EQ(bytes, 3u);
    EXPECT_EQ(passed(), 60003);
    EXPECT_THAT(platform.journal().serial(),
                ElementsAre("clearErrors", "beginWrite 41 42 43 -> pending", "await write infinite", "finish write"));
}

TEST_F(WriteTest, FailureClosesThePort) {
    platform.failures().fail(Op::BeginWrite).always();
    for (int time = 0; time < 3; ++time) {
        openQuietly();
        EXPECT_EQ(write("A"), 0x4341u);
        EXPECT_EQ(bytes, 0u);
        EXPECT_FALSE(device.isOpen());
        EXPECT_EQ(passed(), 500);
        EXPECT_EQ(messages().front(), "WriteFile Error : " + kSystemText31);
        EXPECT_EQ(messages().back(), " ### Close Com Port Success!!");
        EXPECT_EQ(messages().size(), 3u);
        EXPECT_THAT(platform.journal().serial(),
                    ElementsAre("clearErrors", "beginWrite 41 -> error 31", "setEventMask 0", "close"));
    }
}

TEST_F(WriteTest, StopEventEndsThePendingWriteAndLeavesThePortOpen) {
    openQuietly();
    port.writesTake(1s);
    platform.after(250ms, [&] { stop->set(); });
    EXPECT_EQ(write("A"), 0x10u);
    EXPECT_EQ(bytes, 0u);
    EXPECT_EQ(passed(), 250);
    EXPECT_TRUE(device.isOpen());
    EXPECT_TRUE(stop->isSet());
    EXPECT_EQ(port.written(), "");
    EXPECT_THAT(messages(), ElementsAre("Get Stop Event in WriteData"));
    EXPECT_THAT(platform.journal().serial(),
                ElementsAre("clearErrors", "beginWrite 41 -> pending", "await write infinite", "cancel write"));
}

TEST_F(WriteTest, TimeoutCancelsAndLeavesThePortOpen) {
    openQuietly();
    device.setTimeouts(kInfinite, 300);
    port.writesTake(1s);
    EXPECT_EQ(write("A"), 0x4005u);
    EXPECT_EQ(bytes, 0u);
    EXPECT_EQ(passed(), 300);
    EXPECT_TRUE(device.isOpen());
    EXPECT_THAT(messages(), ElementsAre("Write Timeout"));
    EXPECT_THAT(platform.journal().serial(),
                ElementsAre("clearErrors", "beginWrite 41 -> pending", "await write 300", "cancel write"));
    port.transfersCompleteAtOnce();
    EXPECT_EQ(write("B"), 0u);
    EXPECT_EQ(port.written(), "B");
}

TEST_F(WriteTest, WaitFailureSaysNothingAndLeavesThePortOpen) {
    openQuietly();
    platform.failures().fail(Op::BeginWrite).twice().as(FailureKind::WaitFailed);
    for (int time = 0; time < 2; ++time) {
        EXPECT_EQ(write("A"), 0x3006u);
        EXPECT_EQ(bytes, 0u);
        EXPECT_EQ(platform.serial().pendingTransfers(), 0u);
    }
    EXPECT_TRUE(device.isOpen());
    EXPECT_THAT(messages(), IsEmpty());
    EXPECT_EQ(write("A"), 0u);
}

TEST_F(WriteTest, ResultThatCannotBeHadClosesThePort) {
    openQuietly();
    platform.failures().fail(Op::Finish);
    EXPECT_EQ(write("A"), 0x4341u);
    EXPECT_EQ(bytes, 0u);
    EXPECT_FALSE(device.isOpen());
    EXPECT_EQ(passed(), 500);
    EXPECT_THAT(messages(),
                ElementsAreArray(Texts{"WriteFile Get Overlapped Result Error : " + kSystemText31} + kCloses));
}

TEST_F(WriteTest, CablePulledWhileWritingClosesThePort) {
    openQuietly();
    port.writesTake(1s);
    platform.after(40ms, [&] { port.unplug(22); });
    EXPECT_EQ(write("A"), 0x4341u);
    EXPECT_FALSE(device.isOpen());
    EXPECT_EQ(messages().front(),
              "WriteFile Get Overlapped Result Error : The device does not recognize the command.\r\n(22)");
}

TEST_F(WriteTest, ShortWriteClosesPausesAndReopens) {
    openQuietly();
    platform.failures().fail(Op::BeginWrite).as(FailureKind::ShortCount).count(2);
    EXPECT_EQ(write("ABCDE"), 0x4010u);
    EXPECT_EQ(bytes, 2u);
    EXPECT_TRUE(device.isOpen());
    EXPECT_EQ(device.handle(), 0x104);
    EXPECT_EQ(passed(), 1000);
    EXPECT_EQ(port.written(), "AB");
    EXPECT_THAT(messages(), ElementsAreArray(Texts{"Desired Write: 5, Real Write: 2"} + kCloses +
                                             Texts{"Try to Re-Open Device", "Get Driver Name: USB Serial Port (COM7)",
                                                   " ### Attempt to Open Com Port!! BaudRate: 115200",
                                                   "CreateFile DeviceName: \\\\.\\COM7",
                                                   "Open with Overlapped I/O Success!!!", " ### Get Handle: 0x104"}));
}

TEST_F(WriteTest, ShortWriteReturnsItsCodeWhateverTheReopeningGives) {
    openQuietly();
    platform.failures().fail(Op::Finish).as(FailureKind::ShortCount).count(0);
    platform.failures().fail(Op::Open).error(5);
    EXPECT_EQ(write("ABC"), 0x4010u);
    EXPECT_EQ(bytes, 0u);
    EXPECT_FALSE(device.isOpen());
    EXPECT_THAT(messages(), ElementsAreArray(Texts{"Desired Write: 3, Real Write: 0"} + kCloses +
                                             Texts{"Try to Re-Open Device", "Get Driver Name: USB Serial Port (COM7)",
                                                   " ### Attempt to Open Com Port!! BaudRate: 115200",
                                                   "CreateFile DeviceName: \\\\.\\COM7",
                                                   "Open with Overlapped I/O Fail!!!", " ### Get Handle: 0xffffffff"}));
}

TEST_F(WriteTest, ShortWritesTwiceAndAlwaysReopenEachTime) {
    openQuietly();
    platform.failures().fail(Op::BeginWrite).always().as(FailureKind::ShortCount);
    for (PortHandle next : {0x104, 0x108, 0x10C}) {
        EXPECT_EQ(write("AB"), 0x4010u);
        EXPECT_EQ(bytes, 1u);
        EXPECT_EQ(device.handle(), next);
    }
    EXPECT_EQ(passed(), 3000);
}

TEST_F(WriteTest, ShortWritesTwoMessagesGoToTheLogFile) {
    openQuietly();
    device.setLogFilePath("C:\\dev.log");
    platform.failures().fail(Op::BeginWrite).as(FailureKind::ShortCount).count(2);
    EXPECT_EQ(write("ABCDE"), 0x4010u);
    EXPECT_EQ(platform.files().content("C:\\dev.log"),
              "[2024/03/05-09:07:02::045][00001]\t[COMMENT]: Desired Write: 5, Real Write: 2\r\n"
              "[2024/03/05-09:07:03::045][00001]\t[COMMENT]: Try to Re-Open Device\r\n");
}

TEST_F(WriteTest, TraceTellsTheWrittenBytes) {
    openQuietly();
    EXPECT_EQ(write("A"), 0u);
    EXPECT_THAT(messages(), IsEmpty());
    device.setTraceFlags(true, false);
    EXPECT_EQ(write(std::string("\x00\xAF\r", 3)), 0u);
    EXPECT_EQ(write(""), 0u) << "nothing went out, nothing told";
    port.feed("B");
    EXPECT_EQ(read(1), 0u);
    EXPECT_THAT(messages(), ElementsAre("DC Send: 00AF0D"));
}

TEST_F(WriteTest, FailedAndShortWritesAreNotTraced) {
    openQuietly();
    device.setTraceFlags(true, true);
    platform.failures().fail(Op::BeginWrite).as(FailureKind::ShortCount).count(1);
    EXPECT_EQ(write("AB"), 0x4010u);
    platform.failures().fail(Op::BeginWrite);
    EXPECT_EQ(write("AB"), 0x4341u);
    EXPECT_THAT(messages(), ::testing::Not(::testing::Contains(::testing::StartsWith("DC Send"))));
}

// --- writing, blocking

TEST_F(WriteTest, BlockingWriteSendsTheBytes) {
    openBlocking();
    device.setTraceFlags(true, false);
    EXPECT_EQ(write("AB"), 0u);
    EXPECT_EQ(bytes, 2u);
    EXPECT_EQ(write(""), 0u);
    EXPECT_EQ(port.written(), "AB");
    EXPECT_THAT(platform.journal().serial({Op::ClearErrors}), ElementsAre("write 41 42", "write"));
    EXPECT_THAT(messages(), ElementsAre("DC Send: 4142"));
}

TEST_F(WriteTest, BlockingWriteThatFailsClosesThePort) {
    openBlocking();
    platform.failures().fail(Op::Write);
    EXPECT_EQ(write("AB"), 0x4341u);
    EXPECT_EQ(bytes, 0u);
    EXPECT_FALSE(device.isOpen());
    EXPECT_THAT(messages(), ElementsAreArray(Texts{"WriteFile Error : " + kSystemText31} + kCloses));
}

TEST_F(WriteTest, BlockingShortWriteClosesWithoutReopeningAndWithoutTheLogFile) {
    openBlocking();
    device.setLogFilePath("C:\\dev.log");
    platform.failures().fail(Op::Write).as(FailureKind::ShortCount).count(2);
    EXPECT_EQ(write("ABCDE"), 0x4010u);
    EXPECT_EQ(bytes, 2u);
    EXPECT_FALSE(device.isOpen());
    EXPECT_EQ(passed(), 500);
    EXPECT_EQ(port.opens(), 1u);
    EXPECT_THAT(messages(), ElementsAreArray(Texts{"Desired Write: 5, Real Write: 2"} + kCloses));
    EXPECT_EQ(platform.files().count(), 0u);
}

// --- error clearing

using ClearErrorsTest = TransferTest;

TEST_F(ClearErrorsTest, EveryBitHasItsText) {
    openQuietly();
    for (const PortErrorText& error : kPortErrorTexts) {
        forget();
        port.addErrorBits(error.bit);
        EXPECT_TRUE(device.ClearDeviceError());
        EXPECT_THAT(messages(), ElementsAre(error.text));
        EXPECT_EQ(passed(), 10);
        EXPECT_THAT(platform.journal().texts(), ElementsAre("clearErrors", "sleep 10", "clearErrors"));
    }
}

TEST_F(ClearErrorsTest, SeveralBitsAreToldInOneOrder) {
    openQuietly();
    Texts all;
    for (const PortErrorText& error : kPortErrorTexts) all.push_back(error.text);
    ASSERT_EQ(all.size(), 11u);
    port.addErrorBits(0xFFFFFFFF);
    EXPECT_TRUE(device.ClearDeviceError());
    EXPECT_THAT(messages(), ElementsAreArray(all));
}

TEST_F(ClearErrorsTest, BitWithoutATextIsPausedForInSilence) {
    openQuietly();
    port.addErrorBits(0x20);
    EXPECT_TRUE(device.ClearDeviceError());
    EXPECT_THAT(messages(), IsEmpty());
    EXPECT_EQ(passed(), 10);
}

struct PassesCase {
    unsigned passes;  // with error bits, in a row
    bool clears;
    unsigned told;  // times that the bits are told
};

class ErrorPassesTest : public TransferTest, public ::testing::WithParamInterface<PassesCase> {};

TEST_P(ErrorPassesTest, TheEleventhPassFailsWhateverItReports) {
    const auto& [passes, clears, told] = GetParam();
    openQuietly();
    Texts expected = repeated(kBreakText, told);
    if (!clears) expected.push_back(kTooManyPasses);

    port.addErrorBits(0x10, passes);
    EXPECT_EQ(device.ClearDeviceError(), clears);
    EXPECT_EQ(passed(), 10 * static_cast<std::int64_t>(told));
    EXPECT_THAT(messages(), ElementsAreArray(expected));

    port.setStandingErrorBits(0);
    while (!device.ClearDeviceError()) {
    }
    forget();
    port.feed("ABC");
    port.addErrorBits(0x10, passes);
    std::uint32_t waiting = 77;
    EXPECT_EQ(device.ClearDeviceError(waiting), clears ? 0u : 0x4342u);
    EXPECT_EQ(waiting, clears ? 3u : 0u);
    EXPECT_THAT(messages(), ElementsAreArray(expected));
}

INSTANTIATE_TEST_SUITE_P(Passes, ErrorPassesTest,
                         ::testing::Values(PassesCase{0, true, 0}, PassesCase{1, true, 1}, PassesCase{2, true, 2},
                                           PassesCase{9, true, 9}, PassesCase{10, false, 10}, PassesCase{11, false, 11},
                                           PassesCase{12, false, 11}),
                         [](const auto& test) { return std::to_string(test.param.passes); });

TEST_F(ClearErrorsTest, EleventhPassGoesToTheLogFile) {
    openQuietly();
    device.setLogFilePath("C:\\dev.log");
    port.setStandingErrorBits(0x10);
    EXPECT_FALSE(device.ClearDeviceError());
    EXPECT_EQ(platform.files().content("C:\\dev.log"),
              "[2024/03/05-09:07:02::155][00001]\t[COMMENT]: ClearDeviceError Error More Than 10 Times\r\n");
}

TEST_F(ClearErrorsTest, FailingCallEndsBothFormsInSilence) {
    openQuietly();
    port.feed("ABC");
    platform.failures().fail(Op::ClearErrors).twice();
    std::uint32_t waiting = 77;
    EXPECT_FALSE(device.ClearDeviceError());
    EXPECT_EQ(device.ClearDeviceError(waiting), 0x4342u);
    EXPECT_EQ(waiting, 0u);
    EXPECT_THAT(messages(), IsEmpty());
    EXPECT_EQ(device.ClearDeviceError(waiting), 0u);
    EXPECT_EQ(waiting, 3u);
}

TEST_F(ClearErrorsTest, FailureAfterAPassWithErrorsEndsTheLoop) {
    openQuietly();
    port.addErrorBits(0x10, 5);
    platform.failures().fail(Op::ClearErrors).onCall(3);
    EXPECT_FALSE(device.ClearDeviceError());
    EXPECT_THAT(messages(), ElementsAreArray(repeated(kBreakText, 2)));
    EXPECT_EQ(passed(), 20);
}

TEST_F(ClearErrorsTest, ClosedPortIsRefused) {
    std::uint32_t waiting = 77;
    EXPECT_FALSE(device.ClearDeviceError());
    EXPECT_EQ(device.ClearDeviceError(waiting), 0x4000u);
    EXPECT_EQ(waiting, 0u);
    EXPECT_THAT(platform.journal().serial(), IsEmpty());
}

TEST_F(ClearErrorsTest, ReportingFormAsksForNoStatusAndTheQueueFormDoes) {
    openQuietly();
    std::uint32_t waiting = 0;
    EXPECT_TRUE(device.ClearDeviceError());
    EXPECT_EQ(device.ClearDeviceError(waiting), 0u);
    EXPECT_THAT(platform.journal().serial(), ElementsAre("clearErrors", "clearErrors status"));
}

TEST_F(ClearErrorsTest, TransfersGoAheadWhenTheErrorsDoNotClear) {
    for (const bool overlapped : {true, false}) {
        device.CloseDevice();
        device.setOverlapped(overlapped);
        port.setStandingErrorBits(0);
        openQuietly();
        port.clearWritten();
        port.feed("R");
        port.setStandingErrorBits(0x10);
        EXPECT_EQ(write("W"), 0u);
        EXPECT_EQ(read(1), 0u);
        EXPECT_EQ(bytes, 1u);
        EXPECT_EQ(port.written(), "W");
        EXPECT_EQ(passed(), 220);
        const Texts passes = repeated(kBreakText, 11) + Texts{kTooManyPasses};
        EXPECT_THAT(messages(), ElementsAreArray(passes + passes));
    }
}

TEST_F(ClearErrorsTest, TransfersGoAheadWhenTheClearingFails) {
    openQuietly();
    platform.failures().fail(Op::ClearErrors).always();
    port.feed("R");
    EXPECT_EQ(write("W"), 0u);
    EXPECT_EQ(read(1), 0u);
    EXPECT_EQ(bytes, 1u);
    EXPECT_THAT(messages(), IsEmpty());
}

// --- purging

TEST_F(ClearErrorsTest, PurgeDropsWhatWaitsAndTellsNoFailure) {
    device.purge();
    EXPECT_THAT(platform.journal().serial(), IsEmpty());
    openQuietly();
    port.feed("old");
    platform.failures().fail(Op::Purge);
    device.purge();
    EXPECT_EQ(port.waiting(), 3u);
    device.purge();
    EXPECT_EQ(port.waiting(), 0u);
    EXPECT_THAT(platform.journal().serial(), ElementsAre("purge 0xC -> error 31", "purge 0xC"));
    EXPECT_THAT(messages(), IsEmpty());
}

// --- both directions at once

TEST_F(TransferTest, ReadAndWriteMayBePendingTogetherAndOneStopEndsBoth) {
    openQuietly();
    port.emptyReadsPend(true);
    port.writesTake(10s);
    Code readResult{1};
    std::uint32_t count = 0;
    char c = 0;
    const auto reader = platform.spawn([&] { readResult = device.ReadData(&c, 1, count); });
    platform.after(300ms, [&] { stop->set(); });
    EXPECT_EQ(write("A"), 0x10u);
    EXPECT_TRUE(reader->join(1000));
    EXPECT_EQ(readResult, 0x10u);
    EXPECT_EQ(passed(), 300);
    EXPECT_THAT(messages(),
                ::testing::UnorderedElementsAre("Get Stop Event in ReadData", "Get Stop Event in WriteData"));
    EXPECT_EQ(platform.serial().pendingTransfers(), 0u);
}

// --- nothing stays pending, whatever is thrown

// Notes how many transfers are pending while each message is told.
class PendingWatcher : public CCallBack {
public:
    explicit PendingWatcher(ScriptedSerialDriver& serial) : serial_(serial) {}
    void text(const std::string& message) override {
        notes.push_back(message + ": " + std::to_string(serial_.pendingTransfers()));
    }
    Texts notes;

private:
    ScriptedSerialDriver& serial_;
};

TEST_F(TransferTest, StopsAndTimeoutsAreToldBeforeTheTransferIsCancelled) {
    openQuietly();
    PendingWatcher watcher(platform.serial());
    device.setMessageSink(&watcher);
    device.setTimeouts(10, 10);
    port.emptyReadsPend(true);
    port.writesTake(1s);
    EXPECT_EQ(read(64), 0x4004u);
    EXPECT_EQ(write("A"), 0x4005u);
    stop->set();
    EXPECT_EQ(read(64), 0x10u);
    EXPECT_EQ(write("A"), 0x10u);
    EXPECT_EQ(platform.serial().pendingTransfers(), 0u);
    EXPECT_THAT(watcher.notes, ElementsAre("Read Timeout: 1", "Write Timeout: 1", "Get Stop Event in ReadData: 1",
                                           "Get Stop Event in WriteData: 1"));
    device.setMessageSink(nullptr);
}

// A driver of its own whose waits end as told, by an exception or with a shortage of memory to follow.
class FickleDriver : public ScriptedSerialDriver {
public:
    using ScriptedSerialDriver::ScriptedSerialDriver;

    WaitResult await(Transfer&, Event*, std::uint32_t) override {
        if (throws) throw std::bad_alloc();
        failNextAllocation();
        return result;
    }
    bool throws = false;
    WaitResult result = WaitResult::Stopped;
};

class ExceptionTest : public ::testing::Test {
protected:
    ExceptionTest() {
        device.setDevicePath("line");
        device.setOverlapped(true);
        EXPECT_EQ(device.OpenDevice(), 0u);
        port.emptyReadsPend(true);
        port.writesTake(1s);
    }
    void expectNothingPending() {
        char c = 0;
        std::uint32_t count = 0;
        EXPECT_THROW(device.ReadData(&c, 1, count), std::bad_alloc);
        EXPECT_EQ(driver.pendingTransfers(), 0u);
        EXPECT_THROW(device.WriteData("A", 1, count), std::bad_alloc);
        EXPECT_EQ(driver.pendingTransfers(), 0u);
        EXPECT_TRUE(device.isOpen());
    }

    ScriptedPlatform home;
    ScriptedCore core;
    FickleDriver driver{core};
    ScriptedPort& port = driver.add("line");
    Platform platform{driver, home.threading(), home.clock(), home.keys(), home.datagrams(), home.files(), home.host()};
    DeviceComm device{platform};
};

TEST_F(ExceptionTest, WaitThatThrowsLeavesNoTransferPending) {
    driver.throws = true;
    expectNothingPending();
}

TEST_F(ExceptionTest, StopMessageWithoutMemoryIsLostAndTheStopToldAllTheSame) {
    char c = 0;
    std::uint32_t count = 0;
    EXPECT_EQ(device.ReadData(&c, 1, count), 0x10u);
    EXPECT_EQ(driver.pendingTransfers(), 0u);
    EXPECT_EQ(device.WriteData("A", 1, count), 0x10u);
    EXPECT_EQ(driver.pendingTransfers(), 0u);
    EXPECT_TRUE(device.isOpen());
}

TEST_F(TransferTest, SinkInTroubleOnAStopLeavesNoTransferPending) {
    openQuietly();
    sink.throwFromNowOn();
    port.emptyReadsPend(true);
    port.writesTake(1s);
    stop->set();
    EXPECT_EQ(read(64), 0x10u);
    EXPECT_EQ(write("A"), 0x10u);
    EXPECT_EQ(platform.serial().pendingTransfers(), 0u);
}

}  // namespace
}  // namespace mova
