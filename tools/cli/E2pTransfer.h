// Whole E2P stores: into a file, back into a handset, and compared.
#pragma once

namespace CLI {
class App;
}

namespace mova::cli {

struct Context;

void describeDump(CLI::App& command, Context& context);
void describeRestore(CLI::App& command, Context& context);
void describeDiff(CLI::App& command, Context& context);

}  // namespace mova::cli
