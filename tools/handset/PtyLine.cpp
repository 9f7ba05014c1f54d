#include <csignal>
#include <cstdio>
#include <system_error>

#include "handset/Options.h"
#include "handset/PtyHandset.h"

namespace mova::handset {

int serveLine(const Options& options) {
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGINT);
    sigaddset(&ends, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &ends, nullptr);
    try {
        PtyHandset handset(options.profile, options.link);
        handset.with([&](Handset& h) { options.prepare(h, PtyHandset::nowMicroseconds()); });
        std::printf("%s\n", handset.slavePath().c_str());
        std::fflush(stdout);
        makeReadyFile(options.readyFile);
        int signal = 0;
        sigwait(&ends, &signal);
        handset.with(options.finish);
        return 0;
    } catch (const std::system_error& error) {
        std::fprintf(stderr, "mova-handset: %s\n", error.what());
        return 1;
    }
}

}  // namespace mova::handset
