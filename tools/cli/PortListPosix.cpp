#include <algorithm>
#include <filesystem>
#include <fstream>

#include "base/Environment.h"
#include "cli/PortList.h"
#include "cli/PortTarget.h"
#include "platform/posix/PosixFolders.h"
#include "platform/posix/PosixPlatform.h"

namespace mova::cli {

namespace fs = std::filesystem;

std::string deviceFolder() { return deviceDir(); }

namespace {

// The folders that the system itself fills, whatever the user's folder of links.
const std::string& systemRoot() {
    static const std::string root = environmentOr(variable::kSystemRoot, "");
    return root;
}

PosixOptions listingOptions() {
    PosixOptions options;
    options.sysDir = systemRoot() + options.sysDir;
    options.deviceDir = systemRoot() + options.deviceDir;
    return options;
}

fs::path folderOfTerminal(const std::string& name) { return fs::path(listingOptions().sysDir) / "class/tty" / name; }

// The kernel keeps entries for boards that are not there; their type is 0.
bool hasHardware(const fs::path& entry) {
    std::error_code failed;
    if (!fs::exists(entry / "device", failed)) return false;
    std::ifstream file(entry / "type");
    int type = 1;
    return !(file >> type) || type != 0;
}

std::vector<std::string> serialDevices() {
    std::vector<std::string> devices;
    std::error_code failed;
    for (fs::directory_iterator entry(folderOfTerminal(""), failed), end; !failed && entry != end;
         entry.increment(failed)) {
        const std::string device = listingOptions().deviceDir + "/" + entry->path().filename().string();
        if (hasHardware(entry->path()) && fs::exists(device, failed)) devices.push_back(device);
    }
    std::sort(devices.begin(), devices.end());
    return devices;
}

std::string attributeIn(const fs::path& file) {
    std::string text;
    std::ifstream stream(file);
    std::getline(stream, text);
    return text;
}

// The link of the folder that leads to the device.
std::string linkTo(const std::string& device, const fs::path& folder) {
    std::error_code failed;
    for (fs::directory_iterator link(folder, failed), end; !failed && link != end; link.increment(failed)) {
        std::error_code broken;
        if (fs::canonical(link->path(), broken) == fs::path(device)) return link->path().string();
    }
    return {};
}

}  // namespace

Platform& listingPlatform() {
    // Not freed, as the native one.
    static PosixPlatform& platform = *[] {
        PosixOptions options = listingOptions();
        options.deviceDir = deviceFolder();
        return new PosixPlatform(options);
    }();
    return platform.platform();
}

std::string deviceOf(std::int32_t number) {
    const fs::path path = PortLinks(deviceFolder()).pathOf("COM" + std::to_string(number));
    if (PortLinks::isRemote(path)) return path.string();
    std::error_code failed;
    const fs::path device = fs::canonical(path, failed);
    return failed ? std::string() : device.string();
}

std::optional<UsbIdentity> usbIdentityOf(const std::string& device, const std::string&) {
    std::error_code failed;
    const fs::path root = fs::canonical(listingOptions().sysDir, failed);
    fs::path folder = fs::canonical(folderOfTerminal(fs::path(device).filename().string()) / "device", failed);
    UsbIdentity usb;
    for (; !failed && folder != root && folder.has_relative_path(); folder = folder.parent_path()) {
        if (usb.interfaceNumber.empty()) usb.interfaceNumber = attributeIn(folder / "bInterfaceNumber");
        if (usb.portIndex.empty()) usb.portIndex = attributeIn(folder / "port_number");
        usb.vendor = attributeIn(folder / "idVendor");
        if (usb.vendor.empty()) continue;
        usb.product = attributeIn(folder / "idProduct");
        usb.serial = attributeIn(folder / "serial");
        usb.name = attributeIn(folder / "product");
        usb.socket = folder.filename().string();
        usb.byId = linkTo(device, listingOptions().deviceDir + "/serial/by-id");
        return usb;
    }
    return std::nullopt;
}

std::vector<ListedPort> portsWithoutNumber(const std::vector<ListedPort>& numbered) {
    std::vector<ListedPort> ports;
    for (const std::string& device : serialDevices()) {
        const bool known =
            std::any_of(numbered.begin(), numbered.end(), [&](const auto& p) { return p.device == device; });
        if (known) continue;
        ListedPort port;
        port.device = device;
        PosixOptions options = listingOptions();
        options.device = device;  // port 1 then, as the component would find it
        PosixPlatform platform(options);
        port.card = PortDiscovery(platform.platform()).lookUp(1, port.driver);
        port.driver.resize(std::min(port.driver.rfind(" ("), port.driver.size()));
        port.usb = usbIdentityOf(device, {});
        if (port.card != kCardNotFound) ports.push_back(std::move(port));
    }
    return ports;
}

std::string noPortsHint() {
    return "plug the handset or its adapter in; a pseudo-terminal (mova-handset --link PATH) is named by its path: "
           "--port PATH; --port sim is a simulated handset";
}

}  // namespace mova::cli
