// What it costs to wake up for each byte of a line that trickles, beside a look at it in pauses of 1 ms: the figures behind
// the rule by which the component makes such pauses.
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <stdexcept>

#include "line/LineBenches.h"
#include "support/BareLine.h"
#include "support/Report.h"

namespace mova::bench {

namespace {

constexpr long kByteNanoseconds = 86'806;  // ten bits at 115200 baud
constexpr int kRounds = 4;
constexpr std::uint32_t kPause = 1;  // milliseconds

// Another process, which writes a byte to the terminal whenever one would have come over the line.
class TricklingLine {
public:
    TricklingLine() : master_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
        std::array<char, 128> name{};
        if (master_ < 0 || grantpt(master_) != 0 || unlockpt(master_) != 0 ||
            ptsname_r(master_, name.data(), name.size()) != 0) {
            throw std::runtime_error("no pseudo-terminal");
        }
        path_ = name.data();
    }
    ~TricklingLine() {
        if (writer_ > 0) {
            kill(writer_, SIGKILL);
            waitpid(writer_, nullptr, 0);
        }
        close(master_);
    }
    TricklingLine(const TricklingLine&) = delete;
    TricklingLine& operator=(const TricklingLine&) = delete;

    const std::string& path() const { return path_; }
    void begin() {
        writer_ = fork();
        if (writer_ < 0) throw std::runtime_error("fork");
        if (writer_ == 0) trickle();
    }

private:
    [[noreturn]] void trickle() const {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        prctl(PR_SET_TIMERSLACK, 1, 0, 0, 0);
        timespec next{};
        clock_gettime(CLOCK_MONOTONIC, &next);
        while (write(master_, "x", 1) == 1) {
            next.tv_nsec += kByteNanoseconds;
            if (next.tv_nsec >= 1'000'000'000) {
                next.tv_nsec -= 1'000'000'000;
                ++next.tv_sec;
            }
            clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &next, nullptr);
        }
        _exit(1);
    }

    int master_;
    pid_t writer_ = -1;
    std::string path_;
};

double threadSeconds() {
    timespec used{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
    return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) * 1e-9;
}

struct Cost {
    double wall = 0, processor = 0, looks = 0, bytes = 0;

    void report(const std::string& who) const {
        Row("trickle", "a line with a byte every 87 us", who)
            .number("core_percent", processor / wall * 100)
            .number("microseconds_a_look", processor / looks * 1e6)
            .number("microseconds_a_byte", processor / bytes * 1e6)
            .number("looks", looks / wall)
            .print();
    }
};

void look(BareLine& line, const std::function<void()>& wait, double seconds, Cost& cost) {
    while (line.waiting() > 0) line.take();
    const double start = nowSeconds();
    const double processor = threadSeconds();
    while (nowSeconds() - start < seconds) {
        wait();
        cost.looks += 1;
        if (line.waiting() > 0) cost.bytes += static_cast<double>(line.take().size());
    }
    cost.wall += nowSeconds() - start;
    cost.processor += threadSeconds() - processor;
}

}  // namespace

void runTrickle(const std::string&, bool quick) {
    TricklingLine trickling;
    BareLine line(trickling.path());
    trickling.begin();
    Cost forEachByte, inPauses;
    for (int round = 0; round < kRounds; ++round) {  // in turn, so that a noisy machine disturbs both alike
        const double seconds = quick ? 0.05 : 1;
        look(
            line, [&] { line.await(kPause); }, seconds, forEachByte);
        look(
            line, [] { sleepMilliseconds(kPause); }, seconds, inPauses);
    }
    forEachByte.report("waking for each byte");
    inPauses.report("pauses of 1 ms");
}

}  // namespace mova::bench
