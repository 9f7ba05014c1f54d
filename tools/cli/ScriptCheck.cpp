#include "cli/ScriptCheck.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <set>

#include "cli/Interpreter.h"
#include "cli/ScriptText.h"
#include "program/Suggestion.h"

namespace mova::cli {

namespace {

std::string placeText(const ScriptPlace& place) {
    return place.file + ":" + std::to_string(place.line) + ":" + std::to_string(place.column) + ": ";
}

class Checker {
public:
    Checker(Context& context, const RunVariables& variables)
        : context_(context), set_(variables.set), known_(variables.values) {
        for (const auto& [name, value] : known_) there_.insert(name);
    }

    // NOLINTNEXTLINE(misc-no-recursion): as deep as the script's repeats
    void check(const std::vector<ScriptStep>& steps) {
        for (const ScriptStep& step : steps) checkStep(step);
    }

private:
    // NOLINTNEXTLINE(misc-no-recursion)
    void checkStep(const ScriptStep& step) {
        switch (step.kind) {
            case ScriptStep::Kind::Command:
                require(step.text, step.place);
                checkCommand(step);
                checkNumber(step.timeout, step.timeoutPlace, 1, kLongestTimeout, "timeout", "milliseconds");
                for (const Expectation& expectation : step.expectations) checkExpectation(expectation);
                break;
            case ScriptStep::Kind::Sleep:
                checkNumber(step.value, step.valuePlace, 0, kLongestPause, "sleep", "milliseconds");
                break;
            case ScriptStep::Kind::Echo: require(step.value, step.valuePlace); break;
            case ScriptStep::Kind::Let: takeLet(step); break;
            case ScriptStep::Kind::Repeat: checkRepeat(step); break;
        }
    }

    // NOLINTNEXTLINE(misc-no-recursion)
    void checkRepeat(const ScriptStep& step) {
        checkNumber(step.value, step.valuePlace, 1, kMostRounds, "repeat", "rounds");
        const bool within = there_.contains(own_variable::kRound);
        there_.insert(own_variable::kRound);
        check(step.body);
        if (step.until) require(step.until->text, step.untilPlace);  // asked at the end of a round
        if (!within) there_.erase(own_variable::kRound);
    }

    void takeLet(const ScriptStep& step) {
        require(step.value, step.valuePlace);
        if (set_.contains(step.name)) return;
        there_.insert(step.name);
        known_.erase(step.name);
        if (isKnown(step.value)) known_[step.name] = filledIn(step.value, known_);
    }

    void checkExpectation(const Expectation& expectation) {
        if (expectation.kind == Expectation::Kind::Within) {
            checkNumber(expectation.text, expectation.place, 1, kLongestPause, "expect-within", "milliseconds");
        } else {
            require(expectation.text, expectation.place);
        }
        if (expectation.kind == Expectation::Kind::Capture) {
            there_.insert(expectation.name);
            known_.erase(expectation.name);
        }
    }

    void require(const std::string& text, const ScriptPlace& place) const {
        for (const TextPart& part : partsOf(text)) {
            if (!part.isName || there_.contains(part.text)) continue;
            const ScriptPlace at{place.file, place.line, place.column + static_cast<int>(part.at)};
            failAt(at, "there is no variable \"" + part.text + "\" here" +
                           suggestion(part.text, std::vector<std::string>(there_.begin(), there_.end())));
        }
    }

    bool isKnown(const std::string& text) const {
        const auto parts = partsOf(text);
        return std::all_of(parts.begin(), parts.end(),
                           [&](const TextPart& part) { return !part.isName || known_.contains(part.text); });
    }

    void checkNumber(const std::string& text, const ScriptPlace& place, std::uint64_t least, std::uint64_t most,
                     const char* what, const char* unit) const {
        if (text.empty()) return;
        require(text, place);
        if (!isKnown(text)) return;
        const auto number = parseNumber(filledIn(text, known_));
        if (!number || *number < least || *number > most) {
            failAt(place, std::string(what) + " needs a number of " + unit + ", from " + std::to_string(least) +
                              " to " + std::to_string(most));
        }
    }

    void checkCommand(const ScriptStep& step) {
        std::vector<std::string> words;
        for (const std::string& word : step.words) {
            if (!isKnown(word)) return checkName(step);
            words.push_back(filledIn(word, known_));
        }
        Failure failure;
        context_.checkOnly = true;
        context_.out.startCapture();
        const ExitStatus status = execute(context_, Scope::Session, words, &failure);
        context_.out.endCapture();
        context_.checkOnly = false;
        if (status == ExitStatus::Done) return;
        failure.message.insert(0, placeText(step.place) + step.text + ": ");
        throw failure;
    }

    // Of a line whose values only the run will tell.
    void checkName(const ScriptStep& step) {
        const std::string& name = step.words.front();
        const auto parser = makeParser(context_, Scope::Session);
        const auto called = [&](const CLI::App* command) { return command->get_name() == name; };
        if (isKnown(name) && parser->get_subcommands(called).empty())
            failAt(step.place, "there is no command \"" + name + "\"");
    }

    Context& context_;
    const Variables& set_;
    Variables known_;              // with a value that is certain
    std::set<std::string> there_;  // with some value by now
};

// NOLINTNEXTLINE(misc-no-recursion): as deep as the script's repeats
void collectVariables(const std::vector<ScriptStep>& steps, std::set<std::string>& names) {
    const auto take = [&](const std::string& text) {
        for (TextPart& part : partsOf(text)) {
            if (part.isName) names.insert(std::move(part.text));
        }
    };
    for (const ScriptStep& step : steps) {
        take(step.text);
        take(step.timeout);
        if (!step.name.empty()) names.insert(step.name);
        for (const Expectation& expectation : step.expectations) {
            take(expectation.text);
            if (!expectation.name.empty()) names.insert(expectation.name);
        }
        collectVariables(step.body, names);
    }
}

}  // namespace

void checkScript(Context& context, const Script& script, const RunVariables& variables) {
    if (judgedSteps(script.steps).empty()) failUsage(script.path + " holds no step");
    Checker(context, variables).check(script.steps);
}

std::vector<std::string> variablesIn(const std::vector<ScriptStep>& steps) {
    std::set<std::string> names;
    collectVariables(steps, names);
    return {names.begin(), names.end()};
}

}  // namespace mova::cli
