// What the shell's "set" changes: the global options, for the commands that follow.
#include <CLI/CLI.hpp>
#include <array>
#include <utility>

#include "cli/Commands.h"
#include "cli/Context.h"
#include "cli/FileAccess.h"

namespace mova::cli {

namespace {

constexpr const char* kOff = "off";
constexpr const char* kUsualWord = "usual";

void setTimeout(Context& context, const std::string& text) {
    constexpr std::uint32_t kLongest = 200'000;
    std::uint32_t milliseconds = 0;
    if (text != kUsualWord) {
        const auto number = parseNumber(text);
        if (!number || *number < 1 || *number > kLongest) {
            failUsage("\"" + text + "\" is no time-out", "milliseconds from 1 to 200000, or \"usual\"");
        }
        milliseconds = static_cast<std::uint32_t>(*number);
    }
    context.options.timeout = static_cast<std::int32_t>(milliseconds);
    if (context.session.isOpen()) context.session.applyTimeouts();
}

// Opened at once, so that a name that leads nowhere is told here; then the port before is the port again.
void setPort(Context& context, const std::string& text) {
    const std::string before = std::exchange(context.options.port, text);
    context.session.close();
    try {
        context.session.handset();
    } catch (const Failure&) {
        context.options.port = before;
        throw;
    }
}

void setTrace(Context& context, const std::string& text) {
    const std::string file = text == kOff ? std::string() : text;
    if (!file.empty()) requireWritable(file, "trace " + file);
    context.options.traceFile = file;
    if (context.session.isOpen()) {
        check(context.session.handset().ActivateMovaLogging(file, 0, file.empty() ? 0 : kStartTrace),
              "the trace file " + file + " could not be opened");
    }
}

void setJson(Context& context, const std::string& text) {
    if (text != "on" && text != kOff) failUsage("\"" + text + "\" is neither on nor off");
    context.json = text == "on";
    context.out.useJson(context.json);
}

struct Setting {
    const char* name;
    void (*change)(Context& context, const std::string& text);
    std::string (*shown)(const Context& context);
};
constexpr std::array kSettings{
    Setting{"timeout", setTimeout,
            [](const Context& c) {
                return c.options.timeout == 0 ? std::string(kUsualWord) : std::to_string(c.options.timeout);
            }},
    Setting{"port", setPort, [](const Context& c) { return c.options.port; }},
    Setting{"trace", setTrace,
            [](const Context& c) { return c.options.traceFile.empty() ? kOff : c.options.traceFile; }},
    Setting{"json", setJson, [](const Context& c) { return std::string(c.json ? "on" : kOff); }},
};

void showSettings(Context& context) {
    for (const Setting& setting : kSettings) {
        const std::string text = setting.shown(context);
        context.result[setting.name] = text;
        context.out.line(std::string(setting.name) + " " + text);
    }
}

struct SetOptions {
    std::string text;
};

}  // namespace

void describeSet(CLI::App& command, Context& context) {
    command.description("Changes an option for the commands that follow; alone, shows them");
    const auto add = [&](const Setting& setting, const char* description, const char* type, const char* tells) {
        auto o = std::make_shared<SetOptions>();
        CLI::App* const sub = command.add_subcommand(setting.name, description);
        sub->add_option("value", o->text, tells)->required()->type_name(type);
        whenRun(*sub, context, [&context, o, change = setting.change] { change(context, o->text); });
    };
    add(kSettings[0], "The longest wait for an answer", "MS", "milliseconds, or \"usual\": each command's own");
    add(kSettings[1], "The port; it is opened at once", "PORT", "as --port");
    add(kSettings[2], "The trace", "FILE", "appended to from now on; \"off\" ends it");
    add(kSettings[3], "Results as JSON", "WHEN", "on or off");
    command.require_subcommand(0, 1);
    command.callback([&command, &context] {
        if (!command.get_subcommands().empty()) return;
        context.commandName = command.get_name();
        showSettings(context);
    });
}

}  // namespace mova::cli
