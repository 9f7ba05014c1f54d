#include <optional>
#include <utility>

#include "support/PeerDevice.h"
#include "transport/ReceiveEngine.h"
#include "unit/transport/TransportFixture.h"

namespace mova {
namespace {

using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class ReceiveEngineTest : public TransportTest {
protected:
    Code run(std::uint32_t milliseconds, std::string_view terminators) {
        return engine().run(milliseconds, terminators);
    }
    const MovaRetCmdTag& last() const { return answers.records.back(); }

    // The device notices a dead port at a read and closes itself; the manager's own handle stays.
    void letDeviceCloseItself() {
        comm.feed("x");
        platform.failures().fail(Op::BeginRead);
        EXPECT_EQ(run(0, "OK"), Code::NoAnswer);
        EXPECT_FALSE(port.device().isOpen());
        platform.failures().clear();
        forgetBeginning();
    }
};

// A handset that speaks once, as soon as the port is open.
class Greeter : public PeerDevice {
public:
    Greeter(ScriptedPort& port, std::string greeting) : port_(port), greeting_(std::move(greeting)) {
        port_.attach(*this);
    }
    ~Greeter() override { port_.detach(); }
    void receive(std::string_view, std::uint64_t) override {}
    std::string due(std::uint64_t) override { return port_.isOpen() ? std::exchange(greeting_, {}) : std::string(); }
    std::optional<std::uint64_t> nextDue() override { return std::nullopt; }

private:
    ScriptedPort& port_;
    std::string greeting_;
};

// --- terminators

TEST_F(ReceiveEngineTest, LinesBeforeTheTerminatorAreTheRecord) {
    comm.feed("AT+CSQ\r\r\n+CSQ: 9,99\r\n\r\nOK\r\n");
    EXPECT_EQ(run(0, "OK"), 0u);
    ASSERT_THAT(answers.records, SizeIs(1));
    EXPECT_EQ(last().responseText, "AT+CSQ\r\r\n+CSQ: 9,99\r\n\r\n");
    EXPECT_EQ(last().terminatorText, "OK");
    EXPECT_EQ(last().kind, LineClass::AtText);
    EXPECT_EQ(last().valid, 1u);
    EXPECT_EQ(pending(), "");
}

TEST_F(ReceiveEngineTest, TerminatorInTwoReadsCompletesOnTheSecondPassOnly) {
    comm.feed("O");
    EXPECT_EQ(run(0, "OK"), Code::NoAnswer);
    EXPECT_EQ(pending(), "O");
    EXPECT_THAT(answers.records, IsEmpty());
    comm.feed("K\r\n");
    EXPECT_EQ(run(0, "OK"), 0u);
    EXPECT_THAT(answers.records, SizeIs(1));
    EXPECT_EQ(last().terminatorText, "OK");
    EXPECT_EQ(pending(), "");
}

TEST_F(ReceiveEngineTest, TerminatorInTwoReadsOfOneCallCompletesWhenItIsWhole) {
    comm.feed("O");
    comm.feedAfter(3ms, "K\r");
    comm.feedAfter(7ms, "\n");
    EXPECT_EQ(timeOf([&] { EXPECT_EQ(run(100, "OK"), 0u); }), 7);
    EXPECT_EQ(last().terminatorText, "OK");
}

TEST_F(ReceiveEngineTest, LinesAfterTheTerminatorStayPendingForTheNextCall) {
    comm.feed("+CSQ: 9,99\r\nOK\r\n*MOVA=05000500020103\r\nOK\r\n");
    EXPECT_EQ(run(0, "OK"), 0u);
    ASSERT_THAT(answers.records, SizeIs(1));
    EXPECT_EQ(last().responseText, "+CSQ: 9,99\r\n");
    EXPECT_EQ(pending(), "*MOVA=05000500020103\r\nOK\r\n");
    EXPECT_EQ(run(0, "OK"), 0u);
    ASSERT_THAT(answers.records, SizeIs(2));
    EXPECT_EQ(last().kind, LineClass::Confirmation);
    EXPECT_EQ(last().hexData, "05000201");
    EXPECT_EQ(pending(), "");
}

TEST_F(ReceiveEngineTest, UnfinishedLineAfterTheTerminatorStaysPendingToo) {
    comm.feed("OK\r\nRING\r\n+CS");
    EXPECT_EQ(run(0, "OK"), 0u);
    EXPECT_EQ(pending(), "RING\r\n+CS");
    comm.feed("Q: 9,99\r\nOK\r\n");
    EXPECT_EQ(run(0, "OK"), 0u);
    EXPECT_EQ(last().responseText, "RING\r\n+CSQ: 9,99\r\n");
}

TEST_F(ReceiveEngineTest, TrailingBlanksOfATerminatorAreTrimmedLeadingOnesAreNot) {
    comm.feed("OK  \r\n");
    EXPECT_EQ(run(0, "OK"), 0u);
    EXPECT_EQ(last().terminatorText, "OK");
    comm.feed("  OK\r\n");
    EXPECT_EQ(run(0, "OK"), Code::NoAnswer);
    EXPECT_EQ(pending(), "  OK\r\n");
}

TEST_F(ReceiveEngineTest, WithoutATerminatorNothingIsDeliveredAndEverythingStaysPending) {
    comm.feed("+CSQ: 9,99\r\nRING\r\n+CR");
    EXPECT_EQ(run(20, "OK|ERROR"), Code::NoAnswer);
    EXPECT_THAT(answers.records, IsEmpty());
    EXPECT_THAT(trace.lines(), IsEmpty());
    EXPECT_EQ(pending(), "+CSQ: 9,99\r\nRING\r\n+CR");
    comm.feed("EG: 1\r\nOK\r\n");
    EXPECT_EQ(run(20, "OK|ERROR"), 0u);
    EXPECT_EQ(last().responseText, "+CSQ: 9,99\r\nRING\r\n+CREG: 1\r\n");
}

struct TerminatorCase {
    const char* what;
    std::string terminators;
    std::string text;
    const char* terminator;  // null: none is found
    std::string pending;
};

TEST_F(ReceiveEngineTest, FirstLineThatEqualsAnyListedTerminatorCompletes) {
    const std::vector<TerminatorCase> cases{
        {"second of the list", "OK|ERROR", "A\r\nERROR\r\n", "ERROR", ""},
        {"the text's order counts, not the list's", "OK|ERROR", "A\r\nERROR\r\nOK\r\n", "ERROR", "OK\r\n"},
        {"prompt of the board test", ">j|OK", "A\r\n>j\r\nOK\r\n", ">j", "OK\r\n"},
        {"the other of the pair", ">j|OK", "A\r\nOK\r\n", "OK", ""},
        {"three of them", "OK|ERROR|CONNECT", "A\r\nCONNECT\r\n", "CONNECT", ""},
        {"acknowledgement", "*MOVA=ACK", "A\r\n*MOVA=ACK\r\n", "*MOVA=ACK", ""},
        {"with blanks, tabs and a carriage return behind", "OK", "A\r\nOK \t\v\f\r\r\n", "OK", ""},
        {"the list is not a terminator itself", "OK|ERROR", "A\r\nOK|ERROR\r\n", nullptr, "A\r\nOK|ERROR\r\n"},
        {"not listed", "OK", "A\r\nERROR\r\n", nullptr, "A\r\nERROR\r\n"},
        {"other case", "OK", "A\r\nok\r\n", nullptr, "A\r\nok\r\n"},
        {"the beginning of a line", "OK", "A\r\nOKAY\r\n", nullptr, "A\r\nOKAY\r\n"},
        {"the end of a line", "OK", "A\r\nNOK\r\n", nullptr, "A\r\nNOK\r\n"},
        {"more of the line", "*MOVA=ACK", "A\r\n*MOVA=ACK1\r\n", nullptr, "A\r\n*MOVA=ACK1\r\n"},
        {"error with a number", "OK|ERROR", "A\r\n+CME ERROR: 3\r\n", nullptr, "A\r\n+CME ERROR: 3\r\n"},
        {"leading tab", "OK", "A\r\n\tOK\r\n", nullptr, "A\r\n\tOK\r\n"},
        {"line not ended", "OK", "A\r\nOK", nullptr, "A\r\nOK"},
        {"carriage return alone", "OK", "A\r\nOK\r", nullptr, "A\r\nOK\r"},
        {"line feed alone", "OK", "A\r\nOK\n", nullptr, "A\r\nOK\n"},
        {"the two the wrong way round", "OK", "A\r\nOK\n\r", nullptr, "A\r\nOK\n\r"},
    };
    for (const TerminatorCase& c : cases) {
        answers.pending().clear();
        answers.records.clear();
        comm.feed(c.text);
        EXPECT_EQ(run(0, c.terminators), c.terminator ? Code::Success : Code::NoAnswer) << c.what;
        EXPECT_EQ(pending(), c.pending) << c.what;
        ASSERT_EQ(answers.records.size(), c.terminator ? 1u : 0u) << c.what;
        if (c.terminator) {
            EXPECT_EQ(last().responseText, "A\r\n") << c.what;
            EXPECT_EQ(last().terminatorText, c.terminator) << c.what;
        }
    }
}

TEST_F(ReceiveEngineTest, PendingTextIsSearchedAgainForOtherTerminators) {
    comm.feed("A\r\nERROR\r\nB\r\nOK\r\n");
    EXPECT_EQ(run(0, "CONNECT"), Code::NoAnswer);
    EXPECT_EQ(run(0, "OK"), 0u);
    EXPECT_EQ(last().responseText, "A\r\nERROR\r\nB\r\n");
    comm.feed("A\r\nERROR\r\nB\r\nOK\r\n");
    EXPECT_EQ(run(0, "CONNECT"), Code::NoAnswer);
    EXPECT_EQ(run(0, "OK|ERROR"), 0u);
    EXPECT_EQ(last().responseText, "A\r\n");
    EXPECT_EQ(pending(), "B\r\nOK\r\n");
}

TEST_F(ReceiveEngineTest, OldPendingTextIsLookedAtWithoutNewBytes) {
    comm.feed("OK\r\nA\r\nOK\r\n");
    EXPECT_EQ(run(0, "OK"), 0u);
    EXPECT_EQ(comm.waiting(), 0u);
    EXPECT_EQ(timeOf([&] { EXPECT_EQ(run(100, "OK"), 0u); }), 0);
    EXPECT_EQ(last().responseText, "A\r\n");
}

TEST_F(ReceiveEngineTest, TerminatorAloneIsARecordWithoutText) {
    comm.feed("OK\r\n");
    EXPECT_EQ(run(0, "OK"), 0u);
    EXPECT_EQ(last().responseText, "");
    EXPECT_EQ(last().terminatorText, "OK");
    EXPECT_EQ(last().kind, LineClass::AtText);
}

TEST_F(ReceiveEngineTest, ZeroBytesOfTheLineAreKept) {
    comm.feed(std::string("A\0B\r\nOK\0\r\nOK\r\n", 14));
    EXPECT_EQ(run(0, "OK"), 0u);
    EXPECT_EQ(last().responseText, std::string("A\0B\r\nOK\0\r\n", 10));
    EXPECT_EQ(last().terminatorText, "OK");
}

// --- single passes

TEST_F(ReceiveEngineTest, SinglePassMakesARecordOfTheCompleteLinesAtHand) {
    comm.feed("A\r\nOK\r\n*MO");
    EXPECT_EQ(timeOf([&] { EXPECT_EQ(run(0, ""), 0u); }), 0);
    ASSERT_THAT(answers.records, SizeIs(1));
    EXPECT_EQ(last().responseText, "A\r\nOK\r\n");
    EXPECT_EQ(last().terminatorText, "");
    EXPECT_EQ(last().valid, 1u);
    EXPECT_EQ(pending(), "*MO");
}

TEST_F(ReceiveEngineTest, SinglePassWithNothingAtHandDeliversNothing) {
    EXPECT_EQ(run(0, ""), 0u);
    EXPECT_EQ(timeOf([&] { EXPECT_EQ(run(1000, ""), 0u); }), 0);  // nor does it wait
    EXPECT_THAT(answers.records, IsEmpty());
    EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST_F(ReceiveEngineTest, SinglePassDeliversAnEmptyRecordOnEveryPollWhileAnUnfinishedLineIsPending) {
    comm.feed("+CS");
    for (int poll = 0; poll < 3; ++poll) EXPECT_EQ(run(0, ""), 0u);
    ASSERT_THAT(answers.records, SizeIs(3));
    for (const MovaRetCmdTag& record : answers.records) {
        EXPECT_EQ(record.kind, LineClass::AtText);
        EXPECT_EQ(record.responseText, "");
        EXPECT_EQ(record.terminatorText, "");
        EXPECT_EQ(record.valid, 1u);
    }
    EXPECT_THAT(trace.lines(), ElementsAre("10 ", "10 ", "10 "));
    EXPECT_EQ(pending(), "+CS");
    comm.feed("Q: 9,99\r\n");
    EXPECT_EQ(run(0, ""), 0u);
    EXPECT_EQ(last().responseText, "+CSQ: 9,99\r\n");
    EXPECT_EQ(run(0, ""), 0u);
    EXPECT_THAT(answers.records, SizeIs(4));
}

TEST_F(ReceiveEngineTest, SinglePassWhoseReadGivesNothingStillDeliversARecord) {
    comm.feed("A\r\n");
    platform.failures().fail(Op::Finish);  // the bytes were announced, the read fails, the port stays open
    EXPECT_EQ(run(0, ""), 0u);
    ASSERT_THAT(answers.records, SizeIs(1));
    EXPECT_EQ(last().responseText, "");
}

TEST_F(ReceiveEngineTest, SinglePassTakesTheConfirmationAndTheOkLine) {
    comm.feed("*MOVA=05000500020103\r\nOK\r\n");
    EXPECT_EQ(run(0, ""), 0u);
    EXPECT_EQ(last().kind, LineClass::Confirmation);
    EXPECT_EQ(pending(), "OK\r\n");  // not of the block: handed back
    EXPECT_EQ(run(0, ""), 0u);
    EXPECT_EQ(last().kind, LineClass::AtText);
    EXPECT_EQ(last().responseText, "OK\r\n");
}

// --- time

TEST_F(ReceiveEngineTest, TimeOutZeroIsExactlyOnePass) {
    comm.feed(std::string(2048, 'x') + "\r\nOK\r\n");
    EXPECT_EQ(timeOf([&] { EXPECT_EQ(run(0, "OK"), Code::NoAnswer); }), 0);  // more is there: no pause
    EXPECT_EQ(comm.waiting(), 6u);
    EXPECT_EQ(pending().size(), 2048u);
    EXPECT_EQ(run(0, "OK"), 0u);
}

TEST_F(ReceiveEngineTest, TimeOutZeroIsOnePassHoweverCoarseTheClock) {
    platform.clock().setTickCount(5000);
    platform.after(1ms, [&] {
        platform.clock().setTickCount(5000);  // it has not gone on when the pause is over
        comm.feed("K\r\n");
    });
    comm.feed("O");
    EXPECT_EQ(run(0, "OK"), Code::NoAnswer);
    EXPECT_EQ(pending(), "O");
    EXPECT_EQ(comm.waiting(), 3u);
}

struct TimeCase {
    std::uint32_t start;  // the tick count at the call
    std::uint32_t timeout;
    std::int64_t taken;
};

TEST_F(ReceiveEngineTest, WaitEndsWhenTheDeadlineIsPassed) {
    const std::vector<TimeCase> cases{
        {100000, 0, 1},
        {100000, 1, 2},
        {100000, 10, 11},
        {100000, 4000, 4001},
        {0xFFFFFFF0, 100, 101},  // the count's own wrap is harmless
        {0x7FFFFF00, 100, 101},  // well before the middle
        {0x80000000, 100, 101},  // behind it
        {0x7FFFFFF0, 10, 11},    // deadline 0x7FFFFFFA, left behind before the middle
        // Deliberate: the deadline is compared as a signed number. One behind the middle is negative, and so already
        // passed at the first look.
        {0x7FFFFFF0, 100, 1},
        {0x7FFFFFFE, 4000, 1},
        {0x7FFFFFFF, 4000, 4001},  // the first look is behind the middle already
        {0x7FFFFFF0, 16, 1},       // deadline 0x80000000
        {0x7FFFFFF0, 14, 15},      // deadline 0x7FFFFFFE
    };
    for (const TimeCase& c : cases) {
        platform.clock().setTickCount(c.start);
        EXPECT_EQ(timeOf([&] { EXPECT_EQ(run(c.timeout, "OK"), Code::NoAnswer); }), c.taken)
            << std::hex << c.start << " + " << std::dec << c.timeout;
    }
}

TEST_F(ReceiveEngineTest, WaitThatStepsOverTheMiddleOfTheCountOutlivesItsDeadline) {
    // Deliberate: the last tick count before the middle is the deadline; every count behind it is negative.
    platform.clock().setTickCount(0x7FFFFFF5);
    comm.feedAfter(5000ms, "OK\r\n");
    EXPECT_EQ(timeOf([&] { EXPECT_EQ(run(10, "OK"), 0u); }), 5000);
}

TEST_F(ReceiveEngineTest, AnswerOnTheLastPassIsTaken) {
    comm.feedAfter(100ms, "OK\r\n");
    EXPECT_EQ(timeOf([&] { EXPECT_EQ(run(100, "OK"), 0u); }), 100);
    comm.feedAfter(101ms, "OK\r\n");
    EXPECT_EQ(timeOf([&] { EXPECT_EQ(run(100, "OK"), Code::NoAnswer); }), 101);
}

TEST_F(ReceiveEngineTest, TrickleOfBytesDoesNotPutOffTheDeadline) {
    for (int i = 1; i < 40; ++i) comm.feedAfter(std::chrono::milliseconds(5 * i), "x");
    EXPECT_EQ(timeOf([&] { EXPECT_EQ(run(100, "OK"), Code::NoAnswer); }), 101);
}

TEST_F(ReceiveEngineTest, LooksEveryMillisecondWhileTheLineIsSilent) {
    platform.failures().resetCalls();
    EXPECT_EQ(run(9, "OK"), Code::NoAnswer);
    EXPECT_EQ(platform.failures().calls(Op::AwaitInput), 10u);
    EXPECT_EQ(platform.failures().calls(Op::ClearErrors), 10u);  // the count query
    EXPECT_EQ(platform.failures().calls(Op::BeginRead), 0u);     // nothing waits, nothing is read
    EXPECT_THAT(platform.journal().only({Op::AwaitInput, Op::Sleep}), Each("awaitInput 1"));
}

// --- stop event

TEST_F(ReceiveEngineTest, StopBeforeASinglePassGives0x10) {
    comm.feed("A\r\n");
    port.stopEvent().set();
    EXPECT_EQ(run(0, ""), 0x10u);
    EXPECT_THAT(answers.records, IsEmpty());
    EXPECT_EQ(comm.waiting(), 3u);
}

TEST_F(ReceiveEngineTest, StopBeforeATerminatorGives0x4004) {
    comm.feed("OK\r\n");
    port.stopEvent().set();
    EXPECT_EQ(timeOf([&] { EXPECT_EQ(run(1000, "OK"), 0x4004u); }), 0);
    EXPECT_THAT(answers.records, IsEmpty());
    EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST_F(ReceiveEngineTest, StopDuringAWaitEndsIt) {
    platform.after(50ms, [&] { port.stopEvent().set(); });
    comm.feed("+CSQ: 9,99\r\n");
    EXPECT_EQ(timeOf([&] { EXPECT_EQ(run(1000, "OK"), 0x4004u); }), 50);
    EXPECT_EQ(pending(), "+CSQ: 9,99\r\n");
}

TEST_F(ReceiveEngineTest, StopAfterTheTerminatorWasFoundDoesNotUndoTheRecord) {
    answers.onDeliver = [&] { port.stopEvent().set(); };
    comm.feed("OK\r\n");
    EXPECT_EQ(run(1000, "OK"), 0u);
    EXPECT_THAT(answers.records, SizeIs(1));
    EXPECT_EQ(run(0, ""), 0x10u);
}

TEST_F(ReceiveEngineTest, StopEventStaysSignalled) {
    port.stopEvent().set();
    run(0, "");
    run(0, "OK");
    EXPECT_TRUE(port.stopEvent().isSet());
}

// --- the port

TEST_F(ReceiveEngineTest, ReadsAreOf2048BytesAtMost) {
    comm.feed(std::string(5000, 'x') + "\r\nOK\r\n");
    EXPECT_EQ(run(10, "OK"), 0u);
    EXPECT_THAT(platform.journal().only({Op::BeginRead}),
                ElementsAre("beginRead 2048", "beginRead 2048", "beginRead 910"));
    EXPECT_EQ(last().responseText, std::string(5000, 'x') + "\r\n");
}

TEST_F(ReceiveEngineTest, SinglePassReads2048BytesAndLeavesTheRest) {
    comm.feed(std::string(2046, 'x') + "\r\nrest\r\n");
    EXPECT_EQ(run(0, ""), 0u);
    EXPECT_EQ(last().responseText, std::string(2046, 'x') + "\r\n");
    EXPECT_EQ(comm.waiting(), 6u);
}

TEST_F(ReceiveEngineTest, ReadThatGivesLessThanAnnouncedIsTakenAsItIs) {
    comm.feed("OK\r\n");
    comm.setReadCap(1);
    EXPECT_EQ(timeOf([&] { EXPECT_EQ(run(100, "OK"), 0u); }), 0);  // four passes, and no pause
}

TEST_F(ReceiveEngineTest, ClosedPortIsNotRead) {
    comm.feed("OK\r\n");
    port.close();
    port.stopEvent().reset();
    forgetBeginning();
    EXPECT_EQ(run(5, "OK"), Code::NoAnswer);
    EXPECT_EQ(run(0, ""), 0u);
    EXPECT_THAT(platform.journal().serial(), IsEmpty());
    EXPECT_THAT(trace.lines(), IsEmpty());
    EXPECT_THAT(answers.records, IsEmpty());
}

TEST_F(ReceiveEngineTest, ClosedPortStillHasItsPendingTextLookedAt) {
    comm.feed("OK\r\nA\r\nOK\r\n");
    EXPECT_EQ(run(0, "OK"), 0u);
    port.close();
    port.stopEvent().reset();
    EXPECT_EQ(run(0, "OK"), 0u);
    EXPECT_EQ(last().responseText, "A\r\n");
}

TEST_F(ReceiveEngineTest, OtherDeviceTypesAreNotRead) {
    comm.feed("OK\r\n");
    for (const std::int16_t type : std::vector<std::int16_t>{1, -1, 2, 3}) {
        port.setDeviceType(type, 0, 0);
        EXPECT_EQ(run(0, "OK"), Code::NoAnswer) << type;
    }
    EXPECT_EQ(comm.waiting(), 4u);
    EXPECT_THAT(platform.journal().serial(), IsEmpty());
    port.setDeviceType(0, 0, 0);
    EXPECT_EQ(run(0, "OK"), 0u);
}

TEST_F(ReceiveEngineTest, DeviceType2PausesFor100Milliseconds) {
    port.setDeviceType(2, 0, 0);
    EXPECT_EQ(timeOf([&] { EXPECT_EQ(run(0, "OK"), Code::NoAnswer); }), 100);
    EXPECT_EQ(timeOf([&] { EXPECT_EQ(run(99, "OK"), Code::NoAnswer); }), 100);
    EXPECT_EQ(timeOf([&] { EXPECT_EQ(run(100, "OK"), Code::NoAnswer); }), 200);
    EXPECT_EQ(timeOf([&] { EXPECT_EQ(run(0, ""), 0u); }), 0);
    EXPECT_THAT(platform.journal().only({Op::Sleep}), Each("sleep 100"));
    port.setDeviceType(3, 0, 0);
    EXPECT_EQ(timeOf([&] { EXPECT_EQ(run(9, "OK"), Code::NoAnswer); }), 10);
}

TEST_F(ReceiveEngineTest, PortThatClosedItselfIsReopenedAndReadInTheSamePass) {
    letDeviceCloseItself();
    const Greeter greeter(comm, "OK\r\n");
    EXPECT_EQ(run(0, "OK"), 0u);
    EXPECT_TRUE(port.device().isOpen());
    EXPECT_EQ(comm.opens(), 2u);
    EXPECT_THAT(trace.of(TraceKind::FreeText), ElementsAre("Open Device:0,115200", "Open Device Success"));
}

TEST_F(ReceiveEngineTest, ReopeningIsTriedOncePerPass) {
    letDeviceCloseItself();
    platform.failures().fail(Op::Open).always();
    platform.failures().resetCalls();
    EXPECT_EQ(timeOf([&] { EXPECT_EQ(run(3, "OK"), Code::NoAnswer); }), 4);
    EXPECT_EQ(platform.failures().calls(Op::Open), 4u);
    EXPECT_THAT(trace.of(TraceKind::FreeText), Contains("Open Device Fail").Times(4));
    EXPECT_EQ(platform.failures().calls(Op::BeginRead), 0u);
}

TEST_F(ReceiveEngineTest, ReopeningIsTriedOnceInAPassOverPendingTextToo) {
    comm.feed("+CS");
    EXPECT_EQ(run(0, "OK"), Code::NoAnswer);
    letDeviceCloseItself();
    platform.failures().fail(Op::Open).always();
    platform.failures().resetCalls();
    EXPECT_EQ(run(0, ""), 0u);
    EXPECT_EQ(platform.failures().calls(Op::Open), 1u);
    EXPECT_THAT(answers.records, SizeIs(1));
}

TEST_F(ReceiveEngineTest, FailedReopeningGoesOnToTheDeadlineAndAnAnswerAfterASuccessfulOneIsTaken) {
    letDeviceCloseItself();
    platform.failures().fail(Op::Open).times(5);
    const Greeter greeter(comm, "OK\r\n");
    EXPECT_EQ(timeOf([&] { EXPECT_EQ(run(100, "OK"), 0u); }), 5);
}

TEST_F(ReceiveEngineTest, FailedReopeningDeliversNothingInASinglePass) {
    letDeviceCloseItself();
    platform.failures().fail(Op::Open);
    EXPECT_EQ(run(0, ""), 0u);
    EXPECT_THAT(answers.records, IsEmpty());
}

TEST_F(ReceiveEngineTest, OtherDeviceTypesAreNotReopened) {
    letDeviceCloseItself();
    port.setDeviceType(2, 0, 0);
    EXPECT_EQ(run(0, "OK"), Code::NoAnswer);
    EXPECT_EQ(comm.opens(), 1u);
    EXPECT_THAT(platform.journal().serial(), IsEmpty());
}

TEST_F(ReceiveEngineTest, ErrorsThatWouldNotClearReadNothingInThatPass) {
    comm.feed("OK\r\n");
    platform.failures().fail(Op::ClearErrors);
    EXPECT_EQ(timeOf([&] { EXPECT_EQ(run(100, "OK"), 0u); }), 0);  // in the next one, which comes at once
}

TEST_F(ReceiveEngineTest, ErrorBitsOnElevenPassesReadNothingInThatPass) {
    comm.feed("OK\r\n");
    comm.addErrorBits(8, 11);
    EXPECT_EQ(timeOf([&] { EXPECT_EQ(run(0, "OK"), Code::NoAnswer); }), 110);  // ten milliseconds each; no pause
    EXPECT_EQ(comm.waiting(), 4u);
    EXPECT_EQ(run(0, "OK"), 0u);
}

struct ReadFailure {
    const char* what;
    Op op;
    FailureKind kind;
    bool closes;
};

const std::vector<ReadFailure> kReadFailures{
    {"read refused", Op::BeginRead, FailureKind::Error, true},
    {"wait timed out", Op::BeginRead, FailureKind::TimedOut, false},
    {"wait failed", Op::BeginRead, FailureKind::WaitFailed, false},
    {"stopped", Op::BeginRead, FailureKind::Stopped, false},
    {"result refused", Op::Finish, FailureKind::Error, false},
};

TEST_F(ReceiveEngineTest, FailingReadIsAPassWithoutBytes) {
    for (const ReadFailure& c : kReadFailures) {
        comm.feed("OK\r\n");
        platform.failures().fail(c.op).as(c.kind);
        EXPECT_EQ(run(0, "OK"), Code::NoAnswer) << c.what;
        EXPECT_EQ(pending(), "") << c.what;
        EXPECT_THAT(answers.records, IsEmpty()) << c.what;
        EXPECT_EQ(port.device().isOpen(), !c.closes) << c.what;
        platform.failures().clear();
        port.stopEvent().reset();
        comm.feed("OK\r\n");  // whatever the failure left in the port
        const Greeter greeter(comm, "OK\r\n");
        EXPECT_EQ(run(100, "OK"), 0u) << c.what;
        answers.pending().clear();
        port.device().purge();
        answers.records.clear();
    }
}

TEST_F(ReceiveEngineTest, StopDuringAReadEndsAWait) {
    comm.feed("OK\r\n");
    platform.failures().fail(Op::BeginRead).as(FailureKind::Pending);
    platform.after(30ms, [&] { port.stopEvent().set(); });
    EXPECT_EQ(timeOf([&] { EXPECT_EQ(run(1000, "OK"), 0x4004u); }), 30);
    EXPECT_TRUE(port.device().isOpen());
}

TEST_F(ReceiveEngineTest, StopDuringAReadOfASinglePassStillCompletesIt) {
    comm.feed("OK\r\n");
    platform.failures().fail(Op::BeginRead).as(FailureKind::Pending);
    platform.after(30ms, [&] { port.stopEvent().set(); });
    EXPECT_EQ(timeOf([&] { EXPECT_EQ(run(0, ""), 0u); }), 30);
    EXPECT_THAT(answers.records, SizeIs(1));
}

// --- trace and delivery

TEST_F(ReceiveEngineTest, RecordIsTracedBeforeItIsDelivered) {
    std::vector<std::string> traced;
    answers.onDeliver = [&] { traced = trace.lines(); };
    comm.feed("A\r\nOK\r\n");
    EXPECT_EQ(run(0, "OK"), 0u);
    EXPECT_THAT(traced, ElementsAre("10 A~OK"));
}

TEST_F(ReceiveEngineTest, TraceShowsTheCompleteLinesBehindTheTerminator) {
    comm.feed("A\r\nOK\r\nRING\r\n\r\n+CS");
    EXPECT_EQ(run(0, "OK"), 0u);
    EXPECT_THAT(trace.lines(), ElementsAre("10 A~OK %%Extra :RING~"));  // the unfinished line joins them afterwards
}

TEST_F(ReceiveEngineTest, TraceOfATextWithNothingBehindItHasNoExtra) {
    comm.feed("A\r\nOK\r\n+CS");
    EXPECT_EQ(run(0, "OK"), 0u);
    EXPECT_THAT(trace.lines(), ElementsAre("10 A~OK"));
}

struct TracedCase {
    const char* text;
    std::vector<std::string> lines;
};

TEST_F(ReceiveEngineTest, EveryKindOfRecordHasItsTrace) {
    const std::vector<TracedCase> cases{
        {"+CSQ: 9,99\r\n\r\nOK\r\n", {"10 +CSQ: 9,99~OK"}},
        {"*MOVA=05000500020103\r\nOK\r\n", {"2 05000201"}},
        {"AT*MOVA=010001\r\nOK\r\n", {"10 AT*MOVA=010001~OK"}},
        {"*MOVA=0600800001AABB96\r\nOK\r\n", {"5 AABB"}},
        {"*MOVA=ACK\r\nOK\r\n", {}},
        {"*MOVA=0600A00001CCDDB6\r\nOK\r\n", {"16 CCDD"}},
        {"*MOVA=0600B00001EEFFA6\r\nOK\r\n", {"21 EEFF"}},
        {"AT*MOVA=010001\r\n*MOVA=05000500020103\r\nOK\r\n", {"17 AT*MOVA=010001", "2 05000201"}},
        {"*MOVA=05000500020104\r\nOK\r\n", {"11 ", "12 *MOVA=05000500020104\r\n -- 0x4011"}},
        {"*MOVA=01005\r\nOK\r\n", {"12 *MOVA=01005\r\n -- 0x3001"}},
        {"*MOVA=0600800001AABB97\r\n*MOVA=0600800001AABB98\r\nOK\r\n",
         {"11 ", "11 ", "12 *MOVA=0600800001AABB97\r\n*MOVA=0600800001AABB98\r\n -- 0x4011"}},
    };
    for (const TracedCase& c : cases) {
        trace.clear();
        comm.feed(c.text);
        EXPECT_EQ(run(0, "OK"), 0u);
        EXPECT_EQ(trace.lines(), c.lines) << c.text;
    }
}

TEST_F(ReceiveEngineTest, TimeOutAndStopLeaveNoTrace) {
    comm.feed("+CSQ: 9,99\r\n");
    EXPECT_EQ(run(5, "OK"), Code::NoAnswer);
    port.stopEvent().set();
    EXPECT_EQ(run(5, "OK"), Code::NoAnswer);
    EXPECT_EQ(run(0, ""), Code::Stopped);
    EXPECT_THAT(trace.lines(), IsEmpty());
    EXPECT_THAT(answers.records, IsEmpty());
}

TEST_F(ReceiveEngineTest, RecordInErrorIsDeliveredAsInvalid) {
    comm.feed("*MOVA=05000500020104\r\nOK\r\n");
    EXPECT_EQ(run(0, "OK"), 0u);
    ASSERT_THAT(answers.records, SizeIs(1));
    EXPECT_EQ(last().error, 0x4011u);
    EXPECT_EQ(last().valid, 0u);
    EXPECT_EQ(last().hexData, "05000201");
}

TEST_F(ReceiveEngineTest, OneCallDeliversOneRecord) {
    comm.feed("A\r\nOK\r\nB\r\nOK\r\nC\r\nOK\r\n");
    EXPECT_EQ(run(1000, "OK"), 0u);
    EXPECT_THAT(answers.records, SizeIs(1));
    EXPECT_EQ(run(1000, "OK"), 0u);
    EXPECT_EQ(run(1000, "OK"), 0u);
    EXPECT_EQ(run(0, "OK"), Code::NoAnswer);
    ASSERT_THAT(answers.records, SizeIs(3));
    EXPECT_EQ(last().responseText, "C\r\n");
}

// --- splits

struct Wait {
    const char* terminators;
    LineClass kind;
    const char* response;
    const char* terminator;
    const char* hexData;
    std::uint32_t error;
};

// A session: an E2P request with its echo, two confirmation segments, an AT exchange with echo, an RF confirmation with
// a damaged checksum, a HCI confirmation.
const std::string kTranscript =
    "AT*MOVA=0C0080010106008000341202002E\r\n"
    "*MOVA=ACK\r\n"
    "*MOVA=0600800001AABB96\r\n"
    "*MOVA=06008000021234A2\r\n"
    "OK\r\n"
    "AT+CSQ\r\r\n"
    "+CSQ: 9,99\r\n"
    "\r\n"
    "OK  \r\n"
    "*MOVA=05000500020104\r\n"
    "ERROR\r\n"
    "*MOVA=0600A00001CCDDB6\r\n"
    "OK\r\n";

const std::vector<Wait> kWaits{
    {"*MOVA=ACK", LineClass::Echo, "AT*MOVA=0C0080010106008000341202002E\r\n", "*MOVA=ACK", "", 0},
    {"OK", LineClass::E2p, "*MOVA=0600800001AABB96\r\n*MOVA=06008000021234A2\r\n", "OK", "AABB1234", 0},
    {"OK|ERROR", LineClass::AtText, "AT+CSQ\r\r\n+CSQ: 9,99\r\n\r\n", "OK", "", 0},
    {"OK|ERROR", LineClass::Confirmation, "*MOVA=05000500020104\r\n", "ERROR", "05000201", 0x4011},
    {"OK", LineClass::Hci, "*MOVA=0600A00001CCDDB6\r\n", "OK", "CCDD", 0},
};

class ReceiveSplitsTest : public ReceiveEngineTest {
protected:
    ReceiveSplitsTest() { platform.journal().keep(false); }

    void feedInParts(std::string_view text, const std::vector<std::size_t>& boundaries) {
        std::size_t from = 0;
        auto when = 0ms;
        for (const std::size_t to : boundaries) {
            comm.feedAfter(when, std::string(text.substr(from, to - from)));
            from = to;
            when += 2ms;
        }
        comm.feedAfter(when, std::string(text.substr(from)));
    }

    void expectRecords(const std::vector<Wait>& waits, const std::string& what) {
        ASSERT_EQ(answers.records.size(), waits.size()) << what;
        for (std::size_t i = 0; i < waits.size(); ++i) {
            EXPECT_EQ(answers.records[i].kind, waits[i].kind) << what;
            EXPECT_EQ(answers.records[i].responseText, waits[i].response) << what;
            EXPECT_EQ(answers.records[i].terminatorText, waits[i].terminator) << what;
            EXPECT_EQ(answers.records[i].hexData, waits[i].hexData) << what;
            EXPECT_EQ(answers.records[i].error, waits[i].error) << what;
        }
        EXPECT_EQ(pending(), "") << what;
    }

    // The caller waits for each answer in turn.
    void awaitAll(const std::vector<Wait>& waits, const std::string& what) {
        answers.records.clear();
        for (const Wait& wait : waits) EXPECT_EQ(run(1000, wait.terminators), 0u) << what;
        expectRecords(waits, what);
    }

    // One pass now and then, as the reader thread makes them.
    void pollAll(const std::vector<Wait>& waits, const std::string& what) {
        answers.records.clear();
        for (int poll = 0; poll < 2000 && answers.records.size() < waits.size(); ++poll) {
            run(0, waits[answers.records.size()].terminators);
        }
        expectRecords(waits, what);
    }
};

TEST_F(ReceiveSplitsTest, EveryByteBoundaryGivesTheSameRecords) {
    for (std::size_t at = 0; at <= kTranscript.size(); ++at) {
        feedInParts(kTranscript, {at});
        awaitAll(kWaits, "split at " + std::to_string(at));
        feedInParts(kTranscript, {at});
        pollAll(kWaits, "polled, split at " + std::to_string(at));
    }
}

TEST_F(ReceiveSplitsTest, EveryPieceSizeGivesTheSameRecords) {
    for (std::size_t size = 1; size <= 64; ++size) {
        std::vector<std::size_t> boundaries;
        for (std::size_t at = size; at < kTranscript.size(); at += size) boundaries.push_back(at);
        feedInParts(kTranscript, boundaries);
        awaitAll(kWaits, "pieces of " + std::to_string(size));
        feedInParts(kTranscript, boundaries);
        pollAll(kWaits, "polled, pieces of " + std::to_string(size));
    }
}

TEST_F(ReceiveSplitsTest, EveryPairOfBoundariesOfAnExchangeGivesTheSameRecords) {
    const std::string exchange = "AT*MOVA=010001\r\n*MOVA=ACK\r\n*MOVA=0600800001AABB96\r\nOK \r\n\r\n>j\r\n";
    const std::vector<Wait> waits{
        {"*MOVA=ACK", LineClass::Echo, "AT*MOVA=010001\r\n", "*MOVA=ACK", "", 0},
        {"OK|ERROR", LineClass::E2p, "*MOVA=0600800001AABB96\r\n", "OK", "AABB", 0},
        {">j|OK", LineClass::AtText, "", ">j", "", 0},
    };
    for (std::size_t first = 0; first <= exchange.size(); ++first) {
        for (std::size_t second = first; second <= exchange.size(); ++second) {
            feedInParts(exchange, {first, second});
            awaitAll(waits, "split at " + std::to_string(first) + " and " + std::to_string(second));
        }
    }
}

TEST_F(ReceiveSplitsTest, ReadsCutAtEveryLengthGiveTheSameRecords) {
    for (std::uint32_t cap = 1; cap <= kTranscript.size(); ++cap) {
        comm.setReadCap(cap);
        comm.feed(kTranscript);
        awaitAll(kWaits, "reads of " + std::to_string(cap));
    }
}

}  // namespace
}  // namespace mova
