#include "transport/PendingText.h"

#include <algorithm>

#include "logging/Text.h"

namespace mova {

namespace {

constexpr std::string_view kLineEnd = "\r\n";
constexpr std::size_t kCompactAbove = 4096;

bool isListed(std::string_view line, std::string_view list) {
    while (!list.empty()) {
        const auto bar = list.find('|');
        const std::string_view item = list.substr(0, bar);
        if (!item.empty() && item == line) return true;
        if (bar == list.npos) break;
        list.remove_prefix(bar + 1);
    }
    return false;
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

PendingText::Search& PendingText::searchFor(std::string_view list) {
    for (Search& search : searches_) {
        if (search.list == list) return search;
    }
    return searches_.emplace_back(Search{std::string(list), head_});
}

std::optional<PendingText::Line> PendingText::findTerminator(std::string_view list) {
    std::size_t& searched = searchFor(list).end;
    while (searched < linesEnd_) {
        const std::size_t end = text_.find(kLineEnd, searched) + kLineEnd.size();
        const std::string_view line =
            trimRight(std::string_view(text_).substr(searched, end - kLineEnd.size() - searched));
        if (isListed(line, list)) return Line{searched - head_, line, end - head_};
        searched = end;
    }
    return std::nullopt;
}

}  // namespace mova
