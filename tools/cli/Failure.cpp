#include "cli/Failure.h"

#include "cli/CodeHints.h"

namespace mova::cli {

Failure failureOf(Code code, std::string message) {
    const CodeDescription text = describeCode(code);
    return {text.status, std::move(message), text.hint, code};
}

}  // namespace mova::cli
