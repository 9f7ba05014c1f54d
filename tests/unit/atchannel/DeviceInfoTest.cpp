#include "atchannel/DeviceInfo.h"

#include "unit/atchannel/AtFixture.h"

namespace mova {
namespace {

class DeviceInfoTest : public AtLayerTest {
protected:
    void expectAt(const std::string& command, const std::string& answer) {
        comm.expect(command + "\r").reply(command + "\r" + answer, 5ms);
    }
};

TEST_F(DeviceInfoTest, VersionOfTwoLinesArrivesOnOneLine) {
    comm.expect("AT%V\r").reply("\r\nBoot 1.0\r\nMain 4.2\r\nOK\r\n", 5ms);
    const auto answer = info.ask(0, 7, "");
    EXPECT_EQ(answer.code, 0u);
    EXPECT_EQ(answer.text, "Boot 1.0~Main 4.2~");
}

TEST_F(DeviceInfoTest, ImeiLosesItsTrailingWhiteSpace) {
    comm.expect("ATD*#06#\r").reply("\r\n490154203237518\r\n\r\nOK\r\n", 5ms);
    const auto answer = info.ask(2, 0, "");
    EXPECT_EQ(answer.code, 0u);
    EXPECT_EQ(answer.text, "490154203237518");
}

TEST_F(DeviceInfoTest, OtpStatusIsTrimmedAndErrorHasACodeOfItsOwn) {
    comm.expect("AT%OTP?\r").reply("\r\n  LOCKED \r\nOK\r\n", 5ms);
    auto answer = info.ask(10, 0, "");
    EXPECT_EQ(answer.code, 0u);
    EXPECT_EQ(answer.text, "LOCKED");
    comm.expect("AT%OTP?\r").reply("\r\nERROR\r\n", 5ms);
    answer = info.ask(10, 0, "");
    EXPECT_EQ(answer.code, 25344u);
    EXPECT_EQ(answer.text, "");
}

TEST_F(DeviceInfoTest, SilenceIsNoAnswerAndAnEmptyText) {
    for (const std::int32_t option : {0, 2, 10}) {
        const auto before = platform.elapsed();
        const auto answer = info.ask(option, 0, "");
        EXPECT_EQ(answer.code, 0x4004u) << option;
        EXPECT_EQ(answer.text, "") << option;
        EXPECT_GE(platform.elapsed() - before, 1500);
        EXPECT_LE(platform.elapsed() - before, 1510);
    }
}

TEST_F(DeviceInfoTest, UnknownOptionsSendNothingYetEmptyTheQueue) {
    for (const std::int32_t option : {11, 12, 100, -1, -2147483647}) {
        MovaRetCmdTag old;
        old.valid = 1;
        answers.queue().append(old);
        const auto answer = info.ask(option, 0, "");
        EXPECT_EQ(answer.code, 17157u) << option;
        EXPECT_EQ(answer.text, "");
        EXPECT_FALSE(answers.queue().fetch(std::nullopt, ConfirmationQueue::Take::Peek).found);
    }
    EXPECT_EQ(comm.written(), "");
}

TEST_F(DeviceInfoTest, FieldsTakeOnlyReadingAndWriting) {
    for (const std::int32_t option : {1, 3, 4, 5, 6, 7, 8, 9}) {
        for (const std::int32_t access : {-1, 2, 3}) EXPECT_EQ(info.ask(option, access, "1").code, 17157u) << option;
    }
    EXPECT_EQ(info.ask(4, 0, "").code, 17157u);  // write only
    EXPECT_EQ(comm.written(), "");
}

// Object 4099 (0310), record 1 (0100), 60 bytes; the read request's checksum by hand:
// 0C^80^01^01^06^80^03^10^01 = 18
constexpr const char* kReadIdentity = "AT*MOVA=0C00800101060080000310010018";

TEST_F(DeviceInfoTest, NeverWrittenFieldReadsAsTheEmptyText) {
    // Length 60 + 6 = 42; frame 3 + 68 + 1 = 48; the 60 bytes of FF cancel out: 48^80^01^42^80^03^10^01 = 19
    expectRequest("AT*MOVA=0C00800101060080000310010018", "*MOVA=48008000014200800003100100" + std::string(120, 'F') + "19");
    const auto answer = info.ask(3, 0, "");
    EXPECT_EQ(answer.code, 0u);
    EXPECT_EQ(answer.text, "");
}

TEST_F(DeviceInfoTest, AFailingObjectGivesItsCode) {
    // Status 15: 0C^80^01^06^80^0F^03^10^01 = 16
    expectRequest("AT*MOVA=0C00800101060080000310010018", "*MOVA=0C008000010600800F0310010016");
    EXPECT_EQ(info.ask(3, 0, "").code, 0x8310u);
}

}  // namespace
}  // namespace mova
