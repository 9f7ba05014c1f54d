#include "cli/LiveLines.h"

#include <algorithm>
#include <cstdio>

#include "base/Printable.h"
#include "base/Text.h"
#include "cli/Terminal.h"

namespace mova::cli {

namespace {

constexpr const char* kWipeLine = "\033[2K";
constexpr const char* kWipeBelow = "\033[J";

std::string upBy(std::size_t lines) { return lines == 0 ? "\r" : format("\r\033[%zuA", lines); }

}  // namespace

bool LiveLines::arePossible() { return isTerminal(Stream::Out) && isTerminal(Stream::Error) && terminalTakesColours(); }

std::size_t LiveLines::mostLines() { return static_cast<std::size_t>(std::max(terminalHeight() - 1, 1)); }

void LiveLines::draw(const std::vector<std::string>& lines) {
    const auto width = static_cast<std::size_t>(std::max(terminalWidth() - 1, 1));
    std::string text = upBy(drawn_);
    for (const std::string& line : lines) text += kWipeLine + printable(line).substr(0, width) + "\n";
    text += kWipeBelow;
    drawn_ = lines.size();
    std::fputs(text.c_str(), stderr);
    std::fflush(stderr);
}

void LiveLines::clear() {
    if (drawn_ > 0) draw({});
}

}  // namespace mova::cli
