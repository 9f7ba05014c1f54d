#include "platform/posix/SysfsKeyTree.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <set>

#include "platform/posix/FileDescriptor.h"

namespace mova {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kRoot = "SYSTEM\\CurrentControlSet\\Enum";
constexpr std::size_t kPortDepth = 3;  // bus, driver, port

struct DriverRow {
    std::string_view driver;
    std::string_view name;
};
constexpr std::array kDriverNames{
    DriverRow{"serial8250", "Communications Port"},
    DriverRow{"serial", "Communications Port"},
    DriverRow{"pnp", "Communications Port"},
    DriverRow{"ftdi_sio", "USB Serial Port"},
    DriverRow{"cp210x", "Silicon Labs CP210x USB to UART Bridge"},
    DriverRow{"pl2303", "Prolific USB-to-Serial Comm Port"},
    DriverRow{"ch341", "USB-SERIAL CH340"},
    DriverRow{"ch341-uart", "USB-SERIAL CH340"},
    DriverRow{"mxser", "MOXA Communication Port"},
    DriverRow{"moxa", "MOXA Communication Port"},
};

// Devices of this bus only stand between a port and the device that drives it; newer kernels insert them.
constexpr std::string_view kInnerBus = "serial-base";

constexpr unsigned kFirstPseudoTerminalMajor = 136;
constexpr unsigned kLastPseudoTerminalMajor = 143;

// Readers of a name have room for 255 bytes, of which "(COMn)" and the terminating zero take their share.
constexpr std::size_t kProductTextMax = 200;

std::vector<std::string_view> split(std::string_view path) {
    std::vector<std::string_view> names;
    while (!path.empty()) {
        const auto end = std::min(path.find('\\'), path.size());
        names.push_back(path.substr(0, end));
        path.remove_prefix(std::min(end + 1, path.size()));
    }
    return names;
}

fs::path realPath(const fs::path& path) {
    std::error_code failed;
    const fs::path real = fs::canonical(path, failed);
    return failed ? fs::path() : real;
}

bool isPseudoTerminal(const fs::path& device) {
    struct stat status {};
    return stat(device.c_str(), &status) == 0 && S_ISCHR(status.st_mode) &&
           major(status.st_rdev) >= kFirstPseudoTerminalMajor && major(status.st_rdev) <= kLastPseudoTerminalMajor;
}

// The text of an attribute is its first line, without what no name should hold.
std::string attribute(const fs::path& file) {
    const FileDescriptor opened(uninterrupted([&] { return ::open(file.c_str(), O_RDONLY | O_CLOEXEC); }));
    if (!opened) return {};
    char bytes[kProductTextMax];
    const auto got = uninterrupted([&] { return ::read(opened.get(), bytes, sizeof bytes); });
    std::string text(bytes, got > 0 ? static_cast<std::size_t>(got) : 0);
    text.erase(std::min(text.find_first_of(std::string_view("\r\n\0", 3)), text.size()));
    return text;
}

// These facts are what the folders of a device and of those that it hangs on say.
struct DeviceFacts {
    std::string driver;
    std::string product;
    bool onUsb = false;
};

std::string driverOf(const fs::path& folder) {
    const fs::path driver = realPath(folder / "driver");
    const bool inner = driver.parent_path().parent_path().filename() == kInnerBus;
    return inner ? std::string() : driver.filename().string();
}

DeviceFacts factsOf(const fs::path& device, const fs::path& sysDir) {
    DeviceFacts facts;
    std::string interface;
    for (fs::path folder = device; folder != sysDir && folder.has_relative_path(); folder = folder.parent_path()) {
        if (facts.driver.empty()) facts.driver = driverOf(folder);
        if (interface.empty()) interface = attribute(folder / "interface");
        std::error_code failed;
        if (!fs::exists(folder / "product", failed) && !fs::exists(folder / "idVendor", failed)) continue;
        facts.onUsb = true;
        facts.product = attribute(folder / "product");
        if (facts.product.empty()) facts.product = interface;
        break;  // further up there are only hubs
    }
    return facts;
}

std::string nameOf(const DeviceFacts& facts, const fs::path& device) {
    for (const DriverRow& row : kDriverNames) {
        if (row.driver == facts.driver) return std::string(row.name);
    }
    if (!facts.product.empty()) return facts.product;
    if (!facts.driver.empty()) return facts.driver;
    return isPseudoTerminal(device) ? "Pseudo-terminal" : device.filename().string();
}

std::string zeroTerminated(std::string text) {
    text.push_back('\0');
    return text;
}

}  // namespace

std::optional<SysfsKeyTree::PortEntry> SysfsKeyTree::portEntry(const std::string& link) const {
    const fs::path path = links_.pathOf(link);
    if (PortLinks::isRemote(path)) return PortEntry{"ROOT", "rfc2217", link, "Remote Port (" + link + ")"};
    const fs::path device = realPath(path);
    if (device.empty()) return std::nullopt;  // the device is unplugged
    const fs::path sysDevice = realPath(sysDir_ / "class/tty" / device.filename() / "device");
    const DeviceFacts facts = factsOf(sysDevice, realPath(sysDir_));
    return PortEntry{facts.onUsb ? "USB" : "ROOT", facts.driver.empty() ? "tty" : facts.driver, link,
                     nameOf(facts, device) + " (" + link + ")"};
}

std::optional<SysfsKeyTree::OpenKey> SysfsKeyTree::portKey(const std::vector<std::string_view>& names) const {
    const std::string link(names[2]);
    const auto entry = links_.isName(link) ? portEntry(link) : std::nullopt;
    if (!entry || entry->bus != names[0] || entry->driver != names[1]) return std::nullopt;
    OpenKey key;
    key.values["FriendlyName"] = zeroTerminated(entry->friendlyName);
    key.values["UpperFilters"] = zeroTerminated("serenum");
    return key;
}

std::optional<SysfsKeyTree::OpenKey> SysfsKeyTree::folderKey(const std::vector<std::string_view>& names) const {
    std::set<std::string> subkeys;
    for (const std::string& link : links_.names()) {
        const auto entry = portEntry(link);
        if (!entry) continue;
        const std::string* const path[kPortDepth] = {&entry->bus, &entry->driver, &entry->link};
        const bool below = std::equal(names.begin(), names.end(), path,
                                      [](std::string_view name, const std::string* level) { return name == *level; });
        if (below) subkeys.insert(*path[names.size()]);
    }
    if (subkeys.empty() && !names.empty()) return std::nullopt;
    OpenKey key;
    key.subkeys.assign(subkeys.begin(), subkeys.end());
    return key;
}

KeyTree::Key SysfsKeyTree::open(const std::string& path, KeyAccess access) {
    std::string_view below = path;
    if (!below.starts_with(kRoot)) return kNoKey;
    below.remove_prefix(kRoot.size());
    if (!below.empty() && below.front() != '\\') return kNoKey;
    below.remove_prefix(std::min<std::size_t>(1, below.size()));
    const auto names = split(below);
    if (names.size() > kPortDepth) return kNoKey;
    auto key = names.size() == kPortDepth ? portKey(names) : folderKey(names);
    if (!key) return kNoKey;
    key->access = access;
    const LockGuard guard(mutex_);
    open_[++lastKey_] = std::move(*key);
    return lastKey_;
}

const SysfsKeyTree::OpenKey* SysfsKeyTree::find(Key key) const {
    const auto found = open_.find(key);
    return found == open_.end() ? nullptr : &found->second;
}

bool SysfsKeyTree::subkey(Key key, std::uint32_t index, std::string& name) {
    const LockGuard guard(mutex_);
    const OpenKey* const opened = find(key);
    if (opened == nullptr || opened->access != KeyAccess::Read || index >= opened->subkeys.size()) return false;
    name = opened->subkeys[index];
    return true;
}

bool SysfsKeyTree::value(Key key, const std::string& name, void* buffer, std::size_t& size) {
    const LockGuard guard(mutex_);
    const OpenKey* const opened = find(key);
    if (opened == nullptr) return false;
    const auto found = opened->values.find(name);
    if (found == opened->values.end() || found->second.size() > size) return false;
    size = found->second.size();
    std::memcpy(buffer, found->second.data(), size);
    return true;
}

void SysfsKeyTree::close(Key key) {
    const LockGuard guard(mutex_);
    open_.erase(key);
}

}  // namespace mova
