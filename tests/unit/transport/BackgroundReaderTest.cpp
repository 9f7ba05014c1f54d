// The receive engine as the reader thread runs it: pass by pass, into the queue or as events.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "mova/CVeCmdManager.h"
#include "support/ScriptedPlatform.h"

namespace mova {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct Listener : ConfirmationEvents {
    std::vector<std::string> texts;
    void OnCpGetMovaCnf(std::int32_t, std::int32_t, const std::string& text) override { texts.push_back(text); }
};

class BackgroundReaderTest : public ::testing::Test {
protected:
    BackgroundReaderTest() {
        manager.put_CommPortId(7);
        EXPECT_EQ(manager.InitCmdManager(1), 0u);
    }
    ~BackgroundReaderTest() override { manager.FinalRelease(); }

    static ScriptedPort& withViewerAndPort(ScriptedPlatform& platform) {
        platform.withDebugViewer();
        return platform.withPort(7);
    }
    void start(std::uint32_t mode) {
        EXPECT_EQ(manager.SwitchOperateMode(mode, 0), 0u);
        platform.settle();
        platform.journal().clear();
        started = platform.now();
    }
    std::vector<std::int64_t> countQueries() {  // milliseconds from the start
        std::vector<std::int64_t> times;
        for (const JournalEntry& entry : platform.journal().entries()) {
            if (entry.op == Op::ClearErrors && entry.text == "clearErrors status")
                times.push_back((entry.when - started).count() / 1000);
        }
        return times;
    }

    ScriptedPlatform platform;
    ScriptedPort& comm = withViewerAndPort(platform);  // before the manager's first post
    std::shared_ptr<Listener> listener = std::make_shared<Listener>();
    CVeCmdManager manager{platform, listener};
    VirtualTime started{0};
};

TEST_F(BackgroundReaderTest, RestsWhileNothingArrivesButForALookEachSecond) {
    start(2);
    platform.advance(3500);
    EXPECT_THAT(countQueries(), ElementsAre(995, 1990, 2985));
}

// The passes that it has left out would have come at 5, 10, 15, ... ms.
TEST_F(BackgroundReaderTest, ByteEndsTheRestAndIsReadWhenThePassWouldHaveCome) {
    start(2);
    comm.feedAfter(12ms, "\r\n");
    comm.feedAfter(30ms, "\r\n");
    platform.advance(100);
    EXPECT_THAT(countQueries(), ElementsAre(15, 30));
}

// Each of these passes would have paused for one millisecond more: 5, 11, 17, ... ms.
TEST_F(BackgroundReaderTest, RhythmAfterARestIsThatOfPassesThatAwaitATerminator) {
    start(5);
    comm.feedAfter(12ms, "OK\r\n");
    platform.advance(100);
    EXPECT_THAT(countQueries(), ElementsAre(17));
}

TEST_F(BackgroundReaderTest, PollsThePortEveryFiveMillisecondsWhileTextIsPending) {
    start(1);
    comm.feed("+CS");
    platform.advance(25);
    EXPECT_THAT(countQueries(), ElementsAre(5, 10, 15, 20, 25));
}

TEST_F(BackgroundReaderTest, AwaitingATerminatorEachPassPausesForOneMillisecondMore) {
    start(5);
    comm.feed("+CSQ: 9,99\r\n");
    platform.advance(24);
    EXPECT_THAT(countQueries(), ElementsAre(5, 11, 17, 23));
}

TEST_F(BackgroundReaderTest, DriverThatCannotWaitIsAskedEveryFiveMilliseconds) {
    start(2);
    platform.failures().fail(Op::AwaitInput).always().as(FailureKind::WaitFailed);
    comm.feed("\r\n");  // ends the wait that is under way
    platform.advance(25);
    EXPECT_THAT(countQueries(), ElementsAre(5, 10, 15, 20, 25));
}

TEST_F(BackgroundReaderTest, DriverThatTellsOfBytesThatAreNotThereIsAskedEveryFiveMilliseconds) {
    start(2);
    platform.failures().fail(Op::AwaitInput).always().as(FailureKind::ForNothing);
    comm.feed("\r\n");
    platform.advance(25);
    EXPECT_THAT(countQueries(), ElementsAre(5, 10, 15, 20, 25));
}

TEST_F(BackgroundReaderTest, DriverThatDoesNotTellOfBytesIsAskedOnceASecond) {
    platform.failures().fail(Op::AwaitInput).always().as(FailureKind::TimedOut);
    start(2);
    comm.feedAfter(10ms, "*MOVA=05000500020103\r\n");
    platform.advance(1000);
    EXPECT_EQ(manager.FetchQueuedCnfItem().length, 4u);
}

TEST_F(BackgroundReaderTest, FilesWhatItReceivesInTheQueue) {
    start(2);
    comm.feedAfter(2ms, "*MOVA=05000500020103\r\n");
    platform.advance(4);
    EXPECT_EQ(manager.FetchQueuedCnfItem().length, 0u);
    platform.advance(1);
    const QueuedItem item = manager.FetchQueuedCnfItem();
    EXPECT_EQ(item.length, 4u);
    EXPECT_EQ(item.data, std::string("\x05\x00\x02\x01", 4));
    EXPECT_THAT(listener->texts, IsEmpty());
}

TEST_F(BackgroundReaderTest, RaisesWhatItReceivesAsEventsInMode1) {
    start(1);
    comm.feed("*MOVA=05000500020103\r\n");
    platform.advance(5);
    EXPECT_THAT(listener->texts, ElementsAre("05000201"));
    EXPECT_EQ(manager.FetchQueuedCnfItem().length, 0u);
    comm.feed("+CSQ: 9,99\r\nOK\r\n");
    platform.advance(5);
    EXPECT_THAT(listener->texts, ElementsAre("05000201", "+CSQ: 9,99~OK~"));
}

TEST_F(BackgroundReaderTest, UnfinishedLineIsAnEmptyRecordOnEveryPoll) {
    start(1);
    comm.feed("+CS");
    platform.advance(20);
    EXPECT_THAT(listener->texts, ElementsAre("", "", "", ""));
    comm.feed("Q: 9,99\r\n");
    platform.advance(20);
    EXPECT_THAT(listener->texts, ElementsAre("", "", "", "", "+CSQ: 9,99~"));
}

TEST_F(BackgroundReaderTest, WaitsForItsTerminator) {
    start(5);
    comm.feed("*MOVA=05000500020103\r\n");
    platform.advance(100);
    EXPECT_EQ(manager.FetchQueuedCnfItem().length, 0u);
    comm.feed("OK\r\n");
    platform.advance(10);
    EXPECT_EQ(manager.FetchQueuedCnfItem().length, 4u);
}

TEST_F(BackgroundReaderTest, HandedBackLinesAreTheNextPassesRecord) {
    start(1);
    comm.feed("*MOVA=0600800001AABB96\r\n*MOVA=05000500020103\r\n");
    platform.advance(5);
    EXPECT_THAT(listener->texts, ElementsAre("AABB"));
    platform.advance(5);
    EXPECT_THAT(listener->texts, ElementsAre("AABB", "05000201"));
}

TEST_F(BackgroundReaderTest, EndsByTheStopEventAndReadsNoMore) {
    start(2);
    EXPECT_EQ(platform.threading().alive(), 1u);
    EXPECT_EQ(manager.ResetCmdManager(0), 0u);
    platform.advance(10);
    EXPECT_EQ(platform.threading().alive(), 0u);
    platform.journal().clear();
    platform.advance(50);
    EXPECT_THAT(platform.journal().serial(), IsEmpty());
}

TEST_F(BackgroundReaderTest, ReopeningThePortStartsItAnew) {
    start(2);
    EXPECT_EQ(manager.ResetCmdManager(0), 0u);
    platform.advance(10);
    EXPECT_EQ(manager.ProprietaryOpenComPort(0), 0u);
    comm.feed("*MOVA=05000500020103\r\n");
    platform.advance(5);
    EXPECT_EQ(manager.FetchQueuedCnfItem().length, 4u);
}

TEST_F(BackgroundReaderTest, GoesOnWhenAReadFails) {
    start(2);
    comm.feed("*MOVA=05000500020103\r\n");
    platform.failures().fail(Op::Finish);
    platform.advance(5);
    comm.feed("*MOVA=0300070004\r\n");
    platform.advance(10);
    EXPECT_EQ(manager.FetchQueuedCnfTextItem().data, "0700");
}

TEST_F(BackgroundReaderTest, ReopensAPortThatClosedItself) {
    start(2);
    comm.feed("x");
    platform.failures().fail(Op::BeginRead);
    platform.advance(2000);
    EXPECT_EQ(comm.opens(), 2u);
    comm.feed("*MOVA=05000500020103\r\n");
    platform.advance(5);
    EXPECT_EQ(manager.FetchQueuedCnfItem().length, 4u);
}

}  // namespace
}  // namespace mova
