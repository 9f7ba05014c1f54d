#include <gtest/gtest.h>

#include "handset/Frames.h"

namespace mova::handset {
namespace {

using namespace std::string_literals;

TEST(HandsetFrames, HexadecimalTextIsUpperCaseHighDigitFirst) {
    EXPECT_EQ(toHex("\x00\x1F\xAB\xFF"s), "001FABFF");
    EXPECT_EQ(toHex(""), "");
}

TEST(HandsetFrames, HexadecimalTextIsReadInEitherCase) {
    EXPECT_EQ(fromHex("001fAbFF"), "\x00\x1F\xAB\xFF"s);
    EXPECT_EQ(fromHex(""), "");
}

TEST(HandsetFrames, WhatIsNoHexadecimalTextIsNoticed) {
    EXPECT_EQ(fromHex("ABC"), std::nullopt);
    EXPECT_EQ(fromHex("0G"), std::nullopt);
    EXPECT_EQ(fromHex("G0"), std::nullopt);
    EXPECT_EQ(fromHex("0 "), std::nullopt);
}

TEST(HandsetFrames, NumbersAreLeastSignificantByteFirst) {
    EXPECT_EQ(wordAt("\x02\x01\xCD\xAB"s, 0), 0x0102);
    EXPECT_EQ(wordAt("\x02\x01\xCD\xAB"s, 2), 0xABCD);
    EXPECT_EQ(wordAt("\x02\x01\xCD\xAB"s, 3), 0);  // not whole
    EXPECT_EQ(word(0xABCD), "\xCD\xAB"s);
    EXPECT_EQ(word(5), "\x05\x00"s);
}

TEST(HandsetFrames, ARequestIsTakenApart) {
    const Request request = readRequest("0B000102030002000000CDAB6F");
    EXPECT_EQ(request.fault, FrameFault::None);
    EXPECT_EQ(request.payload, "\x01\x02\x03\x00\x02\x00\x00\x00\xCD\xAB"s);
}

TEST(HandsetFrames, AnEmptyRequestIsWellFormed) {
    const Request request = readRequest("010001");
    EXPECT_EQ(request.fault, FrameFault::None);
    EXPECT_EQ(request.payload, "");
}

TEST(HandsetFrames, LowerCaseIsARequestToo) {
    EXPECT_EQ(readRequest("0b000102030002000000cdab6f").fault, FrameFault::None);
}

TEST(HandsetFrames, TheLengthIsChecked) {
    EXPECT_EQ(readRequest("0A000102030002000000CDAB6E").fault, FrameFault::Length);  // says one less
    EXPECT_EQ(readRequest("0C000102030002000000CDAB68").fault, FrameFault::Length);  // says one more
    EXPECT_EQ(readRequest("0100").fault, FrameFault::Length);                        // no checksum
    EXPECT_EQ(readRequest("").fault, FrameFault::Length);
}

TEST(HandsetFrames, TheChecksumIsChecked) {
    EXPECT_EQ(readRequest("0B000102030002000000CDAB6E").fault, FrameFault::Checksum);
    EXPECT_EQ(readRequest("0B000102030002000000CCAB6F").fault, FrameFault::Checksum);
    EXPECT_EQ(readRequest("010000").fault, FrameFault::Checksum);
}

TEST(HandsetFrames, WhatIsNoHexadecimalTextIsNoRequest) {
    EXPECT_EQ(readRequest("01000Z").fault, FrameFault::NotHex);
    EXPECT_EQ(readRequest("01000").fault, FrameFault::NotHex);
}

TEST(HandsetFrames, AConfirmationCarriesLengthAndChecksum) {
    EXPECT_EQ(confirmationLine("\x80\x00\x01\x08\x00\x80\x00\x34\x12\x02\x00\xAA\xBB"s),
              "*MOVA=0E008000010800800034120200AABB32");
    EXPECT_EQ(confirmationLine("\x7E\x00\x01\x00"s), "*MOVA=05007E0001007A");
    EXPECT_EQ(confirmationLine(""), "*MOVA=010001");
}

TEST(HandsetFrames, AWrongChecksumDiffersInTheLastByteOnly) {
    EXPECT_EQ(confirmationLine("\x7E\x00\x01\x00"s, true), "*MOVA=05007E00010020");  // 7A ^ 5A
}

}  // namespace
}  // namespace mova::handset
