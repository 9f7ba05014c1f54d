#include <gtest/gtest.h>

#include <string>

#include "atchannel/IdentityFields.h"

namespace mova {
namespace {

const IdentityField& field(std::int32_t option) {
    const IdentityField* found = findIdentityField(option);
    EXPECT_NE(found, nullptr) << option;
    return *found;
}

std::string written(std::int32_t option, const std::string& parameters, const std::string& old) {
    return encodeField(field(option), old, Fields(parameters)).text;
}

struct PlaceCase {
    std::int32_t option, object, record, writeStart, writeWidth, readStart, readWidth;
};

TEST(IdentityFields, LieAtTheirPlacesInTheHandsetsObjects) {
    for (const PlaceCase& c : {PlaceCase{1, 4097, 1, 0, 80, 0, 80}, PlaceCase{3, 4099, 1, 40, 40, 40, 40},
                               PlaceCase{4, 36895, 1, 976, 18, 976, 18}, PlaceCase{5, 4256, 1, 0, 24, 8, 16},
                               PlaceCase{6, 4099, 1, 80, 40, 80, 40}, PlaceCase{7, 4260, 1, 0, 34, 0, 34},
                               PlaceCase{8, 4099, 7, 0, 56, 0, 56}}) {
        const IdentityField& f = field(c.option);
        EXPECT_EQ(f.object, c.object);
        EXPECT_EQ(f.record, c.record);
        EXPECT_EQ(f.write.start, c.writeStart);
        EXPECT_EQ(f.write.width, c.writeWidth);
        EXPECT_EQ(f.read.start, c.readStart);
        EXPECT_EQ(f.read.width, c.readWidth);
    }
    for (const std::int32_t option : {-1, 0, 2, 9, 10, 11}) EXPECT_EQ(findIdentityField(option), nullptr) << option;
}

TEST(IdentityFields, LengthPrefixedValueKeepsTheRestOfTheField) {
    EXPECT_EQ(written(3, "AB1", std::string(40, 'F')), "03414231" + std::string(32, 'F'));
    EXPECT_EQ(written(6, "", std::string(40, 'F')), "00" + std::string(38, 'F'));
}

TEST(IdentityFields, ValueIsCutToTheFieldsWidth) {
    const EncodedField encoded = encodeField(field(3), std::string(40, 'F'), Fields("ABCDEFGHIJKLMNOPQRSTUVWXYZ"));
    EXPECT_EQ(encoded.value, "ABCDEFGHIJKLMNOPQRS");
    EXPECT_EQ(encoded.text.size(), 40u);
    EXPECT_EQ(encoded.text.substr(0, 6), "134142");
    EXPECT_EQ(encodeField(field(7), std::string(34, 'F'), Fields("1234567890AB")).value, "1234567890");
    EXPECT_EQ(encodeField(field(4), std::string(18, 'F'), Fields("123456789")).value, "12345678");
}

TEST(IdentityFields, ValueBehindItsLengthIsFilledUpInFieldFour) {
    EXPECT_EQ(written(4, "HELLO", std::string(18, 'F')), "0548454C4C4F000000");
    EXPECT_EQ(written(4, "12345678", std::string(18, 'F')), "083132333435363738");
    EXPECT_EQ(written(4, "123456789", std::string(18, 'F')), "083132333435363738");
    EXPECT_EQ(written(4, "", std::string(18, 'F')), "000000000000000000");
}

TEST(IdentityFields, ZeroFilledValueFillsItsField) {
    EXPECT_EQ(written(1, "A", std::string(80, 'F')), "41" + std::string(78, '0'));
}

TEST(IdentityFields, FramedValueIsFollowedByFourZeros) {
    EXPECT_EQ(written(5, "ABCDEF", std::string(24, 'F')),
              "06000000"
              "414243444546"
              "0000");
    EXPECT_EQ(written(5, "AB", std::string(24, 'F')),
              "02000000"
              "414200000000"
              "0000");
    EXPECT_EQ(decodeField(field(5), "4142434445460000"), "ABCDEF");
    EXPECT_EQ(decodeField(field(5), "4142000000000000"), "AB");
}

TEST(IdentityFields, ThreeValuesAndTheirNumber) {
    const std::string text = written(8, "AB,,C", std::string(56, 'F'));
    EXPECT_EQ(text,
              "02"
              "024142000000000000"
              "000000000000000000"
              "014300000000000000");
    EXPECT_EQ(decodeField(field(8), text), "2,AB,,C");
    EXPECT_EQ(encodeField(field(8), "", Fields("123456789,B")).value, "12345678,B,");
}

TEST(IdentityFields, NeverWrittenFieldsReadEmpty) {
    EXPECT_EQ(decodeField(field(3), std::string(40, 'F')), "");
    EXPECT_EQ(decodeField(field(1), std::string(80, 'F')), "");
    EXPECT_EQ(decodeField(field(5), std::string(16, 'F')), "");
    EXPECT_EQ(decodeField(field(7), std::string(34, 'F')), "");
    EXPECT_EQ(decodeField(field(8), std::string(56, 'F')), "0,,,");
    // In lower case too, whatever stands behind the length.
    EXPECT_EQ(decodeField(field(3), "ff414243" + std::string(32, 'f')), "");
    EXPECT_EQ(decodeField(field(7), "fF4142" + std::string(28, '0')), "");
    EXPECT_EQ(decodeField(field(8),
                          "ff"
                          "ff4142000000000000"
                          "Ff4142000000000000"
                          "014300000000000000"),
              "0,,,C");
}

TEST(IdentityFields, WhatIsWrittenIsWhatIsRead) {
    for (const std::int32_t option : {1, 3, 6, 7}) {
        const IdentityField& f = field(option);
        const std::string text = written(option, "S/N-42", std::string(static_cast<std::size_t>(f.write.width), 'F'));
        EXPECT_EQ(text.size(), static_cast<std::size_t>(f.write.width)) << option;
        EXPECT_EQ(decodeField(f, text), "S/N-42") << option;
    }
}

TEST(IdentityFields, ShortOrBrokenFieldsReadAsFarAsTheyGo) {
    EXPECT_EQ(decodeField(field(3), ""), "");
    EXPECT_EQ(decodeField(field(3), "0"), "");
    EXPECT_EQ(decodeField(field(3), "05414"), "A\x04");
    EXPECT_EQ(decodeField(field(8), "01"), "1,,,");
}

}  // namespace
}  // namespace mova
