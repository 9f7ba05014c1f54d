#include <CLI/CLI.hpp>

#include "cli/Commands.h"
#include "cli/Context.h"

namespace mova::cli {

namespace {

struct ActionOptions {
    std::uint32_t number = 0;
    std::string hex;
    bool noConfirmation = false;
    std::string whenSilent;  // a hint; empty: the usual one
};

using Action = std::function<TextResult(CVeCmdManager&)>;

// Without a confirmation the component reads the reply as one of option or command 0 without data: the line tells
// whether there was one.
void perform(Context& context, const ActionOptions& o, const std::string& what, const Action& action) {
    CVeCmdManager& handset = context.session.handset();
    const Wanted wanted = o.noConfirmation ? Wanted::AcknowledgementAlone : Wanted::Confirmation;
    Listening listening(context.session);
    const TextResult reply = action(handset);
    context.session.applyTimeouts();
    CheckedAnswer answer = listening.look(wanted);
    if (answer.finding.code == Code::NoAnswer && answer.finding.hint.empty()) answer.finding.hint = o.whenSilent;
    const bool taken = reply.code == Code::Success || reply.code == Code::WrongCommandEcho ||
                       reply.code == Code::HciStatus;  // what the component makes of no reply
    if (o.noConfirmation && taken && !answer.finding && answer.data.empty()) {
        context.result["reply"] = nullptr;
        context.out.line("acknowledged, without a confirmation");
        return;
    }
    const std::string text = reply.text.value_or("");
    requireDelivered(answer, reply.code, text);
    check(reply.code, answer.finding, what);
    context.result["reply"] = text;
    context.out.line(text.empty() ? "done, without data" : text);
}

// The options that the component knows; it refuses the others without sending anything.
void act(Context& context, const ActionOptions& o) {
    perform(context, o, "HCI action " + std::to_string(o.number) + " failed",
            [&o](CVeCmdManager& h) { return h.HciAction(static_cast<std::int32_t>(o.number), o.hex); });
}

}  // namespace

void describeHci(CLI::App& command, Context& context) {
    auto o = std::make_shared<ActionOptions>();
    command.description("Sends an action to the Bluetooth controller and shows its reply as hexadecimal data");
    addNumber(command, "option", o->number, kLargestByte, "0, 4, 5 or 16 with a command; 1, 2 or 3 without")
        ->required();
    addHex(command, "data", o->hex, "the command");
    addNoConfirmation(command, o->noConfirmation);
    o->whenSilent = "is the handset switched on, plugged in and at this baud rate? \"mova at AT\" tries it";
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
    addNoConfirmation(command, o->noConfirmation);
    whenRun(command, context, [&context, o] {
        perform(context, *o, "WiFi action " + std::to_string(o->number) + " failed",
                [o](CVeCmdManager& h) { return h.WiFiAction(static_cast<std::uint8_t>(o->number), o->hex); });
    });
}

}  // namespace mova::cli
