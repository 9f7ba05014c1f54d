// The operating modes: what each one does, every way from one to another, and that no answer is lost on the way.
#include "unit/component/ComponentFixture.h"

namespace mova {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct Mode {
    std::uint32_t option;
    bool synchronous;
    bool unsolicited;
    bool needsOk;
};

constexpr Mode kModes[] = {
    {0, true, false, false}, {1, false, true, false}, {2, false, false, false}, {3, true, false, true},
    {4, true, false, true},  {5, false, false, true}, {6, true, false, false},  {0xFFFFFFFF, true, false, false},
};

class OperateModeTest : public ComponentTest {
protected:
    // Everything a mode is recognised by. Port open, nothing waiting.
    void expectMode(const Mode& mode) {
        EXPECT_EQ(readers(), mode.synchronous ? 0u : 1u);
        EXPECT_EQ(manager->GetNormalAtResult(2).code, mode.synchronous ? 0u : 0x4014u);
        listener->events.clear();
        platform.datagrams().clear();
        if (mode.synchronous) {
            // The terminator shows in a request: without one a single pass ends its wait.
            EXPECT_EQ(manager->RfGeneralTestReq(5, 0x0102), mode.needsOk ? 0x4004u : 0u);
        } else {
            comm.feed(confirmation(0x42));
            platform.advance(20);
            EXPECT_EQ(count("Mv-R 01-42-%"), mode.needsOk ? 0 : 1);
            comm.feed("OK\r\n");
            platform.advance(20);
            EXPECT_EQ(count("Mv-R 01-42-%"), 1);
            const std::vector<std::string> one{"0142"};
            EXPECT_EQ(fetchAll(), mode.unsolicited ? std::vector<std::string>{} : one);
        }
        EXPECT_EQ(listener->events.empty(), !mode.unsolicited);
        manager->ClearQueue();
        listener->events.clear();
        platform.datagrams().clear();
    }
};

TEST_F(OperateModeTest, FreshObjectIsInThePlainSynchronousMode) {
    open();
    expectMode(kModes[0]);
}

TEST_F(OperateModeTest, OptionThreeStopsTheReaderEmptiesTheQueueAndPurgesThePort) {
    open();
    manager->SwitchOperateMode(2, 0);
    comm.feed(confirmation(1));
    platform.advance(10);
    comm.feed(confirmation(2));
    platform.advance(10);
    platform.datagrams().clear();
    platform.journal().clear();
    EXPECT_EQ(manager->SwitchOperateMode(3, 0), 0u);
    EXPECT_EQ(readers(), 0u);
    EXPECT_THAT(debugTexts(), ElementsAre("AT-Purge 0101*MOVA=0300010103\r\n", "AT-Purge 0102*MOVA=0300010200\r\n"));
    EXPECT_THAT(platform.journal().only({Op::Purge}), ElementsAre("purge 0xC"));
    EXPECT_THAT(fetchAll(), IsEmpty());
}

TEST_F(OperateModeTest, OptionTwoStartsTheReaderIfNoneRunsAndNeverASecond) {
    open();
    EXPECT_EQ(manager->SwitchOperateMode(2, 0), 0u);
    EXPECT_EQ(readers(), 1u);
    EXPECT_EQ(manager->SwitchOperateMode(2, 7), 0u);
    EXPECT_EQ(manager->SwitchOperateMode(2, 0), 0u);
    platform.advance(20);
    EXPECT_EQ(readers(), 1u);
    EXPECT_EQ(listener->started.size(), 1u);
}

TEST_F(OperateModeTest, SynchronousSwitchDropsThePendingTextAndWhatThePortHolds) {
    open();
    manager->SwitchOperateMode(5, 0);
    comm.feed("RING\r\nhalf");
    platform.advance(20);
    manager->SwitchOperateMode(3, 0);
    EXPECT_EQ(comm.waiting(), 0u);
    // The complete line is in the record of the switch's own pass; the half one is gone.
    EXPECT_EQ(manager->GetNormalAtResult(2).text, "RING~");
    comm.feed(" line\r\n");
    EXPECT_EQ(manager->GetNormalAtResult(2).text, " line~");
}

TEST_F(OperateModeTest, SynchronousSwitchOnAClosedPortEmptiesTheQueueOnly) {
    open();
    manager->SwitchOperateMode(2, 0);
    comm.feed(confirmation(1));
    platform.advance(10);
    manager->SetCommDeviceType(0, 0, 0);
    manager->ResetCmdManager(0);  // empties the queue itself
    platform.journal().clear();
    platform.datagrams().clear();
    EXPECT_EQ(manager->SwitchOperateMode(3, 0), 0u);
    EXPECT_THAT(platform.journal().serial(), IsEmpty());
    EXPECT_THAT(debugTexts(), IsEmpty());
    EXPECT_EQ(readers(), 0u);
}

TEST_F(OperateModeTest, FailureToStartTheReaderIsNotReportedAndTheModeHoldsAllTheSame) {
    open();
    platform.failures().fail(Op::StartThread);
    EXPECT_EQ(manager->SwitchOperateMode(2, 0), 0u);
    EXPECT_EQ(readers(), 0u);
    EXPECT_EQ(manager->GetNormalAtResult(2).code, 0x4014u);
    EXPECT_EQ(manager->SwitchOperateMode(2, 0), 0u);
    EXPECT_EQ(readers(), 1u);
}

TEST_F(OperateModeTest, GetNormalAtResultAfterOptionTwoGives4014AndAnEmptyText) {
    open();
    manager->SwitchOperateMode(2, 0);
    const AtResult result = manager->GetNormalAtResult(0);
    EXPECT_EQ(result.code, 16404u);
    EXPECT_EQ(result.length, 0);
    EXPECT_EQ(result.text, "");
}

TEST_F(OperateModeTest, ModeStaysOverCloseAndOpen) {
    open();
    for (const Mode& mode : kModes) {
        manager->SwitchOperateMode(mode.option, 0);
        EXPECT_EQ(manager->ResetCmdManager(0), 0u);
        platform.settle();
        EXPECT_EQ(readers(), 0u);
        EXPECT_EQ(manager->InitCmdManager(0), 0u);
        SCOPED_TRACE(mode.option);
        expectMode(mode);
    }
}

// --- from every mode to every mode

struct Way {
    Mode from;
    Mode to;
};

std::vector<Way> allWays() {
    std::vector<Way> ways;
    for (const Mode& from : kModes) {
        for (const Mode& to : kModes) ways.push_back({from, to});
    }
    return ways;
}

std::string nameOfWay(const ::testing::TestParamInfo<Way>& test) {
    const auto name = [](const Mode& mode) { return mode.option == 0xFFFFFFFF ? "Max" : std::to_string(mode.option); };
    return "From" + name(test.param.from) + "To" + name(test.param.to);
}

class ModeWayTest : public OperateModeTest, public ::testing::WithParamInterface<Way> {
protected:
    const Mode from = GetParam().from;
    const Mode to = GetParam().to;
};

TEST_P(ModeWayTest, TheReaderRunsInBackgroundModesOnly) {
    open();
    EXPECT_EQ(manager->SwitchOperateMode(from.option, 0), 0u);
    platform.advance(7);
    platform.journal().clear();
    EXPECT_EQ(manager->SwitchOperateMode(to.option, 0), 0u);
    EXPECT_EQ(platform.journal().only({Op::Purge}).size(), to.synchronous ? 1u : 0u);
    expectMode(to);
    EXPECT_EQ(listener->started.size() - listener->ended.size(), to.synchronous ? 0u : 1u);
}

TEST_P(ModeWayTest, WithoutAnOpenPortNothingIsAskedOfThePort) {
    manager->put_CommPortId(7);
    EXPECT_EQ(manager->SwitchOperateMode(from.option, 0), 0u);
    platform.advance(7);
    platform.journal().clear();
    EXPECT_EQ(manager->SwitchOperateMode(to.option, 0), 0u);
    EXPECT_THAT(platform.journal().serial(), IsEmpty());
    EXPECT_EQ(readers(), to.synchronous ? 0u : 1u);
    EXPECT_EQ(manager->InitCmdManager(0), 0u);
    expectMode(to);
}

TEST_P(ModeWayTest, WithoutAPauseInBetween) {
    open();
    EXPECT_EQ(manager->SwitchOperateMode(from.option, 0), 0u);
    EXPECT_EQ(manager->SwitchOperateMode(to.option, 0), 0u);
    platform.settle();
    expectMode(to);
    EXPECT_LE(listener->started.size(), 2u);
}

TEST_P(ModeWayTest, ConfirmationThatArrivesAtThatVeryMomentIsTakenOnceAndByTheNewMode) {
    open();
    manager->SwitchOperateMode(from.option, 0);
    platform.advance(6);
    platform.datagrams().clear();
    comm.feed(confirmation(0x55));
    EXPECT_EQ(manager->SwitchOperateMode(to.option, 0), 0u);
    platform.advance(20);
    if (to.option == 5) {  // it waits for its end
        EXPECT_EQ(count("Mv-R 01-55-%"), 0);
        comm.feed("OK\r\n");
        platform.advance(20);
    }
    EXPECT_EQ(count("Mv-R 01-55-%"), 1);
    const std::vector<std::string> one{"0155"};
    EXPECT_EQ(fetchAll(), to.unsolicited ? std::vector<std::string>{} : one);
    EXPECT_EQ(listener->texts(), to.unsolicited ? one : std::vector<std::string>{});
}

// Whoever is first, under any order of the two threads: each confirmation is an event, in the queue or purged, once.
TEST_P(ModeWayTest, ConfirmationsBeforeAtAndAfterAreTakenOnceUnderAnyInterleaving) {
    for (std::uint32_t seed = 1; seed <= 12; ++seed) {
        SCOPED_TRACE(seed);
        open();
        manager->SwitchOperateMode(from.option, 0);
        platform.interleave(seed, 2);
        listener->events.clear();
        platform.datagrams().clear();
        const auto feedWhole = [&](unsigned n, std::uint32_t delay) {
            comm.feedAfter(std::chrono::milliseconds(delay), confirmation(n) + "OK\r\n");
        };
        const bool fromBackground = !from.synchronous;
        if (fromBackground) feedWhole(1, 5);
        feedWhole(2, 40 + seed % 6);
        feedWhole(3, 80);
        platform.clock().sleep(40 + seed / 2);
        EXPECT_EQ(manager->SwitchOperateMode(to.option, 0), 0u);
        platform.advance(60);
        // What waits on the port in a synchronous mode is taken by a reader with the same terminator.
        std::vector<std::string> taken = fetchAll();
        if (to.synchronous) manager->SwitchOperateMode(5, 0);
        platform.advance(40);
        for (const std::string& text : fetchAll()) taken.push_back(text);
        for (const auto& event : listener->events) {
            if (event.text.starts_with("01")) taken.push_back(event.text.substr(0, 4));
        }
        for (const std::string& text : purged()) taken.push_back(text);
        std::sort(taken.begin(), taken.end());
        std::vector<std::string> expected{"0102", "0103"};
        if (fromBackground) expected.insert(expected.begin(), "0101");
        EXPECT_EQ(taken, expected);
        manager->SwitchOperateMode(0, 0);
        manager->ClearQueue();
    }
}

INSTANTIATE_TEST_SUITE_P(All, ModeWayTest, ::testing::ValuesIn(allWays()), nameOfWay);

// --- to and fro while the handset goes on

class ToAndFroTest : public OperateModeTest, public ::testing::WithParamInterface<std::uint32_t> {};

// Background to synchronous and back, at irregular times, while numbered confirmations come in.
TEST_P(ToAndFroTest, NothingIsLostAndNothingTwiceExceptWhatIsPurged) {
    constexpr unsigned kCount = 200;
    std::minstd_rand random(GetParam());
    const std::uint32_t synchronous = GetParam() % 2 == 0 ? 3 : 4;
    open();
    manager->SwitchOperateMode(5, 0);
    platform.interleave(GetParam(), 3);
    for (unsigned n = 0; n < kCount; ++n) comm.feedAfter(20ms * n + 3ms, confirmation(n) + "OK\r\n");
    std::vector<std::string> fetched;
    const auto fetch = [&] {
        for (const std::string& text : fetchAll()) fetched.push_back(text);
    };
    for (const auto end = platform.elapsed() + 20 * kCount; platform.elapsed() < end;) {
        platform.clock().sleep(60 + static_cast<std::uint32_t>(random() % 200));
        if (random() % 3 != 0) fetch();  // else what waits is purged
        manager->SwitchOperateMode(synchronous, 0);
        EXPECT_EQ(readers(), 0u);
        platform.clock().sleep(static_cast<std::uint32_t>(random() % 50));
        fetch();  // the record of the switch's own pass
        manager->SwitchOperateMode(5, 0);
        EXPECT_EQ(readers(), 1u);
    }
    platform.advance(200);
    fetch();
    EXPECT_TRUE(std::is_sorted(fetched.begin(), fetched.end()));
    std::vector<std::string> all = fetched;
    for (const std::string& text : purged()) all.push_back(text);
    std::sort(all.begin(), all.end());
    std::vector<std::string> expected;
    for (unsigned n = 0; n < kCount; ++n) expected.push_back(number(n));
    EXPECT_EQ(all, expected);
    EXPECT_GT(fetched.size(), kCount / 4);
}

// The same without a terminator and through the event mode, with no time in the synchronous mode.
TEST_P(ToAndFroTest, ThroughTheEventModeWithoutAPause) {
    constexpr unsigned kCount = 200;
    std::minstd_rand random(GetParam());
    open();
    manager->SwitchOperateMode(1, 0);
    platform.interleave(GetParam(), 3);
    for (unsigned n = 0; n < kCount; ++n) comm.feedAfter(20ms * n + 3ms, confirmation(n));
    std::vector<std::string> fetched;
    std::uint32_t background = 1;
    for (const auto end = platform.elapsed() + 20 * kCount; platform.elapsed() < end;) {
        platform.clock().sleep(10 + static_cast<std::uint32_t>(random() % 100));
        manager->SwitchOperateMode(0, 0);
        for (const std::string& text : fetchAll()) fetched.push_back(text);
        background = 3 - background;  // 1 and 2 in turn
        manager->SwitchOperateMode(background, 0);
        EXPECT_EQ(readers(), 1u);
    }
    platform.advance(200);
    for (const std::string& text : fetchAll()) fetched.push_back(text);
    std::vector<std::string> told;
    for (const std::string& text : listener->texts()) {
        if (text.starts_with("01")) told.push_back(text);
    }
    EXPECT_TRUE(std::is_sorted(fetched.begin(), fetched.end()));
    EXPECT_TRUE(std::is_sorted(told.begin(), told.end()));
    std::vector<std::string> all = fetched;
    all.insert(all.end(), told.begin(), told.end());
    for (const std::string& text : purged()) all.push_back(text);
    std::sort(all.begin(), all.end());
    std::vector<std::string> expected;
    for (unsigned n = 0; n < kCount; ++n) expected.push_back(number(n));
    EXPECT_EQ(all, expected);
    EXPECT_GT(told.size(), 20u);
}

INSTANTIATE_TEST_SUITE_P(Seeds, ToAndFroTest, ::testing::Range(1u, 21u));

}  // namespace
}  // namespace mova
