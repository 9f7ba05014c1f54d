// The serial device alone on the scripted platform: COM7 under a USB adapter's name, overlapped, with a stop event and
// a sink that keeps its messages.
#pragma once
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "device/DeviceComm.h"
#include "support/RecordingCallBack.h"
#include "support/ScriptedPlatform.h"

namespace mova {

using Texts = std::vector<std::string>;

// What the system says of error 31, the failure plan's usual one.
inline const std::string kSystemText31 = "A device attached to the system is not functioning.\r\n(31)";

// Every port error bit with its text, in the order in which they are told.
struct PortErrorText {
    std::uint32_t bit;
    const char* text;
};
inline const std::vector<PortErrorText> kPortErrorTexts{
    {0x10, "The hardware detected a break condition."},
    {0x800, "Windows 95/98/Me: A parallel device is not selected."},
    {0x8, "The hardware detected a framing error."},
    {0x400, "An I/O error occurred during communications with the device."},
    {0x8000,
     "The requested mode is not supported, or the hFile parameter is invalid. If this value is specified, it is "
     "the only valid error."},
    {0x1000, "Windows 95/98/Me: A parallel device signaled that it is out of paper."},
    {0x2, "A character-buffer overrun has occurred. The next character is lost."},
    {0x200, "Windows 95/98/Me: A time-out occurred on a parallel device."},
    {0x1,
     "An input buffer overflow has occurred. There is either no room in the input buffer, or a character was "
     "received after the end-of-file (EOF) character."},
    {0x4, "The hardware detected a parity error."},
    {0x100, "The application tried to transmit a character, but the output buffer was full."},
};
inline const std::string kBreakText = "The hardware detected a break condition.";
inline const std::string kTooManyPasses = "ClearDeviceError Error More Than 10 Times";

inline Texts operator+(Texts left, const Texts& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}
inline Texts repeated(const std::string& text, std::size_t times) { return Texts(times, text); }

class DeviceCommTest : public ::testing::Test {
protected:
    DeviceCommTest() {
        device.setMessageSink(&sink);
        device.setOverlapped(true);
        device.setStopEvent(stop.get());
    }

    Code openCom7(std::uint32_t baudRate = 115200) {
        PortHandle handle = kInvalidPort;
        return device.openByNumber(7, baudRate, handle);
    }
    // Open, with everything noted so far forgotten.
    void openQuietly() {
        ASSERT_EQ(openCom7(), 0u);
        forget();
    }
    void forget() {
        sink.clear();
        platform.journal().clear();
        begun = platform.elapsed();
    }
    std::int64_t passed() const { return platform.elapsed() - begun; }
    Texts messages() const { return sink.messages(); }

    ScriptedPlatform platform;
    ScriptedPort& port = platform.withPort(7, "USB Serial Port (COM7)");
    std::unique_ptr<Event> stop = platform.threading().makeEvent();
    RecordingCallBack sink;
    std::int64_t begun = 0;
    DeviceComm device{platform};
};

}  // namespace mova
