#include "cli/Script.h"

#include <algorithm>
#include <array>
#include <stdexcept>

#include "base/CodeTexts.h"
#include "base/Text.h"
#include "cli/CodeHints.h"
#include "cli/Failure.h"
#include "cli/ParseNumber.h"
#include "cli/SplitText.h"
#include "expression/Expression.h"

namespace mova::cli {

namespace {

struct Directive {
    const char* word;
    Expectation::Kind kind;
    bool takesText;
};
constexpr std::array kDirectives{
    Directive{"expect", Expectation::Kind::Line, true},
    Directive{"expect-not", Expectation::Kind::NoLine, true},
    Directive{"expect-regex", Expectation::Kind::Regex, true},
    Directive{"expect-failure", Expectation::Kind::Failure, false},
    Directive{"expect-code", Expectation::Kind::Code, true},
};

[[noreturn]] void failAt(const std::string& path, int line, const std::string& message) {
    failUsage(path + ":" + std::to_string(line) + ": " + message, "\"mova run --help\" tells what a script may hold");
}

class Parser {
public:
    explicit Parser(std::string path) : path_(std::move(path)) {}

    std::vector<ScriptStep> parse(const std::string& text) {
        int number = 0;
        for (const std::string& line : splitAt(text, '\n')) {
            line_ = ++number;
            const std::string_view content = trim(line);
            if (!content.empty() && !content.starts_with("#")) take(content);
        }
        return std::move(steps_);
    }

private:
    void take(std::string_view content) {
        const auto blank = std::min(content.find_first_of(" \t"), content.size());
        const std::string_view word = content.substr(0, blank);
        const std::string rest(trim(content.substr(blank)));
        const auto* const directive =
            std::find_if(kDirectives.begin(), kDirectives.end(), [&](const Directive& d) { return word == d.word; });
        if (directive != kDirectives.end()) return takeExpectation(*directive, rest);
        if (word.starts_with("expect")) failAt(path_, line_, "\"" + std::string(word) + "\" is no expectation");
        if (word == "sleep") return takeSleep(content, rest);
        if (word == "echo") {
            steps_.push_back({ScriptStep::Kind::Echo, line_, rest, {}, 0, {}});
            return;
        }
        takeCommand(content);
    }

    void takeExpectation(const Directive& directive, const std::string& rest) {
        const bool afterCommand = !steps_.empty() && steps_.back().kind == ScriptStep::Kind::Command;
        if (!afterCommand) failAt(path_, line_, "an expectation stands behind its command");
        if (directive.takesText == rest.empty()) {
            failAt(path_, line_,
                   std::string(directive.word) + (directive.takesText ? " needs a text" : " takes no text"));
        }
        if (directive.kind == Expectation::Kind::Code && parseCode(rest) == Code::Success)
            failAt(path_, line_, "no code is called " + rest);
        if (directive.kind == Expectation::Kind::Regex) checkRegex(rest);
        steps_.back().expectations.push_back({directive.kind, rest, line_});
    }

    void checkRegex(const std::string& text) {
        try {
            const Expression checked(text);
        } catch (const std::invalid_argument&) {
            failAt(path_, line_, "\"" + text + "\" is no regular expression");
        }
    }

    void takeSleep(std::string_view content, const std::string& rest) {
        constexpr std::uint64_t kLongest = 86'400'000;
        const auto milliseconds = parseNumber(rest);
        if (!milliseconds || *milliseconds > kLongest) failAt(path_, line_, "sleep needs a number of milliseconds");
        steps_.push_back(
            {ScriptStep::Kind::Sleep, line_, std::string(content), {}, static_cast<std::uint32_t>(*milliseconds), {}});
    }

    void takeCommand(std::string_view content) {
        auto words = splitWords(content);
        if (!words) failAt(path_, line_, "a quote is not closed");
        steps_.push_back({ScriptStep::Kind::Command, line_, std::string(content), std::move(*words), 0, {}});
    }

    const std::string path_;
    int line_ = 0;
    std::vector<ScriptStep> steps_;
};

// "*" stands for any text, "?" for one character; the whole text must match.
bool matchesWildcard(std::string_view text, std::string_view pattern) {
    std::size_t at = 0, in = 0;
    std::size_t star = pattern.npos, resume = 0;  // where to go on when a star takes one character more
    while (at < text.size()) {
        if (in < pattern.size() && pattern[in] == '*') {
            star = in++;
            resume = at;
        } else if (in < pattern.size() && (pattern[in] == '?' || pattern[in] == text[at])) {
            ++in;
            ++at;
        } else if (star != pattern.npos) {
            in = star + 1;
            at = ++resume;
        } else {
            return false;
        }
    }
    while (in < pattern.size() && pattern[in] == '*') ++in;
    return in == pattern.size();
}

// Empty when it is met.
std::string unmet(const Expectation& expected, const std::vector<std::string>& output, bool failed, Code code) {
    const auto matching = [&](auto matches) { return std::find_if(output.begin(), output.end(), matches); };
    const auto wildcard = [&](const std::string& line) { return matchesWildcard(line, expected.text); };
    switch (expected.kind) {
        case Expectation::Kind::Line:
            return matching(wildcard) != output.end() ? "" : "no line is like \"" + expected.text + "\"";
        case Expectation::Kind::NoLine: {
            const auto line = matching(wildcard);
            return line == output.end() ? "" : "a line is like \"" + expected.text + "\": " + *line;
        }
        case Expectation::Kind::Regex: {
            const Expression pattern(expected.text);
            try {
                const bool found =
                    matching([&](const std::string& line) { return pattern.isIn(line); }) != output.end();
                return found ? "" : "no line holds a match of " + expected.text;
            } catch (const Expression::TooComplex&) {
                return expected.text + " takes too long for these lines";
            }
        }
        case Expectation::Kind::Failure: return failed ? "" : "it did not fail";
        case Expectation::Kind::Code: {
            if (!failed) return "it did not fail";
            if (code == parseCode(expected.text)) return "";
            return "it failed with " +
                   (code == Code::Success ? std::string("no code") : hexCode(code) + " " + describeCode(code).name) +
                   ", not with " + expected.text;
        }
    }
    return "";
}

}  // namespace

bool ScriptStep::mayFail() const {
    return std::any_of(expectations.begin(), expectations.end(), [](const Expectation& e) {
        return e.kind == Expectation::Kind::Failure || e.kind == Expectation::Kind::Code;
    });
}

std::vector<ScriptStep> parseScript(const std::string& text, const std::string& path) {
    return Parser(path).parse(text);
}

std::string unmetExpectation(const ScriptStep& step, const std::vector<std::string>& output, bool failed, Code code) {
    for (const Expectation& expected : step.expectations) {
        const std::string problem = unmet(expected, output, failed, code);
        if (!problem.empty()) return "line " + std::to_string(expected.line) + ": " + problem;
    }
    return failed && !step.mayFail() ? "it failed" : "";
}

}  // namespace mova::cli
