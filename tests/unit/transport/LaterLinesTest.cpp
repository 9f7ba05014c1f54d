// What becomes of each line behind the first one of a response, for every sequence of line classes.
#include <array>
#include <numeric>

#include "transport/ConfirmationBuilder.h"
#include "unit/transport/TransportFixture.h"

namespace mova {
namespace {

constexpr std::size_t kClasses = 7;

// Three lines of each class that follow each other as segments 1, 2 and 3, with their data and first payload byte.
// Checksums worked out by hand.
struct Sample {
    std::array<const char*, 3> lines;
    std::array<const char*, 3> data;
    std::array<std::uint32_t, 3> primitives;
};

constexpr std::array<Sample, kClasses> kSamples{{
    {{"+CSQ: 9,99", "RING", "+CREG: 1"}, {"", "", ""}, {0, 0, 0}},
    {{"*MOVA=05000500020103", "*MOVA=05000600030404", "*MOVA=0300070004"}, {"05000201", "06000304", "0700"}, {5, 6, 7}},
    {{"AT*MOVA=010001", "AT*MOVA=0200FFFD", "AT*MOVA="}, {"", "", ""}, {0, 0, 0}},
    {{"*MOVA=0600800001AABB96", "*MOVA=06008000021234A2", "*MOVA=0500800003C046"},
     {"AABB", "1234", "C0"},
     {0x80, 0x80, 0x80}},
    {{"*MOVA=ACK", "*MOVA=ACK2", "*MOVA=ACK3"}, {"", "", ""}, {0, 0, 0}},
    {{"*MOVA=0600A00001CCDDB6", "*MOVA=0600A00002556697", "*MOVA=0400A00003A7"},
     {"CCDD", "5566", ""},
     {0xA0, 0xA0, 0xA0}},
    {{"*MOVA=0600B00001EEFFA6", "*MOVA=0600B0000277884B", "*MOVA=0500B00003992F"},
     {"EEFF", "7788", "99"},
     {0xB0, 0xB0, 0xB0}},
}};

// Row: the block's class; column: the class of the line that comes.
// . no effect   T taken, the block becomes this class   E the same, and the line before is traced as echo
// S taken into the block   B handed back
constexpr std::array<const char*, kClasses> kRules{
    ".T.T.TT",  // 0 AT text
    "BSBBBBB",  // 1 general confirmation
    ".E.E.EE",  // 2 echo
    "BBBSBBB",  // 3 E2P
    ".T.T.TT",  // 4 acknowledgement
    "BBBBBSB",  // 5 HCI
    "BBBBBBS",  // 6 WiFi
};

struct Line {
    std::size_t lineClass;
    std::string text;
    std::string data;
    std::uint32_t primitive;
};

struct Expected {
    std::size_t kind = 0;
    std::string response;
    std::string hexData;
    std::uint32_t primitive = 0;
    std::vector<std::string> echoes;
    std::vector<Line> leftOver;
};

std::vector<Line> linesOf(const std::vector<std::size_t>& classes) {
    std::array<std::size_t, kClasses> used{};
    std::vector<Line> lines;
    for (const std::size_t c : classes) {
        const std::size_t which = used[c]++;
        lines.push_back({c, kSamples[c].lines[which], kSamples[c].data[which], kSamples[c].primitives[which]});
    }
    return lines;
}

void take(Expected& expected, const Line& line) {
    if (line.lineClass == 0 || line.lineClass == 2 || line.lineClass == 4) return;
    expected.primitive = line.primitive;
    if (line.lineClass == 1) expected.hexData.clear();  // the last one wins; of the others each adds its segment
    expected.hexData += line.data;
}

Expected expectedOf(const std::vector<Line>& lines) {
    Expected expected;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const Line& line = lines[i];
        expected.response += line.text + "\r\n";
        const char rule = i == 0 ? 'T' : kRules[expected.kind][line.lineClass];
        if (rule == 'E') expected.echoes.push_back("17 " + lines[i - 1].text);
        if (rule == 'T' || rule == 'E') expected.kind = line.lineClass;
        if (rule == 'B') expected.leftOver.push_back(line);
        if (rule == 'T' || rule == 'E' || rule == 'S') take(expected, line);
    }
    return expected;
}

std::string joined(const std::vector<Line>& lines) {
    return std::accumulate(lines.begin(), lines.end(), std::string(),
                           [](std::string text, const Line& line) { return std::move(text) + line.text + "\r\n"; });
}

void expectRecord(const MovaRetCmdTag& record, const Expected& expected, const std::string& what) {
    EXPECT_EQ(static_cast<std::size_t>(record.kind), expected.kind) << what;
    EXPECT_EQ(record.responseText, expected.response) << what;
    EXPECT_EQ(record.hexData, expected.hexData) << what;
    EXPECT_EQ(record.primitive, expected.primitive) << what;
    EXPECT_EQ(record.error, 0u) << what;
    EXPECT_EQ(record.valid, 1u) << what;
}

class LaterLinesTest : public TransportTest {
protected:
    // The response in one piece, then single passes for what was handed back.
    void tryResponse(const std::vector<std::size_t>& classes) {
        std::vector<Line> lines = linesOf(classes);
        const std::string what = joined(lines);
        comm.feed(what + "OK\r\n");
        answers.records.clear();
        std::string terminator = "OK";
        while (!lines.empty()) {
            trace.clear();
            ASSERT_EQ(engine().run(0, terminator), 0u) << what;
            const Expected expected = expectedOf(lines);
            ASSERT_FALSE(answers.records.empty()) << what;
            expectRecord(answers.records.back(), expected, what);
            EXPECT_EQ(answers.records.back().terminatorText, terminator) << what;
            EXPECT_EQ(pending(), joined(expected.leftOver)) << what;
            std::vector<std::string> echoes = trace.lines();
            if (expected.kind != 4) echoes.pop_back();  // the record itself; an acknowledgement has no trace
            EXPECT_EQ(echoes, expected.echoes) << what;
            lines = expected.leftOver;
            terminator.clear();
        }
        const std::size_t records = answers.records.size();
        EXPECT_EQ(engine().run(0, ""), 0u);
        EXPECT_EQ(answers.records.size(), records) << what;  // nothing is left over
    }
};

TEST_F(LaterLinesTest, EverySequenceOfTwoClasses) {
    for (std::size_t p = 0; p < kClasses; ++p) {
        for (std::size_t c = 0; c < kClasses; ++c) tryResponse({p, c});
    }
}

TEST_F(LaterLinesTest, EverySequenceOfThreeClasses) {
    platform.journal().keep(false);
    for (std::size_t p = 0; p < kClasses; ++p) {
        for (std::size_t c = 0; c < kClasses; ++c) {
            for (std::size_t d = 0; d < kClasses; ++d) tryResponse({p, c, d});
        }
    }
}

// --- the same in full, for some of them

TEST_F(LaterLinesTest, SecondFamilyOfAResponseIsARecordOfItsOwn) {
    comm.feed("*MOVA=0600800001AABB96\r\n*MOVA=05000500020103\r\n*MOVA=06008000021234A2\r\nOK\r\n");
    EXPECT_EQ(engine().run(0, "OK"), 0u);
    ASSERT_EQ(answers.records.size(), 1u);
    EXPECT_EQ(answers.records[0].kind, LineClass::E2p);
    EXPECT_EQ(answers.records[0].hexData, "AABB1234");
    EXPECT_EQ(pending(), "*MOVA=05000500020103\r\n");
    EXPECT_EQ(engine().run(0, ""), 0u);
    ASSERT_EQ(answers.records.size(), 2u);
    EXPECT_EQ(answers.records[1].kind, LineClass::Confirmation);
    EXPECT_EQ(answers.records[1].hexData, "05000201");
    EXPECT_EQ(answers.records[1].responseText, "*MOVA=05000500020103\r\n");
    EXPECT_EQ(pending(), "");
}

TEST_F(LaterLinesTest, HandedBackLinesStandBeforeWhatFollowedTheTerminator) {
    comm.feed("*MOVA=0600800001AABB96\r\n*MOVA=0600A00001CCDDB6\r\nOK\r\nRING\r\n+CS");
    EXPECT_EQ(engine().run(0, "OK"), 0u);
    EXPECT_EQ(pending(), "*MOVA=0600A00001CCDDB6\r\nRING\r\n+CS");
}

TEST_F(LaterLinesTest, HandedBackLinesWaitForATerminatorOfTheirOwn) {
    comm.feed("*MOVA=0600800001AABB96\r\n*MOVA=0600A00001CCDDB6\r\nOK\r\n");
    EXPECT_EQ(engine().run(0, "OK"), 0u);
    EXPECT_EQ(engine().run(0, "OK"), Code::NoAnswer);
    comm.feed("OK\r\n");
    EXPECT_EQ(engine().run(0, "OK"), 0u);
    ASSERT_EQ(answers.records.size(), 2u);
    EXPECT_EQ(answers.records[1].kind, LineClass::Hci);
    EXPECT_EQ(answers.records[1].hexData, "CCDD");
}

TEST_F(LaterLinesTest, EmptyLineBehindAConfirmationIsHandedBackToo) {
    comm.feed("*MOVA=05000500020103\r\n\r\nOK\r\n");
    EXPECT_EQ(engine().run(0, "OK"), 0u);
    ASSERT_EQ(answers.records.size(), 1u);
    EXPECT_EQ(answers.records[0].responseText, "*MOVA=05000500020103\r\n\r\n");
    EXPECT_EQ(pending(), "\r\n");
}

TEST_F(LaterLinesTest, AcknowledgementThenConfirmationThenOkAreTwoRecords) {
    comm.feed("AT*MOVA=0C0080010106008000341202002E\r\n*MOVA=ACK\r\n*MOVA=0E008000010800800034120200AABB32\r\nOK\r\n");
    EXPECT_EQ(engine().run(0, "*MOVA=ACK"), 0u);
    EXPECT_EQ(engine().run(0, "OK"), 0u);
    ASSERT_EQ(answers.records.size(), 2u);
    EXPECT_EQ(answers.records[0].kind, LineClass::Echo);
    EXPECT_EQ(answers.records[0].responseText, "AT*MOVA=0C0080010106008000341202002E\r\n");
    EXPECT_EQ(answers.records[0].terminatorText, "*MOVA=ACK");
    EXPECT_EQ(answers.records[1].kind, LineClass::E2p);
    EXPECT_EQ(answers.records[1].hexData, "0800800034120200AABB");
    EXPECT_EQ(answers.records[1].terminatorText, "OK");
}

}  // namespace
}  // namespace mova
