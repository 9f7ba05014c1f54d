// Many objects at once, and one after the other: nothing is mixed up and nothing is left over.
#include <gtest/gtest.h>

#include <atomic>

#include "line/LeftOver.h"

namespace mova::line {
namespace {

void inParallel(int threads, const std::function<void(int index)>& work) {
    std::vector<std::thread> running;
    for (int i = 0; i < threads; ++i) running.emplace_back(work, i);
    for (std::thread& thread : running) thread.join();
}

std::unique_ptr<CVeCmdManager> patient(Bench& bench, int port) {
    auto manager = std::make_unique<CVeCmdManager>(bench.platform());
    manager->put_CommPortId(port);
    for (const Timeout timeout : {Timeout::RfAcknowledgement, Timeout::TextAcknowledgement, Timeout::AtWrite}) {
        manager->AssignTimeoutConstant(static_cast<std::int32_t>(timeout), LineStation::kPatience);
    }
    return manager;
}

TEST(SoakLine, ObjectsOnSeveralPortsDoNotMixTheirAnswers) {
    Bench bench;
    inParallel(8, [&](int index) {
        PtyHandset handset(atOnce(), bench.link(index + 1));
        const auto manager = patient(bench, index + 1);
        ASSERT_EQ(manager->InitCmdManager(0), 0U);
        ASSERT_EQ(manager->SwitchOperateMode(index % 2 == 0 ? 3 : 5, 0), 0U);
        for (int i = 0; i < 30; ++i) {
            const std::string own = twoDigits(index) + twoDigits(i);
            ASSERT_EQ(manager->WriteE2PObject(0x1234, 2, own).text, own);
            ASSERT_EQ(manager->ReadE2PObject(0x1234, 2).text, own);
            ASSERT_EQ(manager->WiFiAction(static_cast<std::uint8_t>(index), own).text, own);
            ASSERT_EQ(manager->RfGeneralTestReq(static_cast<std::uint8_t>(index + 1), static_cast<std::uint16_t>(i)),
                      0U);
            std::string confirmation;
            ASSERT_TRUE(waitUntil([&] {
                confirmation = manager->FetchQueuedCnfTextItem().data;
                return !confirmation.empty();
            }));
            ASSERT_EQ(confirmation, twoDigits(index + 1) + "00" + twoDigits(i) + "00");
        }
    });
}

// Each close pauses for half a second, so the rounds run beside each other.
TEST(SoakLine, OpenExchangeCloseReleaseAThousandTimes) {
    constexpr int kPorts = 40;
    constexpr int kRounds = 25;
    warmUp();
    const LeftOver before = countAtRest();
    std::atomic<int> exchanges{0};
    {
        Bench bench;
        inParallel(kPorts, [&](int index) {
            PtyHandset handset(atOnce(), bench.link(index + 1));
            for (int round = 0; round < kRounds; ++round) {
                const auto manager = patient(bench, index + 1);
                ASSERT_EQ(manager->InitCmdManager(0), 0U);
                ASSERT_EQ(manager->SwitchOperateMode(round % 2 == 0 ? 3 : 5, 0), 0U);  // 5: with a reader thread
                ASSERT_EQ(manager->ReadE2PObject(0x1234, 2).text, "FFFF");
                ++exchanges;
                if (round % 3 != 0) {  // else released while it is open
                    ASSERT_EQ(manager->ProprietaryCloseComPort(0), 0U);
                }
            }
        });
    }
    EXPECT_EQ(exchanges, 1000);
    expectNothingMoreThan(before);
}

TEST(SoakLine, UnpluggingLeavesNothingOver) {
    warmUp();
    const LeftOver before = countAtRest();
    {
        LineStation station;
        ASSERT_EQ(station.open(2), 0U);
        station.setTimeout(Timeout::TextAcknowledgement, 500);  // of a request that was swallowed by the lost line
        for (int i = 0; i < 5; ++i) {
            station.handset.unplug();
            station.handset.replug();
            ASSERT_TRUE(waitUntil([&] { return station.manager.ReadE2PObject(0x1234, 2).code == 0; })) << i;
        }
    }
    expectNothingMoreThan(before);
}

}  // namespace
}  // namespace mova::line
