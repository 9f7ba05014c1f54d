#include "handset/Conversation.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <sstream>

#include "base/Text.h"

namespace mova::handset {

namespace {

constexpr double kMillisecond = 1000;                       // microseconds
constexpr std::string_view kArrows[] = {"<-", "->", "--"};  // in the order of LogKind

std::string escaped(std::string_view text) {
    std::string shown;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '\r') {
            shown += "\\r";
        } else if (c == '\n') {
            shown += "\\n";
        } else if (c == '\\') {
            shown += "\\\\";
        } else if (byte < 0x20 || byte >= 0x7F) {
            shown += format("\\x%02X", static_cast<unsigned>(byte));
        } else {
            shown += c;
        }
    }
    return shown;
}

std::optional<std::string> unescaped(std::string_view text) {
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            bytes += text[i];
            continue;
        }
        const char kind = ++i < text.size() ? text[i] : '\0';
        if (kind == 'r') {
            bytes += '\r';
        } else if (kind == 'n') {
            bytes += '\n';
        } else if (kind == '\\') {
            bytes += '\\';
        } else if (kind == 'x' && i + 2 < text.size()) {
            const char* const digits = text.data() + i + 1;
            unsigned value = 0;
            if (std::from_chars(digits, digits + 2, value, 16).ptr != digits + 2) return std::nullopt;
            bytes += static_cast<char>(value);
            i += 2;
        } else {
            return std::nullopt;
        }
    }
    return bytes;
}

struct Event {
    std::uint64_t microseconds = 0;
    LogKind kind = LogKind::Note;
    std::string bytes;
};

// The error, or null.
const char* readEvent(std::string_view line, Event& event) {
    std::size_t arrow = line.find_first_not_of(" \t");
    if (line.substr(arrow, 1).find_first_of("0123456789") == 0) {
        double milliseconds = 0;
        const char* const end = line.data() + line.size();
        const auto number = std::from_chars(line.data() + arrow, end, milliseconds);
        constexpr double kLongest = 1e12;
        if (number.ec != std::errc() || milliseconds > kLongest) return "the time is no number of milliseconds";
        event.microseconds = static_cast<std::uint64_t>(std::llround(milliseconds * kMillisecond));
        arrow = line.find_first_not_of(" \t", static_cast<std::size_t>(number.ptr - line.data()));
    }
    const std::string_view rest = arrow == line.npos ? std::string_view() : line.substr(arrow);
    const auto kind = std::find(std::begin(kArrows), std::end(kArrows), rest.substr(0, 2));
    if (kind == std::end(kArrows)) return "expected <-, -> or -- behind the time";
    if (rest.size() > 2 && rest[2] != ' ') return "expected a space behind the arrow";
    event.kind = static_cast<LogKind>(kind - std::begin(kArrows));
    auto bytes = unescaped(rest.substr(std::min<std::size_t>(3, rest.size())));
    if (!bytes) return R"(a backslash stands before r, n, another backslash or x and two hexadecimal digits)";
    event.bytes = std::move(*bytes);
    return nullptr;
}

}  // namespace

std::string conversationLine(std::uint64_t microseconds, LogKind kind, std::string_view text) {
    return format("%12.3f ", static_cast<double>(microseconds) / kMillisecond) +
           std::string(kArrows[static_cast<std::size_t>(kind)]) + " " + escaped(text);
}

std::optional<Conversation> Conversation::fromText(const std::string& text, std::string& error) {
    Conversation conversation;
    std::uint64_t requested = 0;
    std::istringstream lines(text);
    std::string line;
    for (int number = 1; std::getline(lines, line); ++number) {
        if (line.ends_with('\r')) line.pop_back();
        const auto first = line.find_first_not_of(" \t");
        if (first == line.npos || line[first] == '#') continue;
        Event event;
        if (const char* const wrong = readEvent(line, event)) {
            error = "line " + std::to_string(number) + ": " + wrong;
            return std::nullopt;
        }
        if (event.kind == LogKind::Received) {
            requested = event.microseconds;
            conversation.turns_.push_back({std::move(event.bytes), {}});
        } else if (event.kind == LogKind::Sent) {
            auto& replies = conversation.turns_.empty() ? conversation.opening_ : conversation.turns_.back().replies;
            const std::uint64_t delay = event.microseconds > requested ? event.microseconds - requested : 0;
            replies.push_back({delay, std::move(event.bytes)});
        }
    }
    return conversation;
}

const Conversation::Turn* Conversation::next(std::string_view request) {
    for (std::size_t i = 0; i < turns_.size(); ++i) {
        const std::size_t turn = (position_ + i) % turns_.size();
        if (turns_[turn].request != request) continue;
        position_ = turn + 1;
        return &turns_[turn];
    }
    return nullptr;
}

}  // namespace mova::handset
