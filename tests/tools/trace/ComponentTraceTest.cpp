// What the component writes is what this reads: a station with a simulated handset, its faults, and its trace.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "line/LineStation.h"
#include "trace/Summary.h"

namespace mova::trace {
namespace {

using handset::Fault;
using line::LineStation;

class ComponentTrace : public ::testing::Test {
protected:
    ComponentTrace() {
        EXPECT_EQ(station.open(), 0U);
        station.manager.ActivateMovaLogging(file, 0, 1);
    }
    // The exchanges in the file's order, the port's left out.
    std::vector<Exchange> exchanges() {
        std::ifstream in(file, std::ios::binary);
        std::vector<Exchange> all;
        Listeners listeners;
        listeners.exchange = [&](const Exchange& exchange) { all.push_back(exchange); };
        summary = summarise(in, file, listeners);
        std::erase_if(all, [](const Exchange& exchange) { return exchange.family == Family::Port; });
        std::sort(all.begin(), all.end(), [](const Exchange& a, const Exchange& b) { return a.line < b.line; });
        return all;
    }

    LineStation station;
    std::string file = station.bench.file("trace.log");
    Summary summary;
};

TEST_F(ComponentTrace, EveryFamilyIsRead) {
    auto& manager = station.manager;
    EXPECT_EQ(manager.RfGeneralTestReq(5, 0x0102), 0U);
    EXPECT_EQ(manager.RfChangeTableReq(8, 0, 9, 250, std::vector<std::uint8_t>(250, 7)), 0U);
    EXPECT_EQ(manager.WriteE2PObject(0x1234, 1, "00112233445566778899AABBCCDDEEFF").code, 0U);
    EXPECT_EQ(manager.ReadE2PObject(0x1234, 1).code, 0U);
    EXPECT_EQ(manager.HciAction(4, std::string(300, 'B')).code, 0U);
    EXPECT_EQ(manager.WiFiAction(0x22, std::string(300, 'C')).code, 0U);
    manager.ResetCmdManager(0);
    const std::vector<Exchange> all = exchanges();
    std::vector<std::string> titles;
    for (const Exchange& exchange : all) {
        titles.push_back(exchange.title);
        EXPECT_EQ(exchange.outcome, Outcome::Good) << exchange.title << ": " << exchange.finding;
        EXPECT_TRUE(exchange.latency()) << exchange.title;
    }
    EXPECT_THAT(titles,
                ::testing::ElementsAre("RF service 0x05, index 258", "RF service 0x08, index 9", "E2P write 0x1234/1",
                                       "E2P read 0x1234/1", "HCI option 4", "WiFi command 0x22"));
    EXPECT_EQ(all.at(1).bytesSent, 250U);
    EXPECT_EQ(all.at(3).bytesReceived, 16U);
    EXPECT_EQ(summary.errors, 0U);
    EXPECT_EQ(summary.remarks, 0U);
    EXPECT_EQ(summary.kinds.at("Close").of(Outcome::Good), 1U);
}

// The finding's number is the one that the caller got.
TEST_F(ComponentTrace, FailuresAreFoundAsTheComponentReportedThem) {
    std::vector<std::uint32_t> codes;
    const auto read = [&](Fault fault) {
        station.fault(fault);
        codes.push_back(number(station.manager.ReadE2PObject(0x1234, 1).code));
    };
    const auto readInVain = [&](Fault fault) {
        station.setTimeout(line::Timeout::TextAcknowledgement, 1000);
        read(fault);
        station.setTimeout(line::Timeout::TextAcknowledgement, LineStation::kPatience);
    };
    codes.push_back(number(station.manager.ReadE2PObject(0x1234, 200).code));
    read(Fault::WrongEcho);
    read(Fault::WrongRecord);
    read(Fault::SkippedSegment);
    readInVain(Fault::MissingOk);
    readInVain(Fault::Silence);
    read(Fault::TwoFamilies);
    EXPECT_THAT(codes, ::testing::ElementsAre(0x8203, 0x4203, 0x4205, 0x4203, 0x4004, 0x4004, 0x4203));
    station.fault(Fault::WrongData);
    codes.push_back(number(station.manager.WriteE2PObject(0x1234, 1, "00112233445566778899AABBCCDDEEFF").code));
    EXPECT_EQ(codes.back(), 0x4206U);
    station.manager.SendNormalAtCmd(0, "AT");  // ends what was under way
    std::vector<std::uint32_t> found;
    for (const Exchange& exchange : exchanges()) {
        if (exchange.family == Family::E2p) found.push_back(number(exchange.code));
    }
    EXPECT_EQ(found, codes);
}

}  // namespace
}  // namespace mova::trace
