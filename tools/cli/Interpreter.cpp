#include "cli/Interpreter.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <new>
#include <sstream>

#include "base/CodeTexts.h"
#include "base/Environment.h"
#include "base/Text.h"
#include "cli/CodeHints.h"
#include "cli/Commands.h"
#include "cli/ManPage.h"
#include "program/HelpFormatter.h"
#include "program/Parsing.h"
#include "program/Suggestion.h"

namespace mova::cli {

namespace {

void describeGlobals(CLI::App& app, Context& context) {
    SessionOptions& options = context.options;
    app.add_option("-p,--port", options.port,
#ifdef _WIN32
                   "the port by its number, as 7 or COM7, or sim, a simulated handset (also sim:FAULT[=COUNT] and "
                   "sim:PROFILE); without it the only port there is")
#else
                   "the port: its number n (the link /dev/COMn), a device path as /dev/ttyUSB0, HOST:PORT of a "
                   "server of RFC 2217 as lab1:4001, or sim, a simulated handset (also sim:FAULT[=COUNT] and "
                   "sim:PROFILE); without it the only port there is")
#endif
        ->type_name("PORT")
        ->envname(variable::kPort);
    app.add_option(
           "--station", context.stationName,
           "the station of this name in the file of stations (\"mova stations\"): its port, baud rate, time-out "
           "and variables; the options here win over them")
        ->type_name("NAME");
    app.add_option("-b,--baud", options.baudRate, "baud rate")
        ->type_name("RATE")
        ->check(CLI::Range(1, kLargestBaudRate).description(""))
        ->capture_default_str();
    app.add_option("-t,--timeout", options.timeout,
                   "longest wait for an answer in milliseconds (at: 5000, rf: 1000, others: 4000)")
        ->type_name("MS")
        ->check(CLI::Range(1, kLongestTimeout).description(""));
    app.add_option("--trace", options.traceFile, "append every request and answer to this file, with its time")
        ->type_name("FILE");
    app.add_option("--log", options.logFile, "append commands, answers and errors to this file")->type_name("FILE");
    app.add_flag("--json", context.json, "results as JSON, one object a line");
    app.add_option(
           "--colour,--color", context.colour,
           "colours: auto (on a terminal, unless " + std::string(variable::kNoColour) + " is set), always or never")
        ->type_name("WHEN")
        ->check(CLI::IsMember({"auto", "always", "never"}))
        ->capture_default_str();
}

void describeProgram(CLI::App& app, Context& context) {
    app.set_help_flag("-h,--help", "this help, or that of the command it follows");
    app.set_help_all_flag("--help-all", "the help of every command");
    app.add_flag_callback(
        "--version",
        [] {
            const CVeCmdManager manager;
            throw CLI::CallForVersion(
                "mova " + std::string(productVersion()) + "\ncomponent " + manager.GetCmpVersion(1), 0);
        },
        "the versions of the product and of the component in it");
    addPrintouts(app, [&app] { return manPage(app); });
    describeGlobals(app, context);
}

// What the error output and --json tell of a failure.
void tell(Context& context, const Failure& failure) {
    Output& out = context.out;
    if (failure.message.empty()) return;                              // told already
    if (out.isJson() && !out.isCapturing() && !out.isLost()) return;  // the result says it
    out.trouble(StyledText(Style::Bad, "mova: ") + failure.message);
    if (failure.code != Code::Success) {
        const CodeDescription text = describeCode(failure.code);
        out.trouble("  " + hexCode(failure.code) + " " + text.name + ": " + text.meaning);
    }
    if (!failure.hint.empty()) out.trouble("  hint: " + failure.hint);
}

Json errorObject(const Failure& failure) {
    Json error = Json::object();
    error["message"] = failure.message;
    if (failure.code != Code::Success) {
        const CodeDescription text = describeCode(failure.code);
        error["code"] = failure.code;
        error["hex"] = hexCode(failure.code);
        error["name"] = text.name;
        error["meaning"] = text.meaning;
    }
    error["hint"] = failure.hint;
    error["status"] = static_cast<int>(failure.status);
    return error;
}

void finishResult(Context& context, const Failure* failure) {
    Json whole = Json::object();
    whole["command"] = context.commandName;
    whole["ok"] = failure == nullptr;
    for (const auto& [name, value] : context.result.items()) whole[name] = value;
    if (failure != nullptr) whole["error"] = errorObject(*failure);
    context.out.object(whole);
}

// The innermost command that was named, for its help.
const CLI::App& namedCommand(const CLI::App& app) {
    const CLI::App* named = &app;
    while (!named->get_subcommands().empty()) named = named->get_subcommands().front();
    return *named;
}

std::string usageHint(const CLI::App& app, Scope scope) {
    std::string name;
    for (const CLI::App* at = &namedCommand(app); at != nullptr && at->get_parent() != nullptr; at = at->get_parent()) {
        name.insert(0, at->get_name() + (name.empty() ? "" : " "));
    }
    if (scope == Scope::Session)
        return name.empty() ? "\"help\" lists the commands" : "\"" + name + " --help\" tells more";
    return "\"mova " + name + (name.empty() ? "" : " ") + "--help\" tells more";
}

void printLines(Output& out, const std::string& text) {
    const std::string_view trimmed = trimRight(text);
    for (std::size_t begin = 0; begin <= trimmed.size();) {
        const auto end = std::min(trimmed.find('\n', begin), trimmed.size());
        out.line(trimmed.substr(begin, end - begin));
        begin = end + 1;
    }
}

std::vector<std::string> namesOfCommands(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        names.push_back(command->get_name());
    }
    return names;
}

// The parser would only say that a command is missing, or that a word is one too many.
std::string parseProblem(const CLI::App& app, const CLI::ParseError& error) {
    const std::vector<std::string> unknown = app.remaining(true);
    const bool missing = dynamic_cast<const CLI::RequiredError*>(&error) != nullptr;
    if (unknown.empty() || !(missing || dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr)) return error.what();
    const CLI::App& named = namedCommand(app);
    const std::string& word = unknown.front();
    if (word.size() > 1 && word.starts_with("-")) {
        std::vector<std::string> names = optionNames(named);
        for (const CLI::App* above = named.get_parent(); above != nullptr; above = above->get_parent()) {
            for (std::string& name : optionNames(*above)) names.push_back(std::move(name));
        }
        return "there is no option " + word + suggestion(word, names);
    }
    const std::vector<std::string> below = namesOfCommands(named);
    if (below.empty() || !missing) return error.what();
    return "there is no command \"" + word + "\"" + suggestion(word, below);
}

// Help and version are no failures; they are text also where results are JSON.
void showHelp(Context& context, const CLI::App& app, const CLI::ParseError& asked) {
    std::ostringstream text, unused;
    app.exit(asked, text, unused);
    context.out.useJson(false);
    printLines(context.out, text.str());
    context.out.useJson(context.json);
}

// In the help's words.
// NOLINTNEXTLINE(misc-no-recursion): commands are two deep
void nameGroup(CLI::App& command) {
    command.group("Commands");
    for (CLI::App* below : command.get_subcommands([](CLI::App*) { return true; })) nameGroup(*below);
}

}  // namespace

std::unique_ptr<CLI::App> makeParser(Context& context, Scope scope) {
    auto app = std::make_unique<CLI::App>(programDescription(), scope == Scope::Program ? "mova" : "");
    app->fallthrough();
    app->formatter(std::make_shared<HelpFormatter>());
    if (scope == Scope::Program) {
        describeProgram(*app, context);
    } else {
        app->set_help_flag("-h,--help", "the commands, or the help of the command it follows");
    }
    for (const CommandEntry& entry : commands()) {
        if (!entry.isFor(context.within)) continue;
        CLI::App* const command = app->add_subcommand(entry.name);
        entry.describe(*command, context);
        nameGroup(*command);
    }
    app->require_subcommand(1);
    if (scope == Scope::Program) app->footer(helpFooter());
    return app;
}

namespace {

// Not by the environment.
bool isGiven(const CLI::App& app, const char* option) {
    const auto& given = app.parse_order();
    return std::find(given.begin(), given.end(), app.get_option(option)) != given.end();
}

void takeStation(Context& context, const CLI::App& app) {
    Context::Given& given = context.given;
    given = {isGiven(app, "--port"), isGiven(app, "--baud"), isGiven(app, "--timeout")};
    if (!isGiven(app, "--station")) return;
    context.station = stationNamed(context.stationName);
    const Station& station = *context.station;
    if (!given.port) context.options.port = station.port;
    if (!given.baudRate) context.options.baudRate = station.baudRate.value_or(context.options.baudRate);
    if (!given.timeout) context.options.timeout = station.timeout.value_or(context.options.timeout);
    given.port = true;
}

void perform(Context& context, CLI::App& app, Scope scope, const std::vector<std::string>& words) {
    try {
        std::vector<std::string> reversed(words.rbegin(), words.rend());
        if (scope == Scope::Program) {
            // Before anything is told: how it is to be told.
            app.parse_complete_callback([&context, &app] {
                context.out.useJson(context.json);
                context.out.chooseColours(context.colour);
                takeStation(context, app);
            });
        }
        app.parse(std::move(reversed));
        if (context.checkOnly) return;
        context.session.requireRecorded();
        finishResult(context, nullptr);
    } catch (const Printout& printout) {
        printLines(context.out, printout.text);
    } catch (const CLI::Success& asked) {
        showHelp(context, app, asked);
    }
}

// Where results cannot be written, the error output tells.
void finishFailed(Context& context, const Failure& told) {
    tell(context, told);
    if (context.out.isLost()) return;
    try {
        finishResult(context, &told);
    } catch (const Failure& lost) {
        tell(context, told);
        tell(context, lost);
    }
}

}  // namespace

ExitStatus execute(Context& context, Scope scope, const std::vector<std::string>& words, Failure* failure) {
    const auto app = makeParser(context, scope);
    context.result = Json::object();
    context.commandName.clear();
    Failure told;
    try {
        perform(context, *app, scope, words);
        return ExitStatus::Done;
    } catch (const CLI::ParseError& error) {
        told = {ExitStatus::Usage, parseProblem(*app, error), usageHint(*app, scope)};
    } catch (const Failure& thrown) {
        told = thrown;
    } catch (const std::bad_alloc&) {
        told = {ExitStatus::LineTrouble, "out of memory", {}};
    } catch (const std::exception& error) {
        told = {ExitStatus::FileTrouble, error.what(), {}};
    }
    context.out.useJson(context.json);
    if (!context.checkOnly) finishFailed(context, told);
    if (failure != nullptr) *failure = told;
    return told.status;
}

}  // namespace mova::cli
