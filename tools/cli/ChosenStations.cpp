#include "cli/ChosenStations.h"

#include <algorithm>
#include <map>

#include "base/Text.h"
#include "cli/Failure.h"
#include "cli/ParseNumber.h"
#include "cli/PortTarget.h"
#include "cli/ScriptText.h"
#include "cli/SplitText.h"
#include "device/PortDiscovery.h"
#include "simulation/SimulatedName.h"

namespace mova::cli {

namespace {

void addNamed(const std::string& pattern, std::vector<Station>& chosen) {
    if (pattern.find_first_of("*?") == pattern.npos) {
        chosen.push_back(stationNamed(pattern));
        return;
    }
    const std::size_t before = chosen.size();
    for (Station& station : readStations()) {
        if (matchesPattern(station.name, pattern, {})) chosen.push_back(std::move(station));
    }
    if (chosen.size() == before) failUsage("no station is called like " + pattern, "\"mova stations\" lists them");
}

// Simulated handsets are told apart by their places.
std::string nextName(const std::string& name, const std::vector<Station>& chosen) {
    const auto isTaken = [&](const std::string& wanted) {
        return std::any_of(chosen.begin(), chosen.end(),
                           [&](const Station& station) { return station.name == wanted; });
    };
    std::string next = name;
    for (int place = 2; isTaken(next); ++place) next = name + "." + std::to_string(place);
    return next;
}

void addPort(const std::string& text, std::vector<Station>& chosen) {
    const auto add = [&](const std::string& name, const std::string& port) {
        Station station;
        station.name = simulation::isSimulated(port) ? nextName(name, chosen) : name;
        station.port = port;
        chosen.push_back(std::move(station));
    };
    const auto ranges = parseRanges(text, kLastPort);
    if (!ranges) {
        const std::int32_t number = portNumberOf(text);
        return number > 0 ? add("COM" + std::to_string(number), std::to_string(number)) : add(text, text);
    }
    for (const NumberRange& range : *ranges) {
        if (range.first == 0) failUsage("--ports " + text + ": ports are numbered from 1");
        for (std::uint32_t n = range.first; n <= range.last; ++n) add("COM" + std::to_string(n), std::to_string(n));
    }
}

template <class Take>
void eachOf(const std::string& list, const char* option, Take take) {
    if (list.empty()) return;
    for (const std::string& part : splitAt(list, ',')) {
        const std::string name(trim(part));
        if (name.empty()) failUsage(std::string(option) + " " + list + ": a name is missing");
        take(name);
    }
}

}  // namespace

std::vector<Station> chosenStations(const std::string& names, const std::string& ports) {
    std::vector<Station> chosen;
    eachOf(names, "--stations", [&](const std::string& name) { addNamed(name, chosen); });
    eachOf(ports, "--ports", [&](const std::string& port) { addPort(port, chosen); });
    std::map<std::string, std::string> taken;  // by device
    for (const Station& station : chosen) {
        const std::string device = deviceNamed(station.port);
        const auto [other, first] = taken.emplace(device.empty() ? "of " + station.name : device, station.name);
        if (first) continue;
        const bool twice = other->second == station.name;
        failUsage(twice ? station.name + " is named twice"
                        : other->second + " and " + station.name + " have the same port: " + station.port,
                  "one handset takes one script at a time");
    }
    return chosen;
}

}  // namespace mova::cli
