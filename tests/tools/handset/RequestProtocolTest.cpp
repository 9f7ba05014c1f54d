#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "handset/RequestProtocol.h"

namespace mova::handset {
namespace {

using testing::ElementsAre;
using namespace std::string_literals;

// Bodies of requests: what stands behind "AT*MOVA=".
constexpr const char* kRead = "0C0080010106008000341202002E";       // object 0x1234, record 2
constexpr const char* kWrite = "0E008001010800810034120200AABB32";  // the same with AA BB
constexpr const char* kErasedReply = "*MOVA=0E008000010800800034120200FFFF23";
constexpr const char* kWrittenReply = "*MOVA=0E008000010800810034120200AABB33";
constexpr const char* kHci = "0700A00101000001A6";         // option 1, no command
constexpr const char* kWifi = "0A00B0010121000200AABB88";  // command 0x21, AA BB

class RequestProtocolTest : public testing::Test {
protected:
    Faults faults_;
    RequestProtocol protocol_{faults_};
};

// --- frames

TEST_F(RequestProtocolTest, ABadFrameIsAnError) {
    EXPECT_THAT(protocol_.answer("0C0080010106008000341202002F"), ElementsAre("ERROR"));  // checksum
    EXPECT_THAT(protocol_.answer("0C00800101060080003412022E"), ElementsAre("ERROR"));    // a byte is lost
    EXPECT_THAT(protocol_.answer("0D0080010106008000341202002F"), ElementsAre("ERROR"));  // length
    EXPECT_THAT(protocol_.answer("zz"), ElementsAre("ERROR"));
    EXPECT_THAT(protocol_.answer(""), ElementsAre("ERROR"));
    EXPECT_THAT(protocol_.answer("010001"), ElementsAre("ERROR"));  // no payload
}

// --- RF

TEST_F(RequestProtocolTest, AnRfServiceIsConfirmedWithItsIndex) {
    EXPECT_THAT(protocol_.answer("090005000201000000000F"), ElementsAre("*MOVA=ACK", "*MOVA=05000500020103", "OK"));
}

TEST_F(RequestProtocolTest, AnRfConfirmationCarriesTheDataAsTakenIn) {
    EXPECT_THAT(protocol_.answer("0B000102030002000000CDAB6F"),
                ElementsAre("*MOVA=ACK", "*MOVA=070001000300CDAB63", "OK"));
}

TEST_F(RequestProtocolTest, AnRfRequestWhoseHeadIsShortOrLiesIsAnError) {
    EXPECT_THAT(protocol_.answer("0800050002010000000E"), ElementsAre("ERROR"));    // 7 bytes
    EXPECT_THAT(protocol_.answer("090005000201010000000E"), ElementsAre("ERROR"));  // says a data byte
}

TEST_F(RequestProtocolTest, RfSegmentsAreJoined) {
    const std::string hundred(200, '1');  // bytes 0x11
    EXPECT_THAT(protocol_.answer("6D000700030064000102" + hundred + "0E"), ElementsAre("*MOVA=ACK", "OK"));
    EXPECT_THAT(protocol_.answer("0A000700030001000202222D"),
                ElementsAre("*MOVA=ACK", "*MOVA=6A0007000300" + hundred + "224C", "OK"));
}

TEST_F(RequestProtocolTest, AnRfSegmentOutOfTurnIsAnError) {
    EXPECT_THAT(protocol_.answer("0A000700030001000202222D"), ElementsAre("ERROR"));
}

// --- E2P

TEST_F(RequestProtocolTest, AnObjectIsRead) {
    EXPECT_THAT(protocol_.answer(kRead), ElementsAre("*MOVA=ACK", kErasedReply, "OK"));
}

TEST_F(RequestProtocolTest, AnObjectIsWrittenAndTheDataEchoed) {
    EXPECT_THAT(protocol_.answer(kWrite), ElementsAre("*MOVA=ACK", kWrittenReply, "OK"));
    EXPECT_EQ(*protocol_.store().find(0x1234, 2), "\xAA\xBB");
    EXPECT_THAT(protocol_.answer(kRead), ElementsAre("*MOVA=ACK", "*MOVA=0E008000010800800034120200AABB32", "OK"));
}

TEST_F(RequestProtocolTest, TextSegmentsAreJoined) {
    EXPECT_THAT(protocol_.answer("08008002010800810002"), ElementsAre("*MOVA=ACK", "OK"));
    EXPECT_THAT(protocol_.answer("0A0080020234120200AABBBF"), ElementsAre("*MOVA=ACK", kWrittenReply, "OK"));
    EXPECT_EQ(*protocol_.store().find(0x1234, 2), "\xAA\xBB");
}

TEST_F(RequestProtocolTest, TheFirstSegmentBeginsAnew) {
    EXPECT_THAT(protocol_.answer("08008002010800810002"), ElementsAre("*MOVA=ACK", "OK"));
    EXPECT_THAT(protocol_.answer(kRead), ElementsAre("*MOVA=ACK", kErasedReply, "OK"));
}

TEST_F(RequestProtocolTest, ATextSegmentOutOfTurnIsAnError) {
    EXPECT_THAT(protocol_.answer("0A0080010234120200AABBBC"), ElementsAre("ERROR"));  // the second of one
    EXPECT_THAT(protocol_.answer("0A0080020234120200AABBBF"), ElementsAre("ERROR"));  // before the first
    EXPECT_THAT(protocol_.answer("040080010085"), ElementsAre("ERROR"));              // numbered 0
    EXPECT_THAT(protocol_.answer("0300800182"), ElementsAre("ERROR"));                // no number
}

struct Exchange {
    const char* name;
    const char* request;
    const char* reply;
};

class E2pExchanges : public testing::TestWithParam<Exchange> {};

TEST_P(E2pExchanges, AreAnsweredWithTheirStatus) {
    Faults faults;
    RequestProtocol protocol(faults);
    EXPECT_THAT(protocol.answer(GetParam().request), ElementsAre("*MOVA=ACK", GetParam().reply, "OK"));
}

INSTANTIATE_TEST_SUITE_P(
    Commands, E2pExchanges,
    testing::Values(
        Exchange{"NoObject", "0C0080010106008000999901000B", "*MOVA=0C00800001060080039999010009"},
        Exchange{"NoRecord", "0C00800101060080003412090025", "*MOVA=0C00800001060080043412090020"},
        Exchange{"WrongSize", "0D008001010700810034120200AA85", "*MOVA=0C0080000106008105341202002B"},
        Exchange{"UnknownCommand", "0C0080010106009000341202003E", "*MOVA=0C0080000106009002341202003D"},
        Exchange{"LengthThatLies", "0C0080010107008000341202002F", "*MOVA=0C00800001060080063412020029"},
        Exchange{"ShortMessage", "0600800101000086", "*MOVA=0C0080000106000006000000008D"},
        Exchange{"Password", "0E008001010800820034120200AABB31", "*MOVA=0E008000010800820034120200AABB30"},
        Exchange{"AuthenticationRequest", "0C0080010106008300341202002D",
                 "*MOVA=14008000010E008300341202000123456789ABCDEF3C"},
        Exchange{"AuthenticationKey", "0E008001010800840034120200AABB37", "*MOVA=0E008000010800840034120200AABB36"},
        Exchange{"SerialNumber", "0E008001010800850034120200AABB36", "*MOVA=0E008000010800850034120200AABB37"},
        Exchange{"HashRequest", "0C00800101060086003412020028",
                 "*MOVA=20008000011A008600341202005A5A5A5A5A5A5A5A5A5A5A5A5A5A5A5A5A5A5A5A19"},
        Exchange{"LockOtp", "0C0080010106008700010002000E", "*MOVA=0C0080000106008700010002000F"}),
    [](const auto& tested) { return std::string(tested.param.name); });

TEST_F(RequestProtocolTest, EveryE2pRequestGetsTheStatusThatIsSet) {
    protocol_.setE2pStatus(15);
    EXPECT_THAT(protocol_.answer(kRead), ElementsAre("*MOVA=ACK", "*MOVA=0C008000010600800F3412020020", "OK"));
    protocol_.setE2pStatus(0);
    EXPECT_THAT(protocol_.answer(kRead), ElementsAre("*MOVA=ACK", kErasedReply, "OK"));
}

TEST_F(RequestProtocolTest, ALongReplyComesInSeveralSegments) {
    protocol_.setSegmentSize(4);
    EXPECT_THAT(protocol_.answer(kRead), ElementsAre("*MOVA=ACK", "*MOVA=08008000010800800001",
                                                     "*MOVA=080080000234120200AE", "*MOVA=0600800003FFFF85", "OK"));
}

TEST_F(RequestProtocolTest, ASegmentMayBeFullToTheLastByte) {
    protocol_.setSegmentSize(10);
    EXPECT_THAT(protocol_.answer(kRead), ElementsAre("*MOVA=ACK", kErasedReply, "OK"));
}

// --- HCI and WiFi

TEST_F(RequestProtocolTest, HciEchoesOptionAndCommandBehindAStatus) {
    EXPECT_THAT(protocol_.answer(kHci), ElementsAre("*MOVA=ACK", "*MOVA=0800A0000101000100A9", "OK"));
    EXPECT_THAT(protocol_.answer("0900A001010200000102A8"),
                ElementsAre("*MOVA=ACK", "*MOVA=0A00A00001030000000102AB", "OK"));
    protocol_.setHciStatus(5);
    EXPECT_THAT(protocol_.answer(kHci), ElementsAre("*MOVA=ACK", "*MOVA=0800A0000101000105AC", "OK"));
}

TEST_F(RequestProtocolTest, WifiEchoesCommandAndParameterWithAStatus) {
    EXPECT_THAT(protocol_.answer(kWifi), ElementsAre("*MOVA=ACK", "*MOVA=0A00B0000121000200AABB89", "OK"));
    protocol_.setWifiStatus(2);
    EXPECT_THAT(protocol_.answer(kWifi), ElementsAre("*MOVA=ACK", "*MOVA=0A00B0000121020200AABB8B", "OK"));
}

TEST_F(RequestProtocolTest, FamiliesAreJoinedApart) {
    EXPECT_THAT(protocol_.answer("08008002010800810002"), ElementsAre("*MOVA=ACK", "OK"));
    EXPECT_THAT(protocol_.answer(kHci), ElementsAre("*MOVA=ACK", "*MOVA=0800A0000101000100A9", "OK"));
    EXPECT_THAT(protocol_.answer("0A0080020234120200AABBBF"), ElementsAre("*MOVA=ACK", kWrittenReply, "OK"));
}

// --- unsolicited

TEST_F(RequestProtocolTest, UnsolicitedConfirmationsAreNumbered) {
    EXPECT_EQ(protocol_.unsolicited(), "*MOVA=05007E0000007B");
    EXPECT_EQ(protocol_.unsolicited(), "*MOVA=05007E0001007A");
    for (int i = 2; i < 255; ++i) protocol_.unsolicited();
    EXPECT_EQ(protocol_.unsolicited(), "*MOVA=05007E00FF0084");
    EXPECT_EQ(protocol_.unsolicited(), "*MOVA=05007E0000017A");
}

// --- faults

TEST_F(RequestProtocolTest, AWrongChecksumIsWrongOnce) {
    faults_.set(Fault::WrongChecksum);
    EXPECT_THAT(protocol_.answer(kRead),
                ElementsAre("*MOVA=ACK", "*MOVA=0E008000010800800034120200FFFF79", "OK"));  // 23 ^ 5A
    EXPECT_THAT(protocol_.answer(kRead), ElementsAre("*MOVA=ACK", kErasedReply, "OK"));
    faults_.set(Fault::WrongChecksum);
    EXPECT_THAT(protocol_.answer("090005000201000000000F"), ElementsAre("*MOVA=ACK", "*MOVA=05000500020159", "OK"));
}

TEST_F(RequestProtocolTest, AWrongEchoIsOfAnotherCommand) {
    faults_.set(Fault::WrongEcho);
    EXPECT_THAT(protocol_.answer(kRead), ElementsAre("*MOVA=ACK", "*MOVA=0E008000010800810034120200FFFF22", "OK"));
}

TEST_F(RequestProtocolTest, AWrongEchoIsOfAnotherOption) {
    faults_.set(Fault::WrongEcho, 2);
    EXPECT_THAT(protocol_.answer(kHci), ElementsAre("*MOVA=ACK", "*MOVA=0800A0000101000000A8", "OK"));
    EXPECT_THAT(protocol_.answer(kWifi), ElementsAre("*MOVA=ACK", "*MOVA=0A00B0000120000200AABB88", "OK"));
}

TEST_F(RequestProtocolTest, AWrongRecordIsTheNextOne) {
    faults_.set(Fault::WrongRecord);
    EXPECT_THAT(protocol_.answer(kRead), ElementsAre("*MOVA=ACK", "*MOVA=0E008000010800800034120300FFFF22", "OK"));
}

TEST_F(RequestProtocolTest, WrongDataIsInTheEchoOnly) {
    faults_.set(Fault::WrongData);
    EXPECT_THAT(protocol_.answer(kWrite), ElementsAre("*MOVA=ACK", "*MOVA=0E008000010800810034120200AABA32", "OK"));
    EXPECT_EQ(*protocol_.store().find(0x1234, 2), "\xAA\xBB");
}

TEST_F(RequestProtocolTest, AMissingAckLeavesTheReply) {
    faults_.set(Fault::MissingAck);
    EXPECT_THAT(protocol_.answer(kRead), ElementsAre(kErasedReply, "OK"));
}

TEST_F(RequestProtocolTest, AMissingOkLeavesTheReplyOpen) {
    faults_.set(Fault::MissingOk);
    EXPECT_THAT(protocol_.answer(kRead), ElementsAre("*MOVA=ACK", kErasedReply));
}

TEST_F(RequestProtocolTest, MissingAckAndOkOfASegmentThatIsOnlyAcknowledged) {
    faults_.set(Fault::MissingAck);
    faults_.set(Fault::MissingOk);
    EXPECT_THAT(protocol_.answer("08008002010800810002"), ElementsAre());
}

TEST_F(RequestProtocolTest, ADuplicateSegmentComesTwiceWithItsNumber) {
    faults_.set(Fault::DuplicateSegment);
    protocol_.setSegmentSize(8);
    EXPECT_THAT(protocol_.answer(kRead),
                ElementsAre("*MOVA=ACK", "*MOVA=0C00800001080080003412020021", "*MOVA=0C00800001080080003412020021",
                            "*MOVA=0600800002FFFF84", "OK"));
}

TEST_F(RequestProtocolTest, ASkippedSegmentLeavesOutANumber) {
    faults_.set(Fault::SkippedSegment);
    protocol_.setSegmentSize(4);
    EXPECT_THAT(protocol_.answer(kRead),
                ElementsAre("*MOVA=ACK", "*MOVA=08008000010800800001", "*MOVA=0600800003FFFF85", "OK"));
}

TEST_F(RequestProtocolTest, AnAnswerOfOneSegmentSkipsTheFirstNumber) {
    faults_.set(Fault::SkippedSegment);
    EXPECT_THAT(protocol_.answer(kRead), ElementsAre("*MOVA=ACK", "*MOVA=0E008000020800800034120200FFFF20", "OK"));
}

TEST_F(RequestProtocolTest, TwoFamiliesInOneAnswer) {
    faults_.set(Fault::TwoFamilies);
    EXPECT_THAT(protocol_.answer(kRead), ElementsAre("*MOVA=ACK", "*MOVA=05007E0000007B", kErasedReply, "OK"));
}

}  // namespace
}  // namespace mova::handset
