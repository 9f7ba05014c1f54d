// "mova trace FILE": the figures of a trace file, and the trace as a picture.
#pragma once

namespace CLI {
class App;
}

namespace mova::trace {

constexpr int kTraceUnreadable = 1;  // the file cannot be read, is no trace, or the page cannot be written

// Adds the subcommand; running it sets exitStatus, which outlives the app: 0, or kTraceUnreadable.
void addTraceCommand(CLI::App& app, int& exitStatus);

}  // namespace mova::trace
