// noise [--megabytes N] [--each N] [--serve LINK --client PID]: an object reads E2P objects from a handset that sends so
// many megabytes of noise before each answer. Every answer must be right, and the memory flat. With --serve only the line
// is played, at that link, for a client in another process, whose memory is watched.
#include <getopt.h>
#include <malloc.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>

#include "campaigns/noise/NoisyLine.h"
#include "line/LineStation.h"
#include "support/Sanitizers.h"

namespace mova::noise {
namespace {

// What waits for its terminator is at most 16 MiB. While it grows to that, a copy of half of it is there, and the heap
// keeps some of what was freed.
constexpr std::size_t kMostGrowth = 50'000;      // kB of resident memory
constexpr std::size_t kMostLaterGrowth = 2'000;  // kB, from the first quarter on, which has each kind of noise
constexpr std::size_t kMostLeft = 500'000;       // bytes in use when the noise is over and the queue is cleared
constexpr bool kMemoryIsTheProgramsOwn = !kAddressSanitizer && !kThreadSanitizer;

struct Options {
    std::size_t megabytes = 4096;
    std::size_t each = 64;
    std::string link;
    std::string client = "self";

    std::size_t rounds() const { return (megabytes + each - 1) / each; }
};

std::size_t kilobytesOf(const std::string& process) {
    std::size_t pages = 0;
    std::ifstream("/proc/" + process + "/statm") >> pages >> pages;
    return pages * 4;
}

// The line's side, and the memory of the client meanwhile.
class Play {
public:
    Play(NoisyLine& line, const Options& options) : line_(line), options_(options) {}

    bool run() {
        const auto begin = std::chrono::steady_clock::now();
        for (std::size_t round = 0; round < options_.rounds(); ++round) {
            const bool early = round < std::max(options_.rounds() / 4, kKindsOfNoise);
            std::size_t& most = early ? early_ : late_;
            const auto look = [&] {
                const std::size_t now = kilobytesOf(options_.client);
                if (before_ == 0) before_ = now;
                most = std::max(most, now);
            };
            if (!line_.answer(options_.each, look)) {
                std::printf("FAILED after %zu rounds: no request came, or the line was not read\n", round);
                return false;
            }
            if ((round + 1) * 8 / options_.rounds() == round * 8 / options_.rounds()) continue;
            const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - begin;
            std::printf("%6.0f s %7zu MB %7zu kB at most\n", passed.count(), (round + 1) * options_.each,
                        std::max(early_, late_));
        }
        return true;
    }

    bool judge() const {
        if (!kMemoryIsTheProgramsOwn) return true;
        bool good = check("kB that the noise took", early_, before_ + kMostGrowth);
        return check("kB after the first quarter", late_, early_ + kMostLaterGrowth) && good;
    }
    static bool check(const char* what, std::size_t got, std::size_t limit) {
        std::printf("%s %s: %zu, at most %zu\n", got <= limit ? "good  " : "FAILED", what, got, limit);
        return got <= limit;
    }

private:
    NoisyLine& line_;
    const Options& options_;
    std::size_t before_ = 0;  // when the first megabyte has come
    std::size_t early_ = 0;
    std::size_t late_ = 0;
};

std::size_t bytesInUse() {
    const struct mallinfo2 heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
}

bool answersAreRight(CVeCmdManager& manager, std::size_t rounds) {
    for (std::size_t round = 0; round < rounds; ++round) {
        const TextResult read = manager.ReadE2PObject(0x1234, 2);
        if (read.code == Code::Success && read.text == "AABB") continue;
        std::printf("FAILED in round %zu: code %#x, \"%s\"\n", round, number(read.code),
                    read.text.value_or("").c_str());
        return false;
    }
    manager.ClearQueue();
    return true;
}

bool both(const Options& options) {
    constexpr int kPort = 3;
    constexpr std::int32_t kPatience = 200'000;
    line::Bench bench;
    NoisyLine line;
    if (symlink(line.device().c_str(), bench.link(kPort).c_str()) != 0) return false;
    CVeCmdManager manager(bench.platform());
    manager.put_CommPortId(kPort);
    for (const auto option : {1, 4}) manager.AssignTimeoutConstant(option, kPatience);
    if (manager.InitCmdManager(0) != Code::Success) return false;
    const std::size_t before = bytesInUse();
    Play play(line, options);
    bool played = false;
    std::thread handset([&] { played = play.run(); });
    bool good = answersAreRight(manager, options.rounds());
    handset.join();
    if (kMemoryIsTheProgramsOwn) {
        const std::size_t after = bytesInUse();
        good = Play::check("bytes left after a clear", after > before ? after - before : 0, kMostLeft) && good;
    }
    return play.judge() && played && good;
}

bool lineAlone(const Options& options) {
    NoisyLine line;
    if (symlink(line.device().c_str(), options.link.c_str()) != 0) {
        std::printf("FAILED: %s cannot be made\n", options.link.c_str());
        return false;
    }
    Play play(line, options);
    const bool played = play.run();
    // The line stays until the client has read the last answer and ended.
    line::waitUntil([&] { return kilobytesOf(options.client) == 0; });
    return played && play.judge();
}

}  // namespace
}  // namespace mova::noise

int main(int argc, char** argv) {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    mova::noise::Options options;
    constexpr option kOptions[] = {{"megabytes", required_argument, nullptr, 'm'},
                                   {"each", required_argument, nullptr, 'e'},
                                   {"serve", required_argument, nullptr, 's'},
                                   {"client", required_argument, nullptr, 'c'},
                                   {nullptr, 0, nullptr, 0}};
    // NOLINTNEXTLINE(concurrency-mt-unsafe): there is one thread yet
    for (int letter = 0; (letter = getopt_long(argc, argv, "", kOptions, nullptr)) != -1;) {
        switch (letter) {
            case 'm': options.megabytes = std::strtoull(optarg, nullptr, 10); break;
            case 'e': options.each = std::strtoull(optarg, nullptr, 10); break;
            case 's': options.link = optarg; break;
            case 'c': options.client = optarg; break;
            default: return 2;
        }
    }
    if (optind != argc || options.megabytes < 1 || options.each < 1) {
        std::fprintf(stderr, "noise [--megabytes N] [--each N] [--serve LINK --client PID]\n");
        return 2;
    }
    const bool passed = options.link.empty() ? mova::noise::both(options) : mova::noise::lineAlone(options);
    std::printf("VERDICT: %s (%zu MB)\n", passed ? "PASS" : "FAIL", options.rounds() * options.each);
    return passed ? 0 : 1;
}
