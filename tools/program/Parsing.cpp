#include "program/Parsing.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <sstream>

#include "base/Printable.h"
#include "program/Completion.h"
#include "program/HelpFormatter.h"
#include "program/Suggestion.h"

namespace mova {

namespace {

std::string parseProblem(const CLI::App& app, const CLI::ParseError& error) {
    const std::vector<std::string> unknown = app.remaining();
    const bool extra = dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr;
    if (!extra || unknown.empty()) return error.what();
    const std::string& word = unknown.front();
    if (!word.starts_with("-")) return "nothing is done with \"" + word + "\"";
    return "there is no option " + word + suggestion(word, optionNames(app));
}

}  // namespace

std::vector<std::string> optionNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::Option* option : app.get_options()) {
        for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    }
    return names;
}

void addPrintouts(CLI::App& app, std::function<std::string()> manual) {
    app.add_flag_callback(
        "--man-page", [manual = std::move(manual)] { throw Printout{manual()}; }, "the manual page, for man(1)");
    app.add_flag_callback(
        "--completion", [&app] { throw Printout{bashCompletion(app)}; },
        "the completion of this command line, for bash");
}

void describeProgram(CLI::App& app, const ProgramText& program) {
    app.name(program.name);
    app.description(program.description);
    app.footer(helpFooter(program));
    app.formatter(std::make_shared<HelpFormatter>());
    app.set_help_flag("-h,--help", "this help");
    app.set_version_flag("--version", program.name + (" " + std::string(productVersion())), "the version");
    addPrintouts(app, [&app, &program] { return manPage(app, program); });
}

void tellTrouble(const ProgramText& program, const std::string& text) {
    std::istringstream lines(text);
    std::string before = std::string(program.name) + ": ";
    for (std::string line; std::getline(lines, line); before = "  ") {
        std::fprintf(stderr, "%s%s\n", before.c_str(), printable(line).c_str());
    }
}

std::optional<ExitStatus> parse(CLI::App& app, const ProgramText& program, int argc, const char* const* argv) {
    std::ostringstream asked, unused;
    try {
        app.parse(argc, argv);
        return std::nullopt;
    } catch (const Printout& printout) {
        asked << printout.text;
    } catch (const CLI::Success& help) {
        app.exit(help, asked, unused);
    } catch (const CLI::ParseError& error) {
        tellTrouble(program, parseProblem(app, error) + "\nhint: \"" + program.name + " --help\" tells more");
        return ExitStatus::Usage;
    }
    const std::string text = asked.str();
    const bool written = std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
    if (written) return ExitStatus::Done;
    tellTrouble(program, "the output could not be written");
    return ExitStatus::FileTrouble;
}

}  // namespace mova
