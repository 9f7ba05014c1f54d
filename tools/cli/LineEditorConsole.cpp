#include <cstdio>
#include <iostream>

#include "cli/LineEditor.h"

namespace mova::cli {

// NOLINTNEXTLINE(performance-unnecessary-value-param): as it is declared for both systems
LineEditor::LineEditor(std::string historyFile, Completer, Secret secret)
    : historyFile_(std::move(historyFile)), secret_(std::move(secret)) {}

LineEditor::~LineEditor() = default;

std::optional<std::string> LineEditor::readLine(const std::string& prompt) {
    std::fputs(prompt.c_str(), stdout);
    std::fflush(stdout);
    std::string line;
    if (!std::getline(std::cin, line)) {
        std::cin.clear();
        return std::nullopt;
    }
    return line;
}

std::string defaultHistoryFile() { return {}; }

}  // namespace mova::cli
