#include <CLI/CLI.hpp>

#include "cli/Commands.h"
#include "cli/Context.h"

namespace mova::cli {

namespace {

struct ActionOptions {
    std::uint32_t number = 0;
    std::string hex;
};

void show(Context& context, const TextResult& reply, const std::string& what) {
    check(reply.code, what);
    const std::string text = reply.text.value_or("");
    context.result["reply"] = text;
    context.out.line(text.empty() ? "done, without data" : text);
}

// The options that the component knows; it refuses the others without sending anything.
void act(Context& context, const ActionOptions& o) {
    CVeCmdManager& handset = context.session.handset();
    const TextResult reply = handset.HciAction(static_cast<std::int32_t>(o.number), o.hex);
    context.session.applyTimeouts();
    show(context, reply, "HCI action " + std::to_string(o.number) + " failed");
}

}  // namespace

void describeHci(CLI::App& command, Context& context) {
    auto o = std::make_shared<ActionOptions>();
    command.description("Sends an action to the Bluetooth controller and shows its reply as hexadecimal data");
    addNumber(command, "option", o->number, kLargestByte, "0, 4, 5 or 16 with a command; 1, 2 or 3 without")
        ->required();
    addHex(command, "data", o->hex, "the command");
    command.footer(
        "The wait for the acknowledgement is the action's own: 4 seconds, 10 for option 1; --timeout does not change "
        "it.");
    whenRun(command, context, [&context, o] { act(context, *o); });
}

void describeWifi(CLI::App& command, Context& context) {
    auto o = std::make_shared<ActionOptions>();
    command.description("Sends a WiFi action and shows its reply as hexadecimal data");
    addNumber(command, "action", o->number, kLargestByte, "the command byte")->required();
    addHex(command, "data", o->hex, "its parameter");
    whenRun(command, context, [&context, o] {
        CVeCmdManager& handset = context.session.handset();
        show(context, handset.WiFiAction(static_cast<std::uint8_t>(o->number), o->hex),
             "WiFi action " + std::to_string(o->number) + " failed");
    });
}

}  // namespace mova::cli
