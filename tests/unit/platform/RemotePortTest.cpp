// A port on another machine whose line is scripted: what it is asked is written down, and what it answers is told here.
#include <gtest/gtest.h>

#include <functional>
#include <thread>
#include <vector>

#include "base/Text.h"
#include "platform/posix/RemotePort.h"

namespace mova {
namespace {

// errno values as this system numbers them
constexpr int kErrorIo = 5;
constexpr int kErrorNoMemory = 12;
constexpr int kErrorInvalid = 22;
constexpr int kErrorNoTerminal = 25;
constexpr int kErrorTimedOut = 110;
constexpr int kErrorRefused = 111;

struct Script {
    std::vector<std::string> calls;
    RemoteLineUser* user = nullptr;
    int openError = 0;
    int applyError = 0;
    int controlError = 0;
    int purgeError = 0;
    std::uint32_t rate = 0;  // that the port comes up with; 0 is the one wanted
    std::function<void()> whilePurging = [] {};
};

std::string textOf(const LineSettings& s) {
    return format("%u %u %u %u", s.baudRate, s.byteSize, s.parity, s.stopBits);
}

class ScriptedLine final : public RemoteLine {
public:
    explicit ScriptedLine(Script& script) : script_(script) {}
    ~ScriptedLine() override { script_.calls.push_back("gone"); }

    int open(const char* host, const char* port, LineSettings& settings) override {
        script_.calls.push_back(std::string("open ") + host + " " + port);
        settings.baudRate = 9600;
        settings.byteSize = 7;
        settings.parity = 2;
        settings.stopBits = 2;
        return script_.openError;
    }
    int apply(const LineSettings& wanted, LineSettings& actual) override {
        script_.calls.push_back("apply " + textOf(wanted));
        actual = wanted;
        if (script_.rate != 0) actual.baudRate = script_.rate;
        return script_.applyError;
    }
    int control(LineControl function) override {
        script_.calls.push_back(format("control %u", static_cast<unsigned>(function)));
        return script_.controlError;
    }
    void tryControl(LineControl function) override {
        script_.calls.push_back(format("try %u", static_cast<unsigned>(function)));
    }
    int purge(std::uint32_t what) override {
        script_.calls.push_back(format("purge %u", what));
        script_.whilePurging();
        return script_.purgeError;
    }
    void outputWaits() override { script_.calls.push_back("output"); }
    void beginClose() override { script_.calls.push_back("close"); }

private:
    Script& script_;
};

class RemotePortTest : public testing::Test {
protected:
    void open() {
        int error = 0;
        port_ = tryToOpen(error);
        ASSERT_EQ(error, 0);
        script_.calls.clear();
    }

    std::shared_ptr<PosixPort> tryToOpen(int& error) {
        return RemotePort::open(
            {"lab1", "4001"},
            [this](RemoteLineUser& user) {
                script_.user = &user;
                return std::make_unique<ScriptedLine>(script_);
            },
            error);
    }

    void comesIn(std::string_view bytes) { script_.user->received(bytes.data(), bytes.size()); }

    std::string goesOut(std::size_t capacity = 1024) {
        std::string bytes(capacity, '\0');
        bytes.resize(script_.user->takeOutput(bytes.data(), capacity));
        return bytes;
    }

    std::string read(std::uint32_t capacity = 1024) {
        std::string bytes(capacity, '\0');
        std::uint32_t count = 0;
        EXPECT_EQ(port_->readQueued(bytes.data(), capacity, count), 0);
        bytes.resize(count);
        return bytes;
    }

    std::uint32_t write(std::string_view bytes) {
        std::uint32_t count = 77;
        EXPECT_EQ(port_->writeSome(bytes.data(), static_cast<std::uint32_t>(bytes.size()), count), 0);
        return count;
    }

    PortWait waitFor(short events, std::uint32_t milliseconds = 0) {
        return port_->waitFor(events, nullptr, deadlineAfter(milliseconds));
    }

    std::uint32_t lineErrors() {
        std::uint32_t errors = 0;
        EXPECT_EQ(port_->clearErrors(errors, nullptr), 0);
        return errors;
    }

    Script script_;
    std::shared_ptr<PosixPort> port_;
};

using Calls = std::vector<std::string>;

LineSettings settingsOf(std::uint32_t baudRate, std::uint32_t flags) {
    LineSettings settings;
    settings.baudRate = baudRate;
    settings.byteSize = 8;
    settings.flags = flags;
    return settings;
}

TEST_F(RemotePortTest, OpensWithTheSettingsOfTheOtherSide) {
    int error = -1;
    port_ = tryToOpen(error);
    EXPECT_EQ(error, 0);
    EXPECT_EQ(script_.calls, Calls{"open lab1 4001"});
    LineSettings settings;
    EXPECT_EQ(port_->lineSettings(settings), 0);
    EXPECT_EQ(textOf(settings), "9600 7 2 2");
    EXPECT_EQ(settings.flags, 0x1011U);  // binary, DTR and RTS raised
}

TEST_F(RemotePortTest, TellsWhyItDoesNotOpen) {
    script_.openError = kErrorRefused;
    int error = 0;
    EXPECT_EQ(tryToOpen(error), nullptr);
    EXPECT_EQ(error, kErrorRefused);
    EXPECT_EQ(script_.calls, (Calls{"open lab1 4001", "gone"}));
}

TEST_F(RemotePortTest, DoesNotOpenWithoutALine) {
    int error = 0;
    EXPECT_EQ(RemotePort::open(
                  {"lab1", "4001"}, [](RemoteLineUser&) { return nullptr; }, error),
              nullptr);
    EXPECT_EQ(error, kErrorNoMemory);
}

TEST_F(RemotePortTest, WhatComesInIsQueuedAndEndsWaits) {
    open();
    EXPECT_EQ(waitFor(POLLIN), PortWait::TimedOut);
    EXPECT_EQ(read(), "");
    comesIn("OK\r");
    comesIn("\n");
    EXPECT_EQ(waitFor(POLLIN), PortWait::Ready);
    std::uint32_t errors = 0;
    PortStatus status;
    EXPECT_EQ(port_->clearErrors(errors, &status), 0);
    EXPECT_EQ(status.inQueue, 4U);
    EXPECT_EQ(read(3), "OK\r");
    EXPECT_EQ(waitFor(POLLIN), PortWait::Ready);
    EXPECT_EQ(read(), "\n");
    EXPECT_EQ(waitFor(POLLIN), PortWait::TimedOut);
}

TEST_F(RemotePortTest, AWaitEndsWhenBytesCome) {
    open();
    std::thread other([this] { comesIn("x"); });
    EXPECT_EQ(waitFor(POLLIN, 30'000), PortWait::Ready);
    other.join();
}

TEST_F(RemotePortTest, WhatGoesOutWaitsForTheLineWhichIsToldOnce) {
    open();
    EXPECT_EQ(write("AT"), 2U);
    EXPECT_EQ(write("+CSQ"), 4U);
    EXPECT_EQ(script_.calls, Calls{"output"});
    std::uint32_t errors = 0;
    PortStatus status;
    EXPECT_EQ(port_->clearErrors(errors, &status), 0);
    EXPECT_EQ(status.outQueue, 6U);
    EXPECT_EQ(goesOut(4), "AT+C");
    EXPECT_EQ(goesOut(), "SQ");
    EXPECT_EQ(goesOut(), "");
    EXPECT_EQ(write("\r"), 1U);
    EXPECT_EQ(script_.calls, (Calls{"output", "output"}));
}

TEST_F(RemotePortTest, AWriteFindsRoomFor4096Bytes) {
    open();
    EXPECT_EQ(waitFor(POLLOUT), PortWait::Ready);
    EXPECT_EQ(write(std::string(4000, 'a')), 4000U);
    EXPECT_EQ(waitFor(POLLOUT), PortWait::Ready);
    EXPECT_EQ(write(std::string(4000, 'b')), 96U);
    EXPECT_EQ(waitFor(POLLOUT), PortWait::TimedOut);
    EXPECT_EQ(write("c"), 0U);
    EXPECT_EQ(goesOut(1), "a");
    EXPECT_EQ(waitFor(POLLOUT), PortWait::Ready);
    EXPECT_EQ(write("cd"), 1U);
}

TEST_F(RemotePortTest, NothingThatCameInBeforeAPurgeIsLeft) {
    open();
    comesIn("old");
    script_.whilePurging = [this] { comesIn("on its way"); };
    EXPECT_EQ(port_->purge(kPurgeRxClear), 0);
    EXPECT_EQ(script_.calls, Calls{"purge 8"});
    EXPECT_EQ(waitFor(POLLIN), PortWait::TimedOut);
    comesIn("new");
    EXPECT_EQ(read(), "new");
}

TEST_F(RemotePortTest, APurgeOfTheOutputLeavesTheInput) {
    open();
    comesIn("kept");
    write(std::string(4096, 'a'));
    EXPECT_EQ(port_->purge(kPurgeTxClear), 0);
    EXPECT_EQ(waitFor(POLLOUT), PortWait::Ready);
    EXPECT_EQ(goesOut(), "");
    EXPECT_EQ(read(), "kept");
    EXPECT_EQ(script_.calls, (Calls{"output", "purge 4"}));
}

TEST_F(RemotePortTest, APurgeOfNothingAsksNothing) {
    open();
    EXPECT_EQ(port_->purge(0), 0);
    EXPECT_EQ(script_.calls, Calls{});
}

TEST_F(RemotePortTest, AFailedPurgeIsTold) {
    open();
    script_.purgeError = kErrorTimedOut;
    EXPECT_EQ(port_->purge(kPurgeRxClear | kPurgeTxClear), kErrorTimedOut);
    comesIn("later");
    EXPECT_EQ(read(), "later");
}

TEST_F(RemotePortTest, SettingsGoToTheOtherSideAndAreRemembered) {
    open();
    EXPECT_EQ(port_->setLineSettings(settingsOf(115'200, LineFlags::DsrSensitivity | LineFlags::RtsOn)), 0);
    EXPECT_EQ(script_.calls, (Calls{"apply 115200 8 0 0", "try 6", "try 3"}));  // DTR dropped, RTS raised
    LineSettings settings;
    EXPECT_EQ(port_->lineSettings(settings), 0);
    EXPECT_EQ(textOf(settings), "115200 8 0 0");
    EXPECT_EQ(settings.flags, 0x1040U);
}

TEST_F(RemotePortTest, AHandshakeLineIsLeftToTheOtherSide) {
    open();
    EXPECT_EQ(port_->setLineSettings(settingsOf(115'200, LineFlags::DtrOn | LineFlags::RtsHandshake)), 0);
    EXPECT_EQ(script_.calls, (Calls{"apply 115200 8 0 0", "try 5"}));
}

TEST_F(RemotePortTest, ARateThatIsOnlyNearIsTakenAndTold) {
    open();
    script_.rate = 111'111;
    EXPECT_EQ(port_->setLineSettings(settingsOf(115'200, 0)), 0);
    LineSettings settings;
    EXPECT_EQ(port_->lineSettings(settings), 0);
    EXPECT_EQ(settings.baudRate, 111'111U);
}

TEST_F(RemotePortTest, AnotherRateIsRefusedAndTheSettingsBeforeComeBack) {
    open();
    script_.rate = 9600;
    EXPECT_EQ(port_->setLineSettings(settingsOf(115'200, 0)), kErrorInvalid);
    EXPECT_EQ(script_.calls, (Calls{"apply 115200 8 0 0", "apply 9600 7 2 2"}));
    LineSettings settings;
    EXPECT_EQ(port_->lineSettings(settings), 0);
    EXPECT_EQ(textOf(settings), "9600 7 2 2");
}

TEST_F(RemotePortTest, ImpossibleSettingsAreNotAskedFor) {
    open();
    LineSettings settings = settingsOf(115'200, 0);
    settings.byteSize = 9;
    EXPECT_EQ(port_->setLineSettings(settings), kErrorInvalid);
    EXPECT_EQ(port_->setLineSettings(settingsOf(0, 0)), kErrorInvalid);
    EXPECT_EQ(script_.calls, Calls{});
}

TEST_F(RemotePortTest, FailedSettingsAreTold) {
    open();
    script_.applyError = kErrorTimedOut;
    EXPECT_EQ(port_->setLineSettings(settingsOf(115'200, 0)), kErrorTimedOut);
}

TEST_F(RemotePortTest, LinesAreDriven) {
    open();
    EXPECT_EQ(port_->control(LineControl::SetRts), 0);
    script_.controlError = kErrorNoTerminal;
    EXPECT_EQ(port_->control(LineControl::ClearDtr), kErrorNoTerminal);
    EXPECT_EQ(script_.calls, (Calls{"control 3", "control 6"}));
}

TEST_F(RemotePortTest, ModemLinesAreWhatTheOtherSideToldLast) {
    open();
    std::uint32_t status = 77;
    EXPECT_EQ(port_->modemStatus(status), 0);
    EXPECT_EQ(status, 0U);
    script_.user->modemLines(0xF0);
    script_.user->modemLines(0x30);
    EXPECT_EQ(port_->modemStatus(status), 0);
    EXPECT_EQ(status, 0x30U);
}

TEST_F(RemotePortTest, LineErrorsAreToldOnce) {
    open();
    script_.user->lineErrors(LineError::Framing);
    script_.user->lineErrors(LineError::Parity);
    EXPECT_EQ(lineErrors(), 0xCU);
    EXPECT_EQ(lineErrors(), 0U);
}

TEST_F(RemotePortTest, WhatNobodyReadsIsDroppedBeyondAMegabyte) {
    open();
    const std::string block(1 << 16, 'x');
    for (int i = 0; i < 16; ++i) comesIn(block);
    EXPECT_EQ(lineErrors(), 0U);
    comesIn("y");
    EXPECT_EQ(lineErrors(), 1U);  // overflow
    EXPECT_EQ(read(1 << 21), std::string(1 << 20, 'x'));
    comesIn("z");
    EXPECT_EQ(read(), "z");
}

TEST_F(RemotePortTest, ALostConnectionIsAHangUp) {
    open();
    comesIn("last");
    write("unsent");
    script_.calls.clear();
    script_.user->lost();
    EXPECT_EQ(waitFor(POLLIN), PortWait::Ready);
    EXPECT_EQ(waitFor(POLLOUT), PortWait::Ready);
    EXPECT_EQ(read(), "last");
    EXPECT_EQ(waitFor(POLLIN), PortWait::Ready);
    std::uint32_t count = 0;
    char byte = 'a';
    EXPECT_EQ(port_->readQueued(&byte, 1, count), kErrorIo);
    EXPECT_EQ(port_->writeSome(&byte, 1, count), kErrorIo);
    EXPECT_EQ(port_->clearErrors(count, nullptr), kErrorIo);
    EXPECT_EQ(port_->modemStatus(count), kErrorIo);
    EXPECT_EQ(port_->control(LineControl::SetDtr), kErrorIo);
    EXPECT_EQ(port_->purge(kPurgeRxClear), kErrorIo);
    EXPECT_EQ(port_->setEventMask(kEventMaskRxChar), kErrorIo);
    LineSettings settings;
    EXPECT_EQ(port_->lineSettings(settings), kErrorIo);
    EXPECT_EQ(port_->setLineSettings(settingsOf(115'200, 0)), kErrorIo);
    PortProperties properties;
    EXPECT_EQ(port_->properties(properties), kErrorIo);
    EXPECT_EQ(script_.calls, Calls{});
}

TEST_F(RemotePortTest, AConnectionLostAcrossACallIsAHangUpToo) {
    open();
    script_.whilePurging = [this] { script_.user->lost(); };
    script_.purgeError = kErrorTimedOut;
    EXPECT_EQ(port_->purge(kPurgeRxClear), kErrorIo);
}

TEST_F(RemotePortTest, ACloseEndsWaitsAndTheLineGoesWithThePort) {
    open();
    std::thread other([this] { port_->beginClose(); });
    EXPECT_EQ(waitFor(POLLIN, 30'000), PortWait::Closed);
    other.join();
    EXPECT_TRUE(port_->isClosing());
    port_.reset();
    EXPECT_EQ(script_.calls, (Calls{"close", "gone"}));
}

}  // namespace
}  // namespace mova
