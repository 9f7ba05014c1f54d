#include "cli/Stations.h"

#define TOML_EXCEPTIONS 0
#define TOML_ENABLE_FORMATTERS 0
#include <toml++/toml.h>

#include <algorithm>
#include <filesystem>

#include "base/Text.h"
#include "cli/ConfigFolder.h"
#include "cli/Failure.h"
#include "cli/HandsetSession.h"
#include "cli/PortTarget.h"
#include "cli/TextFile.h"
#include "device/PortDiscovery.h"
#include "program/Suggestion.h"

namespace mova::cli {

namespace {

constexpr const char* kExample = "a station is written as [left], below it port = 7, baud = 115200, timeout = 2000";

bool isStationName(std::string_view name) {
    const auto allowed = [](char c) {
        return (lowerCase(c) >= 'a' && lowerCase(c) <= 'z') || (c >= '0' && c <= '9') || c == '_' || c == '-' ||
               c == '.';
    };
    return !name.empty() && std::all_of(name.begin(), name.end(), allowed);
}

class StationReader {
public:
    explicit StationReader(const std::string& path) : path_(path) {}

    std::vector<Station> read(const std::string& text) const {
        const toml::parse_result parsed = toml::parse(text, path_);
        if (!parsed) fail(parsed.error().source(), std::string(parsed.error().description()));
        std::vector<std::pair<toml::source_position, Station>> found;
        for (const auto& [key, node] : parsed.table()) {
            if (!node.is_table())
                fail(key.source(), "only stations stand here, each as a table: [" + nameOf(key) + "]");
            found.emplace_back(key.source().begin, stationOf(key, *node.as_table()));
        }
        std::sort(found.begin(), found.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
        std::vector<Station> stations;
        stations.reserve(found.size());
        for (auto& [position, station] : found) stations.push_back(std::move(station));
        return stations;
    }

private:
    [[noreturn]] void fail(const toml::source_region& at, const std::string& what) const {
        failUsage(path_ + ":" + std::to_string(at.begin.line) + ":" + std::to_string(at.begin.column) + ": " + what,
                  kExample);
    }

    static std::string nameOf(const toml::key& key) { return std::string(key.str()); }

    Station stationOf(const toml::key& key, const toml::table& table) const {
        Station station;
        station.name = nameOf(key);
        if (!isStationName(station.name))
            fail(key.source(), "a station's name has letters, digits, \"_\", \"-\" and \".\" alone");
        for (const auto& [name, node] : table) takeKey(name, node, station);
        if (station.port.empty()) fail(key.source(), "station " + station.name + " has no port");
        return station;
    }

    void takeKey(const toml::key& key, const toml::node& node, Station& station) const {
        static const std::vector<std::string> kKeys{"port", "baud", "timeout", "variables"};
        const std::string name = nameOf(key);
        if (name == "port") {
            station.port = portOf(node);
        } else if (name == "baud") {
            station.baudRate = numberOf(node, kLargestBaudRate);
        } else if (name == "timeout") {
            station.timeout = numberOf(node, kLongestTimeout);
        } else if (name == "variables") {
            if (!node.is_table()) fail(node.source(), "variables are a table: [" + station.name + ".variables]");
            station.variables = variablesOf(*node.as_table());
        } else {
            fail(key.source(), "a station has no key \"" + name + "\"" + suggestion(name, kKeys));
        }
    }

    std::int32_t numberOf(const toml::node& node, std::int32_t most) const {
        const auto value = node.value_exact<std::int64_t>();
        if (!value || *value < 1 || *value > most)
            fail(node.source(), "expected a number from 1 to " + std::to_string(most));
        return static_cast<std::int32_t>(*value);
    }

    std::string portOf(const toml::node& node) const {
        if (node.is_integer()) return std::to_string(numberOf(node, kLastPort));
        const auto text = node.value_exact<std::string>();
        if (!text || text->empty()) fail(node.source(), "expected a port: its number, or as --port takes it");
        return *text;
    }

    Variables variablesOf(const toml::table& table) const {
        Variables variables;
        for (const auto& [key, node] : table) {
            const std::string name = nameOf(key);
            if (!isVariableName(name))
                fail(key.source(), "\"" + name + "\" is no name for a variable: " + kVariableNameRule);
            if (const auto text = node.value_exact<std::string>()) {
                variables[name] = *text;
            } else if (const auto number = node.value_exact<std::int64_t>()) {
                variables[name] = std::to_string(*number);
            } else if (const auto fraction = node.value_exact<double>()) {
                variables[name] = format("%.15g", *fraction);
            } else if (const auto truth = node.value_exact<bool>()) {
                variables[name] = *truth ? "true" : "false";
            } else {
                fail(node.source(), "expected a text, a number, true or false");
            }
        }
        return variables;
    }

    const std::string& path_;
};

}  // namespace

std::string stationsFile() {
    const std::string folder = configFolder();
    if (folder.empty())
        failUsage("nothing tells where the file of stations is", "HOME or XDG_CONFIG_HOME does; on Windows APPDATA");
    return (std::filesystem::path(folder) / "mova" / "stations.toml").string();
}

std::vector<Station> stationsFromText(const std::string& text, const std::string& path) {
    return StationReader(path).read(text);
}

std::vector<Station> readStations() {
    const std::string path = stationsFile();
    return fileExists(path) ? stationsFromText(readTextFile(path), path) : std::vector<Station>();
}

Station stationNamed(const std::string& name) {
    const std::vector<Station> stations = readStations();
    std::vector<std::string> names;
    for (const Station& station : stations) {
        if (station.name == name) return station;
        names.push_back(station.name);
    }
    const bool none = stations.empty();
    failUsage("there is no station \"" + name + "\"" + suggestion(name, names),
              none ? stationsFile() + " is to hold it: " + kExample : "\"mova stations\" lists them");
}

}  // namespace mova::cli
