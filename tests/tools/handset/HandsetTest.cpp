#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "handset/Handset.h"

namespace mova::handset {
namespace {

using testing::ElementsAre;
using namespace std::string_literals;

const std::string kWakeFrame("AT*\x02\x00\x03\x01\x00\x00\x0A\x0D", 11);
constexpr std::uint64_t kSecond = 1'000'000;

Profile atOnce(bool echo = false) {
    Profile profile;
    profile.baudRate = 0;
    profile.echo = echo;
    return profile;
}

// As fast as the machine and without echo, so that an answer is all that is due.
class HandsetTest : public testing::Test {
protected:
    std::string ask(const std::string& bytes) {
        handset_.receive(bytes, now_);
        return handset_.due(now_);
    }

    Handset handset_{atOnce()};
    std::uint64_t now_ = kSecond;
};

// --- AT answers

struct Question {
    const char* name;
    const char* command;
    const char* answer;
};

class HandsetAnswers : public testing::TestWithParam<Question> {};

TEST_P(HandsetAnswers, AreThoseOfAPlainHandset) {
    Handset handset(atOnce());
    handset.receive(GetParam().command + "\r"s, 0);
    EXPECT_EQ(handset.due(0), GetParam().answer);
}

INSTANTIATE_TEST_SUITE_P(
    At, HandsetAnswers,
    testing::Values(Question{"Attention", "AT", "\r\nOK\r\n"},  //
                    Question{"LowerCase", "at+cgsn", "\r\n490154203237518\r\n\r\nOK\r\n"},
                    Question{"Identity", "ATI", "\r\nACME\r\nAM-1\r\n4.2\r\n\r\nOK\r\n"},
                    Question{"Manufacturer", "AT+CGMI", "\r\nACME\r\n\r\nOK\r\n"},
                    Question{"Model", "AT+CGMM", "\r\nAM-1\r\n\r\nOK\r\n"},
                    Question{"Revision", "AT+CGMR", "\r\n4.2\r\n\r\nOK\r\n"},
                    Question{"SerialNumber", "AT+CGSN", "\r\n490154203237518\r\n\r\nOK\r\n"},
                    Question{"Version", "AT%V", "\r\nACME AM-1\r\nSW 4.2.0 2026-03-01\r\n\r\nOK\r\n"},
                    Question{"Imei", "ATD*#06#", "\r\n490154203237518\r\n\r\nOK\r\n"},
                    Question{"EmergencyCall", "ATD112;", "\r\nOK\r\n"}, Question{"HangUp", "ATH", "\r\nOK\r\n"},
                    Question{"Signal", "AT+CSQ", "\r\n+CSQ: 21,99\r\n\r\nOK\r\n"},
                    Question{"Registration", "AT+CREG?", "\r\n+CREG: 0,1\r\n\r\nOK\r\n"},
                    Question{"Operator", "AT+COPS?", "\r\n+COPS: 0,0,\"TESTNET\"\r\n\r\nOK\r\n"},
                    Question{"Function", "AT+CFUN?", "\r\n+CFUN: 1\r\n\r\nOK\r\n"},
                    Question{"Otp", "AT%OTP?", "\r\nUNLOCKED\r\n\r\nOK\r\n"},
                    Question{"SetFunction", "AT+CFUN=1", "\r\nOK\r\n"},
                    Question{"SetOperator", "AT+COPS=0", "\r\nOK\r\n"}, Question{"AutoAnswer", "ATS0=2", "\r\nOK\r\n"},
                    Question{"UartSwap", "AT*UARTSWAP", "\r\nOK\r\n"}, Question{"Bypass", "AT*BYPASS=1", "\r\nOK\r\n"},
                    Question{"BoardTest", "AT*BOARDTEST=0", "\r\nOK\r\n"}, Question{"Enter", "<j", "\r\n>j\r\n"},
                    Question{"Leave", "<k", "\r\n>k\r\n"}, Question{"Unknown", "AT+NONSENSE", "\r\nERROR\r\n"},
                    Question{"UnknownSetting", "AT+NONSENSE=1", "\r\nERROR\r\n"},
                    Question{"NoAt", "hello", "\r\nERROR\r\n"}, Question{"Empty", "", ""},
                    Question{"BadFrame", "AT*MOVA=01", "ERROR\r\n"}),
    [](const auto& tested) { return std::string(tested.param.name); });

TEST_F(HandsetTest, AnswersFromItsProfile) {
    handset_.profile().manufacturer = "Other";
    handset_.profile().version = {"one"};
    handset_.profile().otp.clear();
    EXPECT_EQ(ask("AT+CGMI\r"), "\r\nOther\r\n\r\nOK\r\n");
    EXPECT_EQ(ask("AT%V\r"), "\r\none\r\n\r\nOK\r\n");
    EXPECT_EQ(ask("AT%OTP?\r"), "\r\nERROR\r\n");
}

TEST_F(HandsetTest, AnAnswerOfItsOwnMayTakeItsTime) {
    handset_.profile().answers["AT+CBC"] = {{"+CBC: 0,97"}, "OK", 250'000};
    EXPECT_EQ(ask("at+cbc\r"), "");
    EXPECT_EQ(handset_.due(now_ + 249'999), "");
    EXPECT_EQ(handset_.due(now_ + 250'000), "\r\n+CBC: 0,97\r\n\r\nOK\r\n");
}

TEST_F(HandsetTest, ReplaysWhatTheConversationHoldsAndAnswersTheRest) {
    std::string error;
    handset_.replay(*Conversation::fromText("1 -> RING\\r\\n\n10 <- AT+CGMR\n10 -> 9.9\\r\\n\n12 -> OK\\r\\n\n", error),
                    now_);
    EXPECT_EQ(handset_.due(now_ + 999), "");
    EXPECT_EQ(handset_.due(now_ + 1'000), "RING\r\n");
    now_ += kSecond;
    EXPECT_EQ(ask("AT+CGMR\r"), "9.9\r\n");
    EXPECT_EQ(handset_.nextDue(), now_ + 2'000);
    EXPECT_EQ(handset_.due(now_ + 2'000), "OK\r\n");
    now_ += kSecond;
    EXPECT_EQ(ask("AT+CGMM\r"), "\r\nAM-1\r\n\r\nOK\r\n");
}

TEST_F(HandsetTest, LogsWhatItSendsWithTheTimeWhenItDoes) {
    std::vector<std::string> log;
    handset_.setLog([&](std::uint64_t when, LogKind kind, std::string_view text) {
        log.push_back(conversationLine(when, kind, text));
    });
    handset_.faults().delayMicroseconds = 1'500;
    ask("AT\r");
    EXPECT_THAT(log, ElementsAre("    1000.000 <- AT", R"(    1001.500 -> \r\nOK\r\n)"));
}

TEST_F(HandsetTest, ACommandMayArriveByteByByte) {
    EXPECT_EQ(ask("A"), "");
    EXPECT_EQ(ask("T"), "");
    EXPECT_EQ(ask("\r"), "\r\nOK\r\n");
}

TEST_F(HandsetTest, SeveralCommandsMayArriveTogether) {
    EXPECT_EQ(ask("AT\rAT+CGMM\r"), "\r\nOK\r\n\r\nAM-1\r\n\r\nOK\r\n");
}

TEST_F(HandsetTest, ALineFeedBetweenCommandsMeansNothing) { EXPECT_EQ(ask("AT\r\nAT\r\n"), "\r\nOK\r\n\r\nOK\r\n"); }

TEST_F(HandsetTest, AnEndlessLineIsForgotten) {
    EXPECT_EQ(ask(std::string(8193, 'x')), "");
    EXPECT_EQ(ask("AT\r"), "\r\nOK\r\n");
}

// --- echo

TEST_F(HandsetTest, EchoComesBeforeTheAnswer) {
    handset_.setEcho(true);
    EXPECT_EQ(ask("at\r"), "at\r\r\nOK\r\n");
}

TEST_F(HandsetTest, EchoOfARequestIsALineOfItsOwn) {
    handset_.setEcho(true);
    EXPECT_EQ(ask("AT*MOVA=090005000201000000000F\r"),
              "AT*MOVA=090005000201000000000F\r\n*MOVA=ACK\r\n*MOVA=05000500020103\r\nOK\r\n");
    handset_.setEcho(false);
    EXPECT_EQ(ask("AT*MOVA=090005000201000000000F\r"), "*MOVA=ACK\r\n*MOVA=05000500020103\r\nOK\r\n");
}

TEST_F(HandsetTest, EchoIsSwitchedByTheUsualCommands) {
    EXPECT_EQ(ask("ATE1\r"), "\r\nOK\r\n");
    EXPECT_EQ(ask("ATE0\r"), "ATE0\r\r\nOK\r\n");
    EXPECT_EQ(ask("AT\r"), "\r\nOK\r\n");
    EXPECT_EQ(ask("ate1\r"), "\r\nOK\r\n");
    EXPECT_EQ(ask("ATE\r"), "ATE\r\r\nOK\r\n");
    EXPECT_EQ(ask("AT\r"), "\r\nOK\r\n");
}

TEST(HandsetEcho, IsOnAtFirst) {
    Handset handset;
    handset.setBaudRate(0);
    handset.receive("AT\r", 0);
    EXPECT_EQ(handset.due(0), "AT\r\r\nOK\r\n");
}

// --- line rate

TEST(HandsetLineRate, CommandAndAnswerTakeTheirTimeOnTheLine) {
    Profile profile = atOnce();
    profile.baudRate = 115200;
    Handset handset(profile);
    handset.receive("AT\r", 0);  // three bytes, 260.4 us
    EXPECT_EQ(handset.due(346), "");
    EXPECT_EQ(handset.nextDue(), 347U);  // the first of the answer: 260 + 86.8
    EXPECT_EQ(handset.due(347), "\r");
    EXPECT_EQ(handset.due(433), "");
    EXPECT_EQ(handset.due(434), "\n");
    EXPECT_EQ(handset.due(780), "OK\r");  // 260 + 5 * 86.8 = 694
    EXPECT_EQ(handset.due(781), "\n");    // 260 + 6 * 86.8 = 780.8
    EXPECT_EQ(handset.nextDue(), std::nullopt);
}

TEST(HandsetLineRate, CanBeChanged) {
    Handset handset(atOnce());
    handset.setBaudRate(10'000);  // a millisecond a byte
    handset.receive("AT\r", 0);
    EXPECT_EQ(handset.nextDue(), 4000U);
    handset.due(kSecond);
    handset.setBaudRate(0);
    handset.receive("AT\r", kSecond);
    EXPECT_EQ(handset.nextDue(), kSecond);
}

// --- numbered confirmations

TEST_F(HandsetTest, ConfirmationsThatWereAskedForFollowTheAnswer) {
    EXPECT_EQ(ask("AT%CNF=2,30\r"), "\r\nOK\r\n");
    EXPECT_EQ(handset_.nextDue(), now_ + 30'000);
    EXPECT_EQ(handset_.due(now_ + 29'999), "");
    EXPECT_EQ(handset_.due(now_ + 30'000), "*MOVA=05007E0000007B\r\n");
    EXPECT_EQ(handset_.due(now_ + 59'999), "");
    EXPECT_EQ(handset_.due(now_ + 60'000), "*MOVA=05007E0001007A\r\n");
    EXPECT_EQ(handset_.nextDue(), std::nullopt);
}

TEST_F(HandsetTest, WithoutAGapTheyComeAtOnce) {
    EXPECT_EQ(ask("AT%CNF=3\r"), "\r\nOK\r\n*MOVA=05007E0000007B\r\n*MOVA=05007E0001007A\r\n*MOVA=05007E00020079\r\n");
}

TEST_F(HandsetTest, NoneMayBeAskedForToo) { EXPECT_EQ(ask("AT%CNF=0,10\r"), "\r\nOK\r\n"); }

TEST_F(HandsetTest, UnsolicitedConfirmationsComeAtAnInterval) {
    handset_.setUnsolicitedInterval(1000, now_);
    EXPECT_EQ(handset_.nextDue(), now_ + 1000);
    EXPECT_EQ(handset_.due(now_ + 999), "");
    EXPECT_EQ(handset_.due(now_ + 2000), "*MOVA=05007E0000007B\r\n*MOVA=05007E0001007A\r\n");
    handset_.setUnsolicitedInterval(0, now_ + 2000);
    EXPECT_EQ(handset_.nextDue(), std::nullopt);
    EXPECT_EQ(handset_.due(now_ + 10'000), "");
}

TEST_F(HandsetTest, OneUnsolicitedConfirmationOnDemand) {
    handset_.sendUnsolicited(now_);
    EXPECT_EQ(handset_.due(now_), "*MOVA=05007E0000007B\r\n");
}

// --- sleep

TEST_F(HandsetTest, FallsAsleepWhenItIsLeftAlone) {
    ask("AT*SLEEPMODE=1\r");
    now_ += 200'000;
    EXPECT_EQ(ask("AT\r"), "\r\nOK\r\n");  // not yet
    now_ += 200'001;
    EXPECT_EQ(ask("AT\r"), "");
    EXPECT_TRUE(handset_.isAsleep());
}

TEST_F(HandsetTest, StaysAwakeWithoutSleepMode) {
    now_ += 3600 * kSecond;
    EXPECT_EQ(ask("AT\r"), "\r\nOK\r\n");
    ask("AT*SLEEPMODE=1\r");
    ask("AT*SLEEPMODE=0\r");
    now_ += 3600 * kSecond;
    EXPECT_EQ(ask("AT\r"), "\r\nOK\r\n");
}

TEST_F(HandsetTest, TheWakeFrameWakesIt) {
    ask("AT*SLEEPMODE=1\r");
    now_ += kSecond;
    EXPECT_EQ(ask("AT\r"), "");
    EXPECT_EQ(ask(kWakeFrame), "");
    EXPECT_FALSE(handset_.isAsleep());
    EXPECT_EQ(ask("AT\r"), "\r\nOK\r\n");
}

TEST_F(HandsetTest, MayTakeSeveralWakeFrames) {
    handset_.profile().wakeFrames = 3;
    ask("AT*SLEEPMODE=1\r");
    now_ += kSecond;
    EXPECT_EQ(ask(kWakeFrame + "AT\r" + kWakeFrame + "AT\r"), "");
    EXPECT_TRUE(handset_.isAsleep());
    EXPECT_EQ(ask(kWakeFrame + "AT\r"), "\r\nOK\r\n");
}

TEST_F(HandsetTest, AWakeFrameMayArriveByteByByte) {
    ask("AT*SLEEPMODE=1\r");
    now_ += kSecond;
    for (const char c : kWakeFrame) EXPECT_EQ(ask(std::string(1, c)), "");
    EXPECT_EQ(ask("AT\r"), "\r\nOK\r\n");
}

TEST_F(HandsetTest, AWakeFrameMeansNothingToAHandsetThatIsAwake) {
    EXPECT_EQ(ask(kWakeFrame + "AT\r"), "\r\nOK\r\n");
    for (const char c : kWakeFrame) EXPECT_EQ(ask(std::string(1, c)), "");
    EXPECT_EQ(ask("AT\r"), "\r\nOK\r\n");
}

TEST_F(HandsetTest, FallsAsleepAgain) {
    ask("AT*SLEEPMODE=1\r");
    now_ += kSecond;
    ask(kWakeFrame);
    now_ += kSecond;
    EXPECT_EQ(ask("AT\r"), "");
    EXPECT_TRUE(handset_.isAsleep());
}

// --- faults

TEST_F(HandsetTest, SilenceLosesTheEchoAndTheAnswerOnce) {
    handset_.setEcho(true);
    handset_.faults().set(Fault::Silence);
    EXPECT_EQ(ask("AT\r"), "");
    EXPECT_EQ(ask("AT\r"), "AT\r\r\nOK\r\n");
}

TEST_F(HandsetTest, HangUpTakesTheLineDownOnce) {
    handset_.faults().set(Fault::HangUp);
    EXPECT_FALSE(handset_.takeHangUp());
    EXPECT_EQ(ask("AT\r"), "");
    EXPECT_TRUE(handset_.takeHangUp());
    EXPECT_FALSE(handset_.takeHangUp());
}

TEST_F(HandsetTest, ADelayedAnswerIsDueLater) {
    handset_.faults().delayMicroseconds = 40'000;
    EXPECT_EQ(ask("AT\r"), "");
    EXPECT_EQ(handset_.nextDue(), now_ + 40'000);
    EXPECT_EQ(handset_.due(now_ + 40'000), "\r\nOK\r\n");
}

TEST_F(HandsetTest, ASplitAnswerComesByteByByte) {
    handset_.faults().splitGapMicroseconds = 100;
    EXPECT_EQ(ask("AT\r"), "");
    std::vector<std::string> arrivals;
    while (const auto next = handset_.nextDue()) arrivals.push_back(handset_.due(*next));
    EXPECT_THAT(arrivals, ElementsAre("\r", "\n", "O", "K", "\r", "\n"));
}

TEST_F(HandsetTest, DroppedBytesNeverCome) {
    handset_.faults().droppedPerMille = 1000;
    EXPECT_EQ(ask("AT\r"), "");
    EXPECT_EQ(handset_.nextDue(), std::nullopt);
}

TEST_F(HandsetTest, NoiseStandsBetweenTheBytes) {
    handset_.faults().noisePerMille = 1000;
    const std::string bytes = ask("AT\r");
    ASSERT_EQ(bytes.size(), 12U);
    EXPECT_EQ(bytes[5], 'O');
    EXPECT_EQ(bytes[7], 'K');
}

TEST_F(HandsetTest, ProtocolFaultsReachTheLine) {
    handset_.faults().set(Fault::MissingAck);
    EXPECT_EQ(ask("AT*MOVA=090005000201000000000F\r"), "*MOVA=05000500020103\r\nOK\r\n");
}

TEST_F(HandsetTest, ALostLineTakesWhatWasUnderWayAlong) {
    handset_.setBaudRate(10'000);
    ask("AT%V\rAT+CG");
    handset_.lineLost();
    EXPECT_EQ(handset_.nextDue(), std::nullopt);
    now_ += 10'000;
    ask("AT\r");
    EXPECT_EQ(handset_.due(now_ + 9000), "\r\nOK\r\n");  // 3 ms in, 6 ms out
}

// --- log

TEST_F(HandsetTest, TellsWhatItHearsAndSays) {
    struct Entry {
        LogKind kind;
        std::string text;
        bool operator==(const Entry&) const = default;
    };
    std::vector<Entry> entries;
    handset_.setLog([&](std::uint64_t now, LogKind kind, std::string_view text) {
        EXPECT_EQ(now, now_);
        entries.push_back({kind, std::string(text)});
    });
    ask("AT*SLEEPMODE=1\r");
    now_ += kSecond;
    handset_.setLog([&](std::uint64_t, LogKind kind, std::string_view text) {
        entries.push_back({kind, std::string(text)});
    });
    ask(kWakeFrame);
    EXPECT_THAT(entries, ElementsAre(Entry{LogKind::Received, "AT*SLEEPMODE=1"}, Entry{LogKind::Sent, "\r\nOK\r\n"},
                                     Entry{LogKind::Note, "asleep"}, Entry{LogKind::Note, "awake"}));
}

}  // namespace
}  // namespace mova::handset
