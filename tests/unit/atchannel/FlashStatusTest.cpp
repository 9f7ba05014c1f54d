#include <gtest/gtest.h>

#include <string>

#include "atchannel/FlashStatus.h"

namespace mova {
namespace {

// A record from its first six bytes; the ring and the reserved byte are zero. The checksum is given.
std::string record(const std::string& head, const std::string& checksum) {
    return head + std::string(2 * 61, '0') + checksum;
}

FlashStatus read(const std::string& text) {
    FlashStatus status;
    EXPECT_EQ(status.read(text), 0u) << text;
    return status;
}

constexpr LocalTime kTime{2026, 11, 21, 9, 7, 5, 0};

TEST(FlashStatus, BlankRecordCountsAsAllZero) {
    FlashStatus status = read(std::string(136, 'F'));
    EXPECT_EQ(status.statusText(), "Status:0,Count:0");
    EXPECT_EQ(status.failureText(), "FCount:0");
    EXPECT_EQ(status.text(), std::string(136, '0'));
}

TEST(FlashStatus, WrongChecksumOrSizeIsRefused) {
    FlashStatus status;
    EXPECT_EQ(status.read(record("010005070000", "00")), 0xB340u);  // 01^05^07 = 03
    EXPECT_EQ(status.read(record("010005070000", "03")), 0u);
    EXPECT_EQ(status.read(std::string(134, '0')), 0xB340u);
    EXPECT_EQ(status.read(""), 0xB340u);
}

TEST(FlashStatus, TellsStatusAndCounts) {
    const FlashStatus status = read(record("010005070100", "02"));  // 01^05^07^01 = 02
    EXPECT_EQ(status.statusText(), "Status:1,Count:5");
    EXPECT_EQ(status.failureText(), "FCount:263");  // 0x0107
}

TEST(FlashStatus, CountsNeverWrittenReadAsZero) {
    const FlashStatus status = read(record("0000FFFFFF00", "FF"));
    EXPECT_EQ(status.statusText(), "Status:0,Count:0");
    EXPECT_EQ(status.failureText(), "FCount:0");
}

TEST(FlashStatus, StartSetsInProgressAndForgetsOldEntries) {
    FlashStatus status = read(record("000105000000", "04"));
    EXPECT_EQ(status.start(), 0u);
    EXPECT_EQ(status.text(), record("010005000000", "04"));
}

TEST(FlashStatus, StartWhileInProgressKeepsTheEntry) {
    FlashStatus status = read(record("010105000000", "05"));
    EXPECT_EQ(status.start(), 0u);
    EXPECT_EQ(status.text(), record("010105000000", "05"));
}

TEST(FlashStatus, StartAtTheCountersLimitIsRefused) {
    FlashStatus status = read(record("0000FE000000", "FE"));
    EXPECT_EQ(status.start(), 0xB341u);
    FlashStatus below = read(record("0000FD000000", "FD"));
    EXPECT_EQ(below.start(), 0u);
    FlashStatus never = read(record("0000FF000000", "FF"));
    EXPECT_EQ(never.start(), 0u);
}

TEST(FlashStatus, EntryWithoutAStartIsRefused) {
    FlashStatus status = read(record("000000000000", "00"));
    EXPECT_EQ(status.enter(1, 2, kTime), 0xB342u);
}

TEST(FlashStatus, EntryIsWrittenAtTheRingIndexWithItsTimePacked) {
    FlashStatus status = read(record("010000000002", "03"));  // ring index 2: byte 26
    EXPECT_EQ(status.enter(0x7F, 0x12345678, kTime), 0u);
    const std::string text = status.text();
    EXPECT_EQ(text.substr(0, 12), "010100000003");
    EXPECT_EQ(text.substr(2 * 26, 20), "7F785634122611210907");
}

TEST(FlashStatus, RingIndexWrapsFromFiveToZeroAndAboveFiveCountsAsZero) {
    FlashStatus last = read(record("010000000005", "04"));
    EXPECT_EQ(last.enter(1, 0, kTime), 0u);
    EXPECT_EQ(last.text().substr(10, 2), "00");
    EXPECT_EQ(last.text().substr(2 * 56, 2), "01");
    FlashStatus beyond = read(record("010000000006", "07"));
    EXPECT_EQ(beyond.enter(1, 0, kTime), 0u);
    EXPECT_EQ(beyond.text().substr(10, 2), "01");
    EXPECT_EQ(beyond.text().substr(2 * 6, 2), "01");
}

TEST(FlashStatus, EndCountsOnlyWhenAnEntryWasMade) {
    FlashStatus without = read(record("010005000000", "04"));
    EXPECT_EQ(without.end(), 0u);
    EXPECT_EQ(without.statusText(), "Status:0,Count:5");
    FlashStatus with = read(record("010105000000", "05"));
    EXPECT_EQ(with.end(), 0u);
    EXPECT_EQ(with.statusText(), "Status:0,Count:6");
}

TEST(FlashStatus, CountGoesTo253ThenRefusesThenWrapsToOne) {
    FlashStatus at252 = read(record("0101FC000000", "FC"));
    EXPECT_EQ(at252.end(), 0u);
    EXPECT_EQ(at252.statusText(), "Status:0,Count:253");
    FlashStatus at253 = read(record("0101FD000000", "FD"));
    EXPECT_EQ(at253.end(), 0xB341u);
    FlashStatus at254 = read(record("0101FE000000", "FE"));
    EXPECT_EQ(at254.end(), 0u);
    EXPECT_EQ(at254.statusText(), "Status:0,Count:1");
    FlashStatus never = read(record("0101FF000000", "FF"));
    EXPECT_EQ(never.end(), 0u);
    EXPECT_EQ(never.statusText(), "Status:0,Count:1");
}

TEST(FlashStatus, FailureCountGoesTo253AndStartsAtOneWhenNeverWritten) {
    FlashStatus at252 = read(record("000000FC0000", "FC"));
    EXPECT_EQ(at252.fail(), 0u);
    EXPECT_EQ(at252.failureText(), "FCount:253");
    EXPECT_EQ(at252.fail(), 0xB341u);
    FlashStatus at65534 = read(record("000000FEFF00", "01"));
    EXPECT_EQ(at65534.fail(), 0xB341u);
    FlashStatus never = read(record("000000FFFF00", "00"));
    EXPECT_EQ(never.fail(), 0u);
    EXPECT_EQ(never.failureText(), "FCount:1");
}

}  // namespace
}  // namespace mova
