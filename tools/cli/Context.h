// What every command works with: the global options, the output, the handset, and the result as machines read it.
#pragma once
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "cli/Failure.h"
#include "cli/HandsetSession.h"
#include "cli/Output.h"
#include "cli/ParseNumber.h"
#include "cli/Stations.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace mova::cli {

// What the commands are parsed for.
enum class Within { Program, Shell, Script };

struct Context {
    SessionOptions options;
    struct Given {
        bool port = false;  // by --port, or as the station's
        bool baudRate = false;
        bool timeout = false;
    } given;                  // on the command line
    std::string stationName;  // empty: none
    std::optional<Station> station;
    std::string colour = "auto";
    bool json = false;

    Output out;
    HandsetSession session{options, out};

    // What --json prints when the command ends; the interpreter adds "command", "ok" and "error".
    Json result = Json::object();
    bool checkOnly = false;  // commands are parsed and not run
    Within within = Within::Program;
    std::string commandName;  // with its subcommand, of the command under way
};

// What the command does once its line is parsed.
void whenRun(CLI::App& command, Context& context, std::function<void()> action);

// Arguments that are numbers as people write them, decimal or 0x…, up to a limit.
CLI::Option* addNumber(CLI::App& command, const std::string& name, std::uint32_t& value, std::uint32_t limit,
                       const std::string& description);
// Hexadecimal data, several words joined.
CLI::Option* addHex(CLI::App& command, const std::string& name, std::string& value, const std::string& description);
void addNoConfirmation(CLI::App& command, bool& value);
// The ranges that an option was given; throws Failure when they are none.
std::vector<NumberRange> rangesOf(const std::string& text, const char* option, const std::string& hint = {});

// Looks for Ctrl-C; throws Failure.
void checkInterrupt(const std::string& hint = {});
// Sleeps, and minds Ctrl-C.
void pause(Context& context, std::uint32_t milliseconds);

constexpr std::uint32_t kLargestByte = 0xFF;
constexpr std::uint32_t kLargestWord = 0xFFFF;

}  // namespace mova::cli
