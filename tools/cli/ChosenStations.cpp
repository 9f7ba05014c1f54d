#include "cli/ChosenStations.h"

#include <algorithm>
#include <filesystem>
#include <map>

#include "base/Text.h"
#include "cli/Failure.h"
#include "cli/ParseNumber.h"
#include "cli/PortList.h"
#include "cli/PortTarget.h"
#include "cli/ScriptText.h"
#include "cli/SplitText.h"
#include "device/PortDiscovery.h"

namespace mova::cli {

namespace {

// The device, by whatever name it is called; of one that is not there the name.
std::string deviceNamed(const std::string& port) {
    const std::int32_t number = portNumberOf(port);
    if (number > 0) {
        const std::string device = deviceOf(number);
        return device.empty() ? "COM" + std::to_string(number) : device;
    }
    std::error_code failed;
    const std::string device = std::filesystem::canonical(port, failed).string();
    return failed ? port : device;
}

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

void addPort(const std::string& text, std::vector<Station>& chosen) {
    const auto add = [&](const std::string& name, const std::string& port) {
        Station station;
        station.name = name;
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
        const auto [other, first] = taken.emplace(deviceNamed(station.port), station.name);
        if (first) continue;
        const bool twice = other->second == station.name;
        failUsage(twice ? station.name + " is named twice"
                        : other->second + " and " + station.name + " have the same port: " + station.port,
                  "one handset takes one script at a time");
    }
    return chosen;
}

}  // namespace mova::cli
