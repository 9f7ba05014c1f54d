// AT commands, properties and device information on a real line.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "line/LineStation.h"

namespace mova::line {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

// What the handset hears, command by command.
class Heard {
public:
    explicit Heard(PtyHandset& handset) : handset_(handset) {
        handset_.with([this](Handset& h) {
            h.setLog([this](std::uint64_t, handset::LogKind kind, std::string_view text) {
                if (kind == handset::LogKind::Received) commands_.emplace_back(text);
            });
        });
    }
    ~Heard() {
        handset_.with([](Handset& h) { h.setLog(nullptr); });
    }
    Heard(const Heard&) = delete;
    Heard& operator=(const Heard&) = delete;

    std::vector<std::string> commands() const {
        std::vector<std::string> copy;
        handset_.with([&](Handset&) { copy = commands_; });
        return copy;
    }

private:
    PtyHandset& handset_;
    std::vector<std::string> commands_;
};

TEST(AtLine, ThePortIsFoundOpenedAndClosed) {
    LineStation station;
    EXPECT_EQ(station.manager.IsCommDeviceOpen(), 0);
    EXPECT_EQ(station.manager.InitCmdManager(0), 0U);
    EXPECT_EQ(station.manager.IsCommDeviceOpen(), 1);
    EXPECT_EQ(station.manager.ResetCmdManager(0), 0U);
    EXPECT_EQ(station.manager.IsCommDeviceOpen(), 0);
    EXPECT_EQ(station.manager.ProprietaryOpenComPort(0), 0U);
    EXPECT_EQ(station.manager.IsCommDeviceOpen(), 1);
}

TEST(AtLine, APortThatIsNotThereIsNotOpened) {
    LineStation station;
    station.manager.put_CommPortId(4);
    EXPECT_EQ(station.manager.InitCmdManager(0), 0x4000U);
    EXPECT_EQ(station.manager.IsCommDeviceOpen(), 0);
}

TEST(AtLine, OnePortServesOneObject) {
    LineStation station;
    ASSERT_EQ(station.open(), 0U);
    CVeCmdManager second(station.bench.platform());
    second.put_CommPortId(LineStation::kPort);
    EXPECT_EQ(second.InitCmdManager(0), 0x4000U);
}

TEST(AtLine, CommandsAreAnsweredWithEcho) {
    LineStation station;
    ASSERT_EQ(station.open(), 0U);
    EXPECT_EQ(station.at("AT", 9), "AT\r~OK~");
    EXPECT_EQ(station.at("AT+CGMM", 22), "AT+CGMM\r~AM-1~OK~");
    EXPECT_EQ(station.at("AT%V", 45), "AT%V\r~ACME AM-1~SW 4.2.0 2026-03-01~OK~");
    EXPECT_EQ(station.at("AT+CSQ", 28), "AT+CSQ\r~+CSQ: 21,99~OK~");
    EXPECT_EQ(station.at("AT+NONSENSE", 21), "AT+NONSENSE\r~ERROR~");
}

TEST(AtLine, CommandsAreAnsweredWithoutEcho) {
    LineStation station(atOnce(false));
    ASSERT_EQ(station.open(), 0U);
    EXPECT_EQ(station.at("AT", 6), "OK~");
    EXPECT_EQ(station.at("AT+CGMM", 14), "AM-1~OK~");
    EXPECT_EQ(station.at("ATI", 25), "ACME~AM-1~4.2~OK~");
}

TEST(AtLine, ALongCommandArrivesWhole) {
    LineStation station;
    ASSERT_EQ(station.open(), 0U);
    const std::string longest(4094, 'x');
    const Heard heard(station.handset);
    EXPECT_EQ(station.manager.SendNormalAtCmd(0, longest), 0U);
    EXPECT_TRUE(waitUntil([&] { return !heard.commands().empty(); }));
    EXPECT_THAT(heard.commands(), ElementsAre(longest));
    EXPECT_EQ(station.manager.SendNormalAtCmd(0, longest + "x"), 0x2007U);
}

TEST(AtLine, AnAnswerThatIsSplitAtEveryByteIsWhole) {
    LineStation station;
    ASSERT_EQ(station.open(), 0U);
    station.handset.with([](Handset& h) { h.faults().splitGapMicroseconds = 3000; });
    EXPECT_EQ(station.manager.SetAtCmdProperty(104, 0), 0U);  // waits for its final result
    const AtResult collected = station.manager.GetNormalAtResult(2);
    EXPECT_EQ(collected.text, "ATD112;\r~OK");
    EXPECT_EQ(collected.length, 11);
}

TEST(AtLine, TheLineRateOfTheHandsetIsWaitedFor) {
    Profile profile = atOnce();
    profile.baudRate = 9600;
    LineStation station(profile);
    ASSERT_EQ(station.open(), 0U);
    EXPECT_EQ(station.at("AT+CGMR", 21), "AT+CGMR\r~4.2~OK~");
}

TEST(AtLine, BackgroundModesDoNotCollectAnswers) {
    LineStation station;
    ASSERT_EQ(station.open(2), 0U);
    const AtResult collected = station.manager.GetNormalAtResult(1);
    EXPECT_EQ(collected.code, 0x4014U);
    EXPECT_EQ(collected.text, "");
}

// --- properties

struct Property {
    std::uint32_t id;
    std::uint32_t parameter;
    const char* command;
};

TEST(AtLineProperties, ThoseThatWaitAreAnswered) {
    LineStation station;
    ASSERT_EQ(station.open(), 0U);
    for (const Property& property : {Property{101, 1, "ATE1"},
                                     {102, 0, "AT"},
                                     {103, 0, "AT*UARTSWAP"},
                                     {104, 0, "ATD112;"},
                                     {105, 0, "ATH"},
                                     {106, 0, "AT+CFUN=1"},
                                     {107, 0, "AT+COPS=0"},
                                     {109, 0, "AT*SLEEPMODE=0"},
                                     {110, 7, "ATS0=7"},
                                     {111, 0, "<j"},
                                     {112, 1, "AT*BYPASS=1"},
                                     {112, 2, "AT*BYPASS=0"},
                                     {113, 0, "<k"},
                                     {114, 1, "AT*BOARDTEST=1"},
                                     {114, 0, "AT*BOARDTEST=0"},
                                     {108, 0, "AT*SLEEPMODE=1"},
                                     {101, 0, "ATE0"}}) {
        const Heard heard(station.handset);
        // The property's own wait is short, down to 100 ms: a busy machine may need another try.
        EXPECT_TRUE(waitUntil([&] { return station.manager.SetAtCmdProperty(property.id, property.parameter) == 0; }))
            << property.id;
        ASSERT_FALSE(heard.commands().empty()) << property.id;
        EXPECT_EQ(heard.commands().front(), property.command) << property.id;
    }
}

TEST(AtLineProperties, ThoseThatDoNotWaitAreHeard) {
    LineStation station;
    ASSERT_EQ(station.open(), 0U);
    const Heard heard(station.handset);
    for (std::uint32_t id = 1; id <= 14; ++id) {
        if (id == 8) continue;  // would let it fall asleep
        EXPECT_EQ(station.manager.SetAtCmdProperty(id, 1), 0U) << id;
    }
    // The second "AT" is followed by the wake frame, which is no command.
    const std::vector<std::string> expected{"ATE1",        "AT",        "AT*UARTSWAP",    "ATD112;", "ATH",
                                            "AT+CFUN=1",   "AT+COPS=0", "AT*SLEEPMODE=0", "ATS0=1",  "<j",
                                            "AT*BYPASS=1", "<k",        "AT*BOARDTEST=1"};
    EXPECT_TRUE(waitUntil([&] { return heard.commands().size() >= expected.size(); }));
    EXPECT_THAT(heard.commands(), ElementsAreArray(expected));
}

TEST(AtLineProperties, AnErrorIsAnAnswerToo) {
    LineStation station;
    ASSERT_EQ(station.open(), 0U);
    const auto answer = station.manager.SpecificInfo(10, 0, "");
    EXPECT_EQ(answer.code, 0U);
    station.handset.with([](Handset& h) { h.profile().otp.clear(); });
    EXPECT_EQ(station.manager.SpecificInfo(10, 0, "").code, 0x6300U);
}

TEST(AtLineProperties, ASilentHandsetIsNoAnswer) {
    LineStation station;
    ASSERT_EQ(station.open(), 0U);
    station.fault(Fault::Silence);
    EXPECT_EQ(station.manager.SetAtCmdProperty(105, 0), 0x4004U);
    EXPECT_TRUE(waitUntil([&] { return station.manager.SetAtCmdProperty(105, 0) == 0; }));
}

TEST(AtLineProperties, ASleepingHandsetIsWoken) {
    Profile profile = atOnce();
    profile.wakeFrames = 2;
    LineStation station(profile);
    ASSERT_EQ(station.open(), 0U);
    ASSERT_TRUE(waitUntil([&] { return station.manager.SetAtCmdProperty(108, 0) == 0; }));
    // Once asleep it stays awake for long when it has been woken.
    station.handset.with([](Handset& h) {
        h.setLog([&h](std::uint64_t, handset::LogKind, std::string_view text) {
            if (text == "asleep") h.profile().sleepAfterMicroseconds = 3'600'000'000;
        });
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(300));  // idle for longer than its 200 ms
    EXPECT_EQ(station.manager.SetAtCmdProperty(102, 0), 0U);
    bool asleep = true;
    station.handset.with([&](Handset& h) { asleep = h.isAsleep(); });
    EXPECT_FALSE(asleep);
    EXPECT_EQ(station.at("AT", 9), "AT\r~OK~");
}

// --- device information

TEST(AtLineInformation, VersionImeiAndOtp) {
    LineStation station(atOnce(false));
    ASSERT_EQ(station.open(), 0U);
    EXPECT_EQ(station.manager.SpecificInfo(0, 0, "").text, "ACME AM-1~SW 4.2.0 2026-03-01~~");
    EXPECT_EQ(station.manager.SpecificInfo(2, 0, "").text, "490154203237518");
    EXPECT_EQ(station.manager.SpecificInfo(10, 0, "").text, "UNLOCKED");
    EXPECT_EQ(station.manager.SpecificInfo(11, 0, "").code, 0x4305U);
}

TEST(AtLineInformation, IdentityFieldsAreWrittenAndReadBack) {
    LineStation station;
    ASSERT_EQ(station.open(), 0U);
    EXPECT_EQ(station.manager.SpecificInfo(3, 0, "").text, "");  // never written
    const TextResult written = station.manager.SpecificInfo(3, 1, "AB12");
    EXPECT_EQ(written.code, 0U);
    EXPECT_EQ(written.text, "AB12");
    EXPECT_EQ(station.manager.SpecificInfo(3, 0, "").text, "AB12");
    station.handset.with([](Handset& h) {
        EXPECT_EQ(h.store().find(4099, 1)->substr(20, 5),
                  "\x04"
                  "AB12");  // 40 characters are 20 bytes
    });
}

TEST(AtLineInformation, FlashStatusCountsAProgramming) {
    LineStation station;
    ASSERT_EQ(station.open(), 0U);
    EXPECT_EQ(station.manager.SpecificInfo(9, 0, "1").text, "Status:0,Count:0");
    EXPECT_EQ(station.manager.SpecificInfo(9, 1, "2,7,1F").code, 0xB342U);  // not begun
    EXPECT_EQ(station.manager.SpecificInfo(9, 1, "0").code, 0U);
    EXPECT_EQ(station.manager.SpecificInfo(9, 0, "1").text, "Status:1,Count:0");
    EXPECT_EQ(station.manager.SpecificInfo(9, 1, "2,7,1F").code, 0U);
    EXPECT_EQ(station.manager.SpecificInfo(9, 1, "1").code, 0U);
    EXPECT_EQ(station.manager.SpecificInfo(9, 0, "1").text, "Status:0,Count:1");
    EXPECT_EQ(station.manager.SpecificInfo(9, 1, "3").code, 0U);
    EXPECT_EQ(station.manager.SpecificInfo(9, 0, "2").text, "FCount:1");
}

// --- logs

TEST(AtLineLog, CommandAndAnswerAreInTheLogFile) {
    LineStation station;
    ASSERT_EQ(station.open(), 0U);
    station.manager.Set_Log_File_Path(station.bench.file("at.log"));
    station.at("AT", 9);
    const std::string log = readFile(station.bench.file("at.log"));
    EXPECT_THAT(log, testing::HasSubstr("[AT] Send: AT\r\n"));
    EXPECT_THAT(log, testing::HasSubstr("[AT] Recv: AT\r~OK~\r\n"));
}

}  // namespace
}  // namespace mova::line
