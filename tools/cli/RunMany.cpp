#include "cli/RunMany.h"

#include <algorithm>
#include <chrono>
#include <mutex>

#include "base/Text.h"
#include "cli/ChosenStations.h"
#include "cli/Interrupt.h"
#include "cli/KeptForGood.h"
#include "cli/LiveLines.h"
#include "cli/StationRun.h"
#include "cli/StepLines.h"
#include "cli/TextFile.h"
#include "program/Suggestion.h"

namespace mova::cli {

namespace {

// Each by the number of its steps where that is certain before they run: no repeat and so no end before the last round.
std::optional<std::size_t> stepsToCome(const Script& script) {
    const bool certain = std::none_of(script.steps.begin(), script.steps.end(),
                                      [](const ScriptStep& step) { return step.kind == ScriptStep::Kind::Repeat; });
    return certain ? std::optional(judgedSteps(script.steps).size()) : std::nullopt;
}

class ManyRun {
public:
    ManyRun(Context& context, const RunOptions& options, const Script& script)
        : context_(context), options_(options), script_(script), toCome_(stepsToCome(script)) {
        const Variables set = variablesSet(options, script);
        for (const Station& station : chosenStations(options.stations, options.ports)) {
            runs_.push_back(std::make_shared<StationRun>(context, station, script, set, RunManner(options)));
            nameWidth_ = std::max(nameWidth_, station.name.size());
        }
    }

    void run() {
        for (const auto& run : runs_) run->check();
        if (options_.checkOnly) {
            context_.out.line(std::to_string(judgedSteps(script_.steps).size()) + " steps for each of " +
                              std::to_string(runs_.size()) + " stations, well formed");
            return;
        }
        runAll();
        for (const auto& run : runs_) reports_.push_back(run->report());
        context_.result = jsonOf(script_.path, reports_);
        if (!options_.junit.empty()) writeTextFile(options_.junit, junitOf(script_.path, reports_));
        tellSum();
    }

private:
    using Timer = std::chrono::steady_clock;

    void runAll() {
        const bool live = !context_.out.isJson() && !options_.verbose && LiveLines::arePossible();
        begin_ = Timer::now();
        for (std::size_t i = 0; i < runs_.size(); ++i) {
            StationRun::start(runs_[i], [this, i, live](const StepOutcome& outcome) {
                if (!live) tellStep(i, outcome);
            });
        }
        watch(live);
        seconds_ = std::chrono::duration<double>(Timer::now() - begin_).count();
        const std::lock_guard guard(mutex_);
        closed_ = true;  // who hangs tells no more
    }

    // Until all have ended, or those that have not hang in spite of the wish to end. The program itself is ended after
    // kPatience; before that the reports are to be written.
    void watch(bool live) {
        constexpr auto kBetweenLooks = std::chrono::milliseconds(100);
        constexpr auto kPatienceHere = std::chrono::seconds(kPatience - 2);
        LiveLines lines;
        std::optional<Timer::time_point> told;
        for (;;) {
            const bool all =
                std::all_of(runs_.begin(), runs_.end(), [](const auto& run) { return run->state().ended; });
            if (all) break;
            if (interrupted() && !told) told = Timer::now();
            if (told && Timer::now() - *told > kPatienceHere) break;
            if (live) lines.draw(liveLines());
            std::this_thread::sleep_for(kBetweenLooks);
        }
        for (const auto& run : runs_) run->state().ended ? run->waitForEnd() : run->leave();
    }

    std::string padded(const std::string& name) const { return name + std::string(nameWidth_ + 2 - name.size(), ' '); }

    void tellStep(std::size_t index, const StepOutcome& outcome) {
        const std::lock_guard guard(mutex_);
        if (closed_) return;
        for (const StyledText& line : linesOf(outcome, options_.verbose))
            context_.out.line(StyledText(Style::Strong, padded(runs_[index]->name())) + line);
    }

    // Who still runs comes first where not all have room.
    std::vector<std::string> liveLines() const {
        std::vector<std::string> running, ended;
        for (const auto& run : runs_) {
            const StationRun::State state = run->state();
            const std::string of = toCome_ ? "/" + std::to_string(*toCome_) : "";
            const std::string line = padded(run->name()) + format("%4zu", state.stepsEnded) + of + " steps" +
                                     format("%7.1f s  ", state.seconds) + state.current;
            (state.ended ? ended : running).push_back(line);
        }
        std::vector<std::string> lines = std::move(running);
        lines.insert(lines.end(), ended.begin(), ended.end());
        const std::size_t most = LiveLines::mostLines();
        if (lines.size() > most) {
            const std::size_t hidden = lines.size() - most + 1;
            lines.resize(most - 1);
            lines.push_back("... and " + std::to_string(hidden) + " more");
        }
        return lines;
    }

    void tellSum() {
        ExitStatus worst = interrupted() ? ExitStatus::Interrupted : ExitStatus::Done;
        const RunReport* first = nullptr;  // of those that end worst
        std::size_t failed = 0;
        for (const RunReport& report : reports_) {
            const ExitStatus status = report.status();
            context_.out.line(padded(report.station) + verdictOf(status == ExitStatus::Done) + "  " + sumOf(report));
            if (status == ExitStatus::Done) continue;
            context_.out.line(padded("") + "      " + report.problem());
            ++failed;
            if (first == nullptr || worse(first->status(), status) != first->status()) first = &report;
            worst = worse(worst, status);
        }
        const std::size_t passed = reports_.size() - failed;
        context_.out.line(
            format("%zu stations: %zu passed, %zu failed, %.2f s", reports_.size(), passed, failed, seconds_));
        if (worst == ExitStatus::Done) return;
        const std::string which = first == nullptr ? "interrupted" : first->station + ": " + first->problem();
        throw Failure{worst, format("%zu of %zu stations failed; ", failed, reports_.size()) + which, {}};
    }

    Context& context_;
    const RunOptions& options_;
    const Script& script_;
    const std::optional<std::size_t> toCome_;
    std::vector<std::shared_ptr<StationRun>> runs_;
    std::vector<RunReport> reports_;
    std::size_t nameWidth_ = 0;
    Timer::time_point begin_;
    double seconds_ = 0;
    std::mutex mutex_;  // of the output while they run
    bool closed_ = false;
};

}  // namespace

Variables variablesSet(const RunOptions& options, const Script& script) {
    const std::vector<std::string> known = variablesIn(script.steps);
    Variables set;
    const auto refuse = [](const std::string& text, const std::string& why, const char* hint = "") {
        failUsage("--set " + text + ": " + why, hint);
    };
    for (const std::string& text : options.set) {
        const auto equals = text.find('=');
        const std::string name = text.substr(0, equals);
        if (equals == text.npos || !isVariableName(name)) refuse(text, "expected name=value", kVariableNameRule);
        if (isOwnVariable(name)) refuse(text, format("${%s} is told by the run itself", name.c_str()));
        if (std::find(known.begin(), known.end(), name) == known.end())
            refuse(text, format("the script has no variable \"%s\"", name.c_str()) + suggestion(name, known));
        set[name] = text.substr(equals + 1);
    }
    return set;
}

RunVariables runVariables(const std::string& station, const std::string& port, const Variables& ofStation,
                          const Variables& set) {
    RunVariables variables;
    variables.set = set;
    variables.set.insert(ofStation.begin(), ofStation.end());
    variables.values = variables.set;
    variables.values[own_variable::kStation] = station;
    variables.values[own_variable::kPort] = port;
    return variables;
}

void runOnStations(Context& context, const RunOptions& options, const Script& script) {
    if (context.given.port) {
        failUsage("--stations and --ports name the ports: neither --port nor --station goes with them");
    }
    // Kept for good, as what hangs in spite of an interrupt still uses it.
    keepForGood(std::make_unique<ManyRun>(context, options, script)).run();
}

}  // namespace mova::cli
