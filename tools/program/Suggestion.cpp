#include "program/Suggestion.h"

#include <algorithm>
#include <vector>

#include "base/Text.h"

namespace mova {

namespace {

constexpr std::size_t kBeginning = 2;  // letters that tell a word by its beginning

}  // namespace

std::size_t editDistance(std::string_view one, std::string_view other) {
    // Three rows of the table of the distances between all beginnings: what is swapped looks two rows back.
    std::vector<std::size_t> before(other.size() + 1), last(other.size() + 1), row(other.size() + 1);
    for (std::size_t j = 0; j <= other.size(); ++j) row[j] = j;
    for (std::size_t i = 1; i <= one.size(); ++i) {
        before.swap(last);
        last.swap(row);
        row[0] = i;
        for (std::size_t j = 1; j <= other.size(); ++j) {
            const bool same = lowerCase(one[i - 1]) == lowerCase(other[j - 1]);
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (same ? 0 : 1)});
            const bool swapped = i > 1 && j > 1 && lowerCase(one[i - 1]) == lowerCase(other[j - 2]) &&
                                 lowerCase(one[i - 2]) == lowerCase(other[j - 1]);
            if (swapped) row[j] = std::min(row[j], before[j - 2] + 1);
        }
    }
    return row.back();
}

std::string nearestWord(std::string_view written, std::span<const std::string> words) {
    const std::string* nearest = nullptr;
    std::size_t least = std::max<std::size_t>(written.size() / 3, 1) + 1;
    for (const std::string& word : words) {
        std::size_t distance = editDistance(written, word);
        if (distance >= word.size()) continue;  // nothing of it is left
        if (written.size() >= kBeginning && word.starts_with(written)) distance = std::min<std::size_t>(distance, 1);
        if (distance < least) {
            least = distance;
            nearest = &word;
        }
    }
    return nearest != nullptr ? *nearest : std::string();
}

std::string suggestion(std::string_view written, std::span<const std::string> words) {
    const std::string word = nearestWord(written, words);
    return word.empty() ? word : "; did you mean \"" + word + "\"?";
}

}  // namespace mova
