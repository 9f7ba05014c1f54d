// How a USB adapter is read off the device tree of Windows. On Linux sysfs tells it: test_ports.py.
#include <gtest/gtest.h>

#include "cli/UsbIdentity.h"

namespace mova::cli {
namespace {

TEST(UsbIdentityInTree, OfAUsbDeviceIsItsVendorProductAndSerialNumber) {
    const auto usb = usbIdentityInTree("USB\\VID_10C4&PID_EA60\\0001\\Device Parameters");
    ASSERT_TRUE(usb);
    EXPECT_EQ(usb->vendor, "10c4");
    EXPECT_EQ(usb->product, "ea60");
    EXPECT_EQ(usb->serial, "0001");
}

TEST(UsbIdentityInTree, AnInstanceThatTheSystemMadeUpIsNoSerialNumber) {
    EXPECT_EQ(usbIdentityInTree("USB\\VID_067B&PID_2303\\5&1A2B3C&0&2")->serial, "");
    EXPECT_EQ(usbIdentityInTree("USB\\VID_12D1&PID_1001&MI_00\\6&2F1&0&0000")->serial, "");
}

TEST(UsbIdentityInTree, ABusDriversDeviceEndsInTheLetterOfItsPort) {
    const auto usb = usbIdentityInTree("FTDIBUS\\VID_0403+PID_6001+A50285BIA\\0000");
    ASSERT_TRUE(usb);
    EXPECT_EQ(usb->vendor + ":" + usb->product, "0403:6001");
    EXPECT_EQ(usb->serial, "A50285BI");
}

TEST(UsbIdentityInTree, WhatIsNotOnUsbHasNone) {
    EXPECT_FALSE(usbIdentityInTree("ACPI\\PNP0501\\1"));
    EXPECT_FALSE(usbIdentityInTree("USB\\VID_10C4\\1"));
    EXPECT_FALSE(usbIdentityInTree("USB\\VID_10C&PID_EA60\\1"));
    EXPECT_FALSE(usbIdentityInTree("USB"));
}

}  // namespace
}  // namespace mova::cli
