#include <gtest/gtest.h>

#include "base/Text.h"

namespace mova {
namespace {

TEST(Text, CountsOneThingAndSeveral) {
    EXPECT_EQ(counted(0, "byte"), "0 bytes");
    EXPECT_EQ(counted(1, "byte"), "1 byte");
    EXPECT_EQ(counted(2, "byte"), "2 bytes");
    EXPECT_EQ(counted(18446744073709551615U, "damaged frame"), "18446744073709551615 damaged frames");
}

TEST(TextTest, AByteOrderMarkIsTakenAwayOnceAndOnlyAtTheBegin) {
    EXPECT_EQ(withoutByteOrderMark("\xEF\xBB\xBF"
                                   "at AT"),
              "at AT");
    EXPECT_EQ(withoutByteOrderMark("\xEF\xBB\xBF\xEF\xBB\xBF"), "\xEF\xBB\xBF");
    EXPECT_EQ(withoutByteOrderMark("a\xEF\xBB\xBF"), "a\xEF\xBB\xBF");
    EXPECT_EQ(withoutByteOrderMark("\xEF\xBB"), "\xEF\xBB");
    EXPECT_EQ(withoutByteOrderMark(""), "");
}

TEST(TextTest, FormatPrintsTextsOfAnyLength) {
    EXPECT_EQ(format("COM%d", 7), "COM7");
    EXPECT_EQ(format("%s", ""), "");
    const std::string long255(255, 'a');
    const std::string long256(256, 'b');
    const std::string long9000(9000, 'c');
    EXPECT_EQ(format("%s", long255.c_str()), long255);
    EXPECT_EQ(format("%s", long256.c_str()), long256);
    EXPECT_EQ(format("<%s>", long9000.c_str()), "<" + long9000 + ">");
}

TEST(TextTest, TrimRightTakesAllSixKindsOfWhiteSpace) {
    EXPECT_EQ(trimRight(" OK \t\r\n\v\f"), " OK");
    EXPECT_EQ(trimRight("O K"), "O K");
    EXPECT_EQ(trimRight(" \t\r\n\v\f"), "");
    EXPECT_EQ(trimRight(""), "");
    EXPECT_EQ(trimRight(std::string_view("A\0 ", 3)), std::string_view("A\0", 2));
}

TEST(TextTest, TrimTakesBothEnds) {
    EXPECT_EQ(trim("\r\n\v\f\t AT OK \t\r\n\v\f"), "AT OK");
    EXPECT_EQ(trim("\r\n"), "");
    EXPECT_EQ(trim(""), "");
}

TEST(TextTest, FoldsTheCaseOfAsciiLettersOnly) {
    EXPECT_EQ(upperCase("at+Cgmr @[`{ \xE4\xC4"), "AT+CGMR @[`{ \xE4\xC4");
    EXPECT_EQ(lowerCase('Z'), 'z');
    EXPECT_EQ(lowerCase('['), '[');
    EXPECT_EQ(upperCase('a'), 'A');
    EXPECT_EQ(upperCase('{'), '{');
    EXPECT_TRUE(equalIgnoringCase("com7@", "COM7@"));
    EXPECT_TRUE(equalIgnoringCase("", ""));
    EXPECT_FALSE(equalIgnoringCase("com7", "com70"));
    EXPECT_FALSE(equalIgnoringCase("@", "`"));
    EXPECT_FALSE(equalIgnoringCase("\xE4", "\xC4"));
}

TEST(TextTest, TildeLinesReplacesWholeLineEndsOnly) {
    EXPECT_EQ(tildeLines("A\r\n\r\nB"), "A~~B");
    EXPECT_EQ(tildeLines("A\rB\nC\n\rD\r"), "A\rB\nC\n\rD\r");
    EXPECT_EQ(tildeLines("\r\r\n"), "\r~");
    EXPECT_EQ(tildeLines(""), "");
}

TEST(TextTest, FoldLinesLeavesNoTwoTildesTogether) {
    EXPECT_EQ(foldLines("A\r\n\r\nB"), "A~B");
    EXPECT_EQ(foldLines("\r\nA\r\n\r\n\r\n\r\n\r\nB\r\n"), "~A~B~");
    EXPECT_EQ(foldLines("A~~~B~\r\nC"), "A~B~C");  // tildes of the answer itself fold too
    EXPECT_EQ(foldLines("A\r\r\nB"), "A\r~B");
    EXPECT_EQ(foldLines(""), "");
}

}  // namespace
}  // namespace mova
