#include "trace/TraceReader.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <utility>

#include "base/HeldText.h"

namespace mova::trace {

namespace {

constexpr std::uint64_t kFirstStampWithin = std::uint64_t{256} << 10U;
constexpr std::string_view kBeforeStamp = "\t\t\t\t";

// Records of one moment come from two threads, so stamps may swap places by this much.
constexpr std::int64_t kDisorder = 1000;

// A record may have an answer and what waits behind it, and on Windows two characters for a line feed.
constexpr std::size_t kLongestWritten = 4 * kMostHeldText;

// Of a text that is too long this much of its end is kept; all else that is kept is its beginning.
constexpr std::size_t kKeptEnd = std::size_t{64} << 10U;
constexpr std::size_t kKeptBeginning = TraceReader::kLongestRecord - kKeptEnd;

// A time further than this from the one before it is far, in milliseconds; so many pieces are looked at for one that
// comes back.
constexpr std::int64_t kFar = 60'000;
constexpr std::size_t kMostAhead = 64;

bool isBlank(char c) { return c == ' ' || c == '\t'; }

// A line that can only be a record's first: in front of it the record before has lost its time.
bool beginsRecord(std::string_view line) {
    const RecordKind kind = kindOf(line);
    if (kind != RecordKind::FreeText && kind != RecordKind::Empty) return true;
    return line.starts_with("Open Device") || line.starts_with("Close Device");
}

bool quotes(std::string_view text) { return quotesTheLine(kindOf(text)); }

// Ends its data with a line end, so that the time stands on a line of its own.
bool isInLines(std::string_view text) {
    const RecordKind kind = kindOf(text);
    return kind == RecordKind::E2pReply || kind == RecordKind::HciReply || kind == RecordKind::WifiReply;
}

std::size_t longestOf(std::string_view text) { return quotes(text) ? kLongestWritten : TraceReader::kLongestRecord; }

std::int64_t stepBetween(std::int64_t earlier, std::int64_t later) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(later) - static_cast<std::uint32_t>(earlier));
}

// The characters that had to go; those before them are as many each time.
std::uint64_t cutMiddle(std::string& text, std::size_t end) {
    const std::size_t count = text.size() - kKeptBeginning - end;
    text.erase(kKeptBeginning, count);
    return count;
}

// What is added may have lost its own middle, which then lies in the middle of the whole.
void add(std::string& text, std::uint64_t& leftOut, std::string_view more, std::uint64_t moreLeftOut) {
    text += more;
    leftOut += moreLeftOut;
    const bool tooLong = text.size() > TraceReader::kLongestRecord + (moreLeftOut > 0 ? 0 : kKeptEnd);
    if (tooLong) leftOut += cutMiddle(text, kKeptEnd);
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
bool TraceReader::readLine(const Piece& piece) {
    line_.clear();
    leftOut_ = 0;
    std::streambuf& buffer = *in_.rdbuf();
    constexpr auto kEnd = std::char_traits<char>::eof();
    // More than of a record: its time is at the end.
    constexpr std::size_t kLineEnd = 2 * kKeptEnd;
    for (auto c = buffer.sbumpc(); c != kEnd; c = buffer.sbumpc()) {
        ++bytes_;
        if (c == '\n') {
            ++lineNumber_;
            return true;
        }
        line_.push_back(static_cast<char>(c));
        if (line_.size() == kLongestRecord + 1) checkLine(piece);
        if (line_.size() <= kLongestRecord + kLineEnd) continue;
        leftOut_ += cutMiddle(line_, kLineEnd);
        checkLine(piece);
    }
    if (line_.empty()) return false;
    ++lineNumber_;
    return true;
}

void TraceReader::checkLine(const Piece& piece) const {
    const std::size_t longest = longestOf(piece.line != 0 ? piece.text : line_);
    if (line_.size() + leftOut_ <= longest) return;
    fail(lineNumber_ + 1, "a line of more than " + std::to_string(longest >> 20U) + " MiB; this is not a trace file");
}

void TraceReader::checkPiece(const Piece& piece) const {
    if (!anyStamp_ && bytes_ > kFirstStampWithin && !quotes(piece.text))
        fail(piece.line, "no line ends in a time such as [T:1234]; this is not a trace file");
    const std::size_t longest = longestOf(piece.text);
    if (piece.text.size() + piece.leftOut > longest) {
        fail(piece.line,
             "no time stamp within " + std::to_string(longest >> 20U) + " MiB from here; this is not a trace file");
    }
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

void TraceReader::checkFirstLine() {
    if (line_.starts_with("\xFF\xFE") || line_.starts_with("\xFE\xFF")) {
        fail(1, "the file is UTF-16 text; save it as 8-bit text (ANSI or UTF-8) first");
    }
    if (line_.starts_with("\xEF\xBB\xBF")) line_.erase(0, 3);
}

// Up to the next time, or to a line that can only be another record's first.
std::optional<TraceReader::Piece> TraceReader::readPiece() {
    Piece piece;
    const auto noteQuoted = [&] {
        if (piece.quotedLine == 0) piece.quotedLine = lineNumber_;
    };
    while (held_ || readLine(piece)) {
        if (!held_ && lineNumber_ == 1) checkFirstLine();
        held_ = false;
        if (piece.line != 0 && beginsRecord(line_)) {
            if (!quotes(piece.text)) {
                held_ = true;
                piece.whyNoStamp = "no time stamp here; the record is shown at the time before it";
                return piece;
            }
            noteQuoted();
        }
        auto stamp = findStamp(line_);
        if (stamp && stamp->at > 0 && piece.line != 0 && isInLines(piece.text)) {
            noteQuoted();
            stamp.reset();
        }
        std::string_view content = stamp ? std::string_view(line_).substr(0, stamp->at) : std::string_view(line_);
        while (content.ends_with('\r')) content.remove_suffix(1);
        if (piece.line == 0 && content.empty() && !stamp) continue;  // an empty line between records
        if (piece.line == 0) {
            piece.line = lineNumber_;
        } else {
            piece.text += '\n';
        }
        add(piece.text, piece.leftOut, content, leftOut_);
        if (stamp) {
            anyStamp_ = true;
            piece.stamp = stamp->milliseconds;
            return piece;
        }
        checkPiece(piece);
    }
    endOfFile(piece);
    if (piece.line == 0) return std::nullopt;
    return piece;
}

void TraceReader::endOfFile(Piece& piece) const {
    if (in_.bad()) fail(lineNumber_ + 1, "the file cannot be read any further");
    if (!anyStamp_) {
        fail(piece.line == 0 ? 1 : piece.line,
             piece.line == 0 ? "the file is empty"
                             : "no line ends in a time such as [T:1234]; this is not a trace file");
    }
    piece.whyNoStamp = "the file ends within this record";
}

// --- what was quoted

const TraceReader::Piece* TraceReader::ahead(std::size_t place) {
    while (ahead_.size() <= place) {
        auto piece = readPiece();
        if (!piece) return nullptr;
        ahead_.push_back(std::move(*piece));
    }
    return &ahead_[place];
}

void TraceReader::joinQuoted(Piece& piece) {
    for (;;) {
        std::size_t count = piecesUntilNoRecord();
        if (count == 0) count = piecesUntilTimeComesBack(piece);
        if (count == 0) return;
        for (std::size_t i = 0; i < count; ++i) {
            Piece& next = ahead_.front();
            piece.text.append(kBeforeStamp).append("[T:" + std::to_string(*piece.stamp) + "]\n");
            add(piece.text, piece.leftOut, next.text, next.leftOut);
            if (piece.quotedLine == 0) piece.quotedLine = next.line;
            piece.stamp = next.stamp;
            ahead_.pop_front();
        }
    }
}

// What is no record has been quoted, and with it what stands before it and does not quote itself. 0: there is none.
std::size_t TraceReader::piecesUntilNoRecord() {
    std::size_t size = 0;
    for (std::size_t place = 0; place < kMostAhead && size < kLongestRecord; ++place) {
        const Piece* const behind = ahead(place);
        if (!behind || !behind->stamp) return 0;
        if (!beginsRecord(behind->text) && !isNote(behind->text)) return place + 1;
        if (quotes(behind->text)) return 0;
        size += behind->text.size();
    }
    return 0;
}

// 0: it does not. A run begins at 0, and anything may stand before that: near it nothing is told.
std::size_t TraceReader::piecesUntilTimeComesBack(const Piece& piece) {
    if (!printed_ || (*printed_ >= -1 && *printed_ < kFar)) return 0;
    std::int64_t last = *piece.stamp;
    if (std::abs(stepBetween(*printed_, last)) <= kFar) return 0;
    std::size_t size = 0;
    for (std::size_t place = 0; place < kMostAhead && size < kLongestRecord; ++place) {
        const Piece* const behind = ahead(place);
        if (!behind || !behind->stamp) return 0;
        const std::int64_t step = stepBetween(*printed_, *behind->stamp);
        const bool jumps = std::abs(stepBetween(last, *behind->stamp)) > kFar;
        if (step >= -kDisorder && step <= kFar) return jumps ? place + 1 : 0;
        last = *behind->stamp;
        size += behind->text.size();
    }
    return 0;
}

// --- records

void TraceReader::stamp(Record& record, std::int64_t printed) {
    const TimeLine::Step step = timeLine_.next(printed);
    if (step.restarted) {
        remarks_.push_back({record.line, "the time falls from " + std::to_string(*printed_) + " to " +
                                             std::to_string(printed) +
                                             " ms: another run begins here; the pause before it is not known"});
    }
    record.time = time_ = step.time;
    record.printed = printed;
    printed_ = printed;
}

Record TraceReader::finish(Piece piece) {
    if (piece.text.size() > kLongestRecord) piece.leftOut += cutMiddle(piece.text, kKeptEnd);
    if (piece.leftOut > 0) {
        const std::string count = std::to_string(piece.leftOut) + " characters ";
        remarks_.push_back(
            {piece.line, "this record is too long to be shown whole: " + count + "of its middle are left out"});
        // Blanks before the time may have been most of it.
        piece.text.insert(std::min(kKeptBeginning, piece.text.size()), "[" + count + "left out here]");
    }
    if (piece.quotedLine != 0) {
        remarks_.push_back({piece.line, "this record quotes the line: what looks like a record in line " +
                                            std::to_string(piece.quotedLine) + " is part of it"});
    }
    if (!piece.stamp) remarks_.push_back({piece.line, piece.whyNoStamp});
    Record record{piece.line, time_, printed_.value_or(0), piece.stamp.has_value(), std::move(piece.text)};
    if (piece.stamp) stamp(record, *piece.stamp);
    return record;
}

std::optional<Record> TraceReader::next() {
    std::optional<Piece> piece;
    if (ahead_.empty()) {
        piece = readPiece();
    } else {
        piece = std::move(ahead_.front());
        ahead_.pop_front();
    }
    if (!piece) return std::nullopt;
    if (piece->stamp && quotes(piece->text)) joinQuoted(*piece);
    return finish(std::move(*piece));
}

std::vector<Remark> TraceReader::takeRemarks() { return std::exchange(remarks_, {}); }

}  // namespace mova::trace
