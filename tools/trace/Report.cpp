#include "trace/Report.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>

#include "base/CodeTexts.h"
#include "base/Printable.h"
#include "base/Text.h"

namespace mova::trace {

namespace {

using nlohmann::json;

constexpr std::size_t kMostShown = 50;  // of errors and remarks on the terminal

std::string shown(std::string_view text) { return printable(asUtf8(text), Tabs::Escaped); }

std::string orDash(std::optional<std::int64_t> value) { return value ? std::to_string(*value) : "-"; }

long long wide(std::uint64_t value) { return static_cast<long long>(value); }

std::string row(const std::string& name, const KindFigures& f) {
    const std::uint64_t other = f.of(Outcome::NotCollected) + f.of(Outcome::Unfinished);
    return format("%-28s %8lld %8lld %7lld %6lld %8lld  %6s %6s %6s %6s %6s\n", name.c_str(), wide(f.count),
                  wide(f.of(Outcome::Good)), wide(f.of(Outcome::Failed)), wide(other), wide(f.retries),
                  orDash(f.latency.least()).c_str(), orDash(f.latency.percentile(50)).c_str(),
                  orDash(f.latency.percentile(90)).c_str(), orDash(f.latency.percentile(99)).c_str(),
                  orDash(f.latency.most()).c_str());
}

std::string codeText(Code code) { return code == Code::Success ? "" : " (" + hexCode(code) + ")"; }

double perSecond(std::uint64_t count, std::int64_t milliseconds) {
    return milliseconds <= 0 ? 0 : static_cast<double>(count) * 1000 / static_cast<double>(milliseconds);
}

std::string problemText(const Problem& problem) {
    return format("  line %-8lld %10s s  ", wide(problem.line), seconds(problem.time).c_str()) +
           (problem.title.empty() ? "" : shown(problem.title) + ": ") + shown(problem.text) + codeText(problem.code) +
           (problem.retry ? " [retry]" : "") + "\n";
}

// Says what it leaves out.
template <class Item, class Show>
std::string listText(const std::string& title, std::uint64_t total, const std::vector<Item>& items, Show show) {
    if (total == 0) return {};
    std::string text = "\n" + title + ":\n";
    const std::size_t shown = std::min(items.size(), kMostShown);
    for (std::size_t i = 0; i < shown; ++i) text += show(items[i]);
    if (total > shown) {
        text += "  and " + std::to_string(total - shown) + " more; --json and --html list " +
                (total > items.size() ? "the first " + std::to_string(items.size()) : "them all") + "\n";
    }
    return text;
}

json latencyJson(const Latencies& latencies) {
    json object{{"count", latencies.count()}};
    if (latencies.count() == 0) return object;
    object["min"] = *latencies.least();
    object["median"] = *latencies.percentile(50);
    object["p90"] = *latencies.percentile(90);
    object["p99"] = *latencies.percentile(99);
    object["max"] = *latencies.most();
    return object;
}

json figuresJson(const KindFigures& f) {
    return {{"count", f.count},
            {"good", f.of(Outcome::Good)},
            {"failed", f.of(Outcome::Failed)},
            {"not_collected", f.of(Outcome::NotCollected)},
            {"unfinished", f.of(Outcome::Unfinished)},
            {"retries", f.retries},
            {"bytes_sent", f.bytesSent},
            {"bytes_received", f.bytesReceived},
            {"acknowledged_ms", latencyJson(f.acknowledged)},
            {"latency_ms", latencyJson(f.latency)}};
}

}  // namespace

std::string seconds(std::int64_t milliseconds) {
    const std::int64_t size = milliseconds < 0 ? -milliseconds : milliseconds;
    return format("%s%lld.%03lld", milliseconds < 0 ? "-" : "", static_cast<long long>(size / 1000),
                  static_cast<long long>(size % 1000));
}

std::string reportText(const Summary& s, const std::string& name) {
    std::string text = name + ": " + counted(s.records, "record") + ", " + counted(s.all.count, "exchange") + " in " +
                       seconds(s.duration) + " s\n\n";
    text += format("%-28s %8s %8s %7s %6s %8s  %6s %6s %6s %6s %6s\n", "exchanges by kind", "count", "good", "failed",
                   "other", "retries", "min", "median", "p90", "p99", "max ms");
    for (const auto& [kind, figures] : s.kinds) text += row(kind, figures);
    if (s.all.count > 0) text += row("all requests", s.all);
    if (s.all.acknowledged.count() > 0) {
        const Latencies& a = s.all.acknowledged;
        text += "\nacknowledged within (ms): min " + orDash(a.least()) + ", median " + orDash(a.percentile(50)) +
                ", p90 " + orDash(a.percentile(90)) + ", p99 " + orDash(a.percentile(99)) + ", max " +
                orDash(a.most()) + "\n";
    }
    text += format("\ndata: %lld bytes sent, %lld received", wide(s.all.bytesSent), wide(s.all.bytesReceived));
    if (s.duration > 0) {
        text +=
            format("; %.1f exchanges, %.1f bytes sent and %.1f received a second", perSecond(s.all.count, s.duration),
                   perSecond(s.all.bytesSent, s.duration), perSecond(s.all.bytesReceived, s.duration));
    }
    text += "\n" + counted(s.errors, "error") + ", " + counted(s.checksumErrors, "damaged frame") + " received, " +
            counted(s.all.retries, "repeated request") + ", " + counted(s.unsolicited, "unsolicited record") + "\n";
    text += listText("errors", s.errors, s.problems, problemText);
    text += listText("remarks on the file", s.remarks, s.listedRemarks, [](const Remark& remark) {
        return format("  line %-8lld ", wide(remark.line)) + remark.text + "\n";
    });
    return text;
}

json reportJson(const Summary& s, const std::string& name) {
    json kinds = json::object();
    for (const auto& [kind, figures] : s.kinds) kinds[kind] = figuresJson(figures);
    json records = json::object();
    for (std::size_t i = 0; i < kRecordKinds; ++i) {
        if (s.recordKinds[i] > 0) records[std::string(nameOf(static_cast<RecordKind>(i)))] = s.recordKinds[i];
    }
    json errors = json::array();
    for (const Problem& p : s.problems) {
        errors.push_back({{"line", p.line},
                          {"time_ms", p.time},
                          {"exchange", asUtf8(p.title)},
                          {"text", asUtf8(p.text)},
                          {"code", p.code},
                          {"retry", p.retry}});
    }
    json remarks = json::array();
    for (const Remark& r : s.listedRemarks) remarks.push_back({{"line", r.line}, {"text", r.text}});
    return {{"file", asUtf8(name)},
            {"bytes", s.bytes},
            {"records", s.records},
            {"records_by_kind", records},
            {"duration_ms", s.duration},
            {"exchanges", figuresJson(s.all)},
            {"exchanges_by_kind", kinds},
            {"exchanges_per_second", perSecond(s.all.count, s.duration)},
            {"bytes_sent_per_second", perSecond(s.all.bytesSent, s.duration)},
            {"bytes_received_per_second", perSecond(s.all.bytesReceived, s.duration)},
            {"errors", s.errors},
            {"damaged_frames", s.checksumErrors},
            {"unsolicited", s.unsolicited},
            {"first_errors", errors},
            {"remarks", s.remarks},
            {"first_remarks", remarks}};
}

std::string exchangeText(const Exchange& e) {
    return format("%8lld %12s s %8s  %-13s ", wide(e.line), seconds(e.sent).c_str(),
                  e.latency() ? (std::to_string(*e.latency()) + " ms").c_str() : "-",
                  std::string(nameOf(e.outcome)).c_str()) +
           shown(e.title) + (e.finding.empty() ? "" : ": " + shown(e.finding)) + codeText(e.code) +
           (e.retry ? " [retry]" : "") + "\n";
}

json exchangeJson(const Exchange& e) {
    json object{{"line", e.line},   {"time_ms", e.sent},         {"family", nameOf(e.family)},
                {"name", e.name},   {"title", asUtf8(e.title)},  {"outcome", nameOf(e.outcome)},
                {"retry", e.retry}, {"bytes_sent", e.bytesSent}, {"bytes_received", e.bytesReceived}};
    if (e.acknowledged) object["acknowledged_ms"] = *e.acknowledged - e.sent;
    if (e.latency()) object["latency_ms"] = *e.latency();
    if (e.code != Code::Success) object["code"] = e.code;
    if (!e.finding.empty()) object["finding"] = asUtf8(e.finding);
    return object;
}

}  // namespace mova::trace
