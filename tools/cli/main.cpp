// mova: the handset from the shell.
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "base/Printable.h"
#include "cli/Commands.h"
#include "cli/Interpreter.h"
#include "cli/Interrupt.h"

int main(int argc, char** argv) {
    using namespace mova::cli;
    using mova::ExitStatus;
    try {
        watchForInterrupt();
        Context context;
        const std::vector<std::string> words(argv + (argc > 0 ? 1 : 0), argv + argc);
        const ExitStatus status =
            execute(context, Scope::Program, words.empty() ? std::vector<std::string>{"--help"} : words);
        // A trace is to hold the whole end, and who kept the port open is likely to open it again.
        if (endsAtOnce(context.commandName) && context.options.traceFile.empty()) context.session.closeAtEnd();
        return static_cast<int>(status);
    } catch (const std::exception& error) {  // before or after the command; its own failures are told by execute
        std::fprintf(stderr, "mova: %s\n", mova::printable(error.what()).c_str());
        return static_cast<int>(ExitStatus::FileTrouble);
    }
}
