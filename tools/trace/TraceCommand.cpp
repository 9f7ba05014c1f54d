#include "trace/TraceCommand.h"

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>

#include "trace/Page.h"
#include "trace/Report.h"
#include "trace/Summary.h"

namespace mova::trace {

namespace {

struct Options {
    std::string file;
    std::string page;
    std::size_t most = Page::kMostRecords;
    double from = 0;
    std::optional<double> until;
    bool json = false;
    bool exchanges = false;
};

int complain(const std::string& what) {
    std::fprintf(stderr, "mova trace: %s\n", what.c_str());
    return kTraceUnreadable;
}

std::string reason(const std::string& otherwise) { return errno != 0 ? std::strerror(errno) : otherwise; }

void put(const std::string& text) { std::fwrite(text.data(), 1, text.size(), stdout); }

// Each exchange in its own line as it is over: however long the trace, none is kept.
void addListing(Listeners& listeners, const Options& options) {
    if (!options.exchanges) return;
    const auto before = listeners.exchange;
    listeners.exchange = [before, json = options.json](const Exchange& exchange) {
        if (before) before(exchange);
        put(json ? exchangeJson(exchange).dump() + "\n" : exchangeText(exchange));
    };
}

int writePage(const Page& page, const Summary& summary, const Options& options) {
    errno = 0;
    std::ofstream out(options.page, std::ios::binary);
    if (out) page.write(out, summary, options.file);
    out.close();
    if (!out) return complain(options.page + " cannot be written: " + reason("the disk may be full"));
    if (options.json) return 0;
    put("\nthe page is " + options.page + "\n");
    if (page.leavesOut()) {
        put("it shows the first " + std::to_string(page.kept()) +
            " records; --from and --until choose others, --most more\n");
    }
    return 0;
}

int run(const Options& options) {
    errno = 0;
    std::ifstream in(options.file, std::ios::binary);
    if (!in) return complain(options.file + " cannot be opened: " + reason("is it there?"));
    constexpr double kMilliseconds = 1000;
    const Window window{static_cast<std::int64_t>(options.from * kMilliseconds),
                        options.until ? static_cast<std::int64_t>(*options.until * kMilliseconds) : Window::kOpenEnd};
    try {
        Page page(options.most);
        Listeners listeners = options.page.empty() ? Listeners{} : page.listeners();
        addListing(listeners, options);
        const Summary summary = summarise(in, options.file, listeners, window);
        if (options.json) {
            put(reportJson(summary, options.file).dump(options.exchanges ? -1 : 2) + "\n");
        } else {
            put(reportText(summary, options.file));
        }
        return options.page.empty() ? 0 : writePage(page, summary, options);
    } catch (const TraceError& error) {
        return complain(error.what());
    }
}

}  // namespace

void addTraceCommand(CLI::App& app, int& exitStatus) {
    const auto options = std::make_shared<Options>();
    CLI::App* const command = app.add_subcommand(
        "trace",
        "Shows where the time went in a trace file: exchanges by kind, latencies, errors, repetitions;\n"
        "with --html as a page with a sequence chart for any browser.");
    command->add_option("file", options->file, "the trace file that ActivateMovaLogging wrote")->required();
    command->add_option("--html", options->page, "write the page to this file");
    command->add_flag("--json", options->json, "the figures as JSON");
    command->add_flag("--exchanges", options->exchanges, "before the figures, each exchange in a line of its own");
    command->add_option("--from", options->from, "seconds after the first record to begin at")
        ->check(CLI::NonNegativeNumber);
    command->add_option("--until", options->until, "seconds after the first record to end at")
        ->check(CLI::NonNegativeNumber);
    command->add_option("--most", options->most, "records that the page may show")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    command->callback([options, &exitStatus] { exitStatus = run(*options); });
}

}  // namespace mova::trace
