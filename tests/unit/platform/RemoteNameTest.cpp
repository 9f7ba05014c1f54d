#include <gtest/gtest.h>

#include "platform/posix/RemoteName.h"

namespace mova {
namespace {

std::string partsOf(const char* name) {
    const auto parts = remoteNameOf(name);
    return parts ? parts->host + " " + parts->port : "none";
}

TEST(RemoteName, IsAHostAndAPort) {
    EXPECT_EQ(partsOf("lab1:4001"), "lab1 4001");
    EXPECT_EQ(partsOf("lab-1.example.org:1"), "lab-1.example.org 1");
    EXPECT_EQ(partsOf("lab_1:65535"), "lab_1 65535");
    EXPECT_EQ(partsOf("192.0.2.7:4001"), "192.0.2.7 4001");
}

TEST(RemoteName, AnAddressWithColonsIsInBrackets) {
    EXPECT_EQ(partsOf("[2001:db8::7]:4001"), "2001:db8::7 4001");
    EXPECT_EQ(partsOf("[fe80::1%eth0]:4001"), "fe80::1%eth0 4001");
    EXPECT_EQ(partsOf("2001:db8::7:4001"), "none");
    EXPECT_EQ(partsOf("[]:4001"), "none");
    EXPECT_EQ(partsOf("[2001:db8::7:4001"), "none");
}

TEST(RemoteName, APathIsNone) {
    for (const char* path : {"/dev/ttyUSB0", "/dev/serial/by-path/pci-0000:00:14.0-usb-0:1:1.0-port0", "./lab1:4001",
                             "/tmp/lab1:4001", "COM7", "7", "\\\\.\\COM7", ""}) {
        EXPECT_EQ(partsOf(path), "none") << path;
    }
}

TEST(RemoteName, ThePortIsANumberFrom1To65535) {
    for (const char* name : {"lab1:", "lab1:0", "lab1:00000", "lab1:65536", "lab1:99999", "lab1:100000", "lab1:4001x",
                             "lab1:-1", "lab1: 1", ":4001", "lab1:4001:"}) {
        EXPECT_EQ(partsOf(name), "none") << name;
    }
}

// The library that takes the name gives these characters meanings of its own.
TEST(RemoteName, AHostHasNoOtherCharacters) {
    for (const char* name : {"lab1,lab2:4001", "tcp(x):4001", "lab 1:4001", "lab1\n:4001", "a=b:4001", "l\xFC:4001"}) {
        EXPECT_EQ(partsOf(name), "none") << name;
    }
}

}  // namespace
}  // namespace mova
