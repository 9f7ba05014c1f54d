#include <editline/readline.h>
#include <poll.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <memory>
#include <utility>

#include "base/Environment.h"
#include "cli/Interrupt.h"
#include "cli/LineEditor.h"

namespace mova::cli {

namespace {

constexpr int kHistoryLines = 1000;

// The library's completion is a function without a state of its own.
LineEditor::Completer completing;
std::vector<std::string> candidates;
std::size_t nextCandidate = 0;

char* candidate(const char*, int state) {
    if (state == 0) nextCandidate = 0;
    return nextCandidate < candidates.size() ? strdup(candidates[nextCandidate++].c_str()) : nullptr;
}

// Without candidates of ours the library goes on with file names.
char** complete(const char* word, int start, int) {
    candidates = completing(std::string(rl_line_buffer, static_cast<std::size_t>(start)), word);
    return candidates.empty() ? nullptr : rl_completion_matches(word, candidate);
}

LineEditor::Idle idling;
std::exception_ptr idleFailure;  // no exception passes through the library

void rest() noexcept {
    try {
        if (idling()) rl_forced_update_display();
    } catch (...) {
        idleFailure = std::current_exception();
    }
}

// One byte; -1 at the end of the input, and at Ctrl-C, which gives the line up.
int readByte(std::FILE*) {
    constexpr int kLook = 50;  // milliseconds between looks for Ctrl-C
    for (;;) {
        pollfd input{STDIN_FILENO, POLLIN, 0};
        const int ready = poll(&input, 1, kLook);
        if (ready == 0) rest();
        if (interrupted() || idleFailure) return -1;
        if (ready <= 0) continue;
        unsigned char byte = 0;
        return ::read(STDIN_FILENO, &byte, 1) == 1 ? byte : -1;
    }
}

// A file of before may have some.
void forgetSecrets(const LineEditor::Secret& secret) {
    for (int i = history_length - 1; i >= 0; --i) {
        const HIST_ENTRY* const entry = history_get(history_base + i);
        if (entry == nullptr || !secret(entry->line)) continue;
        const std::unique_ptr<HIST_ENTRY, decltype(&std::free)> removed(remove_history(i), std::free);
        if (!removed) continue;
        const std::unique_ptr<char, decltype(&std::free)> line(const_cast<char*>(removed->line), std::free);
    }
}

}  // namespace

LineEditor::LineEditor(std::string historyFile, Completer completer, Secret secret, Idle idle)
    : historyFile_(std::move(historyFile)), secret_(std::move(secret)) {
    idling = std::move(idle);
    static char name[] = "mova";
    static char breaks[] = " \t";
    completing = std::move(completer);
    rl_readline_name = name;
    rl_getc_function = readByte;
    rl_catch_signals = 0;  // Ctrl-C is the program's own affair
    rl_initialize();
    rl_attempted_completion_function = complete;
    rl_completer_word_break_characters = breaks;
    using_history();
    stifle_history(kHistoryLines);
    if (historyFile_.empty()) return;
    read_history(historyFile_.c_str());
    forgetSecrets(secret_);
}

LineEditor::~LineEditor() = default;

// At once: a session may end with its terminal, or be killed.
void LineEditor::keep(const std::string& line) {
    add_history(line.c_str());
    if (historyFile_.empty()) return;
    std::error_code ignored;
    const std::filesystem::path folder = std::filesystem::path(historyFile_).parent_path();
    if (std::filesystem::create_directories(folder, ignored)) {
        std::filesystem::permissions(folder, std::filesystem::perms::owner_all, ignored);
    }
    // The library makes the file its owner's alone.
    write_history(historyFile_.c_str());
}

std::optional<std::string> LineEditor::readLine(const std::string& prompt) {
    const std::unique_ptr<char, decltype(&std::free)> line(readline(prompt.c_str()), std::free);
    if (idleFailure) std::rethrow_exception(std::exchange(idleFailure, nullptr));
    if (!line) return std::nullopt;
    std::string text(line.get());
    if (!text.empty() && text != last_ && !secret_(text)) keep(text);
    last_ = text;
    return text;
}

std::string defaultHistoryFile() {
    if (const auto chosen = environment(variable::kHistory)) return *chosen;
    const std::string home = environmentOr(variable::kHome, "");
    const std::string state = environmentOr(variable::kStateHome, home.empty() ? "" : home + "/.local/state");
    return state.empty() ? state : state + "/mova/history";
}

}  // namespace mova::cli
