#include "cli/PortChoice.h"

#include "base/Environment.h"
#include "cli/Failure.h"

namespace mova::cli {

namespace {

std::string devicesOf(const std::vector<const ListedPort*>& ports) {
    std::string names;
    for (const ListedPort* port : ports) names += (names.empty() ? "" : ", ") + port->device;
    return names;
}

}  // namespace

PortChoice choosePort(const std::vector<ListedPort>& ports) {
    std::vector<const ListedPort*> likely, bare;
    for (const ListedPort& port : ports) {
        if (port.number || port.usb) {
            likely.push_back(&port);
        } else {
            bare.push_back(&port);
        }
    }
    if (likely.size() > 1) {
        failUsage("there are several ports and none is named",
                  "\"mova ports\" lists them; choose with --port or " + std::string(variable::kPort));
    }
    if (likely.empty() && bare.empty()) failUsage("no port is named and none is there", noPortsHint());
    if (likely.empty()) {
        failUsage("no port is named, and only the board's own is there: " + devicesOf(bare),
                  "it may be the console, and is taken only when it is named: --port " + bare.front()->device);
    }
    const ListedPort& port = *likely.front();
    const std::string name = port.number ? "COM" + std::to_string(*port.number) : port.device;
    PortChoice choice;
    choice.port = port.number ? std::to_string(*port.number) : port.device;
    choice.told = "using " + name + (port.number ? " (" + port.device + ")" : "") +
                  ": no port is named, and it is the only " +
                  (bare.empty() ? "one" : "one beside the board's own " + devicesOf(bare));
    return choice;
}

}  // namespace mova::cli
