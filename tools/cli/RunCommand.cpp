#include <CLI/CLI.hpp>
#include <iostream>
#include <iterator>

#include "base/Text.h"
#include "cli/Cable.h"
#include "cli/Commands.h"
#include "cli/Interpreter.h"
#include "cli/RunReport.h"
#include "cli/TextFile.h"

namespace mova::cli {

namespace {

struct RunOptions {
    std::string path;
    std::string junit;
    bool keepGoing = false;
    bool verbose = false;
    bool checkOnly = false;
    bool noReconnect = false;
};

using Verdict = StepOutcome::Verdict;

class ScriptRun {
public:
    ScriptRun(Context& context, const RunOptions& options)
        : context_(context),
          options_(options),
          before_(std::exchange(context.within, Within::Script)),
          cable_(context, options.noReconnect ? Cable::Pulled::EndsIt : Cable::Pulled::IsMended) {}
    ~ScriptRun() { context_.within = before_; }
    ScriptRun(const ScriptRun&) = delete;
    ScriptRun& operator=(const ScriptRun&) = delete;

    void run() {
        load();
        checkForm();
        if (options_.checkOnly) {
            context_.out.line(std::to_string(report_.steps.size()) + " steps, well formed");
        } else {
            runSteps();
            if (!options_.junit.empty()) writeTextFile(options_.junit, report_.junit());
        }
        context_.commandName = "run";
        context_.result = report_.json();
        if (cable_.losses() > 0) context_.result["portLost"] = cable_.losses();
        if (!options_.checkOnly) tellSum();
    }

private:
    void load() {
        report_.path = options_.path;
        std::string text;
        if (options_.path == "-") {
            if (before_ == Within::Shell) failUsage("the shell reads the standard input", "run takes a file here");
            text.assign(std::istreambuf_iterator<char>(std::cin), {});
            text = withoutByteOrderMark(text);
            checkInterrupt();
        } else {
            text = readTextFile(options_.path);
        }
        for (ScriptStep& step : parseScript(text, options_.path)) {
            StepOutcome outcome;
            outcome.step = std::move(step);
            report_.steps.push_back(std::move(outcome));
        }
        if (report_.steps.empty()) failUsage(options_.path + " holds no step");
    }

    // Every command line before the first of them runs.
    void checkForm() {
        context_.checkOnly = true;
        for (const StepOutcome& outcome : report_.steps) {
            if (outcome.step.kind != ScriptStep::Kind::Command) continue;
            Failure failure;
            context_.out.startCapture();
            const ExitStatus status = execute(context_, Scope::Session, outcome.step.words, &failure);
            context_.out.endCapture();
            if (status == ExitStatus::Done) continue;
            context_.checkOnly = false;
            failure.message = options_.path + ":" + std::to_string(outcome.step.line) + ": " + outcome.step.text +
                              ": " + failure.message;
            throw failure;
        }
        context_.checkOnly = false;
    }

    void runSteps() {
        for (StepOutcome& outcome : report_.steps) {
            const double before = cable_.secondsWithout();
            portWentAway_ = false;
            runStep(outcome);
            tellGap(outcome, cable_.secondsWithout() - before);
            show(outcome);
            if (outcome.status == ExitStatus::Interrupted) break;
            if (outcome.verdict != Verdict::Failed) continue;
            // What the cable did to one step says nothing of the others.
            if (portWentAway_ ? options_.noReconnect : !options_.keepGoing) break;
        }
    }

    void tellGap(StepOutcome& outcome, double seconds) {
        if (seconds <= 0) return;
        const std::string text = format("the port was gone for %.1f s", seconds);
        outcome.output.push_back(text);
        context_.out.line("  " + StyledText(Style::Bad, "back") + format("  %6.2f s  ", seconds) + text);
    }

    void runStep(StepOutcome& outcome) {
        Clock& clock = context_.session.clock();
        std::uint32_t begin = clock.tickCount();
        try {
            checkInterrupt();
            if (outcome.step.kind == ScriptStep::Kind::Sleep) sleep(outcome.step.milliseconds);
            if (outcome.step.kind == ScriptStep::Kind::Command) {
                cable_.await();
                begin = clock.tickCount();
                runCommand(outcome);
            }
        } catch (const Failure& failure) {
            outcome.status = failure.status;
            outcome.problem = failure.message;
            portWentAway_ = failure.code == portFailed().code;
        }
        outcome.seconds = (clock.tickCount() - begin) / 1000.0;
        outcome.verdict = outcome.problem.empty() ? Verdict::Passed : Verdict::Failed;
    }

    // A pulled cable is none of its business: it asks nothing of the handset.
    void sleep(std::uint32_t milliseconds) {
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

    void runCommand(StepOutcome& outcome) {
        Failure failure;
        context_.out.startCapture();
        const ExitStatus status = execute(context_, Scope::Session, outcome.step.words, &failure);
        outcome.output = context_.out.endCapture();
        const bool failed = status != ExitStatus::Done;
        portWentAway_ = failed && status != ExitStatus::Interrupted && context_.session.looksGone();
        if (portWentAway_) {  // which is never the failure that the script expects
            outcome.problem = "the port went away";
            outcome.status = ExitStatus::LineTrouble;
            return;
        }
        outcome.problem = status == ExitStatus::Interrupted
                              ? "interrupted"
                              : unmetExpectation(outcome.step, outcome.output, failed, failure.code);
        if (outcome.problem.empty()) return;
        // An expectation that is not met is a refusal, whatever the command ended with; a failure keeps its own.
        outcome.status = failed && !outcome.step.mayFail() ? status : ExitStatus::Refused;
    }

    void show(const StepOutcome& outcome) {
        Output& out = context_.out;
        const ScriptStep& step = outcome.step;
        if (step.kind == ScriptStep::Kind::Echo) {
            out.line(StyledText(Style::Strong, step.text));
            return;
        }
        const bool passed = outcome.verdict == Verdict::Passed;
        const StyledText verdict = passed ? StyledText(Style::Good, "pass") : StyledText(Style::Bad, "FAIL");
        out.line("  " + verdict + format("  %6.2f s  ", outcome.seconds) + options_.path + ":" +
                 std::to_string(step.line) + ": " + step.text);
        if (!passed) out.line("        " + outcome.problem);
        if (passed && !options_.verbose) return;
        const char* lead = "        output: ";
        for (const std::string& line : outcome.output) {
            out.line(lead + line);
            lead = "                ";
        }
        if (outcome.output.empty() && step.kind == ScriptStep::Kind::Command) out.line(std::string(lead) + "none");
    }

    void tellSum() {
        context_.out.line(format("%zu steps: %zu passed, %zu failed, %zu not run, %.2f s", report_.steps.size(),
                                 report_.count(Verdict::Passed), report_.count(Verdict::Failed),
                                 report_.count(Verdict::NotRun), report_.seconds()));
        const StepOutcome* const failed = report_.firstFailed();
        if (failed == nullptr) return;
        throw Failure{
            failed->status, options_.path + ":" + std::to_string(failed->step.line) + ": " + failed->problem, {}};
    }

    Context& context_;
    const RunOptions& options_;
    const Within before_;
    Cable cable_;
    RunReport report_;
    bool portWentAway_ = false;  // during the step
};

}  // namespace

void describeRun(CLI::App& command, Context& context) {
    auto o = std::make_shared<RunOptions>();
    command.description("Runs a script: commands, and what is expected of them; for test stations and CI");
    command.add_option("file", o->path, "the script; - reads the standard input")->required()->type_name("FILE");
    command.add_flag("-k,--keep-going", o->keepGoing, "go on after a step that failed");
    command.add_flag("-v,--verbose", o->verbose, "show the output of every step");
    command.add_flag("--check", o->checkOnly, "look only whether the script is well formed");
    command.add_option("--junit", o->junit, "write a JUnit report to this file")->type_name("FILE");
    addNoReconnect(command, o->noReconnect);
    command.footer(
        "A script has one command a line, as in the shell, without \"mova\"; behind it what is expected:\n"
        "  at AT+CSQ\n"
        "  expect +CSQ: 21,*         a line of the output matches: * any text, ? one character\n"
        "  expect-not *ERROR*        no line matches\n"
        "  expect-regex ^\\+CSQ: \\d+  a line holds a match\n"
        "  e2p read 0x7777 1\n"
        "  expect-code E2pStatus3    the command fails with this code, by name or number\n"
        "  expect-failure            the command fails, whatever the reason\n"
        "  sleep 500                 milliseconds\n"
        "  echo Part two             a heading in the report\n"
        "  # a comment\n"
        "A command must succeed unless a failure is expected. The whole script is checked before its first command "
        "runs.\n"
        "When the port goes away, the command that was under way fails, whatever was expected, and is not sent again; "
        "the next ones wait for the port and go on, and the report says so. A sleep does not fail: a handset may be "
        "restarted behind it.\n"
        "The exit code is 1 when an expectation is not met, otherwise that of the command that failed.");
    whenRun(command, context, [&context, o] { ScriptRun(context, *o).run(); });
}

}  // namespace mova::cli
