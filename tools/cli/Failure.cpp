#include "cli/Failure.h"

#include "cli/CodeTable.h"

namespace mova::cli {

Failure failureOf(std::uint32_t code, std::string message) {
    const CodeText text = describeCode(code);
    return {text.status, std::move(message), text.hint, code};
}

}  // namespace mova::cli
