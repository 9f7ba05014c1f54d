// Requests, acknowledgements and answers put together, from traces worked out by hand.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "trace/Summary.h"
#include "trace/Verdict.h"

namespace mova::trace {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Frames with the checksums that belong to them.
constexpr const char* kRfRequest = "Mv-S 0900#05-00-0201-0000-0000%0F\r";
constexpr const char* kRfReply = "Mv-R 05-00-0201%";
constexpr const char* kReadRequest = "E2P-S 0C00#800101-0600-80-00-3412-0100%\n2D\r";
constexpr const char* kReadReply = "E2P-R 0800-80-00-3412-0100%\nAABB\n";
// 0E00 80 01 01 0800 81 00 3412 0100 AABB: 0E ^ 80 ^ 01 ^ 01 ^ 08 ^ 81 ^ 34 ^ 12 ^ 01 ^ AA ^ BB = 31
constexpr const char* kWriteRequest = "E2P-S 0E00#800101-0800-81-00-3412-0100%\nAABB31\r";
constexpr const char* kAck = "E2P-A %E2p Ack!";
constexpr const char* kOk = "E2P-A % E2p OK!";

struct Paired {
    std::vector<Exchange> exchanges;
    std::vector<Stray> strays;
    Summary summary;

    const Exchange& only() const {
        EXPECT_EQ(exchanges.size(), 1U);
        return exchanges.at(0);
    }
};

// Each text is one record, so many milliseconds after the one before.
struct Entry {
    int after;
    std::string text;
};

Paired readAll(const std::vector<Entry>& entries) {
    std::string file;
    int time = 1000;
    for (const Entry& entry : entries) {
        time += entry.after;
        file += entry.text + "\t\t\t\t[T:" + std::to_string(time) + "]\n";
    }
    std::istringstream in(file);
    Paired reading;
    Listeners listeners;
    listeners.exchange = [&](const Exchange& exchange) { reading.exchanges.push_back(exchange); };
    listeners.stray = [&](const Stray& stray) { reading.strays.push_back(stray); };
    reading.summary = summarise(in, "t.log", listeners);
    return reading;
}

std::vector<Role> rolesOf(const Exchange& exchange) {
    std::vector<Role> roles;
    for (const Part& part : exchange.parts) roles.push_back(part.role);
    return roles;
}

const Entry kNext{1, "AT-S AT"};  // ends what was under way

struct Verdict {
    Outcome outcome;
    std::uint32_t code;
    std::string finding;
    bool operator==(const Verdict&) const = default;
    friend std::ostream& operator<<(std::ostream& out, const Verdict& v) {
        return out << nameOf(v.outcome) << " " << v.code << " " << v.finding;
    }
};

Verdict verdictOf(std::vector<Entry> entries) {
    entries.push_back(kNext);
    const Paired reading = readAll(entries);
    const Exchange& exchange = reading.exchanges.at(0);
    return {exchange.outcome, number(exchange.code), exchange.finding};
}

// --- the way it should be

TEST(GoodExchanges, RfWithTheEchoedAcknowledgement) {
    const Paired reading = readAll({{0, kRfRequest}, {9, "Mv-ECHO *MOVA=ACK"}, {1, kRfReply}});
    const Exchange& exchange = reading.only();
    EXPECT_EQ(exchange.title, "RF service 0x05, index 258");
    EXPECT_EQ(exchange.outcome, Outcome::Good);
    EXPECT_EQ(exchange.acknowledged, 9);
    EXPECT_EQ(exchange.latency(), 10);
    EXPECT_THAT(rolesOf(exchange), ElementsAre(Role::Request, Role::Acknowledgement, Role::Answer));
    EXPECT_THAT(reading.strays, IsEmpty());
}

TEST(GoodExchanges, SegmentsOfAnRfRequestArePaired) {
    // Service 8, index 9: 100 bytes of 00, then one of 07. 6D ^ 08 ^ 09 ^ 64 ^ 01 ^ 02 = 0B; 0A ^ 08 ^ 09 ^ 01 ^ 02 ^
    // 02 ^ 07 = 0D
    const std::string first = "Mv-S 6D00#08-00-0900-6400-0102%" + std::string(200, '0') + "0B\r";
    const Paired reading = readAll({{0, first},
                                    {50, "AT-R AT*MOVA=6D00~*MOVA=ACK~OK"},
                                    {0, "Mv-S 0A00#08-00-0900-0100-0202%070D\r"},
                                    {20, "AT-Purge AT*MOVA=6D00\r\n*MOVA=ACK\r\nOK"},
                                    {0, "Mv-ECHO *MOVA=ACK"},
                                    {0, "Mv-R 08-00-0900%0007"}});
    const Exchange& exchange = reading.only();
    EXPECT_EQ(exchange.outcome, Outcome::Good);
    EXPECT_EQ(exchange.bytesSent, 101U);
    EXPECT_EQ(exchange.bytesReceived, 2U);
    EXPECT_EQ(exchange.latency(), 70);
    EXPECT_THAT(rolesOf(exchange), ElementsAre(Role::Request, Role::Acknowledgement, Role::LaterSegment, Role::Purge,
                                               Role::Acknowledgement, Role::Answer));
    EXPECT_THAT(reading.strays, IsEmpty());
}

TEST(GoodExchanges, E2pReadWithEverythingAroundIt) {
    const Paired reading = readAll({{0, kReadRequest},
                                    {8, "AT-R AT*MOVA=0C0080010106008000341201002D~*MOVA=ACK"},
                                    {0, kAck},
                                    {5, kReadReply},
                                    {1, kOk},
                                    {0, "AT-Purge AT*MOVA=0C0080010106008000341201002D\r\n*MOVA=ACK"}});
    const Exchange& exchange = reading.only();
    EXPECT_EQ(exchange.title, "E2P read 0x1234/1");
    EXPECT_EQ(exchange.outcome, Outcome::Good);
    EXPECT_EQ(exchange.acknowledged, 8);
    EXPECT_EQ(exchange.answered, 13);
    EXPECT_EQ(exchange.latency(), 14);
    EXPECT_EQ(exchange.bytesReceived, 2U);
    EXPECT_EQ(exchange.line, 1U);
    EXPECT_THAT(rolesOf(exchange),
                ElementsAre(Role::Request, Role::Text, Role::Acknowledgement, Role::Answer, Role::Ok, Role::Purge));
}

TEST(GoodExchanges, E2pWriteInSegmentsIsComparedWithItsEcho) {
    // 120 characters of message header and data go first: 16 + 224 AA.. = 240 characters, then one byte more.
    const std::string data(224, 'A');
    const std::string head = "E2P-S 7C00#800201-7700-81-00-3412-0100%\n";
    // 7C ^ 80 ^ 02 ^ 01 ^ 77 ^ 81 ^ 34 ^ 12 ^ 01, and AA 112 times gives nothing: 2E
    const Paired reading = readAll({{0, head + data + "2E\r"},
                                    {10, kAck},
                                    {1, kOk},
                                    {0, "E2P-S 0500#800202%BB3E\r"},  // 05 ^ 80 ^ 02 ^ 02 ^ BB = 3E
                                    {10, kAck},
                                    {1, "E2P-R 7700-81-00-3412-0100%\n" + std::string(100, 'a') + "\n" +
                                            std::string(100, 'a') + "\n" + std::string(24, 'a') + "bb\n"},
                                    {1, kOk}});
    const Exchange& exchange = reading.only();
    EXPECT_EQ(exchange.outcome, Outcome::Good) << exchange.finding;
    EXPECT_EQ(exchange.bytesSent, 113U);
    EXPECT_EQ(exchange.bytesReceived, 113U);
    EXPECT_EQ(exchange.acknowledged, 21);
    EXPECT_EQ(exchange.latency(), 23);
    EXPECT_THAT(reading.strays, IsEmpty());
}

TEST(GoodExchanges, HciAndWifiRepliesArePaired) {
    const Paired reading = readAll({{0, "HCI-S 0700#A00101-0000-01%\nA6\r"},
                                    {3, kAck},
                                    {1, "HCI-R 0100-01%\n000100\n"},
                                    {1, kOk},
                                    {0, "WIFI-S 0A00#B00101-21-00-0200%\nAABB88\r"},
                                    {3, kAck},
                                    {1, "WIFI-R 21-03-0200%\nCCDD\n"},  // a status of 3 is a success
                                    {1, kOk}});
    ASSERT_EQ(reading.exchanges.size(), 2U);
    EXPECT_EQ(reading.exchanges[0].title, "HCI option 1");
    EXPECT_EQ(reading.exchanges[0].outcome, Outcome::Good);
    EXPECT_EQ(reading.exchanges[0].bytesReceived, 1U);
    EXPECT_EQ(reading.exchanges[1].title, "WiFi command 0x21");
    EXPECT_EQ(reading.exchanges[1].outcome, Outcome::Good);
    EXPECT_EQ(reading.exchanges[1].latency(), 5);
}

TEST(GoodExchanges, AtCommandsAndThePort) {
    const Paired reading = readAll({{0, "Open Device:0,115200"},
                                    {1, "Get Driver Name: Communications Port (COM3)"},
                                    {1, "Open Device Success"},
                                    {5, "AT-S AT+CSQ"},
                                    {51, "AT-R AT+CSQ\r~+CSQ: 21,99~OK~"},
                                    {5, "Close Device"},
                                    {500, "Close Device Success"}});
    ASSERT_EQ(reading.exchanges.size(), 3U);
    EXPECT_EQ(reading.exchanges[0].title, "Open, baud rate 115200");
    EXPECT_EQ(reading.exchanges[0].latency(), 2);
    EXPECT_EQ(reading.exchanges[1].title, "AT+CSQ");
    EXPECT_EQ(reading.exchanges[1].outcome, Outcome::Good);
    EXPECT_EQ(reading.exchanges[1].latency(), 51);
    EXPECT_EQ(reading.exchanges[2].name, "Close");
    EXPECT_EQ(reading.exchanges[2].latency(), 500);
    EXPECT_EQ(reading.summary.all.count, 1U);  // the port's are no requests
}

// --- what may go wrong

TEST(FailedExchanges, NoAcknowledgementAndNoOk) {
    EXPECT_EQ(verdictOf({{0, kReadRequest}}), (Verdict{Outcome::Failed, 0x4004, "no acknowledgement"}));
    EXPECT_EQ(verdictOf({{0, kReadRequest}, {1, kAck}, {1, kReadReply}}),
              (Verdict{Outcome::Failed, 0x4004, "no OK after the acknowledgement"}));
    EXPECT_EQ(verdictOf({{0, kReadRequest}, {5, "AT-Purge AT*MOVA=0C00\r\nERROR\r"}}),
              (Verdict{Outcome::Failed, 0x4004, "no acknowledgement; the handset answered ERROR"}));
    EXPECT_EQ(verdictOf({{0, "HCI-S 7C00#A00201-9600-04%\nB1"}}).finding, "no acknowledgement of segment 1 of 2");
    EXPECT_EQ(verdictOf({{0, "HCI-S 7C00#A00201-9600-04%\nB1"}, {1, kAck}, {1, kOk}}).finding,
              "segment 2 of 2 was not sent");
}

TEST(FailedExchanges, AnAnswerThatIsMissingOrLate) {
    EXPECT_EQ(verdictOf({{0, kReadRequest}, {1, kAck}, {1, kOk}}),
              (Verdict{Outcome::Failed, 0x4203, "acknowledged, but no answer"}));
    EXPECT_EQ(verdictOf({{0, kReadRequest}, {1, kAck}, {1, kOk}, {1, kReadReply}}),
              (Verdict{Outcome::Failed, 0x4203, "the answer came after the OK, too late for the component"}));
    EXPECT_EQ(verdictOf({{0, kRfRequest}}), (Verdict{Outcome::Failed, 0x4004, "no answer"}));
}

// Without an answer the component reads option (command) 0: what asked for another fails.
TEST(FailedExchanges, OptionAndCommandZeroNeedNoAnswer) {
    const auto unanswered = [](const char* request) { return verdictOf({{0, request}, {1, kAck}, {1, kOk}}); };
    EXPECT_EQ(unanswered("HCI-S 0900#A00101-0200-00%\n0102A8\r"), (Verdict{Outcome::Good, 0, ""}));
    EXPECT_EQ(unanswered("WIFI-S 0800#B00101-00-00-0000%\nB8\r"), (Verdict{Outcome::Good, 0, ""}));
    EXPECT_EQ(unanswered("HCI-S 0900#A00101-0200-04%\n0102AC\r").code, 0x4203U);
    EXPECT_EQ(unanswered("WIFI-S 0A00#B00101-21-00-0200%\nAABB88\r").code, 0x4203U);
}

TEST(FailedExchanges, TheChecksOfAnE2pReply) {
    const auto read = [](const char* reply) { return verdictOf({{0, kReadRequest}, {1, kAck}, {1, reply}, {1, kOk}}); };
    const auto write = [](const char* reply) {
        return verdictOf({{0, kWriteRequest}, {1, kAck}, {1, reply}, {1, kOk}});
    };
    EXPECT_EQ(read("E2P-R 0800-81-00-3412-0100%\nAABB\n"),
              (Verdict{Outcome::Failed, 0x4203, "the answer names another command"}));
    EXPECT_EQ(read("E2P-R 0600-80-04-3412-0100%\n"),
              (Verdict{Outcome::Failed, 0x8203, "the handset reports status 4"}));
    EXPECT_EQ(read("E2P-R 0600-80-0F-3412-0100%\n").code, 0x8310U);
    EXPECT_EQ(read("E2P-R 0600-80-0D-3412-0100%\n").code, 0x8313U);
    EXPECT_EQ(read("E2P-R 0600-80-14-3412-0100%\n").code, 0x8317U);
    EXPECT_EQ(read("E2P-R 0600-80-01-3412-0100%\n").code, 0x820CU);
    EXPECT_EQ(read("E2P-R 0600-80-15-3412-0100%\n").code, 0x820CU);
    EXPECT_EQ(read("E2P-R 0800-80-00-3512-0100%\nAABB\n"),
              (Verdict{Outcome::Failed, 0x4204, "the answer names another object"}));
    EXPECT_EQ(read("E2P-R 0800-80-00-3412-0200%\nAABB\n"),
              (Verdict{Outcome::Failed, 0x4205, "the answer names another record"}));
    EXPECT_EQ(read("E2P-R ----%\n"), (Verdict{Outcome::Failed, 0x4203, "the answer is too short"}));
    EXPECT_EQ(write("E2P-R 0800-81-00-3412-0100%\naabb\n"), (Verdict{Outcome::Good, 0, ""}));
    EXPECT_EQ(write("E2P-R 0800-81-00-3412-0100%\nAABC\n"),
              (Verdict{Outcome::Failed, 0x4206, "the answer echoes other data"}));
    EXPECT_EQ(write("E2P-R 0700-81-00-3412-0100%\nAA\n"),
              (Verdict{Outcome::Failed, 0x4207, "the answer echoes another length of data"}));
}

TEST(FailedExchanges, TheChecksOfHciAndWifi) {
    const auto hci = [](const char* reply) {
        return verdictOf({{0, "HCI-S 0700#A00101-0000-01%\nA6\r"}, {1, kAck}, {1, reply}, {1, kOk}});
    };
    EXPECT_EQ(hci("HCI-R 0100-02%\n000200\n"), (Verdict{Outcome::Failed, 0x4203, "the answer names another option"}));
    EXPECT_EQ(hci("HCI-R 0100-01%\n000105\n"),
              (Verdict{Outcome::Failed, 0xD303, "the handset's status is not \"00\""}));
    EXPECT_EQ(hci("HCI-R 0200-01%\n010500\n").code, 0xD303U);
    EXPECT_EQ(hci("HCI-R 0300-01%\n0500AA\n").code, 0xD303U);
    EXPECT_EQ(hci("HCI-R 0300-01%\n00AABB\n").outcome, Outcome::Good);
    EXPECT_EQ(hci("HCI-R 0000-01%\n000001\n").code, 0xD303U);
    EXPECT_EQ(hci("HCI-R 0400-01%\n050505\n").outcome, Outcome::Good);  // the trace does not hold the status
    const auto wifi = [](const char* reply) {
        return verdictOf({{0, "WIFI-S 0A00#B00101-21-00-0200%\nAABB88\r"}, {1, kAck}, {1, reply}, {1, kOk}});
    };
    EXPECT_EQ(wifi("WIFI-R 22-00-0000%\n").code, 0x4203U);
    EXPECT_EQ(wifi("WIFI-R 21-01-0000%\n"), (Verdict{Outcome::Failed, 0xD380, "the handset reports status 1"}));
    EXPECT_EQ(wifi("WIFI-R 21-02-0000%\n").code, 0xD381U);
}

TEST(FailedExchanges, DamagedAnswersFailWithTheirCode) {
    const Paired reading =
        readAll({{0, kReadRequest},
                 {5, kAck},
                 {5, "Mv-A %Mova Checksum Error!"},
                 {0, "Mv-R-Error *MOVA=1C00800001160080003412010076\r\n -- 0x4011"},
                 {1, kOk},
                 {1, kRfRequest},
                 {5, "Mv-R-Error AT*MOVA=090005000100000000000D\r\n*MOVA=ACK\r\n*MOVA=05\r\n -- 0x3001"}});
    ASSERT_EQ(reading.exchanges.size(), 2U);
    EXPECT_EQ(reading.exchanges[0].code, 0x4011U);
    EXPECT_EQ(reading.exchanges[0].finding, "damaged answer: checksum mismatch on a confirmation");
    EXPECT_EQ(reading.exchanges[0].outcome, Outcome::Failed);
    EXPECT_EQ(reading.exchanges[1].code, 0x3001U);
    EXPECT_EQ(reading.exchanges[1].latency(), 5);
    EXPECT_EQ(reading.summary.checksumErrors, 1U);
    EXPECT_EQ(reading.summary.errors, 2U);
}

TEST(FailedExchanges, AnErrorResultFailsTheExchange) {
    EXPECT_EQ(verdictOf({{0, "AT-S AT+X"}, {1, "AT-R AT+X\r~ERROR~"}}),
              (Verdict{Outcome::Failed, 0, "the handset answered ERROR"}));
    EXPECT_EQ(verdictOf({{0, "AT-S AT+X"}, {1, "AT-R +CME ERROR: 10"}}),
              (Verdict{Outcome::Failed, 0, "the handset answered +CME ERROR: 10"}));
    // What came in later does not count.
    EXPECT_EQ(verdictOf({{0, "AT-S AT+X"}, {1, "AT-R OK %%Extra :ERROR~"}}).outcome, Outcome::Good);
}

TEST(FailedExchanges, ThePortThatDoesNotOpen) {
    const Paired reading = readAll({{0, "Open Device:0,115200"},
                                    {1, "OpenDevice Error : file not found(2)"},
                                    {1, "Open Device Fail"},
                                    {9, "Open Device:0,115200"},
                                    {1, "Open Device Success"}});
    ASSERT_EQ(reading.exchanges.size(), 2U);
    EXPECT_EQ(reading.exchanges[0].outcome, Outcome::Failed);
    EXPECT_EQ(reading.exchanges[0].finding, "OpenDevice Error : file not found(2)");
    EXPECT_TRUE(reading.exchanges[1].retry);
    EXPECT_EQ(reading.exchanges[1].outcome, Outcome::Good);
    EXPECT_EQ(reading.summary.errors, 1U);
}

// --- what is neither

TEST(OtherExchanges, AnAtAnswerThatNobodyFetched) {
    EXPECT_EQ(verdictOf({{0, "AT-S ATI"}}), (Verdict{Outcome::NotCollected, 0, "no answer in the trace"}));
    EXPECT_EQ(verdictOf({{0, "AT-S ATI"}, {1, "AT-Purge ATI\r\r\nMOVA\r\nOK"}}),
              (Verdict{Outcome::NotCollected, 0, "its answer was thrown away unread"}));
}

TEST(OtherExchanges, TheEndOfTheTraceIsNoFailure) {
    for (const std::vector<Entry>& entries :
         {std::vector<Entry>{{0, kReadRequest}}, std::vector<Entry>{{0, kReadRequest}, {1, kAck}},
          std::vector<Entry>{{0, kRfRequest}}, std::vector<Entry>{{0, "AT-S AT"}},
          std::vector<Entry>{{0, "Close Device"}}}) {
        const Paired reading = readAll(entries);
        EXPECT_EQ(reading.only().outcome, Outcome::Unfinished);
        EXPECT_EQ(reading.summary.errors, 0U);
    }
}

TEST(OtherExchanges, ClosingThePortEndsWhatIsUnderWay) {
    const Paired reading = readAll({{0, kReadRequest}, {4000, "Close Device"}, {500, "Close Device Success"}});
    ASSERT_EQ(reading.exchanges.size(), 2U);
    EXPECT_EQ(reading.exchanges[0].outcome, Outcome::Failed);
}

TEST(OtherExchanges, RepeatedRequestsAreThoseAfterAFailure) {
    const Paired reading = readAll({{0, kReadRequest},
                                    {400, kReadRequest},
                                    {1, kAck},
                                    {1, kReadReply},
                                    {1, kOk},
                                    {1, kReadRequest},
                                    {1, kAck},
                                    {1, kReadReply},
                                    {1, kOk}});
    ASSERT_EQ(reading.exchanges.size(), 3U);
    EXPECT_FALSE(reading.exchanges[0].retry);
    EXPECT_TRUE(reading.exchanges[1].retry);
    EXPECT_FALSE(reading.exchanges[2].retry);  // the one before succeeded
    EXPECT_EQ(reading.summary.all.retries, 1U);
}

TEST(OtherExchanges, InTheBackgroundModesAnRfAnswerMayComeAfterTheNextRequest) {
    // Service 6, index 7: 09 ^ 06 ^ 07 = 08
    const Paired reading =
        readAll({{0, kRfRequest}, {1, "Mv-S 0900#06-00-0700-0000-0000%08"}, {3, kRfReply}, {2, "Mv-R 06-00-0700%"}});
    ASSERT_EQ(reading.exchanges.size(), 2U);
    EXPECT_EQ(reading.exchanges[0].latency(), 4);
    EXPECT_EQ(reading.exchanges[1].latency(), 5);
    EXPECT_EQ(reading.summary.all.of(Outcome::Good), 2U);
    EXPECT_THAT(reading.strays, IsEmpty());
}

// Service 5 with the indices 1, 2 and 3: 09 ^ 05 ^ 01 = 0D, 0E, 0F. The answers come when all have been sent.
TEST(OtherExchanges, ManyRfRequestsOfOneServiceAreToldByTheirIndex) {
    const Paired reading = readAll({{0, "Mv-S 0900#05-00-0100-0000-0000%0D"},
                                    {1, "Mv-S 0900#05-00-0200-0000-0000%0E"},
                                    {1, "Mv-S 0900#05-00-0300-0000-0000%0F"},
                                    {8, "Mv-R 05-00-0100%"},
                                    {10, "Mv-R 05-00-0200%"},
                                    {10, "Mv-R 05-00-0300%"}});
    ASSERT_EQ(reading.exchanges.size(), 3U);
    EXPECT_EQ(reading.exchanges[0].latency(), 10);
    EXPECT_EQ(reading.exchanges[1].latency(), 19);
    EXPECT_EQ(reading.exchanges[2].latency(), 28);
    EXPECT_EQ(reading.summary.unsolicited, 0U);
}

// The meaning of an answer's fields is the handset's: one with another index is still the answer to its service.
TEST(OtherExchanges, AnRfAnswerWithAnotherIndexIsTakenForItsService) {
    const Paired reading = readAll({{0, "Mv-S 0900#05-00-0100-0000-0000%0D"}, {8, "Mv-R 05-00-0700%"}});
    EXPECT_EQ(reading.only().outcome, Outcome::Good);
}

TEST(OtherExchanges, WhatNobodyAskedForIsUnsolicited) {
    const Paired reading = readAll({{0, "Mv-R 7E-00-0000%"},
                                    {1, kReadRequest},
                                    {1, kAck},
                                    {1, "Mv-R 7E-00-0100%"},
                                    {1, kReadReply},
                                    {1, kOk},
                                    {1, "E2P-R 0600-80-00-3412-0100%\n"},
                                    {1, "AT-S AT"},
                                    {1, "AT-R OK"},
                                    {5, "AT-R RING"}});
    EXPECT_EQ(reading.summary.unsolicited, 4U);
    EXPECT_EQ(reading.summary.errors, 0U);
    EXPECT_EQ(reading.exchanges.at(0).outcome, Outcome::Good);
}

TEST(OtherExchanges, SegmentsOutOfStepAreErrors) {
    const Paired reading = readAll({{0, "E2P-S 0500#800202%BB3E"}, {1, kNext.text}});
    ASSERT_EQ(reading.strays.size(), 1U);
    EXPECT_TRUE(reading.strays[0].error);
    EXPECT_EQ(verdictOf({{0, "Mv-S 0A00#08-00-0900-0100-0202%070D"}, {1, "Mv-R 08-00-0900%"}}).finding,
              "its segments do not follow one another");
}

TEST(OtherExchanges, ADamagedRequestIsAnError) {
    const Paired reading = readAll({{0, "Mv-S 0900#05-00-0201-0000-0000%FF"}, {9, kRfReply}});
    ASSERT_EQ(reading.strays.size(), 1U);
    EXPECT_EQ(reading.strays[0].text, "damaged frame: the checksum does not fit the frame");
    EXPECT_EQ(reading.summary.errors, 1U);
}

TEST(Meanings, EveryRangeOfCodesHasItsMeaning) {
    EXPECT_EQ(meaningOf(Code{0x4004}), "no (accepted) answer within the time");
    EXPECT_EQ(meaningOf(Code{0x8203}), "E2P status 4");
    EXPECT_EQ(meaningOf(Code{0x8310}), "E2P status 15");
    EXPECT_EQ(meaningOf(Code{0x8317}), "E2P status 20");
    EXPECT_EQ(meaningOf(Code{0x820C}), "E2P status 1, or 21 to 255");
    EXPECT_EQ(meaningOf(Code{0x1234}), "");
}

}  // namespace
}  // namespace mova::trace
