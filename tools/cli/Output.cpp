#include "cli/Output.h"

#include <cerrno>
#include <cstdio>
#include <system_error>

#include "base/Environment.h"
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

std::string painted(bool colours, Style style, std::string_view text) {
    if (!colours) return std::string(text);
    return sequenceOf(style) + std::string(text) + "\033[0m";
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

void Output::line(std::string_view text) {
    if (capturing_) {
        captured_.emplace_back(text);
    } else if (!json_) {
        writeResult(text);
    }
}

void Output::writeResult(std::string_view text) {
    errno = 0;
    if (write(stdout, text)) return;
    lost_ = true;
    const std::string reason = errno != 0 ? ": " + std::generic_category().message(errno) : std::string();
    checkInterrupt();
    failFile("the standard output cannot be written" + reason, "is the disk full, or has the reader left?");
}

void Output::object(const Json& object) {
    if (!json_ || capturing_) return;
    // Bytes that are no UTF-8 must not stop a report.
    writeResult(object.dump(-1, ' ', false, Json::error_handler_t::replace));
}

void Output::remark(std::string_view text) {
    if (!json_ && !capturing_) write(stderr, text);
}

void Output::trouble(std::string_view text) {
    if (capturing_) {
        captured_.emplace_back(text);
    } else {
        write(stderr, text);
    }
}

std::string Output::paint(Style style, std::string_view text) const {
    return painted(coloursOut_ && !capturing_, style, text);
}

std::string Output::paintRemark(Style style, std::string_view text) const {
    return painted(coloursError_ && !capturing_, style, text);
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
