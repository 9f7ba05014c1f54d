// mova-handset: simulated handsets to work with when none is on the desk.
#include <CLI/CLI.hpp>
#include <array>
#include <atomic>
#include <cstdio>
#include <exception>
#include <fstream>
#include <mutex>
#include <set>

#include "handset/Lines.h"
#include "handset/ProfileFile.h"
#include "program/Parsing.h"

namespace mova::handset {

void makeReadyFile(const std::string& path) {
    if (!path.empty()) std::ofstream(path) << "ready\n";
}

namespace {

#ifdef _WIN32
constexpr const char* kLineOption = "--port";
#else
constexpr const char* kLineOption = "--link";
#endif

constexpr std::array kExits{
    ExitMeaning{ExitStatus::Done, "done: told to end, or hung up on"},
    ExitMeaning{ExitStatus::Usage, "the command line, a profile or a recorded conversation is wrong"},
    ExitMeaning{ExitStatus::PortNotOpened, "a line could not be had: the port, the pseudo-terminal or its link"},
    ExitMeaning{ExitStatus::FileTrouble, "a file could not be read or written"},
};

constexpr std::array kExamples{
#ifdef _WIN32
    Explained{"mova-handset --port COM8",
              "a handset on the other end of a null-modem cable or a pair of virtual ports"},
    Explained{"mova-handset --port COM8 --fault silence=2", "which leaves two answers out"},
#else
    Explained{"mova-handset --link /tmp/handset", "a handset; \"mova --port /tmp/handset info\" asks who it is"},
    Explained{"mova-handset --link left --link right two.toml", "two, each as the profile says"},
    Explained{"mova-handset --link h --fault silence=2", "which leaves two answers out"},
#endif
    Explained{"mova-handset --print-profile >my.toml", "a profile to begin with"},
};

constexpr ProgramText kProgram{
    "mova-handset",
    "simulated mobile handsets on serial lines",
    "[OPTIONS] [profile...]",
    "Simulated mobile handsets on serial lines: AT commands, the request protocol, faults on demand. Prints where each "
    "is to be reached, and serves until it is interrupted. Options hold over profiles.",
    kExits,
    {},
    kExamples};

// What the command line says; what it leaves out is as the profile has it.
struct Settings {
    std::vector<std::string> profiles;
    std::vector<std::string> lines;  // links or ports
    std::string readyFile;
    std::optional<unsigned> baudRate;
    std::optional<double> delayMilliseconds;
    std::optional<double> splitMilliseconds;
    std::optional<double> unsolicitedMilliseconds;
    std::optional<std::uint32_t> dropped;
    std::optional<std::uint32_t> noise;
    std::optional<std::uint64_t> seed;
    std::optional<std::string> echo;
    std::optional<std::string> store;
    std::optional<std::string> otp;
    std::string cable;
    std::string replay;
    std::string record;
    bool log = false;
    bool printProfile = false;
    std::vector<std::string> faults;
};

std::uint64_t microseconds(double milliseconds) { return static_cast<std::uint64_t>(milliseconds * 1000); }

std::string faultProblem(const std::string& text) {
    Faults unused;
    return addFault(unused, text);
}

void describe(CLI::App& app, Settings& s) {
    const CLI::Validator notNegative = CLI::Validator(CLI::NonNegativeNumber).description("");
    app.add_option("profile", s.profiles, "profile files, one for each handset; see --print-profile")
        ->type_name("FILE");
#ifdef _WIN32
    app.add_option(kLineOption, s.lines, "the COM port to answer on, for instance COM8; again for each further handset")
        ->type_name("PORT")
        ->allow_extra_args(false);
#else
    app.add_option(
           kLineOption, s.lines,
           "keep this symbolic link to the pseudo-terminal, replacing no other file; again for each further handset")
        ->type_name("FILE")
        ->allow_extra_args(false);
    app.add_option("--cable", s.cable,
                   "the file CABLE.out pulls the cable, CABLE.in puts it back, and after CABLE.stall nothing is taken "
                   "in until it is pulled")
        ->type_name("CABLE");
#endif
    app.add_option("--ready-file", s.readyFile, "make this file once all lines are up")->type_name("FILE");
    app.add_option("--baud-rate", s.baudRate, "the line's rate; 0: as fast as the machine [115200]")->type_name("RATE");
    app.add_option("--echo", s.echo, "echo of what is typed [on]")->check(CLI::IsMember({"on", "off"}));
    app.add_option("--delay", s.delayMilliseconds, "milliseconds before each answer")
        ->type_name("MS")
        ->check(notNegative);
    app.add_option("--split", s.splitMilliseconds, "milliseconds between the bytes of an answer")
        ->type_name("MS")
        ->check(notNegative);
    app.add_option("--drop", s.dropped, "bytes in a thousand that are lost")
        ->type_name("N")
        ->check(CLI::Range(0, 1000).description(""));
    app.add_option("--noise", s.noise, "bytes in a thousand that are noise")
        ->type_name("N")
        ->check(CLI::Range(0, 1000).description(""));
    app.add_option("--seed", s.seed, "of dropped bytes and noise")->type_name("N");
    app.add_option("--unsolicited", s.unsolicitedMilliseconds, "milliseconds between numbered confirmations; 0: none")
        ->type_name("MS")
        ->check(notNegative);
    app.add_option("--store", s.store, "the E2P store: read at the start if it is there, written at the end")
        ->type_name("FILE");
    app.add_option("--otp", s.otp, "answer to the one-time-programmable query; empty: ERROR [UNLOCKED]");
    app.add_option("--fault", s.faults,
                   "a fault for good, or as NAME=COUNT for so many answers; names: " + faultNames())
        ->type_name("NAME")
        ->allow_extra_args(false)
        ->check(CLI::Validator(faultProblem, "", ""));
    app.add_option("--replay", s.replay, "answer from this recorded conversation what it holds")->type_name("FILE");
    app.add_option("--record", s.record, "write the conversation to this file, for --replay")->type_name("FILE");
    app.add_flag("--log", s.log, "write what it gets and answers to the standard error output");
    app.add_flag("--print-profile", s.printProfile, "print a commented profile with every key, and end");
}

void override(HandsetSetup& setup, const Settings& s) {
    Faults& faults = setup.faults;
    if (s.baudRate) setup.profile.baudRate = *s.baudRate;
    if (s.echo) setup.profile.echo = *s.echo == "on";
    if (s.otp) setup.profile.otp = *s.otp;
    if (s.delayMilliseconds) faults.delayMicroseconds = microseconds(*s.delayMilliseconds);
    if (s.splitMilliseconds) faults.splitGapMicroseconds = microseconds(*s.splitMilliseconds);
    if (s.dropped) faults.droppedPerMille = *s.dropped;
    if (s.noise) faults.noisePerMille = *s.noise;
    if (s.seed) faults.seed = *s.seed;
    if (s.unsolicitedMilliseconds) setup.unsolicitedMicroseconds = microseconds(*s.unsolicitedMilliseconds);
    if (s.store) setup.storeFile = *s.store;
    for (const std::string& fault : s.faults) addFault(faults, fault);
}

// One for each handset, in the order of the profiles and lines.
std::vector<HandsetSetup> setups(const Settings& s) {
    const std::size_t count = std::max<std::size_t>({1, s.profiles.size(), s.lines.size()});
    if (s.profiles.size() > 1 && s.lines.size() > 1 && s.profiles.size() != s.lines.size()) {
        throw ProgramFailure(ExitStatus::Usage, std::string(kLineOption) + " is given " +
                                                    std::to_string(s.lines.size()) + " times for " +
                                                    std::to_string(s.profiles.size()) + " profiles");
    }
    if (count > 1 && (!s.record.empty() || !s.cable.empty())) {
        throw ProgramFailure(ExitStatus::Usage,
                             std::string(s.record.empty() ? "--cable" : "--record") + " is for one handset");
    }
    std::vector<HandsetSetup> all;
    std::set<std::string> stores;
    std::string error;
    for (std::size_t i = 0; i < count; ++i) {
        std::optional<HandsetSetup> setup = HandsetSetup();
        if (!s.profiles.empty()) setup = readProfile(s.profiles[s.profiles.size() == 1 ? 0 : i], error);
        if (!setup) throw ProgramFailure(ExitStatus::Usage, error);
        override(*setup, s);
        if (!setup->storeFile.empty() && !stores.insert(setup->storeFile).second) {
            throw ProgramFailure(ExitStatus::Usage, "two handsets would keep their objects in " + setup->storeFile);
        }
        if (!readStore(*setup, error)) throw ProgramFailure(ExitStatus::FileTrouble, error);
        if (!s.replay.empty() && !(setup->conversation = readConversation(s.replay, error))) {
            throw ProgramFailure(ExitStatus::Usage, error);
        }
        all.push_back(std::move(*setup));
    }
    return all;
}

// Writes events of several handsets, each line whole.
class EventLog {
public:
    explicit EventLog(const Settings& settings) : toScreen_(settings.log) {
        if (!settings.record.empty()) file_.open(settings.record);
        if (file_.is_open()) file_ << "# recorded by mova-handset: milliseconds, <- got, -> answered\n";
    }
    bool isGood() const { return file_.good(); }
    bool isWanted() const { return toScreen_ || file_.is_open(); }

    void write(const std::string& prefix, std::uint64_t microseconds, LogKind kind, std::string_view text) {
        const std::string line = conversationLine(microseconds, kind, text);
        const std::lock_guard guard(mutex_);
        if (toScreen_) std::fprintf(stderr, "%s%s\n", prefix.c_str(), line.c_str());
        if (file_.is_open()) file_ << line << std::endl;
    }

private:
    const bool toScreen_;
    std::mutex mutex_;
    std::ofstream file_;
};

ExitStatus run(const Settings& s) {
    const std::vector<HandsetSetup> handsets = setups(s);
    EventLog log(s);
    if (!s.record.empty() && !(log.isWanted() && log.isGood())) {
        throw ProgramFailure(ExitStatus::FileTrouble, s.record + " cannot be written");
    }
    std::atomic<bool> saved{true};
    std::vector<Line> lines;
    for (std::size_t i = 0; i < handsets.size(); ++i) {
        const HandsetSetup& setup = handsets[i];
        const std::string prefix = handsets.size() > 1 ? setup.name + " " + std::to_string(i + 1) + " " : "";
        Line line;
        line.profile = setup.profile;
        if (i < s.lines.size()) line.link = line.port = s.lines[i];
        line.cable = s.cable;
        line.prepare = [&setup, &log, prefix](Handset& handset, std::uint64_t now) {
            if (log.isWanted()) {
                handset.setLog([&log, prefix, now](std::uint64_t when, LogKind kind, std::string_view text) {
                    log.write(prefix, when > now ? when - now : 0, kind, text);
                });
            }
            setup.applyTo(handset, now);
        };
        line.finish = [&setup, &saved](Handset& handset) {
            if (writeStore(setup, handset.store())) return;
            saved = false;
            tellTrouble(kProgram, setup.storeFile + " cannot be written");
        };
        lines.push_back(std::move(line));
    }
    serveLines(lines, s.readyFile);
    return saved && log.isGood() ? ExitStatus::Done : ExitStatus::FileTrouble;
}

ExitStatus runProgram(int argc, char** argv) {
    Settings settings;
    CLI::App app;
    describeProgram(app, kProgram);
    describe(app, settings);
    if (const auto ended = parse(app, kProgram, argc, argv)) return *ended;
    if (settings.printProfile) {
        std::fputs(kCommentedProfile, stdout);
        return ExitStatus::Done;
    }
    return run(settings);
}

}  // namespace
}  // namespace mova::handset

int main(int argc, char** argv) {
    using namespace mova;
    try {
        return static_cast<int>(handset::runProgram(argc, argv));
    } catch (const ProgramFailure& failure) {
        tellTrouble(handset::kProgram, failure.what());
        return static_cast<int>(failure.status);
    } catch (const handset::LineError& error) {
        tellTrouble(handset::kProgram, error.what());
        return static_cast<int>(ExitStatus::PortNotOpened);
    } catch (const std::exception& error) {
        tellTrouble(handset::kProgram, error.what());
        return static_cast<int>(ExitStatus::FileTrouble);
    }
}
