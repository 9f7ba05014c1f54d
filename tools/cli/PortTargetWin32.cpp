#include "cli/PortTarget.h"
#include "device/PortDiscovery.h"
#include "mova/Codes.h"

namespace mova::cli {

void PortTarget::find() {
    number_ = portNumberOf(name_);
    if (number_ < 0) failUsage("\"" + name_ + "\" is no port", "name it by its number, as in --port 7 or --port COM7");
    platform_ = &nativePlatform();
    name_ = "COM" + std::to_string(number_);
}

// The device tree keeps what was unplugged, so the system is asked for the port itself.
bool PortTarget::isDeviceThere() {
    const PortHandle port = platform_->serial.open("\\\\.\\" + name_, true);
    return port != kInvalidPort && platform_->serial.close(port);
}

Failure PortTarget::whyNoDevice(Failure failure) {
    std::string driver;
    if (PortDiscovery(*platform_).lookUp(static_cast<std::uint32_t>(number_), driver) == kCardNotFound) {
        failure.message = "there is no port " + name_ + " in the device tree";
        failure.hint = "\"mova ports\" lists what is there; Device Manager shows ports under \"Ports (COM & LPT)\"";
    } else {
        failure.hint = "another program may hold it: close terminal programs and test programs that use " + name_;
    }
    return failure;
}

}  // namespace mova::cli
