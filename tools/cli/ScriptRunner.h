// Runs the steps of a script, one after the other, on the session of its context, and tells each that ends.
#pragma once
#include <functional>

#include "cli/Context.h"
#include "cli/RunReport.h"
#include "cli/ScriptCheck.h"

namespace mova::cli {

// Called by the thread that runs the script.
struct RunWatcher {
    std::function<void(const StepOutcome&)> begins;  // its step, text and round
    std::function<void(StepOutcome)> ended;          // also those that are not run any more
};

class ScriptRunner {
public:
    ScriptRunner(Context& context, const Script& script, RunVariables variables, bool keepGoing, RunWatcher watcher);
    ~ScriptRunner() { context_.inSession = false; }
    ScriptRunner(const ScriptRunner&) = delete;
    ScriptRunner& operator=(const ScriptRunner&) = delete;

    void check() { checkScript(context_, script_, variables_); }  // throws Failure
    void run();

private:
    void runSteps(const std::vector<ScriptStep>& steps);
    void runStep(const ScriptStep& step);
    void give(const ScriptStep& step);  // a let
    void repeat(const ScriptStep& step);
    void runRounds(const ScriptStep& step, std::uint64_t count, StepOutcome& outcome);
    void attempt(const ScriptStep& step, StepOutcome& outcome);
    void act(const ScriptStep& step, StepOutcome& outcome);
    void runCommand(const ScriptStep& step, StepOutcome& outcome);
    void finish(StepOutcome outcome);
    std::uint64_t numberOf(const std::string& text, const ScriptPlace& place, std::uint64_t least,
                           std::uint64_t most) const;
    StepOutcome outcomeOf(const ScriptStep& step) const;

    Context& context_;
    const Script& script_;
    RunVariables variables_;
    const bool keepGoing_;
    const RunWatcher watcher_;
    std::vector<std::uint64_t> rounds_;  // of the repeats that are under way
    std::uint64_t attempted_ = 0;
    bool stopped_ = false;
};

}  // namespace mova::cli
