#include <gtest/gtest.h>

#include "base/CodeTexts.h"
#include "mova/Codes.h"

namespace mova {
namespace {

TEST(CodeTextsTest, NamesAndMeanings) {
    EXPECT_EQ(codeName(code::NoAnswer), "NoAnswer");
    EXPECT_EQ(codeMeaning(code::NoAnswer), "no (accepted) answer within the time");
    EXPECT_EQ(codeName(0x8202), "E2pStatus3");
    EXPECT_EQ(codeMeaning(0x8310), "E2P status 15");
    EXPECT_EQ(codeName(0x820C), "E2pStatusOther");
}

TEST(CodeTextsTest, NumbersThatAreNoCodeHaveNeither) {
    for (const std::uint32_t number : {0x0U, 0x1U, 0x8200U, 0x820DU, 0x8318U, 0xFFFFFFFFU}) {
        EXPECT_EQ(codeName(number), "") << number;
        EXPECT_EQ(codeMeaning(number), "") << number;
    }
}

TEST(CodeTextsTest, CodesAreFoundByTheirNames) {
    EXPECT_EQ(codeOfName("WrongData"), 0x4206U);
    EXPECT_EQ(codeOfName("E2pStatus13"), 0x8313U);
    EXPECT_EQ(codeOfName("E2pStatus20"), 0x8317U);
    EXPECT_EQ(codeOfName("E2pStatusOther"), 0x820CU);
    EXPECT_EQ(codeOfName("noanswer"), std::nullopt);
    EXPECT_EQ(codeOfName(""), std::nullopt);
}

TEST(CodeTextsTest, EveryStatusGivesACodeThatTellsIt) {
    for (unsigned status = 1; status < 256; ++status) {
        const std::uint32_t code = e2pStatusCode(static_cast<std::uint8_t>(status));
        EXPECT_TRUE(isE2pStatus(code)) << status;
        const bool ownCode = status >= 2 && status <= 20;
        EXPECT_EQ(codeName(code), ownCode ? "E2pStatus" + std::to_string(status) : "E2pStatusOther");
    }
    EXPECT_EQ(e2pStatusCode(0), code::Success);
    EXPECT_FALSE(isE2pStatus(code::Success));
    EXPECT_FALSE(isE2pStatus(code::WrongRecord));
}

TEST(CodeTextsTest, HexCodesHaveFourDigits) {
    EXPECT_EQ(hexCode(0x10), "0x0010");
    EXPECT_EQ(hexCode(0xD303), "0xD303");
}

}  // namespace
}  // namespace mova
