// The driver's wait for bytes, at the driver itself: one wait for port events for all threads, ended before the close.
#include <atomic>
#include <thread>
#include <vector>

#include "Client.h"
#include "platform/Platform.h"

namespace mova::test {
namespace {

constexpr std::uint32_t kPatience = 20'000;  // milliseconds; only a failing test waits this long

class InputWaitTest : public testing::Test {
protected:
    void SetUp() override {
        port = serial.open("\\\\.\\COM" + std::to_string(spareFastPort()), true);
        ASSERT_NE(port, kInvalidPort);
        ASSERT_TRUE(serial.setTimeouts(port, {0xFFFFFFFF, 0, 0, 10, 500}));
        ASSERT_TRUE(serial.setEventMask(port, kEventMaskRxChar));
        serial.purge(port, kPurgeRxClear | kPurgeTxClear);
    }
    void TearDown() override { close(); }

    void close() {
        if (port == kInvalidPort) return;
        EXPECT_TRUE(serial.close(port));
        port = kInvalidPort;
    }
    void send(const std::string& bytes) {
        const auto transfer = serial.makeTransfer();
        std::uint32_t written = 0;
        if (serial.beginWrite(port, *transfer, bytes.data(), static_cast<std::uint32_t>(bytes.size())) ==
            BeginResult::Pending) {
            EXPECT_EQ(serial.await(*transfer, nullptr, kPatience), WaitResult::Signalled);
        }
        EXPECT_TRUE(serial.finish(port, *transfer, written));
        EXPECT_EQ(written, bytes.size());
    }
    std::uint32_t waiting() {
        std::uint32_t errors = 0;
        PortStatus status;
        EXPECT_TRUE(serial.clearErrors(port, errors, &status));
        return status.inQueue;
    }
    // A wait may end for nothing, but not for ever.
    bool bytesCome() {
        const DWORD begun = GetTickCount();
        while (waiting() == 0 && GetTickCount() - begun < kPatience) {
            if (serial.awaitInput(port, nullptr, 100) == WaitResult::Failed) return false;
        }
        return waiting() > 0;
    }

    SerialDriver& serial = nativePlatform().serial;
    const std::unique_ptr<Event> event = nativePlatform().threading.makeEvent();
    PortHandle port = kInvalidPort;
};

TEST_F(InputWaitTest, EndsWhenBytesComeAgainAndAgain) {
    for (int i = 0; i < 20; ++i) {
        send("AT\r");
        EXPECT_TRUE(bytesCome());
        EXPECT_EQ(serial.awaitInput(port, event.get(), INFINITE), WaitResult::Signalled);  // they are still there
        serial.purge(port, kPurgeRxClear);
    }
}

TEST_F(InputWaitTest, LastsItsTimeOnASilentLine) {
    static_cast<void>(serial.awaitInput(port, nullptr, 50));  // what has come before is told once
    const DWORD begun = GetTickCount();
    EXPECT_EQ(serial.awaitInput(port, nullptr, 200), WaitResult::TimedOut);
    EXPECT_GE(GetTickCount() - begun, 150u);
}

TEST_F(InputWaitTest, EventEndsItAndGoesBeforeBytes) {
    std::thread stopper([this] {
        Sleep(50);
        event->set();
    });
    EXPECT_EQ(serial.awaitInput(port, event.get(), kPatience), WaitResult::Stopped);
    stopper.join();
    send("AT\r");
    EXPECT_TRUE(bytesCome());
    EXPECT_EQ(serial.awaitInput(port, event.get(), kPatience), WaitResult::Stopped);
}

TEST_F(InputWaitTest, SeveralThreadsWaitForOnePortAndAllAreToldOfItsClose) {
    std::atomic<int> ended{0};
    std::vector<std::thread> waiters;
    for (int i = 0; i < 4; ++i) {
        waiters.emplace_back([this, &ended, handle = port] {
            const DWORD begun = GetTickCount();
            while (serial.awaitInput(handle, event.get(), 1000) != WaitResult::Failed) {
                if (GetTickCount() - begun > kPatience) return;
            }
            ++ended;  // the port is none any more
        });
    }
    Sleep(100);
    close();
    for (std::thread& waiter : waiters) waiter.join();
    EXPECT_EQ(ended, 4);
}

TEST_F(InputWaitTest, PortThatOpensAndClosesOftenLeavesNoWaitBehind) {
    DWORD before = 0, after = 0;
    for (int i = 0; i < 30; ++i) {
        if (i == 10) GetProcessHandleCount(GetCurrentProcess(), &before);
        static_cast<void>(serial.awaitInput(port, nullptr, 1));
        close();
        SetUp();
    }
    GetProcessHandleCount(GetCurrentProcess(), &after);
    EXPECT_LE(after, before);
}

TEST_F(InputWaitTest, PortWithoutTheEventInItsMaskIsNotWaitedFor) {
    ASSERT_TRUE(serial.setEventMask(port, 0));
    EXPECT_EQ(serial.awaitInput(port, nullptr, kPatience), WaitResult::Failed);
    ASSERT_TRUE(serial.setEventMask(port, kEventMaskRxChar));
    send("AT\r");
    EXPECT_TRUE(bytesCome());
}

TEST_F(InputWaitTest, UnknownHandleIsNotWaitedFor) {
    EXPECT_EQ(serial.awaitInput(PortHandle{0x7FFC}, nullptr, kPatience), WaitResult::Failed);
    EXPECT_EQ(serial.lastError(), 6u);
}

}  // namespace
}  // namespace mova::test
