#include <asm/termbits.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/resource.h>

#include <atomic>
#include <filesystem>
#include <iterator>
#include <set>
#include <thread>

#include "ChildProcess.h"
#include "PseudoTerminal.h"
#include "TempFolder.h"
#include "platform/posix/PosixSerialDriver.h"
#include "support/OpenDescriptors.h"

namespace mova {
namespace {

// errno values as this system numbers them
constexpr std::uint32_t kErrorNoEntry = 2;
constexpr std::uint32_t kErrorIo = 5;
constexpr std::uint32_t kErrorBadDescriptor = 9;
constexpr std::uint32_t kErrorBusy = 16;
constexpr std::uint32_t kErrorInvalid = 22;
constexpr std::uint32_t kErrorNoTerminal = 25;
constexpr std::uint32_t kErrorInProgress = 115;
constexpr std::uint32_t kErrorCancelled = 125;

constexpr PortTimeouts kAtOnce{0xFFFFFFFF, 0, 0, 0, 0};

std::string pattern(std::size_t length) {
    std::string bytes(length, '\0');
    for (std::size_t i = 0; i < length; ++i) bytes[i] = static_cast<char>(i % 251);
    return bytes;
}

termios2 terminalAt(int master) {
    termios2 terminal{};
    EXPECT_EQ(ioctl(master, TCGETS2, &terminal), 0);
    return terminal;
}

class PosixSerialDriverTest : public testing::Test {
protected:
    PosixSerialDriverTest() { std::filesystem::create_symlink(line_.slave(), folder_.path() / "COM7"); }

    void open() {
        port_ = driver_.open("\\\\.\\COM7", true);
        ASSERT_NE(port_, kInvalidPort);
    }

    std::uint32_t inQueue() {
        std::uint32_t errors = 0;
        PortStatus status;
        EXPECT_TRUE(driver_.clearErrors(port_, errors, &status));
        return status.inQueue;
    }

    // The line takes a moment from one end to the other.
    void awaitQueued(std::uint32_t bytes) {
        const Deadline deadline = deadlineAfter(kGenerousLimit);
        while (inQueue() < bytes && !passed(deadline)) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }

    std::string readQueued(std::uint32_t capacity = 4096) {
        std::string bytes(capacity, '\0');
        std::uint32_t count = 0;
        EXPECT_EQ(driver_.beginRead(port_, *transfer_, bytes.data(), capacity), BeginResult::Complete);
        EXPECT_TRUE(driver_.finish(port_, *transfer_, count));
        bytes.resize(count);
        return bytes;
    }

    // A write that is larger than what fits into the line.
    void beginLargeWrite() {
        data_ = pattern(1U << 20);
        ASSERT_EQ(driver_.beginWrite(port_, *transfer_, data_.data(), static_cast<std::uint32_t>(data_.size())),
                  BeginResult::Pending);
    }

    TempFolder folder_;
    PseudoTerminal line_;
    std::string data_;
    PosixSerialDriver driver_{PortLinks(folder_.path())};
    std::unique_ptr<Transfer> transfer_ = driver_.makeTransfer();
    PortHandle port_ = kInvalidPort;
};

TEST_F(PosixSerialDriverTest, ANumberedPortIsTheLinkOfItsName) {
    open();
    line_.send("over the link");
    awaitQueued(13);
    EXPECT_EQ(readQueued(), "over the link");
}

TEST_F(PosixSerialDriverTest, AnyOtherPathIsTakenAsItStands) {
    port_ = driver_.open(line_.slave(), true);
    ASSERT_NE(port_, kInvalidPort);
    EXPECT_TRUE(driver_.close(port_));
}

TEST_F(PosixSerialDriverTest, AnAbsentPortDoesNotOpen) {
    EXPECT_EQ(driver_.open("\\\\.\\COM8", true), kInvalidPort);
    EXPECT_EQ(driver_.lastError(), kErrorNoEntry);
    EXPECT_EQ(driver_.errorText(driver_.lastError()), "No such file or directory");
}

TEST_F(PosixSerialDriverTest, WhatIsNoTerminalDoesNotOpen) {
    const auto before = descriptorCount();
    writeFile(folder_.file("COM9"), "a file");
    EXPECT_EQ(driver_.open("\\\\.\\COM9", true), kInvalidPort);
    EXPECT_EQ(driver_.lastError(), kErrorNoTerminal);
    EXPECT_EQ(descriptorCount(), before);
}

TEST_F(PosixSerialDriverTest, ASecondOpenFailsUntilTheFirstIsClosed) {
    open();
    EXPECT_EQ(driver_.open("\\\\.\\COM7", true), kInvalidPort);
    EXPECT_EQ(driver_.lastError(), kErrorBusy);
    EXPECT_TRUE(driver_.close(port_));
    open();
}

TEST_F(PosixSerialDriverTest, ASecondOpenFailsAlsoFromAnotherProcess) {
    open();
    const auto tryToOpen = [&] {
        PosixSerialDriver other(PortLinks(folder_.path()));
        return other.open("\\\\.\\COM7", true) == kInvalidPort ? static_cast<int>(other.lastError()) : 0;
    };
    EXPECT_EQ(ChildProcess(tryToOpen).wait(), 16);
    EXPECT_TRUE(driver_.close(port_));
    EXPECT_EQ(ChildProcess(tryToOpen).wait(), 0);
}

TEST_F(PosixSerialDriverTest, OtherProgramsOfOrdinaryUsersAreKeptOutWhileThePortIsOpen) {
    if (geteuid() != 0) GTEST_SKIP() << "needs a second user";
    std::filesystem::permissions(line_.slave(), std::filesystem::perms(0666));
    const auto plainOpen = [&] {
        if (setresuid(kNobody, kNobody, kNobody) != 0) return 1;
        return ::open(line_.slave().c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK) >= 0 ? 0 : errno;
    };
    open();
    EXPECT_EQ(ChildProcess(plainOpen).wait(), 16);
    EXPECT_TRUE(driver_.close(port_));
    EXPECT_EQ(ChildProcess(plainOpen).wait(), 0);
}

TEST_F(PosixSerialDriverTest, AChildThatWasForkedMeanwhileDoesNotKeepAClosedPort) {
    open();
    ChildProcess child([] {
        for (;;) pause();
        return 0;
    });
    EXPECT_TRUE(driver_.close(port_));
    open();
}

TEST_F(PosixSerialDriverTest, CloseLeavesNothingOpen) {
    const auto before = descriptorCount();
    for (int i = 0; i < 50; ++i) {
        open();
        EXPECT_TRUE(driver_.close(port_));
    }
    EXPECT_EQ(descriptorCount(), before);
}

TEST_F(PosixSerialDriverTest, TheLineIsRawInBothDirections) {
    open();
    std::string all(256, '\0');
    for (std::size_t i = 0; i < all.size(); ++i) all[i] = static_cast<char>(i);
    line_.send(all);
    awaitQueued(256);
    EXPECT_EQ(readQueued(), all);
    std::uint32_t bytes = 0;
    EXPECT_EQ(driver_.beginWrite(port_, *transfer_, all.data(), 256), BeginResult::Complete);
    EXPECT_TRUE(driver_.finish(port_, *transfer_, bytes));
    EXPECT_EQ(bytes, 256U);
    EXPECT_EQ(line_.receive(256), all);
    EXPECT_EQ(inQueue(), 0U);  // no echo
}

TEST_F(PosixSerialDriverTest, AFreshPortsLineSettings) {
    open();
    LineSettings settings;
    ASSERT_TRUE(driver_.lineSettings(port_, settings));
    EXPECT_EQ(settings.length, 28U);
    EXPECT_EQ(settings.flags, 0x1011U);
    EXPECT_EQ(settings.baudRate, 38400U);  // what the system gives a pseudo-terminal
    EXPECT_EQ(settings.byteSize, 8);
    EXPECT_EQ(settings.parity, 0);
    EXPECT_EQ(settings.stopBits, 0);
    EXPECT_EQ(settings.xonChar, 0x11);
    EXPECT_EQ(settings.xoffChar, 0x13);
}

TEST_F(PosixSerialDriverTest, EveryRateIsSetAsItIs) {
    open();
    for (const std::uint32_t rate : {300U, 115200U, 123456U, 921600U}) {
        LineSettings settings;
        ASSERT_TRUE(driver_.lineSettings(port_, settings));
        settings.baudRate = rate;
        ASSERT_TRUE(driver_.setLineSettings(port_, settings));
        EXPECT_EQ(terminalAt(line_.master()).c_ospeed, rate);
        LineSettings back;
        ASSERT_TRUE(driver_.lineSettings(port_, back));
        EXPECT_EQ(back.baudRate, rate);
    }
}

TEST_F(PosixSerialDriverTest, FlagsComeBackAlsoWhereTheLineHasNoCounterpart) {
    open();
    LineSettings settings;
    ASSERT_TRUE(driver_.lineSettings(port_, settings));
    settings.flags = 0x5029 | LineFlags::TxContinueOnXoff | LineFlags::ErrorChar;
    settings.xonLimit = 17;
    settings.eventChar = 'E';
    ASSERT_TRUE(driver_.setLineSettings(port_, settings));
    LineSettings back;
    ASSERT_TRUE(driver_.lineSettings(port_, back));
    EXPECT_EQ(back.flags, 0x54A9U);
    EXPECT_EQ(back.xonLimit, 17);
    EXPECT_EQ(back.eventChar, 'E');
}

TEST_F(PosixSerialDriverTest, FlowControlReachesTheDevice) {
    open();
    LineSettings settings;
    ASSERT_TRUE(driver_.lineSettings(port_, settings));
    settings.flags = 0x6314;
    ASSERT_TRUE(driver_.setLineSettings(port_, settings));
    EXPECT_NE(terminalAt(line_.master()).c_cflag & CRTSCTS, 0U);
    EXPECT_EQ(terminalAt(line_.master()).c_iflag & (IXON | IXOFF), static_cast<tcflag_t>(IXON | IXOFF));
    settings.flags = 0x1011;
    ASSERT_TRUE(driver_.setLineSettings(port_, settings));
    EXPECT_EQ(terminalAt(line_.master()).c_cflag & CRTSCTS, 0U);
    EXPECT_EQ(terminalAt(line_.master()).c_iflag & (IXON | IXOFF), 0U);
}

TEST_F(PosixSerialDriverTest, ImpossibleSettingsAreRefusedAndTheOldOnesStayInForce) {
    open();
    LineSettings good;
    ASSERT_TRUE(driver_.lineSettings(port_, good));
    good.baudRate = 57600;
    ASSERT_TRUE(driver_.setLineSettings(port_, good));
    LineSettings bad = good;
    bad.flags = 0x5310;
    bad.baudRate = 0;
    EXPECT_FALSE(driver_.setLineSettings(port_, bad));
    EXPECT_EQ(driver_.lastError(), kErrorInvalid);
    bad.baudRate = 9600;
    bad.byteSize = 9;
    EXPECT_FALSE(driver_.setLineSettings(port_, bad));
    LineSettings back;
    ASSERT_TRUE(driver_.lineSettings(port_, back));
    EXPECT_EQ(back.baudRate, 57600U);
    EXPECT_EQ(back.flags, 0x1011U);
}

TEST_F(PosixSerialDriverTest, PropertiesTellTheQueueSizes) {
    open();
    EXPECT_TRUE(driver_.setQueueSizes(port_, 8192, 2048));
    PortProperties properties;
    ASSERT_TRUE(driver_.properties(port_, properties));
    EXPECT_EQ(properties.packetLength, 64);
    EXPECT_EQ(properties.maxBaud, 0x10000000U);
    EXPECT_EQ(properties.currentRxQueue, 8192U);
    EXPECT_EQ(properties.currentTxQueue, 2048U);
}

TEST_F(PosixSerialDriverTest, ClearErrorsCountsWhatIsQueued) {
    open();
    EXPECT_EQ(inQueue(), 0U);
    line_.send("12345");
    awaitQueued(5);
    std::uint32_t errors = 0xFF;
    PortStatus status{1, 2, 3};
    ASSERT_TRUE(driver_.clearErrors(port_, errors, &status));
    EXPECT_EQ(errors, 0U);
    EXPECT_EQ(status.flags, 0U);
    EXPECT_EQ(status.inQueue, 5U);
    EXPECT_EQ(status.outQueue, 0U);
    EXPECT_TRUE(driver_.clearErrors(port_, errors, nullptr));
}

TEST_F(PosixSerialDriverTest, PurgeDropsWhatIsQueued) {
    open();
    line_.send("12345");
    awaitQueued(5);
    EXPECT_TRUE(driver_.purge(port_, kPurgeTxClear));
    EXPECT_EQ(inQueue(), 5U);
    EXPECT_TRUE(driver_.purge(port_, kPurgeTxClear | kPurgeRxClear));
    EXPECT_EQ(inQueue(), 0U);
}

TEST_F(PosixSerialDriverTest, APseudoTerminalHasNoModemLines) {
    open();
    std::uint32_t lines = 0;
    for (const auto function :
         {LineControl::SetRts, LineControl::ClearRts, LineControl::SetDtr, LineControl::ClearDtr}) {
        EXPECT_FALSE(driver_.control(port_, function));
        EXPECT_EQ(driver_.lastError(), kErrorNoTerminal);
    }
    EXPECT_FALSE(driver_.modemStatus(port_, lines));
    EXPECT_EQ(driver_.errorText(driver_.lastError()), "Inappropriate ioctl for device");
    EXPECT_FALSE(driver_.control(port_, static_cast<LineControl>(99)));
    EXPECT_EQ(driver_.lastError(), kErrorInvalid);
}

TEST_F(PosixSerialDriverTest, AHungUpDeviceFailsEveryCallThatAsksIt) {
    open();
    LineSettings settings;
    ASSERT_TRUE(driver_.lineSettings(port_, settings));
    line_.hangUp();
    std::uint32_t number = 0;
    PortStatus status;
    PortProperties properties;
    char byte = 0;
    const auto failed = [&](bool done) { return !done && driver_.lastError() == kErrorIo; };
    EXPECT_TRUE(failed(driver_.clearErrors(port_, number, &status)));
    EXPECT_TRUE(failed(driver_.clearErrors(port_, number, nullptr)));
    EXPECT_TRUE(failed(driver_.lineSettings(port_, settings)));
    EXPECT_TRUE(failed(driver_.setLineSettings(port_, settings)));
    EXPECT_TRUE(failed(driver_.properties(port_, properties)));
    EXPECT_TRUE(failed(driver_.setEventMask(port_, kEventMaskRxChar)));
    EXPECT_TRUE(failed(driver_.purge(port_, kPurgeRxClear)));
    EXPECT_TRUE(failed(driver_.purge(port_, 0)));
    EXPECT_TRUE(failed(driver_.control(port_, LineControl::SetDtr)));
    EXPECT_TRUE(failed(driver_.modemStatus(port_, number)));
    EXPECT_TRUE(failed(driver_.beginRead(port_, *transfer_, &byte, 1) != BeginResult::Failed));
    EXPECT_TRUE(failed(driver_.beginWrite(port_, *transfer_, "x", 1) != BeginResult::Failed));
    EXPECT_TRUE(failed(driver_.read(port_, &byte, 1, number)));
    EXPECT_TRUE(failed(driver_.write(port_, "x", 1, number)));
    EXPECT_TRUE(driver_.close(port_));
}

TEST_F(PosixSerialDriverTest, EveryCallOnAHandleThatIsNoneFails) {
    LineSettings settings;
    PortProperties properties;
    std::uint32_t number = 0;
    char byte = 0;
    writeFile(folder_.file("file"), "");
    const int file = ::open(folder_.file("file").c_str(), O_RDWR);
    for (const PortHandle handle : {PortHandle{kInvalidPort}, PortHandle{9999}, PortHandle{file}}) {
        const std::uint32_t error = handle == file ? kErrorNoTerminal : kErrorBadDescriptor;
        const auto failed = [&](bool done) { return !done && driver_.lastError() == error; };
        EXPECT_TRUE(failed(driver_.setQueueSizes(handle, 1, 1)));
        EXPECT_TRUE(failed(driver_.setTimeouts(handle, kAtOnce)));
        EXPECT_TRUE(failed(driver_.properties(handle, properties)));
        EXPECT_TRUE(failed(driver_.lineSettings(handle, settings)));
        EXPECT_TRUE(failed(driver_.setLineSettings(handle, settings)));
        EXPECT_TRUE(failed(driver_.setEventMask(handle, 0)));
        EXPECT_TRUE(failed(driver_.clearErrors(handle, number, nullptr)));
        EXPECT_TRUE(failed(driver_.purge(handle, kPurgeRxClear)));
        EXPECT_TRUE(failed(driver_.control(handle, LineControl::SetDtr)));
        EXPECT_TRUE(failed(driver_.modemStatus(handle, number)));
        EXPECT_TRUE(failed(driver_.beginRead(handle, *transfer_, &byte, 1) != BeginResult::Failed));
        EXPECT_TRUE(failed(driver_.beginWrite(handle, *transfer_, "x", 1) != BeginResult::Failed));
        EXPECT_TRUE(failed(driver_.read(handle, &byte, 1, number)));
        EXPECT_TRUE(failed(driver_.write(handle, "x", 1, number)));
        EXPECT_TRUE(failed(driver_.close(handle)));
        driver_.cancelAll(handle);
    }
    EXPECT_EQ(fcntl(file, F_GETFL) & O_NONBLOCK, 0);
    ::close(file);
}

TEST_F(PosixSerialDriverTest, AClosedHandleIsNone) {
    open();
    EXPECT_TRUE(driver_.close(port_));
    EXPECT_FALSE(driver_.close(port_));
    EXPECT_EQ(driver_.lastError(), kErrorBadDescriptor);
}

TEST_F(PosixSerialDriverTest, TheLastErrorIsOfTheThread) {
    EXPECT_FALSE(driver_.close(9999));
    EXPECT_EQ(driver_.lastError(), kErrorBadDescriptor);
    std::uint32_t others = 1;
    std::thread([&] { others = driver_.lastError(); }).join();
    EXPECT_EQ(others, 0U);
    open();
    EXPECT_EQ(driver_.lastError(), kErrorBadDescriptor);  // a success leaves it
}

TEST_F(PosixSerialDriverTest, AReadWithNothingQueuedCompletesWithNothing) {
    open();
    EXPECT_EQ(readQueued(), "");
    EXPECT_EQ(driver_.await(*transfer_, nullptr, 0), WaitResult::Signalled);
}

TEST_F(PosixSerialDriverTest, AReadTakesNoMoreThanItsCapacity) {
    open();
    line_.send("abcdef");
    awaitQueued(6);
    EXPECT_EQ(readQueued(4), "abcd");
    EXPECT_EQ(readQueued(0), "");
    EXPECT_EQ(readQueued(4), "ef");
}

TEST_F(PosixSerialDriverTest, AWriteOfNothingCompletes) {
    open();
    std::uint32_t bytes = 7;
    EXPECT_EQ(driver_.beginWrite(port_, *transfer_, "", 0), BeginResult::Complete);
    EXPECT_TRUE(driver_.finish(port_, *transfer_, bytes));
    EXPECT_EQ(bytes, 0U);
}

TEST_F(PosixSerialDriverTest, APendingWriteGoesOnAsTheLineTakesItAndLosesNothing) {
    open();
    beginLargeWrite();
    std::uint32_t bytes = 0;
    EXPECT_FALSE(driver_.finish(port_, *transfer_, bytes));
    EXPECT_EQ(driver_.lastError(), kErrorInProgress);
    std::string received;
    std::thread reader([&] { received = line_.receive(data_.size()); });
    PosixEvent stop;
    EXPECT_EQ(driver_.await(*transfer_, &stop, kInfinite), WaitResult::Signalled);
    reader.join();
    EXPECT_TRUE(driver_.finish(port_, *transfer_, bytes));
    EXPECT_EQ(bytes, data_.size());
    EXPECT_TRUE(received == data_);
}

TEST_F(PosixSerialDriverTest, TheStopEventEndsAPendingWrite) {
    open();
    beginLargeWrite();
    PosixEvent stop;
    std::thread stopper([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        stop.set();
    });
    EXPECT_EQ(driver_.await(*transfer_, &stop, kInfinite), WaitResult::Stopped);
    stopper.join();
    EXPECT_EQ(driver_.await(*transfer_, &stop, kInfinite), WaitResult::Stopped);  // it stays set
    driver_.cancel(port_, *transfer_);
    std::uint32_t bytes = 0;
    EXPECT_FALSE(driver_.finish(port_, *transfer_, bytes));
    EXPECT_EQ(driver_.lastError(), kErrorCancelled);
}

TEST_F(PosixSerialDriverTest, TheStopEventEndsAWriteThatTheLineKeepsTaking) {
    open();
    beginLargeWrite();
    PosixEvent stop;
    stop.set();
    line_.receiveQueued();  // room, but not for all
    EXPECT_EQ(driver_.await(*transfer_, &stop, kInfinite), WaitResult::Stopped);
}

TEST_F(PosixSerialDriverTest, AWriteThatCanBeCompletedIsCompleteAlsoAfterTheStop) {
    open();
    beginLargeWrite();
    std::uint32_t filled = 0;
    driver_.cancel(port_, *transfer_);
    driver_.finish(port_, *transfer_, filled);
    // The line may take some more a moment later, when what it holds has moved on to the far end.
    while (driver_.beginWrite(port_, *transfer_, "last", 4) == BeginResult::Complete) filled += 4;
    PosixEvent stop;
    stop.set();
    line_.receive(filled);
    pollfd room{static_cast<int>(port_), POLLOUT, 0};
    ASSERT_EQ(poll(&room, 1, kGenerousLimit), 1);
    EXPECT_EQ(driver_.await(*transfer_, &stop, kInfinite), WaitResult::Signalled);
    EXPECT_EQ(line_.receive(4), "last");
}

TEST_F(PosixSerialDriverTest, ACompleteTransferIsSignalledAlsoAfterTheStop) {
    open();
    PosixEvent stop;
    stop.set();
    ASSERT_EQ(driver_.beginWrite(port_, *transfer_, "x", 1), BeginResult::Complete);
    EXPECT_EQ(driver_.await(*transfer_, &stop, 0), WaitResult::Signalled);
}

TEST_F(PosixSerialDriverTest, AwaitGivesUpAtItsLimitAndTheWriteStaysPending) {
    open();
    beginLargeWrite();
    EXPECT_EQ(driver_.await(*transfer_, nullptr, 5), WaitResult::TimedOut);
    std::uint32_t bytes = 0;
    EXPECT_FALSE(driver_.finish(port_, *transfer_, bytes));
    EXPECT_EQ(driver_.lastError(), kErrorInProgress);
}

TEST_F(PosixSerialDriverTest, TheWriteTimeoutEndsAWriteShort) {
    open();
    EXPECT_TRUE(driver_.setTimeouts(port_, {0xFFFFFFFF, 0, 0, 0, 30}));
    beginLargeWrite();
    PosixEvent stop;
    EXPECT_EQ(driver_.await(*transfer_, &stop, kInfinite), WaitResult::Signalled);
    std::uint32_t bytes = 0;
    EXPECT_TRUE(driver_.finish(port_, *transfer_, bytes));
    EXPECT_GT(bytes, 0U);
    EXPECT_LT(bytes, data_.size());
    EXPECT_TRUE(line_.receive(bytes) == data_.substr(0, bytes));
    EXPECT_EQ(line_.receiveQueued(), "");
}

TEST_F(PosixSerialDriverTest, TheWriteTimeoutGrowsWithTheLength) {
    open();
    EXPECT_TRUE(driver_.setTimeouts(port_, {0xFFFFFFFF, 0, 0, 1, 0}));  // 1 MB: 17 minutes
    beginLargeWrite();
    EXPECT_EQ(driver_.await(*transfer_, nullptr, 20), WaitResult::TimedOut);
}

TEST_F(PosixSerialDriverTest, AHangUpEndsAPendingWriteInFailure) {
    open();
    beginLargeWrite();
    std::thread unplugger([&] { line_.hangUp(); });
    EXPECT_EQ(driver_.await(*transfer_, nullptr, kInfinite), WaitResult::Signalled);
    unplugger.join();
    std::uint32_t bytes = 0;
    EXPECT_FALSE(driver_.finish(port_, *transfer_, bytes));
    EXPECT_EQ(driver_.lastError(), kErrorIo);
}

TEST_F(PosixSerialDriverTest, ClosingThePortEndsAPendingWriteInFailure) {
    const auto before = descriptorCount();
    open();
    beginLargeWrite();
    std::thread closer([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        EXPECT_TRUE(driver_.close(port_));
    });
    EXPECT_EQ(driver_.await(*transfer_, nullptr, kInfinite), WaitResult::Signalled);
    closer.join();
    std::uint32_t bytes = 0;
    EXPECT_FALSE(driver_.finish(port_, *transfer_, bytes));
    EXPECT_EQ(driver_.lastError(), kErrorCancelled);
    EXPECT_EQ(descriptorCount(), before);
}

TEST_F(PosixSerialDriverTest, AWriteOnAPortThatWasClosedMeanwhileHasFailed) {
    open();
    beginLargeWrite();
    EXPECT_TRUE(driver_.close(port_));
    EXPECT_EQ(driver_.await(*transfer_, nullptr, kInfinite), WaitResult::Signalled);
    std::uint32_t bytes = 0;
    EXPECT_FALSE(driver_.finish(port_, *transfer_, bytes));
    EXPECT_EQ(driver_.lastError(), kErrorCancelled);
}

TEST_F(PosixSerialDriverTest, ASignalHandlerDoesNotEndAPendingWrite) {
    struct sigaction action {};
    struct sigaction before {};
    action.sa_handler = [](int) {};
    sigaction(SIGUSR1, &action, &before);
    open();
    beginLargeWrite();
    PosixEvent stop;
    WaitResult outcome = WaitResult::Failed;
    std::thread writer([&] { outcome = driver_.await(*transfer_, &stop, kInfinite); });
    for (int i = 0; i < 20; ++i) {
        pthread_kill(writer.native_handle(), SIGUSR1);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    stop.set();
    writer.join();
    sigaction(SIGUSR1, &before, nullptr);
    EXPECT_EQ(outcome, WaitResult::Stopped);
}

TEST_F(PosixSerialDriverTest, ATransferIsReusable) {
    open();
    beginLargeWrite();
    std::uint32_t filled = 0;
    driver_.cancel(port_, *transfer_);
    driver_.finish(port_, *transfer_, filled);
    line_.receive(filled);
    for (const char* text : {"one", "two"}) {
        std::uint32_t bytes = 0;
        ASSERT_EQ(driver_.beginWrite(port_, *transfer_, text, 3), BeginResult::Complete);
        EXPECT_TRUE(driver_.finish(port_, *transfer_, bytes));
        EXPECT_EQ(bytes, 3U);
        EXPECT_EQ(line_.receive(3), text);
    }
    EXPECT_EQ(readQueued(), "");
    driver_.cancel(port_, *transfer_);  // nothing is under way
    beginLargeWrite();
    beginLargeWrite();  // the first is forgotten
}

TEST_F(PosixSerialDriverTest, CancelAllEndsWhatThisThreadBeganOnThePort) {
    open();
    PseudoTerminal otherLine;
    const PortHandle otherPort = driver_.open(otherLine.slave(), true);
    const auto otherTransfer = driver_.makeTransfer();
    const auto thirdTransfer = driver_.makeTransfer();
    beginLargeWrite();
    const auto length = static_cast<std::uint32_t>(data_.size());
    ASSERT_EQ(driver_.beginWrite(otherPort, *otherTransfer, data_.data(), length), BeginResult::Pending);
    std::thread([&] {
        ASSERT_EQ(driver_.beginWrite(port_, *thirdTransfer, data_.data(), length), BeginResult::Pending);
    }).join();
    driver_.cancelAll(port_);
    std::uint32_t bytes = 0;
    EXPECT_FALSE(driver_.finish(port_, *transfer_, bytes));
    EXPECT_EQ(driver_.lastError(), kErrorCancelled);
    EXPECT_FALSE(driver_.finish(otherPort, *otherTransfer, bytes));
    EXPECT_EQ(driver_.lastError(), kErrorInProgress);
    EXPECT_FALSE(driver_.finish(port_, *thirdTransfer, bytes));
    EXPECT_EQ(driver_.lastError(), kErrorInProgress);
}

TEST_F(PosixSerialDriverTest, ATransferOnWhichNothingWasBegunCannotBeAwaitedOrFinished) {
    std::uint32_t bytes = 0;
    EXPECT_EQ(driver_.await(*transfer_, nullptr, kInfinite), WaitResult::Failed);
    EXPECT_EQ(driver_.lastError(), kErrorInvalid);
    EXPECT_FALSE(driver_.finish(port_, *transfer_, bytes));
    EXPECT_EQ(driver_.lastError(), kErrorInvalid);
}

TEST_F(PosixSerialDriverTest, AStopEventThatTheSystemRefusedFailsTheWait) {
    open();
    beginLargeWrite();
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    rlimit none = before;
    none.rlim_cur = 0;
    setrlimit(RLIMIT_NOFILE, &none);
    PosixEvent refused;
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(driver_.await(*transfer_, &refused, kInfinite), WaitResult::Failed);
    EXPECT_EQ(driver_.lastError(), kErrorInvalid);
}

TEST_F(PosixSerialDriverTest, AReadAndAWriteMayRunAtTheSameTime) {
    open();
    beginLargeWrite();
    std::string received;
    std::thread farEnd([&] { received = line_.receive(data_.size()); });
    std::thread writer([&] { driver_.await(*transfer_, nullptr, kInfinite); });
    const auto readTransfer = driver_.makeTransfer();
    const std::string sent = pattern(2000);
    line_.send(sent);
    std::string got;
    const Deadline deadline = deadlineAfter(kGenerousLimit);
    while (got.size() < sent.size() && !passed(deadline)) {
        char block[256];
        std::uint32_t bytes = 0;
        std::uint32_t errors = 0;
        ASSERT_TRUE(driver_.clearErrors(port_, errors, nullptr));
        ASSERT_EQ(driver_.beginRead(port_, *readTransfer, block, sizeof block), BeginResult::Complete);
        ASSERT_TRUE(driver_.finish(port_, *readTransfer, bytes));
        got.append(block, bytes);
    }
    writer.join();
    farEnd.join();
    EXPECT_EQ(got, sent);
    EXPECT_TRUE(received == data_);
}

TEST_F(PosixSerialDriverTest, ABlockingReadReturnsAtOnceWhereTheTimeoutsSaySo) {
    open();
    EXPECT_TRUE(driver_.setTimeouts(port_, kAtOnce));
    char buffer[16];
    std::uint32_t bytes = 9;
    EXPECT_TRUE(driver_.read(port_, buffer, sizeof buffer, bytes));
    EXPECT_EQ(bytes, 0U);
    line_.send("abc");
    awaitQueued(3);
    EXPECT_TRUE(driver_.read(port_, buffer, sizeof buffer, bytes));
    EXPECT_EQ(std::string(buffer, bytes), "abc");
}

TEST_F(PosixSerialDriverTest, ABlockingReadWithoutTimeoutsWaitsUntilItIsFull) {
    open();
    char buffer[6];
    std::uint32_t bytes = 0;
    std::thread farEnd([&] {
        line_.send("abc");
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        line_.send("def");
    });
    EXPECT_TRUE(driver_.read(port_, buffer, sizeof buffer, bytes));
    farEnd.join();
    EXPECT_EQ(std::string(buffer, bytes), "abcdef");
}

TEST_F(PosixSerialDriverTest, ABlockingReadGivesWhatCameByItsTotalTimeout) {
    open();
    EXPECT_TRUE(driver_.setTimeouts(port_, {0, 1, 10, 0, 0}));
    line_.send("abc");
    awaitQueued(3);
    char buffer[6];
    std::uint32_t bytes = 0;
    EXPECT_TRUE(driver_.read(port_, buffer, sizeof buffer, bytes));
    EXPECT_EQ(std::string(buffer, bytes), "abc");
}

TEST_F(PosixSerialDriverTest, ABlockingReadEndsAtAPauseBetweenBytes) {
    open();
    EXPECT_TRUE(driver_.setTimeouts(port_, {10, 0, 0, 0, 0}));
    char buffer[6];
    std::uint32_t bytes = 0;
    std::thread farEnd([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(30));  // the pause counts from the first byte only
        line_.send("abc");
    });
    EXPECT_TRUE(driver_.read(port_, buffer, sizeof buffer, bytes));
    farEnd.join();
    EXPECT_EQ(std::string(buffer, bytes), "abc");
}

TEST_F(PosixSerialDriverTest, ABlockingReadMayWaitForTheFirstBytesOnly) {
    open();
    EXPECT_TRUE(driver_.setTimeouts(port_, {0xFFFFFFFF, 0xFFFFFFFF, kGenerousLimit, 0, 0}));
    char buffer[6];
    std::uint32_t bytes = 0;
    std::thread farEnd([&] { line_.send("a"); });
    EXPECT_TRUE(driver_.read(port_, buffer, sizeof buffer, bytes));
    farEnd.join();
    EXPECT_EQ(std::string(buffer, bytes), "a");
}

TEST_F(PosixSerialDriverTest, AHangUpAndAnotherThreadsCloseEndABlockingRead) {
    open();
    char byte = 0;
    std::uint32_t bytes = 0;
    std::thread closer([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        driver_.close(port_);
    });
    EXPECT_FALSE(driver_.read(port_, &byte, 1, bytes));
    EXPECT_EQ(driver_.lastError(), kErrorCancelled);
    closer.join();
    open();
    std::thread unplugger([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        line_.hangUp();
    });
    EXPECT_FALSE(driver_.read(port_, &byte, 1, bytes));
    EXPECT_EQ(driver_.lastError(), kErrorIo);
    unplugger.join();
}

TEST_F(PosixSerialDriverTest, ABlockingWriteWaitsForTheLine) {
    port_ = driver_.open("\\\\.\\COM7", false);
    data_ = pattern(100'000);
    std::string received;
    std::thread farEnd([&] { received = line_.receive(data_.size()); });
    std::uint32_t bytes = 0;
    EXPECT_TRUE(driver_.write(port_, data_.data(), 100'000, bytes));
    farEnd.join();
    EXPECT_EQ(bytes, 100'000U);
    EXPECT_TRUE(received == data_);
}

TEST_F(PosixSerialDriverTest, ABlockingWriteIsShortAfterItsTimeout) {
    port_ = driver_.open("\\\\.\\COM7", false);
    EXPECT_TRUE(driver_.setTimeouts(port_, {0, 0, 0, 0, 20}));
    data_ = pattern(1U << 20);
    std::uint32_t bytes = 0;
    EXPECT_TRUE(driver_.write(port_, data_.data(), 1U << 20, bytes));
    EXPECT_GT(bytes, 0U);
    EXPECT_LT(bytes, data_.size());
}

TEST_F(PosixSerialDriverTest, ATerminalThatSomebodyElseOpenedIsServedByItsDescriptor) {
    const int given = ::open(line_.slave().c_str(), O_RDWR | O_NOCTTY);
    ASSERT_GE(given, 0);
    termios2 raw{};
    ASSERT_EQ(ioctl(given, TCGETS2, &raw), 0);
    raw.c_lflag = 0;
    raw.c_iflag = 0;
    ASSERT_EQ(ioctl(given, TCSETS2, &raw), 0);
    port_ = given;
    EXPECT_EQ(readQueued(), "");  // does not wait
    line_.send("abc");
    awaitQueued(3);
    EXPECT_EQ(readQueued(), "abc");
    ASSERT_EQ(driver_.beginWrite(port_, *transfer_, "xyz", 3), BeginResult::Complete);
    EXPECT_EQ(line_.receive(3), "xyz");
    EXPECT_TRUE(driver_.close(port_));
    EXPECT_EQ(fcntl(given, F_GETFD), -1);
}

TEST_F(PosixSerialDriverTest, ATerminalThatSomebodyElseOpenedStaysOpenWithoutAClose) {
    const int given = ::open(line_.slave().c_str(), O_RDWR | O_NOCTTY);
    {
        PosixSerialDriver other(PortLinks(folder_.path()));
        EXPECT_TRUE(other.setTimeouts(given, kAtOnce));
    }
    EXPECT_NE(fcntl(given, F_GETFD), -1);
    ::close(given);
}

TEST_F(PosixSerialDriverTest, ErrorTextsAreTheSystems) {
    EXPECT_EQ(driver_.errorText(kErrorIo), "Input/output error");
    EXPECT_EQ(driver_.errorText(kErrorBusy), "Device or resource busy");
    EXPECT_EQ(driver_.errorText(0), "Success");
}

// --- waiting for bytes

TEST_F(PosixSerialDriverTest, AWaitForBytesEndsWhenTheyComeAndLeavesThem) {
    open();
    std::thread sender([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        line_.send("OK");
    });
    EXPECT_EQ(driver_.awaitInput(port_, nullptr, kGenerousLimit), WaitResult::Signalled);
    sender.join();
    EXPECT_EQ(driver_.awaitInput(port_, nullptr, kInfinite), WaitResult::Signalled);  // they are still there
    awaitQueued(2);
    EXPECT_EQ(readQueued(), "OK");
}

TEST_F(PosixSerialDriverTest, AWaitForBytesLastsItsTimeWhereNoneCome) {
    open();
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_EQ(driver_.awaitInput(port_, nullptr, 30), WaitResult::TimedOut);
    EXPECT_GE(std::chrono::steady_clock::now() - begun, std::chrono::milliseconds(30));
}

TEST_F(PosixSerialDriverTest, TheEventEndsAWaitForBytesAndGoesBeforeThem) {
    open();
    PosixEvent event;
    std::thread stopper([&] { event.set(); });
    EXPECT_EQ(driver_.awaitInput(port_, &event, kInfinite), WaitResult::Stopped);
    stopper.join();
    line_.send("A");
    awaitQueued(1);
    EXPECT_EQ(driver_.awaitInput(port_, &event, kInfinite), WaitResult::Stopped);
    event.reset();
    EXPECT_EQ(driver_.awaitInput(port_, &event, kInfinite), WaitResult::Signalled);
}

TEST_F(PosixSerialDriverTest, BytesEndTheWaitsOfAllThreads) {
    open();
    std::atomic<int> ended{0};
    std::vector<std::thread> waiters;
    for (int i = 0; i < 3; ++i) {
        waiters.emplace_back([&] {
            if (driver_.awaitInput(port_, nullptr, kInfinite) == WaitResult::Signalled) ++ended;
        });
    }
    line_.send("A");
    for (std::thread& waiter : waiters) waiter.join();
    EXPECT_EQ(ended, 3);
}

TEST_F(PosixSerialDriverTest, AHangUpAndAnotherThreadsCloseEndAWaitForBytes) {
    open();
    std::thread closer([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        driver_.close(port_);
    });
    EXPECT_EQ(driver_.awaitInput(port_, nullptr, kInfinite), WaitResult::Signalled);
    closer.join();
    open();
    line_.hangUp();
    EXPECT_EQ(driver_.awaitInput(port_, nullptr, kInfinite), WaitResult::Signalled);
}

// Its number may be another file's by now, which must be left alone.
TEST_F(PosixSerialDriverTest, AHandleThatIsNotKnownIsNotWaitedForAndNotTakenOver) {
    const PseudoTerminal other;
    const int foreign = ::open(other.slave().c_str(), O_RDWR | O_NOCTTY);
    const int flags = fcntl(foreign, F_GETFL);
    EXPECT_EQ(driver_.awaitInput(foreign, nullptr, kInfinite), WaitResult::Failed);
    EXPECT_EQ(driver_.lastError(), kErrorInvalid);
    EXPECT_EQ(fcntl(foreign, F_GETFL), flags);
    ::close(foreign);
}

}  // namespace
}  // namespace mova
