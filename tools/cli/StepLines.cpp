#include "cli/StepLines.h"

#include "base/Text.h"

namespace mova::cli {

StyledText verdictOf(bool passed) { return passed ? StyledText(Style::Good, "pass") : StyledText(Style::Bad, "FAIL"); }

std::string textWithoutPort(double seconds) { return format("the port was gone for %.1f s", seconds); }

std::vector<StyledText> linesOf(const StepOutcome& outcome, bool verbose) {
    if (outcome.verdict == Verdict::NotRun) return {};
    const bool passed = outcome.verdict == Verdict::Passed;
    const ScriptStep& step = *outcome.step;
    std::vector<StyledText> lines;
    if (outcome.withoutPort > 0) {
        lines.push_back("  " + StyledText(Style::Bad, "back") + format("  %6.2f s  ", outcome.withoutPort) +
                        textWithoutPort(outcome.withoutPort));
    }
    if (step.kind == ScriptStep::Kind::Echo && passed) return {StyledText(Style::Strong, outcome.text)};
    lines.push_back("  " + verdictOf(passed) + format("  %6.2f s  ", outcome.seconds) + outcome.where() + ": " +
                    outcome.text + (outcome.round.empty() ? "" : " (round " + outcome.round + ")"));
    if (!passed) lines.emplace_back("        " + outcome.problem);
    if (passed && !verbose) return lines;
    std::string lead = "        output: ";
    for (const std::string& line : outcome.output) {
        lines.emplace_back(lead + line);
        lead = "                ";
    }
    if (outcome.output.empty() && step.kind == ScriptStep::Kind::Command) lines.emplace_back(lead + "none");
    for (const auto& [name, value] : outcome.captured)
        lines.emplace_back(format("        %s = %s", name.c_str(), value.c_str()));
    return lines;
}

std::string sumOf(const RunReport& report) {
    return format("%zu steps: %zu passed, %zu failed, %zu not run, %.2f s", report.steps.size(),
                  report.count(Verdict::Passed), report.count(Verdict::Failed), report.count(Verdict::NotRun),
                  report.seconds());
}

}  // namespace mova::cli
