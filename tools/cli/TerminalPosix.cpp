#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "base/Environment.h"
#include "cli/Terminal.h"

namespace mova::cli {

bool isTerminal(Stream stream) {
    const int descriptor = stream == Stream::In ? STDIN_FILENO : stream == Stream::Out ? STDOUT_FILENO : STDERR_FILENO;
    return isatty(descriptor) == 1;
}

bool readerGone() {
    pollfd output{STDOUT_FILENO, 0, 0};
    return poll(&output, 1, 0) == 1 && (output.revents & POLLERR) != 0;
}

int terminalWidth() {
    constexpr int kUsual = 80;
    winsize size{};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : kUsual;
}

bool terminalTakesColours() {
    const std::string kind = environmentOr(variable::kTerminal, "");
    return !kind.empty() && kind != "dumb";
}

}  // namespace mova::cli
