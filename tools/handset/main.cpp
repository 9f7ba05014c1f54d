// mova-handset: a simulated handset to work with when none is on the desk.
#include <CLI/CLI.hpp>

#include <cstdio>
#include <fstream>
#include <sstream>

#include "handset/Options.h"

namespace mova::handset {

void makeReadyFile(const std::string& path) {
    if (!path.empty()) std::ofstream(path) << "ready\n";
}

namespace {

struct Settings {
    Options line;
    double delayMilliseconds = 0;
    double splitMilliseconds = 0;
    double unsolicitedMilliseconds = 0;
    std::uint32_t dropped = 0;
    std::uint32_t noise = 0;
    std::uint64_t seed = 1;
    std::string echo = "on";
    std::string store;
    bool log = false;
    std::vector<std::string> faults;
};

std::uint64_t microseconds(double milliseconds) { return static_cast<std::uint64_t>(milliseconds * 1000); }

void printLog(std::uint64_t now, LogKind kind, std::string_view text) {
    std::string shown;
    for (const char c : text) {
        if (c == '\r') {
            shown += "\\r";
        } else if (c == '\n') {
            shown += "\\n";
        } else if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) {
            char hex[8];
            std::snprintf(hex, sizeof hex, "\\x%02X", static_cast<unsigned char>(c));
            shown += hex;
        } else {
            shown += c;
        }
    }
    const char* const direction = kind == LogKind::Received ? "<-" : kind == LogKind::Sent ? "->" : "--";
    std::fprintf(stderr, "%12.3f %s %s\n", static_cast<double>(now) / 1000, direction, shown.c_str());
}

// "name" or "name=count"; without a count for good.
void addFault(Faults& faults, const std::string& text) {
    const auto equals = text.find('=');
    const auto fault = faultByName(text.substr(0, equals));
    if (!fault) throw CLI::ValidationError("--fault", "no fault is called " + text + "; there are: " + faultNames());
    const int answers = equals == text.npos ? Faults::kAlways : std::atoi(text.c_str() + equals + 1);
    if (answers == 0) throw CLI::ValidationError("--fault", text + ": the count must be a number above 0");
    faults.set(*fault, answers);
}

std::optional<E2pStore> loadStore(const std::string& path) {
    std::ifstream file(path);
    if (!file) return E2pStore::erased();  // made at the end
    std::ostringstream text;
    text << file.rdbuf();
    std::string error;
    auto store = E2pStore::fromText(text.str(), error);
    if (!store) std::fprintf(stderr, "mova-handset: %s: %s\n", path.c_str(), error.c_str());
    return store;
}

void describe(CLI::App& app, Settings& s) {
#ifdef _WIN32
    app.add_option("--port", s.line.port, "the COM port to answer on, for instance COM8");
#else
    app.add_option("--link", s.line.link, "keep this symbolic link to the pseudo-terminal");
#endif
    app.add_option("--ready-file", s.line.readyFile, "make this file once the line is up");
    app.add_option("--baud-rate", s.line.profile.baudRate, "the line's rate; 0: as fast as the machine")->capture_default_str();
    app.add_option("--echo", s.echo, "echo of what is typed")->check(CLI::IsMember({"on", "off"}))->capture_default_str();
    app.add_option("--delay", s.delayMilliseconds, "milliseconds before each answer");
    app.add_option("--split", s.splitMilliseconds, "milliseconds between the bytes of an answer");
    app.add_option("--drop", s.dropped, "bytes in a thousand that are lost")->check(CLI::Range(0, 1000));
    app.add_option("--noise", s.noise, "bytes in a thousand that are noise")->check(CLI::Range(0, 1000));
    app.add_option("--seed", s.seed, "of dropped bytes and noise");
    app.add_option("--unsolicited", s.unsolicitedMilliseconds, "milliseconds between numbered confirmations; 0: none");
    app.add_option("--store", s.store, "the E2P store: read at the start if it is there, written at the end");
    app.add_option("--otp", s.line.profile.otp, "answer to the one-time-programmable query; empty: ERROR")->capture_default_str();
    app.add_option("--fault", s.faults, "a fault for good, or as NAME=COUNT for so many answers; names: " + faultNames());
    app.add_flag("--log", s.log, "write what it gets and answers to the standard error output");
}

int run(Settings& s) {
    std::optional<E2pStore> store;
    if (!s.store.empty()) {
        store = loadStore(s.store);
        if (!store) return 1;
    }
    s.line.profile.echo = s.echo == "on";
    s.line.prepare = [&](Handset& handset, std::uint64_t now) {
        if (store) handset.store() = *store;
        if (s.log) handset.setLog(printLog);
        Faults& faults = handset.faults();
        faults.delayMicroseconds = microseconds(s.delayMilliseconds);
        faults.splitGapMicroseconds = microseconds(s.splitMilliseconds);
        faults.droppedPerMille = s.dropped;
        faults.noisePerMille = s.noise;
        faults.seed = s.seed;
        for (const std::string& fault : s.faults) addFault(faults, fault);
        handset.setUnsolicitedInterval(microseconds(s.unsolicitedMilliseconds), now);
    };
    bool saved = true;
    s.line.finish = [&](Handset& handset) {
        if (s.store.empty()) return;
        std::ofstream file(s.store);
        file << handset.store().toText();
        saved = static_cast<bool>(file.flush());
    };
    const int status = serveLine(s.line);
    if (!saved) std::fprintf(stderr, "mova-handset: %s cannot be written\n", s.store.c_str());
    return saved ? status : 1;
}

}  // namespace
}  // namespace mova::handset

int main(int argc, char** argv) {
    using namespace mova::handset;
    Settings settings;
    CLI::App app("A simulated mobile handset on a serial line: AT commands, the request protocol, faults on demand.\n"
                 "Prints where it is to be reached, and serves until it is interrupted.");
    describe(app, settings);
    try {
        app.parse(argc, argv);
        Faults check;
        for (const std::string& fault : settings.faults) addFault(check, fault);
    } catch (const CLI::ParseError& error) {
        return app.exit(error);
    }
    return run(settings);
}
