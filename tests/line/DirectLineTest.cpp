// Raw bytes on a real line.
#include <gtest/gtest.h>

#include <array>

#include "line/LineStation.h"

namespace mova::line {
namespace {

constexpr std::uint32_t kCollect = 0;  // any mode without a terminator

class DirectLine : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(station_.open(kCollect), 0U); }
    bool waiting(std::int32_t bytes) {
        return waitUntil([&] { return manager_.DirectQueryDataInQueue() == bytes; });
    }

    LineStation station_{atOnce(false)};
    CVeCmdManager& manager_ = station_.manager;
};

TEST_F(DirectLine, HexadecimalTextOutAndIn) {
    EXPECT_EQ(manager_.DirectQueryDataInQueue(), 0);
    const CountResult written = manager_.DirectWriteHexData("41540d", 3);
    EXPECT_EQ(written.code, 0U);
    EXPECT_EQ(written.count, 3);
    ASSERT_TRUE(waiting(6));
    const ReadResult first = manager_.DirectReadHexData(4);
    EXPECT_EQ(first.code, 0U);
    EXPECT_EQ(first.count, 4);
    EXPECT_EQ(first.data, "0D0A4F4B");
    EXPECT_EQ(manager_.DirectQueryDataInQueue(), 2);
    EXPECT_EQ(manager_.DirectReadHexData(100).data, "0D0A");
}

TEST_F(DirectLine, NothingQueuedIsNoData) {
    const ReadResult read = manager_.DirectReadHexData(10);
    EXPECT_EQ(read.code, 0U);
    EXPECT_EQ(read.count, 0);
    EXPECT_EQ(read.data, std::nullopt);
}

TEST_F(DirectLine, ArraysAreWrittenAndReadAsTheyAre) {
    const std::array<std::uint8_t, 8> command{'A', 'T', '+', 'C', 'G', 'M', 'M', '\r'};
    EXPECT_EQ(manager_.DirectWriteAsciiData(command, 8).count, 8);
    ASSERT_TRUE(waiting(14));
    std::array<std::uint8_t, 20> answer{};
    const CountResult read = manager_.DirectReadAsciiData(answer, 20);
    EXPECT_EQ(read.code, 0U);
    EXPECT_EQ(read.count, 14);
    EXPECT_EQ(std::string(answer.begin(), answer.begin() + 14), "\r\nAM-1\r\n\r\nOK\r\n");
    EXPECT_EQ(answer[14], 0);
}

TEST_F(DirectLine, BytesFromMemoryReachTheHandset) {
    const std::uint8_t command[] = {'A', 'T', '\r'};
    const CountResult written = manager_.DirectWriteByteData(command, 3);
    EXPECT_EQ(written.code, 0U);
    EXPECT_EQ(written.count, 3);
    EXPECT_TRUE(waiting(6));
}

TEST_F(DirectLine, EveryByteValueTravelsBothWays) {
    manager_.SetAtCmdProperty(1, 1);  // echo
    ASSERT_TRUE(waiting(6));
    manager_.DirectReadHexData(100);
    std::string hex;
    for (int c = 0; c < 256; ++c) {
        constexpr const char* kDigits = "0123456789ABCDEF";
        if (c == '\r' || c == '\n') continue;
        hex += kDigits[c / 16];
        hex += kDigits[c % 16];
    }
    EXPECT_EQ(manager_.DirectWriteHexData(hex + "0D", 255).count, 255);
    ASSERT_TRUE(waiting(255 + 9));  // the echo, and "ERROR" between line ends
    EXPECT_EQ(manager_.DirectReadHexData(254).data, hex);
}

TEST_F(DirectLine, WhatArrivesIsCollectedForATime) {
    manager_.DirectWriteHexData("41540D", 3);
    EXPECT_EQ(manager_.RetriveComPortData(3, 1000), "0D0A4F4B0D0A");
    EXPECT_EQ(manager_.RetriveComPortData(3, 30), "NULL");
    EXPECT_EQ(manager_.RetriveComPortData(1, 1000), std::nullopt);
}

TEST_F(DirectLine, BurstsAreCollectedUpToTheBuffersEnd) {
    station_.handset.with([](Handset& h) {
        for (int i = 0; i < 100; ++i) h.sendUnsolicited(PtyHandset::nowMicroseconds());  // 2200 bytes
    });
    ASSERT_TRUE(waiting(2200));
    const auto collected = manager_.RetriveComPortData(3, 50);
    ASSERT_TRUE(collected);
    EXPECT_EQ(collected->size(), 2U * 2048U);
    EXPECT_EQ(collected->substr(0, 44), "2A4D4F56413D30353030374530303030303037420D0A");  // *MOVA=05007E0000007B
    EXPECT_EQ(manager_.DirectQueryDataInQueue(), 152);
}

TEST_F(DirectLine, APortThatWasClosedIsOpenedByTheCall) {
    ASSERT_EQ(manager_.ResetCmdManager(0), 0U);
    EXPECT_EQ(manager_.RetriveComPortData(3, 10), std::nullopt);  // but not by this one
    EXPECT_EQ(manager_.IsCommDeviceOpen(), 0);
    EXPECT_EQ(manager_.DirectWriteHexData("41540D", 3).count, 3);
    EXPECT_EQ(manager_.IsCommDeviceOpen(), 1);
    EXPECT_TRUE(waiting(6));
}

TEST(DirectLineGate, NothingMovesBeforeTheObjectIsInitialised) {
    LineStation station;
    EXPECT_EQ(station.manager.DirectWriteHexData("41540D", 3).code, 0x4317U);
    EXPECT_EQ(station.manager.DirectReadHexData(3).code, 0x4317U);
    EXPECT_EQ(station.manager.DirectQueryDataInQueue(), 0);
    EXPECT_EQ(station.manager.IsCommDeviceOpen(), 0);
}

TEST_F(DirectLine, AnotherDeviceTypeTouchesNoPort) {
    ASSERT_EQ(manager_.ResetCmdManager(0), 0U);
    manager_.SetCommDeviceType(1, 0, 0);
    const CountResult written = manager_.DirectWriteHexData("41540D", 3);
    EXPECT_EQ(written.code, 0U);
    EXPECT_EQ(written.count, 0);
    EXPECT_EQ(manager_.DirectQueryDataInQueue(), 0);
    EXPECT_EQ(manager_.IsCommDeviceOpen(), 0);
}

}  // namespace
}  // namespace mova::line
