#include <gtest/gtest.h>

#include "base/Printable.h"

namespace mova {
namespace {

TEST(PrintableTest, WritesControlCharactersAsEscapes) {
    EXPECT_EQ(printable("a\r\n\x1B[2J\x7F"), "a\\r\\n\\x1B[2J\\x7F");
    EXPECT_EQ(printable(std::string_view("\0\x1F ~", 4)), "\\x00\\x1F ~");
    EXPECT_EQ(printable("back\\slash"), "back\\slash");
    EXPECT_EQ(printable("caf\xC3\xA9\xFF"), "caf\xC3\xA9\xFF");
    EXPECT_EQ(printable(""), "");
}

TEST(PrintableTest, WritesTheSecondGroupOfControlCharactersAsEscapes) {
    EXPECT_EQ(printable("a\xC2\x9B"
                        "2J\xC2\x80\xC2\x9F"),
              "a\\u009B2J\\u0080\\u009F");
    EXPECT_EQ(printable("\x9B"
                        "2J\x80\x9F"),
              "\\x9B2J\\x80\\x9F");                                       // Latin-1
    EXPECT_EQ(printable("\xC2\xA0\xC3\x9F\xE2\x82\xAC\xF0\x9F\x98\x80"),  // such bytes within other characters
              "\xC2\xA0\xC3\x9F\xE2\x82\xAC\xF0\x9F\x98\x80");
    EXPECT_EQ(printable("\xE0\x82\x9B"), "\xE0\\x82\\x9B");  // no shorter way round
    EXPECT_EQ(printable("\xE0\xC2\x9B"), "\xE0\\u009B");
    EXPECT_EQ(printable("\xC2"), "\xC2");
}

TEST(PrintableTest, WritesLineAndParagraphSeparatorsAsEscapes) {
    EXPECT_EQ(printable("a\xE2\x80\xA8\xE2\x80\xA9\xE2\x80\xA7\xE2\x80\xAA"),
              "a\\u2028\\u2029\xE2\x80\xA7\xE2\x80\xAA");
    EXPECT_EQ(printableJson("\"\xE2\x80\xA8\xE2\x80\xA9\xE2\x80\xA7\""), "\"\\u2028\\u2029\xE2\x80\xA7\"");
}

TEST(PrintableTest, LeavesNoControlCharacterInJson) {
    EXPECT_EQ(printableJson("\"a\x7F\xC2\x9B\xC2\x80\xC2\xA0\xC3\x9F\\u001b\""),
              "\"a\\u007F\\u009B\\u0080\xC2\xA0\xC3\x9F\\u001b\"");
    EXPECT_EQ(printableJson(""), "");
}

TEST(PrintableTest, KeepsTabsOrNot) {
    EXPECT_EQ(printable("a\tb"), "a\tb");
    EXPECT_EQ(printable("a\tb", Tabs::Escaped),
              "a\\x09"
              "b");
}

TEST(AsUtf8Test, KeepsUtf8AndTakesTheRestForLatin1) {
    EXPECT_EQ(asUtf8("caf\xC3\xA9"), "caf\xC3\xA9");
    EXPECT_EQ(asUtf8("caf\xE9"), "caf\xC3\xA9");
    EXPECT_EQ(asUtf8("\xF0\x9F\x98\x80"), "\xF0\x9F\x98\x80");
    EXPECT_EQ(asUtf8("\xED\xA0\x80"), "\xC3\xAD\xC2\xA0\xC2\x80");  // a surrogate is no text
    EXPECT_EQ(asUtf8("\xC0\x80"), "\xC3\x80\xC2\x80");              // nor is an overlong form
    EXPECT_EQ(asUtf8("\xC3"), "\xC3\x83");
}

}  // namespace
}  // namespace mova
