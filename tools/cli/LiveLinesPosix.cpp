#include <sys/ioctl.h>
#include <unistd.h>

#include "cli/LiveLines.h"

namespace mova::cli {

int terminalHeight() {
    constexpr int kUsual = 24;
    winsize size{};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 0 ? size.ws_row : kUsual;
}

}  // namespace mova::cli
