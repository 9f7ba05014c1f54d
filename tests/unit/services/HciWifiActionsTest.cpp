#include "services/HciWifiActions.h"
#include "unit/services/ServicesFixture.h"

namespace mova {
namespace {

using ::testing::ElementsAre;

class HciWifiActionsTest : public ServicesTest {
protected:
    std::uint32_t acknowledgementTimeout() const { return session.timeout(Timeout::Acknowledgement); }
    HciWifiActions actions{sender, answers, session, log};
};

struct HciCase {
    std::int32_t option;
    const char* request;  // for the command 0102
    const char* reply;    // with the data 00CC
    std::uint32_t timeout;
};

class HciOptionTest : public HciWifiActionsTest, public ::testing::WithParamInterface<HciCase> {};

TEST_P(HciOptionTest, OptionDecidesCommandAndTimeout) {
    const HciCase& c = GetParam();
    expectRequest(c.request, c.reply);
    const TextReply reply = actions.hci(c.option, "0102");
    EXPECT_EQ(reply.code, 0u);
    EXPECT_EQ(reply.data, "00CC");
    EXPECT_EQ(acknowledgementTimeout(), c.timeout);
}

INSTANTIATE_TEST_SUITE_P(
    All, HciOptionTest,
    ::testing::Values(HciCase{0, "AT*MOVA=0900A001010200000102A8", "*MOVA=0900A0000102000000CC66", 4000},
                      HciCase{1, "AT*MOVA=0700A00101000001A6", "*MOVA=0900A0000102000100CC67", 10000},
                      HciCase{2, "AT*MOVA=0700A00101000002A5", "*MOVA=0900A0000102000200CC64", 4000},
                      HciCase{3, "AT*MOVA=0700A00101000003A4", "*MOVA=0900A0000102000300CC65", 4000},
                      HciCase{4, "AT*MOVA=0900A001010200040102AC", "*MOVA=0900A0000102000400CC62", 4000},
                      HciCase{5, "AT*MOVA=0900A001010200050102AD", "*MOVA=0900A0000102000500CC63", 4000},
                      HciCase{16, "AT*MOVA=0900A001010200100102B8", "*MOVA=0900A0000102001000CC76", 4000}),
    [](const auto& test) { return "Option" + std::to_string(test.param.option); });

TEST_F(HciWifiActionsTest, UnknownOptionSendsNothingAndStillSetsTheTimeout) {
    for (const std::int32_t option : {-1, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 17, 255, 256, 272}) {
        session.setTimeout(4, 77);
        const TextReply reply = actions.hci(option, "0102");
        EXPECT_EQ(reply.code, 0x4305u) << option;
        EXPECT_EQ(acknowledgementTimeout(), 4000u) << option;
    }
    EXPECT_EQ(comm.written(), "");
}

TEST_F(HciWifiActionsTest, OptionOneLeavesItsLongTimeoutForLaterRequests) {
    expectRequest("AT*MOVA=0700A00101000001A6", "*MOVA=0900A0000102000100CC67");
    EXPECT_EQ(actions.hci(1, "0102").code, 0u);
    comm.expect("AT*MOVA=0A00B0010121000200AABB88\r");
    const auto before = platform.elapsed();
    EXPECT_EQ(actions.wifi(0x21, "AABB").code, 0x4004u);
    EXPECT_GE(platform.elapsed() - before, 10000);
}

TEST_F(HciWifiActionsTest, OptionEchoMustMatch) {
    expectRequest("AT*MOVA=0900A001010200040102AC", "*MOVA=0900A0000102000500CC63");
    const TextReply reply = actions.hci(4, "0102");
    EXPECT_EQ(reply.code, 0x4203u);
    EXPECT_EQ(reply.data, "00CC");  // the reply's data all the same
}

TEST_F(HciWifiActionsTest, StatusOfOptionsOneAndTwoMustBeZero) {
    expectRequest("AT*MOVA=0700A00101000001A6", "*MOVA=0900A0000102000101CC66");
    EXPECT_EQ(actions.hci(1, "").code, 0xD303u);
    expectRequest("AT*MOVA=0700A00101000001A6", "*MOVA=0700A00001000001A7");  // no status at all
    EXPECT_EQ(actions.hci(1, "").code, 0xD303u);
    expectRequest("AT*MOVA=0700A00101000002A5", "*MOVA=0900A0000102000201CC65");
    EXPECT_EQ(actions.hci(2, "").code, 0xD303u);
    // Option 3 has none: the same data is a success.
    expectRequest("AT*MOVA=0700A00101000003A4", "*MOVA=0900A0000102000301CC64");
    EXPECT_EQ(actions.hci(3, "").data, "01CC");
}

TEST_F(HciWifiActionsTest, AReplyThatFailsItsStatusKeepsItsData) {
    expectRequest("AT*MOVA=0700A00101000001A6", "*MOVA=0900A0000102000101CC66");
    TextReply reply = actions.hci(1, "");
    EXPECT_EQ(reply.code, 0xD303u);
    EXPECT_EQ(reply.data, "01CC");
    expectRequest("AT*MOVA=0700A00101000001A6", "*MOVA=0700A00001000001A7");  // no status at all
    reply = actions.hci(1, "");
    EXPECT_EQ(reply.code, 0xD303u);
    EXPECT_EQ(reply.data, "");
}

// What did not come reads as option (command) 0 with status 0.
TEST_F(HciWifiActionsTest, WithoutAConfirmationOnlyOptionAndCommandZeroSucceed) {
    comm.expect("AT*MOVA=0900A001010200000102A8\r").reply("*MOVA=ACK\r\nOK\r\n", 5ms);
    TextReply reply = actions.hci(0, "0102");
    EXPECT_EQ(reply.code, 0u);
    EXPECT_EQ(reply.data, "");
    comm.expect("AT*MOVA=0800B0010100000000B8\r").reply("*MOVA=ACK\r\nOK\r\n", 5ms);
    reply = actions.wifi(0, "");
    EXPECT_EQ(reply.code, 0u);
    EXPECT_EQ(reply.data, "");
    comm.expect("AT*MOVA=0900A001010200040102AC\r").reply("*MOVA=ACK\r\nOK\r\n", 5ms);
    reply = actions.hci(4, "0102");
    EXPECT_EQ(reply.code, 0x4203u);
    EXPECT_EQ(reply.data, "");
    comm.expect("AT*MOVA=0A00B0010121000200AABB88\r").reply("*MOVA=ACK\r\nOK\r\n", 5ms);
    reply = actions.wifi(0x21, "AABB");
    EXPECT_EQ(reply.code, 0x4203u);
    EXPECT_EQ(reply.data, "");
}

struct WifiCase {
    const char* name;
    const char* reply;
    std::uint32_t code;
};

class WifiReplyTest : public HciWifiActionsTest, public ::testing::WithParamInterface<WifiCase> {};

TEST_P(WifiReplyTest, TheStatusDecidesOnCodeAndData) {
    expectRequest("AT*MOVA=0A00B0010121000200AABB88", GetParam().reply);
    const TextReply reply = actions.wifi(0x21, "AABB");
    EXPECT_EQ(reply.code, GetParam().code);
    EXPECT_EQ(reply.data, GetParam().code == 0 ? "CCDD" : "");
}

INSTANTIATE_TEST_SUITE_P(Replies, WifiReplyTest,
                         ::testing::Values(WifiCase{"Status0", "*MOVA=0A00B0000121000200CCDD89", 0},
                                           WifiCase{"Status1", "*MOVA=0A00B0000121010200CCDD88", 0xD380},
                                           WifiCase{"Status2", "*MOVA=0A00B0000121020200CCDD8B", 0xD381},
                                           WifiCase{"Status3", "*MOVA=0A00B0000121030200CCDD8A", 0},
                                           WifiCase{"OtherCommand", "*MOVA=0A00B0000122000200CCDD8A", 0x4203},
                                           WifiCase{"TooShort", "*MOVA=0600B000012196", 0x4203}),
                         [](const auto& test) { return test.param.name; });

TEST_F(HciWifiActionsTest, WifiDataIsLoggedAndTheSendersTraceKindsAreTheFamilys) {
    log.setPath("C:\\a.log");
    expectRequest("AT*MOVA=0A00B0010121000200AABB88", "*MOVA=0A00B0000121000200CCDD89");
    EXPECT_EQ(actions.wifi(0x21, "AABB").code, 0u);
    EXPECT_THAT(platform.files().content("C:\\a.log"), ::testing::EndsWith("\t[AT] Recv: CCDD\r\n"));
    EXPECT_THAT(trace.lines(), ElementsAre("19 0A00B0010121000200AABB88\r", "6 ", "21 21000200CCDD", "7 "));
    trace.clear();  // the next request drops the acknowledgement that is still queued
    expectRequest("AT*MOVA=0700A00101000003A4", "*MOVA=0900A0000102000300CC65");
    EXPECT_EQ(actions.hci(3, "").code, 0u);
    EXPECT_THAT(trace.lines(), ElementsAre("13 *MOVA=ACK", "14 0700A00101000003A4\r", "6 ", "16 02000300CC", "7 "));
}

TEST_F(HciWifiActionsTest, LongParameterIsCutIntoSegmentsOf240Characters) {
    comm.onWrite([&](std::string_view) { comm.feedAfter(1ms, "*MOVA=ACK\r\nOK\r\n"); });
    actions.wifi(0x21, std::string(233, '0'));  // 241 with its head
    ASSERT_EQ(comm.writes().size(), 2u);
    EXPECT_EQ(comm.writes()[0].bytes.substr(0, 26), "AT*MOVA=7C00B0020121007400");
    EXPECT_EQ(comm.writes()[1].bytes, "AT*MOVA=0400B002020B4\r");
    comm.clearWritten();
    EXPECT_EQ(actions.wifi(0x21, std::string(10232, '0')).code, 0x4000u);
    EXPECT_EQ(actions.hci(0, std::string(10234, '0')).code, 0x4000u);
    EXPECT_EQ(comm.written(), "");
}

}  // namespace
}  // namespace mova
