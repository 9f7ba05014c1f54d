#include <vector>

#include "base/E2pStatus.h"
#include "services/E2pRequests.h"
#include "unit/services/ServicesFixture.h"

namespace mova {
namespace {

using ::testing::ElementsAre;

class E2pRequestsTest : public ServicesTest {
protected:
    E2pRequests e2p{sender, answers, log};
};

constexpr const char* kReadRequest = "AT*MOVA=0C0080010106008000341202002E";
constexpr const char* kReadReply = "*MOVA=0E008000010800800034120200AABB32";  // AA BB, status 0
constexpr const char* kWriteRequest = "AT*MOVA=0E008001010800810034120200AABB32";
constexpr const char* kWriteReply = "*MOVA=0E008000010800810034120200AABB33";

struct CommandCase {
    E2pCommand command;
    bool sendsData;
    const char* request;
    const char* reply;  // with the data AA BB
};

class E2pCommandTest : public E2pRequestsTest, public ::testing::WithParamInterface<CommandCase> {};

TEST_P(E2pCommandTest, RequestIsSentAndItsReplyDataHandedBack) {
    const CommandCase& c = GetParam();
    expectRequest(c.request, c.reply);
    const TextReply reply = e2p.request(c.command, 0x1234, 2, c.sendsData ? "AABB" : "");
    EXPECT_EQ(reply.code, 0u);
    EXPECT_EQ(reply.data, "AABB");
}

INSTANTIATE_TEST_SUITE_P(
    All, E2pCommandTest,
    ::testing::Values(CommandCase{E2pCommand::Read, false, kReadRequest, kReadReply},
                      CommandCase{E2pCommand::Write, true, kWriteRequest, kWriteReply},
                      CommandCase{E2pCommand::Password, true, "AT*MOVA=0E008001010800820034120200AABB31",
                                  "*MOVA=0E008000010800820034120200AABB30"},
                      CommandCase{E2pCommand::AuthenticationRequest, false, "AT*MOVA=0C0080010106008300341202002D",
                                  "*MOVA=0E008000010800830034120200AABB31"},
                      CommandCase{E2pCommand::AuthenticationKey, true, "AT*MOVA=0E008001010800840034120200AABB37",
                                  "*MOVA=0E008000010800840034120200AABB36"},
                      CommandCase{E2pCommand::SerialNumber, true, "AT*MOVA=0E008001010800850034120200AABB36",
                                  "*MOVA=0E008000010800850034120200AABB37"},
                      CommandCase{E2pCommand::HashRequest, false, "AT*MOVA=0C00800101060086003412020028",
                                  "*MOVA=0E008000010800860034120200AABB34"},
                      CommandCase{E2pCommand::LockOtp, false, "AT*MOVA=0C00800101060087003412020029",
                                  "*MOVA=0E008000010800870034120200AABB35"}),
    [](const auto& test) { return "Command" + std::to_string(static_cast<int>(test.param.command)); });

TEST_F(E2pRequestsTest, EveryStatusBecomesItsCode) {
    const std::vector<std::uint32_t> known{0,      0x820C, 0x8201, 0x8202, 0x8203, 0x8204, 0x8205,
                                           0x8206, 0x8207, 0x8208, 0x8209, 0x820A, 0x820B, 0x8313,
                                           0x8314, 0x8310, 0x8311, 0x8312, 0x8315, 0x8316, 0x8317};
    for (std::size_t status = 0; status < 256; ++status) {
        EXPECT_EQ(e2pStatusCode(static_cast<std::uint8_t>(status)), status < known.size() ? known[status] : 0x820Cu)
            << "status " << status;
    }
}

struct ReplyCase {
    const char* name;
    const char* reply;
    std::uint32_t code;
};

class E2pReplyCheckTest : public E2pRequestsTest, public ::testing::WithParamInterface<ReplyCase> {};

TEST_P(E2pReplyCheckTest, ReplyToAWriteIsCheckedAgainstTheRequest) {
    expectRequest(kWriteRequest, GetParam().reply);
    const TextReply reply = e2p.request(E2pCommand::Write, 0x1234, 2, "AABB");
    EXPECT_EQ(reply.code, GetParam().code);
    EXPECT_EQ(reply.data, reply.code == 0 ? reply.data : "");
}

INSTANTIATE_TEST_SUITE_P(
    Replies, E2pReplyCheckTest,
    ::testing::Values(ReplyCase{"Good", kWriteReply, 0},
                      ReplyCase{"LowerCaseEcho", "*MOVA=0E008000010800810034120200aabb33", 0},
                      ReplyCase{"OtherCommand", kReadReply, 0x4203},
                      ReplyCase{"StatusBeforeObject", "*MOVA=0E0080000108008101FFFF0200AABB14", 0x820C},
                      ReplyCase{"OtherObject", "*MOVA=0E008000010800810035120200AABB32", 0x4204},
                      ReplyCase{"OtherRecord", "*MOVA=0E008000010800810034120300AABB32", 0x4205},
                      ReplyCase{"EchoOneCharacterShorter", "*MOVA=0D008000010700810034120200AAB8F", 0x4207},
                      ReplyCase{"OtherData", "*MOVA=0E008000010800810034120200AABC34", 0x4206},
                      ReplyCase{"WrongChecksum", "*MOVA=0E008000010800810034120200AABB00", 0x4203},
                      ReplyCase{"TooShort", "*MOVA=06008000010887", 0x4203},
                      ReplyCase{"AnotherFamily", "*MOVA=0A00B0000121000200CCDD89", 0x4203}),
    [](const auto& test) { return test.param.name; });

TEST_F(E2pRequestsTest, StatusFifteenOfAReadIs8310) {
    expectRequest(kReadRequest, "*MOVA=0C008000010600800F3412020020");
    EXPECT_EQ(e2p.request(E2pCommand::Read, 0x1234, 2).code, 0x8310u);
}

TEST_F(E2pRequestsTest, ReadDataIsNotComparedWithAnything) {
    expectRequest(kReadRequest, "*MOVA=11008000010B00800034120200ABCDEF012394");
    EXPECT_EQ(e2p.request(E2pCommand::Read, 0x1234, 2).data, "ABCDEF0123");
}

// What the checksum does not see, on the object ABCDEF0123: it takes a character that is no digit for a 0.
struct DamageCase {
    const char* name;
    const char* reply;
    std::uint32_t whole;    // the code of a read that wants the object whole
    const char* handedOut;  // by a read that does not
};

class E2pDamageTest : public E2pRequestsTest, public ::testing::WithParamInterface<DamageCase> {};

TEST_P(E2pDamageTest, IsSeenOnlyByAReadThatWantsTheObjectWhole) {
    expectRequest(kReadRequest, GetParam().reply);
    EXPECT_EQ(e2p.readWhole(0x1234, 2).code, GetParam().whole);
    expectRequest(kReadRequest, GetParam().reply);
    const TextReply reply = e2p.request(E2pCommand::Read, 0x1234, 2);
    EXPECT_EQ(reply.code, 0u);
    EXPECT_EQ(reply.data, GetParam().handedOut);
}

INSTANTIATE_TEST_SUITE_P(
    Replies, E2pDamageTest,
    ::testing::Values(DamageCase{"None", "*MOVA=11008000010B00800034120200ABCDEF012394", 0, "ABCDEF0123"},
                      DamageCase{"LowerCase", "*MOVA=11008000010B00800034120200abcdef012394", 0, "abcdef0123"},
                      DamageCase{"NoData", "*MOVA=0C0080000106008000341202002F", 0, ""},
                      DamageCase{"AFlippedBit", "*MOVA=11008000010B00800034120200ABCDEFp12394", 0x4207, "ABCDEFp123"},
                      DamageCase{"AHash", "*MOVA=11008000010B00800034120200ABCDEF#12394", 0x4207, "ABCDEF#123"},
                      DamageCase{"HalfAByteLost", "*MOVA=11008000010B00800034120200ABCDEF012B5", 0x4207, "ABCDEF012"},
                      DamageCase{"AByteLost", "*MOVA=11008000010B00800034120200ABCDEF01B7", 0x4207, "ABCDEF01"},
                      DamageCase{"ABytesWorthOfZerosMore", "*MOVA=11008000010B00800034120200ABCDEF01230094", 0x4207,
                                 "ABCDEF012300"}),
    [](const auto& test) { return test.param.name; });

TEST_F(E2pRequestsTest, ObjectAndRecordAreCutTo16Bits) {
    expectRequest(kReadRequest, kReadReply);
    EXPECT_EQ(e2p.request(E2pCommand::Read, 0x51234, 0x70002).code, 0u);
}

TEST_F(E2pRequestsTest, ReplyInTwoSegmentsIsJoined) {
    // Segment 1 carries the header and AA, segment 2 BB.
    comm.expect(std::string(kReadRequest) + "\r")
        .reply("*MOVA=ACK\r\n*MOVA=0D008000010800800034120200AA8A\r\n*MOVA=0500800002BB3C\r\nOK\r\n", 5ms);
    EXPECT_EQ(e2p.request(E2pCommand::Read, 0x1234, 2).data, "AABB");
}

TEST_F(E2pRequestsTest, EchoLinesDoNotDisturb) {
    comm.expect(std::string(kReadRequest) + "\r")
        .replyInChunks(std::string(kReadRequest) + "\r\r\n" + answer(kReadReply), 1, 1ms);
    EXPECT_EQ(e2p.request(E2pCommand::Read, 0x1234, 2).data, "AABB");
}

TEST_F(E2pRequestsTest, AnswerInEveryChunkSizeIsTheSame) {
    for (std::size_t size = 1; size <= 70; ++size) {
        comm.expect(std::string(kReadRequest) + "\r")
            .replyInChunks(std::string(kReadRequest) + "\r\r\n" + answer(kReadReply), size, 1ms, 3ms);
        EXPECT_EQ(e2p.request(E2pCommand::Read, 0x1234, 2).data, "AABB") << "chunks of " << size;
    }
}

TEST_F(E2pRequestsTest, MissingAcknowledgementIsNoAnswerAfterTheFourthTimeout) {
    comm.expect(std::string(kReadRequest) + "\r").reply("OK\r\n", 5ms);
    const auto before = platform.elapsed();
    EXPECT_EQ(e2p.request(E2pCommand::Read, 0x1234, 2).code, 0x4004u);
    EXPECT_GE(platform.elapsed() - before, 4000);
    EXPECT_LE(platform.elapsed() - before, 4010);
}

TEST_F(E2pRequestsTest, MissingOkIsNoAnswerAndNothingIsFetched) {
    comm.expect(std::string(kReadRequest) + "\r").reply("*MOVA=ACK\r\n" + std::string(kReadReply) + "\r\n", 5ms);
    EXPECT_EQ(e2p.request(E2pCommand::Read, 0x1234, 2).code, 0x4004u);
    EXPECT_THAT(answers.pending().text(), std::string(kReadReply) + "\r\n");
}

TEST_F(E2pRequestsTest, StopEventEndsTheWait) {
    comm.expect(std::string(kReadRequest) + "\r");
    platform.after(300ms, [&] { port.stopEvent().set(); });
    const auto before = platform.elapsed();
    EXPECT_EQ(e2p.request(E2pCommand::Read, 0x1234, 2).code, 0x4004u);
    EXPECT_LE(platform.elapsed() - before, 310);
}

TEST_F(E2pRequestsTest, WhenConfirmationsAreEventsTheRequestFindsNone) {
    answers.toQueue = false;
    expectRequest(kReadRequest, kReadReply);
    EXPECT_EQ(e2p.request(E2pCommand::Read, 0x1234, 2).code, 0x4203u);
}

TEST_F(E2pRequestsTest, BackgroundModePurgesAndWaitsAsWell) {
    session.synchronous = false;
    comm.feed("old text\r\n");
    expectRequest(kReadRequest, kReadReply);
    EXPECT_EQ(e2p.request(E2pCommand::Read, 0x1234, 2).data, "AABB");
    EXPECT_EQ(platform.failures().calls(Op::Purge), 1u);
}

TEST_F(E2pRequestsTest, OnlyAReadIsLogged) {
    log.setPath("C:\\a.log");
    expectRequest(kReadRequest, kReadReply);
    e2p.request(E2pCommand::Read, 0x1234, 2);
    EXPECT_THAT(platform.files().content("C:\\a.log"), ::testing::EndsWith("\t[AT] Recv: AABB\r\n"));
    platform.files().remove("C:\\a.log");
    expectRequest(kWriteRequest, kWriteReply);
    e2p.request(E2pCommand::Write, 0x1234, 2, "AABB");
    EXPECT_THAT(platform.files().content("C:\\a.log"),
                ::testing::EndsWith("\t[AT] Send: AT*MOVA=0E008001010800810034120200AABB32\r\n"));
}

TEST_F(E2pRequestsTest, TraceTellsTheWholeExchange) {
    expectRequest(kReadRequest, kReadReply);
    e2p.request(E2pCommand::Read, 0x1234, 2);
    EXPECT_THAT(trace.lines(), ElementsAre("3 0C0080010106008000341202002E\r", "6 ", "5 0800800034120200AABB", "7 "));
}

// --- segmentation: data of zeros for command 0x81, object 0x1234, record 2; the message has 16 characters more

TEST_F(E2pRequestsTest, MessageOf240CharactersIsOneFrameAnd241AreTwo) {
    const std::string data224(224, '0');
    // Length 112 + 6 = 0x76; frame length 3 + 120 + 1 = 0x7C; 7C^80^01^01^76^81^34^12^02 = 2F
    expectRequest("AT*MOVA=7C008001017600810034120200" + data224 + "2F", kWriteReply);
    EXPECT_EQ(e2p.request(E2pCommand::Write, 0x1234, 2, data224).code, 0x4207u);
    EXPECT_EQ(comm.writes().size(), 1u);
    comm.clearWritten();

    const std::string data225(225, '0');
    // First frame: 7C^80^02^01^76^81^34^12^02 = 2C. Second: its one character, frame length (6 + 1) / 2 + 1 = 4:
    // 04^80^02^02^0 = 84, where the lone character and the checksum follow each other.
    comm.expect("AT*MOVA=7C008002017600810034120200" + data224 + "2C\r").reply("*MOVA=ACK\r\nOK\r\n", 5ms);
    comm.expect("AT*MOVA=0400800202084\r").reply(answer(kWriteReply), 5ms);
    EXPECT_EQ(e2p.request(E2pCommand::Write, 0x1234, 2, data225).code, 0x4207u);
    EXPECT_EQ(comm.writes().size(), 2u);
}

TEST_F(E2pRequestsTest, LongestMessageGoesOutIn43FramesAndOneCharacterMoreIsRefused) {
    comm.onWrite([&](std::string_view) { comm.feedAfter(1ms, "*MOVA=ACK\r\nOK\r\n"); });
    const std::string data(10223, '0');
    EXPECT_EQ(e2p.request(E2pCommand::Write, 0x1234, 2, data).code, 0x4203u);  // no confirmation was queued
    ASSERT_EQ(comm.writes().size(), 43u);                                      // 42 of 240 characters and one of 159
    EXPECT_EQ(comm.writes().back().bytes.size(), 8u + 4 + 6 + 159 + 2 + 1);
    EXPECT_EQ(comm.writes().back().bytes.substr(0, 18), "AT*MOVA=5300802B2B");
    comm.clearWritten();
    EXPECT_EQ(e2p.request(E2pCommand::Write, 0x1234, 2, data + "0").code, 0x4000u);
    EXPECT_EQ(comm.written(), "");
}

TEST_F(E2pRequestsTest, LaterSegmentsAreTracedAsSuchAndAFailureEndsTheSeries) {
    comm.onWrite([&](std::string_view) {
        if (comm.writes().size() < 2) comm.feedAfter(1ms, "*MOVA=ACK\r\nOK\r\n");
    });
    EXPECT_EQ(e2p.request(E2pCommand::Write, 0x1234, 2, std::string(600, '0')).code, 0x4004u);
    EXPECT_EQ(comm.writes().size(), 2u);
    EXPECT_EQ(trace.of(TraceKind::E2pFirstSent).size(), 1u);
    EXPECT_EQ(trace.of(TraceKind::E2pLaterSent).size(), 1u);
}

// --- ranges, on the object ABCDEF0123

constexpr const char* kObject = "*MOVA=11008000010B00800034120200ABCDEF012394";

struct RangeCase {
    const char* name;
    std::int32_t start;
    std::int32_t length;
    const char* expected;
};

class E2pReadRangeTest : public E2pRequestsTest, public ::testing::WithParamInterface<RangeCase> {};

TEST_P(E2pReadRangeTest, ReadsThePartOfTheObject) {
    expectRequest(kReadRequest, kObject);
    const auto reply = e2p.readRange(0x1234, 2, GetParam().start, GetParam().length);
    EXPECT_EQ(reply.code, 0u);
    EXPECT_EQ(reply.data, GetParam().expected);
    EXPECT_EQ(reply.length, static_cast<std::int32_t>(std::string(GetParam().expected).size()));
}

INSTANTIATE_TEST_SUITE_P(Ranges, E2pReadRangeTest,
                         ::testing::Values(RangeCase{"Inside", 2, 4, "CDEF"}, RangeCase{"ToTheEnd", 6, 4, "0123"},
                                           RangeCase{"OverTheEnd", 8, 100, "23"}, RangeCase{"AtTheEnd", 10, 1, ""},
                                           RangeCase{"BeyondTheEnd", 5000, 10, ""},
                                           RangeCase{"NegativeStart", -3, 2, "AB"},
                                           RangeCase{"NegativeLength", 2, -1, ""},
                                           RangeCase{"Huge", 2147483647, 2147483647, ""},
                                           RangeCase{"StartPlusLengthOverflows", 1, 2147483647, "BCDEF0123"}),
                         [](const auto& test) { return test.param.name; });

TEST_F(E2pRequestsTest, FailedRangeReadTellsNothing) {
    expectRequest(kReadRequest, "*MOVA=0C008000010600800F3412020020");
    const auto reply = e2p.readRange(0x1234, 2, 0, 4);
    EXPECT_EQ(reply.code, 0x8310u);
    EXPECT_FALSE(reply.lengthKnown);
    EXPECT_EQ(reply.data, "");
}

TEST_F(E2pRequestsTest, RangeWriteWritesTheWholeObjectBack) {
    expectRequest(kReadRequest, kObject);
    expectRequest("AT*MOVA=11008001010B00810034120200AB7788012349", "*MOVA=11008000010B00810034120200AB7788012348");
    const auto reply = e2p.writeRange(0x1234, 2, 2, 4, "7788");
    EXPECT_EQ(reply.code, 0u);
    EXPECT_EQ(reply.length, 4);
}

TEST_F(E2pRequestsTest, RangeWriteNeverLengthensTheObject) {
    expectRequest(kReadRequest, kObject);
    // ABCDEF01 and 99: 11^80^01^01^0B^81^34^12^02^AB^CD^EF^01^99 = 2E
    expectRequest("AT*MOVA=11008001010B00810034120200ABCDEF01992E", "*MOVA=11008000010B00810034120200ABCDEF01992F");
    const auto reply = e2p.writeRange(0x1234, 2, 8, 100, "99887766");
    EXPECT_EQ(reply.code, 0u);
    EXPECT_EQ(reply.length, 2);
}

TEST_F(E2pRequestsTest, RangeTextShorterThanTheLengthIsCopiedAsFarAsItGoes) {
    expectRequest(kReadRequest, kObject);
    expectRequest("AT*MOVA=11008001010B00810034120200AB7788012349", "*MOVA=11008000010B00810034120200AB7788012348");
    const auto reply = e2p.writeRange(0x1234, 2, 2, 8, "7788");
    EXPECT_EQ(reply.code, 0u);
    EXPECT_EQ(reply.length, 8);
}

TEST_F(E2pRequestsTest, RangeWriteStopsWhenTheReadFails) {
    expectRequest(kReadRequest, "*MOVA=0C008000010600800F3412020020");
    EXPECT_EQ(e2p.writeRange(0x1234, 2, 2, 4, "7788").code, 0x8310u);
    EXPECT_EQ(comm.writes().size(), 1u);
}

}  // namespace
}  // namespace mova
