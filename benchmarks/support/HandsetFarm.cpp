#include "support/HandsetFarm.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <stdexcept>
#include <vector>

#include "handset/PtyHandset.h"

namespace mova::bench {

namespace {

using handset::Handset;
using handset::Profile;

struct Line {
    Line(const std::string& link, unsigned baudRate)
        : handset(profileOf(baudRate)), master(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)) {
        std::array<char, 128> name{};
        if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0 ||
            ptsname_r(master, name.data(), name.size()) != 0) {
            throw std::runtime_error("no pseudo-terminal");
        }
        slave = open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC);  // kept: the line never hangs up between users
        termios settings{};
        tcgetattr(slave, &settings);
        cfmakeraw(&settings);
        tcsetattr(slave, TCSANOW, &settings);
        unlink(link.c_str());
        if (symlink(name.data(), link.c_str()) != 0) throw std::runtime_error(link);
    }

    // Without echo one direction is on the line at a time: its bytes are its time.
    static Profile profileOf(unsigned baudRate) {
        Profile profile;
        profile.echo = false;
        profile.baudRate = baudRate;
        return profile;
    }

    void takeIn(std::uint64_t now) {
        std::array<char, 4096> buffer{};
        for (;;) {
            const ssize_t got = read(master, buffer.data(), buffer.size());
            if (got <= 0) break;
            handset.receive(std::string_view(buffer.data(), static_cast<std::size_t>(got)), now);
        }
    }

    void putOut(std::uint64_t now) {
        unsent += handset.due(now);
        while (!unsent.empty()) {
            const ssize_t put = write(master, unsent.data(), unsent.size());
            if (put <= 0) break;
            unsent.erase(0, static_cast<std::size_t>(put));
        }
    }

    Handset handset;
    int master;
    int slave;
    std::string unsent;
};

timespec asTimespec(std::uint64_t microseconds) {
    return {static_cast<time_t>(microseconds / 1'000'000), static_cast<long>(microseconds % 1'000'000 * 1000)};
}

[[noreturn]] void serve(std::vector<std::unique_ptr<Line>>& lines, std::uint64_t grain) {
    constexpr std::uint64_t kSecond = 1'000'000;
    std::vector<pollfd> polled(lines.size());
    for (;;) {
        std::uint64_t now = handset::PtyHandset::nowMicroseconds();
        std::uint64_t next = now + kSecond;
        for (std::size_t i = 0; i < lines.size(); ++i) {
            const auto due = lines[i]->handset.nextDue();
            if (due) next = std::min(next, *due);
            polled[i] = {lines[i]->master, static_cast<short>(POLLIN | (lines[i]->unsent.empty() ? 0 : POLLOUT)), 0};
        }
        timespec wait{};
        if (grain > 0) {
            const timespec step = asTimespec(grain);
            clock_nanosleep(CLOCK_MONOTONIC, 0, &step, nullptr);
        } else {
            wait = asTimespec(next > now ? next - now : 0);
        }
        ppoll(polled.data(), polled.size(), &wait, nullptr);
        now = handset::PtyHandset::nowMicroseconds();
        for (std::size_t i = 0; i < lines.size(); ++i) {
            if (polled[i].revents & POLLIN) lines[i]->takeIn(now);
            lines[i]->putOut(now);
        }
    }
}

}  // namespace

HandsetFarm::HandsetFarm(std::string folder, int handsets, unsigned baudRate, std::uint64_t grain)
    : folder_(std::move(folder)), handsets_(handsets) {
    std::array<int, 2> ready{};
    if (pipe(ready.data()) != 0) throw std::runtime_error("pipe");
    process_ = fork();
    if (process_ < 0) throw std::runtime_error("fork");
    if (process_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        prctl(PR_SET_TIMERSLACK, 1, 0, 0, 0);
        try {
            std::vector<std::unique_ptr<Line>> lines;
            for (int i = 1; i <= handsets_; ++i) lines.push_back(std::make_unique<Line>(link(i), baudRate));
            if (write(ready[1], "r", 1) != 1) _exit(1);
            serve(lines, grain);
        } catch (...) {
            _exit(1);
        }
    }
    close(ready[1]);
    char signal = 0;
    const bool served = read(ready[0], &signal, 1) == 1;
    close(ready[0]);
    if (!served) throw std::runtime_error("the simulated handsets did not start");
}

HandsetFarm::~HandsetFarm() {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
    for (int i = 1; i <= handsets_; ++i) unlink(link(i).c_str());
}

}  // namespace mova::bench
