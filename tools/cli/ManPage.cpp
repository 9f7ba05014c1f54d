#include "cli/ManPage.h"

#include <CLI/CLI.hpp>
#include <array>

#include "base/Environment.h"
#include "program/HelpFormatter.h"
#include "program/ManMacros.h"
#include "program/ProgramText.h"

namespace mova::cli {

namespace {

constexpr const char* kDescription =
    "Drives a mobile handset on a serial port: AT commands, the request protocol, raw bytes and modem lines.";

constexpr std::array kExits{
    ExitMeaning{ExitStatus::Done, "done"},
    ExitMeaning{ExitStatus::Refused, "the handset said no, something differs, or an expectation was not met"},
    ExitMeaning{ExitStatus::Usage, "the command line or the script is wrong, or the file of stations"},
    ExitMeaning{ExitStatus::PortNotOpened, "the port could not be opened"},
    ExitMeaning{ExitStatus::NoAnswer, "the handset did not answer in time"},
    ExitMeaning{ExitStatus::Interrupted, "interrupted (Ctrl-C)"},
    ExitMeaning{ExitStatus::LineTrouble, "an answer arrived damaged, or the port failed"},
    ExitMeaning{ExitStatus::FileTrouble, "a file could not be read or written, or the output not be written"},
};

constexpr std::array kVariables{
    Explained{variable::kPort, "the port, where --port is not given"},
    Explained{variable::kDeviceDir, "Linux: the folder of the COMn links, in place of /dev"},
    Explained{variable::kSystemRoot, "Linux: a folder whose sys and dev ports are looked for in"},
    Explained{variable::kConfigHome, "Linux: where mova/stations.toml is, in place of ~/.config"},
    Explained{variable::kAppData, "Windows: where mova\\stations.toml is"},
    Explained{variable::kHistory, "Linux: the shell's history file; empty: none"},
    Explained{variable::kNoColour, "when set, no colours unless --colour always"},
};

constexpr const char* kWhatSucceeds =
    "A command succeeds only with a whole answer that is its own. It looks at what arrived on the line: what is "
    "damaged, "
    "cut short or of another request ends it with exit code 6, an acknowledgement or a confirmation that does not come "
    "with 4. Where a request has no confirmation, --no-confirmation takes its acknowledgement alone.";

constexpr std::array kExamples{
    Explained{"mova --port sim shell", "a session with a simulated handset, for which nothing is needed"},
    Explained{"mova ports", "what is there"},
    Explained{"mova --port 7 at AT+CGMI AT+CSQ", "two AT commands on COM7"},
    Explained{"mova --port /dev/ttyUSB0 info", "who the handset is; Linux, without a number"},
    Explained{"mova --station left info", "the same by the name of a station"},
    Explained{"mova --port 7 e2p dump handset.e2p", "its store in a file"},
    Explained{"mova --port 7 e2p diff handset.e2p", "what has changed since"},
    Explained{"mova --port 7 --trace trace.log run station.mova", "a test sequence, with a record of the traffic"},
    Explained{"mova run station.mova --stations left,right --junit report.xml", "the same on two handsets at once"},
    Explained{"mova --port 7 shell", "one command after the other"},
    Explained{"mova --port 7 terminal", "what is typed goes to the handset; Ctrl-T ? shows the keys"},
};

// The fields of each command's JSON object.
constexpr std::array kFields{
    Explained{"ports",
              "ports: list of number (null without one), device, driver, cardType, usb, and of a USB adapter usbId, "
              "serialNumber, socket, byId; with --udev number, device, rule"},
    Explained{"stations",
              "file, stations: list of name, port, baud, timeout (null where the station leaves them open), variables"},
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
        "file, passed, failed, notRun, steps: list of file, line, text, verdict, problem, output, seconds, within "
        "repeats also round, and captured with the values that it captured; on several stations in place of "
        "steps stations: list of station, port, status (its exit code), problem, passed, failed, notRun, "
        "seconds, steps; portLost (how often), where the port went away"},
};

constexpr std::size_t kFooterWidth = 70;

// NOLINTNEXTLINE(misc-no-recursion): commands are two deep
void describeCommand(const CLI::App& app, const std::string& name, std::string& text) {
    const auto below = app.get_subcommands([](const CLI::App*) { return true; });
    const bool group = !below.empty();
    text += ".SS " + roff(group ? "mova " + name + " COMMAND" : synopsisOf(app, "mova " + name)) + "\n";
    text += roff(app.get_description()) + ".\n";
    text += optionEntries(app, true) + optionEntries(app, false);
    if (const std::string footer = app.get_footer(); !footer.empty())
        text += ".PP\n" + verbatim(wrap(footer, kFooterWidth));
    for (const CLI::App* sub : below) describeCommand(*sub, name + " " + sub->get_name(), text);
}

constexpr ProgramText kProgram{"mova",
                               "drive a mobile handset on a serial port",
                               "[OPTIONS] COMMAND [ARGUMENTS]",
                               kDescription,
                               kExits,
                               kVariables,
                               kExamples};

}  // namespace

const char* programDescription() { return kDescription; }

std::string helpFooter() {
    return mova::helpFooter(kProgram) +
           "\n\"mova COMMAND --help\" tells about a command, \"mova --help-all\" about all of them. Numbers are "
           "decimal, "
           "or\n"
           "hexadecimal behind 0x.";
}

std::string manPage(CLI::App& app) {
    std::string described;
    for (const CLI::App* sub : app.get_subcommands([](const CLI::App*) { return true; })) {
        describeCommand(*sub, sub->get_name(), described);
    }
    std::string json =
        "With \\-\\-json a command prints one object on one line: command, ok (true or false), its own fields, and "
        "where "
        "ok is false an object error with message, hint and status (the exit code), and for a code of the component "
        "code, hex, name and meaning. Bytes are hexadecimal text.\n";
    for (const Explained& row : kFields) json += entry(row.term, row.text);
    return mova::manPage(app, kProgram,
                         "Numbers are decimal, or hexadecimal behind 0x.\nOptions stand before or behind the command.\n"
                         ".PP\n" +
                             roff(kWhatSucceeds) + "\n",
                         {{"COMMANDS", described}, {"\"JSON OUTPUT\"", json}});
}

}  // namespace mova::cli
