// The pauses between the looks at the line: what ends them early, and when they are left to last their time.
#include "device/InputWait.h"
#include "unit/device/HandsetFixture.h"

namespace mova {
namespace {

using namespace std::chrono_literals;
using ::testing::Each;
using ::testing::ElementsAre;

class InputWaitTest : public HandsetFixture {
protected:
    InputWaitTest() { openQuietly(); }

    // One pause; the time it took in microseconds.
    std::int64_t pause(std::uint32_t milliseconds, std::uint32_t waiting = 0, std::uint32_t taken = 0) {
        const auto before = platform.now();
        last = wait.pause(milliseconds, waiting, taken);
        return (platform.now() - before).count();
    }
    // A pause that a byte ends at once, and the look that takes it.
    std::int64_t pauseForOneByte(std::uint32_t takenBefore) {
        comm.feed("x");
        const std::int64_t took = pause(1, takenBefore, takenBefore);
        port.readWaiting(byte, 1);
        return took;
    }

    InputWait wait{platform, port};
    WaitResult last = WaitResult::Failed;
    char byte[1] = {};
};

TEST_F(InputWaitTest, LastsItsTimeWhileTheLineIsSilent) {
    EXPECT_EQ(pause(25), 25'000);
    EXPECT_EQ(last, WaitResult::TimedOut);
}

TEST_F(InputWaitTest, BytesEndIt) {
    comm.feedAfter(300us, "O");
    EXPECT_EQ(pause(1), 300);
    EXPECT_EQ(last, WaitResult::Signalled);
}

TEST_F(InputWaitTest, StopEventEndsIt) {
    platform.after(300us, [this] { port.stopEvent().set(); });
    EXPECT_EQ(pause(1), 300);
    EXPECT_EQ(last, WaitResult::Stopped);
}

TEST_F(InputWaitTest, LineThatTricklesIsLeftAloneAfter64LooksForLittle) {
    EXPECT_EQ(pauseForOneByte(0), 0);
    for (int look = 1; look <= 63; ++look) EXPECT_EQ(pauseForOneByte(1), 0) << look;
    EXPECT_EQ(pauseForOneByte(1), 1000);
    EXPECT_EQ(pauseForOneByte(11), 1000);
    EXPECT_EQ(platform.failures().calls(Op::AwaitInput), 64u);
}

TEST_F(InputWaitTest, LooksThatBringSixteenBytesDoNotCount) {
    for (int look = 0; look < 200; ++look) EXPECT_EQ(pauseForOneByte(16), 0) << look;
}

// After one quiet pause, which may be a gap, it is tried once; after two the line counts as quiet.
TEST_F(InputWaitTest, QuietLineIsWaitedForAgain) {
    pauseForOneByte(0);
    for (int look = 1; look <= 64; ++look) pauseForOneByte(1);
    EXPECT_EQ(pause(1, 1, 1), 1000);
    comm.feedAfter(300us, "x");
    EXPECT_EQ(pause(1, 0, 0), 300);
    port.readWaiting(byte, 1);
    EXPECT_EQ(pauseForOneByte(1), 1000);

    EXPECT_EQ(pause(1, 1, 1), 1000);
    EXPECT_EQ(pause(1, 0, 0), 1000);
    EXPECT_EQ(pauseForOneByte(0), 0);
    for (int look = 1; look <= 63; ++look) EXPECT_EQ(pauseForOneByte(1), 0) << look;
    EXPECT_EQ(pauseForOneByte(1), 1000);
}

TEST_F(InputWaitTest, BytesThatAreToldOfAndNotThereMakePausesLastUntilSomeCome) {
    platform.failures().fail(Op::AwaitInput).always().as(FailureKind::ForNothing);
    EXPECT_EQ(pause(1), 0);
    EXPECT_EQ(pause(1), 1000);
    EXPECT_EQ(pause(1), 1000);
    EXPECT_EQ(pause(1, 3, 3), 0);
}

TEST_F(InputWaitTest, BytesThatCannotBeReadMakePausesLast) {
    comm.feed("x");
    EXPECT_EQ(pause(1, 1, 0), 1000);
    EXPECT_EQ(pause(1, 1, 0), 1000);
    EXPECT_EQ(platform.failures().calls(Op::AwaitInput), 0u);
}

TEST_F(InputWaitTest, DriverThatCannotWaitIsLookedAt256TimesWithoutAPause) {
    platform.failures().fail(Op::AwaitInput).always().as(FailureKind::WaitFailed);
    for (int look = 1; look <= 256; ++look) EXPECT_EQ(pause(1), 0) << look;
    EXPECT_EQ(pause(1), 1000);
    EXPECT_EQ(pause(1), 1000);
    EXPECT_THAT(platform.journal().only({Op::Sleep}), Each("sleep 0"));
}

TEST_F(InputWaitTest, ClosedPortIsNotWaitedFor) {
    port.close();
    port.stopEvent().reset();
    forget();
    EXPECT_EQ(pause(1), 1000);
    EXPECT_THAT(platform.journal().serial(), ElementsAre());
}

TEST_F(InputWaitTest, WaitForTheStopEventThatFailsIsAPauseAllTheSame) {
    port.close();
    port.stopEvent().reset();
    platform.failures().fail(Op::EventWait);
    EXPECT_EQ(pause(25), 25'000);
    EXPECT_EQ(last, WaitResult::TimedOut);
}

}  // namespace
}  // namespace mova
