#include "cli/RunReport.h"

#include <algorithm>
#include <array>

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

const char* nameOf(Verdict verdict) {
    switch (verdict) {
        case Verdict::Passed: return "passed";
        case Verdict::Failed: return "failed";
        case Verdict::NotRun: break;
    }
    return "not run";
}

Json countsOf(const RunReport& report) {
    Json counts = Json::object();
    counts["passed"] = report.count(Verdict::Passed);
    counts["failed"] = report.count(Verdict::Failed);
    counts["notRun"] = report.count(Verdict::NotRun);
    return counts;
}

Json stepsOf(const RunReport& report) {
    Json steps = Json::array();
    for (const StepOutcome& outcome : report.steps) {
        Json step = Json::object();
        step["file"] = outcome.step->place.file;
        step["line"] = outcome.step->place.line;
        step["text"] = outcome.text;
        if (!outcome.round.empty()) step["round"] = outcome.round;
        step["verdict"] = nameOf(outcome.verdict);
        step["problem"] = outcome.problem;
        step["output"] = outcome.output;
        if (!outcome.captured.empty()) step["captured"] = outcome.captured;
        step["seconds"] = outcome.seconds;
        steps.push_back(std::move(step));
    }
    return steps;
}

std::string suiteCounts(std::size_t tests, std::size_t failures, std::size_t skipped, double seconds) {
    return format("tests=\"%zu\" failures=\"%zu\" errors=\"0\" skipped=\"%zu\" time=\"%.3f\"", tests, failures, skipped,
                  seconds);
}

std::string caseName(const StepOutcome& outcome, const RunReport& report) {
    std::string name = "line " + std::to_string(outcome.step->place.line) + ": " + outcome.text;
    if (outcome.step->place.file != report.path) name.insert(0, outcome.step->place.file + " ");
    return outcome.round.empty() ? name : name + " (round " + outcome.round + ")";
}

std::string suiteOf(const RunReport& report, const std::string& indent) {
    const bool ofStation = !report.station.empty();
    const std::string name = xml(ofStation ? report.station : report.path);
    std::string text = indent + "<testsuite name=\"" + name + "\" " +
                       suiteCounts(report.steps.size(), report.count(Verdict::Failed), report.count(Verdict::NotRun),
                                   report.seconds()) +
                       ">\n";
    if (ofStation) {
        text += indent + "  <properties><property name=\"port\" value=\"" + xml(report.port) + "\"/></properties>\n";
    }
    for (const StepOutcome& outcome : report.steps) {
        text += indent + format("  <testcase classname=\"%s\" name=\"%s\" time=\"%.3f\">\n", name.c_str(),
                                xml(caseName(outcome, report)).c_str(), outcome.seconds);
        if (outcome.verdict == Verdict::NotRun) text += indent + "    <skipped/>\n";
        if (outcome.verdict == Verdict::Failed)
            text += indent + "    <failure message=\"" + xml(outcome.problem) + "\"/>\n";
        if (!outcome.output.empty())
            text += indent + "    <system-out>" + xml(joined(outcome.output)) + "</system-out>\n";
        text += indent + "  </testcase>\n";
    }
    return text + indent + "</testsuite>\n";
}

constexpr const char* kXmlHead = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

// From the best to the worst.
constexpr std::array kOrder{ExitStatus::Done,        ExitStatus::Refused,       ExitStatus::NoAnswer,
                            ExitStatus::LineTrouble, ExitStatus::PortNotOpened, ExitStatus::FileTrouble,
                            ExitStatus::Usage,       ExitStatus::Interrupted};

auto rankOf(ExitStatus status) { return std::find(kOrder.begin(), kOrder.end(), status); }

}  // namespace

std::string StepOutcome::where() const { return step->place.file + ":" + std::to_string(step->place.line); }

std::size_t RunReport::count(Verdict verdict) const {
    return static_cast<std::size_t>(
        std::count_if(steps.begin(), steps.end(), [&](const auto& s) { return s.verdict == verdict; }));
}

const StepOutcome* RunReport::firstFailed() const {
    const auto found =
        std::find_if(steps.begin(), steps.end(), [](const auto& s) { return s.verdict == Verdict::Failed; });
    return found == steps.end() ? nullptr : &*found;
}

double RunReport::seconds() const {
    double sum = 0;
    for (const StepOutcome& outcome : steps) sum += outcome.seconds;
    return sum;
}

ExitStatus RunReport::status() const {
    const StepOutcome* const failed = firstFailed();
    return failed == nullptr ? ExitStatus::Done : failed->status;
}

std::string RunReport::problem() const {
    const StepOutcome* const failed = firstFailed();
    return failed == nullptr ? std::string() : failed->where() + ": " + failed->problem;
}

Json RunReport::json() const {
    Json report = Json::object();
    report["file"] = path;
    report.update(countsOf(*this));
    report["steps"] = stepsOf(*this);
    return report;
}

std::string RunReport::junit() const { return kXmlHead + suiteOf(*this, ""); }

Json jsonOf(const std::string& path, const std::vector<RunReport>& reports) {
    Json whole = Json::object();
    whole["file"] = path;
    Json stations = Json::array();
    for (const RunReport& report : reports) {
        const Json counts = countsOf(report);
        for (const auto& [name, number] : counts.items()) whole[name] = whole.value(name, 0U) + number.get<unsigned>();
        Json station = Json::object();
        station["station"] = report.station;
        station["port"] = report.port;
        station["status"] = static_cast<int>(report.status());
        station["problem"] = report.problem();
        station.update(counts);
        station["seconds"] = report.seconds();
        station["steps"] = stepsOf(report);
        stations.push_back(std::move(station));
    }
    whole["stations"] = std::move(stations);
    return whole;
}

std::string junitOf(const std::string& path, const std::vector<RunReport>& reports) {
    std::size_t tests = 0, failures = 0, skipped = 0;
    double longest = 0;  // they run side by side
    std::string suites;
    for (const RunReport& report : reports) {
        tests += report.steps.size();
        failures += report.count(Verdict::Failed);
        skipped += report.count(Verdict::NotRun);
        longest = std::max(longest, report.seconds());
        suites += suiteOf(report, "  ");
    }
    return kXmlHead + ("<testsuites name=\"" + xml(path)) + "\" " + suiteCounts(tests, failures, skipped, longest) +
           ">\n" + suites + "</testsuites>\n";
}

ExitStatus worse(ExitStatus a, ExitStatus b) { return rankOf(a) < rankOf(b) ? b : a; }

}  // namespace mova::cli
