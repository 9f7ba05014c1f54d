#include <asm/termbits.h>
#include <gtest/gtest.h>

#include "platform/posix/TermiosLine.h"

namespace mova {
namespace {

LineSettings settings115200() {
    LineSettings settings;
    settings.baudRate = 115200;
    settings.byteSize = 8;
    settings.flags = 0x1011;
    settings.xonChar = 0x11;
    settings.xoffChar = 0x13;
    return settings;
}

termios2 put(const LineSettings& settings) {
    termios2 terminal{};
    putSettings(settings, terminal);
    return terminal;
}

LineSettings takenBack(const LineSettings& settings) {
    LineSettings out;
    takeSettings(put(settings), out);
    return out;
}

TEST(TermiosLine, EveryRateIsPutAsANumberForBothDirections) {
    for (const std::uint32_t rate : {50U, 9600U, 115200U, 123456U, 250000U, 921600U, 3000000U}) {
        LineSettings settings = settings115200();
        settings.baudRate = rate;
        const termios2 terminal = put(settings);
        EXPECT_EQ(terminal.c_ospeed, rate);
        EXPECT_EQ(terminal.c_ispeed, rate);
        EXPECT_EQ(terminal.c_cflag & CBAUD, static_cast<tcflag_t>(BOTHER));
        EXPECT_EQ(terminal.c_cflag & CIBAUD, 0U);
        EXPECT_EQ(takenBack(settings).baudRate, rate);
    }
}

TEST(TermiosLine, ARateIsTheWantedOneUpToFivePercent) {
    struct Rate {
        std::uint32_t actual;
        std::uint32_t wanted;
        bool same;
    };
    const Rate rates[] = {{115200, 115200, true},
                          {95000, 100000, true},
                          {105000, 100000, true},
                          {94999, 100000, false},
                          {105001, 100000, false},
                          {9600, 115200, false},
                          {0, 50, false},
                          {4'080'218'931, 4'294'967'295, true},  // its hundredfold has more than 32 bits
                          {4'080'218'930, 4'294'967'295, false}};
    for (const Rate& rate : rates) EXPECT_EQ(isRate(rate.actual, rate.wanted), rate.same) << rate.actual;
}

TEST(TermiosLine, ByteSizes) {
    const std::pair<std::uint8_t, tcflag_t> rows[] = {{5, CS5}, {6, CS6}, {7, CS7}, {8, CS8}};
    for (const auto& [bits, flag] : rows) {
        LineSettings settings = settings115200();
        settings.byteSize = bits;
        EXPECT_EQ(put(settings).c_cflag & CSIZE, flag);
        EXPECT_EQ(takenBack(settings).byteSize, bits);
    }
}

TEST(TermiosLine, ParitiesNoneOddEvenMarkSpace) {
    const tcflag_t rows[] = {0, PARENB | PARODD, PARENB, PARENB | PARODD | CMSPAR, PARENB | CMSPAR};
    for (std::uint8_t parity = 0; parity <= 4; ++parity) {
        LineSettings settings = settings115200();
        settings.parity = parity;
        EXPECT_EQ(put(settings).c_cflag & (PARENB | PARODD | CMSPAR), rows[parity]);
        EXPECT_EQ(takenBack(settings).parity, parity);
    }
}

TEST(TermiosLine, StopBitsOneAndTwo) {
    LineSettings settings = settings115200();
    EXPECT_EQ(put(settings).c_cflag & CSTOPB, 0U);
    EXPECT_EQ(takenBack(settings).stopBits, 0);
    settings.stopBits = 2;
    EXPECT_NE(put(settings).c_cflag & CSTOPB, 0U);
    EXPECT_EQ(takenBack(settings).stopBits, 2);
}

TEST(TermiosLine, OneAndAHalfStopBitsGoWithFiveDataBits) {
    LineSettings settings = settings115200();
    settings.byteSize = 5;
    settings.stopBits = 1;
    EXPECT_NE(put(settings).c_cflag & CSTOPB, 0U);
    EXPECT_EQ(takenBack(settings).stopBits, 1);
}

TEST(TermiosLine, CtsFlowOrRtsHandshakeSwitchesHardwareFlowControl) {
    const std::pair<std::uint32_t, bool> rows[] = {{0x5010, false}, {0x6010, true},  {0x6014, true},
                                                   {0x1014, true},  {0x5028, false}, {0x3010, false}};
    for (const auto& [flags, on] : rows) {
        LineSettings settings = settings115200();
        settings.flags = flags;
        EXPECT_EQ((put(settings).c_cflag & CRTSCTS) != 0, on) << std::hex << flags;
    }
}

TEST(TermiosLine, XonXoffByDirectionWithItsCharacters) {
    LineSettings settings = settings115200();
    settings.flags = 0x5110;
    settings.xonChar = 'Q';
    settings.xoffChar = 'S';
    EXPECT_EQ(put(settings).c_iflag & (IXON | IXOFF), static_cast<tcflag_t>(IXON));
    EXPECT_EQ(put(settings).c_cc[VSTART], 'Q');
    EXPECT_EQ(put(settings).c_cc[VSTOP], 'S');
    EXPECT_EQ(takenBack(settings).xonChar, 'Q');
    EXPECT_EQ(takenBack(settings).xoffChar, 'S');
    settings.flags = 0x5210;
    EXPECT_EQ(put(settings).c_iflag & (IXON | IXOFF), static_cast<tcflag_t>(IXOFF));
    settings.flags = 0x5310;
    EXPECT_EQ(put(settings).c_iflag & (IXON | IXOFF), static_cast<tcflag_t>(IXON | IXOFF));
    settings.flags = 0x5010;
    EXPECT_EQ(put(settings).c_iflag & (IXON | IXOFF), 0U);
}

TEST(TermiosLine, NewSettingsReplaceTheOldOnes) {
    LineSettings all = settings115200();
    all.byteSize = 7;
    all.parity = 3;
    all.stopBits = 2;
    all.flags = 0x6314;
    termios2 terminal = put(all);
    putSettings(settings115200(), terminal);
    EXPECT_EQ(terminal.c_cflag, static_cast<tcflag_t>(BOTHER | CS8));
    EXPECT_EQ(terminal.c_iflag, 0U);
}

TEST(TermiosLine, SettingsThatDoNotExist) {
    EXPECT_TRUE(isPossible(settings115200()));
    LineSettings settings = settings115200();
    settings.baudRate = 0;
    EXPECT_FALSE(isPossible(settings));
    for (const std::uint8_t bits : std::initializer_list<std::uint8_t>{0, 4, 9}) {
        settings = settings115200();
        settings.byteSize = bits;
        EXPECT_FALSE(isPossible(settings)) << int{bits};
    }
    settings = settings115200();
    settings.parity = 5;
    EXPECT_FALSE(isPossible(settings));
    settings = settings115200();
    settings.stopBits = 3;
    EXPECT_FALSE(isPossible(settings));
}

TEST(TermiosLine, RawKeepsTheRateAndSwitchesEveryTreatmentOff) {
    termios2 terminal{};
    terminal.c_iflag = 0xFFFFFFFF;
    terminal.c_oflag = OPOST | ONLCR;
    terminal.c_lflag = 0xFFFFFFFF;
    terminal.c_cflag = B9600 | CS7 | PARENB | CRTSCTS;
    makeRaw(terminal);
    EXPECT_EQ(terminal.c_iflag & (ISTRIP | INLCR | IGNCR | ICRNL | IXON | IXOFF | IXANY | PARMRK | BRKINT), 0U);
    EXPECT_EQ(terminal.c_oflag & OPOST, 0U);
    EXPECT_EQ(terminal.c_lflag & (ECHO | ICANON | ISIG | IEXTEN), 0U);
    EXPECT_EQ(terminal.c_cflag, static_cast<tcflag_t>(B9600 | CS8 | CREAD | CLOCAL | HUPCL));
    EXPECT_EQ(terminal.c_cc[VMIN], 1);
    EXPECT_EQ(terminal.c_cc[VTIME], 0);
}

}  // namespace
}  // namespace mova
