#include "base/Environment.h"
#include "cli/ConfigFolder.h"

namespace mova::cli {

std::string configFolder() { return environmentOr(variable::kAppData, ""); }

}  // namespace mova::cli
