#include "cli/Expectations.h"

#include <algorithm>
#include <stdexcept>

#include "base/CodeTexts.h"
#include "cli/CodeHints.h"
#include "cli/ParseNumber.h"
#include "cli/ScriptText.h"
#include "expression/Expression.h"

namespace mova::cli {

namespace {

class Judge {
public:
    Judge(const CommandOutcome& outcome, Variables& values, Variables& captured)
        : outcome_(outcome), values_(values), captured_(captured) {}

    // Empty when it is met.
    std::string unmet(const Expectation& expected) {
        switch (expected.kind) {
            case Expectation::Kind::Line:
                return lineLike(expected) != nullptr ? ""
                                                     : "no line is like \"" + filledIn(expected.text, values_) + "\"";
            case Expectation::Kind::NoLine: {
                const std::string* const line = lineLike(expected);
                return line == nullptr ? "" : "a line is like \"" + filledIn(expected.text, values_) + "\": " + *line;
            }
            case Expectation::Kind::Regex: return unmetExpression(expected, nullptr);
            case Expectation::Kind::Capture: return unmetExpression(expected, &expected.name);
            case Expectation::Kind::Failure: return outcome_.failed ? "" : "it did not fail";
            case Expectation::Kind::Code: return unmetCode(filledIn(expected.text, values_));
            case Expectation::Kind::Within: return unmetTime(filledIn(expected.text, values_));
            case Expectation::Kind::Value: return unmetValue(expected.comparison);
        }
        return "";
    }

private:
    const std::string* lineLike(const Expectation& expected) const {
        for (const std::string& line : outcome_.output) {
            if (matchesPattern(line, expected.text, values_)) return &line;
        }
        return nullptr;
    }

    std::string unmetExpression(const Expectation& expected, const std::string* capture) {
        const std::string text = filledExpression(expected.text, values_);
        try {
            const Expression expression(text);
            for (const std::string& line : outcome_.output) {
                if (capture == nullptr) {
                    if (expression.isIn(line)) return "";
                } else if (auto found = expression.findIn(line)) {
                    captured_[*capture] = *found;
                    values_[*capture] = std::move(*found);
                    return "";
                }
            }
        } catch (const Expression::TooComplex&) {
            return text + " takes too long for these lines";
        } catch (const std::invalid_argument&) {
            return "with its values this is no regular expression: " + text;
        }
        return "no line holds a match of " + text;
    }

    std::string unmetCode(const std::string& wanted) const {
        if (!outcome_.failed) return "it did not fail";
        if (parseCode(wanted) == Code::Success) return "no code is called " + wanted;
        if (outcome_.code == parseCode(wanted)) return "";
        return "it failed with " +
               (outcome_.code == Code::Success ? std::string("no code")
                                               : hexCode(outcome_.code) + " " + describeCode(outcome_.code).name) +
               ", not with " + wanted;
    }

    std::string unmetTime(const std::string& most) const {
        const auto milliseconds = parseNumber(most);
        if (!milliseconds) return "\"" + most + "\" is no number of milliseconds";
        if (outcome_.milliseconds <= *milliseconds) return "";
        return "it took " + std::to_string(outcome_.milliseconds) + " ms, more than " + most;
    }

    std::string unmetValue(const Comparison& comparison) const {
        const std::string problem = unmetComparison(comparison, values_);
        return problem.empty() ? "" : comparison.text + ": " + problem;
    }

    const CommandOutcome& outcome_;
    Variables& values_;
    Variables& captured_;
};

}  // namespace

std::string unmetExpectation(const ScriptStep& step, const CommandOutcome& outcome, Variables& values,
                             Variables& captured) {
    Judge judge(outcome, values, captured);
    for (const Expectation& expected : step.expectations) {
        const std::string problem = judge.unmet(expected);
        if (!problem.empty()) return "line " + std::to_string(expected.place.line) + ": " + problem;
    }
    return outcome.failed && !step.mayFail() ? "it failed" : "";
}

}  // namespace mova::cli
