// The commands by name. One line here and one function add another.
#pragma once
#include <span>
#include <string_view>

namespace CLI {
class App;
}

namespace mova::cli {

struct Context;
enum class Within;

// Where a command has a meaning: there is no shell within a shell, and no script within a script.
enum class Where { Everywhere, NotInScripts, InPrograms, InShells };

struct CommandEntry {
    const char* name;
    // Gives the command, already named, its description, arguments and action (whenRun).
    void (*describe)(CLI::App& command, Context& context);
    Where where = Where::Everywhere;
    bool endsAtOnce = true;  // its result told, the program ends without the rest of a closed port

    bool isFor(Within within) const;
};

// Of a command by its name, which may have that of a subcommand behind it.
bool endsAtOnce(std::string_view name);

std::span<const CommandEntry> commands();

// The word names a request whose data are a secret: such a line is kept nowhere.
bool sendsSecret(std::string_view word);

void describePorts(CLI::App& command, Context& context);
void describeStations(CLI::App& command, Context& context);
void describeAt(CLI::App& command, Context& context);
void describeInfo(CLI::App& command, Context& context);
void describeRf(CLI::App& command, Context& context);
void describeE2p(CLI::App& command, Context& context);
void describeHci(CLI::App& command, Context& context);
void describeWifi(CLI::App& command, Context& context);
void describeMonitor(CLI::App& command, Context& context);
void describeRaw(CLI::App& command, Context& context);
void describeSignals(CLI::App& command, Context& context);
void describeTrace(CLI::App& command, Context& context);
void describeShell(CLI::App& command, Context& context);
void describeRun(CLI::App& command, Context& context);
void describeTerminal(CLI::App& command, Context& context);
void describeSet(CLI::App& command, Context& context);

}  // namespace mova::cli
