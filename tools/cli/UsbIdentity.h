// By what a USB adapter, and each port on it, is told from all others.
#pragma once
#include <optional>
#include <string>
#include <string_view>

namespace mova::cli {

struct UsbIdentity {
    std::string vendor;   // four hexadecimal digits, small letters
    std::string product;  // the same
    std::string serial;   // empty: it has none
    std::string name;     // the product's own

    // Linux.
    std::string socket;           // where it is plugged in, as the kernel counts: "1-1.2"
    std::string interfaceNumber;  // the port's, two digits; empty: not told
    std::string portIndex;        // among those of the interface; empty: the only one
    std::string byId;             // the link below /dev/serial/by-id; empty: none
};

// Windows: of a device by its path below Enum, "USB\VID_0403&PID_6001\A50285BI" or as a bus driver writes it,
// "FTDIBUS\VID_0403+PID_6001+A50285BIA\0000". None: it is not on USB.
std::optional<UsbIdentity> usbIdentityInTree(std::string_view path);

}  // namespace mova::cli
