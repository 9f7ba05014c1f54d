#include "cli/Commands.h"

#include <array>

namespace mova::cli {

namespace {

constexpr std::array kCommands{
    CommandEntry{"ports", describePorts},   CommandEntry{"at", describeAt},
    CommandEntry{"info", describeInfo},     CommandEntry{"rf", describeRf},
    CommandEntry{"e2p", describeE2p},       CommandEntry{"hci", describeHci},
    CommandEntry{"wifi", describeWifi},     CommandEntry{"monitor", describeMonitor},
    CommandEntry{"raw", describeRaw},       CommandEntry{"signals", describeSignals},
    CommandEntry{"trace", describeTrace},   CommandEntry{"shell", describeShell, true},
    CommandEntry{"run", describeRun, true},
};

}  // namespace

std::span<const CommandEntry> commands() { return kCommands; }

}  // namespace mova::cli
