// What holds for every input: what is encoded decodes to the same, and whatever comes from the line, the next good
// answer is delivered.
#include "base/HexText.h"
#include "transport/ConfirmationBuilder.h"
#include "transport/FrameCodec.h"
#include "unit/transport/Seeds.h"
#include "unit/transport/TransportFixture.h"

namespace mova {
namespace {

// --- encode then decode

TEST(CodecProperties, HexTextOfAnyBytesDecodesToThem) {
    for (const std::uint32_t seed : seeds(300)) {
        Random random(seed);
        const std::string bytes = random.bytes(random.below(600));
        std::string text = encodeHex(bytes);
        ASSERT_EQ(text.size(), 2 * bytes.size()) << seed;
        ASSERT_EQ(text.find_first_not_of("0123456789ABCDEF"), std::string::npos) << seed;
        ASSERT_EQ(decodeHex(text), bytes) << seed;
        for (char& c : text) {
            if (c >= 'A' && random.oneIn(2)) c = static_cast<char>(c + 32);
        }
        ASSERT_EQ(decodeHex(text), bytes) << seed;
    }
}

// A request is, from its fourth character on, the confirmation of the same payload.
std::string asConfirmation(const std::string& request) { return request.substr(2, request.size() - 3); }

TEST(CodecProperties, RequestOfAnyPayloadParsesToThatPayload) {
    for (const std::uint32_t seed : seeds(300)) {
        Random random(seed);
        const std::string bytes = random.bytes(1 + random.below(2000));
        const std::string payload = encodeHex(bytes);
        const std::string request = buildRequest(payload);
        ASSERT_EQ(request.substr(0, 8), "AT*MOVA=") << seed;
        ASSERT_EQ(request.back(), '\r') << seed;
        ASSERT_EQ(request.size(), 15 + payload.size()) << seed;
        ASSERT_EQ(hexWordAt(request, 8), bytes.size() + 1) << seed;
        const std::string line = asConfirmation(request);
        const ParsedConfirmation parsed = parseConfirmation(line);
        ASSERT_EQ(parsed.status, 0u) << seed;
        ASSERT_EQ(parsed.payload, payload) << seed;
        ASSERT_EQ(parsed.firstByte, static_cast<std::uint8_t>(bytes[0])) << seed;
    }
}

TEST(CodecProperties, AnyChangedByteOfAFrameIsAChecksumMismatch) {
    for (const std::uint32_t seed : seeds(300)) {
        Random random(seed);
        std::string line = asConfirmation(buildRequest(encodeHex(random.bytes(1 + random.below(100)))));
        const std::size_t at = 6 + 2 * random.below((line.size() - 6) / 2);
        const auto was = hexByteAt(line, at);
        std::string changed;
        appendHexByte(changed, static_cast<std::uint8_t>(was ^ (1 + random.below(255))));
        line.replace(at, 2, changed);
        ASSERT_EQ(parseConfirmation(line).status, 0x4011u) << seed;
    }
}

TEST(CodecProperties, SplitPayloadIsHeaderAndData) {
    for (const std::uint32_t seed : seeds(300)) {
        Random random(seed);
        const std::string data = encodeHex(random.bytes(random.below(300)));
        const std::uint8_t type = random.of(std::vector<std::uint8_t>{0x80, 0xA0, 0xB0});
        const auto header1 = static_cast<std::uint8_t>(random.below(256));
        const auto header2 = static_cast<std::uint8_t>(random.below(256));
        std::string payload;
        appendHexByte(payload, type);
        appendHexByte(payload, header1);
        appendHexByte(payload, header2);
        payload += data;
        const SplitPayload split = splitPayload(payload);
        ASSERT_EQ(split.status, 0u) << seed;
        ASSERT_EQ(split.header1, header1) << seed;
        ASSERT_EQ(split.header2, header2) << seed;
        ASSERT_EQ(split.data, data) << seed;
    }
}

// --- any bytes

TEST(AnyBytes, CodecAnswersEveryLineWithinItsTerms) {
    for (const std::uint32_t seed : seeds(3000)) {
        Random random(seed);
        const std::string line = random.oneIn(3) ? random.bytes(random.below(40)) : noise(random, random.below(6));
        const std::string companion = random.oneIn(2) ? noise(random, random.below(3)) : "OK";

        const auto lineClass = static_cast<unsigned>(classifyLine(line, companion));
        ASSERT_LE(lineClass, 6u) << seed;
        if (line.starts_with("AT*MOVA=")) {
            ASSERT_EQ(lineClass, 2u) << seed;
        }

        const ParsedConfirmation parsed = parseConfirmation(line);
        if (!line.starts_with("*MOVA=") || line.size() < 13) {
            ASSERT_EQ(parsed.status, 0x3001u) << seed;
            ASSERT_EQ(parsed.payload, "") << seed;
            ASSERT_EQ(parsed.firstByte, 0) << seed;
        } else {
            ASSERT_TRUE(parsed.status == 0 || parsed.status == 0x4011) << seed;
            ASSERT_EQ(parsed.payload.size(), line.size() - 12) << seed;
        }

        for (const std::string_view payload : {parsed.payload, std::string_view(line)}) {
            const SplitPayload split = splitPayload(payload);
            ASSERT_TRUE(split.status == 0 || split.status == 0x3001) << seed;
            ASSERT_EQ(split.data.size(), split.status == 0 ? payload.size() - 6 : 0) << seed;
        }
        ASSERT_EQ(decodeHex(line).size(), (line.size() + 1) / 2) << seed;
        hexNumber(line);
    }
}

std::size_t countOf(std::string_view text, std::string_view wanted) {
    std::size_t count = 0;
    for (auto at = text.find(wanted); at != text.npos; at = text.find(wanted, at + wanted.size())) ++count;
    return count;
}

TEST(AnyBytes, EveryResponseBecomesARecordThatHandsBackNoMoreThanItHad) {
    for (const std::uint32_t seed : seeds(2000)) {
        Random random(seed);
        RecordingTrace trace;
        std::string response = noise(random, random.below(20));
        if (random.oneIn(2)) response += "\r\n";
        const auto [record, leftOver] = buildRecord(response, random.oneIn(4) ? "*MOVA=ACK" : "OK", trace);
        ASSERT_LE(static_cast<unsigned>(record.kind), 6u) << seed;
        ASSERT_TRUE(record.error == 0 || record.error == 0x3001 || record.error == 0x4011) << seed;
        ASSERT_EQ(record.valid, record.error == 0 ? 1u : 0u) << seed;
        ASSERT_TRUE(response.ends_with(record.responseText)) << seed;
        ASSERT_LE(leftOver.size(), record.responseText.size()) << seed;
        // The first line always goes with the record: handing back comes to an end.
        const std::size_t lines = countOf(record.responseText, "\r\n");
        if (lines > 0) {
            ASSERT_LT(countOf(leftOver, "\r\n"), lines) << seed;
        }
        traceRecord(record, leftOver, trace);
    }
}

class AnyBytesOnTheLineTest : public TransportTest {
protected:
    AnyBytesOnTheLineTest() { platform.journal().keep(false); }

    void feedInPieces(Random& random, std::string_view text) {
        while (!text.empty()) {
            const std::size_t size = 1 + random.below(text.size());
            comm.feed(text.substr(0, size));
            text.remove_prefix(size);
            const std::string terminators =
                random.of(std::vector<std::string>{"", "OK", "OK|ERROR", "*MOVA=ACK", ">j|OK", "|"});
            const auto timeout = static_cast<std::uint32_t>(random.below(4));
            const Code result = engine().run(timeout, terminators);
            ASSERT_TRUE(result == 0 || (result == 0x4004 && !terminators.empty()));
        }
    }
    // What is left over is taken out, as callers do before a request.
    void expectGoodAnswerAfterClearing(std::uint32_t seed) {
        answers.startAfresh();
        answers.records.clear();
        comm.feed("AT*MOVA=010001\r\n*MOVA=ACK\r\n*MOVA=0600800001AABB96\r\n*MOVA=06008000021234A2\r\nOK\r\n");
        ASSERT_EQ(engine().run(10, "*MOVA=ACK"), 0u) << seed;
        ASSERT_EQ(engine().run(10, "OK"), 0u) << seed;
        ASSERT_EQ(answers.records.size(), 2u) << seed;
        ASSERT_EQ(answers.records[0].responseText, "AT*MOVA=010001\r\n") << seed;
        ASSERT_EQ(answers.records[1].kind, LineClass::E2p) << seed;
        ASSERT_EQ(answers.records[1].hexData, "AABB1234") << seed;
        ASSERT_EQ(answers.records[1].valid, 1u) << seed;
        ASSERT_EQ(pending(), "") << seed;
    }
    // Without clearing: ended by a line of its own, whatever waits is of earlier records; the answer is the last.
    void expectGoodAnswerBehindTheNoise(std::uint32_t seed) {
        comm.feed("\r\nOK\r\n");
        for (int i = 0; i < 1000 && engine().run(0, "OK") == 0; ++i) {
        }
        answers.dropRecords(Answers::Purge::Yes);
        answers.records.clear();
        comm.feed("*MOVA=05000500020103\r\nOK\r\n");
        ASSERT_EQ(engine().run(10, "OK"), 0u) << seed;
        ASSERT_EQ(answers.records.size(), 1u) << seed;
        ASSERT_EQ(answers.records[0].hexData, "05000201") << seed;
        ASSERT_EQ(answers.records[0].responseText, "*MOVA=05000500020103\r\n") << seed;
        ASSERT_EQ(answers.fetchText().data, "05000201") << seed;
    }
};

TEST_F(AnyBytesOnTheLineTest, NextGoodAnswerIsDelivered) {
    for (const std::uint32_t seed : seeds(400)) {
        Random random(seed);
        ASSERT_NO_FATAL_FAILURE(
            feedInPieces(random, random.oneIn(3) ? random.bytes(random.below(200)) : noise(random, random.below(40))))
            << seed;
        ASSERT_NO_FATAL_FAILURE(expectGoodAnswerAfterClearing(seed));
        ASSERT_NO_FATAL_FAILURE(feedInPieces(random, noise(random, random.below(40)))) << seed;
        ASSERT_NO_FATAL_FAILURE(expectGoodAnswerBehindTheNoise(seed));
        trace.clear();
        platform.datagrams().clear();
    }
}

TEST_F(AnyBytesOnTheLineTest, EveryByteValueOnALineIsKept) {
    for (unsigned value = 0; value < 256; ++value) {
        const std::string line = std::string("<") + static_cast<char>(value) + ">\r\n";
        comm.feed(line + "OK\r\n");
        ASSERT_EQ(engine().run(0, "OK"), 0u) << value;
        ASSERT_EQ(answers.records.back().responseText, line) << value;
    }
}

TEST_F(AnyBytesOnTheLineTest, NothingIsLostOrInventedBetweenLineAndRecords) {
    // AT lines alone, with single passes in between: joined again they are what was sent.
    for (const std::uint32_t seed : seeds(200)) {
        Random random(seed);
        std::string sent;
        for (std::size_t lines = 1 + random.below(30); lines > 0; --lines) {
            sent += "+" + std::string(random.below(120), static_cast<char>('a' + random.below(26))) + "\r\n";
        }
        answers.records.clear();
        for (std::string_view text = sent; !text.empty();) {
            const std::size_t size = 1 + random.below(text.size());
            comm.feed(text.substr(0, size));
            text.remove_prefix(size);
            ASSERT_EQ(engine().run(0, ""), 0u) << seed;
        }
        for (int i = 0; i < 4; ++i) engine().run(0, "");  // more than one read
        std::string received;
        for (const MovaRetCmdTag& record : answers.records) received += record.responseText;
        ASSERT_EQ(received, sent) << seed;
        ASSERT_EQ(pending(), "") << seed;
    }
}

TEST_F(AnyBytesOnTheLineTest, LineThatNeverEndsGrowsByWhatArrivesAlone) {
    comm.feed(std::string(100000, 'x'));
    for (int i = 0; i < 60; ++i) engine().run(0, "OK");
    EXPECT_EQ(pending().size(), 100000u);
    EXPECT_EQ(answers.records.size(), 0u);
    comm.feed("\r\nOK\r\n");
    EXPECT_EQ(engine().run(0, "OK"), 0u);
    EXPECT_EQ(answers.records.back().responseText.size(), 100002u);
}

}  // namespace
}  // namespace mova
