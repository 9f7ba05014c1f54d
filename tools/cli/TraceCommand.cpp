#include <CLI/CLI.hpp>
#include <cerrno>
#include <fstream>
#include <memory>
#include <optional>
#include <system_error>

#include "base/Text.h"
#include "cli/Commands.h"
#include "cli/Context.h"
#include "cli/FileAccess.h"
#include "trace/Page.h"
#include "trace/Report.h"
#include "trace/Summary.h"

namespace mova::cli {

namespace {

struct TraceOptions {
    std::string file;
    std::string page;
    std::size_t most = trace::Page::kMostRecords;
    double from = 0;
    std::optional<double> until;
    bool exchanges = false;

    trace::Window window() const {
        constexpr double kMilliseconds = 1000;
        return {static_cast<std::int64_t>(from * kMilliseconds),
                until ? static_cast<std::int64_t>(*until * kMilliseconds) : trace::Window::kOpenEnd};
    }
};

std::string reason(const char* otherwise) { return errno != 0 ? std::generic_category().message(errno) : otherwise; }

// The text is whole lines.
void putLines(Output& out, std::string_view text) {
    while (!text.empty()) {
        const auto end = std::min(text.find('\n'), text.size() - 1);
        out.line(text.substr(0, text[end] == '\n' ? end : end + 1));
        text.remove_prefix(end + 1);
    }
}

// Each exchange as it is over: however long the trace, none is kept.
void addListing(trace::Listeners& listeners, Context& context) {
    const auto before = listeners.exchange;
    listeners.exchange = [before, &context](const trace::Exchange& exchange) {
        if (before) before(exchange);
        if (context.out.isJson()) {
            Json object = Json::object();
            object["exchange"] = trace::exchangeJson(exchange);
            context.out.object(object);
        } else {
            putLines(context.out, trace::exchangeText(exchange));
        }
        checkInterrupt();
    };
}

void writePage(const trace::Page& page, const trace::Summary& summary, const TraceOptions& options, Context& context) {
    requireWritable(options.page, options.page);
    errno = 0;
    std::ofstream out(options.page, std::ios::binary);
    if (out) page.write(out, summary, options.file);
    out.close();
    if (!out) failFile(options.page + " cannot be written: " + reason("the disk may be full"));
    context.result["page"] = options.page;
    context.out.line({});
    context.out.line("the page is " + options.page);
    if (!page.leavesOut()) return;
    context.out.line("it shows the first " + counted(page.kept(), "record") +
                     "; --from and --until choose others, --most more");
}

void showTrace(const TraceOptions& options, Context& context) {
    errno = 0;
    std::ifstream in(options.file, std::ios::binary);
    if (!in) {
        checkInterrupt();
        failFile(options.file + " cannot be opened: " + reason("is it there?"));
    }
    try {
        trace::Page page(options.most);
        trace::Listeners listeners = options.page.empty() ? trace::Listeners{} : page.listeners();
        if (options.exchanges) addListing(listeners, context);
        const trace::Summary summary = trace::summarise(in, options.file, listeners, options.window());
        context.result.update(Json(trace::reportJson(summary, options.file)));
        putLines(context.out, trace::reportText(summary, options.file));
        if (!options.page.empty()) writePage(page, summary, options, context);
    } catch (const trace::TraceError& error) {
        failFile(error.what());
    }
}

}  // namespace

void describeTrace(CLI::App& command, Context& context) {
    command.description(
        "Shows where the time went in a trace file: exchanges by kind, latencies, errors, repetitions; "
        "with --html as a "
        "page with a sequence chart for any browser");
    const auto options = std::make_shared<TraceOptions>();
    command.add_option("file", options->file, "the trace file that --trace or ActivateMovaLogging wrote")
        ->required()
        ->type_name("FILE");
    command.add_option("--html", options->page, "write the page to this file")->type_name("FILE");
    command.add_flag("--exchanges", options->exchanges, "before the figures, each exchange in a line of its own");
    command.add_option("--from", options->from, "seconds after the first record to begin at")
        ->type_name("SECONDS")
        ->check(CLI::NonNegativeNumber.description(""));
    command.add_option("--until", options->until, "seconds after the first record to end at")
        ->type_name("SECONDS")
        ->check(CLI::NonNegativeNumber.description(""));
    command.add_option("--most", options->most, "records that the page may show")
        ->type_name("COUNT")
        ->check(CLI::PositiveNumber.description(""))
        ->capture_default_str();
    whenRun(command, context, [options, &context] { showTrace(*options, context); });
}

}  // namespace mova::cli
