#include "cli/StationRun.h"

#include <algorithm>
#include <filesystem>

#include "base/Text.h"
#include "cli/RunMany.h"

namespace mova::cli {

namespace {

// trace.log of the station left is trace.left.log.
std::string fileOfStation(const std::string& path, const std::string& station) {
    if (path.empty()) return path;
    std::string mark = std::filesystem::path(station).filename().string();  // of a port by its device
    for (char& c : mark) {
        if (!isVariableName(std::string("_") + c) && c != '.') c = '_';
    }
    std::filesystem::path file(path);
    file.replace_filename(file.stem().string() + "." + mark + file.extension().string());
    return file.string();
}

}  // namespace

StationRun::StationRun(const Context& base, const Station& station, const Script& script, const Variables& set,
                       RunManner manner)
    : name_(station.name),
      script_(script),
      runner_(context_, script, runVariables(station.name, station.port, station.variables, set), manner,
              {[this](const StepOutcome& begun) {
                   const std::lock_guard guard(mutex_);
                   current_ = begun;
               },
               [this](StepOutcome outcome) {
                   tell_(outcome);
                   const std::lock_guard guard(mutex_);
                   report_.steps.push_back(std::move(outcome));
                   current_.reset();
               },
               [this](bool gone, const std::string& text) {
                   const std::lock_guard guard(mutex_);
                   waitsForPort_ = gone ? text : std::string();
               }}) {
    SessionOptions& options = context_.options;
    options = base.options;
    options.port = station.port;
    if (!base.given.baudRate) options.baudRate = station.baudRate.value_or(options.baudRate);
    if (!base.given.timeout) options.timeout = station.timeout.value_or(options.timeout);
    options.traceFile = fileOfStation(options.traceFile, name_);
    options.logFile = fileOfStation(options.logFile, name_);
    report_.path = script.path;
    report_.station = name_;
    report_.port = station.port;
}

void StationRun::check() {
    try {
        runner_.check();
    } catch (Failure& failure) {
        failure.message += " (station " + name_ + ")";
        throw;
    }
}

void StationRun::start(const std::shared_ptr<StationRun>& run, std::function<void(const StepOutcome&)> tell) {
    run->began_ = run->context_.session.clock().tickCount();
    run->thread_ = std::thread([run, tell = std::move(tell)] { run->run(tell); });
}

void StationRun::run(const std::function<void(const StepOutcome&)>& tell) {
    tell_ = tell;
    Failure trouble;
    try {
        runAndClose();
    } catch (const Failure& failure) {
        trouble = failure;
    } catch (const std::exception& error) {
        trouble = {ExitStatus::LineTrouble, error.what(), {}};
    }
    const std::lock_guard guard(mutex_);
    if (!trouble.message.empty() && current_) {
        current_->verdict = Verdict::Failed;
        current_->status = trouble.status;
        current_->problem = trouble.message;
        report_.steps.push_back(std::move(*current_));
        current_.reset();
    }
    ended_ = true;
}

void StationRun::runAndClose() {
    runner_.run();
    {
        const std::lock_guard guard(mutex_);
        seconds_ = secondsSinceStart();
        judged_ = true;
    }
    context_.session.close();
}

double StationRun::secondsSinceStart() {
    constexpr double kMilliseconds = 1000;
    return (context_.session.clock().tickCount() - began_) / kMilliseconds;
}

StationRun::State StationRun::state() {
    const std::lock_guard guard(mutex_);
    const std::size_t notRun = report_.count(Verdict::NotRun);
    State state{ended_, report_.steps.size() - notRun,
                !waitsForPort_.empty() ? waitsForPort_
                : current_             ? current_->text
                                       : std::string(),
                judged_ ? seconds_ : secondsSinceStart()};
    if (judged_) state.current = report_.firstFailed() == nullptr ? "pass" : "FAIL  " + report_.problem();
    return state;
}

RunReport StationRun::report() {
    const std::lock_guard guard(mutex_);
    RunReport report = report_;
    if (!current_) return report;
    StepOutcome cut = *current_;
    cut.verdict = Verdict::Failed;
    cut.status = ExitStatus::Interrupted;
    cut.problem = "interrupted";
    const auto steps = judgedSteps(script_.steps);
    auto next = std::find(steps.begin(), steps.end(), cut.step);
    report.steps.push_back(std::move(cut));
    if (next != steps.end()) ++next;
    for (; next != steps.end(); ++next) {
        StepOutcome& left = report.steps.emplace_back();
        left.step = *next;
        left.text = (*next)->text;
    }
    return report;
}

}  // namespace mova::cli
