// What became of each step of a script, on one station or on several.
#pragma once
#include <string>
#include <vector>

#include "cli/Failure.h"
#include "cli/Output.h"
#include "cli/Script.h"

namespace mova::cli {

enum class Verdict { Passed, Failed, NotRun };

struct StepOutcome {
    Verdict verdict = Verdict::NotRun;
    const ScriptStep* step = nullptr;
    std::string text;   // with its values
    std::string round;  // within repeats, "2" or "2.1" of the outer and the inner one; else empty
    std::vector<std::string> output;
    Variables captured;
    std::string problem;
    ExitStatus status = ExitStatus::Done;  // what the script ends with because of it
    double seconds = 0;
    double withoutPort = 0;     // seconds for which it waited for a port that had gone
    bool portWentAway = false;  // which is why it failed

    std::string where() const;  // "FILE:LINE"
};

struct RunReport {
    std::string path;
    std::string station;  // empty: the run is on one port
    std::string port;     // of the station
    std::vector<StepOutcome> steps;

    std::size_t count(Verdict verdict) const;
    const StepOutcome* firstFailed() const;
    double seconds() const;
    ExitStatus status() const;    // that of the first step that failed
    std::string problem() const;  // the same, told with its place
    Json json() const;
    std::string junit() const;  // XML, as build servers read it
};

// Of several stations, a suite each.
Json jsonOf(const std::string& path, const std::vector<RunReport>& reports);
std::string junitOf(const std::string& path, const std::vector<RunReport>& reports);

// The one of the two that says less about the handset: what ends a run on several stations.
ExitStatus worse(ExitStatus a, ExitStatus b);

}  // namespace mova::cli
