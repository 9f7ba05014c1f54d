#include <CLI/CLI.hpp>

#include "base/Text.h"
#include "cli/Commands.h"
#include "cli/Context.h"
#include "cli/Table.h"

namespace mova::cli {

namespace {

void listStations(Context& context) {
    const std::vector<Station> stations = readStations();
    const std::string file = stationsFile();
    std::vector<std::vector<std::string>> rows{{"STATION", "PORT", "BAUD", "TIMEOUT", "VARIABLES"}};
    context.result["file"] = file;
    context.result["stations"] = Json::array();
    for (const Station& station : stations) {
        const auto text = [](const auto& number) { return number ? std::to_string(*number) : std::string("-"); };
        const auto json = [](const auto& number) { return number ? Json(*number) : Json(nullptr); };
        std::string variables;
        for (const auto& [name, value] : station.variables)
            variables.append(variables.empty() ? "" : ", ").append(name).append(" = ").append(value);
        rows.push_back({station.name, station.port, text(station.baudRate), text(station.timeout), variables});
        Json entry = Json::object();
        entry["name"] = station.name;
        entry["port"] = station.port;
        entry["baud"] = json(station.baudRate);
        entry["timeout"] = json(station.timeout);
        entry["variables"] = station.variables;
        context.result["stations"].push_back(std::move(entry));
    }
    if (stations.empty()) {
        context.out.line("no stations");
        context.out.remark("  hint: they stand in " + file + ", as \"mova stations --help\" shows");
        return;
    }
    const auto lines = tableLines(rows);
    context.out.line(StyledText(Style::Strong, lines[0]));
    for (std::size_t i = 1; i < lines.size(); ++i) context.out.line(trimRight(lines[i]));
}

}  // namespace

void describeStations(CLI::App& command, Context& context) {
    command.description("Lists the stations by the names that --station takes");
    command.footer(
        "They stand in the file ~/.config/mova/stations.toml (on Windows %APPDATA%\\mova\\stations.toml):\n"
        "  [left]\n"
        "  port = \"/dev/ttyUSB0\"     # or its number\n"
        "  baud = 115200             # may be left out, as may\n"
        "  timeout = 2000            # milliseconds\n"
        "  [left.variables]          # of scripts: ${operator}\n"
        "  operator = \"ACME\"");
    whenRun(command, context, [&context] { listStations(context); });
}

}  // namespace mova::cli
