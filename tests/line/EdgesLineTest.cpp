// The edges of the process: who else has the port, how many objects there are, and how it all ends.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <atomic>

#include "line/LeftOver.h"
#include "unit/platform/PseudoTerminal.h"

namespace mova::line {
namespace {

// --- two objects on one port

TEST(TwoObjects, TheSecondDoesNotGetThePortAndTheFirstDoesNotNotice) {
    LineStation first;
    ASSERT_EQ(first.open(), 0U);
    CVeCmdManager second(first.bench.platform());
    second.put_CommPortId(LineStation::kPort);
    EXPECT_EQ(second.InitCmdManager(0), kNotOpen);
    EXPECT_EQ(second.ProprietaryOpenComPort(0), kNotOpen);
    EXPECT_EQ(second.IsCommDeviceOpen(), 0);
    EXPECT_EQ(second.SendNormalAtCmd(0, "AT"), kNotOpen);
    EXPECT_EQ(first.at("AT", 9), "AT\r~OK~");
    EXPECT_EQ(first.manager.ResetCmdManager(0), 0U);
    EXPECT_EQ(second.InitCmdManager(0), 0U);
    EXPECT_EQ(first.manager.InitCmdManager(0), kNotOpen);
    EXPECT_EQ(second.ReadE2PObject(0x1234, 2).text, "FFFF");
}

TEST(TwoObjects, WithReaderThreadsNeitherDisturbsTheOther) {
    LineStation first;
    ASSERT_EQ(first.open(2), 0U);
    {
        CVeCmdManager second(first.bench.platform());
        second.put_CommPortId(LineStation::kPort);
        EXPECT_EQ(second.SwitchOperateMode(2, 0), 0U);
        EXPECT_EQ(second.InitCmdManager(0), kNotOpen);
        for (int i = 0; i < 20; ++i) ASSERT_EQ(first.manager.ReadE2PObject(0x1234, 2).text, "FFFF");
    }
    EXPECT_EQ(first.manager.ReadE2PObject(0x1234, 2).text, "FFFF");
}

// --- many objects

TEST(ManyObjects, SixtyFourReadersAtOnceKeepTheirConfirmationsApart) {
    constexpr int kObjects = 64;
    warmUp();
    const LeftOver before = countAtRest();
    {
        struct Place {
            Place(Bench& bench, int port) : handset(atOnce(), bench.link(port)), manager(bench.platform(), events) {
                manager.put_CommPortId(port);
                manager.AssignTimeoutConstant(static_cast<std::int32_t>(Timeout::TextAcknowledgement),
                                              LineStation::kPatience);
            }
            std::shared_ptr<RecordingEvents> events = std::make_shared<RecordingEvents>();
            PtyHandset handset;
            CVeCmdManager manager;
        };
        Bench bench;
        std::vector<std::unique_ptr<Place>> places(kObjects);
        const auto forAll = [&](const std::function<void(int)>& work) {
            std::vector<std::thread> running;
            for (int i = 0; i < kObjects; ++i) running.emplace_back(work, i);
            for (std::thread& thread : running) thread.join();
        };
        forAll([&](int i) {
            places[static_cast<std::size_t>(i)] = std::make_unique<Place>(bench, i + 1);
            CVeCmdManager& manager = places[static_cast<std::size_t>(i)]->manager;
            ASSERT_EQ(manager.InitCmdManager(0), 0U);
            ASSERT_EQ(manager.SwitchOperateMode(1, 0), 0U);
        });
        // Each has its handset's serving thread and its reader, and at most the search for a viewer.
        EXPECT_GE(countNow().threads, before.threads + 2 * kObjects);
        EXPECT_LE(countNow().threads, before.threads + 3 * kObjects);
        forAll([&](int i) {
            Place& place = *places[static_cast<std::size_t>(i)];
            const auto own = static_cast<std::uint8_t>(i + 1);
            for (std::uint16_t round = 0; round < 20; ++round) {
                ASSERT_EQ(place.manager.RfGeneralTestReq(own, round), 0U);
                const std::string confirmed = twoDigits(i + 1) + "00" + twoDigits(round) + "00";
                ASSERT_TRUE(waitUntil([&] { return place.events->has(confirmed); })) << i;
            }
            ASSERT_EQ(place.manager.ReadE2PObject(0x1234, 2).code, 0x4203U);  // its reply is an event too
            ASSERT_TRUE(place.events->has("0800800034120200FFFF"));
        });
        forAll([&](int i) { places[static_cast<std::size_t>(i)].reset(); });  // each close pauses
    }
    expectNothingMoreThan(before);
}

// --- the process's end

class Ending {
public:
    // HOW as the program has it; a signal ends it once it is ready.
    Ending(const Bench& bench, const std::string& how, int signal = 0) {
        const std::filesystem::path folder = std::filesystem::path(bench.file("x")).parent_path();
        const std::filesystem::path program =
            std::filesystem::read_symlink("/proc/self/exe").parent_path() / "test-station";
        std::string devices = "MOVA_DEVICE_DIR=" + folder.string();
        std::string channels = "XDG_RUNTIME_DIR=" + folder.string();
        std::string name = program.string();
        std::string way = how;
        std::string port = std::to_string(LineStation::kPort);
        char* const arguments[] = {name.data(), way.data(), port.data(), nullptr};
        char* const environment[] = {devices.data(), channels.data(), nullptr};
        EXPECT_EQ(posix_spawn(&process_, name.c_str(), nullptr, nullptr, arguments, environment), 0);
        if (signal == 0) return;
        EXPECT_TRUE(waitUntil([&] { return std::filesystem::exists(folder / "ready"); }));
        kill(process_, signal);
    }

    // What the system tells of it; -1 when it hangs.
    int status() {
        int status = 0;
        if (waitUntil([&] { return waitpid(process_, &status, WNOHANG) == process_; })) return status;
        kill(process_, SIGKILL);
        waitpid(process_, &status, 0);
        return -1;
    }

private:
    pid_t process_ = -1;
};

struct Way {
    const char* how;
    int signal;
    int status;
};

class ProcessEnd : public testing::TestWithParam<Way> {};

TEST_P(ProcessEnd, IsCleanAndLeavesThePortUsable) {
    Bench bench;
    PtyHandset handset(atOnce(), bench.link(LineStation::kPort));
    handset.with([](Handset& h) { h.setUnsolicitedInterval(500, PtyHandset::nowMicroseconds()); });
    EXPECT_EQ(Ending(bench, GetParam().how, GetParam().signal).status(), GetParam().status);
    handset.with([](Handset& h) { h.setUnsolicitedInterval(0, PtyHandset::nowMicroseconds()); });
    CVeCmdManager manager(bench.platform());
    manager.put_CommPortId(LineStation::kPort);
    EXPECT_EQ(manager.InitCmdManager(0), 0U);
    manager.AssignTimeoutConstant(static_cast<std::int32_t>(Timeout::TextAcknowledgement), LineStation::kPatience);
    EXPECT_EQ(manager.ReadE2PObject(0x1234, 2).text, "FFFF");
}

constexpr int kExitCode = 256;  // in a status
const Way kWays[] = {
    {"return", 0, 0},
    {"return-static", 0, 0},
    {"return-forgotten", 0, 0},
    {"exit", 0, 3 * kExitCode},
    {"exit-in-event", 0, 4 * kExitCode},
    {"quick-exit", 0, 5 * kExitCode},
    {"at-once", 0, 6 * kExitCode},
    {"wait", SIGTERM, SIGTERM},
    {"wait", SIGKILL, SIGKILL},
};
std::string nameOf(const testing::TestParamInfo<Way>& way) {
    std::string name;
    for (const char c : std::string(way.param.how)) name += c == '-' ? '_' : c;
    return name + (way.param.signal == SIGKILL ? "_killed" : way.param.signal == SIGTERM ? "_terminated" : "");
}
INSTANTIATE_TEST_SUITE_P(Ways, ProcessEnd, testing::ValuesIn(kWays), nameOf);

class ProcessEndDuringALongWrite : public testing::TestWithParam<Way> {};

TEST_P(ProcessEndDuringALongWrite, DoesNotWaitForThePort) {
    Bench bench;
    const PseudoTerminal line;  // nobody reads it
    std::filesystem::create_symlink(line.slave(), bench.link(LineStation::kPort));
    EXPECT_EQ(Ending(bench, GetParam().how, GetParam().signal).status(), GetParam().status);
}

const Way kWaysWhileWriting[] = {
    {"writing-return", 0, 0},
    {"writing-exit", 0, 3 * kExitCode},
    {"writing-quick-exit", 0, 5 * kExitCode},
    {"writing-wait", SIGTERM, SIGTERM},
};
INSTANTIATE_TEST_SUITE_P(Ways, ProcessEndDuringALongWrite, testing::ValuesIn(kWaysWhileWriting), nameOf);

}  // namespace
}  // namespace mova::line
