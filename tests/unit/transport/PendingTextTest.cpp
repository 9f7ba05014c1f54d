#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "transport/PendingText.h"
#include "unit/transport/Seeds.h"

namespace mova {
namespace {

struct Found {
    std::size_t start;
    std::string text;
    std::size_t end;
};

std::optional<Found> find(PendingText& pending, std::string_view list) {
    const auto line = pending.findTerminator(list);
    if (!line) return std::nullopt;
    return Found{line->start, std::string(line->text), line->end};
}

TEST(PendingText, StartsEmpty) {
    PendingText pending;
    EXPECT_TRUE(pending.empty());
    EXPECT_EQ(pending.text(), "");
    EXPECT_EQ(pending.completeLines(), "");
    EXPECT_FALSE(find(pending, "OK"));
}

TEST(PendingText, CompleteLinesEndBehindTheLastLineEnd) {
    PendingText pending;
    pending.append("A\r\nB\r\n\rC\n");
    EXPECT_EQ(pending.text(), "A\r\nB\r\n\rC\n");
    EXPECT_EQ(pending.completeLines(), "A\r\nB\r\n");
    pending.append("\r");
    EXPECT_EQ(pending.completeLines(), "A\r\nB\r\n");
    pending.append("\n");
    EXPECT_EQ(pending.completeLines(), "A\r\nB\r\n\rC\n\r\n");
}

TEST(PendingText, LineEndAcrossTwoPiecesIsSeen) {
    PendingText pending;
    pending.append("OK\r");
    EXPECT_FALSE(find(pending, "OK"));
    pending.append("");
    pending.append("\nmore");
    EXPECT_EQ(pending.completeLines(), "OK\r\n");
    ASSERT_TRUE(find(pending, "OK"));
}

TEST(PendingText, TerminatorIsGivenByItsPlaceAndWithoutItsTrailingBlanks) {
    PendingText pending;
    pending.append("A\r\nOK \t\r\nB");
    const auto found = find(pending, "ERROR|OK");
    ASSERT_TRUE(found);
    EXPECT_EQ(found->start, 3u);
    EXPECT_EQ(found->text, "OK");
    EXPECT_EQ(found->end, 9u);
}

TEST(PendingText, ListsAreSplitAtTheBars) {
    struct Case {
        const char* list;
        const char* text;
        bool found;
    };
    const std::vector<Case> cases{
        {"OK", "OK\r\n", true},        {"OK|", "OK\r\n", true},    {"|OK", "OK\r\n", true},
        {"A||OK", "OK\r\n", true},     {"A|OK|B", "OK\r\n", true}, {"A|OK|B", "B\r\n", true},
        {"A|OK|B", "OK|B\r\n", false}, {"A|OK|B", "\r\n", false},  {"|", "|\r\n", false},
        {"OK", "\r\n", false},         {"OK ", "OK\r\n", false},   {"OK", "O\r\nK\r\n", false},
    };
    for (const Case& c : cases) {
        PendingText pending;
        pending.append(c.text);
        EXPECT_EQ(find(pending, c.list).has_value(), c.found) << c.list << " in " << c.text;
    }
}

TEST(PendingText, DroppedFrontIsGoneAndPlacesCountFromTheNewFront) {
    PendingText pending;
    pending.append("A\r\nOK\r\nB\r\nOK\r\nC");
    EXPECT_EQ(find(pending, "OK")->end, 7u);
    pending.dropFront(7);
    EXPECT_EQ(pending.text(), "B\r\nOK\r\nC");
    EXPECT_EQ(pending.completeLines(), "B\r\nOK\r\n");
    const auto found = find(pending, "OK");
    ASSERT_TRUE(found);
    EXPECT_EQ(found->start, 3u);
    EXPECT_EQ(found->end, 7u);
    pending.dropFront(7);
    EXPECT_EQ(pending.text(), "C");
    EXPECT_FALSE(find(pending, "OK"));
    pending.dropFront(1);
    EXPECT_TRUE(pending.empty());
}

TEST(PendingText, LinesPutInFrontAreSearchedToo) {
    for (const char* lines : {"OK\r\n", "a longer line than what was dropped\r\nOK\r\n"}) {
        PendingText pending;
        pending.append("AAA\r\nERROR\r\nB\r\n+C");
        EXPECT_EQ(find(pending, "ERROR")->end, 12u);
        pending.dropFront(12);
        EXPECT_FALSE(find(pending, "OK"));
        pending.putInFront(lines);
        EXPECT_EQ(pending.text(), std::string(lines) + "B\r\n+C");
        EXPECT_EQ(pending.completeLines(), std::string(lines) + "B\r\n");
        ASSERT_TRUE(find(pending, "OK")) << lines;
        EXPECT_EQ(find(pending, "OK")->end, std::string(lines).size());
    }
}

TEST(PendingText, LinesPutInFrontOfNothingAreComplete) {
    PendingText pending;
    pending.putInFront("OK\r\n");
    EXPECT_EQ(pending.completeLines(), "OK\r\n");
    EXPECT_TRUE(find(pending, "OK"));
}

TEST(PendingText, ClearedIsAsNew) {
    PendingText pending;
    pending.append("A\r\nOK\r\nB\r");
    EXPECT_TRUE(find(pending, "OK"));
    pending.dropFront(3);
    pending.clear();
    EXPECT_TRUE(pending.empty());
    EXPECT_EQ(pending.completeLines(), "");
    pending.append("\nC");
    EXPECT_EQ(pending.completeLines(), "");  // the carriage return went with the old text
    pending.append("\r\nOK\r\n");
    EXPECT_EQ(find(pending, "OK")->start, 4u);
}

// The same operations on a plain text, searched from its front every time.
class Model {
public:
    std::string text;

    std::string completeLines() const {
        const auto last = text.rfind("\r\n");
        return last == std::string::npos ? std::string() : text.substr(0, last + 2);
    }
    std::optional<Found> find(const std::vector<std::string>& terminators) const {
        std::size_t start = 0;
        for (;;) {
            const auto end = text.find("\r\n", start);
            if (end == std::string::npos) return std::nullopt;
            std::string line = text.substr(start, end - start);
            while (!line.empty() && std::string_view(" \t\r\n\v\f").find(line.back()) != std::string_view::npos) {
                line.pop_back();
            }
            for (const std::string& terminator : terminators) {
                if (line == terminator) return Found{start, line, end + 2};
            }
            start = end + 2;
        }
    }
};

TEST(PendingText, BehavesLikeAPlainText) {
    const std::vector<std::vector<std::string>> lists{{"OK"}, {"OK", "ERROR"}, {"*MOVA=ACK"}, {"CONNECT"}};
    const auto joined = [](const std::vector<std::string>& list) {
        std::string text = list[0];
        for (std::size_t i = 1; i < list.size(); ++i) text += "|" + list[i];
        return text;
    };
    for (const std::uint32_t seed : seeds(200)) {
        Random random(seed);
        PendingText pending;
        Model model;
        for (int step = 0; step < 200; ++step) {
            const auto& list = random.of(lists);
            const auto expected = model.find(list);
            const auto found = find(pending, joined(list));
            ASSERT_EQ(found.has_value(), expected.has_value()) << seed << " at " << step;
            if (expected) {
                ASSERT_EQ(found->start, expected->start) << seed;
                ASSERT_EQ(found->text, expected->text) << seed;
                ASSERT_EQ(found->end, expected->end) << seed;
            }
            if (expected && random.oneIn(2)) {
                pending.dropFront(expected->end);
                model.text.erase(0, expected->end);
            } else if (random.oneIn(10)) {
                pending.dropFront(model.completeLines().size());
                model.text.erase(0, model.completeLines().size());
            } else if (random.oneIn(10)) {
                const std::string lines = random.oneIn(2) ? "OK\r\n" : std::string(random.below(300), 'x') + "\r\n";
                pending.putInFront(lines);
                model.text.insert(0, lines);
            } else if (random.oneIn(40)) {
                pending.clear();
                model.text.clear();
            } else {
                const std::string bytes =
                    random.oneIn(20) ? std::string(5000, 'y') + "\r\n" : noise(random, random.below(6));
                pending.append(bytes);
                model.text += bytes;
            }
            ASSERT_EQ(pending.text(), model.text) << seed << " at " << step;
            ASSERT_EQ(pending.completeLines(), model.completeLines()) << seed << " at " << step;
            ASSERT_EQ(pending.empty(), model.text.empty()) << seed;
        }
    }
}

}  // namespace
}  // namespace mova
