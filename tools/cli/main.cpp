// mova: the handset from the shell.
#include <string>
#include <vector>

#include "cli/Interpreter.h"
#include "cli/Interrupt.h"

int main(int argc, char** argv) {
    using namespace mova::cli;
    watchForInterrupt();
    Context context;
    const std::vector<std::string> words(argv + (argc > 0 ? 1 : 0), argv + argc);
    return static_cast<int>(
        execute(context, Scope::Program, words.empty() ? std::vector<std::string>{"--help"} : words));
}
