// Background modes on a real line: confirmations to the queue and as events, beside the caller's own requests.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>

#include "line/LineStation.h"

namespace mova::line {
namespace {

enum Mode : std::uint32_t { kEvents = 1, kQueue = 2, kQueueAtOk = 5 };

std::string numbered(int number) {
    constexpr const char* kDigits = "0123456789ABCDEF";
    return std::string("7E00") + kDigits[number / 16 % 16] + kDigits[number % 16] + "00";
}

void sendUnsolicited(PtyHandset& handset) {
    handset.with([](Handset& h) { h.sendUnsolicited(PtyHandset::nowMicroseconds()); });
}

TEST(BackgroundLine, ConfirmationsWaitInTheQueue) {
    LineStation station;
    ASSERT_EQ(station.open(kQueue), 0U);
    for (int i = 0; i < 20; ++i) {
        sendUnsolicited(station.handset);
        ASSERT_EQ(station.confirmation(), numbered(i));
    }
}

TEST(BackgroundLine, ConfirmationsAreEvents) {
    const auto events = std::make_shared<RecordingEvents>();
    LineStation station(atOnce(), events);
    ASSERT_EQ(station.open(kEvents), 0U);
    for (int i = 0; i < 20; ++i) {
        sendUnsolicited(station.handset);
        ASSERT_TRUE(waitUntil([&] { return events->has(numbered(i)); })) << i;
    }
    EXPECT_EQ(station.manager.FetchQueuedCnfItem().length, 0U);  // and nothing is queued
    EXPECT_THAT(events->events(), testing::Contains(RecordingEvents::Event{1, 8, "7E000000"}));
}

// Several that arrive together are one record, whose last confirmation counts.
TEST(BackgroundLine, ConfirmationsThatWereAskedForComeInOrder) {
    const auto events = std::make_shared<RecordingEvents>();
    LineStation station(atOnce(), events);
    ASSERT_EQ(station.open(kEvents), 0U);
    ASSERT_EQ(station.manager.SendNormalAtCmd(0, "AT%CNF=10,20"), 0U);
    ASSERT_TRUE(waitUntil([&] { return events->has("7E000900"); }));
    std::vector<std::string> texts;
    for (const auto& event : events->events()) {
        EXPECT_EQ(event.type, 1);
        EXPECT_EQ(event.parameter, static_cast<std::int32_t>(event.text.size()));
        if (event.text.starts_with("7E")) texts.push_back(event.text);
    }
    EXPECT_TRUE(std::is_sorted(texts.begin(), texts.end()));
    EXPECT_EQ(std::adjacent_find(texts.begin(), texts.end()), texts.end());
}

TEST(BackgroundLine, OutsideModeOneNoEventIsRaised) {
    const auto events = std::make_shared<RecordingEvents>();
    LineStation station(atOnce(), events);
    ASSERT_EQ(station.open(kQueue), 0U);
    sendUnsolicited(station.handset);
    EXPECT_EQ(station.confirmation(), "7E000000");
    EXPECT_TRUE(events->events().empty());
}

TEST(BackgroundLine, ACallersRequestsReachTheirAnswers) {
    for (const std::uint32_t mode : {kQueue, kQueueAtOk}) {
        LineStation station;
        ASSERT_EQ(station.open(mode), 0U);
        for (int i = 0; i < 20; ++i) {
            ASSERT_EQ(station.manager.ReadE2PObject(0x1234, 2).text, "FFFF") << mode;
            ASSERT_EQ(station.manager.WiFiAction(0x21, "AABB").text, "AABB") << mode;
            ASSERT_EQ(station.manager.HciAction(1, "").text, "00") << mode;
            station.setTimeout(Timeout::TextAcknowledgement, LineStation::kPatience);
        }
    }
}

TEST(BackgroundLine, InEventModeARequestFindsNoConfirmation) {
    const auto events = std::make_shared<RecordingEvents>();
    LineStation station(atOnce(), events);
    ASSERT_EQ(station.open(kEvents), 0U);
    EXPECT_EQ(station.manager.ReadE2PObject(0x1234, 2).code, 0x4203U);
    EXPECT_TRUE(events->has("0800800034120200FFFF"));
}

TEST(BackgroundLine, TwoFamiliesInOneAnswerAreTwoEvents) {
    const auto events = std::make_shared<RecordingEvents>();
    LineStation station(atOnce(), events);
    ASSERT_EQ(station.open(kEvents), 0U);
    station.fault(Fault::TwoFamilies);
    EXPECT_EQ(station.manager.ReadE2PObject(0x1234, 2).code, 0x4203U);
    EXPECT_TRUE(events->has("7E000000"));
    EXPECT_TRUE(waitUntil([&] { return events->has("0800800034120200FFFF"); }));  // handed back to the reader
}

TEST(BackgroundLine, RfConfirmationsArriveByThemselves) {
    for (const std::uint32_t mode : {kQueue, kQueueAtOk}) {
        LineStation station;
        ASSERT_EQ(station.open(mode), 0U);
        ASSERT_EQ(station.manager.RfChangeParamReq(1, 2, 3, 0xABCD), 0U);
        EXPECT_EQ(station.confirmation(), "01000300CDAB") << mode;
    }
}

TEST(BackgroundLine, ASplitConfirmationIsWhole) {
    LineStation station;
    ASSERT_EQ(station.open(kQueueAtOk), 0U);
    station.handset.with([](Handset& h) { h.faults().splitGapMicroseconds = 2000; });
    ASSERT_EQ(station.manager.RfGeneralTestReq(5, 0x0102), 0U);
    EXPECT_EQ(station.confirmation(), "05000201");
}

TEST(BackgroundLine, ModesAreSwitchedBackAndForth) {
    const auto events = std::make_shared<RecordingEvents>();
    LineStation station(atOnce(), events);
    ASSERT_EQ(station.open(), 0U);
    for (int i = 0; i < 5; ++i) {
        ASSERT_EQ(station.manager.SwitchOperateMode(kEvents, 0), 0U);
        sendUnsolicited(station.handset);
        ASSERT_TRUE(waitUntil([&] { return events->has(numbered(2 * i)); })) << i;
        ASSERT_EQ(station.manager.SwitchOperateMode(kQueue, 0), 0U);
        sendUnsolicited(station.handset);
        ASSERT_EQ(station.confirmation(), numbered(2 * i + 1)) << i;
        ASSERT_EQ(station.manager.SwitchOperateMode(LineStation::kAnswersEndWithOk, 0), 0U);
        ASSERT_EQ(station.at("AT", 9), "AT\r~OK~") << i;
    }
}

TEST(BackgroundLine, TheReaderStartsAgainWithThePort) {
    LineStation station;
    ASSERT_EQ(station.open(kQueue), 0U);
    ASSERT_EQ(station.manager.ProprietaryCloseComPort(0), 0U);
    ASSERT_EQ(station.manager.ProprietaryOpenComPort(0), 0U);
    sendUnsolicited(station.handset);
    EXPECT_EQ(station.confirmation(), "7E000000");
}

// The listener talks to the object while the caller's thread waits for it.
class TalkingListener final : public ConfirmationEvents {
public:
    void OnCpGetMovaCnf(std::int32_t, std::int32_t, const std::string& text) override {
        if (text == "7E000000") sent = manager->SendNormalAtCmd(0, "AT+CFUN=1");
        if (text.find("AT+CFUN=1") != text.npos) answered = true;
    }
    CVeCmdManager* manager = nullptr;
    std::atomic<Code> sent{Code{0xFFFFFFFF}};
    std::atomic<bool> answered{false};
};

TEST(BackgroundLine, AListenerMayUseTheObject) {
    const auto listener = std::make_shared<TalkingListener>();
    LineStation station(atOnce(), listener);
    listener->manager = &station.manager;
    ASSERT_EQ(station.open(kEvents), 0U);
    sendUnsolicited(station.handset);
    EXPECT_TRUE(waitUntil([&] { return listener->answered.load(); }));
    EXPECT_EQ(listener->sent.load(), 0U);
}

// The listener lets the object go on the reader thread itself.
class LettingGo final : public ConfirmationEvents {
public:
    void OnCpGetMovaCnf(std::int32_t, std::int32_t, const std::string& text) override {
        if (text == "7E000000") owned.reset();
    }
    void readerEnded() override { ended = true; }
    std::unique_ptr<CVeCmdManager> owned;
    std::atomic<bool> ended{false};
};

// For an object that its own thread frees at a moment nobody is told of: stays until the process ends.
Platform& lastingPlatform(const std::string& folder) {
    static auto& kept = *new std::vector<std::unique_ptr<PosixPlatform>>;
    kept.push_back(std::make_unique<PosixPlatform>(PosixOptions{folder, folder, folder}));
    return kept.back()->platform();
}

TEST(BackgroundLine, AListenerMayReleaseTheObject) {
    TempFolder folder;
    PtyHandset handset(atOnce(), folder.file("COM9"));
    const auto listener = std::make_shared<LettingGo>();
    listener->owned = std::make_unique<CVeCmdManager>(lastingPlatform(folder.path().string()), listener);
    listener->owned->put_CommPortId(9);
    ASSERT_EQ(listener->owned->InitCmdManager(0), 0U);
    ASSERT_EQ(listener->owned->SwitchOperateMode(kEvents, 0), 0U);
    sendUnsolicited(handset);
    ASSERT_TRUE(waitUntil([&] { return listener->ended.load(); }));
    EXPECT_EQ(listener->owned, nullptr);
}

}  // namespace
}  // namespace mova::line
