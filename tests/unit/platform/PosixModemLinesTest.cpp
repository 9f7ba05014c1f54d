// A pseudo-terminal with modem lines, error counts and a limited choice of rates: the requests that a pseudo-terminal
// refuses are answered here, in place of the system's ioctl; all others go on to the system.
#include <asm/ioctls.h>
#include <asm/termbits.h>
#include <gtest/gtest.h>
#include <linux/serial.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <filesystem>

#include "PseudoTerminal.h"
#include "TempFolder.h"
#include "platform/posix/PosixSerialDriver.h"

namespace {

constexpr int kDtr = 0x002;
constexpr int kRts = 0x004;
constexpr int kCts = 0x020;
constexpr int kCarrier = 0x040;
constexpr int kRing = 0x080;
constexpr int kDsr = 0x100;

struct Uart {
    int lines = 0;
    serial_icounter_struct counts{};
    unsigned (*rateOf)(unsigned asked) = [](unsigned asked) { return asked; };
    int failing = 0;  // errno of the line requests
};
Uart* uart = nullptr;

int answer(int error) {
    if (error == 0) return 0;
    errno = error;
    return -1;
}

int passOn(int descriptor, unsigned long code, void* argument) {
    return static_cast<int>(syscall(SYS_ioctl, descriptor, code, argument));
}

int setRate(int descriptor, const void* argument) {
    termios2 terminal = *static_cast<const termios2*>(argument);
    terminal.c_ospeed = uart->rateOf(terminal.c_ospeed);
    terminal.c_ispeed = terminal.c_ospeed;
    return passOn(descriptor, TCSETS2, &terminal);
}

}  // namespace

extern "C" int ioctl(int descriptor, unsigned long code, ...) noexcept {
    va_list arguments;
    va_start(arguments, code);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    if (uart == nullptr) return passOn(descriptor, code, argument);
    switch (code) {
        case TIOCMGET:
            if (uart->failing == 0) *static_cast<int*>(argument) = uart->lines;
            return answer(uart->failing);
        case TIOCMBIS:
            if (uart->failing == 0) uart->lines |= *static_cast<int*>(argument);
            return answer(uart->failing);
        case TIOCMBIC:
            if (uart->failing == 0) uart->lines &= ~*static_cast<int*>(argument);
            return answer(uart->failing);
        case TIOCGICOUNT: *static_cast<serial_icounter_struct*>(argument) = uart->counts; return 0;
        case TCSETS2: return setRate(descriptor, argument);
        default: return passOn(descriptor, code, argument);
    }
}

namespace mova {
namespace {

class PosixModemLinesTest : public testing::Test {
protected:
    PosixModemLinesTest() {
        uart = &uart_;
        port_ = driver_.open(line_.slave(), true);
        EXPECT_NE(port_, kInvalidPort);
    }
    ~PosixModemLinesTest() override {
        driver_.close(port_);
        uart = nullptr;
    }

    std::uint32_t errorBits() {
        std::uint32_t bits = 0;
        EXPECT_TRUE(driver_.clearErrors(port_, bits, nullptr));
        return bits;
    }
    bool setFlags(std::uint32_t flags, std::uint32_t baudRate = 115200) {
        LineSettings settings;
        EXPECT_TRUE(driver_.lineSettings(port_, settings));
        settings.flags = flags;
        settings.baudRate = baudRate;
        return driver_.setLineSettings(port_, settings);
    }

    Uart uart_;
    PseudoTerminal line_;
    PosixSerialDriver driver_{PortLinks("/dev")};
    PortHandle port_ = kInvalidPort;
};

TEST_F(PosixModemLinesTest, ControlRaisesAndDropsItsLineAlone) {
    EXPECT_TRUE(driver_.control(port_, LineControl::SetDtr));
    EXPECT_EQ(uart_.lines, kDtr);
    EXPECT_TRUE(driver_.control(port_, LineControl::SetRts));
    EXPECT_EQ(uart_.lines, kDtr | kRts);
    EXPECT_TRUE(driver_.control(port_, LineControl::ClearDtr));
    EXPECT_EQ(uart_.lines, kRts);
    EXPECT_TRUE(driver_.control(port_, LineControl::ClearRts));
    EXPECT_EQ(uart_.lines, 0);
}

TEST_F(PosixModemLinesTest, ModemStatusHasABitForEachLine) {
    const std::pair<int, std::uint32_t> rows[] = {{kCts, 0x10},        {kDsr, 0x20}, {kRing, 0x40},   {kCarrier, 0x80},
                                                  {kCts | kDsr, 0x30}, {0, 0},       {kDtr | kRts, 0}};
    for (const auto& [lines, expected] : rows) {
        uart_.lines = lines;
        std::uint32_t status = 0xFFFF;
        EXPECT_TRUE(driver_.modemStatus(port_, status));
        EXPECT_EQ(status, expected);
    }
}

TEST_F(PosixModemLinesTest, TheErrorOfALineRequestIsKept) {
    uart_.failing = EIO;
    std::uint32_t status = 0;
    EXPECT_FALSE(driver_.control(port_, LineControl::SetDtr));
    EXPECT_EQ(driver_.lastError(), 5U);
    uart_.failing = ENODEV;
    EXPECT_FALSE(driver_.modemStatus(port_, status));
    EXPECT_EQ(driver_.lastError(), 19U);
}

TEST_F(PosixModemLinesTest, LineSettingsRaiseAndDropTheLines) {
    EXPECT_TRUE(setFlags(0x5010));
    EXPECT_EQ(uart_.lines, kDtr | kRts);
    EXPECT_TRUE(setFlags(0x1000));
    EXPECT_EQ(uart_.lines, kRts);
    EXPECT_TRUE(setFlags(0x0010));
    EXPECT_EQ(uart_.lines, kDtr);
    EXPECT_TRUE(setFlags(0x1028));  // a DTR handshake holds the line up
    EXPECT_EQ(uart_.lines, kDtr | kRts);
}

TEST_F(PosixModemLinesTest, AnRtsHandshakeLeavesTheLineToTheDevice) {
    uart_.lines = kRts;
    EXPECT_TRUE(setFlags(0x6014));
    EXPECT_EQ(uart_.lines, kDtr | kRts);
    uart_.lines = 0;
    EXPECT_TRUE(setFlags(0x6014));
    EXPECT_EQ(uart_.lines, kDtr);
}

TEST_F(PosixModemLinesTest, LineSettingsStandAlsoWhereTheLinesCannotBeRaised) {
    uart_.failing = ENOTTY;
    EXPECT_TRUE(setFlags(0x5010, 9600));
    LineSettings settings;
    EXPECT_TRUE(driver_.lineSettings(port_, settings));
    EXPECT_EQ(settings.flags, 0x5010U);
    EXPECT_EQ(settings.baudRate, 9600U);
}

TEST_F(PosixModemLinesTest, ErrorsOfTheLineAreReportedOnceEach) {
    EXPECT_EQ(errorBits(), 0U);
    uart_.counts.frame += 3;
    EXPECT_EQ(errorBits(), 0x8U);
    EXPECT_EQ(errorBits(), 0U);
    uart_.counts.overrun += 1;
    EXPECT_EQ(errorBits(), 0x2U);
    uart_.counts.parity += 1;
    EXPECT_EQ(errorBits(), 0x4U);
    uart_.counts.brk += 1;
    EXPECT_EQ(errorBits(), 0x10U);
    uart_.counts.buf_overrun += 1;
    EXPECT_EQ(errorBits(), 0x1U);
    uart_.counts.frame += 1;
    uart_.counts.brk += 1;
    EXPECT_EQ(errorBits(), 0x18U);
    uart_.counts.rx += 100;
    EXPECT_EQ(errorBits(), 0U);
}

TEST_F(PosixModemLinesTest, ErrorsFromBeforeTheOpenAreNotReported) {
    driver_.close(port_);
    uart_.counts.frame = 12;
    port_ = driver_.open(line_.slave(), true);
    EXPECT_EQ(errorBits(), 0U);
}

TEST_F(PosixModemLinesTest, ARateThatTheDeviceDoesNotHaveIsRefusedAndTheOldOneStays) {
    ASSERT_TRUE(setFlags(0x5010, 115200));
    uart_.rateOf = [](unsigned asked) { return asked > 921600 ? 9600 : asked; };
    EXPECT_FALSE(setFlags(0x5310, 4'000'000));
    EXPECT_EQ(driver_.lastError(), 22U);
    LineSettings settings;
    ASSERT_TRUE(driver_.lineSettings(port_, settings));
    EXPECT_EQ(settings.flags, 0x5010U);
    EXPECT_EQ(settings.baudRate, 115200U);
}

TEST_F(PosixModemLinesTest, TheNearestRateOfTheDeviceWillDo) {
    uart_.rateOf = [](unsigned) { return 117647U; };  // 2 MHz / 17
    EXPECT_TRUE(setFlags(0x5010, 115200));
    LineSettings settings;
    ASSERT_TRUE(driver_.lineSettings(port_, settings));
    EXPECT_EQ(settings.baudRate, 117647U);
}

}  // namespace
}  // namespace mova
