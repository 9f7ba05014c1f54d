// What became of each step of a script.
#pragma once
#include <string>
#include <vector>

#include "cli/Failure.h"
#include "cli/Output.h"
#include "cli/Script.h"

namespace mova::cli {

struct StepOutcome {
    enum class Verdict { Passed, Failed, NotRun } verdict = Verdict::NotRun;
    ScriptStep step;
    std::vector<std::string> output;
    std::string problem;
    ExitStatus status = ExitStatus::Done;  // what the script ends with because of it
    double seconds = 0;
};

struct RunReport {
    std::string path;
    std::vector<StepOutcome> steps;

    std::size_t count(StepOutcome::Verdict verdict) const;
    const StepOutcome* firstFailed() const;
    double seconds() const;
    Json json() const;
    std::string junit() const;  // XML, as build servers read it
};

}  // namespace mova::cli
