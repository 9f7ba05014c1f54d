#include "base/Environment.h"

#include <cstdlib>

namespace mova {

std::optional<std::string> environment(const char* name) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing here changes the environment
    const char* const value = std::getenv(name);
    return value != nullptr ? std::optional<std::string>(value) : std::nullopt;
}

std::string environmentOr(const char* name, const std::string& otherwise) {
    const std::string value = environment(name).value_or("");
    return value.empty() ? otherwise : value;
}

}  // namespace mova
