#include "cli/RunReport.h"

#include <algorithm>

#include "base/Text.h"

namespace mova::cli {

namespace {

std::string xml(const std::string& text) {
    std::string escaped;
    for (const char c : text) {
        switch (c) {
            case '&': escaped += "&amp;"; break;
            case '<': escaped += "&lt;"; break;
            case '>': escaped += "&gt;"; break;
            case '"': escaped += "&quot;"; break;
            case '\n': escaped += "&#10;"; break;
            // Bytes beyond ASCII have no known code page here; control characters are not allowed at all.
            default: escaped += static_cast<unsigned char>(c) < 0x20 || static_cast<unsigned char>(c) >= 0x7F ? '?' : c;
        }
    }
    return escaped;
}

std::string joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) text += line + "\n";
    return text;
}

const char* nameOf(StepOutcome::Verdict verdict) {
    switch (verdict) {
        case StepOutcome::Verdict::Passed: return "passed";
        case StepOutcome::Verdict::Failed: return "failed";
        case StepOutcome::Verdict::NotRun: break;
    }
    return "not run";
}

}  // namespace

std::size_t RunReport::count(StepOutcome::Verdict verdict) const {
    return static_cast<std::size_t>(
        std::count_if(steps.begin(), steps.end(), [&](const auto& s) { return s.verdict == verdict; }));
}

const StepOutcome* RunReport::firstFailed() const {
    const auto found = std::find_if(steps.begin(), steps.end(),
                                    [](const auto& s) { return s.verdict == StepOutcome::Verdict::Failed; });
    return found == steps.end() ? nullptr : &*found;
}

double RunReport::seconds() const {
    double sum = 0;
    for (const StepOutcome& outcome : steps) sum += outcome.seconds;
    return sum;
}

Json RunReport::json() const {
    Json report = Json::object();
    report["file"] = path;
    report["passed"] = count(StepOutcome::Verdict::Passed);
    report["failed"] = count(StepOutcome::Verdict::Failed);
    report["notRun"] = count(StepOutcome::Verdict::NotRun);
    report["steps"] = Json::array();
    for (const StepOutcome& outcome : steps) {
        Json step = Json::object();
        step["line"] = outcome.step.line;
        step["text"] = outcome.step.text;
        step["verdict"] = nameOf(outcome.verdict);
        step["problem"] = outcome.problem;
        step["output"] = outcome.output;
        step["seconds"] = outcome.seconds;
        report["steps"].push_back(std::move(step));
    }
    return report;
}

std::string RunReport::junit() const {
    std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    text +=
        format("<testsuite name=\"%s\" tests=\"%zu\" failures=\"%zu\" errors=\"0\" skipped=\"%zu\" time=\"%.3f\">\n",
               xml(path).c_str(), steps.size(), count(StepOutcome::Verdict::Failed),
               count(StepOutcome::Verdict::NotRun), seconds());
    for (const StepOutcome& outcome : steps) {
        text += format("  <testcase classname=\"%s\" name=\"line %d: %s\" time=\"%.3f\">\n", xml(path).c_str(),
                       outcome.step.line, xml(outcome.step.text).c_str(), outcome.seconds);
        if (outcome.verdict == StepOutcome::Verdict::NotRun) text += "    <skipped/>\n";
        if (outcome.verdict == StepOutcome::Verdict::Failed)
            text += "    <failure message=\"" + xml(outcome.problem) + "\"/>\n";
        if (!outcome.output.empty()) text += "    <system-out>" + xml(joined(outcome.output)) + "</system-out>\n";
        text += "  </testcase>\n";
    }
    return text + "</testsuite>\n";
}

}  // namespace mova::cli
