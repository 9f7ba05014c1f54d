#include <gtest/gtest.h>

#include "base/CodeTexts.h"
#include "base/E2pStatus.h"

namespace mova {
namespace {

TEST(CodeTextsTest, NamesAndMeanings) {
    EXPECT_EQ(codeName(Code::NoAnswer), "NoAnswer");
    EXPECT_EQ(codeMeaning(Code::NoAnswer), "no (accepted) answer within the time");
    EXPECT_EQ(codeName(Code{0x8202}), "E2pStatus3");
    EXPECT_EQ(codeMeaning(Code{0x8310}), "E2P status 15");
    EXPECT_EQ(codeName(Code{0x820C}), "E2pStatusOther");
}

TEST(CodeTextsTest, NumbersThatAreNoCodeHaveNeither) {
    for (const std::uint32_t number : {0x0U, 0x1U, 0x8200U, 0x820DU, 0x8318U, 0xFFFFFFFFU}) {
        EXPECT_EQ(codeName(Code{number}), "") << number;
        EXPECT_EQ(codeMeaning(Code{number}), "") << number;
    }
}

TEST(CodeTextsTest, CodesAreFoundByTheirNames) {
    EXPECT_EQ(codeOfName("WrongData"), Code{0x4206});
    EXPECT_EQ(codeOfName("E2pStatus13"), Code{0x8313});
    EXPECT_EQ(codeOfName("E2pStatus20"), Code{0x8317});
    EXPECT_EQ(codeOfName("E2pStatusOther"), Code{0x820C});
    EXPECT_EQ(codeOfName("noanswer"), std::nullopt);
    EXPECT_EQ(codeOfName(""), std::nullopt);
}

TEST(CodeTextsTest, EveryStatusGivesACodeThatTellsIt) {
    for (unsigned status = 1; status < 256; ++status) {
        const Code code = e2pStatusCode(static_cast<std::uint8_t>(status));
        EXPECT_TRUE(isE2pStatus(code)) << status;
        const bool ownCode = status >= 2 && status <= 20;
        EXPECT_EQ(codeName(code), ownCode ? "E2pStatus" + std::to_string(status) : "E2pStatusOther");
    }
    EXPECT_EQ(e2pStatusCode(0), Code::Success);
    EXPECT_FALSE(isE2pStatus(Code::Success));
    EXPECT_FALSE(isE2pStatus(Code::WrongRecord));
}

TEST(CodeTextsTest, HexCodesHaveFourDigits) {
    EXPECT_EQ(hexCode(Code{0x10}), "0x0010");
    EXPECT_EQ(hexCode(Code{0xD303}), "0xD303");
}

}  // namespace
}  // namespace mova
