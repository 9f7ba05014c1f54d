#include "cli/SplitText.h"

namespace mova::cli {

std::vector<std::string> splitAt(std::string_view text, char separator) {
    std::vector<std::string> parts;
    for (;;) {
        const auto end = text.find(separator);
        parts.emplace_back(text.substr(0, end));
        if (end == text.npos) return parts;
        text.remove_prefix(end + 1);
    }
}

std::optional<std::vector<std::string>> splitWords(std::string_view line) {
    std::vector<std::string> words;
    std::string word;
    bool inWord = false;
    char quote = 0;
    for (std::size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (quote != 0) {
            const bool escaped =
                quote == '"' && c == '\\' && i + 1 < line.size() && (line[i + 1] == '"' || line[i + 1] == '\\');
            if (escaped) {
                word += line[++i];
            } else if (c == quote) {
                quote = 0;
            } else {
                word += c;
            }
        } else if (c == '"' || c == '\'') {
            quote = c;
            inWord = true;
        } else if (c == ' ' || c == '\t' || c == '\r') {
            if (inWord) words.push_back(std::move(word));
            word.clear();
            inWord = false;
        } else {
            word += c;
            inWord = true;
        }
    }
    if (quote != 0) return std::nullopt;
    if (inWord) words.push_back(std::move(word));
    return words;
}

}  // namespace mova::cli
