#include "cli/UdevRule.h"

#include <algorithm>

#include "cli/Failure.h"

namespace mova::cli {

namespace {

// A rule's values are patterns: what stands for something else there stands for any character.
std::string literal(const std::string& text) {
    std::string pattern = text;
    for (char& c : pattern) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte >= 0x7F || std::string_view("*?[]|\"\\").find(c) != std::string_view::npos) c = '?';
    }
    return pattern;
}

std::string test(const std::string& key, const std::string& value) {
    return ", " + key + "==\"" + literal(value) + "\"";
}

bool sameKind(const UsbIdentity& a, const UsbIdentity& b) {
    return a.vendor == b.vendor && a.product == b.product && a.serial == b.serial;
}

}  // namespace

UdevRule udevRule(std::int32_t number, const ListedPort& port, const std::vector<ListedPort>& all) {
    const std::string link = "COM" + std::to_string(number);
    if (!port.usb) {
        failUsage(port.device + " is not on USB: nothing tells it from other ports but its name",
                  "a link that stays is SUBSYSTEM==\"tty\", KERNEL==\"its name\", SYMLINK+=\"" + link + "\"");
    }
    const UsbIdentity& usb = *port.usb;
    const auto anyOther = [&](auto matches) {
        return std::any_of(all.begin(), all.end(), [&](const ListedPort& other) {
            return other.usb && other.device != port.device && matches(*other.usb);
        });
    };
    const bool twin =
        anyOther([&](const UsbIdentity& other) { return other.socket != usb.socket && sameKind(other, usb); });
    const bool severalPorts = anyOther([&](const UsbIdentity& other) { return other.socket == usb.socket; });
    const bool severalOnInterface = anyOther([&](const UsbIdentity& other) {
        return other.socket == usb.socket && other.interfaceNumber == usb.interfaceNumber;
    });
    const bool bySocket = usb.serial.empty() || twin;

    // What is asked of the parents must hold for one of them, the adapter: its interface is asked of the port's own
    // properties, which the system's rules have set before.
    std::string rule = "SUBSYSTEM==\"tty\"";
    if (bySocket) rule += test("KERNELS", usb.socket);
    rule += test("ATTRS{idVendor}", usb.vendor) + test("ATTRS{idProduct}", usb.product);
    if (!bySocket) rule += test("ATTRS{serial}", usb.serial);
    if (severalPorts && !usb.interfaceNumber.empty()) rule += test("ENV{ID_USB_INTERFACE_NUM}", usb.interfaceNumber);
    if (severalOnInterface && !usb.portIndex.empty()) rule += test("ENV{.ID_PORT}", usb.portIndex);
    rule += ", SYMLINK+=\"" + link + "\"";

    std::string remark = "# " + link + ": " + usb.vendor + ":" + usb.product + (usb.name.empty() ? "" : " " + usb.name);
    if (bySocket) {
        const char* const why = usb.serial.empty() ? "it has no serial number" : "another has its serial number";
        remark += ", plugged into " + usb.socket + ": " + why;
    } else {
        remark += ", serial number " + usb.serial;
    }
    return {remark, rule};
}

}  // namespace mova::cli
