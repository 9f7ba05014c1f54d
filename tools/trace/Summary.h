// The figures of a trace, gathered from a stream: memory grows with the number of different latencies and of listed
// errors, not with the file.
#pragma once
#include <array>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "mova/Codes.h"
#include "trace/Exchanges.h"
#include "trace/TraceReader.h"

namespace mova::trace {

// Exact percentiles by nearest rank: the smallest value that so many of a hundred do not exceed.
class Latencies {
public:
    void add(std::int64_t milliseconds);
    std::uint64_t count() const { return count_; }
    std::optional<std::int64_t> percentile(int percent) const;
    std::optional<std::int64_t> least() const;
    std::optional<std::int64_t> most() const;

private:
    std::map<std::int64_t, std::uint64_t> counts_;
    std::uint64_t count_ = 0;
};

struct Problem {
    std::uint64_t line;
    std::int64_t time;
    std::string title;  // of the exchange; empty for what stands outside
    std::string text;
    Code code;
    bool retry;
};

struct KindFigures {
    std::array<std::uint64_t, 4> outcomes{};  // by Outcome
    std::uint64_t count = 0;
    std::uint64_t retries = 0;
    std::uint64_t bytesSent = 0;
    std::uint64_t bytesReceived = 0;
    Latencies acknowledged;  // request to acknowledgement of its last segment
    Latencies latency;       // request to answer, and to the OK behind it where there is one

    std::uint64_t of(Outcome outcome) const { return outcomes[static_cast<std::size_t>(outcome)]; }
};

struct Summary {
    static constexpr std::size_t kMostListed = 1000;  // problems and remarks that are kept in words; all are counted

    std::uint64_t records = 0;
    std::uint64_t bytes = 0;
    std::int64_t duration = 0;  // milliseconds from the first record that is looked at to the last
    std::array<std::uint64_t, kRecordKinds> recordKinds{};
    std::map<std::string, KindFigures> kinds;  // by Exchange::name
    KindFigures all;                           // of the requests: without the opening and closing of the port
    std::uint64_t unsolicited = 0;
    std::uint64_t checksumErrors = 0;
    std::uint64_t errors = 0;
    std::vector<Problem> problems;  // the first of them
    std::uint64_t remarks = 0;
    std::vector<Remark> listedRemarks;

    void add(const Record& record, RecordKind kind);
    void add(const Exchange& exchange);
    void add(const Stray& stray);
    void add(const std::vector<Remark>& more);
    void finish();  // puts the problems in the file's order

private:
    void list(Problem problem);
    std::optional<std::int64_t> first_;
};

// How the parts of a trace are handed on while it is read. Any of them may be empty.
struct Listeners {
    std::function<void(const Record&, const Decoded&)> record;
    std::function<void(const Exchange&)> exchange;
    std::function<void(const Stray&)> stray;
};

// The part of a trace that is looked at, in milliseconds from the first record. What its edges cut looks unfinished.
struct Window {
    static constexpr std::int64_t kOpenEnd = std::numeric_limits<std::int64_t>::max();
    std::int64_t from = 0;
    std::int64_t until = kOpenEnd;

    bool has(std::int64_t time) const { return time >= from && time <= until; }
};

// Reads a whole trace. Throws TraceError when it is none.
Summary summarise(std::istream& in, const std::string& name, const Listeners& listeners = {},
                  const Window& window = {});

}  // namespace mova::trace
