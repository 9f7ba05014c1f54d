#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <string>
#include <vector>

#include "mova/Codes.h"
#include "support/RecordingTrace.h"
#include "transport/ConfirmationBuilder.h"

namespace mova {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ConfirmationBuilderTest : public ::testing::Test {
protected:
    BuiltRecord build(const std::vector<std::string>& lines, const std::string& terminator = "OK") {
        std::string response;
        for (const std::string& line : lines) response += line + "\r\n";
        return buildRecord(response, terminator, trace);
    }
    RecordingTrace trace;
};

// Confirmation lines; checksums worked out by hand.
const std::string kGeneral = "*MOVA=05000500020103";     // 05^05^02^01
const std::string kGeneralBad = "*MOVA=05000600030405";  // 05^06^03^04 = 04
const std::string kGeneralMalformed = "*MOVA=01005";     // classified by its single digit, too short to parse
const std::string kSegment1 = "*MOVA=0600800001AABB96";  // 06^80^01^AA^BB
const std::string kSegment2 = "*MOVA=06008000021234A2";  // 06^80^02^12^34
const std::string kSegment2Bad = "*MOVA=06008000021234A3";
const std::string kSegment3 = "*MOVA=0500800003C046";     // 05^80^03^C0
const std::string kSegmentTooShort = "*MOVA=0300800083";  // 03^80: no segment number
const std::string kSegmentMalformed = "*MOVA=010080";     // too short to parse

// --- the parts of a record

TEST_F(ConfirmationBuilderTest, PlainTextIsKeptWithItsTerminator) {
    const auto [record, leftOver] = build({"AT+CSQ\r", "+CSQ: 9,99", ""});
    EXPECT_EQ(record.kind, LineClass::AtText);
    EXPECT_EQ(record.responseText, "AT+CSQ\r\r\n+CSQ: 9,99\r\n\r\n");
    EXPECT_EQ(record.terminatorText, "OK");
    EXPECT_EQ(record.hexData, "");
    EXPECT_EQ(record.byteData, "");
    EXPECT_EQ(record.primitive, 0u);
    EXPECT_EQ(record.error, 0u);
    EXPECT_EQ(record.valid, 1u);
    EXPECT_EQ(leftOver, "");
    EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST_F(ConfirmationBuilderTest, LeadingCarriageReturnsAndLineFeedsAreRemoved) {
    EXPECT_EQ(buildRecord("\r\n\n\r\r\n+CSQ: 9,99\r\n\r\n", "OK", trace).record.responseText, "+CSQ: 9,99\r\n\r\n");
    EXPECT_EQ(buildRecord("\r\n\r\n", "OK", trace).record.responseText, "");
    EXPECT_EQ(buildRecord("\r\n " + kGeneral + "\r\n", "OK", trace).record.kind, LineClass::AtText);
    EXPECT_EQ(buildRecord("\n" + kGeneral + "\r\n", "OK", trace).record.kind, LineClass::Confirmation);
}

TEST_F(ConfirmationBuilderTest, NoLineAtAllGetsTheClassOfAnEmptyLineBesideTheTerminator) {
    EXPECT_EQ(build({}, "OK").record.kind, LineClass::AtText);
    EXPECT_EQ(build({}, "").record.kind, LineClass::AtText);
    EXPECT_EQ(build({}, "*MOVA=ACK").record.kind, LineClass::Acknowledgement);
    EXPECT_EQ(build({"", ""}, "*MOVA=ACK2").record.kind, LineClass::Acknowledgement);
    EXPECT_EQ(build({}, "OK").record.valid, 1u);
}

TEST_F(ConfirmationBuilderTest, GeneralConfirmationGivesPrimitiveHexDataAndBytes) {
    const auto [record, leftOver] = build({kGeneral});
    EXPECT_EQ(record.kind, LineClass::Confirmation);
    EXPECT_EQ(record.primitive, 5u);
    EXPECT_EQ(record.hexData, "05000201");
    EXPECT_EQ(record.byteData, std::string("\x05\x00\x02\x01", 4));
    EXPECT_EQ(record.responseText, "*MOVA=05000500020103\r\n");
    EXPECT_EQ(record.error, 0u);
    EXPECT_EQ(record.valid, 1u);
    EXPECT_EQ(leftOver, "");
    EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST_F(ConfirmationBuilderTest, ByteDataIsExactlyThePayloadAndOneZero) {
    const MovaRetCmdTag record = build({kGeneral}).record;
    EXPECT_EQ(record.byteData.size(), 4u);
    EXPECT_EQ(record.byteData.c_str()[4], '\0');
}

TEST_F(ConfirmationBuilderTest, HalfAByteOfPayloadIsRoundedUp) {
    const MovaRetCmdTag record = build({"*MOVA=0200ABCA5"}).record;  // 02^AB^0C
    EXPECT_EQ(record.hexData, "ABC");
    EXPECT_EQ(record.byteData, "\xAB\x0C");
    EXPECT_EQ(record.valid, 1u);
}

struct FamilyCase {
    const char* line;
    LineClass kind;
    std::uint32_t primitive;
    const char* hexData;
};

TEST_F(ConfirmationBuilderTest, FamiliesGiveTheirDataWithoutTheThreeHeaderBytes) {
    const std::vector<FamilyCase> cases{
        {"*MOVA=0600800001AABB96", LineClass::E2p, 0x80, "AABB"},
        {"*MOVA=0600A00001CCDDB6", LineClass::Hci, 0xA0, "CCDD"},
        {"*MOVA=0600B00001EEFFA6", LineClass::Wifi, 0xB0, "EEFF"},
        {"*MOVA=0600b00001eeffa6", LineClass::Wifi, 0xB0, "eeff"},  // kept as it came
    };
    for (const FamilyCase& c : cases) {
        const MovaRetCmdTag record = build({c.line}).record;
        EXPECT_EQ(record.kind, c.kind) << c.line;
        EXPECT_EQ(record.primitive, c.primitive) << c.line;
        EXPECT_EQ(record.hexData, c.hexData) << c.line;
        EXPECT_EQ(record.byteData, "") << c.line;
        EXPECT_EQ(record.valid, 1u) << c.line;
    }
}

TEST_F(ConfirmationBuilderTest, EveryLineBeforeAnAcknowledgementBelongsToIt) {
    const auto [record, leftOver] = build({kGeneral, kSegment1, "RING"}, "*MOVA=ACK");
    EXPECT_EQ(record.kind, LineClass::Acknowledgement);
    EXPECT_EQ(record.hexData, "");
    EXPECT_EQ(record.primitive, 0u);
    EXPECT_EQ(record.responseText, kGeneral + "\r\n" + kSegment1 + "\r\nRING\r\n");
    EXPECT_EQ(record.valid, 1u);
    EXPECT_EQ(leftOver, "");
}

TEST_F(ConfirmationBuilderTest, EchoBeforeAnAcknowledgementStaysTheBlock) {
    EXPECT_EQ(build({"AT*MOVA=010001"}, "*MOVA=ACK").record.kind, LineClass::Echo);
    EXPECT_EQ(build({"AT*MOVA=010001", kGeneral}, "*MOVA=ACK").record.kind, LineClass::Echo);
    EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST_F(ConfirmationBuilderTest, TextBehindTheLastLineIsHandedBackAsItStands) {
    EXPECT_EQ(buildRecord(kGeneral + "\r\n+CS", "OK", trace).leftOver, "+CS");
    EXPECT_EQ(buildRecord(kGeneral + "\r\n" + kSegment1 + "\r\n+CS", "OK", trace).leftOver, kSegment1 + "\r\n+CS");
}

// --- general confirmations

TEST_F(ConfirmationBuilderTest, LastGeneralConfirmationOfABlockWins) {
    const MovaRetCmdTag record = build({kGeneral, "*MOVA=05000600030404"}).record;
    EXPECT_EQ(record.primitive, 6u);
    EXPECT_EQ(record.hexData, "06000304");
    EXPECT_EQ(record.byteData, std::string("\x06\x00\x03\x04", 4));
    EXPECT_EQ(record.valid, 1u);
}

TEST_F(ConfirmationBuilderTest, BadChecksumIsKeptWithItsPayloadAndTraced) {
    const MovaRetCmdTag record = build({kGeneralBad}).record;
    EXPECT_EQ(record.kind, LineClass::Confirmation);
    EXPECT_EQ(record.error, Code::ChecksumMismatch);
    EXPECT_EQ(record.valid, 0u);
    EXPECT_EQ(record.primitive, 6u);
    EXPECT_EQ(record.hexData, "06000304");
    EXPECT_EQ(record.byteData, std::string("\x06\x00\x03\x04", 4));
    EXPECT_THAT(trace.lines(), ElementsAre("11 "));
}

TEST_F(ConfirmationBuilderTest, MalformedGeneralConfirmationIsEmptyAndNotTraced) {
    const MovaRetCmdTag record = build({kGeneralMalformed}).record;
    EXPECT_EQ(record.kind, LineClass::Confirmation);
    EXPECT_EQ(record.error, Code::MalformedConfirmation);
    EXPECT_EQ(record.valid, 0u);
    EXPECT_EQ(record.primitive, 0u);
    EXPECT_EQ(record.hexData, "");
    EXPECT_EQ(record.byteData, "");
    EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST_F(ConfirmationBuilderTest, LastGeneralConfirmationDecidesTheErrorToo) {
    const MovaRetCmdTag mended = build({kGeneralBad, kGeneral}).record;
    EXPECT_EQ(mended.error, 0u);
    EXPECT_EQ(mended.valid, 1u);
    EXPECT_EQ(mended.hexData, "05000201");

    const MovaRetCmdTag spoilt = build({kGeneral, kGeneralMalformed}).record;
    EXPECT_EQ(spoilt.error, 0x3001u);
    EXPECT_EQ(spoilt.valid, 0u);
    EXPECT_EQ(spoilt.primitive, 0u);
    EXPECT_EQ(spoilt.hexData, "");
    EXPECT_EQ(spoilt.byteData, "");

    EXPECT_EQ(build({kGeneralMalformed, kGeneralBad}).record.error, 0x4011u);
}

// --- segments of the text families

struct SegmentCase {
    const char* what;
    std::vector<std::string> lines;
    const char* hexData;
    std::uint32_t error;
};

const std::vector<SegmentCase> kSegmentCases{
    {"in order", {kSegment1, kSegment2, kSegment3}, "AABB1234C0", 0},
    {"the first missing", {kSegment2}, "", 0},
    {"the first missing, the others in order", {kSegment2, kSegment3}, "C0", 0},
    {"one skipped", {kSegment1, kSegment3}, "AABB", 0},
    {"one skipped, then one that follows the skip", {kSegment1, kSegment3, "*MOVA=050080000477F6"}, "AABB77", 0},
    {"one repeated", {kSegment1, kSegment1, kSegment2}, "AABB1234", 0},
    {"the first repeated behind the second", {kSegment1, kSegment2, kSegment1, kSegment2}, "AABB12341234", 0},
    {"going back", {kSegment1, kSegment3, kSegment2, kSegment3}, "AABBC0", 0},
    {"zero first", {"*MOVA=05008000001194", kSegment1, kSegment2}, "AABB1234", 0},
    {"zero between", {kSegment1, "*MOVA=05008000001194", kSegment2}, "AABB", 0},
    {"empty segment", {"*MOVA=040080000185", kSegment2}, "1234", 0},  // 04^80^01
    {"bad checksum counts as no segment", {kSegment1, kSegment2Bad, kSegment3}, "AABB", 0x4011},
    {"bad checksum, then the same again", {kSegment1, kSegment2Bad, kSegment2}, "AABB1234", 0x4011},
    {"bad checksum alone", {kSegment2Bad}, "", 0x4011},
    {"too short to split", {kSegmentTooShort, kSegment1}, "AABB", 0x3001},
    {"malformed", {kSegment1, kSegmentMalformed, kSegment2}, "AABB1234", 0x3001},
    {"the first error stays: checksum", {kSegment2Bad, kSegmentMalformed, kSegmentTooShort}, "", 0x4011},
    {"the first error stays: split", {kSegmentTooShort, kSegment2Bad, kSegment1}, "AABB", 0x3001},
    {"the first error stays: parse", {kSegmentMalformed, kSegment2Bad}, "", 0x3001},
};

TEST_F(ConfirmationBuilderTest, SegmentsAreJoinedWhenEachIsOneMoreThanTheOneBefore) {
    for (const SegmentCase& c : kSegmentCases) {
        const MovaRetCmdTag record = build(c.lines).record;
        EXPECT_EQ(record.kind, LineClass::E2p) << c.what;
        EXPECT_EQ(record.hexData, c.hexData) << c.what;
        EXPECT_EQ(record.error, c.error) << c.what;
        EXPECT_EQ(record.valid, c.error == 0 ? 1u : 0u) << c.what;
    }
}

TEST_F(ConfirmationBuilderTest, PrimitiveIsThatOfTheLastLineEvenInError) {
    EXPECT_EQ(build({kSegment2Bad}).record.primitive, 0x80u);
    EXPECT_EQ(build({kSegmentTooShort}).record.primitive, 0x80u);
    EXPECT_EQ(build({kSegment1, kSegmentMalformed}).record.primitive, 0u);
}

// Segment n carries n as its data; 05^80^n^n = 85 for every n.
std::string numberedSegment(unsigned number) {
    std::array<char, 32> line{};
    std::snprintf(line.data(), line.size(), "*MOVA=05008000%02X%02X85", number, number);
    return line.data();
}

TEST_F(ConfirmationBuilderTest, Segments1To255AreJoined) {
    std::vector<std::string> lines;
    std::string expected;
    for (unsigned number = 1; number <= 255; ++number) {
        lines.push_back(numberedSegment(number));
        std::array<char, 3> digits{};
        std::snprintf(digits.data(), digits.size(), "%02X", number);
        expected += digits.data();
    }
    const MovaRetCmdTag record = build(lines).record;
    EXPECT_EQ(record.hexData, expected);
    EXPECT_EQ(record.hexData.size(), 510u);
    EXPECT_EQ(record.valid, 1u);
}

TEST_F(ConfirmationBuilderTest, NothingFollowsSegment255) {
    for (const unsigned next : {0u, 1u, 255u}) {
        const MovaRetCmdTag record = build({numberedSegment(254), numberedSegment(255), numberedSegment(next)}).record;
        EXPECT_EQ(record.hexData, "FF") << next;
        EXPECT_EQ(record.valid, 1u) << next;
    }
}

TEST_F(ConfirmationBuilderTest, CountingStartsAnewForEachRecord) {
    EXPECT_EQ(build({kSegment1, kSegment2}).record.hexData, "AABB1234");
    EXPECT_EQ(build({kSegment3}).record.hexData, "");
    EXPECT_EQ(build({kSegment1}).record.hexData, "AABB");
}

// --- echoes

TEST_F(ConfirmationBuilderTest, EchoBeforeAConfirmationIsTraced) {
    build({"AT*MOVA=010001", kGeneral});
    EXPECT_THAT(trace.lines(), ElementsAre("17 AT*MOVA=010001"));
}

TEST_F(ConfirmationBuilderTest, TracedAsEchoIsTheLineDirectlyBeforeTheConfirmation) {
    build({"AT*MOVA=010001", "*MOVA=ACK", kGeneral});
    EXPECT_THAT(trace.lines(), ElementsAre("17 *MOVA=ACK"));
    trace.clear();
    build({"AT*MOVA=010001", "*MOVA=ACK", "", kSegment1});
    EXPECT_THAT(trace.lines(), ElementsAre("17 "));
    trace.clear();
    build({"*MOVA=ACK", "AT*MOVA=010001", kGeneral});  // the block is the acknowledgement's
    EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST_F(ConfirmationBuilderTest, OneEchoIsTracedPerRecord) {
    build({"AT*MOVA=010001", kGeneral, "AT*MOVA=010001", kGeneral});
    EXPECT_THAT(trace.lines(), ElementsAre("17 AT*MOVA=010001"));
}

// --- trace of the finished record

MovaRetCmdTag finished(LineClass kind, const char* response, const char* terminator, const char* hexData,
                       std::uint32_t error = 0) {
    MovaRetCmdTag record;
    record.kind = kind;
    record.responseText = response;
    record.terminatorText = terminator;
    record.hexData = hexData;
    record.error = Code{error};
    record.valid = error == 0 ? 1 : 0;
    return record;
}

struct TraceCase {
    const char* what;
    MovaRetCmdTag record;
    const char* stillPending;
    std::vector<std::string> lines;
};

const std::vector<TraceCase> kTraceCases{
    {"AT text", finished(LineClass::AtText, "+CSQ: 9,99\r\n", "OK", ""), "", {"10 +CSQ: 9,99~OK"}},
    {"AT text with empty lines", finished(LineClass::AtText, "A\r\n\r\n\r\n", "OK", ""), "", {"10 A~OK"}},
    {"AT text with its own tildes", finished(LineClass::AtText, "~a~~~b~\r\n~", "OK", ""), "", {"10 ~a~b~OK"}},
    {"nothing", finished(LineClass::AtText, "", "", ""), "", {"10 "}},
    {"lone line ends stay", finished(LineClass::AtText, "a\rb\nc\r\r\n", "OK", ""), "", {"10 a\rb\nc\r~OK"}},
    {"text behind it", finished(LineClass::AtText, "A\r\n", "OK", ""), "\r\nRING\r\n\r\n", {"10 A~OK %%Extra :~RING~"}},
    {"text behind no terminator", finished(LineClass::AtText, "A\r\n", "", ""), "B\r\n", {"10 A~ %%Extra :B~"}},
    {"echo",
     finished(LineClass::Echo, "AT*MOVA=010001\r\n", "OK", ""),
     "RING\r\n",
     {"10 AT*MOVA=010001~OK %%Extra :RING~"}},
    {"general",
     finished(LineClass::Confirmation, "*MOVA=05000500020103\r\n", "OK", "05000201"),
     "RING\r\n",
     {"2 05000201"}},
    {"E2P", finished(LineClass::E2p, "*MOVA=0600800001AABB96\r\n", "OK", "AABB"), "RING\r\n", {"5 AABB"}},
    {"HCI", finished(LineClass::Hci, "*MOVA=0600A00001CCDDB6\r\n", "OK", "CCDD"), "", {"16 CCDD"}},
    {"WiFi", finished(LineClass::Wifi, "*MOVA=0600B00001EEFFA6\r\n", "OK", "EEFF"), "", {"21 EEFF"}},
    {"acknowledgement", finished(LineClass::Acknowledgement, "RING\r\n", "*MOVA=ACK", ""), "RING\r\n", {}},
    {"general with a bad checksum",
     finished(LineClass::Confirmation, "*MOVA=05000500020104\r\n", "OK", "05000201", 0x4011),
     "",
     {"12 *MOVA=05000500020104\r\n -- 0x4011"}},
    {"malformed E2P",
     finished(LineClass::E2p, "*MOVA=010080\r\n", "OK", "", 0x3001),
     "RING\r\n",
     {"12 *MOVA=010080\r\n -- 0x3001"}},
    {"HCI in error with data", finished(LineClass::Hci, "x\r\n", "OK", "CCDD", 0x4011), "", {"12 x\r\n -- 0x4011"}},
    {"WiFi in error", finished(LineClass::Wifi, "", "OK", "", 0x3001), "", {"12  -- 0x3001"}},
    {"percent signs are text", finished(LineClass::AtText, "100%s\r\n", "OK", ""), "", {"10 100%s~OK"}},
};

TEST_F(ConfirmationBuilderTest, FinishedRecordIsTracedByItsKind) {
    for (const TraceCase& c : kTraceCases) {
        trace.clear();
        traceRecord(c.record, c.stillPending, trace);
        EXPECT_EQ(trace.lines(), c.lines) << c.what;
    }
}

// A stream of short answers would otherwise cost the square of what waits.
TEST_F(ConfirmationBuilderTest, TextThatNobodyReadsIsNotPutTogether) {
    class Unread : public RecordingTrace {
    public:
        bool hasReader() override { return false; }
    } unread;
    traceRecord(finished(LineClass::AtText, "RING\r\n", "OK", ""), "+CSQ: 21,99\r\n", unread);
    traceRecord(finished(LineClass::Echo, "AT*MOVA=010001\r\n", "OK", ""), "", unread);
    traceRecord(finished(LineClass::E2p, "*MOVA=010080\r\n", "OK", "", 0x3001), "", unread);
    EXPECT_EQ(unread.lines(), std::vector<std::string>{});
}

}  // namespace
}  // namespace mova
