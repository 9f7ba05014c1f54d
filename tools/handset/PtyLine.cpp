#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <ctime>
#include <memory>
#include <system_error>
#include <vector>

#include "handset/Lines.h"
#include "handset/PtyHandset.h"

namespace mova::handset {

namespace {

// Who makes the file <cable>.out pulls the cable, <cable>.in puts it back, and after <cable>.stall nothing is taken in
// until the cable is pulled. Each file is removed once that is done.
class Cable {
public:
    Cable(PtyHandset& handset, const std::string& name)
        : handset_(handset), out_(name + ".out"), in_(name + ".in"), stall_(name + ".stall") {}

    void obey() {
        if (exists(stall_)) {
            handset_.with([this](Handset&) {  // which keeps everybody else from it
                unlink(stall_.c_str());
                while (!exists(out_)) nanosleep(&kLookAgain, nullptr);
            });
        }
        if (exists(out_)) {
            handset_.unplug();
            unlink(out_.c_str());
        }
        if (exists(in_)) {
            handset_.replug();
            unlink(in_.c_str());
        }
    }

    static constexpr timespec kLookAgain{0, 20'000'000};

private:
    static bool exists(const std::string& file) { return access(file.c_str(), F_OK) == 0; }

    PtyHandset& handset_;
    const std::string out_;
    const std::string in_;
    const std::string stall_;
};

// Until one of these signals comes.
void serve(PtyHandset& handset, const std::string& cable, const sigset_t& ends) {
    if (cable.empty()) {
        int signal = 0;
        sigwait(&ends, &signal);
        return;
    }
    Cable moved(handset, cable);
    while (sigtimedwait(&ends, nullptr, &Cable::kLookAgain) < 0) moved.obey();
}

}  // namespace

void serveLines(std::span<const Line> lines, const std::string& readyFile) {
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGINT);
    sigaddset(&ends, SIGTERM);
    sigaddset(&ends, SIGPIPE);
    struct sigaction hangUp {};  // "nohup" has it ignored, and then it is to stay so
    if (sigaction(SIGHUP, nullptr, &hangUp) == 0 && hangUp.sa_handler != SIG_IGN) sigaddset(&ends, SIGHUP);
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
        serve(*handsets.front(), lines.front().cable, ends);
        for (std::size_t i = 0; i < lines.size(); ++i) handsets[i]->with(lines[i].finish);
    } catch (const std::system_error& error) {
        throw LineError(error.what());
    }
}

}  // namespace mova::handset
