#include <csignal>
#include <cstdio>
#include <memory>
#include <system_error>
#include <vector>

#include "handset/Lines.h"
#include "handset/PtyHandset.h"

namespace mova::handset {

int serveLines(std::span<const Line> lines, const std::string& readyFile) {
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGINT);
    sigaddset(&ends, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &ends, nullptr);
    try {
        std::vector<std::unique_ptr<PtyHandset>> handsets;
        for (const Line& line : lines) {
            auto& handset = handsets.emplace_back(std::make_unique<PtyHandset>(line.profile, line.link));
            handset->with([&](Handset& h) { line.prepare(h, PtyHandset::nowMicroseconds()); });
            std::printf("%s\n", handset->slavePath().c_str());
        }
        std::fflush(stdout);
        makeReadyFile(readyFile);
        int signal = 0;
        sigwait(&ends, &signal);
        for (std::size_t i = 0; i < lines.size(); ++i) handsets[i]->with(lines[i].finish);
        return 0;
    } catch (const std::system_error& error) {
        std::fprintf(stderr, "mova-handset: %s\n", error.what());
        return 1;
    }
}

}  // namespace mova::handset
