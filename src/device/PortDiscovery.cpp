#include "device/PortDiscovery.h"

#include <array>
#include <cstring>

#include "base/Text.h"

namespace mova {

namespace {

struct DriverRow {
    const char* prefix;
    CardType card;
};

constexpr const char* kSyncCableName = "Microsoft USB Sync";

// Friendly names as the drivers write them; the first row with which a name begins decides.
constexpr std::array kDrivers{
    DriverRow{"Communication Port", 1},
    DriverRow{"Communications Port", 1},
    DriverRow{"RocketPort Port", 1},
    DriverRow{"\xB3\x71\xB0\x54\xB3\x73\xB1\xB5\xB0\xF0", 1},  // a communications port on a traditional-Chinese system
    DriverRow{"Prolific USB-to-Serial Comm Port", 1},
    DriverRow{"PCI Serial 16850", 2},
    DriverRow{"PCI Serial 16550", 2},
    DriverRow{"MosChip PCI Serial Port", 3},
    DriverRow{"MOXA Communication Port", 4},
    DriverRow{"Silicon Labs CP210x USB to UART Bridge", 5},
    DriverRow{"USB to Serial Port", 5},
    DriverRow{"Nokia USB Modem", 6},
    DriverRow{"SAMSUNG Mobile USB Modem", 6},
    DriverRow{"Motorola USB Modem", 6},
    DriverRow{"Qualcomm HS-USB", 6},
    DriverRow{"HUAWEI Mobile Connect", 6},
    DriverRow{"USB Serial Port", 6},
    DriverRow{"USB-SERIAL CH340", 5},
    DriverRow{kSyncCableName, 6},
};

constexpr std::uint32_t kFirstSyncCablePort = 4096;
constexpr const char* kDevices = "SYSTEM\\CurrentControlSet\\Enum";
constexpr const char* kUsbDevices = "SYSTEM\\CurrentControlSet\\Enum\\USB";
constexpr const char* kLegacyDevices = "Enum";
constexpr int kDeviceDepth = 3;  // enumerator, device, instance

constexpr std::size_t kTextValueSize = 255;
constexpr std::size_t kSearchValueSize = 500;

class OpenKey {
public:
    OpenKey(KeyTree& keys, const std::string& path, KeyAccess access) : keys_(keys), key_(keys.open(path, access)) {}
    ~OpenKey() {
        if (key_ != KeyTree::kNoKey) keys_.close(key_);
    }
    OpenKey(const OpenKey&) = delete;
    OpenKey& operator=(const OpenKey&) = delete;
    explicit operator bool() const { return key_ != KeyTree::kNoKey; }
    KeyTree::Key get() const { return key_; }

private:
    KeyTree& keys_;
    KeyTree::Key key_;
};

// The value's text up to its first zero byte: of a multi-string value the first string.
template <std::size_t Size>
bool readValue(KeyTree& keys, KeyTree::Key key, const char* name, std::string& text) {
    std::array<char, Size + 1> buffer{};
    std::size_t size = Size;
    if (!keys.value(key, name, buffer.data(), size)) return false;
    text = buffer.data();
    return true;
}

}  // namespace

int matchText(std::string_view text, std::string_view pattern, bool ignoreCase) {
    const auto position = ignoreCase ? upperCase(text).find(upperCase(pattern)) : text.find(pattern);
    return position == text.npos ? -1 : static_cast<int>(position);
}

CardType classifyDriver(const std::string& driverName) {
    for (const DriverRow& row : kDrivers) {
        if (matchText(driverName, row.prefix, false) == 0) return row.card;
    }
    return kCardUnknown;
}

TreeFamily treeFamily(const SystemVersion& version) {
    if (version.platformId <= 1) return TreeFamily::Legacy;
    if (version.major == 5 && version.minor == 1) return TreeFamily::Xp;
    if (version.major == 6) return TreeFamily::Vista;
    return TreeFamily::Nt;
}

CardType PortDiscovery::lookUp(std::uint32_t portNumber, std::string& driverName) {
    if (portNumber >= kFirstSyncCablePort) {
        driverName = kSyncCableName;
        return classifyDriver(driverName);
    }
    const TreeFamily family = treeFamily(host_.systemVersion());
    std::string path;
    // Deliberate: on one family only, devices without an active device reference are passed over.
    for (int attempt = 0;; ++attempt) {
        if (!findDevice(family, portNumber, attempt, path)) return kCardNotFound;
        if (family != TreeFamily::Nt || hasActiveDevice(path)) break;
    }
    readText(path, "FriendlyName", driverName);
    return classifyDriver(driverName);
}

bool PortDiscovery::findDevice(TreeFamily family, std::uint32_t portNumber, int skip, std::string& path) {
    const std::string name = serial_.portName(portNumber);
    const std::string marked = "(" + name + ")";
    if (family == TreeFamily::Legacy) {
        Search byName{"FriendlyName", marked, skip, false, false};
        return findKey(kLegacyDevices, kDeviceDepth, byName, path);
    }
    Search byName{"FriendlyName", marked, skip, false, true};
    if (findKey(kDevices, kDeviceDepth, byName, path)) return true;
    // Kept as it is: without parentheses the name of port 1 also matches a port named COM11.
    Search byPort{"PortName", name, byName.skip, false, false};
    if (!findKey(kUsbDevices, kDeviceDepth, byPort, path)) return false;
    path.erase(path.rfind('\\'));  // from the parameters key up to the device's own
    return true;
}

// NOLINTNEXTLINE(misc-no-recursion): kDeviceDepth deep at most
bool PortDiscovery::findKey(const std::string& path, int depth, Search& search, std::string& found) {
    if (search.pattern.empty()) return false;
    const OpenKey key(keys_, path, KeyAccess::Read);
    if (!key) return false;
    if (depth < 1) {
        if (!matchesLeaf(key.get(), search)) return false;
        found = path;
        return true;
    }
    std::string name;
    for (std::uint32_t index = 0; keys_.subkey(key.get(), index, name); ++index) {
        if (!findKey(std::string(path).append("\\").append(name), depth - 1, search, found)) continue;
        if (!search.serialEnumerator || hasSerialEnumerator(found)) return true;
    }
    return false;
}

bool PortDiscovery::matchesLeaf(KeyTree::Key key, Search& search) {
    std::string text;
    if (!readValue<kSearchValueSize>(keys_, key, search.valueName, text)) return false;
    if (matchText(text, search.pattern, search.ignoreCase) < 0) return false;
    if (search.skip > 0) {
        --search.skip;
        return false;
    }
    return true;
}

bool PortDiscovery::hasSerialEnumerator(const std::string& path) {
    std::string filter;
    return readText(path, "UpperFilters", filter) && filter == "serenum";
}

bool PortDiscovery::hasActiveDevice(const std::string& path) {
    const OpenKey key(keys_, path + "\\Control", KeyAccess::Query);
    if (!key) return false;
    std::uint32_t reference = 0;
    std::size_t size = sizeof reference;
    return keys_.value(key.get(), "DeviceReference", &reference, size) && reference != 0;
}

bool PortDiscovery::readText(const std::string& path, const char* valueName, std::string& text) {
    const OpenKey key(keys_, path, KeyAccess::Query);
    return key && readValue<kTextValueSize>(keys_, key.get(), valueName, text);
}

}  // namespace mova
