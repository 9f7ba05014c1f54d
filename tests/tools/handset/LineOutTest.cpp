#include <gtest/gtest.h>

#include "handset/LineOut.h"

namespace mova::handset {
namespace {

TEST(LineOut, AByteTakesTenBitTimes) {
    Faults faults;
    LineOut line(faults);
    line.setBaudRate(115200);
    EXPECT_EQ(line.byteNanoseconds(), 86'805U);
    line.setBaudRate(9600);
    EXPECT_EQ(line.byteNanoseconds(), 1'041'666U);
    line.setBaudRate(0);
    EXPECT_EQ(line.byteNanoseconds(), 0U);
}

TEST(LineOut, NothingIsDueOnAnIdleLine) {
    Faults faults;
    LineOut line(faults);
    EXPECT_TRUE(line.empty());
    EXPECT_EQ(line.nextDue(), std::nullopt);
    EXPECT_EQ(line.due(1'000'000), "");
}

TEST(LineOut, AByteHasLeftAByteTimeAfterItBegan) {
    Faults faults;
    LineOut line(faults);  // 115200
    line.send("OK", 1000);
    EXPECT_EQ(line.nextDue(), 1087U);  // 1000 + 86.805, to whole microseconds
    EXPECT_EQ(line.due(1086), "");
    EXPECT_EQ(line.due(1087), "O");
    EXPECT_EQ(line.nextDue(), 1174U);  // 1000 + 2 * 86.805
    EXPECT_EQ(line.due(1173), "");
    EXPECT_EQ(line.due(1174), "K");
    EXPECT_TRUE(line.empty());
}

TEST(LineOut, WhatHasLeftIsGivenOnce) {
    Faults faults;
    LineOut line(faults);
    line.send("ABCDEFGHIJ", 0);
    EXPECT_EQ(line.due(435), "ABCDE");  // 5 * 86.805 = 434.03
    EXPECT_EQ(line.due(435), "");
    EXPECT_EQ(line.due(10'000), "FGHIJ");
}

TEST(LineOut, OneAnswerWaitsForTheOther) {
    Faults faults;
    LineOut line(faults);
    line.setBaudRate(10'000);  // a millisecond a byte
    line.send("AB", 0);
    line.send("CD", 500);  // ready while "AB" is still leaving
    EXPECT_EQ(line.due(2000), "AB");
    EXPECT_EQ(line.due(2999), "");
    EXPECT_EQ(line.due(3000), "C");
    EXPECT_EQ(line.due(4000), "D");
}

TEST(LineOut, AnAnswerDoesNotLeaveBeforeItIsReady) {
    Faults faults;
    LineOut line(faults);
    line.setBaudRate(0);
    line.send("OK", 700);
    EXPECT_EQ(line.due(699), "");
    EXPECT_EQ(line.nextDue(), 700U);
    EXPECT_EQ(line.due(700), "OK");
}

TEST(LineOut, WithoutARateAllLeavesAtOnce) {
    Faults faults;
    LineOut line(faults);
    line.setBaudRate(0);
    line.send("first", 10);
    line.send("second", 10);
    EXPECT_EQ(line.due(10), "firstsecond");
}

TEST(LineOut, SplitGapLetsEveryByteArriveAlone) {
    Faults faults;
    faults.splitGapMicroseconds = 2000;
    LineOut line(faults);
    line.setBaudRate(0);
    line.send("OK\r", 0);
    EXPECT_EQ(line.due(1999), "");
    EXPECT_EQ(line.due(2000), "O");
    EXPECT_EQ(line.due(4000), "K");
    EXPECT_EQ(line.due(6000), "\r");
}

TEST(LineOut, TheLongerOfGapAndByteTimeCounts) {
    Faults faults;
    faults.splitGapMicroseconds = 500;
    LineOut line(faults);
    line.setBaudRate(10'000);
    line.send("OK", 0);
    EXPECT_EQ(line.nextDue(), 1000U);
}

TEST(LineOut, DroppedBytesNeverLeave) {
    Faults faults;
    faults.droppedPerMille = 1000;
    LineOut line(faults);
    line.send("OK\r\n", 0);
    EXPECT_TRUE(line.empty());
}

TEST(LineOut, NoiseComesBetweenTheBytes) {
    Faults faults;
    faults.noisePerMille = 1000;
    LineOut line(faults);
    line.setBaudRate(0);
    line.send("OK\r\n", 0);
    const std::string bytes = line.due(0);
    ASSERT_EQ(bytes.size(), 8U);  // one before each
    EXPECT_EQ(bytes[1], 'O');
    EXPECT_EQ(bytes[3], 'K');
    EXPECT_EQ(bytes[5], '\r');
    EXPECT_EQ(bytes[7], '\n');
}

TEST(LineOut, TheSameSeedGivesTheSameNoise) {
    const auto noisy = [](std::uint64_t seed) {
        Faults faults;
        faults.noisePerMille = 300;
        faults.droppedPerMille = 100;
        faults.seed = seed;
        LineOut line(faults);
        line.setBaudRate(0);
        line.send(std::string(200, 'x'), 0);
        return line.due(0);
    };
    EXPECT_EQ(noisy(7), noisy(7));
    EXPECT_NE(noisy(7), noisy(8));
}

TEST(LineOut, ALineThatIsClearedIsFreeAtOnce) {
    Faults faults;
    LineOut line(faults);
    line.setBaudRate(10'000);
    line.send(std::string(1000, 'x'), 0);  // a second's worth
    line.clear();
    EXPECT_EQ(line.nextDue(), std::nullopt);
    line.send("OK", 5000);
    EXPECT_EQ(line.due(7000), "OK");
}

}  // namespace
}  // namespace mova::handset
