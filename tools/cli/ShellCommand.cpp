#include <CLI/CLI.hpp>
#include <algorithm>
#include <functional>
#include <optional>
#include <utility>

#include "base/Environment.h"
#include "base/Text.h"
#include "cli/Cable.h"
#include "cli/Commands.h"
#include "cli/Interpreter.h"
#include "cli/Interrupt.h"
#include "cli/LineEditor.h"
#include "cli/SplitText.h"
#include "cli/StandardInput.h"
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

// The lines of a pipe as they come; the last one may lack its end.
class PipedLines {
public:
    // Empty: the end. idle is asked while none comes.
    std::optional<std::string> next(const std::function<void()>& idle) {
        constexpr std::uint32_t kLook = 50;  // milliseconds
        for (;;) {
            const auto end = bytes_.find('\n');
            if (end != bytes_.npos) return taken(end, end + 1);
            if (ended_) return bytes_.empty() ? std::nullopt : std::optional(taken(bytes_.size(), bytes_.size()));
            const StandardInput::Outcome outcome = input_.read(bytes_, kLook);
            if (outcome == StandardInput::Outcome::Ended) ended_ = true;
            if (outcome == StandardInput::Outcome::Nothing) idle();
        }
    }

private:
    std::string taken(std::size_t length, std::size_t whole) {
        std::string line = bytes_.substr(0, length);
        bytes_.erase(0, whole);
        return line;
    }

    StandardInput input_{StandardInput::Mode::AsItIs};
    std::string bytes_;
    bool ended_ = false;
};

class Shell {
public:
    Shell(Context& context, bool noReconnect)
        : context_(context),
          before_(std::exchange(context.within, Within::Shell)),
          cable_(context, noReconnect ? Cable::Pulled::EndsIt : Cable::Pulled::IsMended) {}
    ~Shell() { context_.within = before_; }
    Shell(const Shell&) = delete;
    Shell& operator=(const Shell&) = delete;

    // From a file or pipe: the commands, one a line.
    void runPiped() {
        PipedLines lines;
        const auto idle = [this] {
            checkInterrupt();
            cable_.look();
        };
        for (bool first = true; !ended_; first = false) {
            const auto line = lines.next(idle);
            if (!line) break;
            runLine(first ? std::string(withoutByteOrderMark(*line)) : *line);
        }
        checkInterrupt();
    }

    void runInteractive() {
        LineEditor editor(
            defaultHistoryFile(),
            [this](const std::string& before, const std::string& word) { return completions(context_, before, word); },
            holdsSecret, [this] { return cable_.look(); });
        cable_.tellBy([this](bool, const std::string& text) {
            if (reading_) context_.out.remark("");  // off the line that is being typed
            context_.out.remark(text);
        });
        context_.out.remark("\"help\" lists the commands, \"exit\" or Ctrl-D ends");
        while (!ended_) {
            reading_ = true;
            const auto line = editor.readLine("mova> ");
            reading_ = false;
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
    // What is meant for the handset as it stands needs no word before it, and no quotes.
    static std::optional<std::vector<std::string>> wordsOf(const std::string& line) {
        const std::string_view text = trim(line);
        if (text.starts_with("AT")) return std::vector<std::string>{"at", "--", std::string(text)};
        return splitWords(line);
    }

    void runLine(const std::string& line) {
        auto words = wordsOf(line);
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
        cable_.lookAtOnce();
        last_ = execute(context_, Scope::Session, *words);
        forgetInterrupt();
        cable_.lookAtOnce();
        if (context_.out.isLost()) ended_ = true;
        checkInterrupt();
    }

    Context& context_;
    const Within before_;
    Cable cable_;
    bool reading_ = false;  // a line from the person at the terminal
    bool ended_ = false;
    ExitStatus last_ = ExitStatus::Done;
};

void runShell(Context& context, bool noReconnect) {
    Shell shell(context, noReconnect);
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
    auto noReconnect = std::make_shared<bool>(false);
    command.description("A session: the same commands, one a line, on a port that stays open");
    addNoReconnect(command, *noReconnect);
    command.footer(
        "\"help\" lists the commands, \"help COMMAND\" tells about one; \"exit\" or Ctrl-D ends. Ctrl-C ends a "
        "command, not "
        "the session. Words with blanks stand in quotes, single or double. From a pipe the exit code is the last "
        "command's.\n"
        "A line that begins with AT goes to the handset as it stands, quotes and all. \"set\" changes an option for "
        "what "
        "follows, and alone shows them:\n"
        "  set timeout 2000     milliseconds; \"usual\": each command's own\n"
        "  set port 8           as --port; it is opened at once\n"
        "  set trace FILE       appended to from now on; \"off\" ends it\n"
        "  set json on          or off\n"
        "When the port goes away, the shell says so, waits for it and opens it again; a command that was under way has "
        "failed.\n"
        "Linux: Tab completes, the arrow keys go through the history (~/.local/state/mova/history, or " +
        std::string(variable::kHistory) +
        "), which leaves out the lines of e2p password and auth-key.\n"
        "Windows: the console itself edits lines and remembers them (arrow keys, F7); there is no completion.");
    whenRun(command, context, [&context, noReconnect] { runShell(context, *noReconnect); });
}

}  // namespace mova::cli
