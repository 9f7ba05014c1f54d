#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "base/HexText.h"
#include "mova/Codes.h"
#include "transport/FrameCodec.h"

namespace mova {
namespace {

// --- hexadecimal text

TEST(HexadecimalText, EachByteIsTwoUpperCaseDigitsHighNibbleFirst) {
    const std::vector<std::uint8_t> bytes{0x00, 0x0F, 0xF0, 0x12, 0xAB, 0xFF};
    EXPECT_EQ(encodeHex(bytes), "000FF012ABFF");
    EXPECT_EQ(encodeHex(std::string_view("\xCD\x00\x7e", 3)), "CD007E");
}

TEST(HexadecimalText, NoBytesAreTheEmptyText) {
    EXPECT_EQ(encodeHex(std::vector<std::uint8_t>{}), "");
    EXPECT_EQ(decodeHex(""), "");
}

TEST(HexadecimalText, WordsTravelLowByteFirst) {
    std::string text;
    appendHexWord(text, 5);
    appendHexWord(text, 0x0102);
    appendHexWord(text, 0xABCD);
    EXPECT_EQ(text, "05000201CDAB");
    EXPECT_EQ(hexWordAt("05000201CDAB", 4), 0x0102);
}

TEST(HexadecimalText, DigitsAreReadInEitherCaseAndAnythingElseIsZero) {
    EXPECT_EQ(hexNumber("0123456"), 0x00123456u);
    EXPECT_EQ(hexNumber("789aBcD"), 0x0789ABCDu);
    EXPECT_EQ(hexNumber("eFEf"), 0xEFEFu);
    EXPECT_EQ(hexNumber("G1"), 0x01u);
    EXPECT_EQ(hexNumber("1g@/:`"), 0x100000u);
    EXPECT_EQ(hexNumber("1\xC1 "), 0x100u);
}

TEST(HexadecimalText, NumbersWrapIn32BitsAndTheEmptyTextIsZero) {
    EXPECT_EQ(hexNumber("FFFFFFFF"), 0xFFFFFFFFu);
    EXPECT_EQ(hexNumber("123456789"), 0x23456789u);
    EXPECT_EQ(hexNumber(""), 0u);
    EXPECT_EQ(hexByteAt("", 0), 0);
    EXPECT_EQ(hexByteAt("AB", 2), 0);
}

TEST(HexadecimalText, TrailingSingleCharacterGivesTheByteOfThatDigit) {
    EXPECT_EQ(decodeHex("41f"), "A\x0F");
    EXPECT_EQ(decodeHex("7"), "\x07");
    EXPECT_EQ(decodeHex("zz41"), std::string("\0A", 2));
}

// --- requests

struct RequestCase {
    const char* what;
    std::string payload;
    std::string line;
};

// Checksums worked out by hand: the exclusive-or of the two length bytes and the payload bytes.
const std::vector<RequestCase> kRequests{
    {"empty payload", "", "AT*MOVA=010001\r"},
    {"one byte", "FF", "AT*MOVA=0200FFFD\r"},                                     // 02^FF
    {"general RF test", "0500020100000000", "AT*MOVA=090005000201000000000F\r"},  // 09^05^02^01
    {"RF parameter", "0102030002000000CDAB", "AT*MOVA=0B000102030002000000CDAB6F\r"},
    {"E2P read", "8001010600800034120200", "AT*MOVA=0C0080010106008000341202002E\r"},  // 0C^80^01^01^06^80^34^12^02
    {"HCI action", "A00101000001", "AT*MOVA=0700A00101000001A6\r"},                    // 07^A0^01^01^01
    {"WiFi action", "B0010121000200AABB", "AT*MOVA=0A00B0010121000200AABB88\r"},       // 0A^B0^01^01^21^02^AA^BB
    {"single character, read as one digit", "A", "AT*MOVA=0100A0B\r"},                 // 01^0A
    {"odd length", "ABC", "AT*MOVA=0200ABCA5\r"},                                      // 02^AB^0C
    {"lower case, passed on as it stands", "ab", "AT*MOVA=0200abA9\r"},                // 02^AB
    {"not hexadecimal, read as zeros", "G1 x", "AT*MOVA=0300G1 x02\r"},                // 03^01^00
};

TEST(BuildRequest, IsPrefixLengthPayloadChecksumAndCarriageReturn) {
    for (const RequestCase& c : kRequests) EXPECT_EQ(buildRequest(c.payload), c.line) << c.what;
}

TEST(BuildRequest, EmptyPayloadHasLengthOneAndChecksumOne) { EXPECT_EQ(buildRequest(""), "AT*MOVA=010001\r"); }

TEST(BuildRequest, PayloadOf300BytesHasLength301LowByteFirst) {
    EXPECT_EQ(buildRequest(std::string(600, '0')), "AT*MOVA=2D01" + std::string(600, '0') + "2C\r");  // 2D^01
}

TEST(BuildRequest, OddPayloadCountsTheTruncatedHalfAndSumsTheLastDigitAlone) {
    EXPECT_EQ(buildRequest("12345"), "AT*MOVA=03001234520\r");  // 03^12^34^05
}

TEST(BuildRequest, LengthIsKeptIn16Bits) {
    EXPECT_EQ(buildRequest(std::string(2 * 65534, '0')).substr(0, 12), "AT*MOVA=FFFF");
    EXPECT_EQ(buildRequest(std::string(2 * 65535, '0')).substr(0, 12), "AT*MOVA=0000");
    EXPECT_EQ(buildRequest(std::string(2 * 65536, '0')).substr(0, 12), "AT*MOVA=0100");
}

// --- confirmations

struct ParseCase {
    const char* what;
    std::string line;
    std::uint32_t status;
    std::uint8_t firstByte;
    std::string payload;
};

const std::vector<ParseCase> kConfirmations{
    {"general", "*MOVA=05000500020103", 0, 0x05, "05000201"},
    {"E2P", "*MOVA=0E008000010800800034120200AABB32", 0, 0x80, "8000010800800034120200AABB"},
    {"HCI", "*MOVA=0600A00001CCDDB6", 0, 0xA0, "A00001CCDD"},  // 06^A0^01^CC^DD
    {"lower case", "*MOVA=0600a00001ccddb6", 0, 0xA0, "a00001ccdd"},
    {"mixed case in the checksum only", "*MOVA=0600A00001CCDDb6", 0, 0xA0, "A00001CCDD"},
    {"length that does not fit", "*MOVA=FFFF050005", 0, 0x05, "0500"},  // FF^FF^05^00
    {"length zero", "*MOVA=0000050005", 0, 0x05, "0500"},
    {"odd payload", "*MOVA=0200ABCA5", 0, 0xAB, "ABC"},
    {"shortest: one character of payload", "*MOVA=0100504", 0, 0x05, "5"},  // 01^05
    {"not hexadecimal", "*MOVA=0300zz03", 0, 0x00, "zz"},
    {"checksum not hexadecimal", "*MOVA=0500050005xx", 0x4011, 0x05, "050005"},
    {"payload kept beside a wrong checksum", "*MOVA=05000500020104", 0x4011, 0x05, "05000201"},
    {"family kept beside a wrong checksum", "*MOVA=0600B00001EEFFA7", 0x4011, 0xB0, "B00001EEFF"},
    {"wrong length byte shows as a checksum", "*MOVA=06000500020103", 0x4011, 0x05, "05000201"},
    {"empty payload is too short", "*MOVA=010001", 0x3001, 0, ""},
    {"prefix alone", "*MOVA=", 0x3001, 0, ""},
    {"acknowledgement", "*MOVA=ACK", 0x3001, 0, ""},
    {"no line", "", 0x3001, 0, ""},
    {"request", "AT*MOVA=05000500020103", 0x3001, 0, ""},
    {"prefix not at the start", " *MOVA=05000500020103", 0x3001, 0, ""},
    {"prefix in lower case", "*mova=05000500020103", 0x3001, 0, ""},
};

TEST(ParseConfirmation, GivesStatusFirstByteAndPayload) {
    for (const ParseCase& c : kConfirmations) {
        const ParsedConfirmation parsed = parseConfirmation(c.line);
        EXPECT_EQ(parsed.status, c.status) << c.what;
        EXPECT_EQ(parsed.firstByte, c.firstByte) << c.what;
        EXPECT_EQ(parsed.payload, c.payload) << c.what;
    }
}

TEST(ParseConfirmation, LowerCaseIsAccepted) { EXPECT_EQ(parseConfirmation("*MOVA=0600800001aabb96").status, 0u); }

TEST(ParseConfirmation, BadChecksumStillDeliversTypeAndPayload) {
    const ParsedConfirmation parsed = parseConfirmation("*MOVA=0E008000010800800034120200AABB33");
    EXPECT_EQ(parsed.status, Code::ChecksumMismatch);
    EXPECT_EQ(parsed.firstByte, 0x80);
    EXPECT_EQ(parsed.payload, "8000010800800034120200AABB");
}

struct SplitCase {
    const char* what;
    std::string payload;
    std::uint32_t status;
    std::uint8_t header1;
    std::uint8_t header2;
    std::string data;
};

const std::vector<SplitCase> kPayloads{
    {"E2P", "800001AABB", 0, 0x00, 0x01, "AABB"},
    {"HCI without data", "A0FE02", 0, 0xFE, 0x02, ""},
    {"WiFi in lower case, half a byte of data", "b0fe02c", 0, 0xFE, 0x02, "c"},
    {"last segment number", "8000FF12", 0, 0x00, 0xFF, "12"},
    {"one character short", "80000", 0x3001, 0, 0, ""},
    {"type alone", "80", 0x3001, 0, 0, ""},
    {"empty", "", 0x3001, 0, 0, ""},
    {"general confirmation", "050002", 0x3001, 0, 0, ""},
    {"next to a family", "810001AABB", 0x3001, 0, 0, ""},
    {"not hexadecimal", "X00001AABB", 0x3001, 0, 0, ""},
};

TEST(SplitPayload, GivesHeaderBytesAndDataOfTheFamiliesOnly) {
    for (const SplitCase& c : kPayloads) {
        const SplitPayload split = splitPayload(c.payload);
        EXPECT_EQ(split.status, c.status) << c.what;
        EXPECT_EQ(split.header1, c.header1) << c.what;
        EXPECT_EQ(split.header2, c.header2) << c.what;
        EXPECT_EQ(split.data, c.data) << c.what;
    }
}

// --- line classes

struct ClassCase {
    const char* what;
    std::string line;
    std::string companion;
    int lineClass;
};

const std::vector<ClassCase> kLines{
    // The tests in their order: each line fits later tests as well.
    {"echo before the companion", "AT*MOVA=0600800001AABB96", "*MOVA=ACK", 2},
    {"echo of a damaged request", "AT*MOVA=", "", 2},
    {"acknowledgement before confirmation", "*MOVA=ACK", "OK", 4},
    {"nothing behind the acknowledgement is examined", "*MOVA=ACK800000", "", 4},
    {"companion before confirmation", "*MOVA=0600800001AABB96", "*MOVA=ACK", 4},
    {"companion before plain text", "OK", "*MOVA=ACK", 4},
    {"no line beside an acknowledgement", "", "*MOVA=ACK", 4},
    {"anything behind the companion's acknowledgement", "OK", "*MOVA=ACKNOWLEDGED", 4},
    {"E2P", "*MOVA=0600800001AABB96", "OK", 3},
    {"HCI", "*MOVA=0600A00001CCDDB6", "OK", 5},
    {"HCI in lower case", "*MOVA=0600a00001ccddb6", "", 5},
    {"WiFi", "*MOVA=0600B00001EEFFA6", "OK", 6},
    {"general", "*MOVA=05000500020103", "OK", 1},
    {"the checksum is not looked at", "*MOVA=060080", "", 3},
    {"the length is not looked at", "*MOVA=zzzz80", "", 3},
    {"not hexadecimal", "*MOVA=0600zz", "", 1},
    // Short lines.
    {"10 characters", "*MOVA=0600", "", 0},
    {"11 characters: the byte of one digit", "*MOVA=06008", "", 1},
    {"11 characters with a letter", "*MOVA=0600A", "", 1},
    {"prefix alone", "*MOVA=", "", 0},
    {"all but an acknowledgement", "*MOVA=AC", "", 0},
    // Case and place count.
    {"acknowledgement in lower case", "*mova=ack", "", 0},
    {"echo in lower case", "at*mova=0600800001AABB96", "", 0},
    {"blank before the echo", " AT*MOVA=0600800001AABB96", "", 0},
    {"blank before the confirmation", " *MOVA=0600800001AABB96", "", 0},
    {"companion with a blank before it", "OK", " *MOVA=ACK", 0},
    {"OK", "OK", "", 0},
    {"empty", "", "", 0},
};

TEST(ClassifyLine, TakesTheFirstTestThatHits) {
    for (const ClassCase& c : kLines) {
        EXPECT_EQ(static_cast<int>(classifyLine(c.line, c.companion)), c.lineClass) << c.what;
    }
}

TEST(ClassifyLine, AcknowledgementIsNeverTakenForAConfirmation) {
    // Behind "*MOVA=" stand five characters or more, and "80" where a family byte is.
    EXPECT_EQ(classifyLine("*MOVA=ACK080", ""), LineClass::Acknowledgement);
    EXPECT_EQ(classifyLine("*MOVA=ACX080", ""), LineClass::E2p);
}

TEST(ClassifyLine, ElevenCharactersAreClassifiedByTheirSingleDigit) {
    EXPECT_EQ(classifyLine("*MOVA=00008", ""), LineClass::Confirmation);
    EXPECT_EQ(classifyLine("*MOVA=000080", ""), LineClass::E2p);
}

TEST(ClassifyLine, EveryFirstByteHasItsClass) {
    for (unsigned value = 0; value < 256; ++value) {
        std::array<char, 16> line{};
        std::snprintf(line.data(), line.size(), "*MOVA=0200%02X", value);
        int expected = 1;
        if (value == 0x80) expected = 3;
        if (value == 0xA0) expected = 5;
        if (value == 0xB0) expected = 6;
        EXPECT_EQ(static_cast<int>(classifyLine(line.data(), "OK")), expected) << line.data();
    }
}

}  // namespace
}  // namespace mova
