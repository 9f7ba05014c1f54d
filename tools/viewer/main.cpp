// mova-viewer: shows what the component posts to its debug channel.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <sstream>

#include "base/Printable.h"
#include "viewer/Viewer.h"

namespace mova::viewer {

namespace {

struct Settings {
    ViewerOptions options;
    double seconds = 0;
};

void describe(CLI::App& app, Settings& s) {
    FilterOptions& filter = s.options.filter;
    app.add_option("-o,--object", filter.objects,
                   "show messages of this port only, for instance COM7; none: of no port. May be given several times");
    app.add_option("-m,--match", filter.texts, "show messages with this text. With several, any of them will do");
    app.add_option("-r,--regex", filter.expressions,
                   "show messages with a line that this regular expression (ECMAScript) finds");
    app.add_option("-x,--exclude", filter.excluded, "do not show messages with this text");
    app.add_flag("-i,--ignore-case", filter.ignoreCase, "of --match, --regex and --exclude");
    app.add_option("-f,--file", s.options.file, "append what is shown to this file as well");
    app.add_flag("--json", s.options.json, "one JSON object a line for each message");
    app.add_option("--count", s.options.count, "end after so many messages")->check(CLI::PositiveNumber);
    app.add_option("--for", s.seconds, "end after so many seconds")->check(CLI::PositiveNumber);
}

int run(Settings& s) {
    constexpr double kMilliseconds = 1000;
    if (s.seconds > 0) s.options.time = std::chrono::milliseconds(static_cast<std::int64_t>(s.seconds * kMilliseconds));
    catchInterruption();
    Viewer viewer(s.options, stdout);
    const auto receiver = listenOnDebugChannel();
    std::fprintf(stderr, "mova-viewer: listening on %s; Ctrl-C ends\n", receiver->channelName().c_str());
    std::fflush(stderr);
    viewer.run(*receiver, interrupted);
    return 0;
}

int runProgram(int argc, char** argv) {
    Settings settings;
    CLI::App app(
        "Shows what the component says on its debug channel: each line with its time and the port of the object.\n"
        "May be started before or after the component, which finds it within two seconds of its next search.");
    describe(app, settings);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        std::ostringstream out, err;
        const int status = app.exit(error, out, err);
        std::fputs(out.str().c_str(), stdout);
        std::istringstream lines(err.str());
        for (std::string line; std::getline(lines, line);) std::fprintf(stderr, "%s\n", printable(line).c_str());
        return status;
    }
    return run(settings);
}

}  // namespace
}  // namespace mova::viewer

int main(int argc, char** argv) {
    try {
        return mova::viewer::runProgram(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "mova-viewer: %s\n", mova::printable(error.what()).c_str());
        return 1;
    }
}
