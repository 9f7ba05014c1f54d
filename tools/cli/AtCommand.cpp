#include <CLI/CLI.hpp>

#include "cli/AtExchange.h"
#include "cli/Commands.h"
#include "mova/Codes.h"

namespace mova::cli {

namespace {

struct AtOptions {
    std::vector<std::string> commands;
    bool keepGoing = false;
    bool noConfirmation = false;
};

Json objectOf(const std::string& atCommand, const AtAnswer& answer) {
    Json object = Json::object();
    object["sent"] = atCommand;
    object["lines"] = answer.lines;
    object["result"] = answer.result.empty() ? Json(nullptr) : Json(answer.result);
    object["milliseconds"] = answer.milliseconds;
    return object;
}

void show(Context& context, const AtOptions& options, const std::string& atCommand, const AtAnswer& answer) {
    Output& out = context.out;
    if (options.commands.size() > 1) out.line(StyledText(Style::Strong, "> " + atCommand));
    for (const std::string& line : answer.lines) out.line(line);
    if (answer.result.empty()) return;
    out.line(StyledText(isGood(answer.result) ? Style::Good : Style::Bad, answer.result));
}

void askAll(Context& context, const AtOptions& options) {
    context.result["answers"] = Json::array();
    Failure first;
    bool failed = false;
    for (const std::string& atCommand : options.commands) {
        const AtAnswer answer =
            askAt(context, atCommand, options.noConfirmation ? Wanted::AcknowledgementAlone : Wanted::Confirmation);
        context.result["answers"].push_back(objectOf(atCommand, answer));
        show(context, options, atCommand, answer);
        if (isGood(answer.result) && !answer.finding) continue;
        Failure failure;
        if (answer.result.empty()) {
            failure = failureOf(Code::NoAnswer, answer.finding, quoted(atCommand) + " was not answered to its end");
            // The usual one advises what was just tried.
            if (failure.code == Code::NoAnswer && !answer.finding)
                failure.hint =
                    "is the handset switched on, plugged in and at this baud rate (--baud)? --timeout waits longer";
        } else if (isGood(answer.result)) {
            failure = failureOf(Code::Success, answer.finding, quoted(atCommand) + " was not answered whole");
        } else {
            failure = {ExitStatus::Refused, "the handset refused " + quoted(atCommand) + ": " + answer.result, {}};
        }
        if (!options.keepGoing) throw failure;
        if (!failed) first = failure;
        failed = true;
    }
    if (failed) throw first;
}

}  // namespace

void describeAt(CLI::App& command, Context& context) {
    auto options = std::make_shared<AtOptions>();
    command.description(
        "Sends AT commands, one after the other, and shows the answers; stops at the first that is refused");
    command.add_option("command", options->commands, "an AT command, in quotes where the shell needs them: \"AT+CSQ\"")
        ->required()
        ->type_name("COMMAND");
    command.add_flag("-k,--keep-going", options->keepGoing, "send the others also when one is refused");
    addNoConfirmation(command, options->noConfirmation);
    command.footer(
        "A request of the handset's protocol (AT*MOVA=) is answered when a whole confirmation of it has come.");
    whenRun(command, context, [&context, options] { askAll(context, *options); });
}

}  // namespace mova::cli
