// Every port that the system has: those with a number, as the component finds them, and on Linux serial devices
// without one.
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/UsbIdentity.h"
#include "device/PortDiscovery.h"

namespace mova::cli {

struct ListedPort {
    std::optional<std::int32_t> number;
    std::string device;
    std::string driver;  // friendly name
    CardType card = kCardUnknown;
    std::optional<UsbIdentity> usb;  // none: not on USB
};

std::vector<ListedPort> listPorts();  // by number, then those without

// --- of the system

Platform& listingPlatform();                // where ports are looked for
std::string deviceOf(std::int32_t number);  // what the number stands for
// treePath: of the port's entry in the device tree, empty for one without a number.
std::optional<UsbIdentity> usbIdentityOf(const std::string& device, const std::string& treePath);
std::vector<ListedPort> portsWithoutNumber(const std::vector<ListedPort>& numbered);
std::string noPortsHint();
#ifndef _WIN32
std::string deviceFolder();  // where port n is the link COMn
#endif

}  // namespace mova::cli
