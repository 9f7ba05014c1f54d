// The wait for bytes, at the class that makes it: one wait for port events for all threads, ended before the close. The
// driver does without it under Wine, whose loader does not outlive such waits: these cases have a process of their own.
#include <atomic>
#include <thread>
#include <vector>

#include "Client.h"
#include "platform/Platform.h"
#include "platform/win32/Win32InputWatch.h"

namespace mova::test {
namespace {

constexpr std::uint32_t kPatience = 20'000;  // milliseconds; only a failing test waits this long

class InputWatchTest : public testing::Test {
protected:
    void SetUp() override {
        port = serial.open("\\\\.\\COM" + std::to_string(spareFastPort()), true);
        ASSERT_NE(port, kInvalidPort);
        ASSERT_TRUE(serial.setTimeouts(port, {0xFFFFFFFF, 0, 0, 10, 500}));
        ASSERT_TRUE(serial.setEventMask(port, kEventMaskRxChar));
        serial.purge(port, kPurgeRxClear | kPurgeTxClear);
        watch = std::make_unique<Win32InputWatch>(reinterpret_cast<HANDLE>(port));
    }
    void TearDown() override {
        watch.reset();
        EXPECT_TRUE(serial.close(port));
    }

    WaitResult await(std::uint32_t milliseconds) { return watch->await(&event, milliseconds); }
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
            if (watch->await(nullptr, 100) == WaitResult::Failed) return false;
        }
        return waiting() > 0;
    }

    SerialDriver& serial = nativePlatform().serial;
    Win32Event event;
    PortHandle port = kInvalidPort;
    std::unique_ptr<Win32InputWatch> watch;
};

TEST_F(InputWatchTest, EndsWhenBytesComeAgainAndAgain) {
    for (int i = 0; i < 20; ++i) {
        send("AT\r");
        EXPECT_TRUE(bytesCome());
        EXPECT_EQ(await(INFINITE), WaitResult::Signalled);  // they are still there
        serial.purge(port, kPurgeRxClear);
    }
}

TEST_F(InputWatchTest, LastsItsTimeOnASilentLine) {
    static_cast<void>(await(50));  // what has come before is told once
    const DWORD begun = GetTickCount();
    EXPECT_EQ(await(200), WaitResult::TimedOut);
    EXPECT_GE(GetTickCount() - begun, 150u);
}

TEST_F(InputWatchTest, EventEndsItAndGoesBeforeBytes) {
    std::thread stopper([this] {
        Sleep(50);
        event.set();
    });
    EXPECT_EQ(await(kPatience), WaitResult::Stopped);
    stopper.join();
    send("AT\r");
    EXPECT_TRUE(bytesCome());
    EXPECT_EQ(await(kPatience), WaitResult::Stopped);
}

TEST_F(InputWatchTest, AllThreadsThatWaitAreToldOfTheEnd) {
    std::atomic<int> ended{0};
    std::vector<std::thread> waiters;
    for (int i = 0; i < 4; ++i) {
        waiters.emplace_back([this, &ended] {
            if (watch->await(nullptr, kPatience) == WaitResult::Signalled) ++ended;
        });
    }
    Sleep(100);
    watch->end();
    for (std::thread& waiter : waiters) waiter.join();
    EXPECT_EQ(ended, 4);
    EXPECT_EQ(await(INFINITE), WaitResult::Signalled);  // over for good
}

TEST_F(InputWatchTest, PortThatOpensAndClosesOftenLeavesNoWaitBehind) {
    DWORD before = 0, after = 0;
    for (int i = 0; i < 30; ++i) {
        if (i == 10) GetProcessHandleCount(GetCurrentProcess(), &before);
        static_cast<void>(await(1));
        TearDown();
        SetUp();
    }
    GetProcessHandleCount(GetCurrentProcess(), &after);
    EXPECT_LE(after, before);
}

TEST_F(InputWatchTest, PortThatIsNoneIsAskedNoMore) {
    Win32InputWatch none(nullptr);
    EXPECT_EQ(none.await(nullptr, kPatience), WaitResult::Failed);
    EXPECT_EQ(none.await(nullptr, kPatience), WaitResult::Failed);
}

TEST_F(InputWatchTest, DriverDoesWithoutItUnderWine) {
    EXPECT_EQ(serial.awaitInput(port, nullptr, kPatience), WaitResult::Failed);
    EXPECT_EQ(serial.lastError(), 6u);
}

}  // namespace
}  // namespace mova::test
