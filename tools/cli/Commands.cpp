#include "cli/Commands.h"

#include <algorithm>
#include <array>

namespace mova::cli {

namespace {

constexpr std::array kCommands{
    CommandEntry{"ports", describePorts},
    CommandEntry{"stations", describeStations},
    CommandEntry{"at", describeAt},
    CommandEntry{"info", describeInfo},
    CommandEntry{"rf", describeRf},
    CommandEntry{"e2p", describeE2p},
    CommandEntry{"hci", describeHci},
    CommandEntry{"wifi", describeWifi},
    CommandEntry{"monitor", describeMonitor, false, false},
    CommandEntry{"raw", describeRaw},
    CommandEntry{"signals", describeSignals},
    CommandEntry{"trace", describeTrace},
    CommandEntry{"shell", describeShell, true, false},
    CommandEntry{"run", describeRun, true, false},
};

}  // namespace

std::span<const CommandEntry> commands() { return kCommands; }

bool endsAtOnce(std::string_view name) {
    const auto* const entry = std::find_if(kCommands.begin(), kCommands.end(), [&](const CommandEntry& e) {
        return e.name == name.substr(0, name.find(' '));
    });
    return entry == kCommands.end() || entry->endsAtOnce;
}

}  // namespace mova::cli
