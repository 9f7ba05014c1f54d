#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

#include "logging/MyDebugMsg.h"
#include "support/ScriptedPlatform.h"

namespace mova {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class MyDebugMsgTest : public ::testing::Test {
protected:
    unsigned tries() const { return platform.failures().calls(Op::DatagramOpen); }
    void viewerComes() { platform.datagrams().listen("\\\\.\\mailslot\\KSDW_DEBUG"); }
    void viewerGoes() { platform.datagrams().vanish("\\\\.\\mailslot\\KSDW_DEBUG"); }
    std::vector<std::string> received() const { return platform.datagrams().texts(); }
    unsigned probes() const { return platform.threading().started(); }

    mutable ScriptedPlatform platform;
    std::optional<MyDebugMsg> debug{std::in_place, platform};
};

TEST_F(MyDebugMsgTest, NothingHappensBeforeTheFirstPost) {
    EXPECT_EQ(probes(), 0u);
    EXPECT_EQ(tries(), 0u);
}

TEST_F(MyDebugMsgTest, FirstPostWithNoReaderStartsOneProbeReturnsAfter50MsAndDropsTheMessage) {
    debug->post("one");
    EXPECT_EQ(platform.elapsed(), 50);
    EXPECT_EQ(probes(), 1u);
    EXPECT_EQ(platform.threading().loweredPriorities(), 1u);
    viewerComes();
    platform.advance(5000);
    EXPECT_THAT(received(), IsEmpty());
}

TEST_F(MyDebugMsgTest, PostsDuringTheNext20SecondsStartNoFurtherThread) {
    debug->post("one");
    for (int i = 0; i < 199; ++i) {  // to 50 + 19900 ms
        platform.advance(100);
        const auto before = platform.elapsed();
        debug->post("more");
        EXPECT_EQ(platform.elapsed(), before);  // and cost no time
    }
    EXPECT_EQ(probes(), 1u);
    EXPECT_EQ(tries(), 10u);
    platform.advance(100);  // 20050 ms: ten tries of 2 seconds have passed
    EXPECT_EQ(platform.threading().alive(), 0u);
    debug->post("again");
    EXPECT_EQ(probes(), 2u);
    EXPECT_THAT(received(), IsEmpty());
}

TEST_F(MyDebugMsgTest, ProbeTriesTenTimesEveryTwoSeconds) {
    debug->post("one");
    platform.advance(25000);
    std::vector<std::int64_t> when;
    for (const JournalEntry& entry : platform.journal().entries()) {
        if (entry.op == Op::DatagramOpen) when.push_back(entry.when.count() / 1000);
    }
    EXPECT_THAT(when, ElementsAre(0, 2000, 4000, 6000, 8000, 10000, 12000, 14000, 16000, 18000));
}

TEST_F(MyDebugMsgTest, ReaderThatStartsWhileTheProbeWaitsIsFoundWithinTwoSeconds) {
    debug->post("lost");
    platform.at(3100ms, [&] { viewerComes(); });
    platform.advance(3049);  // 3099 ms
    debug->post("lost too");
    platform.advance(902);                               // 4001 ms: the try at 4000 has found it
    EXPECT_EQ(platform.datagrams().openChannels(), 0u);  // the probe keeps nothing open
    EXPECT_EQ(platform.threading().alive(), 0u);
    debug->post("kept");
    EXPECT_THAT(received(), ElementsAre("kept"));
    EXPECT_EQ(platform.datagrams().openChannels(), 1u);
    EXPECT_EQ(probes(), 1u);
}

TEST_F(MyDebugMsgTest, ReaderThatIsThereGetsTheVeryFirstMessage) {
    viewerComes();
    debug->post("one");
    EXPECT_EQ(platform.elapsed(), 50);
    debug->post("two");
    EXPECT_EQ(platform.elapsed(), 50);
    EXPECT_THAT(received(), ElementsAre("one", "two"));
    EXPECT_EQ(probes(), 1u);
    EXPECT_EQ(tries(), 2u);  // the probe's and the sink's own, which stays open
    EXPECT_EQ(platform.datagrams().messages()[0].channel, "\\\\.\\mailslot\\KSDW_DEBUG");
}

TEST_F(MyDebugMsgTest, PrefixStandsInFrontOfEveryMessageUntilItIsEmpty) {
    viewerComes();
    debug->setPrefix("MovaCmdSvr: ");
    debug->post("one");
    debug->post("");
    debug->setPrefix("");
    debug->post("two");
    EXPECT_THAT(received(), ElementsAre("MovaCmdSvr: one", "MovaCmdSvr: ", "two"));
}

TEST_F(MyDebugMsgTest, TextIsWrittenWholeAndAsItIs) {
    viewerComes();
    const std::string text = std::string("a\0%s\r\n\xFF", 7) + std::string(20000, 'x');
    debug->post(text);
    EXPECT_THAT(received(), ElementsAre(text));
    EXPECT_EQ(platform.failures().calls(Op::DatagramWrite), 1u);
}

TEST_F(MyDebugMsgTest, OutputModeOffPostsNothingAndSearchesNothing) {
    viewerComes();
    debug->setOutputMode(MyDebugMsg::OutputMode::Off);
    debug->post("one");
    EXPECT_EQ(platform.elapsed(), 0);
    EXPECT_EQ(probes(), 0u);
    EXPECT_THAT(received(), IsEmpty());
    debug->setOutputMode(MyDebugMsg::OutputMode::Mailslot);
    debug->post("two");
    EXPECT_THAT(received(), ElementsAre("two"));
}

TEST_F(MyDebugMsgTest, OpenThatFailsAfterTheProbeLosesTheMessageAndTheNextPostSearchesAgain) {
    viewerComes();
    platform.failures().fail(Op::DatagramOpen).onCall(2);
    debug->post("lost");
    EXPECT_THAT(received(), IsEmpty());
    debug->post("kept");
    EXPECT_EQ(probes(), 2u);
    EXPECT_THAT(received(), ElementsAre("kept"));
}

TEST_F(MyDebugMsgTest, WriteThatFailsLosesTheMessageClosesTheChannelAndTheNextPostSearchesAgain) {
    viewerComes();
    debug->post("one");
    platform.failures().fail(Op::DatagramWrite);
    debug->post("lost");
    EXPECT_EQ(platform.datagrams().openChannels(), 0u);
    debug->post("two");
    EXPECT_EQ(probes(), 2u);
    EXPECT_EQ(platform.elapsed(), 100);
    EXPECT_THAT(received(), ElementsAre("one", "two"));
}

TEST_F(MyDebugMsgTest, ViewerThatGoesAndComesBackIsFoundAgain) {
    viewerComes();
    debug->post("one");
    viewerGoes();
    debug->post("lost");      // the write fails
    debug->post("lost too");  // a new search has begun
    EXPECT_EQ(probes(), 2u);
    viewerComes();
    platform.advance(2000);
    debug->post("two");
    EXPECT_THAT(received(), ElementsAre("one", "two"));
    EXPECT_EQ(probes(), 2u);
}

TEST_F(MyDebugMsgTest, ViewerReplacedByAnotherLosesOneMessage) {
    viewerComes();
    debug->post("one");
    viewerGoes();
    viewerComes();
    debug->post("lost");
    debug->post("two");
    EXPECT_THAT(received(), ElementsAre("one", "two"));
}

TEST_F(MyDebugMsgTest, ProbeThatCannotBeStartedDropsTheMessageWithoutAPause) {
    viewerComes();
    platform.failures().fail(Op::StartThread);
    debug->post("lost");
    EXPECT_EQ(platform.elapsed(), 0);
    debug->post("kept");
    EXPECT_EQ(platform.elapsed(), 50);
    EXPECT_THAT(received(), ElementsAre("kept"));
}

TEST_F(MyDebugMsgTest, ProbeWhoseWaitFailsEndsAtOnceAndTheNextPostStartsAnother) {
    platform.failures().fail(Op::EventWait);
    debug->post("one");
    EXPECT_EQ(platform.threading().alive(), 0u);
    EXPECT_EQ(tries(), 1u);
    debug->post("two");
    EXPECT_EQ(probes(), 2u);
}

TEST_F(MyDebugMsgTest, ProbeWithoutItsEventsStillFindsAReader) {
    platform.failures().fail(Op::MakeEvent).twice();
    debug.emplace(platform);
    viewerComes();
    debug->post("one");
    EXPECT_THAT(received(), ElementsAre("one"));
}

// --- shutdown

TEST_F(MyDebugMsgTest, ShutdownWithoutAProbeTakesNoTimeAndClosesTheChannel) {
    viewerComes();
    debug->post("one");
    const auto before = platform.elapsed();
    debug.reset();
    EXPECT_EQ(platform.elapsed(), before);
    EXPECT_EQ(platform.datagrams().openChannels(), 0u);
}

TEST_F(MyDebugMsgTest, ShutdownWhileTheProbeWaitsEndsItWithin10Ms) {
    debug->post("one");
    platform.advance(700);
    debug.reset();
    EXPECT_EQ(platform.elapsed(), 760);
    EXPECT_EQ(platform.threading().alive(), 0u);
    EXPECT_EQ(platform.threading().terminated(), 0u);
    EXPECT_EQ(tries(), 1u);
}

// A channel whose opening takes its time, as a search over a slow network does.
class SlowChannel : public DatagramChannel {
public:
    SlowChannel(Clock& clock, std::uint32_t milliseconds) : clock_(clock), milliseconds_(milliseconds) {}
    Handle open(const std::string&) override {
        clock_.sleep(milliseconds_);
        return kInvalid;
    }
    bool write(Handle, std::string_view) override { return false; }
    void close(Handle) override {}

private:
    Clock& clock_;
    std::uint32_t milliseconds_;
};

class SlowSearchTest : public MyDebugMsgTest {
protected:
    // How long the shutdown takes when the search hangs in one try for this long.
    std::int64_t shutdown(std::uint32_t milliseconds) {
        SlowChannel slow(platform.clock(), milliseconds);
        Platform& p = platform;
        Platform altered{p.serial, p.threading, p.clock, p.keys, slow, p.files, p.host};
        debug.emplace(altered);
        debug->post("one");
        const auto before = platform.elapsed();
        debug.reset();
        const auto took = platform.elapsed() - before;
        EXPECT_EQ(platform.threading().alive(), 0u);
        return took;
    }
};

TEST_F(SlowSearchTest, ProbeThatEndsWithin100MsIsAwaited) {
    EXPECT_EQ(shutdown(90), 40 + 10);  // 50 ms passed in the post
    EXPECT_EQ(platform.threading().terminated(), 0u);
}

TEST_F(SlowSearchTest, ProbeThatTakesLongerIsGivenASecondMore) {
    EXPECT_EQ(shutdown(800), 750);
    EXPECT_EQ(platform.threading().terminated(), 0u);
}

TEST_F(SlowSearchTest, ProbeThatHangsIsEndedByForce) {
    EXPECT_EQ(shutdown(60000), 100 + 10 + 1000);
    EXPECT_EQ(platform.threading().terminated(), 1u);
}

// --- several threads

TEST_F(MyDebugMsgTest, PostsFromManyThreadsAllArriveInEachThreadsOrder) {
    viewerComes();
    debug->post("first");
    platform.interleave(11, 2);
    std::vector<std::unique_ptr<Thread>> threads;
    for (const char name : {'a', 'b', 'c'}) {
        threads.push_back(platform.spawn([&, name] {
            for (char number = '0'; number <= '9'; ++number) {
                debug->post(std::string{name, number});
                platform.clock().sleep(1);
            }
        }));
    }
    for (auto& thread : threads) EXPECT_TRUE(thread->join(1000));
    for (const char name : {'a', 'b', 'c'}) {
        std::string order;
        for (const std::string& text : received()) {
            if (text[0] == name) order += text[1];
        }
        EXPECT_EQ(order, "0123456789") << name;
    }
    EXPECT_EQ(platform.datagrams().openChannels(), 1u);
}

TEST_F(MyDebugMsgTest, FirstPostsOfManyThreadsStartOneProbe) {
    for (const unsigned seed : {1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u}) {
        ScriptedPlatform own;
        own.interleave(seed, 2);
        MyDebugMsg sink(own);
        std::vector<std::unique_ptr<Thread>> threads;
        for (int i = 0; i < 4; ++i) threads.push_back(own.spawn([&] { sink.post("x"); }));
        for (auto& thread : threads) EXPECT_TRUE(thread->join(100));
        EXPECT_EQ(own.threading().started(), 5u) << seed;  // the four and one probe
    }
}

}  // namespace
}  // namespace mova
