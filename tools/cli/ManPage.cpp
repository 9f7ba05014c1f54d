#include "cli/ManPage.h"

#include <CLI/CLI.hpp>
#include <array>

#include "base/Environment.h"
#include "base/Text.h"
#include "cli/ExitStatus.h"
#include "cli/HelpFormatter.h"
#include "cli/SplitText.h"

namespace mova::cli {

namespace {

// What a section explains, and how.
struct Explained {
    const char* term;
    const char* text;
};

constexpr std::array kVariables{
    Explained{variable::kPort, "the port, where --port is not given"},
    Explained{variable::kDeviceDir, "Linux: the folder of the COMn links, in place of /dev"},
    Explained{variable::kHistory, "Linux: the shell's history file; empty: none"},
    Explained{variable::kNoColour, "when set, no colours unless --colour always"},
};

constexpr const char* kWhatSucceeds =
    "A command succeeds only with a whole answer that is its own. It looks at what arrived on the line: what is "
    "damaged, "
    "cut short or of another request ends it with exit code 6, an acknowledgement or a confirmation that does not come "
    "with 4. Where a request has no confirmation, --no-confirmation takes its acknowledgement alone.";

constexpr std::array kExamples{
    Explained{"mova ports", "what is there"},
    Explained{"mova --port 7 at AT+CGMI AT+CSQ", "two AT commands on COM7"},
    Explained{"mova --port /dev/ttyUSB0 info", "who the handset is; Linux, without a number"},
    Explained{"mova --port 7 e2p dump handset.e2p", "its store in a file"},
    Explained{"mova --port 7 e2p diff handset.e2p", "what has changed since"},
    Explained{"mova --port 7 --trace trace.log run station.mova", "a test sequence, with a record of the traffic"},
    Explained{"mova --port 7 shell", "one command after the other"},
    Explained{"mova --port 7 terminal", "what is typed goes to the handset; Ctrl-T ? shows the keys"},
};

// The fields of each command's JSON object.
constexpr std::array kFields{
    Explained{"ports", "ports: list of number (null without one), device, driver, cardType, usb"},
    Explained{"at", "answers: list of sent, lines, result (null when none came), milliseconds"},
    Explained{"info",
              "component, port, version, imei, otp, identity1, identity3, identity5, identity6, identity7, identity8, "
              "flashStatus, flashFailures; null where the handset does not tell"},
    Explained{"rf", "confirmations: list of hexadecimal data"},
    Explained{"e2p read", "object, record, offset, bytes, data"},
    Explained{"e2p write", "object, record, offset, bytes, verified"},
    Explained{"e2p dump", "file, objects, resumedWith, bytesRead, refused (codes and how often)"},
    Explained{"e2p restore", "file, objects, written, equal, refused"},
    Explained{"e2p diff", "differences: list of object, record, texts; compared, different"},
    Explained{"e2p password, auth-request, auth-key, serial-number, hash-request, lock-otp", "data"},
    Explained{"hci, wifi", "reply (null for an acknowledgement alone)"},
    Explained{
        "monitor",
        "an object a confirmation, with time and text, and damaged (why) where it is; at the end count (of whole "
        "ones) and damaged (how many). Of a port that went away an object with time and port (gone, back), and at the "
        "end portLost (how often)"},
    Explained{"raw write", "written; with --read also bytes, hex, text"},
    Explained{"raw read", "bytes, hex, text"},
    Explained{"signals", "cts, dsr, ring, carrier"},
    Explained{
        "run",
        "file, passed, failed, notRun, steps: list of line, text, verdict, problem, output, seconds; portLost (how "
        "often), where the port went away"},
};

// --- the man macros

constexpr std::size_t kFooterWidth = 70;

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
    for (const std::string& line : splitAt(text, '\n')) lines += roff(line) + "\n";
    return lines + ".fi\n";
}

std::string entry(const std::string& tag, const std::string& text) {
    return ".TP\n.B " + roff(tag) + "\n" + roff(text) + "\n";
}

std::string optionTag(const CLI::Option& option) {
    std::string tag;
    for (const std::string& name : option.get_snames()) tag += (tag.empty() ? "" : ", ") + ("-" + name);
    for (const std::string& name : option.get_lnames()) tag += (tag.empty() ? "" : ", ") + ("--" + name);
    return option.get_type_size() > 0 ? tag + " " + option.get_type_name() : tag;
}

std::string optionText(const CLI::Option& option) {
    const std::string preset = option.get_default_str();
    return option.get_description() + (preset.empty() ? "" : " [" + preset + "]");
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
    std::string text = "mova " + name;
    for (const CLI::Option* option : app.get_options()) {
        if (!option->get_positional()) continue;
        const bool several = option->get_items_expected_max() > 1;
        const std::string shown = option->get_name(true, false) + (several ? "..." : "");
        text += option->get_required() ? " " + shown : " [" + shown + "]";
    }
    return text;
}

// NOLINTNEXTLINE(misc-no-recursion): commands are two deep
void describeCommand(const CLI::App& app, const std::string& name, std::string& text) {
    const auto below = app.get_subcommands([](const CLI::App*) { return true; });
    const bool group = !below.empty();
    text += ".SS " + roff(group ? "mova " + name + " COMMAND" : synopsisOf(app, name)) + "\n";
    text += roff(app.get_description()) + ".\n";
    text += optionEntries(app, true) + optionEntries(app, false);
    if (const std::string footer = app.get_footer(); !footer.empty())
        text += ".PP\n" + verbatim(wrap(footer, kFooterWidth));
    for (const CLI::App* sub : below) describeCommand(*sub, name + " " + sub->get_name(), text);
}

std::string exitCodes() {
    std::string text;
    for (const ExitMeaning& row : kExitMeanings)
        text += format("  %d  %s\n", static_cast<int>(row.status), row.meaning);
    return text;
}

}  // namespace

std::string helpFooter() {
    std::string text = "Exit codes:\n" + exitCodes() + "Environment:\n";
    for (const Explained& v : kVariables) text += format("  %-16s %s\n", v.term, v.text);
    text += "Examples:\n";
    for (const Explained& e : kExamples) text += format("  %s\n      %s\n", e.term, e.text);
    return text +
           "\"mova COMMAND --help\" tells about a command, \"mova --help-all\" about all of them. Numbers are decimal, "
           "or\n"
           "hexadecimal behind 0x.";
}

std::string manPage(CLI::App& app) {
    std::string text = ".\\\" Made by \"mova --man-page\".\n.TH MOVA 1 \"\" \"MovaCmdSvr\" \"User Commands\"\n";
    text += ".SH NAME\nmova \\- drive a mobile handset on a serial port\n";
    text += ".SH SYNOPSIS\n.B mova\n[OPTIONS] COMMAND [ARGUMENTS]\n";
    text += ".SH DESCRIPTION\n" + roff(app.get_description()) + "\nNumbers are decimal, or hexadecimal behind 0x.\n";
    text += ".PP\n" + roff(kWhatSucceeds) + "\n";
    text += ".SH OPTIONS\nThey stand before or behind the command.\n" + optionEntries(app, false);
    text += ".SH COMMANDS\n";
    for (const CLI::App* sub : app.get_subcommands([](const CLI::App*) { return true; })) {
        describeCommand(*sub, sub->get_name(), text);
    }
    text +=
        ".SH \"JSON OUTPUT\"\nWith \\-\\-json a command prints one object on one line: command, ok (true or false), "
        "its own fields, "
        "and where ok is false an object error with message, hint and status (the exit code), and for a code of the "
        "component "
        "code, hex, name and meaning. Bytes are hexadecimal text.\n";
    for (const Explained& row : kFields) text += entry(row.term, row.text);
    text += ".SH \"EXIT STATUS\"\n";
    for (const ExitMeaning& row : kExitMeanings)
        text += entry(std::to_string(static_cast<int>(row.status)), row.meaning);
    text += ".SH ENVIRONMENT\n";
    for (const Explained& v : kVariables) text += entry(v.term, v.text);
    text += ".SH EXAMPLES\n";
    for (const Explained& e : kExamples) text += entry(e.term, e.text);
    return text;
}

}  // namespace mova::cli
