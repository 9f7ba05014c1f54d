#include <algorithm>
#include <filesystem>
#include <fstream>

#include "cli/PortList.h"
#include "cli/PortTarget.h"
#include "platform/posix/PosixFolders.h"
#include "platform/posix/PosixPlatform.h"

namespace mova::cli {

namespace fs = std::filesystem;

std::string deviceFolder() { return deviceDir(); }

namespace {

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
    const PosixOptions usual;  // where the kernel's own names are, whatever the user's folder of links
    for (fs::directory_iterator entry(usual.sysDir + "/class/tty", failed), end; !failed && entry != end;
         entry.increment(failed)) {
        const std::string device = usual.deviceDir + "/" + entry->path().filename().string();
        if (hasHardware(entry->path()) && fs::exists(device, failed)) devices.push_back(device);
    }
    std::sort(devices.begin(), devices.end());
    return devices;
}

}  // namespace

std::string deviceOf(std::int32_t number) {
    const fs::path path = PortLinks(deviceFolder()).pathOf("COM" + std::to_string(number));
    if (PortLinks::isRemote(path)) return path.string();
    std::error_code failed;
    const fs::path device = fs::canonical(path, failed);
    return failed ? std::string() : device.string();
}

std::vector<ListedPort> portsWithoutNumber(const std::vector<ListedPort>& numbered) {
    std::vector<ListedPort> ports;
    for (const std::string& device : serialDevices()) {
        const bool known =
            std::any_of(numbered.begin(), numbered.end(), [&](const auto& p) { return p.device == device; });
        if (known) continue;
        ListedPort port;
        port.device = device;
        PortTarget target(device);  // the name as the component would find it
        port.card = PortDiscovery(target.platform()).lookUp(static_cast<std::uint32_t>(target.number()), port.driver);
        port.driver.resize(std::min(port.driver.rfind(" (COM"), port.driver.size()));
        if (port.card != kCardNotFound) ports.push_back(std::move(port));
    }
    return ports;
}

std::string noPortsHint() {
    return "plug the handset or its adapter in; a pseudo-terminal (mova-handset --link PATH) is named by its path: "
           "--port PATH";
}

}  // namespace mova::cli
