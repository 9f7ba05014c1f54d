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
    expectRequest("AT*MOVA=0C00800101060080000310010018",
                  "*MOVA=48008000014200800003100100" + std::string(120, 'F') + "19");
    const auto answer = info.ask(3, 0, "");
    EXPECT_EQ(answer.code, 0u);
    EXPECT_EQ(answer.text, "");
}

// Object 4099, record 2: 12 bytes of others', then the record of 68 bytes, in progress and otherwise empty, with its
// checksum 01. Message 80 + 6 = 56, frame 3 + 88 + 1 = 5C; the checksums by hand:
//   0C^80^01^01^06^80^03^10^02 = 1B                  the read request
//   5C^80^01^56^80^03^10^02 = 1A                     its reply; the data cancel out
//   5C^80^01^01^56^81^03^10^02 = 1A                  the write request
//   5C^80^01^56^81^03^10^02 = 1B                     its reply
//   01^01^01^05^1A^24^03^05^09^07 = 32               the record with the entry
TEST_F(DeviceInfoTest, TheValuesOfAFlashEntryAreTrimmed) {
    const std::string others(24, '0');
    const std::string started = others + "01" + std::string(132, '0') + "01";
    const std::string entered = others +
                                "010100000001"
                                "051A0000002403050907" +
                                std::string(102, '0') + "32";
    for (const char* parameter : {"2,5,1A", "2,5,1A ", " 2 ,\t5 , 1A\r\n"}) {
        for (int reads = 0; reads < 2; ++reads) {
            expectRequest("AT*MOVA=0C0080010106008000031002001B",
                          "*MOVA=5C0080000156008000031002"
                          "00" +
                              started + "1A");
        }
        expectRequest("AT*MOVA=5C008001015600810003100200" + entered + "1A",
                      "*MOVA=5C0080000156008100031002"
                      "00" +
                          entered + "1B");
        EXPECT_EQ(info.ask(9, 1, parameter).code, 0u) << parameter;
        EXPECT_THAT(comm.written(), ::testing::EndsWith(entered + "1A\r")) << parameter;
    }
}

TEST_F(DeviceInfoTest, AFailingObjectGivesItsCode) {
    // Status 15: 0C^80^01^06^80^0F^03^10^01 = 16
    expectRequest("AT*MOVA=0C00800101060080000310010018", "*MOVA=0C008000010600800F0310010016");
    EXPECT_EQ(info.ask(3, 0, "").code, 0x8310u);
}

}  // namespace
}  // namespace mova
