// A sequence of commands with what is expected of each, as a text file. See docs/mova.1, SCRIPTS.
//
//     # comment                  sleep MILLISECONDS        echo TEXT
//     at AT+CSQ                  a command as in the shell; it must succeed unless a failure is expected
//     expect +CSQ: 21,*          a line of its output matches (* any text, ? one character)
//     expect-not *ERROR*         no line matches
//     expect-regex ^\+CSQ: \d    a line holds a match
//     expect-failure             it fails, whatever the reason
//     expect-code NoAnswer       it fails with this code, by name or number
//     expect-within 500          it takes no longer, in milliseconds
//     capture rssi CSQ: (\d+)    ${rssi} is from now on what the expression finds
//     expect-value ${rssi} > 10  two values compare so
//     timeout 500                the longest wait for an answer of this command
//     let name = TEXT            ${name} is this text
//     include FILE               its lines stand here
//     repeat 3 ... end           its lines several times; repeat 10 until ${rssi} > 10: at most
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/Comparison.h"
#include "mova/Codes.h"

namespace mova::cli {

// Where in which file something stands, counted from 1.
struct ScriptPlace {
    std::string file;
    int line = 0;
    int column = 0;
};
// "FILE:LINE:COLUMN: message".
[[noreturn]] void failAt(const ScriptPlace& place, const std::string& message);

struct Expectation {
    enum class Kind { Line, NoLine, Regex, Failure, Code, Within, Value, Capture } kind;
    std::string text;   // of a capture the expression
    ScriptPlace place;  // of its text
    std::string name;   // of a capture
    Comparison comparison = {};
};

struct ScriptStep {
    enum class Kind { Command, Sleep, Echo, Let, Repeat } kind;
    ScriptPlace place;
    std::string text;                // as it stands in the file
    std::vector<std::string> words;  // of a command
    std::string value;               // milliseconds of a sleep, text of an echo or let, count of a repeat
    ScriptPlace valuePlace;
    std::string name;  // of a let
    std::vector<Expectation> expectations;
    std::string timeout;  // of a command; empty: as usual
    ScriptPlace timeoutPlace;
    std::optional<Comparison> until;  // of a repeat
    ScriptPlace untilPlace;
    std::vector<ScriptStep> body;

    bool mayFail() const;
    // It has an outcome of its own: not a let, not a repeat that can only come to its end.
    bool isJudged() const;
};

struct Script {
    std::string path;
    std::vector<ScriptStep> steps;
};

constexpr int kMostIncludes = 16;  // one within the other
constexpr std::uint64_t kMostRounds = 10'000;
constexpr std::uint64_t kLongestPause = 86'400'000;  // milliseconds

// Throws Failure with the place of the first mistake in its form. Files that it includes are looked for beside it.
Script parseScript(const std::string& text, const std::string& path);

// The steps that have an outcome, each once, in the order of the files.
std::vector<const ScriptStep*> judgedSteps(const std::vector<ScriptStep>& steps);

}  // namespace mova::cli
