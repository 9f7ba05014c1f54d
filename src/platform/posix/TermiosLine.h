// These functions turn line settings into the terminal settings of Linux and back. Any baud rate can be set, not only
// the named ones.
//
// What has no counterpart here is left to whoever keeps the settings: DTR/DSR flow control, DSR sensitivity, error and
// event characters, abort on error, the XON/XOFF limits. CTS flow control and RTS handshake are one switch on Linux.
#pragma once
#include "platform/SerialDriver.h"

struct termios2;

namespace mova {

// A raw terminal passes bytes as they are: no echo, no signals, no flow control, 8 data bits, no parity. Its receiver
// is on, the carrier is ignored, and the modem lines drop at the last close. The baud rate stays.
void makeRaw(termios2& terminal);

// isPossible() is false when the settings name a byte size, parity, stop-bit code or baud rate that does not exist.
bool isPossible(const LineSettings& settings);
// What a device's divisor may be off; more is another rate.
bool isNearRate(std::uint32_t actual, std::uint32_t wanted);
void putSettings(const LineSettings& settings, termios2& terminal);
// takeSettings() fills baud rate, byte size, parity, stop bits and the two flow-control characters.
void takeSettings(const termios2& terminal, LineSettings& settings);

// These work on an open terminal and give errno, or 0. applySettings() leaves the old settings in force when it fails,
// also when the device can only come up with another rate.
int makeTerminalRaw(int descriptor);
int readSettings(int descriptor, LineSettings& settings);
int applySettings(int descriptor, const LineSettings& settings);

}  // namespace mova
