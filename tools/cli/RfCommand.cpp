#include <CLI/CLI.hpp>

#include "base/HexText.h"
#include "cli/Commands.h"
#include "cli/Context.h"

namespace mova::cli {

namespace {

struct RfOptions {
    std::uint32_t kind = 0;
    std::uint32_t request = 0;
    std::uint32_t access = 0;
    std::uint32_t index = 0;
    std::uint32_t value = 0;
    std::string hex;
    std::string parameter;
    bool noConfirmation = false;

    Wanted wanted() const { return noConfirmation ? Wanted::AcknowledgementAlone : Wanted::Confirmation; }
};

using Request = std::function<Code(CVeCmdManager&)>;

// The confirmation may come behind the OK: what is missing is waited for.
CheckedAnswer awaitConfirmation(Context& context, Listening& listening, Wanted wanted) {
    constexpr std::int32_t kUsualTime = 1000;
    constexpr std::uint32_t kPause = 5;
    CVeCmdManager& handset = context.session.handset();
    Clock& clock = context.session.clock();
    const auto limit = static_cast<std::uint32_t>(context.session.timeout(kUsualTime));
    const std::uint32_t begin = clock.tickCount();
    for (;;) {
        CheckedAnswer answer = listening.look(wanted);
        if (answer.finding.code != Code::NoAnswer || clock.tickCount() - begin >= limit) return answer;
        checkInterrupt();
        clock.sleep(kPause);
        check(handset.GetNormalAtResult(number(Collect::WholeRecord)).code, "the port could not be read");
    }
}

// Sends in the mode that waits for the handset's OK. The queue would tell neither of a confirmation that was dropped as
// damaged nor whether one is of this request: the line does.
void send(Context& context, const RfOptions& options, const Request& request) {
    CVeCmdManager& handset = context.session.handset();
    const ModeForNow untilOk(handset, ModeForNow::kUntilOk);
    Listening listening(context.session);
    const Code sent = request(handset);
    const CheckedAnswer answer = sent == Code::Success ? awaitConfirmation(context, listening, options.wanted())
                                                       : listening.look(options.wanted());
    while (handset.FetchQueuedCnfTextItem().length > 0) {  // taken, so that the log file has them
    }
    check(sent, answer.finding, "the RF request was not confirmed");
    Json confirmations = Json::array();
    for (const std::string& data : answer.data) {
        confirmations.push_back(data);
        context.out.line(data);
    }
    if (confirmations.empty()) context.out.line("acknowledged, without a confirmation");
    context.result["confirmations"] = std::move(confirmations);
}

std::uint8_t byteOf(std::uint32_t value) { return static_cast<std::uint8_t>(value); }
std::uint16_t wordOf(std::uint32_t value) { return static_cast<std::uint16_t>(value); }

std::shared_ptr<RfOptions> addOptions(CLI::App& command) {
    auto o = std::make_shared<RfOptions>();
    addNoConfirmation(command, o->noConfirmation);
    return o;
}

void addRequestAndAccess(CLI::App& command, RfOptions& o) {
    addNumber(command, "request", o.request, kLargestByte, "the request byte")->required();
    addNumber(command, "access", o.access, kLargestByte, "the access byte")->required();
}

void describeGeneral(CLI::App& command, Context& context) {
    auto o = addOptions(command);
    addNumber(command, "service", o->request, kLargestByte, "the service byte")->required();
    addNumber(command, "index", o->index, kLargestWord, "the test's index")->required();
    whenRun(command, context, [&context, o] {
        send(context, *o, [o](CVeCmdManager& h) { return h.RfGeneralTestReq(byteOf(o->request), wordOf(o->index)); });
    });
}

void describeParam(CLI::App& command, Context& context) {
    auto o = addOptions(command);
    addRequestAndAccess(command, *o);
    addNumber(command, "index", o->index, kLargestWord, "the parameter's index")->required();
    addNumber(command, "value", o->value, kLargestWord, "its value")->required();
    whenRun(command, context, [&context, o] {
        send(context, *o, [o](CVeCmdManager& h) {
            return h.RfChangeParamReq(byteOf(o->request), byteOf(o->access), wordOf(o->index), wordOf(o->value));
        });
    });
}

void describeTable(CLI::App& command, Context& context) {
    constexpr std::size_t kMostDigits = 2048;  // of 1024 bytes
    auto o = addOptions(command);
    addRequestAndAccess(command, *o);
    addNumber(command, "index", o->index, kLargestWord, "the table's index")->required();
    addHex(command, "data", o->hex, "the table, at most 1024 bytes")->required();
    whenRun(command, context, [&context, o] {
        if (o->hex.size() > kMostDigits)
            failUsage("a table has at most 1024 bytes, these are " + std::to_string(o->hex.size() / 2));
        send(context, *o, [o](CVeCmdManager& h) {
            const std::string bytes = decodeHex(o->hex);
            const std::span data(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
            return h.RfChangeTableReq(byteOf(o->request), byteOf(o->access), wordOf(o->index),
                                      static_cast<std::uint16_t>(bytes.size()), data);
        });
    });
}

void describeTestCase(CLI::App& command, Context& context) {
    auto o = addOptions(command);
    addRequestAndAccess(command, *o);
    whenRun(command, context, [&context, o] {
        send(context, *o, [o](CVeCmdManager& h) { return h.RfTestCaseReq(byteOf(o->request), byteOf(o->access)); });
    });
}

void describeVar(CLI::App& command, Context& context) {
    auto o = addOptions(command);
    addNumber(command, "kind", o->kind, kLargestByte,
              "1: \"access,index,value\", 2: \"access,index,length,hex\", 3: \"access\", 4: as 1, others: \"index\"")
        ->required();
    addNumber(command, "request", o->request, kLargestByte, "the request byte")->required();
    command.add_option("parameter", o->parameter, "the fields, decimal, separated by commas")
        ->required()
        ->type_name("FIELDS");
    whenRun(command, context, [&context, o] {
        send(context, *o, [o](CVeCmdManager& h) {
            return h.VbRfVarReq(static_cast<std::int32_t>(o->kind), byteOf(o->request), o->parameter);
        });
    });
}

struct RfEntry {
    const char* name;
    const char* purpose;
    void (*describe)(CLI::App&, Context&);
};
constexpr RfEntry kRequests[] = {
    {"general", "A general test", describeGeneral},
    {"param", "Changes a parameter; a request for statistics has the same shape", describeParam},
    {"table", "Changes a table; the other test services have the same shape", describeTable},
    {"testcase", "Starts a test case", describeTestCase},
    {"var", "One of the above by its fields as a text", describeVar},
};

}  // namespace

void describeRf(CLI::App& command, Context& context) {
    command.description("Sends an RF test request and shows the confirmation as hexadecimal data");
    for (const RfEntry& entry : kRequests) entry.describe(*command.add_subcommand(entry.name, entry.purpose), context);
    command.require_subcommand(1);
}

}  // namespace mova::cli
