#include "mova/CVeCmdManager.h"
#include "transport/Answers.h"
#include "unit/transport/TransportFixture.h"

namespace mova {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

// An RF confirmation with its bytes: 05 00 02 01.
const std::string kLine = "*MOVA=05000500020103\r\n";
const std::string kBytes("\x05\x00\x02\x01", 4);

class AnswersTest : public TransportTest {
protected:
    void receive(const std::string& text, const std::string& terminators = {}) {
        comm.feed(text);
        EXPECT_EQ(engine().run(0, terminators), 0u);
    }
    std::size_t queued() { return queue().fetch(std::nullopt, ConfirmationQueue::Take::Peek).remaining; }
    void file(LineClass kind, const std::string& letter) { queue().append(makeRecord(kind, letter)); }
    std::vector<std::string> purges() { return platform.journal().only({Op::Purge}); }
};

void expectNothing(const Answers::Item& item, std::uint32_t remained) {
    EXPECT_EQ(item.remained, remained);
    EXPECT_EQ(item.length, 0u);
    EXPECT_EQ(item.data, "");
}

// --- fetching

TEST_F(AnswersTest, FetchFromAnEmptyQueueIsEmpty) {
    expectNothing(answers.fetchBytes(), 0);
    expectNothing(answers.fetchText(), 0);
    EXPECT_THAT(platform.datagrams().texts(), IsEmpty());
}

TEST_F(AnswersTest, FetchQueuedCnfItemGivesThePayloadBytesAndTheirNumber) {
    receive(kLine);
    const Answers::Item item = answers.fetchBytes();
    EXPECT_EQ(item.remained, 0u);
    EXPECT_EQ(item.length, 4u);
    EXPECT_EQ(item.data, kBytes);
    EXPECT_EQ(item.data.size(), 4u);
    EXPECT_EQ(item.data.c_str()[4], '\0');
    expectNothing(answers.fetchBytes(), 0);
}

TEST_F(AnswersTest, FetchQueuedCnfItemOfHalfABytePayloadCountsTheWholeBytes) {
    receive("*MOVA=0200ABCA5\r\n");
    const Answers::Item item = answers.fetchBytes();
    EXPECT_EQ(item.length, 1u);
    EXPECT_EQ(item.data, "\xAB\x0C");
}

TEST_F(AnswersTest, FetchQueuedCnfItemOfASingleCharacterCountsNoByte) {
    receive("*MOVA=0100504\r\n");  // 01^05
    const Answers::Item item = answers.fetchBytes();
    EXPECT_EQ(item.length, 0u);
    EXPECT_EQ(item.data, "\x05");
}

TEST_F(AnswersTest, FetchQueuedCnfItemGivesLongPayloadsByteForByte) {
    std::string payload;
    std::string bytes;
    for (unsigned value = 0; value < 256; ++value) {
        payload += "0123456789ABCDEF"[value / 16];
        payload += "0123456789ABCDEF"[value % 16];
        bytes += static_cast<char>(value);
    }
    // Length 257 = 0x0101, which cancels out; so do the bytes 00 to FF.
    receive("*MOVA=0101" + payload + "00\r\n");
    const Answers::Item item = answers.fetchBytes();
    EXPECT_EQ(item.length, 256u);
    EXPECT_EQ(item.data, bytes);
}

TEST_F(AnswersTest, FetchQueuedCnfItemSkipsOtherKindsAndLeavesThemQueued) {
    file(LineClass::AtText, "A");
    file(LineClass::E2p, "B");
    file(LineClass::Hci, "C");
    file(LineClass::Wifi, "D");
    file(LineClass::Echo, "E");
    file(LineClass::Acknowledgement, "F");
    expectNothing(answers.fetchBytes(), 6);
    expectNothing(answers.fetchText(), 6);
    receive(kLine);
    receive("*MOVA=0300070004\r\n");
    const Answers::Item first = answers.fetchBytes();
    EXPECT_EQ(first.remained, 7u);
    EXPECT_EQ(first.data, kBytes);
    const Answers::Item second = answers.fetchText();
    EXPECT_EQ(second.remained, 6u);
    EXPECT_EQ(second.data, "0700");
    trace.clear();
    answers.dropRecords(Answers::Purge::No);
    EXPECT_THAT(trace.lines(), ElementsAre("13 A", "13 B", "13 C", "13 D", "13 E", "13 F"));
}

TEST_F(AnswersTest, InvalidConfirmationIsTakenOffAndGivesNothing) {
    receive("*MOVA=05000500020104\r\n");
    receive("*MOVA=05000500020104\r\n");
    receive(kLine);
    expectNothing(answers.fetchBytes(), 2);
    expectNothing(answers.fetchText(), 1);
    EXPECT_EQ(answers.fetchBytes().data, kBytes);
}

TEST_F(AnswersTest, FetchQueuedCnfTextItemGivesTheHexTextAndItsCharacters) {
    receive(kLine);
    receive("*MOVA=0200abcA5\r\n");
    const Answers::Item item = answers.fetchText();
    EXPECT_EQ(item.remained, 1u);
    EXPECT_EQ(item.length, 8u);
    EXPECT_EQ(item.data, "05000201");
    const Answers::Item odd = answers.fetchText();
    EXPECT_EQ(odd.remained, 0u);
    EXPECT_EQ(odd.length, 3u);
    EXPECT_EQ(odd.data, "abc");
}

TEST_F(AnswersTest, FetchQueuedCnfTextItemIsPostedAndLogged) {
    log.setPath("/log/a.log");
    receive(kLine);
    platform.datagrams().clear();
    answers.fetchText();
    ASSERT_THAT(platform.datagrams().texts(), SizeIs(1));
    EXPECT_EQ(platform.datagrams().texts()[0], "MovaCmdSvr:(COM7) Resv: 05000201");
    const std::string lines = platform.files().content("/log/a.log");
    // 50 ms after the clock's beginning: the first post ever has paused for them.
    EXPECT_TRUE(lines.starts_with("[2024/03/05-09:07:02::095][")) << lines;
    EXPECT_TRUE(lines.ends_with("]\t[AT] Recv: 05000201\r\n")) << lines;
}

TEST_F(AnswersTest, FetchQueuedCnfItemIsNeitherPostedNorLogged) {
    log.setPath("/log/a.log");
    receive(kLine);
    platform.datagrams().clear();
    answers.fetchBytes();
    EXPECT_THAT(platform.datagrams().texts(), IsEmpty());
    EXPECT_FALSE(platform.files().exists("/log/a.log"));
}

TEST_F(AnswersTest, FetchOfNothingIsNeitherPostedNorLogged) {
    log.setPath("/log/a.log");
    receive("*MOVA=05000500020104\r\n");
    platform.datagrams().clear();
    answers.fetchText();  // invalid
    answers.fetchText();  // none
    EXPECT_THAT(platform.datagrams().texts(), IsEmpty());
    EXPECT_FALSE(platform.files().exists("/log/a.log"));
}

TEST_F(AnswersTest, WithoutALogFilePathNoFileAppears) {
    receive(kLine);
    EXPECT_EQ(answers.fetchText().data, "05000201");
    EXPECT_EQ(platform.files().count(), 0u);
}

// --- clearing

TEST_F(AnswersTest, ClearQueueConsumesPurgesAndEmpties) {
    comm.feed("RING\r\n*MO");
    file(LineClass::Hci, "A");
    answers.takeInAndStartAfresh();
    EXPECT_EQ(queued(), 0u);
    EXPECT_EQ(pending(), "");
    EXPECT_EQ(comm.waiting(), 0u);
    EXPECT_THAT(purges(), ElementsAre("purge 0xC"));
    // The first pass takes the line, the second finds the unfinished one alone; both records go with the queue. The
    // unfinished line itself is dropped before the queue is cleared, and so leaves no trace.
    EXPECT_THAT(trace.lines(), ElementsAre("10 RING~", "10 ", "13 A", "13 RING\r\n", "13 "));
}

TEST_F(AnswersTest, ClearQueueReadsTwiceBeforeItPurges) {
    comm.feed(std::string(2046, 'x') + "\r\n" + std::string(2046, 'y') + "\r\nrest\r\n");
    answers.takeInAndStartAfresh();
    EXPECT_THAT(answers.records, SizeIs(2));
    EXPECT_THAT(platform.journal().only({Op::BeginRead, Op::Purge}),
                ElementsAre("beginRead 2048", "beginRead 2048", "purge 0xC"));
    EXPECT_EQ(comm.waiting(), 0u);
    EXPECT_EQ(queued(), 0u);
}

TEST_F(AnswersTest, ClearQueueOnAClosedPortStillEmptiesTheQueue) {
    comm.feed("OK\r\nRING\r\n+CS");
    EXPECT_EQ(engine().run(0, "OK"), 0u);
    port.close();
    port.stopEvent().reset();
    forgetBeginning();
    answers.takeInAndStartAfresh();
    EXPECT_EQ(queued(), 0u);
    EXPECT_EQ(pending(), "");
    EXPECT_THAT(purges(), IsEmpty());
    // One pass only; what it left pending is traced when it is emptied.
    EXPECT_THAT(trace.lines(), ElementsAre("10 RING~", "13 +CS", "13 OK", "13 RING\r\n"));
}

TEST_F(AnswersTest, ClearQueueOnAClosedPortAfterItsStopStillEmptiesTheQueue) {
    comm.feed("OK\r\nRING\r\n+CS");
    EXPECT_EQ(engine().run(0, "OK"), 0u);
    port.close();  // leaves the stop event signalled
    forgetBeginning();
    answers.takeInAndStartAfresh();
    EXPECT_EQ(queued(), 0u);
    EXPECT_EQ(pending(), "");
    EXPECT_THAT(trace.lines(), ElementsAre("13 RING\r\n+CS", "13 OK"));
}

TEST_F(AnswersTest, ClearQueueOfNothingLeavesNoTrace) {
    answers.takeInAndStartAfresh();
    EXPECT_THAT(trace.lines(), IsEmpty());
    EXPECT_THAT(purges(), ElementsAre("purge 0xC"));
}

TEST_F(AnswersTest, ClearQueueGoesOnWhenThePurgeFails) {
    platform.failures().fail(Op::Purge);
    file(LineClass::Hci, "A");
    answers.takeInAndStartAfresh();
    EXPECT_EQ(queued(), 0u);
}

TEST_F(AnswersTest, DiscardInputKeepsTheRecordsAndDropsThePendingText) {
    comm.feed("RING\r\n*MO");
    file(LineClass::Hci, "A");
    answers.discardInput();
    EXPECT_EQ(queued(), 2u);
    EXPECT_EQ(pending(), "");
    EXPECT_THAT(purges(), ElementsAre("purge 0xC"));
    EXPECT_THAT(trace.lines(), ElementsAre("10 RING~"));
}

TEST_F(AnswersTest, DiscardInputOfAClosedPortKeepsThePendingText) {
    comm.feed("OK\r\n+CS");
    EXPECT_EQ(engine().run(0, "OK"), 0u);
    port.close();
    answers.discardInput();
    EXPECT_EQ(pending(), "+CS");
}

TEST_F(AnswersTest, ClearingWithoutPurgeKeepsThePendingText) {
    comm.feed("OK\r\n+CS");
    EXPECT_EQ(engine().run(0, "OK"), 0u);
    forgetBeginning();
    answers.dropRecords(Answers::Purge::No);
    EXPECT_EQ(pending(), "+CS");
    EXPECT_EQ(queued(), 0u);
    EXPECT_THAT(trace.lines(), ElementsAre("13 OK"));
}

// --- waiting for a confirmation

class WaitForConfirmationTest : public AnswersTest {
protected:
    WaitForConfirmationTest() { session.answerTerminator = "OK"; }
    Code result = Code::Success;
    std::int64_t wait(std::uint32_t milliseconds) {
        return timeOf([&] { result = answers.waitForConfirmation(milliseconds); });
    }
};

TEST_F(WaitForConfirmationTest, EndsWithTheAnswer) {
    comm.feedAfter(30ms, kLine + "OK\r\n");
    EXPECT_EQ(wait(1000), 30);
    EXPECT_EQ(result, 0u);
    EXPECT_EQ(answers.fetchBytes().data, kBytes);  // only looked at
}

TEST_F(WaitForConfirmationTest, AcceptsAnAnswerThatIsNoConfirmation) {
    comm.feedAfter(30ms, "RING\r\nOK\r\n");
    EXPECT_EQ(wait(1000), 30);
    EXPECT_EQ(result, 0u);
    expectNothing(answers.fetchBytes(), 1);
}

TEST_F(WaitForConfirmationTest, AcceptsAnInvalidConfirmationAndOneOfAnotherPrimitive) {
    comm.feedAfter(30ms, "*MOVA=05000500020104\r\nOK\r\n");
    EXPECT_EQ(wait(1000), 30);
    EXPECT_EQ(result, 0u);
    comm.feedAfter(30ms, "*MOVA=0300070004\r\nOK\r\n");
    EXPECT_EQ(wait(1000), 30);
    EXPECT_EQ(result, 0u);
}

TEST_F(WaitForConfirmationTest, WithoutATerminatorItEndsAtOnce) {
    session.answerTerminator.clear();
    EXPECT_EQ(wait(1000), 0);
    EXPECT_EQ(result, 0u);
}

TEST_F(WaitForConfirmationTest, WaitsInTenthsUntilTheTimeIsPassed) {
    // Each tenth of 100 ms outlasts its time by one; the tenth of them ends at 1010, behind the whole.
    EXPECT_EQ(wait(1000), 1010);
    EXPECT_EQ(result, 0x4004u);
}

TEST_F(WaitForConfirmationTest, WholeTimeIsComparedAfterEachTenthOnly) {
    // Tenths of 2 ms (25 / 10, truncated) take 3; the ninth ends at 27, behind 25.
    EXPECT_EQ(wait(25), 27);
    EXPECT_EQ(result, 0x4004u);
}

TEST_F(WaitForConfirmationTest, TimeBelowTenIsPassesOfNoTime) {
    EXPECT_EQ(wait(9), 10);
    EXPECT_EQ(result, 0x4004u);
    EXPECT_EQ(wait(0), 1);
    EXPECT_EQ(result, 0x4004u);
}

TEST_F(WaitForConfirmationTest, AnswerInALaterTenthIsTaken) {
    comm.feedAfter(950ms, kLine + "OK\r\n");
    EXPECT_EQ(wait(1000), 950);
    EXPECT_EQ(result, 0u);
}

TEST_F(WaitForConfirmationTest, EachTenthThatFailsEmptiesTheQueueAndKeepsThePendingText) {
    file(LineClass::Hci, "A");
    comm.feedAfter(50ms, kLine);
    comm.feedAfter(150ms, "OK\r\n");
    EXPECT_EQ(wait(1000), 150);
    EXPECT_EQ(result, 0u);
    EXPECT_THAT(trace.lines(), ElementsAre("13 A", "2 05000201"));
    EXPECT_EQ(queued(), 1u);
}

TEST_F(WaitForConfirmationTest, StopEndsIt) {
    platform.after(150ms, [&] { port.stopEvent().set(); });
    EXPECT_EQ(wait(1000), 150);
    EXPECT_EQ(result, 0x4004u);
}

TEST_F(WaitForConfirmationTest, StopBeforeASinglePassEndsItWith0x10) {
    session.answerTerminator.clear();
    file(LineClass::Hci, "A");
    port.stopEvent().set();
    EXPECT_EQ(wait(1000), 0);
    EXPECT_EQ(result, 0x10u);
    EXPECT_EQ(queued(), 0u);
}

TEST_F(WaitForConfirmationTest, WholeTimeIsComparedAsASignedNumber) {
    // Deliberate: an end behind the middle of the tick count is negative, and so already passed.
    platform.clock().setTickCount(0x7FFFFF00);
    EXPECT_EQ(wait(1000), 101);  // the first tenth ends before the middle, the whole would behind it
    EXPECT_EQ(result, 0x4004u);
}

// --- through the object

TEST(FetchMethods, ErrorIsAlwaysZeroAlsoForAnInvalidConfirmation) {
    ScriptedPlatform platform;
    platform.withDebugViewer();
    ScriptedPort& comm = platform.withPort(7);
    CVeCmdManager manager(platform);
    manager.put_CommPortId(7);
    ASSERT_EQ(manager.InitCmdManager(1), 0u);
    for (const char* line : {"*MOVA=05000500020104\r\n", "*MOVA=05000500020103\r\n", "*MOVA=05000500020104\r\n",
                             "*MOVA=05000500020103\r\n"}) {
        comm.feed(line);
        EXPECT_EQ(manager.GetNormalAtResult(2).text, "");  // a receive pass that leaves confirmations queued
    }
    const auto expectItem = [](const QueuedItem& item, std::uint32_t remained, std::uint32_t length,
                               const std::string& data) {
        EXPECT_EQ(item.remained, remained);
        EXPECT_EQ(item.length, length);
        EXPECT_EQ(item.error, 0u);
        EXPECT_EQ(item.data, data);
    };
    expectItem(manager.FetchQueuedCnfItem(), 3, 0, "");
    expectItem(manager.FetchQueuedCnfItem(), 2, 4, kBytes);
    expectItem(manager.FetchQueuedCnfTextItem(), 1, 0, "");
    expectItem(manager.FetchQueuedCnfTextItem(), 0, 8, "05000201");
    expectItem(manager.FetchQueuedCnfItem(), 0, 0, "");
    expectItem(manager.FetchQueuedCnfTextItem(), 0, 0, "");
}

TEST(FetchMethods, ClearQueueOfAnObjectThatNeverOpenedAPort) {
    ScriptedPlatform platform;
    platform.withDebugViewer();
    CVeCmdManager manager(platform);
    manager.ClearQueue();
    EXPECT_EQ(manager.FetchQueuedCnfItem().remained, 0u);
    EXPECT_THAT(platform.journal().serial(), IsEmpty());
}

}  // namespace
}  // namespace mova
