#include "cli/PortList.h"
#include "platform/Platform.h"

namespace mova::cli {

Platform& listingPlatform() { return nativePlatform(); }

std::string deviceOf(std::int32_t number) { return "\\\\.\\COM" + std::to_string(number); }

std::optional<UsbIdentity> usbIdentityOf(const std::string&, const std::string& treePath) {
    return usbIdentityInTree(treePath);
}

// Windows gives every serial port a number.
std::vector<ListedPort> portsWithoutNumber(const std::vector<ListedPort>&) { return {}; }

std::string noPortsHint() {
    return "plug the handset or its adapter in, and see that its driver is installed (Device Manager); --port sim is a "
           "simulated handset";
}

}  // namespace mova::cli
