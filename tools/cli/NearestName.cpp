#include "cli/NearestName.h"

#include <algorithm>
#include <utility>

#include "base/Text.h"

namespace mova::cli {

namespace {

// How many letters must be changed, put in, left out or exchanged with their neighbours.
std::size_t distance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> last, now(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) now[j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        const std::vector<std::size_t> before = std::exchange(last, now);
        now[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const bool same = lowerCase(a[i - 1]) == lowerCase(b[j - 1]);
            now[j] = std::min({last[j] + 1, now[j - 1] + 1, last[j - 1] + (same ? 0 : 1)});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                now[j] = std::min(now[j], before[j - 2] + 1);
        }
    }
    return now[b.size()];
}

}  // namespace

std::string didYouMean(std::string_view word, const std::vector<std::string>& names) {
    const std::string* nearest = nullptr;
    std::size_t least = word.size() / 3 + 2;  // what is farther away than a third of it was not meant
    for (const std::string& name : names) {
        const std::size_t apart = distance(word, name);
        if (apart >= least || apart >= name.size()) continue;
        least = apart;
        nearest = &name;
    }
    return nearest == nullptr ? std::string() : "; did you mean \"" + *nearest + "\"?";
}

}  // namespace mova::cli
