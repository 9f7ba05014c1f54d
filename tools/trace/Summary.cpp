#include "trace/Summary.h"

#include <algorithm>

namespace mova::trace {

void Latencies::add(std::int64_t milliseconds) {
    ++counts_[milliseconds];
    ++count_;
}

std::optional<std::int64_t> Latencies::percentile(int percent) const {
    if (count_ == 0) return std::nullopt;
    constexpr std::uint64_t kHundred = 100;
    const std::uint64_t rank =
        std::max<std::uint64_t>(1, (count_ * static_cast<std::uint64_t>(percent) + kHundred - 1) / kHundred);
    std::uint64_t seen = 0;
    for (const auto& [value, count] : counts_) {
        seen += count;
        if (seen >= rank) return value;
    }
    return most();
}

std::optional<std::int64_t> Latencies::least() const {
    return counts_.empty() ? std::nullopt : std::optional(counts_.begin()->first);
}

std::optional<std::int64_t> Latencies::most() const {
    return counts_.empty() ? std::nullopt : std::optional(counts_.rbegin()->first);
}

void Summary::add(const Record& record, RecordKind kind) {
    ++records;
    ++recordKinds[static_cast<std::size_t>(kind)];
    if (!first_) first_ = record.time;
    duration = std::max(duration, record.time - *first_);
    if (kind == RecordKind::BadChecksum) ++checksumErrors;
}

namespace {

void addTo(KindFigures& figures, const Exchange& exchange) {
    ++figures.count;
    ++figures.outcomes[static_cast<std::size_t>(exchange.outcome)];
    if (exchange.retry) ++figures.retries;
    figures.bytesSent += exchange.bytesSent;
    figures.bytesReceived += exchange.bytesReceived;
    if (exchange.acknowledged) figures.acknowledged.add(*exchange.acknowledged - exchange.sent);
    if (exchange.latency()) figures.latency.add(*exchange.latency());
}

}  // namespace

void Summary::add(const Exchange& exchange) {
    addTo(kinds[exchange.name], exchange);
    if (exchange.family != Family::Port) addTo(all, exchange);
    if (exchange.outcome == Outcome::Failed) {
        list({exchange.line, exchange.sent, exchange.title, exchange.finding, exchange.code, exchange.retry});
    }
}

void Summary::add(const Stray& stray) {
    if (stray.role == Role::Unsolicited) ++unsolicited;
    if (stray.error) list({stray.line, stray.time, {}, stray.text, Code::Success, false});
}

void Summary::add(const std::vector<Remark>& more) {
    for (const Remark& remark : more) {
        ++remarks;
        if (listedRemarks.size() < kMostListed) listedRemarks.push_back(remark);
    }
}

void Summary::list(Problem problem) {
    ++errors;
    if (problems.size() < kMostListed) problems.push_back(std::move(problem));
}

void Summary::finish() {
    std::stable_sort(problems.begin(), problems.end(),
                     [](const Problem& a, const Problem& b) { return a.line < b.line; });
}

Summary summarise(std::istream& in, const std::string& name, const Listeners& listeners, const Window& window) {
    Summary summary;
    TraceReader reader(in, name);
    Exchanges exchanges;
    exchanges.onExchange = [&](const Exchange& exchange) {
        summary.add(exchange);
        if (listeners.exchange) listeners.exchange(exchange);
    };
    exchanges.onStray = [&](const Stray& stray) {
        summary.add(stray);
        if (listeners.stray) listeners.stray(stray);
    };
    while (const auto record = reader.next()) {
        if (!window.has(record->time)) continue;
        const Decoded decoded = decode(record->text);
        summary.add(*record, decoded.kind);
        summary.add(reader.takeRemarks());
        if (listeners.record) listeners.record(*record, decoded);
        exchanges.take(*record, decoded);
    }
    summary.add(reader.takeRemarks());
    exchanges.finish();
    summary.bytes = reader.bytesRead();
    summary.finish();
    return summary;
}

}  // namespace mova::trace
