#include <gtest/gtest.h>

#include <array>

#include "base/HexText.h"

namespace mova {
namespace {

using namespace std::string_literals;

TEST(HexTextTest, EncodesTwoUpperCaseDigitsPerByteHighNibbleFirst) {
    EXPECT_EQ(encodeHex(std::string_view("\x00\x09\x0A\x9F\xA0\xF1\xFF", 7)), "00090A9FA0F1FF");
    EXPECT_EQ(encodeHex(std::string_view("AT\r")), "41540D");
    const std::array<std::uint8_t, 3> bytes{0x1B, 0xC0, 0x7E};
    EXPECT_EQ(encodeHex(bytes), "1BC07E");
}

TEST(HexTextTest, EncodesNothingAsNothing) {
    EXPECT_EQ(encodeHex(std::string_view()), "");
    EXPECT_EQ(encodeHex(std::span<const std::uint8_t>()), "");
}

TEST(HexTextTest, EncodesEveryByte) {
    const std::string digits = "0123456789ABCDEF";
    for (int value = 0; value < 256; ++value) {
        const auto byte = static_cast<std::uint8_t>(value);
        const std::string expected{digits[static_cast<std::size_t>(value / 16)],
                                   digits[static_cast<std::size_t>(value % 16)]};
        EXPECT_EQ(encodeHex(std::span(&byte, 1)), expected);
        EXPECT_EQ(decodeHex(expected), std::string(1, static_cast<char>(byte)));
    }
}

TEST(HexTextTest, AppendsBytesAndWordsLowByteFirst) {
    std::string text = "x";
    appendHexByte(text, 0x0A);
    appendHexWord(text, 0x12FE);
    EXPECT_EQ(text, "x0AFE12");
}

TEST(HexTextTest, DigitsAreTwentyTwoCharacters) {
    const std::string_view digits = "0123456789ABCDEFabcdef";
    for (int value = 0; value < 256; ++value) {
        const char c = static_cast<char>(value);
        EXPECT_EQ(isHexDigit(c), digits.find(c) != digits.npos) << value;
    }
}

struct DecodeCase {
    const char* text;
    std::string bytes;
};

class HexDecodeTest : public ::testing::TestWithParam<DecodeCase> {};

TEST_P(HexDecodeTest, TakesTwoCharactersAByte) { EXPECT_EQ(decodeHex(GetParam().text), GetParam().bytes); }

INSTANTIATE_TEST_SUITE_P(Texts, HexDecodeTest,
                         ::testing::Values(DecodeCase{"", ""}, DecodeCase{"0A1b", "\x0A\x1B"},
                                           DecodeCase{"0A1b2C", "\x0A\x1B\x2C"}, DecodeCase{"ff", "\xFF"},
                                           DecodeCase{"aBcDeF", "\xAB\xCD\xEF"},
                                           // Other characters count as the digit 0.
                                           DecodeCase{"G1", "\x01"}, DecodeCase{"1G", "\x10"}, DecodeCase{"zz", "\0"s},
                                           DecodeCase{" 5", "\x05"}, DecodeCase{"-1", "\x01"},
                                           DecodeCase{"0x12", "\0\x12"s}, DecodeCase{"g/:@`", "\0\0\0"s},
                                           DecodeCase{"\xE4\xFF", "\0"s},
                                           // A single last character is read alone.
                                           DecodeCase{"ABC", "\xAB\x0C"}, DecodeCase{"7", "\x07"},
                                           DecodeCase{"f", "\x0F"}, DecodeCase{"Q", "\0"s}),
                         [](const auto& test) { return "Case" + std::to_string(test.index); });

TEST(HexTextTest, DigitsOfEitherCase) {
    EXPECT_EQ(hexDigit('0'), 0);
    EXPECT_EQ(hexDigit('9'), 9);
    EXPECT_EQ(hexDigit('A'), 10);
    EXPECT_EQ(hexDigit('F'), 15);
    EXPECT_EQ(hexDigit('a'), 10);
    EXPECT_EQ(hexDigit('f'), 15);
    for (const char c : "/:@G`g \xC1\xFF"s) EXPECT_EQ(hexDigit(c), 0) << c;
}

TEST(HexTextTest, NumbersWrapIn32Bits) {
    EXPECT_EQ(hexNumber(""), 0u);
    EXPECT_EQ(hexNumber("1aF"), 0x1AFu);
    EXPECT_EQ(hexNumber("FFFFFFFF"), 0xFFFFFFFFu);
    EXPECT_EQ(hexNumber("123456789"), 0x23456789u);
    EXPECT_EQ(hexNumber("1x2"), 0x102u);
}

TEST(HexTextTest, BytesAndWordsAtAPosition) {
    EXPECT_EQ(hexByteAt("12AB3", 0), 0x12);
    EXPECT_EQ(hexByteAt("12AB3", 1), 0x2A);
    EXPECT_EQ(hexByteAt("12AB3", 4), 0x03);
    EXPECT_EQ(hexByteAt("12AB3", 5), 0);
    EXPECT_EQ(hexByteAt("12AB3", 99), 0);
    EXPECT_EQ(hexWordAt("12AB3", 0), 0xAB12);
    EXPECT_EQ(hexWordAt("12AB3", 2), 0x03AB);
    EXPECT_EQ(hexWordAt("12AB3", 4), 0x0003);
    EXPECT_EQ(hexWordAt("12AB3", 6), 0);
}

}  // namespace
}  // namespace mova
