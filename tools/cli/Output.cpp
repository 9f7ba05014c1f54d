#include "cli/Output.h"

#include <cerrno>
#include <cstdio>
#include <system_error>

#include "base/Environment.h"
#include "base/Printable.h"
#include "cli/Context.h"
#include "cli/Terminal.h"

namespace mova::cli {

namespace {

const char* sequenceOf(Style style) {
    switch (style) {
        case Style::Good: return "\033[32m";
        case Style::Bad: return "\033[1;31m";
        case Style::Strong: return "\033[1m";
        case Style::Faint: return "\033[2m";
    }
    return "";
}

std::string rendered(const StyledText& text, bool colours) {
    std::string line;
    for (const StyledText::Part& part : text.parts()) {
        const std::string shown = printable(part.text);
        line += colours && part.style ? sequenceOf(*part.style) + shown + "\033[0m" : shown;
    }
    return line;
}

bool write(std::FILE* file, std::string_view text) {
    if (!text.empty()) std::fwrite(text.data(), 1, text.size(), file);
    std::fputc('\n', file);
    const bool written = std::fflush(file) == 0 && std::ferror(file) == 0;
    std::clearerr(file);
    return written;
}

bool coloursFor(const std::string& mode, Stream stream) {
    if (mode == "always") return true;
    const bool wanted = mode == "auto" && environmentOr(variable::kNoColour, "").empty();
    return wanted && isTerminal(stream) && terminalTakesColours();
}

}  // namespace

void Output::chooseColours(const std::string& mode) {
    coloursOut_ = coloursFor(mode, Stream::Out);
    coloursError_ = coloursFor(mode, Stream::Error);
}

void Output::line(const StyledText& text) {
    if (capturing_) {
        captured_.push_back(rendered(text, false));
    } else if (!json_) {
        writeResult(rendered(text, coloursOut_));
    }
}

void Output::writeResult(std::string_view text) {
    errno = 0;
    if (!write(stdout, text)) failLost();
}

void Output::fragment(std::string_view shown) {
    if (shown.empty()) return;
    errno = 0;
    std::fwrite(shown.data(), 1, shown.size(), stdout);
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) failLost();
}

void Output::failLost() {
    lost_ = true;
    const std::string reason = errno != 0 ? ": " + std::generic_category().message(errno) : std::string();
    checkInterrupt();
    failFile("the standard output cannot be written" + reason, "is the disk full, or has the reader left?");
}

void Output::object(const Json& object) {
    if (!json_ || capturing_) return;
    // Bytes that are no UTF-8 must not stop a report.
    writeResult(printableJson(object.dump(-1, ' ', false, Json::error_handler_t::replace)));
}

void Output::remark(std::string_view text) {
    if (!json_ && !capturing_) write(stderr, printable(text));
}

void Output::announce(std::string_view text) { write(stderr, printable(text)); }

void Output::trouble(const StyledText& text) {
    if (capturing_) {
        captured_.push_back(rendered(text, false));
    } else {
        write(stderr, rendered(text, coloursError_));
    }
}

void Output::startCapture() {
    capturing_ = true;
    captured_.clear();
}

std::vector<std::string> Output::endCapture() {
    capturing_ = false;
    return std::move(captured_);
}

}  // namespace mova::cli
