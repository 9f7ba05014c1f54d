#include "program/Completion.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <map>

namespace mova {

namespace {

using Names = std::vector<std::string>;

std::string joined(const Names& names, const char* between) {
    std::string text;
    for (const std::string& name : names) text += (text.empty() ? "" : between) + name;
    return text;
}

Names spellings(const CLI::Option& option) {
    Names names;
    for (const std::string& name : option.get_snames()) names.push_back("-" + name);
    for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
    return names;
}

// The words that a value is one of, from "WHEN:{auto,always,never}"; empty: any will do.
Names choicesOf(const CLI::Option& option) {
    const std::string type = option.get_type_name();
    const auto begin = type.find('{');
    const auto end = type.find('}');
    if (begin == type.npos || end == type.npos) return {};
    return CLI::detail::split(type.substr(begin + 1, end - begin - 1), ',');
}

// What the shell does to complete a value; empty: it takes the names of files.
std::string completionOf(const CLI::Option& option) {
    if (option.get_type_name() == "PORT") {
        return "COMPREPLY=($(compgen -W \"$(compgen -G '/dev/serial/by-id/*'; compgen -G '/dev/tty[AU]*'; "
               "compgen -G '/dev/COM*' | sed 's,/dev/COM,,'; echo sim)\" -- \"$word\")); return";
    }
    const Names choices = choicesOf(option);
    return choices.empty() ? "return"
                           : "COMPREPLY=($(compgen -W \"" + joined(choices, " ") + "\" -- \"$word\")); return";
}

class Script {
public:
    explicit Script(const CLI::App& app) : name_(app.get_name()) { visit(app, name_, {}); }

    std::string text() const {
        std::string function = "_" + name_;
        std::replace(function.begin(), function.end(), '-', '_');
        std::string text = "# bash completion of " + name_ + ", made by \"" + name_ + " --completion\".\n" + function +
                           "() {\n"
                           "    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]} command=" +
                           name_ +
                           " words i\n"
                           "    COMPREPLY=()\n";
        if (!commands_.empty()) {
            text += "    for ((i = 1; i < COMP_CWORD; ++i)); do\n        case \"$command ${COMP_WORDS[i]}\" in\n";
            text += "            " + joined(commands_, "|\\\n            ") + ")\n";
            text += "                command+=\" ${COMP_WORDS[i]}\" ;;\n        esac\n    done\n";
        }
        if (!values_.empty()) {
            text += "    case $before in\n";
            for (const auto& [action, options] : values_) {
                text += "        " + joined(options, "|") + ") " + action + " ;;\n";
            }
            text += "    esac\n";
        }
        return text + "    case $command in\n" + words_ +
               "    esac\n    COMPREPLY=($(compgen -W \"$words\" -- \"$word\"))\n}\ncomplete -o default -F " +
               function + " " + name_ + "\n";
    }

private:
    // NOLINTNEXTLINE(misc-no-recursion): commands are two deep
    void visit(const CLI::App& app, const std::string& path, Names inherited) {
        Names offered;
        for (const CLI::App* below : app.get_subcommands([](const CLI::App*) { return true; })) {
            offered.push_back(below->get_name());
        }
        for (const CLI::Option* option : app.get_options()) {
            const Names names = spellings(*option);
            for (const std::string& name : names) {
                if (name.starts_with("--")) offered.push_back(name);
            }
            if (option->get_items_expected_max() > 0 && !names.empty()) addValue(completionOf(*option), names);
        }
        Names all = offered;
        all.insert(all.end(), inherited.begin(), inherited.end());
        std::sort(all.begin(), all.end());
        all.erase(std::unique(all.begin(), all.end()), all.end());
        words_ += "        \"" + path + "\") words=\"" + joined(all, " ") + "\" ;;\n";
        for (const std::string& name : offered) {
            if (name.starts_with("--") && name != "--help-all" && name != "--version" && name != "--man-page" &&
                name != "--completion") {
                inherited.push_back(name);
            }
        }
        for (const CLI::App* below : app.get_subcommands([](const CLI::App*) { return true; })) {
            const std::string further = path + " " + below->get_name();
            commands_.push_back("\"" + further + "\"");
            visit(*below, further, inherited);
        }
    }

    void addValue(const std::string& action, const Names& names) {
        Names& known = values_[action];
        for (const std::string& name : names) {
            if (std::find(known.begin(), known.end(), name) == known.end()) known.push_back(name);
        }
    }

    const std::string name_;
    Names commands_;                       // each with those above it
    std::map<std::string, Names> values_;  // what completes the values of which options
    std::string words_;                    // what each command offers
};

}  // namespace

std::string bashCompletion(const CLI::App& app) { return Script(app).text(); }

}  // namespace mova
