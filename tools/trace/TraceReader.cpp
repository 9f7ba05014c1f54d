#include "trace/TraceReader.h"

#include <limits>
#include <utility>

namespace mova::trace {

namespace {

constexpr std::uint64_t kFirstStampWithin = std::uint64_t{256} << 10U;
constexpr std::string_view kBeforeStamp = "\t\t\t\t";

// Records of one moment come from two threads, so stamps may swap places by this much.
constexpr std::int64_t kDisorder = 1000;

bool isBlank(char c) { return c == ' ' || c == '\t'; }

// A line that can only be a record's first: in front of it the record before has lost its time.
bool beginsRecord(std::string_view line) {
    const RecordKind kind = kindOf(line);
    if (kind != RecordKind::FreeText && kind != RecordKind::Empty) return true;
    return line.starts_with("Open Device") || line.starts_with("Close Device");
}

}  // namespace

TimeLine::Step TimeLine::next(std::int64_t printed) {
    const auto count = static_cast<std::uint32_t>(printed);
    if (!previous_) {
        previous_ = count;
        return {0, false};
    }
    const auto step = std::int64_t{static_cast<std::int32_t>(count - *previous_)};
    previous_ = count;
    if (step < -kDisorder) return {time_, true};
    time_ += step;
    return {time_, false};
}

TraceReader::TraceReader(std::istream& in, std::string name) : in_(in), name_(std::move(name)) {}

void TraceReader::fail(std::uint64_t line, const std::string& what) const {
    throw TraceError(name_ + ":" + std::to_string(line) + ": " + what);
}

// One line without its end; false at the end of the file. Foreign files may have lines of any length.
bool TraceReader::readLine(std::string& line) {
    line.clear();
    std::streambuf& buffer = *in_.rdbuf();
    constexpr auto kEnd = std::char_traits<char>::eof();
    for (auto c = buffer.sbumpc(); c != kEnd; c = buffer.sbumpc()) {
        ++bytes_;
        if (c == '\n') {
            ++lineNumber_;
            return true;
        }
        line.push_back(static_cast<char>(c));
        if (line.size() > kLongestRecord) fail(lineNumber_ + 1, "a line of more than 4 MiB; this is not a trace file");
    }
    if (line.empty()) return false;
    ++lineNumber_;
    return true;
}

std::optional<TraceReader::Stamp> TraceReader::findStamp(std::string_view line) {
    while (!line.empty() && (line.back() == '\r' || isBlank(line.back()))) line.remove_suffix(1);
    if (!line.ends_with(']')) return std::nullopt;
    line.remove_suffix(1);
    const auto open = line.rfind("[T:");
    if (open == line.npos || (open > 0 && !isBlank(line[open - 1]))) return std::nullopt;
    std::string_view number = line.substr(open + 3);
    const bool negative = number.starts_with('-');
    if (negative) number.remove_prefix(1);
    constexpr std::size_t kMostDigits = 10;
    if (number.empty() || number.size() > kMostDigits) return std::nullopt;
    std::int64_t value = 0;
    for (const char c : number) {
        if (c < '0' || c > '9') return std::nullopt;
        value = value * 10 + (c - '0');
    }
    if (value > std::numeric_limits<std::uint32_t>::max()) return std::nullopt;
    std::size_t end = open;
    if (line.substr(0, open).ends_with(kBeforeStamp)) {
        end -= kBeforeStamp.size();  // as it was written: blanks before that belong to the text
    } else {
        while (end > 0 && isBlank(line[end - 1])) --end;
    }
    return Stamp{end, negative ? -value : value};
}

void TraceReader::checkFirstLine(std::string& line) {
    if (line.starts_with("\xFF\xFE") || line.starts_with("\xFE\xFF")) {
        fail(1, "the file is UTF-16 text; save it as 8-bit text (ANSI or UTF-8) first");
    }
    if (line.starts_with("\xEF\xBB\xBF")) line.erase(0, 3);
}

Record TraceReader::finish(std::int64_t printed) {
    anyStamp_ = true;
    const TimeLine::Step step = timeLine_.next(printed);
    if (step.restarted) {
        remarks_.push_back({begin_, "the time falls from " + std::to_string(printed_) + " to " +
                                        std::to_string(printed) +
                                        " ms: another run begins here; the pause before it is not known"});
    }
    time_ = step.time;
    printed_ = printed;
    Record record{begin_, time_, printed_, true, std::move(text_)};
    text_.clear();
    begin_ = 0;
    return record;
}

Record TraceReader::unstamped(const std::string& remark) {
    remarks_.push_back({begin_, remark});
    Record record{begin_, time_, printed_, false, std::move(text_)};
    text_.clear();
    begin_ = 0;
    return record;
}

std::optional<Record> TraceReader::next() {
    while (held_ || readLine(line_)) {
        if (!held_ && lineNumber_ == 1) checkFirstLine(line_);
        held_ = false;
        if (begin_ != 0 && beginsRecord(line_)) {
            held_ = true;
            return unstamped("no time stamp here; the record is shown at the time before it");
        }
        const auto stamp = findStamp(line_);
        std::string_view content = stamp ? std::string_view(line_).substr(0, stamp->at) : std::string_view(line_);
        while (content.ends_with('\r')) content.remove_suffix(1);
        if (begin_ == 0 && content.empty() && !stamp) continue;  // an empty line between records
        if (begin_ == 0) {
            begin_ = lineNumber_;
        } else {
            text_ += '\n';
        }
        text_ += content;
        if (stamp) return finish(stamp->milliseconds);
        if (!anyStamp_ && bytes_ > kFirstStampWithin)
            fail(begin_, "no line ends in a time such as [T:1234]; this is not a trace file");
        if (text_.size() > kLongestRecord)
            fail(begin_, "no time stamp within 4 MiB from here; this is not a trace file");
    }
    if (in_.bad()) fail(lineNumber_ + 1, "the file cannot be read any further");
    if (begin_ == 0) {
        if (!anyStamp_) fail(1, "the file is empty");
        return std::nullopt;
    }
    if (!anyStamp_) fail(begin_, "no line ends in a time such as [T:1234]; this is not a trace file");
    return unstamped("the file ends within this record");
}

std::vector<Remark> TraceReader::takeRemarks() { return std::exchange(remarks_, {}); }

}  // namespace mova::trace
