// What the texts of the record kinds say, each worked out by hand from its frame.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "trace/TraceRecord.h"

namespace mova::trace {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

std::string data(const std::string& text) {
    Record record;
    record.text = text;
    return dataOf(record, decode(text));
}

TEST(RecordKinds, AreToldByTheirBeginnings) {
    EXPECT_EQ(kindOf(""), RecordKind::Empty);
    EXPECT_EQ(kindOf("Mv-S 0900#05-00-0201-0000-0000%0F"), RecordKind::RfSent);
    EXPECT_EQ(kindOf("Mv-R 05-00-0201%"), RecordKind::RfReply);
    EXPECT_EQ(kindOf("E2P-S 0C00#800101-0600-80-00-3412-0200%\n2E"), RecordKind::E2pFirstSent);
    EXPECT_EQ(kindOf("E2P-S 0500#800202%1122AA"), RecordKind::E2pLaterSent);
    EXPECT_EQ(kindOf("E2P-R 0800-80-00-3412-0200%\nAABB\n"), RecordKind::E2pReply);
    EXPECT_EQ(kindOf("E2P-A %E2p Ack!"), RecordKind::AckSeen);
    EXPECT_EQ(kindOf("E2P-A % E2p OK!"), RecordKind::OkSeen);
    EXPECT_EQ(kindOf("E2P-Msg 0600800034120200%"), RecordKind::E2pMessage);
    EXPECT_EQ(kindOf("AT-S AT+CSQ"), RecordKind::AtSent);
    EXPECT_EQ(kindOf("AT-R OK"), RecordKind::AtReply);
    EXPECT_EQ(kindOf("Mv-A %Mova Checksum Error!"), RecordKind::BadChecksum);
    EXPECT_EQ(kindOf("Mv-R-Error *MOVA=01 -- 0x3001"), RecordKind::ReplyInError);
    EXPECT_EQ(kindOf("AT-Purge RING"), RecordKind::Purged);
    EXPECT_EQ(kindOf("HCI-S 0900#A00101-0200-00%\n0102A8"), RecordKind::HciFirstSent);
    EXPECT_EQ(kindOf("HCI-S 0500#A00202%1122AA"), RecordKind::HciLaterSent);
    EXPECT_EQ(kindOf("HCI-R 0200-03%\n0300CC\n"), RecordKind::HciReply);
    EXPECT_EQ(kindOf("Mv-ECHO AT*MOVA=010001"), RecordKind::Echo);
    EXPECT_EQ(kindOf("Open Device:0,115200"), RecordKind::FreeText);
    EXPECT_EQ(kindOf("WIFI-S 0A00#B00101-21-00-0200%\nAABB88"), RecordKind::WifiFirstSent);
    EXPECT_EQ(kindOf("WIFI-S 0500#B00202%1122AA"), RecordKind::WifiLaterSent);
    EXPECT_EQ(kindOf("WIFI-R 21-00-0200%\nCCDD\n"), RecordKind::WifiReply);
}

// Payload 01 02 0300 0200 0000 CDAB: length 0B00, and the exclusive-or of all its bytes is 6F.
TEST(Decoding, AnRfRequestHasItsFieldsAndData) {
    const std::string text = "Mv-S 0B00#01-02-0300-0200-0000%CDAB6F";
    const Decoded decoded = decode(text);
    EXPECT_THAT(decoded.fields, ElementsAre(11, 1, 2, 3, 2, 0, 0));
    EXPECT_EQ(decoded.problem, "");
    EXPECT_EQ(data(text), "CDAB");
}

TEST(Decoding, AnRfSegmentCarriesNumberAndCount) {
    // 08 00 0900 0100 02 03 07: 0A ^ 00 ^ 08 ^ 00 ^ 09 ^ 00 ^ 01 ^ 00 ^ 02 ^ 03 ^ 07 = 0C
    const Decoded decoded = decode("Mv-S 0A00#08-00-0900-0100-0203%070C");
    EXPECT_THAT(decoded.fields, ElementsAre(10, 8, 0, 9, 1, 2, 3));
    EXPECT_EQ(decoded.problem, "");
}

TEST(Decoding, WordsStandLowByteFirst) {
    EXPECT_THAT(decode("Mv-R 05-00-0201%AABB").fields, ElementsAre(5, 0, 0x0102));
    EXPECT_EQ(data("Mv-R 05-00-0201%AABB"), "AABB");
}

TEST(Decoding, TheFirstE2pSegment) {
    // 0C00 80 01 01 0600 80 00 3412 0100: the exclusive-or is 2D.
    const std::string text = "E2P-S 0C00#800101-0600-80-00-3412-0100%\n2D\r";
    const Decoded decoded = decode(text);
    EXPECT_THAT(decoded.fields, ElementsAre(12, 0x80, 1, 1, 6, 0x80, 0, 0x1234, 1));
    EXPECT_EQ(decoded.problem, "");
    EXPECT_EQ(data(text), "");
}

TEST(Decoding, ALaterE2pSegmentHasNoObject) {
    // 06 00 80 02 02 11 22: 06 ^ 80 ^ 02 ^ 02 ^ 11 ^ 22 = B5
    const std::string text = "E2P-S 0600#800202%1122B5";
    EXPECT_THAT(decode(text).fields, ElementsAre(6, 0x80, 2, 2));
    EXPECT_EQ(decode(text).problem, "");
    EXPECT_EQ(data(text), "1122");
}

TEST(Decoding, AnE2pReplyOfSeveralLines) {
    const std::string a(100, 'A');
    const std::string text = "E2P-R 3800-81-04-3412-C800%\n" + a + "\nBB\n";
    EXPECT_THAT(decode(text).fields, ElementsAre(0x38, 0x81, 4, 0x1234, 200));
    EXPECT_EQ(decode(text).problem, "");
    EXPECT_EQ(data(text), a + "BB");
}

TEST(Decoding, HciFramesHaveTheirFieldsAndData) {
    // 0A00 A0 01 01 0300 00 0102A8: 0A ^ A0 ^ 01 ^ 01 ^ 03 ^ 01 ^ 02 ^ A8 = 02
    const std::string text = "HCI-S 0A00#A00101-0300-00%\n0102A802";
    EXPECT_THAT(decode(text).fields, ElementsAre(10, 0xA0, 1, 1, 3, 0));
    EXPECT_EQ(decode(text).problem, "");
    EXPECT_EQ(data(text), "0102A8");
    EXPECT_THAT(decode("HCI-R 0400-05%\n0102A8\n").fields, ElementsAre(4, 5));
    EXPECT_EQ(data("HCI-R 0400-05%\n0102A8\n"), "0102A8");
}

TEST(Decoding, WifiFramesHaveTheirFieldsAndData) {
    // 0A00 B0 01 01 21 00 0200 AABB: 0A ^ B0 ^ 01 ^ 01 ^ 21 ^ 02 ^ AA ^ BB = 88
    const std::string text = "WIFI-S 0A00#B00101-21-00-0200%\nAABB88";
    EXPECT_THAT(decode(text).fields, ElementsAre(10, 0xB0, 1, 1, 0x21, 0, 2));
    EXPECT_EQ(decode(text).problem, "");
    EXPECT_EQ(data(text), "AABB");
    EXPECT_THAT(decode("WIFI-R 21-02-0200%\nCCDD\n").fields, ElementsAre(0x21, 2, 2));
}

TEST(Decoding, LowerCaseDigitsCount) { EXPECT_THAT(decode("Mv-R 0a-00-ff00%ab").fields, ElementsAre(10, 0, 255)); }

TEST(Decoding, AWrongChecksumIsSaid) {
    EXPECT_EQ(decode("Mv-S 0B00#01-02-0300-0200-0000%CDAB6E").problem, "the checksum does not fit the frame");
}

TEST(Decoding, AWrongLengthIsSaid) {
    // The length is one lower and the checksum fits it: 6F ^ 0B ^ 0A = 6E.
    EXPECT_EQ(decode("Mv-S 0A00#01-02-0300-0200-0000%CDAB6E").problem,
              "the length field says 10 bytes, the frame has 11");
}

TEST(Decoding, AFrameThatEndsEarlyNamesTheFieldThatIsMissing) {
    EXPECT_EQ(decode("Mv-S #----%").problem, "the frame ends before its field \"frame length\"");
    EXPECT_EQ(decode("Mv-S 001A#01-0---%").problem, "the frame ends before its field \"access\"");
    EXPECT_THAT(decode("Mv-S 001A#01-0---%").fields, ElementsAre(0x1A00, 1));
    EXPECT_EQ(decode("E2P-R 0800----%\n").problem, "the frame ends before its field \"command\"");
    EXPECT_EQ(decode("WIFI-R --%\n").problem, "the frame ends before its field \"command\"");
    EXPECT_EQ(decode("Mv-R 05-00-0201").problem, "the sign before the data is missing");
    EXPECT_EQ(decode("Mv-S 0B00#01-02-0300-0200-0000%6").problem, "the frame ends before its checksum");
}

TEST(Decoding, AnyPrefixOfAFrameIsBorne) {
    for (const std::string whole :
         {"Mv-S 0B00#01-02-0300-0200-0000%CDAB6F\r", "E2P-S 0C00#800101-0600-80-00-3412-0100%\n2D\r",
          "E2P-R 0800-80-00-3412-0200%\nAABB\n", "HCI-S 0A00#A00101-0300-00%\n0102A802", "HCI-R 0400-05%\n0102A8\n",
          "WIFI-S 0A00#B00101-21-00-0200%\nAABB88", "WIFI-R 21-02-0200%\nCCDD\n", "AT-R x", "Mv-R-Error x -- 0x3001"}) {
        for (std::size_t size = 0; size <= whole.size(); ++size) {
            const std::string text = whole.substr(0, size);
            const Decoded decoded = decode(text);
            EXPECT_LE(decoded.dataFrom, decoded.dataTo) << text;
            EXPECT_LE(decoded.dataTo, text.size()) << text;
        }
    }
}

}  // namespace
}  // namespace mova::trace
