#include "program/ProgramText.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>

#include "base/Text.h"
#include "program/ManMacros.h"

#ifndef MOVA_PRODUCT_VERSION  // the analysis reads this without the build
#define MOVA_PRODUCT_VERSION ""
#endif

namespace mova {

std::string_view productVersion() { return MOVA_PRODUCT_VERSION; }

std::string helpFooter(const ProgramText& program) {
    std::string text = "Exit codes:\n";
    for (const ExitMeaning& row : program.exits)
        text += format("  %d  %s\n", static_cast<int>(row.status), row.meaning);
    if (!program.variables.empty()) text += "Environment:\n";
    for (const Explained& v : program.variables) text += format("  %-16s %s\n", v.term, v.text);
    text += "Examples:\n";
    for (const Explained& e : program.examples) text += format("  %s\n      %s\n", e.term, e.text);
    text.pop_back();
    return text;
}

std::string manPage(const CLI::App& app, const ProgramText& program, const std::string& more,
                    const std::vector<ManSection>& sections) {
    const std::string name = program.name;
    std::string title = name;
    std::transform(title.begin(), title.end(), title.begin(),
                   [](char c) { return static_cast<char>(std::toupper(static_cast<unsigned char>(c))); });
    std::string text = ".\\\" Made by \"" + name + " --man-page\".\n";
    text += ".TH " + title + " 1 \"\" \"MovaCmdSvr\" \"User Commands\"\n";
    text += ".SH NAME\n" + roff(name) + " \\- " + roff(program.purpose) + "\n";
    text += ".SH SYNOPSIS\n.B " + roff(name) + "\n" + roff(program.arguments) + "\n";
    text += ".SH DESCRIPTION\n" + roff(program.description) + "\n" + more;
    text += ".SH OPTIONS\n" + optionEntries(app, true) + optionEntries(app, false);
    for (const ManSection& section : sections) {
        text += std::string(".SH ") + section.title + "\n" + section.text;
    }
    text += ".SH \"EXIT STATUS\"\n";
    for (const ExitMeaning& row : program.exits)
        text += entry(std::to_string(static_cast<int>(row.status)), row.meaning);
    if (!program.variables.empty()) text += ".SH ENVIRONMENT\n";
    for (const Explained& v : program.variables) text += entry(v.term, v.text);
    text += ".SH EXAMPLES\n";
    for (const Explained& e : program.examples) text += entry(e.term, e.text);
    return text;
}

}  // namespace mova
