#include "program/HelpFormatter.h"

#include <algorithm>
#include <sstream>

namespace mova {

namespace {

constexpr std::size_t kColumn = 26;
constexpr std::size_t kWidth = 77;

std::string wrapLine(const std::string& line, std::size_t width) {
    const std::string indent(std::min(line.find_first_not_of(' '), line.size()), ' ');
    std::string text, rest = line;
    while (rest.size() > width) {
        const auto blank = rest.rfind(' ', width);
        if (blank == rest.npos || blank <= indent.size()) break;
        text += rest.substr(0, blank) + "\n";
        rest.replace(0, blank + 1, indent);
    }
    return text + rest;
}

}  // namespace

std::string wrap(const std::string& text, std::size_t width) {
    std::string wrapped;
    for (std::size_t begin = 0;;) {
        const auto end = text.find('\n', begin);
        wrapped += wrapLine(text.substr(begin, end - begin), width);
        if (end == text.npos) return wrapped;
        wrapped += '\n';
        begin = end + 1;
    }
}

HelpFormatter::HelpFormatter() {
    column_width(kColumn);
    label("SUBCOMMAND", "COMMAND");
    label("SUBCOMMANDS", "COMMANDS");
    label("REQUIRED", "");
    label("Positionals", "Arguments");
}

std::string HelpFormatter::make_option_desc(const CLI::Option* option) const {
    return wrap(CLI::Formatter::make_option_desc(option), kWidth - kColumn);
}

std::string HelpFormatter::make_subcommand(const CLI::App* command) const {
    std::ostringstream out;
    CLI::detail::format_help(out, command->get_name(), wrap(command->get_description(), kWidth - kColumn), kColumn);
    return out.str();
}

// NOLINTNEXTLINE(misc-no-recursion): commands are two deep
std::string HelpFormatter::make_expanded(const CLI::App* command) const {
    const CLI::App* const parent = command->get_parent();
    const bool nested = parent != nullptr && parent->get_parent() != nullptr;
    std::string text = (nested ? parent->get_name() + " " : "") + CLI::Formatter::make_expanded(command);
    for (const CLI::App* below : command->get_subcommands([](const CLI::App*) { return true; })) {
        text += "\n" + make_expanded(below);
    }
    return text;
}

std::string HelpFormatter::make_description(const CLI::App* app) const {
    return wrap(app->get_description(), kWidth) + "\n";
}

std::string HelpFormatter::make_footer(const CLI::App* app) const {
    const std::string footer = app->get_footer();
    return footer.empty() ? footer : wrap(footer, kWidth) + "\n";
}

}  // namespace mova
