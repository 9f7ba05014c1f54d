// One line from the person at the terminal. On Linux with editing, history and completion; on Windows the console
// itself edits and remembers lines, and there is no completion.
#pragma once
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace mova::cli {

class LineEditor {
public:
    // Given the line up to the word at the cursor, and that word: what it may become.
    using Completer = std::function<std::vector<std::string>(const std::string& before, const std::string& word)>;

    // Whether a line is to be forgotten at once: neither the arrow keys nor the file bring it back.
    using Secret = std::function<bool(const std::string& line)>;

    // Asked several times a second while nobody types; true: it has written something, and the line is shown anew.
    using Idle = std::function<bool()>;

    LineEditor(std::string historyFile, Completer completer, Secret secret, Idle idle);  // empty: no file
    ~LineEditor();
    LineEditor(const LineEditor&) = delete;
    LineEditor& operator=(const LineEditor&) = delete;

    // Empty: the end of the input, or Ctrl-C. Each line is in the history's file when it returns.
    std::optional<std::string> readLine(const std::string& prompt);

private:
    void keep(const std::string& line);

    std::string historyFile_;
    Secret secret_;
    Idle idle_;
    std::string last_;
};

std::string defaultHistoryFile();  // of MOVA_HISTORY or in the user's state folder; empty: none

}  // namespace mova::cli
