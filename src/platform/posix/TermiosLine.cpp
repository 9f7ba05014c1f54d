#include "platform/posix/TermiosLine.h"

#include <asm/termbits.h>  // not <termios.h>: both define the same names, only this one has termios2
#include <sys/ioctl.h>

#include <array>
#include <cerrno>

namespace mova {

namespace {

struct ByteSizeRow {
    std::uint8_t bits;
    tcflag_t flag;
};
constexpr std::array kByteSizes{ByteSizeRow{5, CS5}, ByteSizeRow{6, CS6}, ByteSizeRow{7, CS7}, ByteSizeRow{8, CS8}};

// The parity code is the index: none, odd, even, mark, space.
constexpr tcflag_t kParityMask = PARENB | PARODD | CMSPAR;
constexpr std::array<tcflag_t, 5> kParities{0, PARENB | PARODD, PARENB, PARENB | PARODD | CMSPAR, PARENB | CMSPAR};

constexpr std::uint8_t kStopBitsMax = 2;
constexpr std::uint32_t kBaudTolerancePercent = 5;

void replace(tcflag_t& word, tcflag_t mask, tcflag_t bits) { word = (word & ~mask) | (bits & mask); }

void setRate(termios2& terminal, speed_t rate) {
    replace(terminal.c_cflag, CBAUD, BOTHER);
    replace(terminal.c_cflag, CIBAUD, 0);  // input as output
    terminal.c_ispeed = rate;
    terminal.c_ospeed = rate;
}

int getTerminal(int descriptor, termios2& terminal) { return ioctl(descriptor, TCGETS2, &terminal) == 0 ? 0 : errno; }
int setTerminal(int descriptor, const termios2& terminal) {
    return ioctl(descriptor, TCSETS2, &terminal) == 0 ? 0 : errno;
}

}  // namespace

void makeRaw(termios2& terminal) {
    terminal.c_iflag &= ~static_cast<tcflag_t>(IGNBRK | BRKINT | PARMRK | INPCK | ISTRIP | INLCR | IGNCR | ICRNL |
                                               IUCLC | IXON | IXOFF | IXANY);
    terminal.c_oflag &= ~static_cast<tcflag_t>(OPOST);
    terminal.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHONL | ICANON | ISIG | IEXTEN);
    replace(terminal.c_cflag, CSIZE | PARENB | CRTSCTS, CS8);
    terminal.c_cflag |= CREAD | CLOCAL | HUPCL;
    // A read without data is then refused, so that one of 0 bytes can only mean a hang-up.
    terminal.c_cc[VMIN] = 1;
    terminal.c_cc[VTIME] = 0;
}

bool isRate(std::uint32_t actual, std::uint32_t wanted) {
    // cppcheck-suppress unreadVariable ; it takes the type in braces below for a block
    const std::uint64_t off = actual > wanted ? actual - wanted : wanted - actual;
    return off * 100 <= std::uint64_t{wanted} * kBaudTolerancePercent;
}

bool isPossible(const LineSettings& settings) {
    return settings.baudRate != 0 &&  // here it would hang up
           settings.byteSize >= kByteSizes.front().bits && settings.byteSize <= kByteSizes.back().bits &&
           settings.parity < kParities.size() && settings.stopBits <= kStopBitsMax;
}

void putSettings(const LineSettings& settings, termios2& terminal) {
    setRate(terminal, settings.baudRate);
    for (const ByteSizeRow& row : kByteSizes) {
        if (row.bits == settings.byteSize) replace(terminal.c_cflag, CSIZE, row.flag);
    }
    replace(terminal.c_cflag, kParityMask, kParities.at(settings.parity));
    replace(terminal.c_cflag, CSTOPB, settings.stopBits != 0 ? CSTOPB : 0);
    const bool cts = (settings.flags & LineFlags::OutCtsFlow) != 0;
    const bool rts = (settings.flags & LineFlags::RtsControlMask) == LineFlags::RtsHandshake;
    replace(terminal.c_cflag, CRTSCTS, cts || rts ? CRTSCTS : 0);
    replace(terminal.c_iflag, IXON, (settings.flags & LineFlags::OutX) != 0 ? IXON : 0);
    replace(terminal.c_iflag, IXOFF, (settings.flags & LineFlags::InX) != 0 ? IXOFF : 0);
    terminal.c_cc[VSTART] = static_cast<cc_t>(settings.xonChar);
    terminal.c_cc[VSTOP] = static_cast<cc_t>(settings.xoffChar);
}

void takeSettings(const termios2& terminal, LineSettings& settings) {
    settings.baudRate = terminal.c_ospeed;
    for (const ByteSizeRow& row : kByteSizes) {
        if ((terminal.c_cflag & CSIZE) == row.flag) settings.byteSize = row.bits;
    }
    settings.parity = 0;
    if ((terminal.c_cflag & PARENB) != 0) {
        for (std::size_t code = 1; code < kParities.size(); ++code) {
            if ((terminal.c_cflag & kParityMask) == kParities.at(code))
                settings.parity = static_cast<std::uint8_t>(code);
        }
    }
    const std::uint8_t moreThanOne = settings.byteSize == 5 ? 1 : 2;  // of 5 data bits: one and a half
    settings.stopBits = (terminal.c_cflag & CSTOPB) != 0 ? moreThanOne : std::uint8_t{0};
    settings.xonChar = static_cast<char>(terminal.c_cc[VSTART]);
    settings.xoffChar = static_cast<char>(terminal.c_cc[VSTOP]);
}

int makeTerminalRaw(int descriptor) {
    termios2 terminal{};
    if (const int error = getTerminal(descriptor, terminal)) return error;
    makeRaw(terminal);
    return setTerminal(descriptor, terminal);
}

int readSettings(int descriptor, LineSettings& settings) {
    termios2 terminal{};
    if (const int error = getTerminal(descriptor, terminal)) return error;
    takeSettings(terminal, settings);
    return 0;
}

int applySettings(int descriptor, const LineSettings& settings) {
    if (!isPossible(settings)) return EINVAL;
    termios2 before{};
    if (const int error = getTerminal(descriptor, before)) return error;
    termios2 terminal = before;
    putSettings(settings, terminal);
    if (const int error = setTerminal(descriptor, terminal)) return error;
    if (const int error = getTerminal(descriptor, terminal)) return error;
    if (isRate(terminal.c_ospeed, settings.baudRate)) return 0;
    setTerminal(descriptor, before);
    return EINVAL;
}

}  // namespace mova
