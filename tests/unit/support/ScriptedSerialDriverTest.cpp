#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>

#include <array>

#include "support/ScriptedPlatform.h"

namespace mova {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ScriptedSerial : public ::testing::Test {
protected:
    PortHandle openPort(bool overlapped = true) { return serial.open("\\\\.\\COM7", overlapped); }

    std::string read(PortHandle handle, std::uint32_t capacity = 2048) {
        const auto transfer = serial.makeTransfer();
        std::array<char, 2048> buffer{};
        std::uint32_t bytes = 0;
        if (serial.beginRead(handle, *transfer, buffer.data(), capacity) == BeginResult::Pending) {
            EXPECT_EQ(serial.await(*transfer, nullptr, kInfinite), WaitResult::Signalled);
        }
        EXPECT_TRUE(serial.finish(handle, *transfer, bytes));
        return {buffer.data(), bytes};
    }

    void write(PortHandle handle, std::string_view text) {
        const auto transfer = serial.makeTransfer();
        std::uint32_t bytes = 0;
        if (serial.beginWrite(handle, *transfer, text.data(), static_cast<std::uint32_t>(text.size())) ==
            BeginResult::Pending) {
            EXPECT_EQ(serial.await(*transfer, nullptr, kInfinite), WaitResult::Signalled);
        }
        EXPECT_TRUE(serial.finish(handle, *transfer, bytes));
        EXPECT_EQ(bytes, text.size());
    }

    std::uint32_t waiting(PortHandle handle) {
        std::uint32_t bits = 0;
        PortStatus status;
        EXPECT_TRUE(serial.clearErrors(handle, bits, &status));
        return status.inQueue;
    }

    ScriptedPlatform platform;
    ScriptedPort& port = platform.withPort(7, "Communications Port (COM7)");
    SerialDriver& serial = platform.platform().serial;
};

TEST_F(ScriptedSerial, NotesEveryCallInOrder) {
    const PortHandle handle = openPort();
    EXPECT_EQ(handle, 0x100);
    EXPECT_TRUE(serial.setQueueSizes(handle, 8192, 2048));
    EXPECT_TRUE(serial.setTimeouts(handle, {0xFFFFFFFF, 0, 0, 10, 500}));
    PortProperties properties;
    EXPECT_TRUE(serial.properties(handle, properties));
    port.lineSettings.flags = 0x0881;
    LineSettings settings;
    EXPECT_TRUE(serial.lineSettings(handle, settings));
    EXPECT_EQ(settings.flags, 0x0881u);
    settings.flags = 0x5010;
    settings.baudRate = 115200;
    settings.byteSize = 8;
    EXPECT_TRUE(serial.setLineSettings(handle, settings));
    EXPECT_TRUE(serial.setEventMask(handle, kEventMaskRxChar));
    write(handle, "AT\r");
    EXPECT_TRUE(serial.purge(handle, kPurgeTxClear | kPurgeRxClear));
    EXPECT_TRUE(serial.control(handle, LineControl::ClearDtr));
    std::uint32_t status = 0;
    EXPECT_TRUE(serial.modemStatus(handle, status));
    serial.cancelAll(handle);
    EXPECT_TRUE(serial.close(handle));
    EXPECT_THAT(port.calls(), ElementsAre("open \\\\.\\COM7 overlapped", "setQueueSizes 8192 2048",
                                          "setTimeouts 4294967295 0 0 10 500", "properties", "lineSettings",
                                          "setLineSettings flags=0x5010 baud=115200 size=8 parity=0 stop=0",
                                          "setEventMask 1", "beginWrite 41 54 0D", "finish write", "purge 0xC",
                                          "control ClearDtr", "modemStatus", "cancelAll", "close"));
    EXPECT_THAT(
        platform.journal().serial({Op::Purge, Op::SetLineSettings, Op::GetLineSettings, Op::SetTimeouts}),
        ElementsAre("open \\\\.\\COM7 overlapped", "setQueueSizes 8192 2048", "properties", "setEventMask 1",
                    "beginWrite 41 54 0D", "finish write", "control ClearDtr", "modemStatus", "cancelAll", "close"));
}

TEST_F(ScriptedSerial, OpensOnceAndOnlyWhatIsThere) {
    EXPECT_EQ(serial.open("\\\\.\\COM8", true), kInvalidPort);
    EXPECT_EQ(serial.lastError(), 2u);
    EXPECT_EQ(serial.errorText(2), "The system cannot find the file specified.\r\n");
    const PortHandle handle = openPort();
    EXPECT_EQ(openPort(), kInvalidPort);
    EXPECT_EQ(serial.lastError(), 5u);
    EXPECT_TRUE(serial.close(handle));
    EXPECT_FALSE(serial.close(handle));
    EXPECT_EQ(serial.lastError(), 6u);
    const PortHandle again = openPort(false);
    EXPECT_EQ(again, 0x104);
    EXPECT_TRUE(serial.close(again));
    EXPECT_EQ(port.opens(), 2u);
    EXPECT_THAT(port.calls(), ElementsAre("open \\\\.\\COM7 overlapped", "open \\\\.\\COM7 overlapped -> error 5",
                                          "close", "open \\\\.\\COM7 blocking", "close"));
}

TEST_F(ScriptedSerial, ReadsGiveWhatHasArrivedAndNothingElse) {
    const PortHandle handle = openPort();
    EXPECT_EQ(read(handle), "");
    port.feed("OK\r\n");
    port.feedAt(100ms, "RING\r\n");
    EXPECT_EQ(waiting(handle), 4u);
    EXPECT_EQ(read(handle, 3), "OK\r");
    EXPECT_EQ(read(handle), "\n");
    platform.advance(99);
    EXPECT_EQ(waiting(handle), 0u);
    platform.advance(1);
    EXPECT_EQ(waiting(handle), 6u);
    port.setReadCap(2);
    EXPECT_EQ(read(handle), "RI");
    EXPECT_EQ(waiting(handle), 4u);
    EXPECT_TRUE(serial.purge(handle, kPurgeRxClear));
    EXPECT_EQ(waiting(handle), 0u);
    EXPECT_TRUE(serial.close(handle));
}

TEST_F(ScriptedSerial, WhatArrivesAtAClosedPortIsLost) {
    port.feed("before");
    PortHandle handle = openPort();
    EXPECT_EQ(waiting(handle), 0u);
    port.feed("unread");
    EXPECT_TRUE(serial.close(handle));
    handle = openPort();
    EXPECT_EQ(waiting(handle), 0u);
    EXPECT_TRUE(serial.close(handle));
}

TEST_F(ScriptedSerial, KeepsWhatWasWrittenWithItsTime) {
    const PortHandle handle = openPort();
    write(handle, "AT");
    platform.advance(5);
    write(handle, std::string_view("\r\0", 2));
    EXPECT_EQ(port.written(), std::string("AT\r\0", 4));
    ASSERT_EQ(port.writes().size(), 2u);
    EXPECT_EQ(port.writes()[0].when, 0us);
    EXPECT_EQ(port.writes()[1].when, 5ms);
    EXPECT_EQ(port.writes()[1].bytes, std::string("\r\0", 2));
    port.clearWritten();
    EXPECT_EQ(port.written(), "");
    EXPECT_TRUE(serial.close(handle));
}

TEST_F(ScriptedSerial, ErrorBitsComePassByPass) {
    const PortHandle handle = openPort();
    port.addErrorBits(0x10);
    port.addErrorBits(0x8, 2);
    const auto pass = [&] {
        std::uint32_t bits = 0;
        EXPECT_TRUE(serial.clearErrors(handle, bits, nullptr));
        return bits;
    };
    EXPECT_EQ(pass(), 0x10u);
    EXPECT_EQ(pass(), 0x8u);
    EXPECT_EQ(pass(), 0x8u);
    EXPECT_EQ(pass(), 0u);
    port.setStandingErrorBits(0x2);
    EXPECT_EQ(pass(), 0x2u);
    EXPECT_EQ(pass(), 0x2u);
    EXPECT_TRUE(serial.close(handle));
}

TEST_F(ScriptedSerial, LinesFollowSettingsAndControl) {
    const PortHandle handle = openPort();
    LineSettings settings;
    settings.flags = LineFlags::DtrOn;
    EXPECT_TRUE(serial.setLineSettings(handle, settings));
    EXPECT_TRUE(port.dtr());
    EXPECT_FALSE(port.rts());
    EXPECT_TRUE(serial.control(handle, LineControl::SetRts));
    EXPECT_TRUE(serial.control(handle, LineControl::ClearDtr));
    EXPECT_FALSE(port.dtr());
    EXPECT_TRUE(port.rts());
    port.setModemStatus(ModemStatus::Cts | ModemStatus::Dsr);
    std::uint32_t status = 0;
    EXPECT_TRUE(serial.modemStatus(handle, status));
    EXPECT_EQ(status, 0x30u);
    EXPECT_TRUE(serial.close(handle));
}

// --- pending transfers

TEST_F(ScriptedSerial, AWriteMayTakeItsTime) {
    const PortHandle handle = openPort();
    port.writesTake(2ms, 87us);
    const auto transfer = serial.makeTransfer();
    EXPECT_EQ(serial.beginWrite(handle, *transfer, "ATZ\r", 4), BeginResult::Pending);
    EXPECT_EQ(port.written(), "");
    std::uint32_t bytes = 0;
    EXPECT_FALSE(serial.finish(handle, *transfer, bytes));
    EXPECT_EQ(serial.lastError(), 996u);
    EXPECT_EQ(serial.await(*transfer, nullptr, kInfinite), WaitResult::Signalled);
    EXPECT_EQ(platform.now(), 2348us);
    EXPECT_EQ(port.written(), "ATZ\r");
    EXPECT_TRUE(serial.finish(handle, *transfer, bytes));
    EXPECT_EQ(bytes, 4u);
    EXPECT_TRUE(serial.close(handle));
}

TEST_F(ScriptedSerial, AnEmptyReadMayStayPendingUntilAByteComes) {
    const PortHandle handle = openPort();
    port.emptyReadsPend(true);
    port.feedAt(1500ms, "X");
    EXPECT_EQ(read(handle), "X");
    EXPECT_EQ(platform.elapsed(), 1500);
    EXPECT_TRUE(serial.close(handle));
}

TEST_F(ScriptedSerial, APendingTransferEndsByStopTimeOutAndCancelling) {
    const PortHandle handle = openPort();
    port.emptyReadsPend(true);
    const auto stop = platform.threading().makeEvent();
    const auto transfer = serial.makeTransfer();
    std::array<char, 4> buffer{};
    EXPECT_EQ(serial.beginRead(handle, *transfer, buffer.data(), 4), BeginResult::Pending);
    EXPECT_EQ(serial.await(*transfer, stop.get(), 100), WaitResult::TimedOut);
    EXPECT_EQ(platform.elapsed(), 100);
    platform.at(150ms, [&] { stop->set(); });
    EXPECT_EQ(serial.await(*transfer, stop.get(), kInfinite), WaitResult::Stopped);
    EXPECT_EQ(platform.elapsed(), 150);
    EXPECT_EQ(platform.serial().pendingTransfers(), 1u);
    serial.cancel(handle, *transfer);
    EXPECT_EQ(platform.serial().pendingTransfers(), 0u);
    std::uint32_t bytes = 9;
    EXPECT_FALSE(serial.finish(handle, *transfer, bytes));
    EXPECT_EQ(serial.lastError(), 995u);
    port.feed("late");  // the buffer is not touched any more
    EXPECT_EQ(buffer[0], '\0');
    EXPECT_EQ(serial.beginRead(handle, *transfer, buffer.data(), 4), BeginResult::Complete);
    EXPECT_EQ(serial.await(*transfer, stop.get(), 0), WaitResult::Signalled);  // completion comes before the stop
    EXPECT_TRUE(serial.finish(handle, *transfer, bytes));
    EXPECT_EQ(bytes, 4u);
    EXPECT_TRUE(serial.close(handle));
}

TEST_F(ScriptedSerial, AReadOfOneThreadAndAWriteOfAnotherMayBePendingTogether) {
    const PortHandle handle = openPort();
    port.emptyReadsPend(true);
    port.writesTake(30ms);
    std::string got;
    const auto reader = platform.spawn([&] { got = read(handle); });
    platform.settle();
    port.expect("AT\r").reply("OK\r\n", 20ms);
    write(handle, "AT\r");
    EXPECT_EQ(platform.elapsed(), 30);
    EXPECT_TRUE(reader->join(kInfinite));
    EXPECT_EQ(got, "OK\r\n");
    EXPECT_EQ(platform.elapsed(), 50);
    EXPECT_TRUE(serial.close(handle));
}

TEST_F(ScriptedSerial, EachKindOfTransferFailure) {
    const PortHandle handle = openPort();
    const auto stop = platform.threading().makeEvent();
    const auto transfer = serial.makeTransfer();
    FailurePlan& plan = platform.failures();
    std::uint32_t bytes = 0;
    const auto beginWrite = [&] { return serial.beginWrite(handle, *transfer, "ABCD", 4); };

    plan.fail(Op::BeginWrite).error(5);
    EXPECT_EQ(beginWrite(), BeginResult::Failed);
    EXPECT_EQ(serial.lastError(), 5u);

    plan.fail(Op::BeginWrite).as(FailureKind::TimedOut);
    EXPECT_EQ(beginWrite(), BeginResult::Pending);
    EXPECT_EQ(serial.await(*transfer, stop.get(), 700), WaitResult::TimedOut);
    EXPECT_EQ(platform.elapsed(), 700);
    serial.cancel(handle, *transfer);

    plan.fail(Op::BeginWrite).as(FailureKind::TimedOut);
    EXPECT_EQ(beginWrite(), BeginResult::Pending);
    EXPECT_EQ(serial.await(*transfer, stop.get(), kInfinite), WaitResult::TimedOut);  // or it would never end
    serial.cancel(handle, *transfer);

    plan.fail(Op::BeginWrite).as(FailureKind::WaitFailed);
    EXPECT_EQ(beginWrite(), BeginResult::Pending);
    EXPECT_EQ(serial.await(*transfer, stop.get(), kInfinite), WaitResult::Failed);
    serial.cancel(handle, *transfer);

    plan.fail(Op::BeginWrite).as(FailureKind::Stopped);
    EXPECT_EQ(beginWrite(), BeginResult::Pending);
    EXPECT_EQ(serial.await(*transfer, stop.get(), kInfinite), WaitResult::Stopped);
    EXPECT_TRUE(stop->isSet());
    stop->reset();
    serial.cancel(handle, *transfer);

    plan.fail(Op::BeginWrite).as(FailureKind::Pending);
    EXPECT_EQ(beginWrite(), BeginResult::Pending);
    EXPECT_EQ(serial.await(*transfer, stop.get(), 1000), WaitResult::TimedOut);
    serial.cancel(handle, *transfer);
    EXPECT_EQ(port.written(), "");

    plan.fail(Op::BeginWrite).as(FailureKind::ShortCount);
    EXPECT_EQ(beginWrite(), BeginResult::Complete);
    EXPECT_TRUE(serial.finish(handle, *transfer, bytes));
    EXPECT_EQ(bytes, 3u);
    EXPECT_EQ(port.written(), "ABC");

    plan.fail(Op::BeginWrite).as(FailureKind::ShortCount).count(1);
    EXPECT_EQ(beginWrite(), BeginResult::Complete);
    EXPECT_TRUE(serial.finish(handle, *transfer, bytes));
    EXPECT_EQ(bytes, 1u);

    plan.fail(Op::Finish).error(31);
    EXPECT_EQ(beginWrite(), BeginResult::Complete);
    EXPECT_FALSE(serial.finish(handle, *transfer, bytes));
    EXPECT_EQ(serial.lastError(), 31u);

    plan.fail(Op::BeginRead).as(FailureKind::ShortCount).count(2);
    port.feed("wxyz");
    EXPECT_EQ(read(handle), "wx");
    EXPECT_EQ(read(handle), "yz");
    EXPECT_TRUE(serial.close(handle));
    EXPECT_THAT(platform.journal().only({Op::Await}),
                ElementsAre("await write 700 -> timed out", "await write infinite -> timed out",
                            "await write infinite -> wait failed", "await write infinite -> stopped",
                            "await write 1000 -> pending"));
}

TEST_F(ScriptedSerial, ATransferWhoseEventWasRefusedDoesNotBegin) {
    const PortHandle handle = openPort();
    platform.failures().fail(Op::MakeTransfer);
    const auto transfer = serial.makeTransfer();
    EXPECT_EQ(serial.beginWrite(handle, *transfer, "A", 1), BeginResult::Failed);
    EXPECT_EQ(serial.lastError(), 6u);
    EXPECT_TRUE(serial.close(handle));
}

// --- blocking

TEST_F(ScriptedSerial, BlockingTransfers) {
    const PortHandle handle = openPort(false);
    std::uint32_t bytes = 0;
    EXPECT_TRUE(serial.write(handle, "ABCD", 4, bytes));
    EXPECT_EQ(bytes, 4u);
    platform.failures().fail(Op::Write).as(FailureKind::ShortCount).count(2);
    EXPECT_TRUE(serial.write(handle, "ABCD", 4, bytes));
    EXPECT_EQ(bytes, 2u);
    platform.failures().fail(Op::Write).error(22);
    EXPECT_FALSE(serial.write(handle, "ABCD", 4, bytes));
    EXPECT_EQ(serial.lastError(), 22u);
    EXPECT_EQ(port.written(), "ABCDAB");
    port.feed("xyz");
    std::array<char, 2> buffer{};
    EXPECT_TRUE(serial.read(handle, buffer.data(), 2, bytes));
    EXPECT_EQ(std::string(buffer.data(), bytes), "xy");
    port.writesTake(10ms);
    EXPECT_TRUE(serial.write(handle, "E", 1, bytes));
    EXPECT_EQ(platform.elapsed(), 10);
    platform.after(4ms, [&] { port.unplug(); });
    EXPECT_FALSE(serial.write(handle, "F", 1, bytes));
    EXPECT_EQ(platform.elapsed(), 14);
    EXPECT_EQ(port.written(), "ABCDABE");
    EXPECT_TRUE(serial.close(handle));
}

// --- conversation

TEST_F(ScriptedSerial, AConversationAnswersByteByByteRequestsInChunks) {
    const PortHandle handle = openPort();
    port.expect("AT\r").reply("AT\r\r\n", 5ms).reply("OK\r\n", 20ms);
    port.expect("AT+X\r").replyInChunks("ABCDE", 2, 10ms, 3ms);
    for (const char byte : std::string("AT\r")) write(handle, std::string_view(&byte, 1));
    EXPECT_EQ(waiting(handle), 0u);
    platform.advance(5);
    EXPECT_EQ(read(handle), "AT\r\r\n");
    platform.advance(19);
    EXPECT_EQ(read(handle), "");
    platform.advance(1);
    EXPECT_EQ(read(handle), "OK\r\n");
    EXPECT_FALSE(port.conversationDone());
    write(handle, "AT+X\r");
    platform.advance(10);
    EXPECT_EQ(read(handle), "AB");
    platform.advance(3);
    EXPECT_EQ(read(handle), "CD");
    platform.advance(3);
    EXPECT_EQ(read(handle), "E");
    EXPECT_TRUE(port.conversationDone());
    EXPECT_TRUE(serial.close(handle));
}

TEST_F(ScriptedSerial, AReplyWithoutDelayIsThereAtOnceAndStandingAnswersComeInBetween) {
    const PortHandle handle = openPort();
    port.whenever("ATZ\r").reply("Z");
    port.expect("AT1\r").reply("1").perform([&] { port.setModemStatus(ModemStatus::Ring); }, 2ms);
    port.expect("AT2\r").reply("2");
    write(handle, "ATZ\rAT1\rATZ\r");
    EXPECT_EQ(read(handle), "Z1Z");
    write(handle, "AT2\rATZ\r");
    EXPECT_EQ(read(handle), "2Z");
    std::uint32_t status = 0;
    EXPECT_TRUE(serial.modemStatus(handle, status));
    EXPECT_EQ(status, 0u);
    platform.advance(2);
    EXPECT_TRUE(serial.modemStatus(handle, status));
    EXPECT_EQ(status, 0x40u);
    EXPECT_TRUE(serial.close(handle));
}

TEST_F(ScriptedSerial, AnUnexpectedWriteFailsTheTest) {
    const PortHandle handle = openPort();
    port.expect("AT\r");
    EXPECT_NONFATAL_FAILURE(write(handle, "AX"), "unexpected write \"AX\" (41 58), expected \"AT\r\"");
    write(handle, "AT\r");
    EXPECT_NONFATAL_FAILURE(write(handle, "AT\r"), "expected nothing");
    EXPECT_TRUE(serial.close(handle));
}

TEST_F(ScriptedSerial, AnExpectationThatIsLeftFailsTheTest) {
    EXPECT_NONFATAL_FAILURE(
        {
            ScriptedPlatform other;
            other.withPort(1).expect("ATH\r");
        },
        "never written: ATH\r");
}

TEST_F(ScriptedSerial, AWriteCallBackSeesEachWrite) {
    const PortHandle handle = openPort();
    port.onWrite([&](std::string_view bytes) { port.feed(std::string(bytes.rbegin(), bytes.rend())); });
    write(handle, "abc");
    EXPECT_EQ(read(handle), "cba");
    EXPECT_TRUE(serial.close(handle));
}

// --- cable

TEST_F(ScriptedSerial, UnpluggingFailsEveryCallAndThePendingTransfer) {
    const PortHandle handle = openPort();
    port.emptyReadsPend(true);
    port.feedAt(50ms, "lost");
    platform.at(40ms, [&] { port.unplug(22); });
    const auto transfer = serial.makeTransfer();
    std::array<char, 4> buffer{};
    EXPECT_EQ(serial.beginRead(handle, *transfer, buffer.data(), 4), BeginResult::Pending);
    EXPECT_EQ(serial.await(*transfer, nullptr, kInfinite), WaitResult::Signalled);
    EXPECT_EQ(platform.elapsed(), 40);
    std::uint32_t bytes = 0;
    EXPECT_FALSE(serial.finish(handle, *transfer, bytes));
    EXPECT_EQ(serial.lastError(), 22u);
    std::uint32_t bits = 0;
    EXPECT_FALSE(serial.clearErrors(handle, bits, nullptr));
    EXPECT_EQ(openPort(), kInvalidPort);
    EXPECT_EQ(serial.lastError(), 2u);
    platform.advance(20);
    port.replug();
    EXPECT_FALSE(serial.clearErrors(handle, bits, nullptr));  // the old handle stays dead
    EXPECT_TRUE(serial.close(handle));
    const PortHandle again = openPort();
    EXPECT_EQ(waiting(again), 0u);
    EXPECT_TRUE(serial.close(again));
}

// --- peer

// Answers each line with its length, one byte per millisecond.
struct Counter {
    void receive(std::string_view bytes, std::uint64_t now) {
        for (const char byte : bytes) {
            ++length;
            if (byte != '\r') continue;
            pending.emplace_back(now + 1000, static_cast<char>('0' + length));
            pending.emplace_back(now + 2000, '\n');
            length = 0;
        }
    }
    std::string due(std::uint64_t now) {
        std::string bytes;
        while (!pending.empty() && pending.front().first <= now) {
            bytes += pending.front().second;
            pending.erase(pending.begin());
        }
        return bytes;
    }
    std::optional<std::uint64_t> nextDue() const {
        return pending.empty() ? std::nullopt : std::optional(pending.front().first);
    }
    int length = 0;
    std::vector<std::pair<std::uint64_t, char>> pending;
};

TEST_F(ScriptedSerial, APeerAnswersInVirtualTime) {
    Counter counter;
    PeerAdapter peer(counter);
    port.attach(peer);
    const PortHandle handle = openPort();
    write(handle, "ATZ\r");
    EXPECT_EQ(waiting(handle), 0u);
    platform.advance(1);
    EXPECT_EQ(read(handle), "4");
    port.emptyReadsPend(true);
    EXPECT_EQ(read(handle), "\n");
    EXPECT_EQ(platform.elapsed(), 2);
    std::string got;
    const auto reader = platform.spawn([&] { got = read(handle); });
    platform.advance(10);
    write(handle, "A\r");
    EXPECT_TRUE(reader->join(kInfinite));
    EXPECT_EQ(got, "2");
    EXPECT_EQ(platform.elapsed(), 13);
    EXPECT_TRUE(serial.close(handle));
}

// Other integer types and a "never" in place of an empty optional serve as well.
struct Silent {
    void receive(std::string_view bytes, unsigned long long) { heard += bytes.size(); }
    const char* due(std::uint64_t) { return "x"; }
    std::uint64_t nextDue() { return ~std::uint64_t{0}; }
    std::size_t heard = 0;
};

TEST(PeerAdapter, FitsOtherTypesOfTheSameShape) {
    Silent device;
    PeerAdapter peer(device);
    peer.receive("abc", 0);
    EXPECT_EQ(device.heard, 3u);
    EXPECT_EQ(peer.due(5), "x");
    EXPECT_EQ(peer.nextDue(), std::nullopt);
}

// --- misuse

TEST_F(ScriptedSerial, MisuseOfATransferFailsTheTest) {
    const PortHandle handle = openPort();
    port.writesTake(1s);
    auto transfer = serial.makeTransfer();
    EXPECT_EQ(serial.beginWrite(handle, *transfer, "A", 1), BeginResult::Pending);
    EXPECT_NONFATAL_FAILURE(serial.beginWrite(handle, *transfer, "B", 1), "begun while it is pending");
    EXPECT_NONFATAL_FAILURE(transfer.reset(), "destroyed while pending");
    platform.advance(2000);
    EXPECT_EQ(port.written(), "");
    EXPECT_TRUE(serial.close(handle));
    const PortHandle blocking = openPort(false);
    transfer = serial.makeTransfer();
    EXPECT_NONFATAL_FAILURE(serial.beginRead(blocking, *transfer, nullptr, 0), "opened without");
    serial.cancel(blocking, *transfer);
    EXPECT_TRUE(serial.close(blocking));
}

TEST_F(ScriptedSerial, AHandleLeftOpenFailsTheTest) {
    EXPECT_NONFATAL_FAILURE(
        {
            ScriptedPlatform other;
            other.withPort(1);
            other.serial().open("\\\\.\\COM1", true);
        },
        "left open at the platform's end: 1 port handles");
    ScriptedPlatform allowed;
    allowed.withPort(1);
    allowed.serial().open("\\\\.\\COM1", true);
    EXPECT_EQ(allowed.leaks(), "1 port handles");
    allowed.allowLeaks();
}

TEST_F(ScriptedSerial, ErrorsBelongToTheirThread) {
    EXPECT_EQ(serial.open("\\\\.\\COM8", true), kInvalidPort);
    const auto thread = platform.spawn([&] {
        EXPECT_EQ(serial.lastError(), 0u);
        EXPECT_FALSE(serial.close(77));
        EXPECT_EQ(serial.lastError(), 6u);
    });
    EXPECT_TRUE(thread->join(kInfinite));
    EXPECT_EQ(serial.lastError(), 2u);
}

// --- waiting for bytes

class ScriptedInputWait : public ScriptedSerial {
protected:
    ~ScriptedInputWait() override { serial.close(handle); }

    WaitResult await(std::uint32_t milliseconds, Event* other = nullptr) {
        const auto before = platform.elapsed();
        const WaitResult result = serial.awaitInput(handle, other, milliseconds);
        took = platform.elapsed() - before;
        return result;
    }

    PortHandle handle = openPort();
    std::int64_t took = -1;
    std::unique_ptr<Event> event = platform.threading().makeEvent();
};

TEST_F(ScriptedInputWait, BytesEndItInTheMiddleAndStay) {
    port.feedAfter(7ms, "OK");
    EXPECT_EQ(await(100), WaitResult::Signalled);
    EXPECT_EQ(took, 7);
    EXPECT_EQ(waiting(handle), 2u);
    EXPECT_EQ(await(100), WaitResult::Signalled);  // they still wait
    EXPECT_EQ(took, 0);
}

TEST_F(ScriptedInputWait, WithoutBytesItLastsItsTime) {
    EXPECT_EQ(await(100), WaitResult::TimedOut);
    EXPECT_EQ(took, 100);
}

TEST_F(ScriptedInputWait, EventEndsItAndGoesBeforeBytes) {
    platform.after(3ms, [this] { event->set(); });
    EXPECT_EQ(await(100, event.get()), WaitResult::Stopped);
    EXPECT_EQ(took, 3);
    port.feed("A");
    EXPECT_EQ(await(100, event.get()), WaitResult::Stopped);
}

TEST_F(ScriptedInputWait, UnpluggingAndClosingEndIt) {
    platform.after(3ms, [this] { port.unplug(); });
    EXPECT_EQ(await(100), WaitResult::Signalled);
    EXPECT_EQ(took, 3);
    port.replug();
    EXPECT_TRUE(serial.close(handle));
    handle = openPort();
    platform.after(4ms, [this] { serial.close(handle); });
    EXPECT_EQ(await(100), WaitResult::Signalled);
    EXPECT_EQ(took, 4);
    EXPECT_EQ(await(100), WaitResult::Failed);  // the handle is none any more
    EXPECT_EQ(took, 0);
}

TEST_F(ScriptedInputWait, FailuresOnDemand) {
    port.feed("A");
    platform.failures().fail(Op::AwaitInput).as(FailureKind::WaitFailed);
    EXPECT_EQ(await(100), WaitResult::Failed);
    EXPECT_EQ(took, 0);
    platform.failures().fail(Op::AwaitInput).as(FailureKind::TimedOut);
    EXPECT_EQ(await(100), WaitResult::TimedOut);  // it does not notice the byte
    EXPECT_EQ(took, 100);
    EXPECT_EQ(read(handle), "A");
    platform.failures().fail(Op::AwaitInput).as(FailureKind::ForNothing);
    EXPECT_EQ(await(100), WaitResult::Signalled);
    EXPECT_EQ(took, 0);
    platform.failures().fail(Op::AwaitInput).as(FailureKind::Stopped);
    EXPECT_EQ(await(100, event.get()), WaitResult::Stopped);
    EXPECT_TRUE(event->isSet());
}

TEST_F(ScriptedInputWait, PlainPausesLastTheirTimeAndThereAreNoLongOnes) {
    static_cast<ScriptedSerialDriver&>(serial).setPlainPauses();
    port.feed("A");
    EXPECT_EQ(await(100), WaitResult::TimedOut);
    EXPECT_EQ(took, 100);
    EXPECT_EQ(await(101), WaitResult::Failed);
    EXPECT_EQ(took, 0);
}

}  // namespace
}  // namespace mova
