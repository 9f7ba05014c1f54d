#include "cli/Failure.h"

#include "cli/CodeHints.h"
#include "cli/Interrupt.h"

namespace mova::cli {

Failure failureOf(Code code, std::string message) {
    if (code == Code::Stopped && interrupted()) return {ExitStatus::Interrupted, "interrupted", {}, {}};
    const CodeDescription text = describeCode(code);
    return {text.status, std::move(message), text.hint, code};
}

}  // namespace mova::cli
