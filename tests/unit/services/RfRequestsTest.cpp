#include <vector>

#include "services/RfRequests.h"
#include "unit/services/ServicesFixture.h"

namespace mova {
namespace {

using ::testing::ElementsAre;

class RfRequestsTest : public ServicesTest {
protected:
    RfRequestsTest() { session.synchronous = false; }  // only what is sent; waiting has its own tests
    RfRequests rf{sender};
};

TEST_F(RfRequestsTest, GeneralTestSendsEightBytesAndTheServiceOnly) {
    EXPECT_EQ(rf.generalTest(5, 0x0102), 0u);
    EXPECT_EQ(comm.written(), "AT*MOVA=090005000201000000000F\r");
}

TEST_F(RfRequestsTest, ChangedParameterTravelsLowByteFirst) {
    EXPECT_EQ(rf.changeParameter(1, 2, 3, 0xABCD), 0u);
    EXPECT_EQ(comm.written(), "AT*MOVA=0B000102030002000000CDAB6F\r");
}

TEST_F(RfRequestsTest, TestCaseCarriesRequestAndAccessOnly) {
    EXPECT_EQ(rf.testCase(8, 9), 0u);
    EXPECT_EQ(comm.written(), "AT*MOVA=0900080900000000000008\r");
}

TEST_F(RfRequestsTest, WithoutAnArrayNothingIsSent) {
    EXPECT_EQ(rf.changeTable(7, 1, 2, 3, std::nullopt), 12289u);
    EXPECT_EQ(comm.written(), "");
}

TEST_F(RfRequestsTest, TableIsBoundedByItsLengthByTheArrayAndBy1024) {
    const std::vector<std::uint8_t> three{0x0A, 0x0B, 0x0C};
    EXPECT_EQ(rf.changeTable(7, 1, 2, 60000, three), 0u);
    EXPECT_EQ(comm.written(), "AT*MOVA=0C0007010200030000000A0B0C06\r");
    comm.clearWritten();
    EXPECT_EQ(rf.changeTable(7, 1, 2, 3, std::vector<std::uint8_t>{0x0A, 0x0B, 0x0C, 0x0D}), 0u);
    EXPECT_EQ(comm.written(), "AT*MOVA=0C0007010200030000000A0B0C06\r");
    comm.clearWritten();
    EXPECT_EQ(rf.changeTable(7, 1, 2, 2000, std::vector<std::uint8_t>(2000, 0)), 0u);
    // Eleven segments: ten of 100 bytes and one of 24.
    EXPECT_EQ(comm.writes().size(), 11u);
    EXPECT_EQ(comm.writes().back().bytes.substr(0, 28), "AT*MOVA=21000701020018000B0B");
}

TEST_F(RfRequestsTest, EmptyTableIsOneFrameOfEightBytes) {
    EXPECT_EQ(rf.changeTable(5, 0, 0x0102, 9, std::vector<std::uint8_t>{}), 0u);
    EXPECT_EQ(comm.written(), "AT*MOVA=090005000201000000000F\r");
}

// Data of zeros, so that only heads and checksums differ. Head: length, service 1, access 2, index 3, segment's length,
// segment number, segment count.
struct SegmentCase {
    std::size_t bytes;
    std::vector<std::string> heads;      // up to the data
    std::vector<std::string> checksums;  // worked out by hand: the exclusive-or of the head's bytes
    std::vector<std::size_t> data;       // bytes of data
};

class RfSegmentsTest : public RfRequestsTest, public ::testing::WithParamInterface<SegmentCase> {};

TEST_P(RfSegmentsTest, DataIsCutIntoSegmentsOf100Bytes) {
    const SegmentCase& c = GetParam();
    EXPECT_EQ(rf.changeTable(1, 2, 3, static_cast<std::uint16_t>(c.bytes), std::vector<std::uint8_t>(c.bytes, 0)), 0u);
    std::vector<std::string> expected;
    for (std::size_t i = 0; i < c.heads.size(); ++i) {
        expected.push_back("AT*MOVA=" + c.heads[i] + std::string(2 * c.data[i], '0') + c.checksums[i] + "\r");
    }
    EXPECT_EQ(comm.writeTexts(), expected);
}

INSTANTIATE_TEST_SUITE_P(
    Sizes, RfSegmentsTest,
    ::testing::Values(
        // 09^00^01^02^03^00 = 09; 0A.. as given
        SegmentCase{0, {"09000102030000000000"}, {"09"}, {0}}, SegmentCase{1, {"0A000102030001000000"}, {"0B"}, {1}},
        SegmentCase{99, {"6C000102030063000000"}, {"0F"}, {99}},
        SegmentCase{100, {"6D000102030064000000"}, {"09"}, {100}},
        SegmentCase{101, {"6D000102030064000102", "0A000102030001000202"}, {"0A", "0B"}, {100, 1}},
        SegmentCase{200, {"6D000102030064000102", "6D000102030064000202"}, {"0A", "09"}, {100, 100}},
        SegmentCase{201,
                    {"6D000102030064000103", "6D000102030064000203", "0A000102030001000303"},
                    {"0B", "08", "0B"},
                    {100, 100, 1}}),
    [](const auto& test) { return std::to_string(test.param.bytes) + "Bytes"; });

TEST_F(RfRequestsTest, TextFormReachesEachRequest) {
    EXPECT_EQ(rf.byText(1, 1, "2,3,43981"), 0u);
    EXPECT_EQ(rf.byText(2, 7, "1,2,3,0A0B0C"), 0u);
    EXPECT_EQ(rf.byText(3, 7, "5"), 0u);
    EXPECT_EQ(rf.byText(4, 1, "2,3,43981"), 0u);
    EXPECT_EQ(rf.byText(9, 7, "300"), 0u);
    EXPECT_THAT(comm.writeTexts(),
                ElementsAre("AT*MOVA=0B000102030002000000CDAB6F\r", "AT*MOVA=0C0007010200030000000A0B0C06\r",
                            "AT*MOVA=090007050000000000000B\r", "AT*MOVA=0B000102030002000000CDAB6F\r",
                            "AT*MOVA=090007002C010000000023\r"));
}

TEST_F(RfRequestsTest, TextFormReadsMissingAndBadTokensAsZeroAndCutsToTheWidth) {
    EXPECT_EQ(rf.byText(1, 1, ""), 0u);             // access 0, index 0, parameter 0
    EXPECT_EQ(rf.byText(1, 1, "258,65539,x"), 0u);  // access 2, index 3, parameter 0
    EXPECT_EQ(rf.byText(1, 1, "-1,,1"), 0u);        // access 0xFF, index 0, parameter 1
    EXPECT_THAT(comm.writeTexts(),
                ElementsAre("AT*MOVA=0B000100000002000000000008\r", "AT*MOVA=0B000102030002000000000009\r",
                            "AT*MOVA=0B0001FF0000020000000100F6\r"));
}

TEST_F(RfRequestsTest, TextFormTakesWholePairsOfHexDigitsAndCountsOtherCharactersAsZero) {
    EXPECT_EQ(rf.byText(2, 7, "1,2,9,0a0B0Cf"), 0u);  // the last single digit is left out
    EXPECT_EQ(rf.byText(2, 7, "1,2,3,zA0BxC"), 0u);
    EXPECT_THAT(comm.writeTexts(),
                ElementsAre("AT*MOVA=0C0007010200030000000A0B0C06\r", "AT*MOVA=0C0007010200030000000A0B0C06\r"));
}

class RfAcknowledgementTest : public ServicesTest {
protected:
    RfRequests rf{sender};
};

TEST_F(RfAcknowledgementTest, SynchronousRequestWaitsForItsConfirmationWhichStaysQueued) {
    session.answerTerminator = "OK";
    comm.expect("AT*MOVA=090005000201000000000F\r").reply("*MOVA=05000500AABB11\r\n", 40ms).reply("OK\r\n", 20ms);
    EXPECT_EQ(rf.generalTest(5, 0x0102), 0u);
    EXPECT_GE(platform.elapsed(), 60);
    const auto item = answers.fetchBytes();
    EXPECT_EQ(item.length, 4u);
    EXPECT_EQ(item.data, std::string("\x05\x00\xAA\xBB", 4));
}

TEST_F(RfAcknowledgementTest, EachSegmentIsAcknowledgedBeforeTheNextIsWritten) {
    session.answerTerminator = "OK";
    const std::string first = "AT*MOVA=6D000102030064000102" + std::string(200, '0') + "0A\r";
    const std::string second = "AT*MOVA=0A000102030001000202000B\r";
    comm.expect(first).reply("OK\r\n", 30ms);
    comm.expect(second).reply("OK\r\n", 30ms);
    EXPECT_EQ(rf.changeTable(1, 2, 3, 101, std::vector<std::uint8_t>(101, 0)), 0u);
    ASSERT_EQ(comm.writes().size(), 2u);
    EXPECT_GE(comm.writes()[1].when - comm.writes()[0].when, 30ms);
}

TEST_F(RfAcknowledgementTest, SilenceEndsWithNoAnswerAfterTheThirdTimeout) {
    session.answerTerminator = "OK";
    session.setTimeout(3, 700);
    const auto before = platform.elapsed();
    EXPECT_EQ(rf.generalTest(5, 0x0102), 0x4004u);
    EXPECT_GE(platform.elapsed() - before, 700);
    EXPECT_LE(platform.elapsed() - before, 800);  // ten slices of 70 ms, the last one begun before the end
}

TEST_F(RfAcknowledgementTest, AConfirmationOfAnotherServiceIsAccepted) {
    session.answerTerminator = "OK";
    comm.expect("AT*MOVA=090005000201000000000F\r").reply("*MOVA=05000600AABB12\r\nOK\r\n", 10ms);
    EXPECT_EQ(rf.generalTest(5, 0x0102), 0u);
}

TEST_F(RfAcknowledgementTest, WithoutATerminatorOneLookAtThePortIsTheWholeWait) {
    const auto before = platform.elapsed();
    EXPECT_EQ(rf.generalTest(5, 0x0102), 0u);
    EXPECT_EQ(platform.elapsed(), before);
}

TEST_F(RfAcknowledgementTest, SynchronousRequestThrowsAwayWhatCameBefore) {
    comm.feed("*MOVA=05000500AABB11\r\nhalf a li");
    EXPECT_EQ(rf.generalTest(5, 0x0102), 0u);
    EXPECT_EQ(answers.fetchBytes().length, 0u);
    EXPECT_TRUE(answers.pending().empty());
    EXPECT_EQ(platform.failures().calls(Op::Purge), 1u);
}

TEST_F(RfAcknowledgementTest, BackgroundRequestNeitherPurgesNorWaits) {
    session.synchronous = false;
    comm.feed("half a li");
    EXPECT_EQ(rf.generalTest(5, 0x0102), 0u);
    EXPECT_EQ(platform.failures().calls(Op::Purge), 0u);
    EXPECT_EQ(comm.waiting(), 9u);
}

TEST_F(RfAcknowledgementTest, AFailingWriteEndsTheRequestWithItsCode) {
    session.synchronous = false;
    platform.failures().fail(Op::BeginWrite).onCall(2).error(31);
    EXPECT_EQ(rf.changeTable(1, 2, 3, 201, std::vector<std::uint8_t>(201, 0)), 0x4341u);
    EXPECT_EQ(comm.writes().size(), 1u);
}

TEST_F(RfAcknowledgementTest, FramesAreLoggedTracedAndPosted) {
    session.synchronous = false;
    log.setPath("C:\\a.log");
    platform.clock().setLocalTime({2024, 3, 5, 9, 7, 2, 45});
    EXPECT_EQ(rf.generalTest(5, 0x0102), 0u);
    EXPECT_THAT(trace.lines(), ElementsAre("1 090005000201000000000F\r"));
    EXPECT_THAT(platform.files().content("C:\\a.log"),
                ::testing::EndsWith("\t[AT] Send: AT*MOVA=090005000201000000000F\r\n"));
    EXPECT_THAT(platform.datagrams().texts(),
                ::testing::Contains("MovaCmdSvr:(COM7) Send: AT*MOVA=090005000201000000000F\r"));
}

}  // namespace
}  // namespace mova
