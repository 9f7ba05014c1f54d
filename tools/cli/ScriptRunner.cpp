#include "cli/ScriptRunner.h"

#include <algorithm>
#include <utility>

#include "cli/Expectations.h"
#include "cli/Interpreter.h"
#include "cli/ScriptText.h"
#include "cli/StepLines.h"

namespace mova::cli {

namespace {

constexpr std::uint64_t kMostSteps = 1'000'000;  // all of which the report holds

// The longest wait for an answer, for the time of a command.
class TimeoutForNow {
public:
    TimeoutForNow(Context& context, std::uint64_t milliseconds) : context_(context), usual_(context.options.timeout) {
        use(static_cast<std::int32_t>(milliseconds));
    }
    ~TimeoutForNow() { use(usual_); }
    TimeoutForNow(const TimeoutForNow&) = delete;
    TimeoutForNow& operator=(const TimeoutForNow&) = delete;

private:
    void use(std::int32_t milliseconds) {
        context_.options.timeout = milliseconds;
        if (context_.session.isOpen()) context_.session.applyTimeouts();
    }

    Context& context_;
    const std::int32_t usual_;
};

}  // namespace

ScriptRunner::ScriptRunner(Context& context, const Script& script, RunVariables variables, RunManner manner,
                           RunWatcher watcher)
    : context_(context),
      script_(script),
      variables_(std::move(variables)),
      manner_(manner),
      watcher_(std::move(watcher)),
      before_(std::exchange(context.within, Within::Script)),
      cable_(context, manner.pulled) {
    cable_.tellBy(watcher_.cable);
}

void ScriptRunner::run() { runSteps(script_.steps); }

// NOLINTNEXTLINE(misc-no-recursion): as deep as the script's repeats
void ScriptRunner::runSteps(const std::vector<ScriptStep>& steps) {
    for (const ScriptStep& step : steps) runStep(step);
}

// NOLINTNEXTLINE(misc-no-recursion)
void ScriptRunner::runStep(const ScriptStep& step) {
    if (step.kind == ScriptStep::Kind::Repeat) return repeat(step);
    if (step.kind == ScriptStep::Kind::Let) return give(step);
    StepOutcome outcome = outcomeOf(step);
    if (!stopped_) {
        watcher_.begins(outcome);
        attempt(step, outcome);
    }
    finish(std::move(outcome));
}

void ScriptRunner::give(const ScriptStep& step) {
    if (stopped_ || variables_.set.contains(step.name)) return;
    try {
        variables_.values[step.name] = filledIn(step.value, variables_.values);
    } catch (const Failure&) {
        variables_.values.erase(step.name);  // whoever uses it fails
    }
}

// NOLINTNEXTLINE(misc-no-recursion)
void ScriptRunner::repeat(const ScriptStep& step) {
    if (stopped_) {  // what is not run any more is told once
        runSteps(step.body);
        if (step.until) finish(outcomeOf(step));
        return;
    }
    StepOutcome outcome = outcomeOf(step);
    rounds_.push_back(0);
    try {
        runRounds(step, numberOf(step.value, step.valuePlace, 1, kMostRounds), outcome);
    } catch (const Failure& failure) {
        outcome.status = failure.status;
        outcome.problem = failure.message;
        outcome.verdict = Verdict::Failed;
    }
    rounds_.pop_back();
    if (rounds_.empty()) {
        variables_.values.erase(own_variable::kRound);
    } else {
        variables_.values[own_variable::kRound] = std::to_string(rounds_.back());
    }
    if (step.until || outcome.verdict == Verdict::Failed) finish(std::move(outcome));
}

// NOLINTNEXTLINE(misc-no-recursion)
void ScriptRunner::runRounds(const ScriptStep& step, std::uint64_t count, StepOutcome& outcome) {
    std::string unmet;
    for (std::uint64_t round = 1; round <= count; ++round) {
        rounds_.back() = round;
        variables_.values[own_variable::kRound] = std::to_string(round);
        runSteps(step.body);
        if (stopped_) return;
        unmet = step.until ? unmetComparison(*step.until, variables_.values) : "";
        if (step.until && unmet.empty()) break;
    }
    outcome.verdict = unmet.empty() ? Verdict::Passed : Verdict::Failed;
    if (unmet.empty()) return;
    outcome.problem = "not within " + std::to_string(count) + " rounds: " + unmet;
    outcome.status = ExitStatus::Refused;
}

StepOutcome ScriptRunner::outcomeOf(const ScriptStep& step) const {
    StepOutcome outcome;
    outcome.step = &step;
    for (const std::uint64_t round : rounds_)
        outcome.round += (outcome.round.empty() ? "" : ".") + std::to_string(round);
    const bool isRepeat = step.kind == ScriptStep::Kind::Repeat;  // its values change with the rounds
    const std::string& text = step.kind == ScriptStep::Kind::Echo ? step.value : step.text;
    outcome.text = isRepeat ? text : shownIn(text, variables_.values);
    return outcome;
}

void ScriptRunner::attempt(const ScriptStep& step, StepOutcome& outcome) {
    Clock& clock = context_.session.clock();
    std::uint32_t begin = clock.tickCount();
    const double before = cable_.secondsWithout();
    try {
        checkInterrupt();
        if (++attempted_ > kMostSteps) failUsage("more than " + std::to_string(kMostSteps) + " steps");
        if (step.kind == ScriptStep::Kind::Command) {
            cable_.await();
            begin = clock.tickCount();
        }
        act(step, outcome);
    } catch (const Failure& failure) {
        outcome.status = failure.status;
        outcome.problem = failure.message;
        outcome.portWentAway = failure.code == portFailed().code;
    }
    outcome.seconds = (clock.tickCount() - begin) / 1000.0;
    outcome.withoutPort = cable_.secondsWithout() - before;
    if (outcome.withoutPort > 0) outcome.output.push_back(textWithoutPort(outcome.withoutPort));
    outcome.verdict = outcome.problem.empty() ? Verdict::Passed : Verdict::Failed;
}

void ScriptRunner::act(const ScriptStep& step, StepOutcome& outcome) {
    if (step.kind == ScriptStep::Kind::Sleep) {
        sleep(static_cast<std::uint32_t>(numberOf(step.value, step.valuePlace, 0, kLongestPause)));
    } else if (step.kind == ScriptStep::Kind::Command) {
        std::optional<TimeoutForNow> timeout;
        if (!step.timeout.empty())
            timeout.emplace(context_, numberOf(step.timeout, step.timeoutPlace, 1, kLongestTimeout));
        runCommand(step, outcome);
    }
}

// A pulled cable is none of its business: it asks nothing of the handset.
void ScriptRunner::sleep(std::uint32_t milliseconds) {
    constexpr std::uint32_t kSlice = 20;
    Clock& clock = context_.session.clock();
    const std::uint32_t begin = clock.tickCount();
    for (;;) {
        checkInterrupt();
        cable_.look();
        const std::uint32_t passed = clock.tickCount() - begin;
        if (passed >= milliseconds) return;
        clock.sleep(std::min(kSlice, milliseconds - passed));
    }
}

void ScriptRunner::runCommand(const ScriptStep& step, StepOutcome& outcome) {
    std::vector<std::string> words;
    for (const std::string& word : step.words) words.push_back(filledIn(word, variables_.values));
    Clock& clock = context_.session.clock();
    const std::uint32_t begin = clock.tickCount();
    Failure failure;
    context_.out.startCapture();
    const ExitStatus status = execute(context_, Scope::Session, words, &failure);
    outcome.output = context_.out.endCapture();
    const bool failed = status != ExitStatus::Done;
    outcome.portWentAway = failed && status != ExitStatus::Interrupted && context_.session.looksGone();
    if (outcome.portWentAway) {  // which is never the failure that the script expects
        outcome.problem = "the port went away";
        outcome.status = ExitStatus::LineTrouble;
        return;
    }
    const CommandOutcome ended{outcome.output, failed, failure.code, clock.tickCount() - begin};
    outcome.problem = status == ExitStatus::Interrupted
                          ? "interrupted"
                          : unmetExpectation(step, ended, variables_.values, outcome.captured);
    if (outcome.problem.empty()) return;
    // An expectation that is not met is a refusal, whatever the command ended with; a failure keeps its own.
    outcome.status = failed && !step.mayFail() ? status : ExitStatus::Refused;
}

void ScriptRunner::finish(StepOutcome outcome) {
    if (outcome.verdict == Verdict::Failed && endsRun(outcome)) stopped_ = true;
    watcher_.ended(std::move(outcome));
}

bool ScriptRunner::endsRun(const StepOutcome& failed) const {
    if (failed.status == ExitStatus::Interrupted) return true;
    // What the cable did to one step says nothing of the others.
    return failed.portWentAway ? manner_.pulled == Cable::Pulled::EndsIt : !manner_.keepGoing;
}

std::uint64_t ScriptRunner::numberOf(const std::string& text, const ScriptPlace& place, std::uint64_t least,
                                     std::uint64_t most) const {
    const std::string value = filledIn(text, variables_.values);
    const auto number = parseNumber(value);
    if (number && *number >= least && *number <= most) return *number;
    failAt(place, "\"" + value + "\" is no number from " + std::to_string(least) + " to " + std::to_string(most));
}

}  // namespace mova::cli
