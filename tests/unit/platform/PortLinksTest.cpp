// What ports are called, and where they are.
#include <gtest/gtest.h>

#include "platform/posix/PortLinks.h"

namespace mova {
namespace {

TEST(PortLinks, APortOfTheFolderIsCalledByItsNumber) {
    const PortLinks links("/dev");
    EXPECT_EQ(links.nameOf(1), "COM1");
    EXPECT_EQ(links.nameOf(7), "COM7");
    EXPECT_EQ(links.pathOf("COM7"), "/dev/COM7");
    EXPECT_TRUE(links.isName("COM7"));
    EXPECT_FALSE(links.isName("ttyUSB0"));
}

TEST(PortLinks, ADeviceByItsPathIsCalledAfterThePath) {
    const struct {
        const char* path;
        const char* name;
    } kCases[] = {{"/dev/ttyUSB0", "ttyUSB0"},
                  {"/dev/pts/5", "pts/5"},
                  {"/dev/serial/by-id/usb-FTDI_A50285BI-if00-port0", "serial/by-id/usb-FTDI_A50285BI-if00-port0"},
                  {"/tmp/station/left", "left"},
                  {"/tmp/station/./left", "left"},
                  {"/tmp/two words (left)\\\x1b", "two_words__left___"},
                  {"/tmp/a-name-that-is-longer-than-the-room-that-a-friendly-name-leaves",
                   "-longer-than-the-room-that-a-friendly-name-leaves"}};
    for (const auto& [path, name] : kCases) {
        const PortLinks links = PortLinks::only(path);
        EXPECT_EQ(links.nameOf(1), name);
        EXPECT_EQ(links.pathOf(name), path);
        EXPECT_TRUE(links.isName(name));
        EXPECT_EQ(links.names(), std::vector<std::string>{name});
    }
}

TEST(PortLinks, TheOnlyDeviceIsPort1) {
    const PortLinks links = PortLinks::only("/dev/ttyUSB0");
    EXPECT_EQ(links.nameOf(2), "COM2");
    EXPECT_EQ(links.pathOf("COM2"), "");
    EXPECT_EQ(links.pathOf("COM1"), "");
    EXPECT_FALSE(links.isName("COM1"));
}

}  // namespace
}  // namespace mova
