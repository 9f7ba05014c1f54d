#include "program/ManMacros.h"

#include <CLI/CLI.hpp>

namespace mova {

namespace {

std::string optionTag(const CLI::Option& option) {
    std::string tag;
    for (const std::string& name : option.get_snames()) tag += (tag.empty() ? "" : ", ") + ("-" + name);
    for (const std::string& name : option.get_lnames()) tag += (tag.empty() ? "" : ", ") + ("--" + name);
    const std::string type = option.get_type_size() > 0 ? option.get_type_name() : std::string();
    return type.empty() ? tag : tag + " " + type;
}

std::string optionText(const CLI::Option& option) {
    const std::string preset = option.get_default_str();
    return option.get_description() + (preset.empty() ? "" : " [" + preset + "]");
}

}  // namespace

std::string roff(const std::string& text) {
    std::string escaped;
    for (const char c : text) {
        if (c == '\\') {
            escaped += "\\e";
        } else if (c == '-') {
            escaped += "\\-";
        } else {
            escaped += c;
        }
    }
    const bool control = escaped.starts_with(".") || escaped.starts_with("'");
    return control ? "\\&" + escaped : escaped;
}

std::string verbatim(const std::string& text) {
    std::string lines = ".nf\n";
    for (std::size_t begin = 0;;) {
        const auto end = text.find('\n', begin);
        lines += roff(text.substr(begin, end - begin)) + "\n";
        if (end == text.npos) return lines + ".fi\n";
        begin = end + 1;
    }
}

std::string entry(const std::string& tag, const std::string& text) {
    return ".TP\n.B " + roff(tag) + "\n" + roff(text) + "\n";
}

std::string optionEntries(const CLI::App& app, bool positional) {
    std::string text;
    for (const CLI::Option* option : app.get_options()) {
        if (option->get_positional() != positional || option->get_name(false, true).empty()) continue;
        const std::string tag = positional ? option->get_name(true, false) : optionTag(*option);
        text += entry(tag, optionText(*option));
    }
    return text;
}

std::string synopsisOf(const CLI::App& app, const std::string& name) {
    std::string text = name;
    for (const CLI::Option* option : app.get_options()) {
        if (!option->get_positional()) continue;
        const bool several = option->get_items_expected_max() > 1;
        const std::string shown = option->get_name(true, false) + (several ? "..." : "");
        text += option->get_required() ? " " + shown : " [" + shown + "]";
    }
    return text;
}

}  // namespace mova
