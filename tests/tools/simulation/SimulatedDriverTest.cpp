// The simulated port as the component uses one: its waits, its bytes, its lines, and what ends them.
#include <gmock/gmock.h>

#include <chrono>
#include <string>
#include <thread>

#include "simulation/SimulatedName.h"
#include "simulation/SimulatedPlatform.h"

namespace mova::simulation {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::uint32_t kGenerous = 60'000;
constexpr const char* kPath = "\\\\.\\sim";

class SimulatedDriverTest : public testing::Test {
protected:
    explicit SimulatedDriverTest(const std::string& name = "sim") {
        WrongName wrong;
        platform_.emplace(setupNamed(name, wrong).value(), nativePlatform());
        port_ = driver().open(kPath, true);
    }

    SerialDriver& driver() { return platform_->platform().serial; }
    Threading& threading() { return platform_->platform().threading; }

    void write(const std::string& text) {
        std::uint32_t written = 0;
        ASSERT_TRUE(driver().write(port_, text.data(), static_cast<std::uint32_t>(text.size()), written));
        ASSERT_EQ(written, text.size());
    }

    // What comes until it ends so.
    std::string readUntil(const std::string& end) {
        std::string text;
        while (!text.ends_with(end)) {
            if (driver().awaitInput(port_, nullptr, kGenerous) != WaitResult::Signalled) return text + " and no more";
            char bytes[64];
            std::uint32_t count = 0;
            if (!driver().read(port_, bytes, sizeof bytes, count)) return text + " and a failure";
            text.append(bytes, count);
        }
        return text;
    }

    std::optional<SimulatedPlatform> platform_;
    PortHandle port_ = kInvalidPort;
};

TEST_F(SimulatedDriverTest, AnswersWithItsEcho) {
    write("AT+CGMM\r");
    EXPECT_EQ(readUntil("OK\r\n"), "AT+CGMM\r\r\nAM-1\r\n\r\nOK\r\n");
}

TEST_F(SimulatedDriverTest, BytesComeNoFasterThanTheHandsetsRate) {
    const auto begin = steady_clock::now();
    write("AT+CGMM\r");
    readUntil("OK\r\n");
    EXPECT_GE(steady_clock::now() - begin, std::chrono::microseconds(29 * 86));  // 8 in and 21 out at 115200 baud
}

TEST_F(SimulatedDriverTest, AReadEndsAtOnceWithNothing) {
    const auto transfer = driver().makeTransfer();
    char byte = 0;
    std::uint32_t count = 1;
    EXPECT_EQ(driver().beginRead(port_, *transfer, &byte, 1), BeginResult::Complete);
    EXPECT_TRUE(driver().finish(port_, *transfer, count));
    EXPECT_EQ(count, 0);
}

TEST_F(SimulatedDriverTest, AWaitForBytesEndsWithItsTime) {
    const auto begin = steady_clock::now();
    EXPECT_EQ(driver().awaitInput(port_, nullptr, 30), WaitResult::TimedOut);
    EXPECT_GE(steady_clock::now() - begin, milliseconds(30));
}

TEST_F(SimulatedDriverTest, AWaitForBytesEndsWithTheEvent) {
    const auto event = threading().makeEvent();
    std::thread other([&] {
        std::this_thread::sleep_for(milliseconds(20));
        event->set();
    });
    EXPECT_EQ(driver().awaitInput(port_, event.get(), kInfinite), WaitResult::Stopped);
    other.join();
}

TEST_F(SimulatedDriverTest, AWaitForBytesEndsWithWhatAnotherThreadAsked) {
    std::thread other([&] {
        std::this_thread::sleep_for(milliseconds(20));
        write("AT\r");
    });
    EXPECT_EQ(driver().awaitInput(port_, nullptr, kInfinite), WaitResult::Signalled);
    other.join();
    EXPECT_EQ(readUntil("OK\r\n"), "AT\r\r\nOK\r\n");
}

TEST_F(SimulatedDriverTest, AWaitForBytesEndsAsThePortIsClosed) {
    std::thread other([&] {
        std::this_thread::sleep_for(milliseconds(20));
        driver().close(port_);
    });
    EXPECT_EQ(driver().awaitInput(port_, nullptr, kInfinite), WaitResult::Signalled);
    other.join();
    std::uint32_t bits = 0;
    EXPECT_FALSE(driver().clearErrors(port_, bits, nullptr));
    EXPECT_EQ(driver().errorText(driver().lastError()), "the port is not open");
}

TEST_F(SimulatedDriverTest, AnEventIsAwaitedByItself) {
    const auto event = threading().makeEvent();
    EXPECT_EQ(event->wait(10), WaitResult::TimedOut);
    event->set();
    EXPECT_EQ(event->wait(kInfinite), WaitResult::Signalled);
    event->reset();
    EXPECT_FALSE(event->isSet());
}

TEST_F(SimulatedDriverTest, ItIsOpenOnceAtATime) {
    EXPECT_EQ(driver().open(kPath, true), kInvalidPort);
    EXPECT_EQ(driver().errorText(driver().lastError()), "the port is in use");
    EXPECT_EQ(driver().open("\\\\.\\COM1", true), kInvalidPort);
    EXPECT_EQ(driver().errorText(driver().lastError()), "there is no such port");
    EXPECT_TRUE(driver().close(port_));
    EXPECT_NE(driver().open(kPath, true), kInvalidPort);
}

TEST_F(SimulatedDriverTest, PurgedBytesAreGone) {
    write("AT\r");
    ASSERT_EQ(driver().awaitInput(port_, nullptr, kGenerous), WaitResult::Signalled);
    std::this_thread::sleep_for(milliseconds(20));
    std::uint32_t bits = 1;
    PortStatus status;
    ASSERT_TRUE(driver().clearErrors(port_, bits, &status));
    EXPECT_EQ(status.inQueue, 9);
    EXPECT_EQ(bits, 0);
    ASSERT_TRUE(driver().purge(port_, kPurgeRxClear | kPurgeTxClear));
    ASSERT_TRUE(driver().clearErrors(port_, bits, &status));
    EXPECT_EQ(status.inQueue, 0);
}

TEST_F(SimulatedDriverTest, LineSettingsDriveTheLines) {
    LineSettings settings;
    ASSERT_TRUE(driver().lineSettings(port_, settings));
    settings.flags = LineFlags::Binary | LineFlags::DtrOn;
    ASSERT_TRUE(driver().setLineSettings(port_, settings));
    std::uint32_t lines = 0;
    ASSERT_TRUE(driver().modemStatus(port_, lines));
    EXPECT_EQ(lines, ModemStatus::Dsr | ModemStatus::Rlsd);
    ASSERT_TRUE(driver().control(port_, LineControl::SetRts));
    ASSERT_TRUE(driver().control(port_, LineControl::ClearDtr));
    ASSERT_TRUE(driver().modemStatus(port_, lines));
    EXPECT_EQ(lines, ModemStatus::Cts);
}

class HangingUpTest : public SimulatedDriverTest {
protected:
    HangingUpTest() : SimulatedDriverTest("sim:hang-up=1") {}
};

TEST_F(HangingUpTest, ThePortIsGoneAndComesBack) {
    write("AT\r");
    EXPECT_EQ(driver().awaitInput(port_, nullptr, kInfinite), WaitResult::Signalled);
    std::uint32_t bits = 0;
    EXPECT_FALSE(driver().clearErrors(port_, bits, nullptr));
    EXPECT_EQ(driver().errorText(driver().lastError()), "the port has hung up");
    EXPECT_TRUE(driver().close(port_));
    while (!platform_->isThere()) std::this_thread::sleep_for(milliseconds(20));
    port_ = driver().open(kPath, true);
    ASSERT_NE(port_, kInvalidPort);
    write("AT\r");
    EXPECT_EQ(readUntil("OK\r\n"), "AT\r\r\nOK\r\n");
}

TEST(SimulatedNameTest, WhatIsSimulated) {
    for (const char* name : {"sim", "sim:silence", "sim:my.toml", "sim:4001x"}) EXPECT_TRUE(isSimulated(name)) << name;
    for (const char* name : {"sim:", "sim:4001", "simulated", "SIM", "./sim", "7", ""}) {
        EXPECT_FALSE(isSimulated(name)) << name;
    }
}

}  // namespace
}  // namespace mova::simulation
