// A sequence of commands with what is expected of each, as a text file. See docs/mova.1, SCRIPTS.
//
//     # comment                  sleep MILLISECONDS        echo TEXT
//     at AT+CSQ                  a command as in the shell; it must succeed unless a failure is expected
//     expect +CSQ: 21,*          a line of its output matches (* any text, ? one character)
//     expect-not *ERROR*         no line matches
//     expect-regex ^\+CSQ: \d    a line holds a match
//     expect-failure             it fails, whatever the reason
//     expect-code NoAnswer       it fails with this code, by name or number
#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "mova/Codes.h"

namespace mova::cli {

struct Expectation {
    enum class Kind { Line, NoLine, Regex, Failure, Code } kind;
    std::string text;
    int line;
};

struct ScriptStep {
    enum class Kind { Command, Sleep, Echo } kind;
    int line;
    std::string text;                // as it stands in the file
    std::vector<std::string> words;  // of a command
    std::uint32_t milliseconds = 0;  // of a sleep
    std::vector<Expectation> expectations;

    bool mayFail() const;
};

// Throws Failure with the line of the first mistake in its form.
std::vector<ScriptStep> parseScript(const std::string& text, const std::string& path);

// What of the outcome is not as expected; empty when all is. output: the lines, failed and code: how it ended.
std::string unmetExpectation(const ScriptStep& step, const std::vector<std::string>& output, bool failed, Code code);

}  // namespace mova::cli
