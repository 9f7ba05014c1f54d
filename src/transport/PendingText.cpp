#include "transport/PendingText.h"

#include <algorithm>

#include "base/HeldText.h"
#include "base/Text.h"

namespace mova {

namespace {

constexpr std::string_view kLineEnd = "\r\n";
constexpr std::size_t kCompactAbove = 4096;
constexpr std::size_t kMostConsumed = kMostHeldText / 16;     // is kept before what waits
constexpr std::size_t kUsualMemory = std::size_t{64} << 10U;  // as much as the longest answer needs

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
    tooLong_ = cutLine_ = false;
    for (Search& search : searches_) search.end = 0;
    giveBackMemory();
}

bool PendingText::makeRoom(std::size_t bytes) {
    const bool over = text().size() + bytes > kMostHeldText;
    const bool first = over && !tooLong_;
    if (over) {
        tooLong_ = true;
        dropOlderHalf();
    }
    if (text_.size() + bytes > text_.capacity()) grow(bytes);
    return first;
}

// A string doubles its memory; near the bound this one takes what it will ever need.
void PendingText::grow(std::size_t bytes) {
    constexpr std::size_t kLargest = kMostHeldText + kMostConsumed + kCompactAbove;
    if (text_.capacity() < kMostHeldText / 2 || text_.size() + bytes > kLargest) {
        text_.reserve(text_.size() + bytes);
    } else {
        std::string larger;
        larger.reserve(kLargest);
        larger += text_;
        text_.swap(larger);
    }
}

// Half of it, so that not every read moves the rest.
void PendingText::dropOlderHalf() {
    if (empty()) return;
    const std::size_t half = head_ + (text().size() + 1) / 2;
    // A line end may lie across the middle or directly before it.
    const std::size_t end = text_.find(kLineEnd, half - std::min(half, kLineEnd.size()));
    cutLine_ = end == std::string::npos;
    advance((cutLine_ ? half : end + kLineEnd.size()) - head_);
    eraseConsumed();
}

void PendingText::giveBackMemory() noexcept {
    if (text_.capacity() <= kUsualMemory || text().size() > text_.capacity() / 4) return;
    eraseConsumed();
    text_.shrink_to_fit();  // without memory for the smaller copy it stays as it is
}

void PendingText::append(std::string_view bytes) {
    makeRoom(bytes.size());
    // A line end may lie across the old end and the new bytes.
    const std::size_t from = std::max(linesEnd_, text_.empty() ? 0 : text_.size() - 1);
    text_ += bytes;
    const auto last = std::string_view(text_).substr(from).rfind(kLineEnd);
    if (last == std::string_view::npos) return;
    linesEnd_ = from + last + kLineEnd.size();
    if (!cutLine_) return;
    cutLine_ = false;
    advance(text_.find(kLineEnd, from) + kLineEnd.size() - head_);
    compact();
}

void PendingText::dropFront(std::size_t count) {
    if (count > 0) tooLong_ = false;
    advance(count);
    compact();
}

void PendingText::advance(std::size_t count) {
    head_ += count;
    linesEnd_ = std::max(linesEnd_, head_);
    for (Search& search : searches_) search.end = std::max(search.end, head_);
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

// Moving the rest down costs no more than what has been consumed before it, or a small part of what may wait.
void PendingText::compact() {
    if (head_ < kCompactAbove || head_ < std::min(text().size(), kMostConsumed)) return;
    eraseConsumed();
}

void PendingText::eraseConsumed() {
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
