// mova-viewer: shows what the component posts to its debug channel.
#include <CLI/CLI.hpp>
#include <array>
#include <cstdio>
#include <exception>
#include <stdexcept>

#include "base/Environment.h"
#include "program/Parsing.h"
#include "viewer/Viewer.h"

namespace mova::viewer {

namespace {

constexpr std::array kExits{
    ExitMeaning{ExitStatus::Done, "done: told to end, or the count or the time is reached"},
    ExitMeaning{ExitStatus::Usage, "the command line is wrong"},
    ExitMeaning{ExitStatus::PortNotOpened, "the debug channel could not be had, or was lost"},
    ExitMeaning{ExitStatus::FileTrouble, "the file or the output could not be written"},
};

#ifndef _WIN32
constexpr std::array kVariables{
    Explained{variable::kRuntimeDir, "the folder of the channel's socket, in place of /tmp/mova-UID"},
};
#endif

constexpr std::array kExamples{
    Explained{"mova-viewer", "everything, until Ctrl-C"},
    Explained{"mova-viewer --object COM7 --file seven.txt", "of one port, and in a file as well"},
    Explained{"mova-viewer --regex 'ERROR|0x[0-9A-F]+' --json", "what an expression finds, as JSON"},
};

constexpr ProgramText kProgram{
    "mova-viewer",
    "show what the component says on its debug channel",
    "[OPTIONS]",
    "Shows what the component says on its debug channel: each line with its time and the port of the object. May be "
    "started before or after the component, which finds it within two seconds of its next search.",
    kExits,
#ifdef _WIN32
    {},
#else
    kVariables,
#endif
    kExamples};

struct Settings {
    ViewerOptions options;
    double seconds = 0;
};

void describe(CLI::App& app, Settings& s) {
    FilterOptions& filter = s.options.filter;
    const CLI::Validator positive = CLI::Validator(CLI::PositiveNumber).description("");
    app.add_option("-o,--object", filter.objects,
                   "show messages of this port only, for instance COM7; none: of no port. May be given several times")
        ->type_name("NAME");
    app.add_option("-m,--match", filter.texts, "show messages with this text. With several, any of them will do");
    app.add_option("-r,--regex", filter.expressions,
                   "show messages with a line that this regular expression (ECMAScript) finds");
    app.add_option("-x,--exclude", filter.excluded, "do not show messages with this text");
    app.add_flag("-i,--ignore-case", filter.ignoreCase, "of --match, --regex and --exclude");
    app.add_option("-f,--file", s.options.file, "append what is shown to this file as well")->type_name("FILE");
    app.add_flag("--json", s.options.json, "one JSON object a line for each message");
    app.add_option("--count", s.options.count, "end after so many messages")->type_name("N")->check(positive);
    app.add_option("--for", s.seconds, "end after so many seconds")->type_name("SECONDS")->check(positive);
}

void run(Settings& s) {
    constexpr double kMilliseconds = 1000;
    if (s.seconds > 0) s.options.time = std::chrono::milliseconds(static_cast<std::int64_t>(s.seconds * kMilliseconds));
    catchInterruption();
    Viewer viewer(s.options, stdout);
    const auto receiver = listenOnDebugChannel();
    std::fprintf(stderr, "mova-viewer: listening on %s; Ctrl-C ends\n", receiver->channelName().c_str());
    std::fflush(stderr);
    viewer.run(*receiver, interrupted);
}

ExitStatus runProgram(int argc, char** argv) {
    Settings settings;
    CLI::App app;
    describeProgram(app, kProgram);
    describe(app, settings);
    if (const auto ended = parse(app, kProgram, argc, argv)) return *ended;
    try {
        run(settings);
        return ExitStatus::Done;
    } catch (const ChannelError& error) {
        tellTrouble(kProgram, error.what());
        return ExitStatus::PortNotOpened;
    } catch (const std::invalid_argument& error) {  // an expression that is none
        tellTrouble(kProgram, error.what());
        return ExitStatus::Usage;
    }
}

}  // namespace
}  // namespace mova::viewer

int main(int argc, char** argv) {
    try {
        return static_cast<int>(mova::viewer::runProgram(argc, argv));
    } catch (const std::exception& error) {
        mova::tellTrouble(mova::viewer::kProgram, error.what());
        return static_cast<int>(mova::ExitStatus::FileTrouble);
    }
}
