// soak [--minutes M] [--objects N] [--seed S] [--interval SECONDS] [--no-faults]: many command managers with their
// handsets at once. A line each interval, a verdict at the end: it fails on a wrong answer, on a loss that no injected
// fault explains, and on threads, descriptors or memory that grow beyond what is said below.
#include <getopt.h>
#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "campaigns/soak/Station.h"
#include "support/Sanitizers.h"

namespace mova::soak {
namespace {

using Clock = std::chrono::steady_clock;

// A sanitizer keeps what was freed; it finds leaks by itself.
constexpr bool kMemoryIsTheProgramsOwn = !kAddressSanitizer && !kThreadSanitizer;
constexpr std::size_t kThreadsOfAnObject = 5;  // client, handset, reader, and one that is on its way out
constexpr std::size_t kDescriptorsOfAnObject = 10;
constexpr std::size_t kMemoryGrowth = 4096;  // kB of resident memory, from the end of the warm-up to the end

struct Options {
    double minutes = 5;
    int objects = 16;
    std::uint64_t seed = 1;
    double interval = 10;  // seconds
    bool faults = true;
};

struct Usage {
    std::size_t threads = 0;
    std::size_t descriptors = 0;
    std::size_t kilobytes = 0;
};

std::size_t entries(const char* folder) {
    std::size_t count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder)) ++count;
    return count;
}

Usage usageNow() {
    std::size_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages >> pages;
    return {entries("/proc/self/task"), entries("/proc/self/fd"), pages * 4};
}

Usage most(const Usage& a, const Usage& b) {
    return {std::max(a.threads, b.threads), std::max(a.descriptors, b.descriptors), std::max(a.kilobytes, b.kilobytes)};
}

void print(double seconds, const Counts& c, const Usage& usage) {
    const auto number = [](const auto& value) { return static_cast<unsigned long long>(value); };
    std::printf(
        "%7.0f s %10llu exchanges %7llu faults %7llu lost by them %4llu unexplained %4llu wrong %6llu switches "
        "%6llu reopenings %4zu threads %4zu descriptors %7zu kB\n",
        seconds, number(c.exchanges), number(c.faults), number(c.expected), number(c.unexplained), number(c.wrong),
        number(c.switches), number(c.reopenings), usage.threads, usage.descriptors, usage.kilobytes);
    std::fflush(stdout);
}

// What the process makes once and keeps.
void warmUp() {
    line::Bench bench;
    Counts counts;
    std::thread([&] {
        Station station(bench, counts, 1, 0, false);
        for (int i = 0; i < 50; ++i) station.step();
    }).join();
}

int run(const Options& options) {
    warmUp();
    const Usage before = usageNow();
    Counts counts;
    Usage early;
    Usage late;
    const auto start = Clock::now();
    const auto seconds = [&] { return std::chrono::duration<double>(Clock::now() - start).count(); };
    const double end = options.minutes * 60;
    const double warm = std::min(end / 3, 120.0);
    {
        line::Bench bench;
        std::vector<std::thread> clients;
        for (int number = 1; number <= options.objects; ++number) {
            clients.emplace_back([&, number] {
                Station station(bench, counts, number, options.seed, options.faults);
                while (seconds() < end) station.step();
            });
        }
        double next = options.interval;
        while (seconds() < end) {
            std::this_thread::sleep_for(std::chrono::milliseconds(200));
            const Usage now = usageNow();
            Usage& period = seconds() < warm ? early : late;
            period = most(period, now);
            if (seconds() >= next) {
                print(seconds(), counts, now);
                next += options.interval;
            }
        }
        for (std::thread& client : clients) client.join();
    }
    line::waitUntil(
        [&] { return usageNow().threads <= before.threads && usageNow().descriptors <= before.descriptors; });
    const Usage after = usageNow();
    print(seconds(), counts, after);

    bool passed = true;
    const auto check = [&](const char* what, std::size_t got, std::size_t limit) {
        const bool holds = got <= limit;
        std::printf("%s %s: %zu, at most %zu\n", holds ? "good  " : "FAILED", what, got, limit);
        passed = passed && holds;
    };
    const auto objects = static_cast<std::size_t>(options.objects);
    check("wrong answers", counts.wrong, 0);
    check("unexplained losses", counts.unexplained, 0);
    check("most threads", late.threads, before.threads + objects * kThreadsOfAnObject);
    check("most descriptors", late.descriptors, before.descriptors + objects * kDescriptorsOfAnObject);
    check("threads left over", after.threads, before.threads);
    check("descriptors left over", after.descriptors, before.descriptors);
    if (kMemoryIsTheProgramsOwn) check("most kB after the warm-up", late.kilobytes, early.kilobytes + kMemoryGrowth);
    if (counts.exchanges < objects * 10) {
        std::printf("FAILED too few exchanges to say anything\n");
        passed = false;
    }
    std::printf("VERDICT: %s (seed %llu)\n", passed ? "PASS" : "FAIL", static_cast<unsigned long long>(options.seed));
    return passed ? 0 : 1;
}

}  // namespace
}  // namespace mova::soak

int main(int argc, char** argv) {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    mova::soak::Options options;
    constexpr option kOptions[] = {
        {"minutes", required_argument, nullptr, 'm'}, {"objects", required_argument, nullptr, 'o'},
        {"seed", required_argument, nullptr, 's'},    {"interval", required_argument, nullptr, 'i'},
        {"no-faults", no_argument, nullptr, 'n'},     {nullptr, 0, nullptr, 0}};
    // NOLINTNEXTLINE(concurrency-mt-unsafe): there is one thread yet
    for (int letter = 0; (letter = getopt_long(argc, argv, "", kOptions, nullptr)) != -1;) {
        switch (letter) {
            case 'm': options.minutes = std::strtod(optarg, nullptr); break;
            case 'o': options.objects = static_cast<int>(std::strtol(optarg, nullptr, 10)); break;
            case 's': options.seed = std::strtoull(optarg, nullptr, 10); break;
            case 'i': options.interval = std::strtod(optarg, nullptr); break;
            case 'n': options.faults = false; break;
            default: return 2;
        }
    }
    if (optind != argc || options.minutes <= 0 || options.objects < 1 || options.objects > 200 ||
        options.interval <= 0) {
        std::fprintf(stderr, "soak [--minutes M] [--objects 1..200] [--seed S] [--interval SECONDS] [--no-faults]\n");
        return 2;
    }
    return mova::soak::run(options);
}
