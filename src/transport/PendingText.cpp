#include "transport/PendingText.h"

#include <algorithm>

#include "base/Text.h"

namespace mova {

namespace {

constexpr std::string_view kLineEnd = "\r\n";
constexpr std::size_t kCompactAbove = 4096;

// Where the line that begins at a position ends; there is a line end.
std::size_t lineEnd(std::string_view text, std::size_t from) {
    for (;; ++from) {
        if (text[from] != '\r') from = text.find('\r', from);  // every second line of an answer is empty
        if (text[from + 1] == '\n') return from;
    }
}

}  // namespace

void PendingText::clear() {
    text_.clear();
    head_ = linesEnd_ = 0;
    for (Search& search : searches_) search.end = 0;
}

void PendingText::append(std::string_view bytes) {
    // A line end may lie across the old end and the new bytes.
    const std::size_t from = std::max(linesEnd_, text_.empty() ? 0 : text_.size() - 1);
    text_ += bytes;
    const auto last = std::string_view(text_).substr(from).rfind(kLineEnd);
    if (last != std::string_view::npos) linesEnd_ = from + last + kLineEnd.size();
}

void PendingText::dropFront(std::size_t count) {
    head_ += count;
    linesEnd_ = std::max(linesEnd_, head_);
    for (Search& search : searches_) search.end = std::max(search.end, head_);
    compact();
}

void PendingText::putInFront(std::string_view lines) {
    if (lines.size() <= head_) {
        head_ -= lines.size();
        std::copy(lines.begin(), lines.end(), text_.begin() + static_cast<std::ptrdiff_t>(head_));
    } else {
        text_.replace(0, head_, lines);
        linesEnd_ = linesEnd_ - head_ + lines.size();
        head_ = 0;
    }
    for (Search& search : searches_) search.end = head_;
}

// Moving the rest down costs no more than what has been consumed before it.
void PendingText::compact() {
    if (head_ < kCompactAbove || head_ < text_.size() - head_) return;
    text_.erase(0, head_);
    linesEnd_ -= head_;
    for (Search& search : searches_) search.end -= head_;
    head_ = 0;
}

bool PendingText::Search::isTerminator(std::string_view line) const {
    return std::find(terminators.begin(), terminators.end(), line) != terminators.end();
}

PendingText::Search& PendingText::searchFor(std::string_view list) {
    for (Search& search : searches_) {
        if (search.list == list) return search;
    }
    Search search{std::string(list), {}, head_};
    for (std::size_t at = 0; at <= list.size();) {
        const std::string_view item = list.substr(at, list.find('|', at) - at);
        if (!item.empty()) search.terminators.emplace_back(item);
        at += item.size() + 1;
    }
    return searches_.emplace_back(std::move(search));
}

std::optional<PendingText::Line> PendingText::findTerminator(std::string_view list) {
    Search& search = searchFor(list);
    while (search.end < linesEnd_) {
        const std::size_t lineLength = lineEnd(text_, search.end) - search.end;
        const std::size_t end = search.end + lineLength + kLineEnd.size();
        const std::string_view line = trimRight(std::string_view(text_).substr(search.end, lineLength));
        if (!line.empty() && search.isTerminator(line)) return Line{search.end - head_, line, end - head_};
        search.end = end;
    }
    return std::nullopt;
}

}  // namespace mova
