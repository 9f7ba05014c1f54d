#include <string>
#include <vector>

#include "atchannel/AtCommands.h"
#include "mova/CVeCmdManager.h"
#include "unit/transport/TransportFixture.h"

namespace mova {
namespace {

using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using Take = ConfirmationQueue::Take;
using Traced = AtCommands::Traced;

class AtCommandsTest : public TransportTest {
protected:
    explicit AtCommandsTest(const std::string& friendlyName = "Communications Port (COM7)")
        : TransportTest(friendlyName) {}

    std::size_t queued() { return queue().fetch(std::nullopt, Take::Peek).remaining; }
    // Something of an earlier exchange everywhere: in the queue, pending and in the port.
    void leaveRests() {
        comm.feed("OLD\r\nOK\r\n+CS");
        EXPECT_EQ(engine().run(0, "OK"), 0u);
        comm.feed("Q: 9\r\nrest");
        forgetBeginning();
    }
    AtCommands at{port, answers, session, log, debug, trace};
};

// A card that takes a request in one write; the others take it byte by byte.
class UsbAtCommandsTest : public AtCommandsTest {
protected:
    UsbAtCommandsTest() : AtCommandsTest("USB Serial Port (COM7)") {}
};

// --- sending

TEST_F(AtCommandsTest, AtIsSentAsThreeBytes) {
    EXPECT_EQ(at.send("AT", Traced::Yes), 0u);
    EXPECT_EQ(comm.written(), "\x41\x54\x0D");
    EXPECT_THAT(comm.writeTexts(), ElementsAre("A", "T", "\r"));
}

TEST_F(UsbAtCommandsTest, AtIsThreeBytesInOneWrite) {
    EXPECT_EQ(at.send("AT", Traced::Yes), 0u);
    EXPECT_THAT(comm.writeTexts(), ElementsAre("\x41\x54\x0D"));
}

TEST_F(AtCommandsTest, CommandOf4094CharactersIsSent) {
    const std::string command(4094, 'x');
    EXPECT_EQ(at.send(command, Traced::Yes), 0u);
    EXPECT_EQ(comm.written(), command + "\r");
    EXPECT_EQ(comm.written().size(), 4095u);
    EXPECT_EQ(trace.of(TraceKind::AtSent), std::vector<std::string>{command});
}

TEST_F(UsbAtCommandsTest, CommandOf4094CharactersIsSentInOneWrite) {
    const std::string command(4094, 'x');
    EXPECT_EQ(at.send(command, Traced::Yes), 0u);
    EXPECT_THAT(comm.writeTexts(), ElementsAre(command + "\r"));
}

TEST_F(AtCommandsTest, CommandOf4095CharactersIsRefused) {
    EXPECT_EQ(at.send(std::string(4095, 'x'), Traced::Yes), 8199u);
    EXPECT_EQ(comm.written(), "");
    EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST_F(AtCommandsTest, EmptyCommandIsRefused) {
    EXPECT_EQ(at.send("", Traced::Yes), 8199u);
    EXPECT_EQ(comm.written(), "");
    EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST_F(AtCommandsTest, CommandTravelsAsItStands) {
    const std::string command("a\0\r\n\xFF%s", 7);
    EXPECT_EQ(at.send(command, Traced::Yes), 0u);
    EXPECT_EQ(comm.written(), command + "\r");
    EXPECT_EQ(trace.of(TraceKind::AtSent), std::vector<std::string>{command});
}

TEST_F(AtCommandsTest, CommandIsTracedOnlyWhenAsked) {
    EXPECT_EQ(at.send("AT+CSQ", Traced::No), 0u);
    EXPECT_THAT(trace.lines(), IsEmpty());
    EXPECT_EQ(at.send("AT+CSQ", Traced::Yes), 0u);
    EXPECT_THAT(trace.lines(), ElementsAre("9 AT+CSQ"));
}

TEST_F(AtCommandsTest, CommandIsTracedBeforeItIsWritten) {
    std::vector<std::string> tracedAtFirstByte;
    comm.onWrite([&](std::string_view) {
        if (tracedAtFirstByte.empty()) tracedAtFirstByte = trace.lines();
    });
    at.send("AT", Traced::Yes);
    EXPECT_THAT(tracedAtFirstByte, ElementsAre("9 AT"));
}

// --- what is emptied before

TEST_F(AtCommandsTest, SynchronousModeEmptiesPortPendingTextAndQueueFirst) {
    leaveRests();
    EXPECT_EQ(at.send("AT", Traced::Yes), 0u);
    EXPECT_EQ(pending(), "");
    EXPECT_EQ(comm.waiting(), 0u);
    EXPECT_EQ(queued(), 0u);
    // What waits becomes a record, and goes with the queue.
    EXPECT_THAT(trace.lines(), ElementsAre("10 +CSQ: 9~", "13 OLD\r\nOK", "13 +CSQ: 9\r\n", "9 AT"));
    EXPECT_THAT(platform.journal().only({Op::BeginRead, Op::Purge, Op::BeginWrite}),
                ElementsAre("beginRead 10", "purge 0xC", "beginWrite 41", "beginWrite 54", "beginWrite 0D"));
}

TEST_F(AtCommandsTest, SynchronousModeEmptiesThemBeforeARefusalToo) {
    for (const std::string& command : {std::string(), std::string(4095, 'x')}) {
        leaveRests();
        EXPECT_EQ(at.send(command, Traced::Yes), 8199u);
        EXPECT_EQ(pending(), "");
        EXPECT_EQ(comm.waiting(), 0u);
        EXPECT_EQ(queued(), 0u);
    }
}

TEST_F(AtCommandsTest, OtherModesLeaveEverythingAsItIs) {
    leaveRests();
    session.synchronous = false;
    EXPECT_EQ(at.send("AT", Traced::Yes), 0u);
    EXPECT_EQ(pending(), "+CS");
    EXPECT_EQ(comm.waiting(), 10u);
    EXPECT_EQ(queued(), 1u);
    EXPECT_THAT(trace.lines(), ElementsAre("9 AT"));
    EXPECT_THAT(platform.journal().only({Op::Purge, Op::BeginRead}), IsEmpty());
}

TEST_F(AtCommandsTest, WithoutAHandleTheQueueAloneIsEmptiedAndThePortIsOpened) {
    leaveRests();
    port.close();
    forgetBeginning();
    EXPECT_EQ(at.send("AT", Traced::Yes), 0u);
    EXPECT_THAT(platform.journal().only({Op::Purge, Op::BeginRead}), IsEmpty());
    EXPECT_THAT(trace.lines(),
                ElementsAre("13 +CS", "13 OLD\r\nOK", "9 AT", "18 Open Device:0,115200", "18 Open Device Success"));
    EXPECT_EQ(queued(), 0u);
    EXPECT_EQ(pending(), "");
    EXPECT_EQ(comm.written(), "AT\r");
    EXPECT_EQ(comm.opens(), 2u);
}

TEST_F(AtCommandsTest, WithTheStopEventSignalledNothingIsTakenIn) {
    leaveRests();
    port.stopEvent().set();
    EXPECT_EQ(at.send("AT", Traced::Yes), 0x10u);
    EXPECT_EQ(comm.written(), "A");  // it is looked at after each byte
    EXPECT_THAT(answers.records, SizeIs(1));
    EXPECT_EQ(pending(), "");
    EXPECT_EQ(queued(), 0u);
}

// --- codes of the write

TEST_F(AtCommandsTest, TimeLimitIsTimeOut5) {
    comm.writesTake(100ms);
    EXPECT_EQ(timeOf([&] { EXPECT_EQ(at.send(std::string(100, 'x'), Traced::Yes), 0x4005u); }), 1600);
    EXPECT_EQ(comm.written().size(), 16u);
    comm.clearWritten();
    session.setTimeout(5, 300);
    EXPECT_EQ(timeOf([&] { EXPECT_EQ(at.send(std::string(100, 'x'), Traced::Yes), 0x4005u); }), 400);
    EXPECT_EQ(comm.written().size(), 4u);
}

TEST_F(AtCommandsTest, CommandThatEndsWithinItsTimeLimitSucceeds) {
    comm.writesTake(100ms);
    EXPECT_EQ(timeOf([&] { EXPECT_EQ(at.send(std::string(15, 'x'), Traced::Yes), 0u); }), 1600);  // 16 bytes
}

struct WriteFailure {
    const char* what;
    Op op;
    FailureKind kind;
    std::uint32_t code;
};

const std::vector<WriteFailure> kWriteFailures{
    {"refused", Op::BeginWrite, FailureKind::Error, 0x4341},
    {"wait timed out", Op::BeginWrite, FailureKind::TimedOut, 0x4005},
    {"wait failed", Op::BeginWrite, FailureKind::WaitFailed, 0x3006},
    {"stopped", Op::BeginWrite, FailureKind::Stopped, 0x10},
    {"result refused", Op::Finish, FailureKind::Error, 0x4341},
};

TEST_F(AtCommandsTest, FailingWriteEndsTheCommandWithItsCode) {
    for (const WriteFailure& c : kWriteFailures) {
        comm.clearWritten();
        platform.failures().fail(c.op).as(c.kind).onCall(2);
        EXPECT_EQ(at.send("AT+CSQ", Traced::Yes), c.code) << c.what;
        EXPECT_LE(comm.written().size(), 2u) << c.what;
        platform.failures().clear();
        port.close();
        EXPECT_EQ(port.open(), 0u);
    }
}

TEST_F(UsbAtCommandsTest, FailingWriteEndsTheCommandWithItsCode) {
    std::vector<WriteFailure> failures = kWriteFailures;
    failures.push_back({"short", Op::BeginWrite, FailureKind::ShortCount, 0x4010});
    for (const WriteFailure& c : failures) {
        platform.failures().fail(c.op).as(c.kind);
        EXPECT_EQ(at.send("AT+CSQ", Traced::Yes), c.code) << c.what;
        platform.failures().clear();
        port.close();
        EXPECT_EQ(port.open(), 0u);
    }
}

TEST_F(AtCommandsTest, PortThatDoesNotOpenGivesTheOpeningsCode) {
    port.close();
    platform.failures().fail(Op::Open).always();
    EXPECT_EQ(at.send("AT", Traced::Yes), 0x4000u);
    EXPECT_EQ(comm.written(), "");
}

TEST_F(AtCommandsTest, OtherDeviceTypesWriteNothing) {
    port.setDeviceType(2, 0, 0);
    EXPECT_EQ(at.send("AT", Traced::Yes), 0u);
    EXPECT_EQ(comm.written(), "");
    EXPECT_THAT(trace.lines(), ElementsAre("9 AT"));
    EXPECT_EQ(at.send("", Traced::Yes), 8199u);
    port.setDeviceType(0, 0, 0);
}

TEST(AtCommandsOfANewObject, IsNotInitialised) {
    ScriptedPlatform platform;
    platform.withDebugViewer();
    CVeCmdManager manager(platform);
    EXPECT_EQ(manager.SendNormalAtCmd(0, "AT"), 0x4317u);
    EXPECT_EQ(manager.SendNormalAtCmd(0, ""), 8199u);
    EXPECT_THAT(platform.journal().serial(), IsEmpty());
}

// --- SendNormalAtCmd

TEST_F(AtCommandsTest, SendNormalAtCmdSendsTracedAndLogsTheCommand) {
    log.setPath("/log/a.log");
    EXPECT_EQ(at.sendPassThrough("AT+CSQ  "), 0u);
    EXPECT_EQ(comm.written(), "AT+CSQ  \r");
    EXPECT_THAT(trace.lines(), ElementsAre("9 AT+CSQ  "));
    // 50 ms after the clock's beginning: the first post ever has paused for them.
    EXPECT_EQ(platform.files().content("/log/a.log"), "[2024/03/05-09:07:02::095][00001]\t[AT] Send: AT+CSQ\r\n");
    EXPECT_THAT(platform.datagrams().texts(), Each(Not(HasSubstr("Fail"))));
}

// What is refused is not sent: no line says that it was.
TEST_F(AtCommandsTest, SendNormalAtCmdLogsAndPostsItsFailure) {
    log.setPath("/log/a.log");
    EXPECT_EQ(at.sendPassThrough(""), 8199u);
    EXPECT_EQ(platform.files().content("/log/a.log"),
              "[2024/03/05-09:07:02::095][00001]\t[ERROR CODE]: SendNormalAtCmd Fail, ErrorCode= 8199\r\n");
    EXPECT_THAT(platform.datagrams().texts(),
                Contains("MovaCmdSvr:(COM7) SendNormalAtCmd Fail, ErrorCode= 8199").Times(1));
}

TEST_F(AtCommandsTest, SendNormalAtCmdLogsTheLongestCommandAndNoLongerOne) {
    log.setPath("/log/a.log");
    EXPECT_EQ(at.sendPassThrough(std::string(4095, 'x')), 8199u);
    EXPECT_EQ(platform.files().content("/log/a.log"),
              "[2024/03/05-09:07:02::095][00001]\t[ERROR CODE]: SendNormalAtCmd Fail, ErrorCode= 8199\r\n");
    EXPECT_EQ(at.sendPassThrough(std::string(4094, 'x')), 0u);
    EXPECT_THAT(platform.files().content("/log/a.log"),
                ::testing::EndsWith("\t[AT] Send: " + std::string(4094, 'x') + "\r\n"));
}

TEST_F(AtCommandsTest, SendNormalAtCmdTellsTheWritesCode) {
    platform.failures().fail(Op::BeginWrite);
    EXPECT_EQ(at.sendPassThrough("AT"), 0x4341u);
    EXPECT_THAT(platform.datagrams().texts(),
                Contains("MovaCmdSvr:(COM7) SendNormalAtCmd Fail, ErrorCode= 17217").Times(1));
}

TEST_F(AtCommandsTest, WithoutALogFilePathNoFileAppears) {
    EXPECT_EQ(at.sendPassThrough("AT"), 0u);
    EXPECT_EQ(at.sendPassThrough(""), 8199u);
    comm.feed("AT\r\r\nOK\r\n");
    EXPECT_EQ(at.collect(2).text, "AT\r~OK~");
    EXPECT_EQ(platform.files().count(), 0u);
}

// --- GetNormalAtResult

TEST_F(AtCommandsTest, AnswerIsCollectedOnOneLine) {
    EXPECT_EQ(at.sendPassThrough("AT+CSQ"), 0u);
    comm.feed("AT+CSQ\r\r\n+CSQ: 9,99\r\n\r\n\r\nOK\r\n");
    const AtCommands::Collected collected = at.collect(2);
    EXPECT_EQ(collected.code, 0u);
    EXPECT_EQ(collected.text, "AT+CSQ\r~+CSQ: 9,99~OK~");
    EXPECT_EQ(queued(), 0u);
}

TEST_F(AtCommandsTest, AnswerIsLogged) {
    log.setPath("/log/a.log");
    comm.feed("+CSQ: 9,99\r\nOK\r\n");
    at.collect(2);
    EXPECT_EQ(platform.files().content("/log/a.log"),
              "[2024/03/05-09:07:02::095][00001]\t[AT] Recv: +CSQ: 9,99~OK~\r\n");
}

// Readers of the log tell the line by that from one that the component began.
TEST_F(AtCommandsTest, LineThatAnAnswerForgesInTheLogStandsBehindABareLineFeed) {
    log.setPath("/log/a.log");
    comm.feed("+CSQ: 9,99\n[2024/03/05-09:07:02::096][00001]\t[AT] Send: AT+FORGED\r\r\n\nx\r\nOK\r\n");
    at.collect(2);
    EXPECT_EQ(platform.files().content("/log/a.log"),
              "[2024/03/05-09:07:02::095][00001]\t[AT] Recv: +CSQ: 9,99\n"
              "[2024/03/05-09:07:02::096][00001]\t[AT] Send: AT+FORGED\r~\nx~OK~\r\n");
}

TEST_F(AtCommandsTest, CollectingDoesNotWait) {
    comm.feedAfter(1ms, "OK\r\n");
    EXPECT_EQ(timeOf([&] { EXPECT_EQ(at.collect(2).text, ""); }), 0);
    platform.advance(1);
    EXPECT_EQ(at.collect(2).text, "OK~");
}

TEST_F(AtCommandsTest, OutsideTheSynchronousModeNothingIsCollected) {
    log.setPath("/log/a.log");
    leaveRests();
    session.synchronous = false;
    for (const std::int32_t option : {0, 1, 2}) {
        const AtCommands::Collected collected = at.collect(option);
        EXPECT_EQ(collected.code, 16404u);
        EXPECT_EQ(collected.text, "");
    }
    EXPECT_EQ(queued(), 1u);
    EXPECT_EQ(pending(), "+CS");
    EXPECT_EQ(comm.waiting(), 10u);
    EXPECT_EQ(platform.files().count(), 0u);
}

TEST(AtCommandsOfAnObject, GetNormalAtResultAfterSwitchOperateModeWithOption2Gives16404AndAnEmptyText) {
    ScriptedPlatform platform;
    platform.withDebugViewer();
    ScriptedPort& comm = platform.withPort(7);
    CVeCmdManager manager(platform);
    manager.put_CommPortId(7);
    ASSERT_EQ(manager.InitCmdManager(1), 0u);
    comm.feed("OK\r\n");
    AtResult result = manager.GetNormalAtResult(2);
    EXPECT_EQ(result.code, 0u);
    EXPECT_EQ(result.text, "OK~");
    EXPECT_EQ(result.length, 3);
    EXPECT_EQ(manager.SwitchOperateMode(2, 0), 0u);
    result = manager.GetNormalAtResult(2);
    EXPECT_EQ(result.code, 16404u);
    EXPECT_EQ(result.text, "");
    EXPECT_EQ(result.length, 0);
}

TEST(AtCommandsOfAnObject, OptionOfSendNormalAtCmdIsIgnored) {
    ScriptedPlatform platform;
    platform.withDebugViewer();
    ScriptedPort& comm = platform.withPort(7);
    CVeCmdManager manager(platform);
    manager.put_CommPortId(7);
    ASSERT_EQ(manager.InitCmdManager(1), 0u);
    for (const std::int32_t option : {0, 1, -1, 99}) {
        comm.clearWritten();
        EXPECT_EQ(manager.SendNormalAtCmd(option, "AT"), 0u);
        EXPECT_EQ(comm.written(), "AT\r");
    }
}

TEST_F(AtCommandsTest, Option2KeepsWhatIsQueuedAndPending) {
    leaveRests();
    EXPECT_EQ(at.collect(2).text, "OLD~OK");  // the one directly behind it is not joined
    EXPECT_EQ(at.collect(2).text, "+CSQ: 9~");
    EXPECT_EQ(pending(), "rest");
    EXPECT_THAT(trace.of(TraceKind::Purged), IsEmpty());
}

TEST_F(AtCommandsTest, OtherOptionsEmptyQueueAndPendingTextFirst) {
    for (const std::int32_t option : {0, 1, 3, -1}) {
        leaveRests();
        at.collect(option);
        EXPECT_THAT(trace.of(TraceKind::Purged), ElementsAre("+CS", "OLD\r\nOK")) << option;
        EXPECT_EQ(queued(), 0u) << option;
        EXPECT_EQ(pending(), option == 1 ? "" : "rest") << option;
        answers.pending().clear();
    }
}

TEST_F(AtCommandsTest, Option1TakesTheUnfinishedLineToo) {
    comm.feed("+CSQ: 9,99\r\n\r\n>");
    EXPECT_EQ(at.collect(1).text, "+CSQ: 9,99~>");
    EXPECT_EQ(pending(), "");
    comm.feed(">");
    EXPECT_EQ(at.collect(1).text, ">");  // no line at all
    EXPECT_EQ(pending(), "");
}

TEST_F(AtCommandsTest, Option1WithNothingReceivedIsEmpty) {
    const AtCommands::Collected collected = at.collect(1);
    EXPECT_EQ(collected.code, 0u);
    EXPECT_EQ(collected.text, "");
}

TEST_F(AtCommandsTest, OtherOptionsGiveTheSecondTextAloneWhichAPassWithoutATerminatorLeavesEmpty) {
    for (const std::int32_t option : {0, 3, -1}) {
        comm.feed("+CSQ: 9,99\r\nOK\r\n");
        const AtCommands::Collected collected = at.collect(option);
        EXPECT_EQ(collected.code, 0u) << option;
        EXPECT_EQ(collected.text, "") << option;
        EXPECT_EQ(queued(), 0u) << option;
    }
}

TEST_F(AtCommandsTest, ConfirmationIsNoAtAnswer) {
    log.setPath("/log/a.log");
    comm.feed("*MOVA=05000500020103\r\n+CS");
    const AtCommands::Collected collected = at.collect(1);
    EXPECT_EQ(collected.code, 0u);
    EXPECT_EQ(collected.text, "");
    EXPECT_EQ(queued(), 1u);
    EXPECT_EQ(pending(), "+CS");  // emptied only with an answer
    EXPECT_EQ(platform.files().count(), 0u);
    comm.feed("Q: 9,99\r\nOK\r\n");
    EXPECT_EQ(at.collect(2).text, "+CSQ: 9,99~OK~");
    EXPECT_EQ(queued(), 1u);
}

TEST_F(AtCommandsTest, RecordThatIsNotCompleteIsTakenOffAndGivesNothing) {
    answers.instead = makeRecord(LineClass::AtText, "A\r\n", "OK");
    answers.instead->valid = 0;
    comm.feed("x\r\n+CS");
    const AtCommands::Collected collected = at.collect(1);
    EXPECT_EQ(collected.code, 0u);
    EXPECT_EQ(collected.text, "");
    EXPECT_EQ(queued(), 0u);
    EXPECT_EQ(pending(), "+CS");
}

TEST_F(AtCommandsTest, StopEventLeavesNothingToCollect) {
    comm.feed("OK\r\n");
    port.stopEvent().set();
    const AtCommands::Collected collected = at.collect(2);
    EXPECT_EQ(collected.code, 0u);
    EXPECT_EQ(collected.text, "");
    EXPECT_EQ(comm.waiting(), 4u);
}

TEST_F(AtCommandsTest, ClosedPortGivesNothing) {
    port.close();
    port.stopEvent().reset();
    const AtCommands::Collected collected = at.collect(2);
    EXPECT_EQ(collected.code, 0u);
    EXPECT_EQ(collected.text, "");
    EXPECT_EQ(comm.opens(), 1u);
}

struct JoinCase {
    std::int32_t option;
    const char* first;
    const char* second;
    const char* pending;
    const char* answer;
    const char* stillPending;
};

// A record with a second text stands in for what the pass made.
TEST_F(AtCommandsTest, AnswerIsJoinedByItsOption) {
    const std::vector<JoinCase> cases{
        {2, "A\r\n", "OK", "+CS", "A~OK", "+CS"},
        {2, "A", "OK", "", "A~OK", ""},
        {2, "A\r\nB\r\n", "", "+CS", "A~B~", "+CS"},
        {2, "", "OK", "+CS", "OK", "+CS"},
        {2, "", "", "+CS", "", "+CS"},
        {1, "A\r\n", "OK", "+CS", "A~OK~+CS", ""},
        {1, "A", "OK", "+CS", "A~OK~+CS", ""},
        {1, "A", "OK", "", "A~OK", ""},
        {1, "A\r\n", "", "+CS", "A~+CS", ""},
        {1, "A", "", "+CS", "A+CS", ""},
        {1, "", "OK", "+CS", "OK+CS", ""},  // no separator beside an empty first text
        {1, "", "", "+CS", "+CS", ""},
        {1, "", "", "", "", ""},
        {0, "A\r\n", "OK", "+CS", "OK", "+CS"},
        {0, "A\r\n", "", "+CS", "", "+CS"},
        {3, "A\r\n", "ERROR", "+CS", "ERROR", "+CS"},
        {-1, "", "OK", "", "OK", ""},
        {2, "\r\n\r\nA\r\n\r\n\r\n", "OK", "", "~A~OK", ""},
        {2, "~~A~~~\r\n~", "O~~K", "", "~A~O~K", ""},  // its own tildes are folded with the line ends
        {2, "A\rB\nC\n\r", "OK", "", "A\rB\nC\n\r~OK", ""},
        {0, "", "100%s", "", "100%s", ""},
    };
    for (const JoinCase& c : cases) {
        const std::string what = std::to_string(c.option) + ": " + c.first + "|" + c.second + "|" + c.pending;
        answers.instead = makeRecord(LineClass::AtText, c.first, c.second);
        comm.feed(std::string("x\r\n") + c.pending);
        const AtCommands::Collected collected = at.collect(c.option);
        EXPECT_EQ(collected.code, 0u) << what;
        EXPECT_EQ(collected.text, c.answer) << what;
        EXPECT_EQ(pending(), c.stillPending) << what;
        EXPECT_EQ(queued(), 0u) << what;
        answers.pending().clear();
    }
}

// --- asking

TEST_F(AtCommandsTest, AskGivesInformationLinesAndResult) {
    comm.expect("AT%V\r").reply("AT%V\r\r\n", 5ms).reply("1.2\r\n\r\nOK\r\n", 20ms);
    AtCommands::Answer answer;
    EXPECT_EQ(timeOf([&] { answer = at.ask("AT%V", 1000); }), 25);
    EXPECT_EQ(answer.code, 0u);
    EXPECT_EQ(answer.text, "AT%V\r\r\n1.2\r\n\r\n");
    EXPECT_EQ(answer.result, "OK");
    EXPECT_EQ(queued(), 0u);
    EXPECT_THAT(trace.lines(), ElementsAre("9 AT%V", "10 AT%V\r~1.2~OK"));
}

TEST_F(AtCommandsTest, AskTakesAnErrorAsAnAnswer) {
    comm.expect("ATX\r").reply("ERROR\r\n", 5ms);
    const AtCommands::Answer answer = at.ask("ATX", 1000);
    EXPECT_EQ(answer.code, 0u);
    EXPECT_EQ(answer.text, "");
    EXPECT_EQ(answer.result, "ERROR");
}

TEST_F(AtCommandsTest, AskEndsWithItsTime) {
    comm.expect("AT\r").reply("AT\r\r\n", 5ms);
    AtCommands::Answer answer;
    EXPECT_EQ(timeOf([&] { answer = at.ask("AT", 300); }), 301);
    EXPECT_EQ(answer.code, 0x4004u);
    EXPECT_EQ(answer.text, "");
    EXPECT_EQ(answer.result, "");
}

TEST_F(AtCommandsTest, AskEndsWithTheStopEvent) {
    platform.after(100ms, [&] { port.stopEvent().set(); });
    AtCommands::Answer answer;
    EXPECT_EQ(timeOf([&] { answer = at.ask("AT", 300); }), 100);
    EXPECT_EQ(answer.code, 0x4004u);
}

TEST_F(AtCommandsTest, AskEndsWithTheSendsCode) {
    AtCommands::Answer answer;
    EXPECT_EQ(timeOf([&] { answer = at.ask("", 300); }), 0);
    EXPECT_EQ(answer.code, 8199u);
    platform.failures().fail(Op::BeginWrite);
    EXPECT_EQ(at.ask("AT", 300).code, 0x4341u);
    EXPECT_THAT(answers.records, IsEmpty());
}

TEST_F(AtCommandsTest, AskThatIsAnsweredByAConfirmationHasNoText) {
    comm.expect("AT\r").reply("*MOVA=05000500020103\r\nOK\r\n", 5ms);
    const AtCommands::Answer answer = at.ask("AT", 300);
    EXPECT_EQ(answer.code, 0u);
    EXPECT_EQ(answer.text, "");
    EXPECT_EQ(answer.result, "");
    EXPECT_EQ(queued(), 1u);
}

TEST_F(AtCommandsTest, AskIsAnsweredHoweverTheAnswerIsCut) {
    const std::string reply = "AT+CSQ\r\r\n+CSQ: 9,99\r\n\r\nOK\r\n";
    for (std::size_t size = 1; size <= reply.size(); ++size) {
        comm.expect("AT+CSQ\r").replyInChunks(reply, size, 3ms);
        const AtCommands::Answer answer = at.ask("AT+CSQ", 1000);
        EXPECT_EQ(answer.code, 0u) << size;
        EXPECT_EQ(answer.text, "AT+CSQ\r\r\n+CSQ: 9,99\r\n\r\n") << size;
        EXPECT_EQ(answer.result, "OK") << size;
    }
}

}  // namespace
}  // namespace mova
