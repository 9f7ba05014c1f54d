#include "cli/Environment.h"

#include <cstdlib>

namespace mova::cli {

std::optional<std::string> environment(const char* name) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing here changes the environment
    const char* const value = std::getenv(name);
    return value != nullptr ? std::optional<std::string>(value) : std::nullopt;
}

}  // namespace mova::cli
