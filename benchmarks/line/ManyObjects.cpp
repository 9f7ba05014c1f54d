// Many objects in one process: idle in the background mode, and all busy at 115200 baud. The handsets are served by
// another process; processor time, threads and memory are this one's.
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <barrier>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <stdexcept>
#include <thread>

#include "base/HexText.h"
#include "line/LineBenches.h"
#include "mova/CVeCmdManager.h"
#include "platform/posix/PosixPlatform.h"
#include "support/BareLine.h"
#include "support/HandsetFarm.h"
#include "support/Report.h"
#include "transport/FrameCodec.h"

namespace mova::bench {

namespace {

constexpr unsigned kBaudRate = 115200;
constexpr double kByteSeconds = 10.0 / kBaudRate;
constexpr std::uint64_t kServedEvery = 500;  // microseconds, of many lines
constexpr double kLongestSearch = 25;        // seconds; for 20 an object that was opened searches for a viewer
constexpr double kIdleSeconds = 10;          // an idle object wakes up seldom
constexpr std::uint32_t kBackground = 5;     // operating mode: a reader thread, answers end with OK
constexpr std::uint32_t kSynchronous = 3;

double processorSeconds() {
    timespec used{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
    return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) * 1e-9;
}

// How often the threads but this one have gone to sleep; as often they have woken up.
double sleepsOfOthers() {
    rusage all{}, own{};
    getrusage(RUSAGE_SELF, &all);
    getrusage(RUSAGE_THREAD, &own);
    return static_cast<double>(all.ru_nvcsw - own.ru_nvcsw);
}

struct Idleness {
    double corePercent;
    double wakeUps;  // a second
};

// Of each of so many, while this thread waits.
Idleness idleness(double seconds, int count) {
    const double start = nowSeconds();
    const double processor = processorSeconds();
    const double sleeps = sleepsOfOthers();
    sleepMilliseconds(static_cast<std::uint32_t>(seconds * 1000));
    const double all = (nowSeconds() - start) * count;
    return {(processorSeconds() - processor) / all * 100, (sleepsOfOthers() - sleeps) / all};
}

double residentKilobytes() {
    std::ifstream file("/proc/self/statm");
    long total = 0, resident = 0;
    file >> total >> resident;
    return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1024;
}

double threads() {
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return static_cast<double>(std::distance(begin(tasks), end(tasks)));
}

// One thread for each of so many; all begin together.
void together(int count, const std::function<void(int)>& work) {
    std::barrier start(count);
    std::vector<std::thread> running;
    running.reserve(static_cast<std::size_t>(count));
    std::atomic<bool> failed{false};
    for (int i = 0; i < count; ++i) {
        running.emplace_back([&, i] {
            start.arrive_and_wait();
            try {
                work(i);
            } catch (const std::exception& error) {
                std::fprintf(stderr, "object %d: %s\n", i + 1, error.what());
                failed = true;
            }
        });
    }
    for (std::thread& thread : running) thread.join();
    if (failed) throw std::runtime_error("an object failed");
}

class Objects {
public:
    Objects(const std::string& folder, int count, const HandsetFarm& farm)
        : posix_({folder, "/sys", folder}), count_(count), farm_(farm) {
        const double before = residentKilobytes();
        for (int i = 0; i < count; ++i) {
            managers_.push_back(std::make_unique<CVeCmdManager>(posix_.platform()));
            managers_.back()->put_CommPortId(i + 1);
            for (const std::int32_t timeout : {1, 3, 4, 5}) managers_.back()->AssignTimeoutConstant(timeout, 60'000);
        }
        together(count, [&](int i) {
            if (managers_[at(i)]->InitCmdManager(0) != Code::Success) throw std::runtime_error("the port did not open");
            static_cast<void>(managers_[at(i)]->SwitchOperateMode(kBackground, 0));
        });
        kilobytes_ = (residentKilobytes() - before) / count;
    }
    // NOLINTNEXTLINE(bugprone-exception-escape): without threads there is nothing left to measure
    ~Objects() {
        together(count_, [&](int i) { managers_[at(i)].reset(); });  // each close pauses for half a second
    }

    // Of objects that have nothing but their reader thread any more.
    void idle(double seconds, double patience) {
        const double limit = nowSeconds() + patience;
        while (threadsOfEach() > 1 && nowSeconds() < limit) sleepMilliseconds(100);
        const Idleness each = idleness(seconds, count_);
        Row("idle", name("idle objects"), "component")
            .number("core_percent", each.corePercent)
            .number("wake_ups", each.wakeUps)
            .number("threads", threadsOfEach())
            .number("kilobytes", kilobytes_)
            .print();
    }

    void busy(const std::string& what, double bytesOnLine, int rounds,
              const std::function<bool(CVeCmdManager&)>& work) {
        std::vector<double> efficiency(at(count_));
        const double start = nowSeconds();
        const double processor = processorSeconds();
        together(count_, [&](int i) {
            const double begin = nowSeconds();
            for (int round = 0; round < rounds; ++round) {
                if (!work(*managers_[at(i)])) throw std::runtime_error("an exchange failed");
            }
            efficiency[at(i)] = rounds * bytesOnLine * kByteSeconds / (nowSeconds() - begin);
        });
        report(what, "component", efficiency, (processorSeconds() - processor) / (nowSeconds() - start));
    }

    // The limit: a bare loop for each line, in the same process.
    void bare(const std::string& what, const Script& script, double bytesOnLine, int rounds) {
        std::vector<double> efficiency(at(count_));
        const double start = nowSeconds();
        const double processor = processorSeconds();
        together(count_, [&](int i) {
            BareLine line(farm_.link(i + 1));
            const double begin = nowSeconds();
            for (int round = 0; round < rounds; ++round) {
                if (!line.run(script, Manner::Paced).complete) throw std::runtime_error("an exchange failed");
            }
            efficiency[at(i)] = rounds * bytesOnLine * kByteSeconds / (nowSeconds() - begin);
        });
        report(what, "bare loops", efficiency, (processorSeconds() - processor) / (nowSeconds() - start));
    }

    // With a first exchange, which waits until a new search for a viewer has begun.
    void synchronous() {
        together(count_, [&](int i) {
            static_cast<void>(managers_[at(i)]->SwitchOperateMode(kSynchronous, 0));
            if (!managers_[at(i)]->SpecificInfo(0, 0, "").text) throw std::runtime_error("no answer");
        });
    }
    void close() {
        together(count_, [&](int i) { static_cast<void>(managers_[at(i)]->ProprietaryCloseComPort(0)); });
    }

private:
    static std::size_t at(int index) { return static_cast<std::size_t>(index); }
    double threadsOfEach() const { return (threads() - threadsBefore_) / count_; }
    std::string name(const std::string& what) const { return std::to_string(count_) + " " + what; }
    void report(const std::string& what, const std::string& who, const std::vector<double>& efficiency,
                double cores) const {
        Row("busy", name("objects, " + what), who)
            .number("efficiency_min", quantile(efficiency, 0))
            .number("efficiency_median", quantile(efficiency, 0.5))
            .number("cores", cores)
            .print();
    }

    PosixPlatform posix_;
    const int count_;
    const HandsetFarm& farm_;
    std::vector<std::unique_ptr<CVeCmdManager>> managers_;
    const double threadsBefore_ = threads();
    double kilobytes_ = 0;
};

// Threads that poll, as a reader does that cannot wait for its line: a wait of 5 ms, and a look at the line.
void idleLimit(const HandsetFarm& farm, int count, double seconds) {
    std::atomic<bool> ending{false};
    std::vector<std::thread> running;
    running.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        running.emplace_back([&, i] {
            const BareLine line(farm.link(i + 1));
            while (!ending) {
                sleepMilliseconds(5);
                line.waiting();
                sleepMilliseconds(1);
            }
        });
    }
    const Idleness each = idleness(seconds, count);
    ending = true;
    for (std::thread& thread : running) thread.join();
    Row("idle", std::to_string(count) + " idle objects", "bare polling")
        .number("core_percent", each.corePercent)
        .number("wake_ups", each.wakeUps)
        .print();
}

Script scriptOf(const std::string& message) {
    constexpr std::size_t kSegment = 240;
    Script script;
    const std::size_t segments = (message.size() + kSegment - 1) / kSegment;
    for (std::size_t i = 0; i < segments; ++i) {
        std::string payload = "80";
        appendHexByte(payload, static_cast<std::uint8_t>(segments));
        appendHexByte(payload, static_cast<std::uint8_t>(i + 1));
        script.push_back(buildRequest(payload + message.substr(i * kSegment, kSegment)));
    }
    return script;
}

double bytesOf(const HandsetFarm& farm, const Script& script) {
    BareLine line(farm.link(1));
    const auto counts = line.run(script, Manner::AtOnce);
    return static_cast<double>(counts.sent + counts.received);
}

}  // namespace

void runManyObjects(const std::string& folder, bool quick) {
    const Script read = scriptOf("0600800000200200");
    std::string message;
    appendHexWord(message, static_cast<std::uint16_t>(largeObject().size() / 2 + 6));
    const Script write = scriptOf(message + "810000200200" + largeObject());
    const double seconds = quick ? 0.2 : 4;
    const int rounds = quick ? 1 : 3;
    const int writeRounds = 1;
    for (const int count : quick ? std::vector{1, 2} : std::vector{1, 16, 64, 200}) {
        HandsetFarm farm(folder, count, kBaudRate, count == 1 ? 0 : kServedEvery);
        const double readBytes = bytesOf(farm, read);
        const double writeBytes = bytesOf(farm, write);
        idleLimit(farm, count, seconds);
        Objects objects(folder, count, farm);
        objects.idle(quick ? seconds : kIdleSeconds, quick ? 0 : kLongestSearch);
        objects.synchronous();
        objects.busy("E2P reads", readBytes, rounds,
                     [](CVeCmdManager& manager) { return manager.ReadE2PObject(0x2000, 2).text == largeObject(); });
        objects.busy("E2P writes", writeBytes, writeRounds, [](CVeCmdManager& manager) {
            return manager.WriteE2PObject(0x2000, 2, largeObject()).code == Code::Success;
        });
        objects.close();
        objects.bare("E2P reads", read, readBytes, rounds);
        objects.bare("E2P writes", write, writeBytes, writeRounds);
    }
}

void runLifetimes(const std::string& folder, bool quick) {
    PosixPlatform posix({folder, "/sys", folder});
    const int samples = quick ? 2 : 300;
    std::vector<double> objects, threadsOnly;
    for (int i = 0; i < samples; ++i) {
        double start = nowSeconds();
        { CVeCmdManager manager(posix.platform()); }
        objects.push_back(nowSeconds() - start);
        start = nowSeconds();
        std::thread([] {}).join();
        threadsOnly.push_back(nowSeconds() - start);
    }
    const std::string name = "object created and released";
    Row("lifetime", name, "component")
        .number("median_ms", quantile(objects, 0.5) * 1000)
        .number("p99_ms", quantile(objects, 0.99) * 1000)
        .print();
    Row("lifetime", name, "thread started and joined")
        .number("median_ms", quantile(threadsOnly, 0.5) * 1000)
        .number("p99_ms", quantile(threadsOnly, 0.99) * 1000)
        .print();
}

}  // namespace mova::bench
