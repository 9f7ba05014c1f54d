#include "cli/PortList.h"

#include <algorithm>
#include <array>
#include <map>

#include "platform/Platform.h"

namespace mova::cli {

namespace {

constexpr const char* kDevices = "SYSTEM\\CurrentControlSet\\Enum";
constexpr int kPortDepth = 3;        // enumerator, device, instance
constexpr int kParametersDepth = 4;  // a USB device's parameters lie below its instance

// The number in "(COMn)" or, a whole name, "COMn".
std::optional<std::int32_t> numberIn(const std::string& text, const std::string& before) {
    const auto at = text.find(before + "COM");
    if (at == text.npos) return std::nullopt;
    std::uint32_t number = 0;
    for (std::size_t i = at + before.size() + 3; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
        number = std::min(number * 10 + static_cast<std::uint32_t>(text[i] - '0'), kLastPort + 1);
    }
    return number > 0 && number <= kLastPort ? std::optional(static_cast<std::int32_t>(number)) : std::nullopt;
}

std::string valueOf(KeyTree& keys, KeyTree::Key key, const char* name) {
    std::array<char, 512> buffer{};
    std::size_t size = buffer.size() - 1;
    return keys.value(key, name, buffer.data(), size) ? std::string(buffer.data()) : std::string();
}

// Every number that any device's entry names, with the first such entry below kDevices; whether it counts is the
// discovery's to say.
// NOLINTNEXTLINE(misc-no-recursion): kParametersDepth deep at most
void collectNumbers(KeyTree& keys, const std::string& path, int depth, std::map<std::int32_t, std::string>& numbers) {
    const KeyTree::Key key = keys.open(path, KeyAccess::Read);
    if (key == KeyTree::kNoKey) return;
    const std::string entry = path.substr(std::min(std::string_view(kDevices).size() + 1, path.size()));
    if (const auto number = numberIn(valueOf(keys, key, "FriendlyName"), "(")) numbers.emplace(*number, entry);
    if (const auto number = numberIn(valueOf(keys, key, "PortName"), "")) numbers.emplace(*number, entry);
    std::string name;
    for (std::uint32_t index = 0; depth > 0 && keys.subkey(key, index, name); ++index) {
        const bool parameters = depth > kParametersDepth - kPortDepth || name == "Device Parameters";
        if (parameters) collectNumbers(keys, std::string(path).append("\\").append(name), depth - 1, numbers);
    }
    keys.close(key);
}

}  // namespace

std::vector<ListedPort> listPorts() {
    Platform& platform = listingPlatform();
    std::map<std::int32_t, std::string> numbers;
    collectNumbers(platform.keys, kDevices, kParametersDepth, numbers);
    std::vector<ListedPort> ports;
    for (const auto& [number, entry] : numbers) {
        ListedPort port;
        port.number = number;
        port.card = PortDiscovery(platform).lookUp(static_cast<std::uint32_t>(number), port.driver);
        if (port.card == kCardNotFound) continue;
        port.device = deviceOf(number);
        port.usb = usbIdentityOf(port.device, entry);
        ports.push_back(std::move(port));
    }
    for (ListedPort& port : portsWithoutNumber(ports)) ports.push_back(std::move(port));
    return ports;
}

}  // namespace mova::cli
