// The reader thread: when it starts and ends, that there is never a second one, and how it shares the port.
#include <stdexcept>

#include "component/ReaderThread.h"
#include "unit/component/ComponentFixture.h"

namespace mova {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ManagersReaderTest : public ComponentTest {
protected:
    ManagersReaderTest() { manager->put_CommPortId(7); }
    unsigned started() const { return static_cast<unsigned>(listener->started.size()); }
};

// --- starting

TEST_F(ManagersReaderTest, InitCmdManagerStartsItWhenTheModeIsABackgroundMode) {
    manager->SwitchOperateMode(2, 0);
    manager->ResetCmdManager(0);
    platform.settle();
    EXPECT_EQ(readers(), 0u);
    EXPECT_EQ(manager->InitCmdManager(0), 0u);
    EXPECT_EQ(readers(), 1u);
    EXPECT_EQ(manager->InitCmdManager(0), 0u);
    EXPECT_EQ(readers(), 1u);
    EXPECT_EQ(started(), 2u);
}

TEST_F(ManagersReaderTest, ProprietaryOpenComPortStartsItWhenTheModeIsABackgroundMode) {
    manager->SwitchOperateMode(1, 0);
    platform.settle();
    manager->ResetCmdManager(0);
    platform.settle();
    EXPECT_EQ(manager->ProprietaryOpenComPort(0), 0u);
    EXPECT_EQ(readers(), 1u);
    EXPECT_EQ(manager->ProprietaryOpenComPort(0), 0u);
    EXPECT_EQ(readers(), 1u);
    platform.settle();
    EXPECT_EQ(started(), 2u);
}

TEST_F(ManagersReaderTest, FailedOpenStartsNone) {
    platform.failures().fail(Op::StartThread);
    manager->SwitchOperateMode(2, 0);
    platform.failures().fail(Op::Open).twice();
    EXPECT_EQ(manager->InitCmdManager(0), 0x4000u);
    EXPECT_EQ(manager->ProprietaryOpenComPort(0), 0x4000u);
    EXPECT_EQ(readers(), 0u);
}

TEST_F(ManagersReaderTest, ThreadThatCannotBeCreatedGives3005AndLeavesThePortOpen) {
    platform.failures().fail(Op::StartThread).times(3);
    EXPECT_EQ(manager->SwitchOperateMode(2, 0), 0u);  // not reported here
    EXPECT_EQ(manager->InitCmdManager(0), 0x3005u);
    EXPECT_EQ(manager->IsCommDeviceOpen(), 1);
    EXPECT_EQ(manager->ProprietaryOpenComPort(0), 12293u);
    EXPECT_EQ(manager->IsCommDeviceOpen(), 1);
    EXPECT_EQ(readers(), 0u);
    EXPECT_EQ(manager->InitCmdManager(0), 0u);
    EXPECT_EQ(readers(), 1u);
}

TEST_F(ManagersReaderTest, AnotherDeviceTypeHasOneToo) {
    manager->SetCommDeviceType(1, 0, 0);
    manager->SwitchOperateMode(2, 0);
    EXPECT_EQ(manager->InitCmdManager(0), 0u);
    EXPECT_EQ(readers(), 1u);
    platform.advance(50);
    EXPECT_EQ(comm.opens(), 0u);
}

// --- running

TEST_F(ManagersReaderTest, RestsWithOneWakeUpASecond) {
    open();
    manager->SwitchOperateMode(2, 0);
    platform.advance(1);
    platform.failures().resetCalls();
    platform.advance(60'000);
    EXPECT_EQ(platform.failures().calls(Op::ClearErrors), 60u);
    EXPECT_EQ(platform.failures().calls(Op::AwaitInput), 60u);  // one every 995 ms
}

TEST_F(ManagersReaderTest, RestsWhileNoPortIsOpenAsWell) {
    manager->SwitchOperateMode(2, 0);
    platform.advance(1);
    platform.failures().resetCalls();
    platform.advance(60'000);
    EXPECT_EQ(platform.failures().calls(Op::EventWait), 60u);
    EXPECT_EQ(manager->InitCmdManager(0), 0u);
    comm.feedAfter(10ms, confirmation(1));
    platform.advance(15);
    EXPECT_EQ(manager->FetchQueuedCnfItem().length, 2u);
}

// What a caller's exchange leaves pending is no byte on the port.
TEST_F(ManagersReaderTest, IsCalledForTheTextThatAnExchangeHasLeftPending) {
    open();
    manager->SwitchOperateMode(1, 0);
    platform.advance(1003);
    comm.expect("ATE0\r").reply("OK\r\n+CSQ: 9,99\r\n");
    EXPECT_EQ(manager->SetAtCmdProperty(101, 0), 0u);
    EXPECT_THAT(listener->texts(), ElementsAre("OK"));
    platform.advance(5);
    EXPECT_THAT(listener->texts(), ElementsAre("OK", "+CSQ: 9,99~"));
}

TEST_F(ManagersReaderTest, ReopensAPortThatAWriteHasClosed) {
    open();
    manager->SwitchOperateMode(2, 0);
    platform.advance(1003);
    platform.failures().fail(Op::BeginWrite);
    EXPECT_NE(manager->SendNormalAtCmd(0, "AT"), 0u);  // it pauses for half a second after the close
    platform.advance(5);
    EXPECT_EQ(manager->IsCommDeviceOpen(), 1);
    EXPECT_EQ(comm.opens(), 2u);
}

TEST_F(ManagersReaderTest, FilesConfirmationsInTheQueue) {
    open();
    manager->SwitchOperateMode(2, 0);
    comm.feedAfter(100ms, confirmation(1));
    comm.feedAfter(200ms, confirmation(2));
    platform.advance(99);
    EXPECT_THAT(fetchAll(), IsEmpty());
    platform.advance(200);
    const QueuedItem item = manager->FetchQueuedCnfItem();
    EXPECT_EQ(item.data, std::string("\x01\x01", 2));
    EXPECT_EQ(item.length, 2u);
    EXPECT_EQ(item.remained, 1u);
    EXPECT_THAT(fetchAll(), ElementsAre("0102"));
    EXPECT_THAT(listener->events, IsEmpty());
}

TEST_F(ManagersReaderTest, SurvivesAPortThatIsPulledAndComesBack) {
    open();
    manager->SwitchOperateMode(2, 0);
    platform.advance(10);
    comm.unplug();
    platform.advance(3000);
    EXPECT_EQ(readers(), 1u);
    comm.replug();
    platform.advance(3000);
    manager->InitCmdManager(0);
    comm.feed(confirmation(1));
    platform.advance(10);
    EXPECT_THAT(fetchAll(), ElementsAre("0101"));
}

// --- ending

TEST_F(ManagersReaderTest, CloseEndsItWithoutWaitingForIt) {
    open();
    manager->SwitchOperateMode(2, 0);
    platform.failures().fail(Op::Close);  // so that the close takes no time
    platform.advance(3);
    const auto before = platform.elapsed();
    EXPECT_EQ(manager->ResetCmdManager(0), 0x4343u);
    EXPECT_EQ(platform.elapsed(), before);
    EXPECT_EQ(readers(), 1u);
    platform.settle();  // it sees the event at once
    EXPECT_EQ(readers(), 0u);
    EXPECT_THAT(listener->ended, ElementsAre(listener->started.front()));
}

TEST_F(ManagersReaderTest, OpenBeforeItHasObeyedTheCloseTakesTheStopBack) {
    manager->SwitchOperateMode(2, 0);
    platform.advance(3);
    EXPECT_EQ(manager->ResetCmdManager(0), 0u);  // a closed port closes without a pause
    EXPECT_EQ(manager->InitCmdManager(0), 0u);
    platform.advance(50);
    EXPECT_EQ(readers(), 1u);
    EXPECT_EQ(started(), 1u);
    EXPECT_THAT(listener->ended, IsEmpty());
    comm.feed(confirmation(1));
    platform.advance(10);
    EXPECT_THAT(fetchAll(), ElementsAre("0101"));
}

TEST_F(ManagersReaderTest, StopIsObeyedThoughAnOpenByTheReaderItselfResetsTheEvent) {
    open();
    manager->SwitchOperateMode(2, 0);
    platform.failures().fail(Op::BeginRead);  // closes the port under the reader, which reopens it
    comm.feed("X");
    platform.advance(200);  // it closes the port and pauses
    EXPECT_EQ(manager->ResetCmdManager(0), 0u);
    platform.advance(50);
    EXPECT_EQ(readers(), 0u);
}

TEST_F(ManagersReaderTest, WaitThatFailsEndsItAndTheNextOpenStartsAnother) {
    open();
    manager->SwitchOperateMode(2, 0);
    platform.advance(1);
    platform.failures().fail(Op::EventWait);
    comm.feed("\r\n");  // ends its rest
    platform.advance(10);
    EXPECT_EQ(readers(), 0u);
    EXPECT_EQ(manager->InitCmdManager(0), 0u);
    EXPECT_EQ(readers(), 1u);
}

TEST_F(ManagersReaderTest, SwitchToTheSynchronousModeWaitsForItsEndSoThatTheNextExchangeIsUndisturbed) {
    open();
    manager->SwitchOperateMode(2, 0);
    platform.advance(2);
    manager->SwitchOperateMode(3, 0);
    EXPECT_EQ(readers(), 0u);
    comm.expect("AT*MOVA=090005000201000000000F\r").reply("*MOVA=0300010103\r\nOK\r\n", 20ms);
    EXPECT_EQ(manager->RfGeneralTestReq(5, 0x0102), 0u);
    EXPECT_THAT(fetchAll(), ElementsAre("0101"));
}

TEST_F(ManagersReaderTest, ReleaseWaitsForIt) {
    open();
    manager->SwitchOperateMode(2, 0);
    platform.advance(2);
    manager.reset();
    EXPECT_EQ(readers(), 0u);
    EXPECT_EQ(listener->ended.size(), 1u);
}

TEST_F(ManagersReaderTest, BeginAndEndAreToldOnItsOwnThread) {
    open();
    manager->SwitchOperateMode(2, 0);
    platform.settle();
    manager->SwitchOperateMode(0, 0);
    manager->SwitchOperateMode(1, 0);
    platform.settle();
    manager.reset();
    EXPECT_THAT(listener->started, ElementsAre(3u, 4u));  // 1 is the test, 2 was the viewer's probe
    EXPECT_THAT(listener->ended, ElementsAre(3u, 4u));
}

TEST_F(ManagersReaderTest, AListenersFailureIsItsOwn) {
    unsigned failures = 0;
    const auto fail = [&] {
        ++failures;
        throw std::runtime_error("the listener's");
    };
    listener->onStarted = listener->onEnded = listener->onLetCallsIn = fail;
    listener->onEvent = [&](const std::string&) { platform.clock().sleep(100); };  // so that its end is waited for
    open();
    EXPECT_EQ(manager->SwitchOperateMode(1, 0), 0u);
    platform.settle();
    comm.feed("*MOVA=05000500020103\r\n");
    platform.advance(20);
    EXPECT_THAT(listener->texts(), ElementsAre("05000201"));
    EXPECT_EQ(manager->SwitchOperateMode(0, 0), 0u);
    EXPECT_EQ(readers(), 0u);
    EXPECT_GE(failures, 3u);
}

TEST_F(ManagersReaderTest, NeverTwoUnderAnyOrderOfOpenCloseAndSwitch) {
    for (std::uint32_t seed = 1; seed <= 40; ++seed) {
        ScriptedPlatform own;
        own.withDebugViewer();
        own.withPort(7, "USB Serial Port (COM7)");
        auto recorder = std::make_shared<Listener>(own.threading());
        CVeCmdManager object(own, recorder);
        object.put_CommPortId(7);
        own.interleave(seed, 2);
        own.failures().fail(Op::Close).onCall(seed % 5 + 1).times(3);
        std::minstd_rand random(seed);
        for (int step = 0; step < 30; ++step) {
            switch (random() % 6) {
                case 0: object.InitCmdManager(0); break;
                case 1: object.ProprietaryOpenComPort(0); break;
                case 2: object.ResetCmdManager(0); break;
                case 3: object.SwitchOperateMode(static_cast<std::uint32_t>(random() % 7), 0); break;
                case 4: object.SwitchOperateMode(2, 0); break;
                default: own.clock().sleep(static_cast<std::uint32_t>(random() % 4)); break;
            }
            ASSERT_LE(own.threading().alive(), 2u);
            ASSERT_LE(recorder->started.size() - recorder->ended.size(), 1u) << "seed " << seed << " step " << step;
        }
        object.SwitchOperateMode(2, 0);
        own.advance(20);
        EXPECT_EQ(own.threading().alive(), 1u) << seed;
        object.SwitchOperateMode(3, 0);
        EXPECT_EQ(own.threading().alive(), 0u) << seed;
    }
}

// --- sharing the port

TEST_F(ManagersReaderTest, AnswerOfARequestReachesTheCallerAndNotTheReader) {
    open();
    manager->SwitchOperateMode(2, 0);
    comm.expect("AT*MOVA=0C0080010106008000341202002E\r")
        .reply("*MOVA=ACK\r\n", 30ms)
        .reply("*MOVA=0E008000010800800034120200AABB32\r\n", 30ms)
        .reply("OK\r\n", 30ms);
    const TextResult result = manager->ReadE2PObject(0x1234, 2);
    EXPECT_EQ(result.code, 0u);
    EXPECT_EQ(result.text, "AABB");
    EXPECT_EQ(readers(), 1u);
    comm.feed(confirmation(9));
    platform.advance(20);
    EXPECT_THAT(fetchAll(), ElementsAre("0109"));
}

TEST_F(ManagersReaderTest, AnswersReachTheCallerUnderEveryInterleaving) {
    for (std::uint32_t seed = 1; seed <= 30; ++seed) {
        ScriptedPlatform own;
        own.withDebugViewer();
        ScriptedPort& port = own.withPort(7, "USB Serial Port (COM7)");
        CVeCmdManager object(own);
        object.put_CommPortId(7);
        object.SwitchOperateMode(2, 0);
        ASSERT_EQ(object.InitCmdManager(0), 0u);
        own.interleave(seed, 2);
        for (int round = 0; round < 5; ++round) {
            port.expect("AT*MOVA=0C0080010106008000341202002E\r")
                .replyInChunks("*MOVA=ACK\r\n*MOVA=0E008000010800800034120200AABB32\r\nOK\r\n", seed);
            const TextResult result = object.ReadE2PObject(0x1234, 2);
            ASSERT_EQ(result.code, 0u) << seed;
            ASSERT_EQ(result.text, "AABB") << seed;
            own.clock().sleep(seed % 7);
        }
    }
}

TEST_F(ManagersReaderTest, RequestWithoutAnAnswerEndsAtItsTimeoutThoughTheReaderRuns) {
    open();
    manager->SwitchOperateMode(2, 0);
    const auto before = platform.elapsed();
    EXPECT_EQ(manager->ReadE2PObject(0x1234, 2).code, 0x4004u);
    EXPECT_GE(platform.elapsed() - before, 4000);
    EXPECT_LE(platform.elapsed() - before, 4020);
}

TEST_F(ManagersReaderTest, CloseFromAnotherThreadEndsItsWaitForALongAnswer) {
    open();
    manager->SwitchOperateMode(2, 0);
    auto caller = platform.spawn([&] { EXPECT_EQ(manager->ReadE2PObject(0x1234, 2).code, 0x4004u); });
    platform.advance(500);
    const auto before = platform.elapsed();
    EXPECT_EQ(manager->ResetCmdManager(0), 0u);
    EXPECT_LE(platform.elapsed() - before, 510);
    EXPECT_TRUE(caller->join(10));
    platform.advance(20);
    EXPECT_EQ(readers(), 0u);
}

// --- the thread by itself

class ReaderThreadTest : public ::testing::Test {
protected:
    ReaderThread::Work work() {
        return {[this] { log += "begin "; }, [](Event&) { return ReaderThread::kPollPause; },
                [this] { log += "pass "; }, [this] { log += "end "; }};
    }

    ScriptedPlatform platform;
    std::string log;
    std::unique_ptr<Event> stop = platform.threading().makeEvent();
    ReaderThread reader{platform, *stop};
};

TEST_F(ReaderThreadTest, PassesUntilItIsStoppedAndResetsTheEvent) {
    EXPECT_FALSE(reader.isRecorded());
    EXPECT_EQ(reader.start(nullptr, work()), 0u);
    EXPECT_TRUE(reader.isRecorded());
    platform.advance(12);
    reader.requestStop();
    EXPECT_TRUE(stop->isSet());
    platform.settle();
    EXPECT_EQ(log, "begin pass pass end ");
    EXPECT_FALSE(stop->isSet());
    EXPECT_FALSE(reader.isRecorded());
}

TEST_F(ReaderThreadTest, StartResetsTheEvent) {
    stop->set();
    reader.start(nullptr, work());
    platform.advance(6);
    EXPECT_EQ(log, "begin pass ");
    reader.requestEnd();
    EXPECT_TRUE(reader.awaitEnd(100, [] {}));
}

TEST_F(ReaderThreadTest, StopWithoutAThreadSignalsNothing) {
    reader.requestStop();
    EXPECT_FALSE(stop->isSet());
    EXPECT_TRUE(reader.awaitEnd(100, [] {}));
    EXPECT_EQ(platform.elapsed(), 0);
}

TEST_F(ReaderThreadTest, StopThatIsSignalledBeforeItRunsIsNotSwallowed) {
    reader.start(nullptr, work());
    reader.requestStop();
    platform.settle();
    EXPECT_EQ(log, "begin end ");
}

TEST_F(ReaderThreadTest, StopIsObeyedThoughTheEventIsResetAtOnce) {
    reader.start(nullptr, work());
    platform.advance(1);
    reader.requestStop();
    stop->reset();
    platform.advance(20);
    EXPECT_EQ(log, "begin end ");
}

TEST_F(ReaderThreadTest, StopTakenBackBeforeItIsObeyedKeepsTheOneThread) {
    reader.start(nullptr, work());
    platform.advance(1);
    reader.requestStop();
    EXPECT_EQ(reader.start(nullptr, work()), 0u);
    platform.advance(6);
    EXPECT_EQ(log, "begin pass ");
    EXPECT_EQ(platform.threading().started(), 1u);
    reader.requestEnd();
    platform.settle();
}

TEST_F(ReaderThreadTest, AfterTheEndNothingStartsAnymore) {
    reader.requestEnd();
    EXPECT_EQ(reader.start(nullptr, work()), 0u);
    platform.advance(20);
    EXPECT_EQ(log, "");
    EXPECT_TRUE(reader.isEnding());
}

TEST_F(ReaderThreadTest, EndIsNotTakenBackByAStart) {
    reader.start(nullptr, work());
    platform.advance(1);
    reader.requestEnd();
    reader.start(nullptr, work());
    platform.settle();
    EXPECT_EQ(log, "begin end ");
}

TEST_F(ReaderThreadTest, WaitForTheEndLetsCallsInEvery20MillisecondsAndGivesUpInTime) {
    ReaderThread::Work slow = work();
    slow.pass = [this] { platform.clock().sleep(1000); };
    reader.start(nullptr, slow);
    platform.advance(10);
    reader.requestStop();
    int letIn = 0;
    const auto before = platform.elapsed();
    EXPECT_FALSE(reader.awaitEnd(100, [&] { ++letIn; }));
    EXPECT_EQ(platform.elapsed() - before, 100);
    EXPECT_EQ(letIn, 5);
    EXPECT_TRUE(reader.awaitEnd(2000, [&] { ++letIn; }));
    EXPECT_EQ(platform.elapsed(), 1005);
}

TEST_F(ReaderThreadTest, DoesNotWaitForItselfAndKnowsItself) {
    ReaderThread::Work own = work();
    own.pass = [this] {
        EXPECT_TRUE(reader.isCurrent());
        reader.requestStop();
        EXPECT_FALSE(reader.awaitEnd(1000, [] {}));
    };
    reader.start(nullptr, own);
    EXPECT_FALSE(reader.isCurrent());
    platform.advance(20);
    EXPECT_EQ(log, "begin end ");
    EXPECT_EQ(platform.threading().alive(), 0u);
}

TEST_F(ReaderThreadTest, HoldsWhatItIsGivenUntilItEnds) {
    auto kept = std::make_shared<int>(1);
    const std::weak_ptr<int> watched = kept;
    reader.start(std::move(kept), work());
    platform.advance(20);
    EXPECT_FALSE(watched.expired());
    reader.requestStop();
    EXPECT_TRUE(reader.awaitEnd(100, [] {}));
    EXPECT_TRUE(watched.expired());
}

TEST_F(ReaderThreadTest, ThreadThatTheSystemRefusesIsNotRecorded) {
    platform.failures().fail(Op::StartThread);
    EXPECT_EQ(reader.start(nullptr, work()), 0x3005u);
    EXPECT_FALSE(reader.isRecorded());
    EXPECT_EQ(reader.start(nullptr, work()), 0u);
    reader.requestStop();
    EXPECT_TRUE(reader.awaitEnd(100, [] {}));
}

}  // namespace
}  // namespace mova
