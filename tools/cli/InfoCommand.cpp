#include <CLI/CLI.hpp>
#include <array>

#include "base/CodeTexts.h"
#include "base/Text.h"
#include "cli/AtExchange.h"
#include "cli/CodeHints.h"
#include "cli/Commands.h"
#include "cli/Context.h"
#include "cli/Table.h"
#include "mova/Codes.h"

namespace mova::cli {

namespace {

// A question about the handset.
struct Question {
    const char* key = "";    // in JSON
    const char* label = "";  // for people
    Info option = Info::Version;
    const char* parameter = "";
    const char* sent = "";  // the AT command that the handset may echo
};

constexpr std::array kQuestions{
    Question{"version", "software version", Info::Version, "", "AT%V"},
    Question{"imei", "IMEI", Info::Imei, "", "ATD*#06#"},
    Question{"otp", "one-time programmable", Info::OtpStatus, "", "AT%OTP?"},
    Question{"identity1", "identity field 1", Info::Field1, ""},
    Question{"identity3", "identity field 3", Info::Field3, ""},
    Question{"identity5", "identity field 5", Info::Field5, ""},
    Question{"identity6", "identity field 6", Info::Field6, ""},
    Question{"identity7", "identity field 7", Info::Field7, ""},
    Question{"identity8", "identity field 8", Info::Field8, ""},
    Question{"flashStatus", "flash status", Info::FlashStatus, "1"},
    Question{"flashFailures", "flash failures", Info::FlashStatus, "2"},
};

// An identity field is padded with zero bytes, and an erased one with 0xFF.
std::string tidy(std::string text, const std::string& sent) {
    while (!text.empty() && (text.back() == '\0' || text.back() == '\xFF')) text.pop_back();
    std::string joined;
    for (const std::string& line : linesOf(text, sent)) joined += (joined.empty() ? "" : " / ") + line;
    return joined;
}

// What the line showed against an answer. A refusal of an AT command is an answer without text to the component.
Finding findingOf(const Listening& listening, const Question& question, Code code) {
    const bool byAtCommand = *question.sent != '\0';
    if (byAtCommand && code == Code::Success) {
        const std::string result = finalResultOf(listening.talk());
        if (!isGood(result)) return {ExitStatus::Refused, Code::Success, "the handset says " + result, {}};
    }
    CheckedAnswer answer = listening.look();
    requireDelivered(answer, code);
    return answer.finding;
}

void askAll(Context& context) {
    CVeCmdManager& handset = context.session.handset();
    Output& out = context.out;
    constexpr std::size_t kLabelWidth = 24;
    const auto show = [&](std::string label, const StyledText& text) {
        label.resize(std::max(label.size() + 1, kLabelWidth), ' ');
        out.line(StyledText(Style::Strong, label) + text);
    };
    context.result["component"] = handset.GetCmpVersion(1);
    context.result["port"] = context.session.portName();
    show("component", StyledText(handset.GetCmpVersion(1)));
    show("port", StyledText(context.session.portName()));
    std::vector<std::string> refused;
    Failure first;
    for (const Question& question : kQuestions) {
        checkInterrupt();
        Listening listening(context.session);
        const TextResult answer =
            handset.SpecificInfo(number(question.option), number(Access::Read), question.parameter);
        const Finding finding = findingOf(listening, question, answer.code);
        if (answer.code == Code::Success && !finding) {
            const std::string text = tidy(answer.text.value_or(""), question.sent);
            context.result[question.key] = text;
            show(question.label, StyledText(text));
            continue;
        }
        Failure failure = failureOf(answer.code, finding, std::string(question.label) + " was not told");
        if (failure.code == Code::NoAnswer || failure.code == Code::ReadFailed) throw failure;
        context.result[question.key] = nullptr;
        const std::string why = finding ? finding.reason : describeCode(failure.code).meaning;
        const std::string code = failure.code == Code::Success ? "" : hexCode(failure.code) + " ";
        show(question.label, StyledText(Style::Bad, code + why));
        if (refused.empty()) first = failure;
        refused.emplace_back(question.label);
    }
    if (refused.size() > 1) first.message += ", and " + std::to_string(refused.size() - 1) + " more";
    if (!refused.empty()) throw first;
}

}  // namespace

void describeInfo(CLI::App& command, Context& context) {
    command.description(
        "Shows who the handset is: software version, IMEI, one-time-programmable status, identity fields, flash "
        "status");
    whenRun(command, context, [&context] { askAll(context); });
}

}  // namespace mova::cli
