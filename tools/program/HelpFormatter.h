// Help that fits a terminal of 80 columns.
#pragma once
#include <CLI/CLI.hpp>
#include <string>

namespace mova {

// Breaks lines at blanks; what follows a break is indented as its line is.
std::string wrap(const std::string& text, std::size_t width);

class HelpFormatter : public CLI::Formatter {
public:
    HelpFormatter();
    std::string make_option_desc(const CLI::Option* option) const override;
    std::string make_subcommand(const CLI::App* command) const override;
    std::string make_expanded(const CLI::App* command) const override;  // with what is below it
    std::string make_description(const CLI::App* app) const override;
    std::string make_footer(const CLI::App* app) const override;
};

}  // namespace mova
