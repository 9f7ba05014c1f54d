#include "cli/Commands.h"

#include <algorithm>
#include <array>

#include "cli/Context.h"

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
    CommandEntry{"monitor", describeMonitor, Where::Everywhere, false},
    CommandEntry{"terminal", describeTerminal, Where::NotInScripts, false},
    CommandEntry{"raw", describeRaw},
    CommandEntry{"signals", describeSignals},
    CommandEntry{"trace", describeTrace},
    CommandEntry{"shell", describeShell, Where::InPrograms, false},
    CommandEntry{"run", describeRun, Where::NotInScripts, false},
    CommandEntry{"set", describeSet, Where::InShells},
};

}  // namespace

bool CommandEntry::isFor(Within within) const {
    switch (where) {
        case Where::Everywhere: break;
        case Where::NotInScripts: return within != Within::Script;
        case Where::InPrograms: return within == Within::Program;
        case Where::InShells: return within == Within::Shell;
    }
    return true;
}

std::span<const CommandEntry> commands() { return kCommands; }

bool endsAtOnce(std::string_view name) {
    const auto* const entry = std::find_if(kCommands.begin(), kCommands.end(), [&](const CommandEntry& e) {
        return e.name == name.substr(0, name.find(' '));
    });
    return entry == kCommands.end() || entry->endsAtOnce;
}

}  // namespace mova::cli
