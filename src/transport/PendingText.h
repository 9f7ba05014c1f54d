// The received characters that no finished record has consumed yet. Keeps its own account of where complete lines end
// and how far it has been searched, so that the cost of a pass depends on what arrived, not on what waits.
//
// Holds kMostHeldText at most. What comes beyond makes the older half go, up to a line end, so that no rest of a line is
// taken for a line. A line that is itself longer than that loses its beginning, and its rest when its end comes.
#pragma once
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mova {

class PendingText {
public:
    struct Line {
        std::size_t start;      // from the front of the text
        std::string_view text;  // right-trimmed
        std::size_t end;        // behind its "\r\n"
    };

    bool empty() const { return head_ == text_.size(); }
    std::string_view text() const { return std::string_view(text_).substr(head_); }
    std::string_view completeLines() const { return text().substr(0, linesEnd_ - head_); }  // each with its "\r\n"

    void clear();
    // The next append of so many cannot fail. True: older text had to go, for the first time since some was consumed.
    bool makeRoom(std::size_t bytes);
    void append(std::string_view bytes);
    void dropFront(std::size_t count);
    // Whole lines, each with its "\r\n". Of lines that were dropped just before it cannot fail.
    void putInFront(std::string_view lines);
    // A long text's memory is not kept for the short ones that follow.
    void giveBackMemory() noexcept;
    std::size_t heldMemory() const { return text_.capacity(); }

    // The first complete line that, right-trimmed, equals one of the terminators (a list separated by "|").
    std::optional<Line> findTerminator(std::string_view list);

private:
    void dropOlderHalf();
    void advance(std::size_t count);
    void grow(std::size_t bytes);
    void compact();
    void eraseConsumed();

    std::string text_;
    std::size_t head_ = 0;      // what lies before it is consumed
    std::size_t linesEnd_ = 0;  // behind the last "\r\n"
    bool tooLong_ = false;      // older text has gone since some was last consumed
    bool cutLine_ = false;      // the first line has lost its beginning; no line is complete then

    // How far the text has been searched for each list that was ever asked for: the lines up to there match none of
    // it. There are as many as the callers have lists, which is a handful.
    struct Search {
        std::string list;
        std::vector<std::string> terminators;  // the same, cut
        std::size_t end;
        bool isTerminator(std::string_view line) const;
    };
    Search& searchFor(std::string_view list);
    std::vector<Search> searches_;
};

}  // namespace mova
