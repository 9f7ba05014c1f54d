// RF, E2P, HCI and WiFi requests on a real line.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "line/LineStation.h"

namespace mova::line {
namespace {

std::string repeated(const std::string& text, std::size_t count) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i) all += text;
    return all;
}

// --- RF

TEST(RfLine, AGeneralTestIsConfirmed) {
    LineStation station;
    ASSERT_EQ(station.open(), 0U);
    ASSERT_EQ(station.manager.RfGeneralTestReq(5, 0x0102), 0U);
    const QueuedItem item = station.manager.FetchQueuedCnfItem();
    EXPECT_EQ(item.data, std::string("\x05\x00\x02\x01", 4));
    EXPECT_EQ(item.length, 4U);
    EXPECT_EQ(item.remained, 0U);
    EXPECT_EQ(item.error, 0U);
    EXPECT_EQ(station.manager.FetchQueuedCnfItem().length, 0U);  // it was the only one
}

TEST(RfLine, AParameterComesBackAsText) {
    LineStation station(atOnce(false));
    ASSERT_EQ(station.open(), 0U);
    ASSERT_EQ(station.manager.RfChangeParamReq(1, 2, 3, 0xABCD), 0U);
    const QueuedItem item = station.manager.FetchQueuedCnfTextItem();
    EXPECT_EQ(item.data, "01000300CDAB");
    EXPECT_EQ(item.length, 12U);
    ASSERT_EQ(station.manager.RfTestCaseReq(6, 1), 0U);
    EXPECT_EQ(station.manager.FetchQueuedCnfTextItem().data, "06000000");
    ASSERT_EQ(station.manager.VbRfVarReq(2, 7, "1,2,3,0A0B0C"), 0U);
    EXPECT_EQ(station.manager.FetchQueuedCnfTextItem().data, "070002000A0B0C");
}

TEST(RfLine, ATableIsSentInSegments) {
    LineStation station;
    ASSERT_EQ(station.open(), 0U);
    std::vector<std::uint8_t> table(1024);
    for (std::size_t i = 0; i < table.size(); ++i) table[i] = static_cast<std::uint8_t>(i);
    for (const std::uint16_t length :
         {std::uint16_t{0}, std::uint16_t{1}, std::uint16_t{99}, std::uint16_t{100}, std::uint16_t{101},
          std::uint16_t{200}, std::uint16_t{201}, std::uint16_t{1024}}) {
        ASSERT_EQ(station.manager.RfChangeTableReq(8, 0, 9, length, table), 0U) << length;
        const QueuedItem item = station.manager.FetchQueuedCnfItem();
        // Service, status and index, then what the handset took in: of a long table the first 200 bytes.
        std::string expected("\x08\x00\x09\x00", 4);
        for (int i = 0; i < std::min<int>(length, 200); ++i) expected += static_cast<char>(i);
        EXPECT_EQ(item.data, expected) << length;
    }
}

// --- E2P

TEST(E2pLine, AnObjectIsReadWrittenAndReadBack) {
    LineStation station;
    ASSERT_EQ(station.open(), 0U);
    EXPECT_EQ(station.manager.ReadE2PObject(0x1234, 2).text, "FFFF");
    const TextResult written = station.manager.WriteE2PObject(0x1234, 2, "aabb");
    EXPECT_EQ(written.code, 0U);
    EXPECT_EQ(written.text, "AABB");
    EXPECT_EQ(station.manager.ReadE2PObject(0x1234, 2).text, "AABB");
    station.handset.with([](Handset& h) { EXPECT_EQ(*h.store().find(0x1234, 2), "\xAA\xBB"); });
}

TEST(E2pLine, ARangeIsReadAndWritten) {
    LineStation station;
    ASSERT_EQ(station.open(), 0U);
    ASSERT_EQ(station.manager.WriteE2PObject(0x1234, 1, "000102030405060708090A0B0C0D0E0F").code, 0U);
    const RangeResult read = station.manager.ReadE2PObjectEx(0x1234, 1, 4, 6);
    EXPECT_EQ(read.code, 0U);
    EXPECT_EQ(read.length, 6);
    EXPECT_EQ(read.text, "020304");
    EXPECT_EQ(station.manager.WriteE2PObjectEx(0x1234, 1, 28, 8, "AABBCCDD").length, 4);  // it ends at 32
    EXPECT_EQ(station.manager.ReadE2PObject(0x1234, 1).text, "000102030405060708090A0B0C0DAABB");
    const RangeResult beyond = station.manager.ReadE2PObjectEx(0x1234, 1, 100, 6);
    EXPECT_EQ(beyond.length, 0);
    EXPECT_EQ(beyond.text, "");
}

TEST(E2pLine, ALongObjectTravelsInManySegments) {
    LineStation station;
    ASSERT_EQ(station.open(), 0U);
    const std::string content = repeated("0123456789", 1020);  // 5100 bytes, 43 segments there and 43 back
    const TextResult written = station.manager.WriteE2PObject(0x2000, 2, content);
    EXPECT_EQ(written.code, 0U);
    EXPECT_EQ(written.text, content);
    EXPECT_EQ(station.manager.ReadE2PObject(0x2000, 2).text, content);
}

TEST(E2pLine, SegmentsNumberedUpTo255AreJoined) {
    LineStation station;
    ASSERT_EQ(station.open(), 0U);
    station.handset.with([](Handset& h) {
        h.store().put(0x3000, 1, std::string(247, '\x5A'));  // with its head 255 bytes
        h.protocol().setSegmentSize(1);
    });
    EXPECT_EQ(station.manager.ReadE2PObject(0x3000, 1).text, repeated("5A", 247));
}

TEST(E2pLine, ProvisioningCommands) {
    LineStation station;
    ASSERT_EQ(station.open(), 0U);
    EXPECT_EQ(station.manager.SendE2PPasswd(0x1234, 2, "AABB").text, "AABB");
    EXPECT_EQ(station.manager.SendAuthReq(0x1234, 2).text, "0123456789ABCDEF");
    EXPECT_EQ(station.manager.SendAuthKey(0x1234, 2, "C0FFEE").text, "C0FFEE");
    EXPECT_EQ(station.manager.SendSerialNumber(0x1234, 2, "31323334").text, "31323334");
    EXPECT_EQ(station.manager.SendHashReq(0x1234, 2).text, repeated("5A", 20));
    const TextResult locked = station.manager.SendLockOtp(1, 2);
    EXPECT_EQ(locked.code, 0U);
    EXPECT_EQ(locked.text, "");
}

TEST(E2pLine, StatusesOfTheHandsetAreToldAsCodes) {
    LineStation station;
    ASSERT_EQ(station.open(), 0U);
    EXPECT_EQ(station.manager.ReadE2PObject(0x7777, 1).code, 0x8202U);         // status 3, no such object
    EXPECT_EQ(station.manager.ReadE2PObject(0x1234, 9).code, 0x8203U);         // 4, no such record
    EXPECT_EQ(station.manager.WriteE2PObject(0x1234, 2, "AA").code, 0x8204U);  // 5, another size
    struct Row {
        std::uint8_t status;
        std::uint32_t code;
    };
    for (const Row& row : {Row{1, 0x820C},
                           {2, 0x8201},
                           {12, 0x820B},
                           {13, 0x8313},
                           {14, 0x8314},
                           {15, 0x8310},
                           {16, 0x8311},
                           {17, 0x8312},
                           {18, 0x8315},
                           {19, 0x8316},
                           {20, 0x8317},
                           {21, 0x820C},
                           {255, 0x820C}}) {
        station.handset.with([&](Handset& h) { h.protocol().setE2pStatus(row.status); });
        const TextResult read = station.manager.ReadE2PObject(0x1234, 2);
        EXPECT_EQ(read.code, row.code) << int{row.status};
        EXPECT_EQ(read.text, std::nullopt) << int{row.status};
    }
}

// --- HCI and WiFi

TEST(HciLine, OptionsThatCarryACommand) {
    LineStation station;
    ASSERT_EQ(station.open(), 0U);
    for (const int option : {0, 4, 5, 16}) {
        const TextResult result = station.manager.HciAction(option, "0102");
        EXPECT_EQ(result.code, 0U) << option;
        EXPECT_EQ(result.text, "000102") << option;  // led by a status
    }
}

TEST(HciLine, OptionsThatCarryNone) {
    LineStation station;
    ASSERT_EQ(station.open(), 0U);
    for (const int option : {1, 2, 3}) {
        const TextResult result = station.manager.HciAction(option, "0102");
        EXPECT_EQ(result.code, 0U) << option;
        EXPECT_EQ(result.text, "00") << option;
    }
    EXPECT_EQ(station.manager.HciAction(6, "0102").code, 0x4305U);
}

TEST(HciLine, AStatusIsAFailureOfTwoOptions) {
    LineStation station;
    ASSERT_EQ(station.open(), 0U);
    station.handset.with([](Handset& h) { h.protocol().setHciStatus(0x0C); });
    EXPECT_EQ(station.manager.HciAction(1, "").code, 0xD303U);
    EXPECT_EQ(station.manager.HciAction(2, "").code, 0xD303U);
    EXPECT_EQ(station.manager.HciAction(3, "").text, "0C");
}

TEST(WifiLine, TheStatusOfAReplyIsTheCode) {
    LineStation station;
    ASSERT_EQ(station.open(), 0U);
    EXPECT_EQ(station.manager.WiFiAction(0x21, "AABB").text, "AABB");
    EXPECT_EQ(station.manager.WiFiAction(0x21, "").text, "");
    const auto withStatus = [&](std::uint8_t status) {
        station.handset.with([&](Handset& h) { h.protocol().setWifiStatus(status); });
        return station.manager.WiFiAction(0x21, "AABB").code;
    };
    EXPECT_EQ(withStatus(1), 0xD380U);
    EXPECT_EQ(withStatus(2), 0xD381U);
    EXPECT_EQ(withStatus(3), 0U);
}

// --- line conditions

TEST(RequestsLine, AnswersThatAreSplitAtEveryByteAreWhole) {
    LineStation station;
    ASSERT_EQ(station.open(), 0U);
    station.handset.with([](Handset& h) { h.faults().splitGapMicroseconds = 1500; });
    EXPECT_EQ(station.manager.ReadE2PObject(0x1234, 2).text, "FFFF");
    EXPECT_EQ(station.manager.RfGeneralTestReq(5, 0x0102), 0U);
    EXPECT_EQ(station.confirmation(), "05000201");
    station.setTimeout(Timeout::TextAcknowledgement, LineStation::kPatience);
    EXPECT_EQ(station.manager.WiFiAction(0x21, "AABB").text, "AABB");
    EXPECT_EQ(station.manager.HciAction(1, "").text, "00");
}

TEST(RequestsLine, AnswersInManySegmentsThatAreSplitAtEveryByteAreWhole) {
    LineStation station(atOnce(false));
    ASSERT_EQ(station.open(), 0U);
    station.handset.with([](Handset& h) {
        h.faults().splitGapMicroseconds = 200;
        h.protocol().setSegmentSize(3);
    });
    EXPECT_EQ(station.manager.ReadE2PObject(0x1234, 1).text, repeated("FF", 16));
}

TEST(RequestsLine, AHandsetOfItsOwnRateAndDelay) {
    Profile profile = atOnce();
    profile.baudRate = 19200;
    LineStation station(profile);
    ASSERT_EQ(station.open(), 0U);
    station.handset.with([](Handset& h) { h.faults().delayMicroseconds = 50'000; });
    EXPECT_EQ(station.manager.ReadE2PObject(0x1234, 2).text, "FFFF");
}

TEST(RequestsLine, TheTraceFileHoldsTheConversation) {
    LineStation station(atOnce(false));
    const std::string file = station.bench.file("trace.log");
    station.manager.ActivateMovaLogging(file, 0, 1);
    ASSERT_EQ(station.open(), 0U);
    ASSERT_EQ(station.manager.ReadE2PObject(0x1234, 2).code, 0U);
    ASSERT_EQ(station.manager.RfGeneralTestReq(5, 0x0102), 0U);
    const std::string trace = readFile(file);
    for (const char* record : {"E2P-S 0C00#800101-0600-80-00-3412-0200%\n2E\r\t\t\t\t[T:", "E2P-A %E2p Ack!\t\t\t\t[T:",
                               "E2P-R 0800-80-00-3412-0200%\nFFFF\n\t\t\t\t[T:", "E2P-A % E2p OK!\t\t\t\t[T:",
                               "Mv-S 0900#05-00-0201-0000-0000%0F\r\t\t\t\t[T:", "Mv-R 05-00-0201%\t\t\t\t[T:"}) {
        EXPECT_THAT(trace, testing::HasSubstr(record));
    }
}

}  // namespace
}  // namespace mova::line
