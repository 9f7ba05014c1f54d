#include <vector>

#include "atchannel/AtProperties.h"
#include "unit/atchannel/AtFixture.h"

namespace mova {
namespace {

using ::testing::ElementsAre;

using AtPropertiesTest = AtLayerTest;

const std::string kWakeFrame("AT*\x02\x00\x03\x01\x00\x00\x0A\x0D", 11);
constexpr const char* kWakeTrace = "9 AT*0200030100000A0D";

struct SendCase {
    std::uint32_t id;
    std::uint32_t parameter;
    const char* sent;
    bool traced;
    std::int64_t pause;
};

class AtPropertySendTest : public AtPropertiesTest, public ::testing::WithParamInterface<SendCase> {};

TEST_P(AtPropertySendTest, SendsTheCommandAndPauses) {
    const SendCase& c = GetParam();
    session.synchronous = false;
    const auto before = platform.elapsed();
    EXPECT_EQ(properties.set(c.id, c.parameter), 0u);
    EXPECT_EQ(comm.written(), std::string(c.sent) + "\r");
    EXPECT_EQ(platform.elapsed() - before, c.pause);
    if (c.traced) {
        EXPECT_THAT(trace.lines(), ElementsAre("9 " + std::string(c.sent)));
    } else {
        EXPECT_THAT(trace.lines(), ElementsAre());
    }
}

INSTANTIATE_TEST_SUITE_P(
    Ids, AtPropertySendTest,
    ::testing::Values(SendCase{1, 1, "ATE1", true, 100}, SendCase{1, 0, "ATE0", true, 100},
                      SendCase{1, 2, "ATE0", true, 100}, SendCase{1, 4294967295u, "ATE0", true, 100},
                      SendCase{3, 0, "AT*UARTSWAP", false, 100}, SendCase{4, 0, "ATD112;", true, 100},
                      SendCase{5, 0, "ATH", false, 100}, SendCase{6, 0, "AT+CFUN=1", false, 100},
                      SendCase{7, 0, "AT+COPS=0", false, 100}, SendCase{8, 0, "AT*SLEEPMODE=1", true, 100},
                      SendCase{9, 0, "AT*SLEEPMODE=0", true, 100}, SendCase{10, 5, "ATS0=5", true, 200},
                      SendCase{10, 0, "ATS0=0", true, 200}, SendCase{10, 4294967295u, "ATS0=-1", true, 200},
                      SendCase{11, 0, "<j", true, 100}, SendCase{12, 1, "AT*BYPASS=1", true, 100},
                      SendCase{12, 2, "AT*BYPASS=0", true, 100}, SendCase{13, 0, "<k", true, 100},
                      SendCase{14, 1, "AT*BOARDTEST=1", true, 100}, SendCase{14, 0, "AT*BOARDTEST=0", true, 100}),
    [](const auto& test) {
        return "Id" + std::to_string(test.param.id) + "With" + std::to_string(test.param.parameter);
    });

struct WaitCase {
    std::uint32_t id;
    std::uint32_t parameter;
    const char* sent;
    bool traced;
    std::int64_t wait;
    std::vector<std::string> accepted;
    std::vector<std::string> refused;
};

const std::vector<std::string> kFinal{"OK", "ERROR"};
const std::vector<std::string> kPrompts{">j", ">k"};

class AtPropertyWaitTest : public AtPropertiesTest, public ::testing::WithParamInterface<WaitCase> {};

TEST_P(AtPropertyWaitTest, WaitsForItsAnswers) {
    const WaitCase& c = GetParam();
    for (const std::string& answer : c.accepted) {
        trace.clear();
        comm.clearWritten();
        comm.expect(std::string(c.sent) + "\r").reply(answer + "\r\n", 40ms);
        EXPECT_EQ(properties.set(c.id, c.parameter), 0u) << answer;
        EXPECT_EQ(trace.of(TraceKind::AtSent),
                  c.traced ? std::vector<std::string>{c.sent} : std::vector<std::string>{});
    }
    for (const std::string& answer : c.refused) {
        comm.expect(std::string(c.sent) + "\r").reply(answer + "\r\n", 40ms);
        const auto before = platform.elapsed();
        EXPECT_EQ(properties.set(c.id, c.parameter), 0x4004u) << answer;
        EXPECT_GE(platform.elapsed() - before, c.wait);
        EXPECT_LE(platform.elapsed() - before, c.wait + 5);
    }
}

INSTANTIATE_TEST_SUITE_P(Ids, AtPropertyWaitTest,
                         ::testing::Values(WaitCase{101, 1, "ATE1", true, 800, kFinal, kPrompts},
                                           WaitCase{101, 2, "ATE0", true, 800, kFinal, kPrompts},
                                           WaitCase{103, 0, "AT*UARTSWAP", false, 1500, kFinal, kPrompts},
                                           WaitCase{104, 0, "ATD112;", true, 8000, kFinal, kPrompts},
                                           WaitCase{105, 0, "ATH", false, 1500, kFinal, kPrompts},
                                           WaitCase{106, 0, "AT+CFUN=1", false, 1500, kFinal, kPrompts},
                                           WaitCase{107, 0, "AT+COPS=0", true, 1500, kFinal, kPrompts},
                                           WaitCase{108, 0, "AT*SLEEPMODE=1", true, 1000, kFinal, kPrompts},
                                           WaitCase{109, 0, "AT*SLEEPMODE=0", true, 1000, kFinal, kPrompts},
                                           WaitCase{110, 7, "ATS0=7", true, 1000, kFinal, kPrompts},
                                           WaitCase{111, 0, "<j", true, 100, {">j", "OK"}, {">k", "ERROR"}},
                                           WaitCase{112, 1, "AT*BYPASS=1", true, 1000, kFinal, kPrompts},
                                           WaitCase{112, 0, "AT*BYPASS=0", true, 1000, kFinal, kPrompts},
                                           WaitCase{113, 0, "<k", true, 100, {">k"}, {">j", "OK", "ERROR"}},
                                           WaitCase{114, 1, "AT*BOARDTEST=1", true, 1000, kFinal, kPrompts},
                                           WaitCase{114, 2, "AT*BOARDTEST=0", true, 1000, kFinal, kPrompts}),
                         [](const auto& test) {
                             return "Id" + std::to_string(test.param.id) + "With" +
                                    std::to_string(test.param.parameter);
                         });

TEST_F(AtPropertiesTest, UnknownIdsSendNothing) {
    for (std::uint32_t id = 0; id < 300; ++id) {
        if ((id >= 1 && id <= 14) || (id >= 101 && id <= 114)) continue;
        EXPECT_EQ(properties.set(id, 1), 12289u) << id;
    }
    EXPECT_EQ(properties.set(0xFFFFFFFF, 1), 12289u);
    EXPECT_EQ(comm.written(), "");
    EXPECT_EQ(platform.failures().calls(Op::Purge), 0u);
}

TEST_F(AtPropertiesTest, AFailedSendIsNotWaitedForButPausedAfter) {
    platform.failures().fail(Op::BeginWrite).twice().error(31);
    session.synchronous = false;
    const auto before = platform.elapsed();
    EXPECT_EQ(properties.set(101, 1), 0x4341u);
    EXPECT_EQ(platform.elapsed() - before, 500);  // the close of the failed port, no wait
}

TEST_F(AtPropertiesTest, PauseFollowsAFailedSend) {
    platform.failures().fail(Op::BeginWrite).error(31);
    session.synchronous = false;
    const auto before = platform.elapsed();
    EXPECT_EQ(properties.set(10, 1), 0x4341u);
    EXPECT_EQ(platform.elapsed() - before, 700);  // 500 ms of the close, 200 ms of the pause
}

TEST_F(AtPropertiesTest, IdTwoWritesTheWakeFrameRawBehindItsCommand) {
    session.synchronous = false;
    EXPECT_EQ(properties.set(2, 0), 0u);
    EXPECT_EQ(comm.written(), "AT\r" + kWakeFrame);
    EXPECT_THAT(trace.lines(), ElementsAre());
}

TEST_F(AtPropertiesTest, TheWakeFramesResultReplacesThatOfTheCommand) {
    session.synchronous = false;
    platform.failures().fail(Op::Await).as(FailureKind::TimedOut);
    comm.writesTake(1ms);
    EXPECT_EQ(properties.set(2, 0), 0u);  // the command's write timed out, the frame went out
    EXPECT_EQ(comm.written(), kWakeFrame);
}

TEST_F(AtPropertiesTest, TheFormsWithClearedQueueDropWhatCameBefore) {
    session.synchronous = false;
    MovaRetCmdTag old;
    old.valid = 1;
    answers.queue().append(old);
    comm.feed("stale\r\n");
    comm.expect("<j\r").reply(">j\r\n", 10ms);
    EXPECT_EQ(properties.set(111, 0), 0u);
    EXPECT_EQ(answers.queue().fetch(std::nullopt, ConfirmationQueue::Take::Remove).record.terminatorText, ">j");
    EXPECT_EQ(answers.queue().fetch(std::nullopt, ConfirmationQueue::Take::Remove).found, false);
}

// --- wake sequence

TEST_F(AtPropertiesTest, AHandsetThatIsAwakeIsNotSentTheWakeFrame) {
    comm.expect("AT\r").reply("OK\r\n", 20ms);
    EXPECT_EQ(properties.set(102, 0), 0u);
    EXPECT_EQ(comm.written(), "AT\r");
}

TEST_F(AtPropertiesTest, ErrorCountsAsAwake) {
    comm.expect("AT\r").reply("ERROR\r\n", 20ms);
    EXPECT_EQ(properties.set(102, 0), 0u);
    EXPECT_EQ(comm.written(), "AT\r");
}

class WakeAttemptTest : public AtPropertiesTest, public ::testing::WithParamInterface<int> {};

TEST_P(WakeAttemptTest, StopsAfterTheAttemptThatTheHandsetAnswers) {
    const int attempts = GetParam();
    comm.expect("AT\r");
    for (int i = 1; i <= attempts; ++i) {
        comm.expect(kWakeFrame);
        Exchange& at_ = comm.expect("AT\r");
        if (i == attempts) at_.reply("OK\r\n", 20ms);
    }
    EXPECT_EQ(properties.set(102, 0), 0u);
    EXPECT_TRUE(comm.conversationDone());
    std::vector<std::string> traced{"9 AT"};
    for (int i = 0; i < attempts; ++i) {
        traced.push_back(kWakeTrace);
        traced.push_back("9 AT");
    }
    std::vector<std::string> sent;
    for (const std::string& line : trace.lines()) {
        if (line.starts_with("9 ")) sent.push_back(line);
    }
    EXPECT_EQ(sent, traced);
}

INSTANTIATE_TEST_SUITE_P(Attempts, WakeAttemptTest, ::testing::Values(1, 2, 3));

TEST_F(AtPropertiesTest, AHandsetThatNeverAnswersStillGivesTheLastSendsResult) {
    const auto before = platform.elapsed();
    EXPECT_EQ(properties.set(102, 0), 0u);
    EXPECT_EQ(comm.written(), "AT\r" + kWakeFrame + "AT\r" + kWakeFrame + "AT\r" + kWakeFrame + "AT\r");
    const auto taken = platform.elapsed() - before;
    EXPECT_GE(taken, 150 + 3 * (500 + 150 + 1000));
    EXPECT_LE(taken, 150 + 3 * (500 + 150 + 1000) + 20);
}

TEST_F(AtPropertiesTest, AFailingWakeFrameEndsTheSequenceAfterItsPause) {
    platform.failures().fail(Op::BeginWrite).onCall(2).error(31);
    const auto before = platform.elapsed();
    EXPECT_EQ(properties.set(102, 0), 0x4341u);
    EXPECT_EQ(comm.written(), "AT\r");
    EXPECT_GE(platform.elapsed() - before, 150 + 500 + 1000);
    EXPECT_LE(platform.elapsed() - before, 150 + 500 + 1000 + 10);
}

TEST_F(AtPropertiesTest, AFailingCommandInTheMiddleEndsTheSequence) {
    platform.failures().fail(Op::BeginWrite).onCall(3).error(31);
    EXPECT_EQ(properties.set(102, 0), 0x4341u);
    EXPECT_EQ(comm.written(), "AT\r" + kWakeFrame);
}

TEST_F(AtPropertiesTest, TheFirstCommandsOwnFailureIsNotKept) {
    // The write fails and closes the port; the wait then times out, and the next write finds the port closed.
    platform.failures().fail(Op::BeginWrite).error(31);
    EXPECT_EQ(properties.set(102, 0), 0u);
}

TEST_F(AtPropertiesTest, AStopEndsTheSequenceAtItsFirstWait) {
    platform.after(60ms, [&] { port.stopEvent().set(); });
    // The wait reports the stop as no answer; the sequence then finds the stop again and again.
    EXPECT_EQ(properties.set(102, 0), 0u);
    EXPECT_EQ(comm.written().substr(0, 3), "AT\r");
}

}  // namespace
}  // namespace mova
