#include <CLI/CLI.hpp>
#include <iostream>
#include <iterator>

#include "base/Text.h"
#include "cli/Commands.h"
#include "cli/KeptForGood.h"
#include "cli/RunMany.h"
#include "cli/ScriptRunner.h"
#include "cli/StepLines.h"
#include "cli/TextFile.h"

namespace mova::cli {

namespace {

Script loadScript(const RunOptions& options, Within within) {
    std::string text;
    if (options.path == "-") {
        if (within == Within::Shell) failUsage("the shell reads the standard input", "run takes a file here");
        text.assign(std::istreambuf_iterator<char>(std::cin), {});
        text = withoutByteOrderMark(text);
        checkInterrupt();
    } else {
        text = readTextFile(options.path);
    }
    return parseScript(text, options.path);
}

// On the port of the command line; each step is told when it has ended.
class SingleRun {
public:
    SingleRun(Context& context, const RunOptions& options, const Script& script)
        : context_(context), options_(options), script_(script) {
        report_.path = script.path;
    }

    void run() {
        ScriptRunner runner(context_, script_, variables(), RunManner(options_),
                            {[](const StepOutcome&) {},
                             [this](StepOutcome outcome) {
                                 for (const StyledText& line : linesOf(outcome, options_.verbose))
                                     context_.out.line(line);
                                 report_.steps.push_back(std::move(outcome));
                             },
                             [this](bool, const std::string& text) { context_.out.remark(text); }});
        runner.check();
        if (options_.checkOnly) {
            context_.out.line(std::to_string(judgedSteps(script_.steps).size()) + " steps, well formed");
        } else {
            runner.run();
            if (!options_.junit.empty()) writeTextFile(options_.junit, report_.junit());
        }
        context_.commandName = "run";
        context_.result = report_.json();
        if (runner.timesPortWentAway() > 0) context_.result["portLost"] = runner.timesPortWentAway();
        if (!options_.checkOnly) tellSum();
    }

private:
    RunVariables variables() const {
        const std::string& port = context_.options.port;
        return runVariables(context_.station ? context_.station->name : port, port,
                            context_.station ? context_.station->variables : Variables(),
                            variablesSet(options_, script_));
    }

    void tellSum() {
        context_.out.line(sumOf(report_));
        if (report_.firstFailed() != nullptr) throw Failure{report_.status(), report_.problem(), {}};
    }

    Context& context_;
    const RunOptions& options_;
    const Script& script_;
    RunReport report_;
};

void runScript(Context& context, const RunOptions& options) {
    // Kept for good: a station that hangs in spite of an interrupt still reads it.
    const Script& script = keepForGood(std::make_unique<Script>(loadScript(options, context.within)));
    const bool many = !options.stations.empty() || !options.ports.empty();
    if (many) {
        runOnStations(context, options, script);
    } else {
        SingleRun(context, options, script).run();
    }
}

constexpr const char* kFooter =
    "A script has one command a line, as in the shell, without \"mova\"; behind it what is expected:\n"
    "  at AT+CSQ\n"
    "  expect +CSQ: 21,*         a line of the output matches: * any text, ? one character\n"
    "  expect-not *ERROR*        no line matches\n"
    "  expect-regex ^\\+CSQ: \\d+  a line holds a match\n"
    "  expect-within 500         it takes no longer, in milliseconds\n"
    "  capture rssi CSQ: (\\d+)   ${rssi} is from now on what the first group finds\n"
    "  expect-value ${rssi} > 9  two values compare so: == != < <= > >=, like with * and ?\n"
    "  timeout 500               the longest wait for an answer of this command\n"
    "  e2p read 0x7777 1\n"
    "  expect-code E2pStatus3    the command fails with this code, by name or number\n"
    "  expect-failure            the command fails, whatever the reason\n"
    "  sleep 500                 milliseconds\n"
    "  echo Part two             a heading in the report\n"
    "  # a comment\n"
    "  let limit = 10            ${limit} is 10, unless the station or --set tells it\n"
    "  include common.mova       the steps of this file, which is looked for beside the script\n"
    "  repeat 3                  what stands up to \"end\", 3 times; ${round} counts\n"
    "  repeat 9 until ${x} == 1  at most 9 times, until it holds at the end of a round\n"
    "  end\n"
    "A command must succeed unless a failure is expected. The whole script is checked before its first command "
    "runs. Variables stand anywhere as ${name}, also ${station} and ${port}; $${ stands for \"${\". A value counts in "
    "this "
    "order: --set, the station's, the script's let; a capture always.\n"
    "When the port goes away, the command that was under way fails, whatever was expected, and is not sent again; "
    "the next ones wait for the port and go on, and the report says so. A sleep does not fail: a handset may be "
    "restarted behind it.\n"
    "The exit code is 1 when an expectation is not met, otherwise that of the command that failed. On several "
    "stations it is the worst of theirs; from the best to the worst these are 0, 1, 4, 6, 3, 7, 2, 5. Files of --trace "
    "and "
    "--log get the station's name in theirs: trace.left.log.";

}  // namespace

void describeRun(CLI::App& command, Context& context) {
    auto o = std::make_shared<RunOptions>();
    command.description("Runs a script: commands, and what is expected of them; for test stations and CI");
    command.add_option("file", o->path, "the script; - reads the standard input")->required()->type_name("FILE");
    command.add_flag("-k,--keep-going", o->keepGoing, "go on after a step that failed");
    command.add_flag("-v,--verbose", o->verbose, "show the output of every step");
    command.add_flag("--check", o->checkOnly, "look only whether the script is well formed");
    command.add_option("--junit", o->junit, "write a JUnit report to this file")->type_name("FILE");
    addNoReconnect(command, o->noReconnect);
    command.add_option("--set", o->set, "give a variable of the script this value; may be given several times")
        ->type_name("NAME=VALUE")
        ->allow_extra_args(false);
    command.add_option("--stations", o->stations, "run it on these stations side by side: names with commas, * and ?")
        ->type_name("NAMES");
    command.add_option("--ports", o->ports, "run it on these ports side by side: with commas, numbers also as 3-6")
        ->type_name("PORTS");
    command.footer(kFooter);
    whenRun(command, context, [&context, o] { runScript(context, *o); });
}

}  // namespace mova::cli
