// The trace command by itself.
#include <CLI/CLI.hpp>

#include "trace/TraceCommand.h"

int main(int argc, char** argv) {
    CLI::App app("Commands on the traces of the component.");
    app.require_subcommand(1);
    int status = 0;
    mova::trace::addTraceCommand(app, status);
    CLI11_PARSE(app, argc, argv);
    return status;
}
