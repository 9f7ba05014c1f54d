#include "cli/ScriptText.h"

#include "cli/Failure.h"

namespace mova::cli {

namespace {

// A pattern's characters, of which two stand for others.
using Pattern = std::u16string;
constexpr char16_t kAnyText = 0x100;
constexpr char16_t kAnyCharacter = 0x101;

constexpr char16_t plain(char c) { return static_cast<unsigned char>(c); }

const std::string& valueOf(const std::string& name, const Variables& values) {
    const auto found = values.find(name);
    if (found != values.end()) return found->second;
    throw Failure{ExitStatus::Refused, "${" + name + "} has no value: nothing was captured", {}};
}

Pattern patternOf(std::string_view text, const Variables& values) {
    Pattern pattern;
    for (const TextPart& part : partsOf(text)) {
        for (const char c : part.isName ? valueOf(part.text, values) : part.text) {
            const bool special = !part.isName && (c == '*' || c == '?');
            pattern += special ? (c == '*' ? kAnyText : kAnyCharacter) : plain(c);
        }
    }
    return pattern;
}

// The whole text must match.
bool matches(std::string_view text, const Pattern& pattern) {
    std::size_t at = 0, in = 0;
    std::size_t star = pattern.npos, resume = 0;  // where to go on when a star takes one character more
    while (at < text.size()) {
        if (in < pattern.size() && pattern[in] == kAnyText) {
            star = in++;
            resume = at;
        } else if (in < pattern.size() && (pattern[in] == kAnyCharacter || pattern[in] == plain(text[at]))) {
            ++in;
            ++at;
        } else if (star != pattern.npos) {
            in = star + 1;
            at = ++resume;
        } else {
            return false;
        }
    }
    while (in < pattern.size() && pattern[in] == kAnyText) ++in;
    return in == pattern.size();
}

}  // namespace

std::vector<TextPart> partsOf(std::string_view text) {
    constexpr std::string_view kBegin = "${";
    std::vector<TextPart> parts;
    const auto add = [&](std::string_view plainText, std::size_t at) {
        if (!plainText.empty()) parts.push_back({std::string(plainText), false, at});
    };
    std::size_t done = 0;
    for (auto at = text.find(kBegin); at != text.npos; at = text.find(kBegin, done)) {
        if (at > done && text[at - 1] == '$') {  // "$${"
            add(text.substr(done, at - 1 - done), done);
            add(kBegin, at - 1);
            done = at + kBegin.size();
            continue;
        }
        const auto end = text.find('}', at);
        const std::string_view name =
            end == text.npos ? std::string_view() : text.substr(at + kBegin.size(), end - at - kBegin.size());
        if (!isVariableName(name)) {
            throw WrongReference(
                at, std::string("\"${\" begins the name of a variable, ${name}; \"$${\" stands for itself (") +
                        kVariableNameRule + ")");
        }
        add(text.substr(done, at - done), done);
        parts.push_back({std::string(name), true, at});
        done = end + 1;
    }
    add(text.substr(done), done);
    return parts;
}

std::string filledIn(std::string_view text, const Variables& values) {
    std::string filled;
    for (const TextPart& part : partsOf(text)) filled += part.isName ? valueOf(part.text, values) : part.text;
    return filled;
}

std::string shownIn(std::string_view text, const Variables& values) {
    std::string shown;
    for (const TextPart& part : partsOf(text)) {
        const auto found = values.find(part.text);
        shown += !part.isName ? part.text : found != values.end() ? found->second : "${" + part.text + "}";
    }
    return shown;
}

std::string filledExpression(std::string_view text, const Variables& values) {
    std::string filled;
    for (const TextPart& part : partsOf(text)) {
        for (const char c : part.isName ? valueOf(part.text, values) : part.text) {
            if (part.isName && std::string_view("^$\\.*+?()[]{}|/-").find(c) != std::string_view::npos) filled += '\\';
            filled += c;
        }
    }
    return filled;
}

bool matchesPattern(std::string_view line, std::string_view pattern, const Variables& values) {
    return matches(line, patternOf(pattern, values));
}

}  // namespace mova::cli
