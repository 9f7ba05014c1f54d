// Reads a trace file record by record: however large the file, a few records are in memory, and of a very long one the
// beginning and the end. Line ends and tabs may have gone through an editor or another system; what is no record is told
// with its line number.
//
// What a record quotes from the line may hold line ends, and behind them what looks like records. As far as it can be
// told, that is part of the record that quotes it:
//   - a line before the quoting record's time is no record, however it begins;
//   - behind its time comes, at once or behind records that quote nothing, what begins as no record of the component
//     does: the times before that were quoted;
//   - its time is more than a minute from the one before it, and a later one comes back to that: it was quoted;
//   - behind the data of a text family's answer the time stands on a line of its own: another one was quoted.
#pragma once
#include <cstdint>
#include <deque>
#include <istream>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "trace/TraceRecord.h"

namespace mova::trace {

// "FILE:LINE: what is wrong and what to do"
class TraceError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct Remark {
    std::uint64_t line;
    std::string text;
};

// Turns the printed time stamps into time that runs on: a 32-bit count of milliseconds, printed signed, that wraps,
// that comes out one lower after the tick count has wrapped, and that starts again when logging does.
class TimeLine {
public:
    struct Step {
        std::int64_t time;  // since the first stamp
        bool restarted;     // the count fell: another run was appended to the file
    };
    Step next(std::int64_t printed);

private:
    std::optional<std::uint32_t> previous_;
    std::int64_t time_ = 0;
};

class TraceReader {
public:
    static constexpr std::size_t kLongestRecord = std::size_t{4} << 20U;  // characters; more are left out

    TraceReader(std::istream& in, std::string name);

    // The next record; none at the end. Throws TraceError when the file is no trace.
    std::optional<Record> next();

    // Remarks since the last call: pieces without a time, a cut-off end, a restarted count.
    std::vector<Remark> takeRemarks();

    std::uint64_t bytesRead() const { return bytes_; }

private:
    struct Stamp {
        std::size_t at;  // where the text ends
        std::int64_t milliseconds;
    };
    // What lies between two times, before the pieces around it were looked at.
    struct Piece {
        std::uint64_t line = 0;  // where it begins; 0: nowhere
        std::string text;
        std::uint64_t leftOut = 0;  // characters of its middle
        std::optional<std::int64_t> stamp;
        std::string whyNoStamp;
        std::uint64_t quotedLine = 0;  // the first line in it that looks like a record's first or last; 0: none
    };

    static std::optional<Stamp> findStamp(std::string_view line);
    bool readLine(const Piece& piece);
    std::optional<Piece> readPiece();
    void endOfFile(Piece& piece) const;
    void checkFirstLine();
    void checkLine(const Piece& piece) const;
    void checkPiece(const Piece& piece) const;
    [[noreturn]] void fail(std::uint64_t line, const std::string& what) const;

    const Piece* ahead(std::size_t place);
    void joinQuoted(Piece& piece);
    std::size_t piecesUntilNoRecord();
    std::size_t piecesUntilTimeComesBack(const Piece& piece);
    Record finish(Piece piece);
    void stamp(Record& record, std::int64_t printed);

    std::istream& in_;
    std::string name_;
    TimeLine timeLine_;
    std::vector<Remark> remarks_;
    std::string line_;
    std::uint64_t leftOut_ = 0;  // characters of the line's middle
    bool held_ = false;          // line_ has been read and not been used
    std::uint64_t lineNumber_ = 0;
    std::uint64_t bytes_ = 0;
    bool anyStamp_ = false;
    std::deque<Piece> ahead_;
    std::int64_t time_ = 0;
    std::optional<std::int64_t> printed_;  // of the last record with a time
};

}  // namespace mova::trace
