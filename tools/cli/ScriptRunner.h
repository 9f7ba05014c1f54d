// Runs the steps of a script, one after the other, on the session of its context, and tells each that ends.
#pragma once
#include <functional>

#include "cli/Cable.h"
#include "cli/Context.h"
#include "cli/RunOptions.h"
#include "cli/RunReport.h"
#include "cli/ScriptCheck.h"

namespace mova::cli {

// Called by the thread that runs the script.
struct RunWatcher {
    std::function<void(const StepOutcome&)> begins;  // its step, text and round
    std::function<void(StepOutcome)> ended;          // also those that are not run any more
    Cable::Tell cable;
};

// How a run takes what goes wrong.
struct RunManner {
    explicit RunManner(const RunOptions& options)
        : keepGoing(options.keepGoing), pulled(options.noReconnect ? Cable::Pulled::EndsIt : Cable::Pulled::IsMended) {}
    bool keepGoing;  // behind a step that failed
    Cable::Pulled pulled;
};

class ScriptRunner {
public:
    ScriptRunner(Context& context, const Script& script, RunVariables variables, RunManner manner, RunWatcher watcher);
    ~ScriptRunner() { context_.within = before_; }
    ScriptRunner(const ScriptRunner&) = delete;
    ScriptRunner& operator=(const ScriptRunner&) = delete;

    void check() { checkScript(context_, script_, variables_); }  // throws Failure
    void run();
    std::uint32_t timesPortWentAway() const { return cable_.losses(); }

private:
    void runSteps(const std::vector<ScriptStep>& steps);
    void runStep(const ScriptStep& step);
    void give(const ScriptStep& step);  // a let
    void repeat(const ScriptStep& step);
    void runRounds(const ScriptStep& step, std::uint64_t count, StepOutcome& outcome);
    void attempt(const ScriptStep& step, StepOutcome& outcome);
    void act(const ScriptStep& step, StepOutcome& outcome);
    void sleep(std::uint32_t milliseconds);
    void runCommand(const ScriptStep& step, StepOutcome& outcome);
    bool endsRun(const StepOutcome& failed) const;
    void finish(StepOutcome outcome);
    std::uint64_t numberOf(const std::string& text, const ScriptPlace& place, std::uint64_t least,
                           std::uint64_t most) const;
    StepOutcome outcomeOf(const ScriptStep& step) const;

    Context& context_;
    const Script& script_;
    RunVariables variables_;
    const RunManner manner_;
    const RunWatcher watcher_;
    const Within before_;
    Cable cable_;
    std::vector<std::uint64_t> rounds_;  // of the repeats that are under way
    std::uint64_t attempted_ = 0;
    bool stopped_ = false;
};

}  // namespace mova::cli
