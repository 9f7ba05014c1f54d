// Reads a trace file record by record: however large the file, one record is in memory. Line ends and tabs may have
// gone through an editor or another system; what is no record is told with its line number.
#pragma once
#include <cstdint>
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
    static constexpr std::size_t kLongestRecord = std::size_t{4} << 20U;  // characters

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
    static std::optional<Stamp> findStamp(std::string_view line);
    bool readLine(std::string& line);
    Record finish(std::int64_t printed);
    Record unstamped(const std::string& remark);
    void checkFirstLine(std::string& line);
    [[noreturn]] void fail(std::uint64_t line, const std::string& what) const;

    std::istream& in_;
    std::string name_;
    TimeLine timeLine_;
    std::vector<Remark> remarks_;
    std::string line_;
    bool held_ = false;  // line_ has been read and not been used
    std::uint64_t lineNumber_ = 0;
    std::uint64_t bytes_ = 0;
    std::string text_;         // of the record that is being read
    std::uint64_t begin_ = 0;  // its line; 0: none
    std::int64_t time_ = 0;
    std::int64_t printed_ = 0;
    bool anyStamp_ = false;
};

}  // namespace mova::trace
