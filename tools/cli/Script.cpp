#include "cli/Script.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <stdexcept>

#include "base/Text.h"
#include "cli/CodeHints.h"
#include "cli/Comparison.h"
#include "cli/Failure.h"
#include "cli/ScriptText.h"
#include "cli/SplitText.h"
#include "cli/TextFile.h"
#include "expression/Expression.h"
#include "program/Suggestion.h"

namespace mova::cli {

namespace {

namespace fs = std::filesystem;

struct ExpectationWord {
    const char* word;
    Expectation::Kind kind;
    bool takesText;
};
constexpr std::array kExpectationWords{
    ExpectationWord{"expect", Expectation::Kind::Line, true},
    ExpectationWord{"expect-not", Expectation::Kind::NoLine, true},
    ExpectationWord{"expect-regex", Expectation::Kind::Regex, true},
    ExpectationWord{"expect-failure", Expectation::Kind::Failure, false},
    ExpectationWord{"expect-code", Expectation::Kind::Code, true},
    ExpectationWord{"expect-within", Expectation::Kind::Within, true},
    ExpectationWord{"expect-value", Expectation::Kind::Value, true},
    ExpectationWord{"capture", Expectation::Kind::Capture, true},
};

std::vector<std::string> expectationNames() {
    std::vector<std::string> names;
    names.reserve(kExpectationWords.size());
    for (const ExpectationWord& directive : kExpectationWords) names.emplace_back(directive.word);
    return names;
}

// A word and what stands behind it, both parts of a line.
struct Cut {
    std::string_view word, rest;
};
Cut cutWord(std::string_view content) {
    const auto blank = std::min(content.find_first_of(" \t"), content.size());
    return {content.substr(0, blank), trim(content.substr(blank))};
}

bool hasReference(std::string_view text) {
    const auto parts = partsOf(text);
    return std::any_of(parts.begin(), parts.end(), [](const TextPart& part) { return part.isName; });
}

// Reads one file; those that it includes are read by parsers below it.
class Parser {
public:
    Parser(std::string path, const Parser* includedBy) : path_(std::move(path)), includedBy_(includedBy) {}

    // NOLINTNEXTLINE(misc-no-recursion): kMostIncludes deep at most
    std::vector<ScriptStep> parse(const std::string& text) {
        for (const std::string& line : splitAt(text, '\n')) {
            ++number_;
            line_ = line;
            const std::string_view content = trim(line_);
            if (!content.empty() && !content.starts_with("#")) take(content);
        }
        if (!open_.empty()) failAt(open_.back().place, "this repeat has no end");
        return std::move(steps_);
    }

private:
    ScriptPlace placeOf(std::string_view part) const {
        return {path_, number_, static_cast<int>(part.data() - line_.data()) + 1};
    }
    [[noreturn]] void fail(std::string_view part, const std::string& message) const { failAt(placeOf(part), message); }

    std::vector<ScriptStep>& here() { return open_.empty() ? steps_ : open_.back().body; }

    ScriptStep& add(ScriptStep::Kind kind, std::string_view content, std::string_view value) {
        ScriptStep step{};
        step.kind = kind;
        step.place = placeOf(content);
        step.text = std::string(content);
        step.value = std::string(value);
        step.valuePlace = placeOf(value);
        return here().emplace_back(std::move(step));
    }

    // NOLINTNEXTLINE(misc-no-recursion)
    void take(std::string_view content) {
        checkReferences(content);
        const auto [word, rest] = cutWord(content);
        const auto* const directive = std::find_if(kExpectationWords.begin(), kExpectationWords.end(),
                                                   [&, w = word](const ExpectationWord& d) { return w == d.word; });
        if (directive != kExpectationWords.end()) return takeExpectation(*directive, content, rest);
        if (word.starts_with("expect"))
            fail(word, "\"" + std::string(word) + "\" is no expectation" + suggestion(word, expectationNames()));
        if (word == "timeout") return takeTimeout(word, rest);
        if (word == "sleep") return takeSleep(content, rest);
        if (word == "echo") {
            add(ScriptStep::Kind::Echo, content, rest);
        } else if (word == "let") {
            takeLet(content, rest);
        } else if (word == "include") {
            takeInclude(content, rest);
        } else if (word == "repeat") {
            takeRepeat(content, rest);
        } else if (word == "end") {
            takeEnd(word, rest);
        } else {
            takeCommand(content);
        }
    }

    void checkReferences(std::string_view content) const {
        try {
            partsOf(content);
        } catch (const WrongReference& wrong) {
            fail(content.substr(wrong.at), wrong.what());
        }
    }

    ScriptStep& commandBefore(std::string_view word, const char* what) {
        const bool afterCommand =
            !here().empty() && here().back().kind == ScriptStep::Kind::Command && here().back().place.file == path_;
        if (!afterCommand) fail(word, std::string(what) + " stands behind its command");
        return here().back();
    }

    void takeExpectation(const ExpectationWord& directive, std::string_view content, std::string_view rest) {
        using Kind = Expectation::Kind;
        ScriptStep& step = commandBefore(content, directive.kind == Kind::Capture ? "a capture" : "an expectation");
        if (directive.takesText == rest.empty()) {
            fail(content, std::string(directive.word) + (directive.takesText ? " needs a text" : " takes no text"));
        }
        Expectation expectation{directive.kind, std::string(rest), placeOf(rest), {}, {}};
        switch (directive.kind) {
            case Kind::Code:
                if (!hasReference(rest) && parseCode(std::string(rest)) == Code::Success)
                    fail(rest, "no code is called " + std::string(rest));
                break;
            case Kind::Regex: checkRegex(rest); break;
            case Kind::Capture: splitCapture(rest, expectation); break;
            case Kind::Value: expectation.comparison = comparisonOf(rest); break;
            case Kind::Line:
            case Kind::NoLine:
            case Kind::Failure:
            case Kind::Within: break;
        }
        step.expectations.push_back(std::move(expectation));
    }

    void splitCapture(std::string_view rest, Expectation& capture) {
        const auto [name, expression] = cutWord(rest);
        takeName(name, capture.name);
        if (expression.empty()) fail(name, "capture needs a regular expression behind the name");
        checkRegex(expression);
        capture.text = std::string(expression);
        capture.place = placeOf(expression);
    }

    void takeName(std::string_view name, std::string& to) const {
        if (!isVariableName(name))
            fail(name, "\"" + std::string(name) + "\" is no name for a variable: " + kVariableNameRule);
        if (isOwnVariable(name)) fail(name, "${" + std::string(name) + "} is told by the run itself");
        to = std::string(name);
    }

    // A value in it, whatever it will be, stands for itself.
    void checkRegex(std::string_view text) const {
        Variables any;
        for (const TextPart& part : partsOf(text)) {
            if (part.isName) any[part.text] = "1";
        }
        try {
            const Expression checked(filledExpression(text, any));
        } catch (const std::invalid_argument&) {
            fail(text, "\"" + std::string(text) + "\" is no regular expression");
        }
    }

    Comparison comparisonOf(std::string_view text) const {
        try {
            return parseComparison(text);
        } catch (const std::invalid_argument& wrong) {
            fail(text, wrong.what());
        }
    }

    void takeTimeout(std::string_view word, std::string_view rest) {
        ScriptStep& step = commandBefore(word, "a timeout");
        if (rest.empty()) fail(word, "timeout needs a number of milliseconds");
        step.timeout = std::string(rest);
        step.timeoutPlace = placeOf(rest);
    }

    void takeSleep(std::string_view content, std::string_view rest) {
        if (rest.empty()) fail(content, "sleep needs a number of milliseconds");
        add(ScriptStep::Kind::Sleep, content, rest);
    }

    void takeLet(std::string_view content, std::string_view rest) {
        const auto equals = rest.find('=');
        if (equals == rest.npos) fail(content, "let needs a name and a text: let name = text");
        const std::string_view value = trim(rest.substr(equals + 1));
        std::string name;
        takeName(trim(rest.substr(0, equals)), name);
        add(ScriptStep::Kind::Let, content, value).name = std::move(name);
    }

    // NOLINTNEXTLINE(misc-no-recursion)
    void takeInclude(std::string_view content, std::string_view rest) {
        const auto words = splitWords(rest);
        if (!words || words->size() != 1) fail(content, "include needs one file");
        if (hasReference(rest))
            fail(rest, "include names its file outright: which one must be known before anything runs");
        const std::string path = path_ == "-"
                                     ? words->front()
                                     : (fs::path(path_).parent_path() / words->front()).lexically_normal().string();
        int depth = 1;
        for (const Parser* above = this; above != nullptr; above = above->includedBy_, ++depth) {
            std::error_code failed;
            if (fs::equivalent(above->path_, path, failed)) fail(rest, path + " includes itself" + circle(*above));
        }
        if (depth > kMostIncludes)
            fail(rest, "more than " + std::to_string(kMostIncludes) + " files include one another");
        for (ScriptStep& step : Parser(path, this).parse(textOf(path, rest))) here().push_back(std::move(step));
    }

    // By what way the file comes back to that one.
    std::string circle(const Parser& back) const {
        std::string way;
        for (const Parser* at = this; at != &back; at = at->includedBy_) way.insert(0, " by " + at->path_);
        return way;
    }

    std::string textOf(const std::string& path, std::string_view rest) const {
        try {
            return readTextFile(path);
        } catch (Failure& failure) {
            const ScriptPlace place = placeOf(rest);
            failure.message.insert(
                0, place.file + ":" + std::to_string(place.line) + ":" + std::to_string(place.column) + ": ");
            throw;
        }
    }

    void takeRepeat(std::string_view content, std::string_view rest) {
        const auto [count, behind] = cutWord(rest);
        if (count.empty()) fail(content, "repeat needs a number of rounds");
        ScriptStep step{};
        step.kind = ScriptStep::Kind::Repeat;
        step.place = placeOf(content);
        step.text = std::string(content);
        step.value = std::string(count);
        step.valuePlace = placeOf(count);
        if (!behind.empty()) {
            const auto [until, condition] = cutWord(behind);
            if (until != "until") fail(until, "behind the number of rounds stands until, or nothing");
            if (condition.empty()) fail(until, "until needs a condition: until ${name} == value");
            step.until = comparisonOf(condition);
            step.untilPlace = placeOf(condition);
        }
        open_.push_back(std::move(step));
    }

    void takeEnd(std::string_view word, std::string_view rest) {
        if (!rest.empty()) fail(rest, "end takes no text");
        if (open_.empty()) fail(word, "there is no repeat that ends here");
        ScriptStep whole = std::move(open_.back());
        open_.pop_back();
        if (whole.body.empty()) failAt(whole.place, "this repeat holds no step");
        here().push_back(std::move(whole));
    }

    void takeCommand(std::string_view content) {
        auto words = splitWords(content);
        if (!words) fail(content, "a quote is not closed");
        add(ScriptStep::Kind::Command, content, content).words = std::move(*words);
    }

    const std::string path_;
    const Parser* const includedBy_;
    int number_ = 0;
    std::string line_;
    std::vector<ScriptStep> steps_;
    std::vector<ScriptStep> open_;  // repeats whose end is still to come
};

// NOLINTNEXTLINE(misc-no-recursion): as deep as the script's repeats
void collectJudged(const std::vector<ScriptStep>& steps, std::vector<const ScriptStep*>& judged) {
    for (const ScriptStep& step : steps) {
        collectJudged(step.body, judged);
        if (step.isJudged()) judged.push_back(&step);
    }
}

}  // namespace

void failAt(const ScriptPlace& place, const std::string& message) {
    failUsage(place.file + ":" + std::to_string(place.line) + ":" + std::to_string(place.column) + ": " + message,
              "\"mova run --help\" tells what a script may hold");
}

bool ScriptStep::mayFail() const {
    return std::any_of(expectations.begin(), expectations.end(), [](const Expectation& e) {
        return e.kind == Expectation::Kind::Failure || e.kind == Expectation::Kind::Code;
    });
}

bool ScriptStep::isJudged() const { return kind != Kind::Let && (kind != Kind::Repeat || until.has_value()); }

Script parseScript(const std::string& text, const std::string& path) {
    return {path, Parser(path, nullptr).parse(text)};
}

std::vector<const ScriptStep*> judgedSteps(const std::vector<ScriptStep>& steps) {
    std::vector<const ScriptStep*> judged;
    collectJudged(steps, judged);
    return judged;
}

}  // namespace mova::cli
