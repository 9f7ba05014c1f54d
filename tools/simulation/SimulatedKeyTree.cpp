#include "simulation/SimulatedKeyTree.h"

#include <array>
#include <cstring>

namespace mova::simulation {

namespace {

constexpr std::array<std::string_view, 4> kWayDown{"SYSTEM\\CurrentControlSet\\Enum", "ROOT", "Simulation", kPortName};

std::string valueCalled(const std::string& name) {
    if (name == "FriendlyName") return "Simulated Handset (" + std::string(kPortName) + ")";
    return name == "UpperFilters" ? "serenum" : std::string();  // what the discovery asks of a port's device
}

}  // namespace

KeyTree::Key SimulatedKeyTree::open(const std::string& path, KeyAccess) {
    std::string here;
    for (std::size_t depth = 0; depth < kWayDown.size(); ++depth) {
        here.append(depth > 0 ? "\\" : "").append(kWayDown[depth]);
        if (path == here) return depth + 1;
    }
    return kNoKey;
}

bool SimulatedKeyTree::subkey(Key key, std::uint32_t index, std::string& name) {
    if (index > 0 || key >= kWayDown.size()) return false;
    name = kWayDown[key];
    return true;
}

bool SimulatedKeyTree::value(Key key, const std::string& name, void* buffer, std::size_t& size) {
    const std::string text = key == kWayDown.size() ? valueCalled(name) : std::string();
    if (text.empty() || text.size() + 1 > size) return false;
    size = text.size() + 1;
    std::memcpy(buffer, text.c_str(), size);
    return true;
}

}  // namespace mova::simulation
