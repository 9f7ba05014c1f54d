// What waits has a bound: text for its terminator, answers for a caller. What is dropped leaves the engine ready for the
// next answer, and memory is given back.
#include <string>

#include "base/HeldText.h"
#include "transport/PendingText.h"
#include "unit/transport/TransportFixture.h"

namespace mova {
namespace {

using ::testing::ElementsAre;

constexpr std::size_t kMega = 1'000'000;
constexpr std::size_t kBound = 16'777'216;
constexpr std::size_t kBoundOfMemory = 18 * kMega;  // what is consumed and not yet moved is kept as well
constexpr std::size_t kPiece = 2048;                // of one pass

std::string numberedLine(std::size_t number) {  // 16 characters
    std::string digits = std::to_string(number);
    return "line " + std::string(9 - digits.size(), '0') + digits + "\r\n";
}

void appendNoise(PendingText& pending, std::size_t size, char noise = 'x') {
    const std::string piece(kPiece, noise);
    for (std::size_t done = 0; done < size; done += kPiece) pending.append(piece);
}

// --- pending text

TEST(HeldText, ALineWithoutEndIsHeldWithinTheBound) {
    PendingText pending;
    const std::string piece(kPiece, 'x');
    std::size_t longest = 0;
    std::size_t most = 0;
    for (std::size_t done = 0; done < 100 * kMega; done += kPiece) {
        pending.append(piece);
        longest = std::max(longest, pending.text().size());
        most = std::max(most, pending.heldMemory());
    }
    EXPECT_LE(longest, kBound);
    EXPECT_GT(longest, kBound - kPiece);
    EXPECT_LE(most, kBoundOfMemory);
}

TEST(HeldText, LinesThatAreConsumedOneByOneAreHeldWithinTheBound) {
    PendingText pending;
    std::string piece;
    while (piece.size() < kPiece) piece += "x\r\nOK\r\n";
    std::size_t most = 0;
    for (std::size_t done = 0; done < 40 * kMega; done += piece.size()) {
        pending.append(piece);
        const auto line = pending.findTerminator("OK");
        ASSERT_TRUE(line);
        pending.dropFront(line->end);
        most = std::max(most, pending.heldMemory());
    }
    EXPECT_LE(most, kBoundOfMemory);
}

TEST(HeldText, TheOlderHalfGoesUpToALineEndAndTheNewerStays) {
    PendingText pending;
    std::size_t number = 0;
    while (pending.text().size() + 16 <= kBound) pending.append(numberedLine(number++));
    EXPECT_EQ(pending.text().substr(0, 16), "line 000000000\r\n");
    pending.append(numberedLine(number));
    EXPECT_EQ(pending.text().size(), kBound / 2 + 16);
    EXPECT_EQ(pending.text().substr(0, 16), "line 000524288\r\n");
    EXPECT_TRUE(pending.text().ends_with("line 001048576\r\n"));
    EXPECT_EQ(pending.completeLines().size(), pending.text().size());
}

TEST(HeldText, TheRestOfALineThatLostItsBeginningGoesWhenItsEndComes) {
    PendingText pending;
    appendNoise(pending, 17 * kMega);
    pending.append("*MOVA=ACK\r");
    EXPECT_EQ(pending.completeLines(), "");
    pending.append("\nOK\r\n+CSQ");
    EXPECT_EQ(pending.text(), "OK\r\n+CSQ");
    const auto line = pending.findTerminator("OK");
    ASSERT_TRUE(line);
    EXPECT_EQ(line->start, 0U);
}

// The cut would lie behind "AT", which makes a confirmation of the echo.
TEST(HeldText, AFrameThatLiesAcrossTheCutIsNoFrame) {
    PendingText pending;
    const std::string frame = "AT*MOVA=0500050002010300\r\n";
    const std::string padding(kBound / 2 - 2, 'x');
    pending.append(padding.substr(0, padding.size() - 2) + "\r\n");
    pending.append(frame);
    pending.append(std::string(kBound - pending.text().size() - 2, 'y') + "\r\n");
    ASSERT_EQ(pending.text().size(), kBound);
    ASSERT_EQ(pending.text().substr(kBound / 2, 7), "*MOVA=0");
    pending.append("OK\r\n");
    EXPECT_EQ(pending.text().find("*MOVA="), std::string::npos);
    EXPECT_EQ(pending.text().substr(0, 3), "yyy");
}

TEST(HeldText, ALineEndAcrossTheCutIsALineEnd) {
    PendingText pending;
    pending.append(std::string(kBound / 2 - 1, 'x') + "\r\n");
    pending.append(std::string(kBound - pending.text().size(), 'y'));
    pending.append("OK\r\n");
    EXPECT_EQ(pending.completeLines().size(), kBound / 2 - 1 + 4);
    EXPECT_EQ(pending.completeLines().substr(0, 3), "yyy");
}

TEST(HeldText, ThatTextHadToGoIsToldOnceUntilSomeIsConsumed) {
    PendingText pending;
    const auto timesTold = [&](std::size_t size) {
        const std::string piece(kPiece - 2, 'x');
        int told = 0;
        for (std::size_t done = 0; done < size; done += kPiece) {
            told += pending.makeRoom(kPiece) ? 1 : 0;
            pending.append(piece);
            pending.append("\r\n");
        }
        return told;
    };
    EXPECT_EQ(timesTold(16 * kMega), 0);
    EXPECT_EQ(timesTold(60 * kMega), 1);
    pending.dropFront(kPiece);
    EXPECT_EQ(timesTold(60 * kMega), 1);
    pending.clear();
    EXPECT_EQ(timesTold(60 * kMega), 1);
}

TEST(HeldText, AClearGivesTheMemoryBack) {
    PendingText pending;
    appendNoise(pending, 15 * kMega);
    EXPECT_GT(pending.heldMemory(), 15 * kMega);
    pending.clear();
    EXPECT_LE(pending.heldMemory(), 65'536U);
}

TEST(HeldText, TheMemoryOfWhatIsConsumedIsGivenBack) {
    PendingText pending;
    appendNoise(pending, 15 * kMega);
    pending.append("\r\nOK\r\nrest");
    const auto line = pending.findTerminator("OK");
    ASSERT_TRUE(line);
    pending.dropFront(line->end);
    pending.giveBackMemory();
    EXPECT_EQ(pending.text(), "rest");
    EXPECT_LE(pending.heldMemory(), 65'536U);
}

// --- the engine

class HeldTextTest : public TransportTest {
protected:
    HeldTextTest() { platform.journal().keep(false); }

    // As a line brings it, pass by pass.
    void noise(std::size_t size, const std::string& terminator, const std::string& piece) {
        for (std::size_t done = 0; done < size; done += piece.size()) {
            comm.feed(piece);
            EXPECT_EQ(engine().run(0, terminator), Code::NoAnswer);
        }
    }
    std::vector<std::string> told() { return trace.of(TraceKind::FreeText); }
};

const char* const kTold =
    "More than 16777216 characters wait for their terminator: the older half is dropped, now and whenever as much "
    "waits again";

TEST_F(HeldTextTest, AnAnswerBehindFortyMegabytesOfNoiseIsWhole) {
    noise(40 * kMega, "OK", std::string(kPiece, 'x'));
    comm.feed("\r\n+CSQ: 21,99\r\n\r\nOK\r\n");
    EXPECT_EQ(engine().run(0, "OK"), Code::Success);
    ASSERT_EQ(answers.records.size(), 1U);
    EXPECT_EQ(answers.records[0].responseText, "+CSQ: 21,99\r\n\r\n");
    EXPECT_EQ(answers.records[0].terminatorText, "OK");
    EXPECT_EQ(answers.records[0].valid, 1U);
    EXPECT_THAT(told(), ElementsAre(kTold));
    EXPECT_LE(answers.pending().heldMemory(), 65'536U);
}

TEST_F(HeldTextTest, AFrameBehindFortyMegabytesOfLinesIsWhole) {
    std::string lines;
    while (lines.size() < kPiece) lines += "AT*MOVA=0500050002010300\r\n";
    lines.resize(kPiece);
    noise(40 * kMega, "OK", lines);
    comm.feed("\r\n*MOVA=05000500020103\r\nOK\r\n");
    EXPECT_EQ(engine().run(0, "OK"), Code::Success);
    ASSERT_EQ(answers.records.size(), 1U);
    EXPECT_EQ(answers.records[0].hexData, "05000201");
    EXPECT_EQ(answers.records[0].valid, 1U);
    EXPECT_THAT(told(), ElementsAre(kTold));
}

TEST_F(HeldTextTest, WithoutTerminatorsALineWithoutEndIsHeldWithinTheBound) {
    answers.toQueue = false;
    const std::string piece(kPiece, 'x');
    for (std::size_t done = 0; done < 20 * kMega; done += kPiece) {
        comm.feed(piece);
        EXPECT_EQ(engine().run(0, {}), Code::Success);
    }
    EXPECT_LE(answers.pending().heldMemory(), kBoundOfMemory);
    EXPECT_THAT(told(), ElementsAre(kTold));
    answers.records.clear();
    comm.feed("OK\r\nRING\r\n");
    EXPECT_EQ(engine().run(0, {}), Code::Success);
    ASSERT_EQ(answers.records.size(), 1U);
    EXPECT_EQ(answers.records[0].responseText, "RING\r\n");
}

// --- the queue

TEST_F(HeldTextTest, AQueueOfMoreThanTheBoundIsEmptiedWholeFirst) {
    const auto append = [&](char c) {
        return queue().append(makeRecord(LineClass::Confirmation, std::string(4 * kMega, c), "OK", "05"));
    };
    for (const char c : {'a', 'b', 'c', 'd'}) EXPECT_FALSE(append(c));
    EXPECT_TRUE(append('e'));
    const auto fetched = queue().fetch(std::nullopt, ConfirmationQueue::Take::Remove);
    EXPECT_EQ(fetched.record.responseText.substr(0, 1), "e");
    EXPECT_EQ(fetched.remaining, 0U);
}

TEST_F(HeldTextTest, ARecordLongerThanTheBoundIsKept) {
    EXPECT_FALSE(queue().append(makeRecord(LineClass::Confirmation, std::string(17 * kMega, 'a'))));
    EXPECT_EQ(queue().fetch(std::nullopt, ConfirmationQueue::Take::Remove).record.responseText.size(), 17 * kMega);
}

}  // namespace
}  // namespace mova
