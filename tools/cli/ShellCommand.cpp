#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>

#include "base/Environment.h"
#include "base/Text.h"
#include "cli/Commands.h"
#include "cli/Interpreter.h"
#include "cli/Interrupt.h"
#include "cli/LineEditor.h"
#include "cli/SplitText.h"
#include "cli/Terminal.h"

namespace mova::cli {

namespace {

constexpr const char* kOwnWords[] = {"help", "exit", "quit"};

// The subcommands and options that may follow what has been typed.
std::vector<std::string> completions(Context& context, const std::string& before, const std::string& word) {
    const auto parser = makeParser(context, Scope::Session);
    const CLI::App* at = parser.get();
    auto typed = splitWords(before).value_or(std::vector<std::string>());
    const bool help = !typed.empty() && typed.front() == "help";
    if (help) typed.erase(typed.begin());
    for (const std::string& name : typed) {
        const auto below = at->get_subcommands([&](const CLI::App* sub) { return sub->get_name() == name; });
        if (!below.empty()) at = below.front();
    }
    std::vector<std::string> found;
    const auto offer = [&](const std::string& text) {
        if (text.starts_with(word)) found.push_back(text);
    };
    for (const CLI::App* sub : at->get_subcommands([](const CLI::App*) { return true; })) offer(sub->get_name());
    if (typed.empty() && !help) {
        for (const char* own : kOwnWords) offer(own);
    }
    if (word.starts_with("-")) {
        for (const CLI::Option* option : at->get_options()) {
            for (const std::string& name : option->get_lnames()) offer("--" + name);
        }
    }
    return found;
}

// Also a line that is not whole: it may be the secret itself that lacks its quote.
bool holdsSecret(const std::string& line) {
    auto words = splitWords(line);
    if (!words) words = splitAt(line, ' ');
    return std::any_of(words->begin(), words->end(), sendsSecret);
}

class Shell {
public:
    explicit Shell(Context& context) : context_(context) { context_.inSession = true; }
    ~Shell() { context_.inSession = false; }
    Shell(const Shell&) = delete;
    Shell& operator=(const Shell&) = delete;

    // From a file or pipe: the commands, one a line.
    void runPiped() {
        std::string line;
        for (bool first = true; !ended_ && std::getline(std::cin, line); first = false) {
            runLine(first ? std::string(withoutByteOrderMark(line)) : line);
        }
        checkInterrupt();
    }

    void runInteractive() {
        LineEditor editor(
            defaultHistoryFile(),
            [this](const std::string& before, const std::string& word) { return completions(context_, before, word); },
            holdsSecret);
        context_.out.remark("\"help\" lists the commands, \"exit\" or Ctrl-D ends");
        while (!ended_) {
            const auto line = editor.readLine("mova> ");
            if (line) {
                runLine(*line);
            } else if (interrupted()) {  // Ctrl-C gives the line up, not the session
                context_.out.remark("");
                forgetInterrupt();
                checkInterrupt();
            } else {
                context_.out.remark("");
                return;
            }
        }
    }

    ExitStatus lastStatus() const { return last_; }

private:
    void runLine(const std::string& line) {
        auto words = splitWords(line);
        if (!words) {
            context_.out.trouble("mova: a quote is not closed");
            last_ = ExitStatus::Usage;
            return;
        }
        if (words->empty() || words->front().starts_with("#")) return;
        if (words->front() == "exit" || words->front() == "quit") {
            ended_ = true;
            return;
        }
        if (words->front() == "help") {
            words->erase(words->begin());
            words->push_back("--help");
        }
        forgetInterrupt();
        last_ = execute(context_, Scope::Session, *words);
        forgetInterrupt();
        if (context_.out.isLost()) ended_ = true;
        checkInterrupt();
    }

    Context& context_;
    bool ended_ = false;
    ExitStatus last_ = ExitStatus::Done;
};

void runShell(Context& context) {
    Shell shell(context);
    const bool watched = isTerminal(Stream::In);
    watched ? shell.runInteractive() : shell.runPiped();
    context.result = Json::object();
    context.commandName = "shell";
    if (!watched && shell.lastStatus() != ExitStatus::Done) {
        throw Failure{shell.lastStatus(), {}, {}};
    }
}

}  // namespace

void describeShell(CLI::App& command, Context& context) {
    command.description("A session: the same commands, one a line, on a port that stays open");
    command.footer(
        "\"help\" lists the commands, \"help COMMAND\" tells about one; \"exit\" or Ctrl-D ends. Ctrl-C ends a "
        "command, not "
        "the session. Words with blanks stand in quotes, single or double. From a pipe the exit code is the last "
        "command's.\n"
        "Linux: Tab completes, the arrow keys go through the history (~/.local/state/mova/history, or " +
        std::string(variable::kHistory) +
        "), which leaves out the lines of e2p password and auth-key.\n"
        "Windows: the console itself edits lines and remembers them (arrow keys, F7); there is no completion.");
    whenRun(command, context, [&context] { runShell(context); });
}

}  // namespace mova::cli
