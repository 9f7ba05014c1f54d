// A script on one of several stations: its session, the thread that runs it, and what has become of it so far.
#pragma once
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "cli/ScriptRunner.h"

namespace mova::cli {

class StationRun {
public:
    // base: the options that hold for every station.
    StationRun(const Context& base, const Station& station, const Script& script, const Variables& set,
               RunManner manner);
    StationRun(const StationRun&) = delete;
    StationRun& operator=(const StationRun&) = delete;

    const std::string& name() const { return name_; }
    void check();  // throws Failure

    // tell: called by the thread of the run for each step that has ended. The thread keeps the run alive.
    static void start(const std::shared_ptr<StationRun>& run, std::function<void(const StepOutcome&)> tell);

    struct State {
        bool ended = false;
        std::size_t stepsEnded = 0;
        std::string current;  // what is under way, and in the end the verdict
        double seconds = 0;   // since the start, or from it to the end
    };
    State state();
    // Of a run that has not ended: what is under way has been interrupted, the rest is not run.
    RunReport report();
    void waitForEnd() { thread_.join(); }
    void leave() { thread_.detach(); }  // it hangs, and may outlive main

private:
    void run(const std::function<void(const StepOutcome&)>& tell);
    void runAndClose();
    double secondsSinceStart();

    Context context_;
    const std::string name_;
    const Script& script_;
    ScriptRunner runner_;
    std::thread thread_;
    std::mutex mutex_;
    RunReport report_;                    // guarded by mutex_, as all below
    std::optional<StepOutcome> current_;  // begun and not ended
    std::string waitsForPort_;            // what is told of it; empty: it is there
    std::function<void(const StepOutcome&)> tell_;
    std::uint32_t began_ = 0;
    double seconds_ = 0;
    bool judged_ = false;  // only the port is still to be closed
    bool ended_ = false;
};

}  // namespace mova::cli
