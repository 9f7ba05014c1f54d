// The receive engine and the confirmation queue: bytes per second of an answer stream, cost against pending text and
// chunk size, and the queue beside the plain containers.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <deque>
#include <mutex>

#include "logging/MyDebugMsg.h"
#include "platform/posix/PosixPlatform.h"
#include "services/TrafficTrace.h"
#include "support/MemoryLine.h"
#include "transport/Answers.h"

namespace mova::bench {
namespace {

constexpr std::int32_t kCablePort = 4096;  // a port number that needs no device tree
constexpr std::uint32_t kChunk = 2048;     // what one pass reads at most
constexpr const char* kFinal = "OK|ERROR";

struct NoEvents : RecordEvents {
    void completed(const MovaRetCmdTag&) override {}
    void passEnded() override {}
};

// Finished records are counted and dropped.
class CountingAnswers : private NoEvents, public Answers {
public:
    CountingAnswers(Platform& platform, HandsetPort& port, const Session& session, FileLog& log, MyDebugMsg& debug,
                    Trace& trace)
        : Answers(platform, port, session, log, debug, trace, *this) {}

    void receive() { static_cast<void>(wait(0, kFinal)); }

    std::uint64_t records = 0;

private:
    void deliver(MovaRetCmdTag record) override {
        benchmark::DoNotOptimize(record);
        ++records;
    }
};

// The core below the manager on a line of memory.
struct Station {
    Station() {
        port.setPortNumber(kCablePort);
        port.markInitialised();
        if (port.open() != Code::Success) std::abort();
    }
    void receiveAll() {
        while (line.left() > 0) answers.receive();
        while (!answers.pending().completeLines().empty() && answers.wait(0, kFinal) == Code::Success) {
        }
    }

    PosixPlatform posix;
    MemoryLine line;
    // The engine runs without its pauses: what is measured is the work between them.
    struct NoPause : Clock {
        explicit NoPause(Clock& real) : clock(real) {}
        std::uint32_t tickCount() override { return clock.tickCount(); }
        LocalTime localTime() override { return clock.localTime(); }
        void sleep(std::uint32_t) override {}
        std::string longDateText(std::int64_t seconds) override { return clock.longDateText(seconds); }
        Clock& clock;
    } clock{posix.platform().clock};
    Platform platform{line,
                      posix.platform().threading,
                      clock,
                      posix.platform().keys,
                      posix.platform().datagrams,
                      posix.platform().files,
                      posix.platform().host};
    MyDebugMsg debug{platform};
    TrafficTrace trace{platform, debug};
    Session session;
    HandsetPort port{platform, debug, trace};
    FileLog log{platform};
    CountingAnswers answers{platform, port, session, log, debug, trace};
};

const std::string kShortAnswer = "\r\n+CSQ: 21,99\r\n\r\nOK\r\n";

const std::string kUsualAnswer = "\r\nACME AM-1\r\nSW 4.2.0 2026-03-01\r\n\r\nOK\r\n";

std::string longAnswer() {
    std::string text;
    for (int i = 100; i < 200; ++i) {
        text += "+CPBR: " + std::to_string(i) + ",\"+886912345678\",145,\"SUBSCRIBER\"\r\n";
    }
    return text + "\r\nOK\r\n";
}

void stream(benchmark::State& state, const std::string& answer) {
    Station station;
    const std::uint64_t answers = (1u << 20) / answer.size() + 1;
    const std::uint64_t bytes = answers * answer.size();
    for (auto _ : state) {
        station.answers.records = 0;
        station.line.offer(answer, bytes, kChunk);
        station.receiveAll();
        if (station.answers.records != answers) state.SkipWithError("answers were lost");
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(bytes) * state.iterations());
}

// The limit: the same bytes read in the same chunks and searched once for line ends.
void streamLimit(benchmark::State& state, const std::string& answer) {
    MemoryLine line;
    const std::uint64_t bytes = ((1u << 20) / answer.size() + 1) * answer.size();
    char buffer[kChunk];
    for (auto _ : state) {
        line.offer(answer, bytes, kChunk);
        std::uint64_t ends = 0;
        while (line.left() > 0) {
            std::uint32_t got = 0;
            line.read(1, buffer, sizeof buffer, got);
            for (const char* at = buffer;;) {
                const auto left = static_cast<std::size_t>(buffer + got - at);
                const void* const end = std::memchr(at, '\n', left);
                if (end == nullptr) break;
                at = static_cast<const char*>(end) + 1;
                ++ends;
            }
        }
        benchmark::DoNotOptimize(ends);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(bytes) * state.iterations());
}

// range(0) bytes of lines without a terminator arrive, range(1) at a time.
void pendingGrows(benchmark::State& state) {
    const auto bytes = static_cast<std::uint64_t>(state.range(0));
    const auto chunk = static_cast<std::uint32_t>(state.range(1));
    Station station;
    for (auto _ : state) {
        station.line.offer("+CMGL: 1,\"REC READ\",\"+886912345678\"\r\n", bytes, chunk);
        while (station.line.left() > 0) station.answers.receive();
        if (station.answers.pending().text().size() != bytes) state.SkipWithError("text was lost");
        station.answers.pending().clear();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(bytes) * state.iterations());
}

// A pass that finds nothing new while range(0) bytes of lines wait for their terminator.
void idlePass(benchmark::State& state) {
    Station station;
    station.line.offer("+CMGL: 1,\"REC READ\",\"+886912345678\"\r\n", static_cast<std::uint64_t>(state.range(0)),
                       kChunk);
    while (station.line.left() > 0) station.answers.receive();
    for (auto _ : state) station.answers.receive();
}

MovaRetCmdTag exampleRecord() {
    MovaRetCmdTag record;
    record.responseText = kShortAnswer;
    record.terminatorText = "OK";
    record.valid = 1;
    return record;
}

constexpr int kQueued = 100;

void queueAppend(benchmark::State& state) {
    PosixPlatform posix;
    ConfirmationQueue queue(posix.platform().threading);
    const MovaRetCmdTag record = exampleRecord();
    for (auto _ : state) queue.append(record);  // empties itself above its limit
    state.SetItemsProcessed(state.iterations());
}

void dequeAppend(benchmark::State& state) {
    std::mutex mutex;
    std::deque<MovaRetCmdTag> queue;
    const MovaRetCmdTag record = exampleRecord();
    for (auto _ : state) {
        const std::lock_guard guard(mutex);
        if (queue.size() > kQueued) queue.clear();
        queue.push_back(record);
    }
    state.SetItemsProcessed(state.iterations());
}

// Appended and fetched again: general confirmations, so that nothing is joined.
void queueFetch(benchmark::State& state) {
    PosixPlatform posix;
    ConfirmationQueue queue(posix.platform().threading);
    MovaRetCmdTag record = exampleRecord();
    record.kind = LineClass::Confirmation;
    for (auto _ : state) {
        queue.append(record);
        auto fetched = queue.fetch(LineClass::Confirmation, ConfirmationQueue::Take::Remove);
        benchmark::DoNotOptimize(fetched);
    }
    state.SetItemsProcessed(state.iterations());
}

void dequeFetch(benchmark::State& state) {
    std::mutex mutex;
    std::deque<MovaRetCmdTag> queue;
    MovaRetCmdTag record = exampleRecord();
    for (auto _ : state) {
        {
            const std::lock_guard guard(mutex);
            queue.push_back(record);
        }
        MovaRetCmdTag fetched;
        {
            const std::lock_guard guard(mutex);
            fetched = std::move(queue.front());
            queue.pop_front();
        }
        benchmark::DoNotOptimize(fetched);
    }
    state.SetItemsProcessed(state.iterations());
}

// A hundred AT texts appended, and fetched as one.
void queueJoin(benchmark::State& state) {
    PosixPlatform posix;
    ConfirmationQueue queue(posix.platform().threading);
    const MovaRetCmdTag record = exampleRecord();
    for (auto _ : state) {
        for (int i = 0; i < kQueued; ++i) queue.append(record);
        auto fetched = queue.fetch(LineClass::AtText, ConfirmationQueue::Take::Remove);
        benchmark::DoNotOptimize(fetched);
        queue.fetch({}, ConfirmationQueue::Take::Remove);  // the one that is left alone
    }
    state.SetItemsProcessed(kQueued * state.iterations());
}

void dequeJoin(benchmark::State& state) {
    std::mutex mutex;
    std::deque<MovaRetCmdTag> queue;
    const MovaRetCmdTag record = exampleRecord();
    for (auto _ : state) {
        for (int i = 0; i < kQueued; ++i) {
            const std::lock_guard guard(mutex);
            queue.push_back(record);
        }
        std::string joined;
        const std::lock_guard guard(mutex);
        for (const MovaRetCmdTag& part : queue) joined += part.responseText;
        queue.clear();
        benchmark::DoNotOptimize(joined);
    }
    state.SetItemsProcessed(kQueued * state.iterations());
}

BENCHMARK_CAPTURE(stream, short, kShortAnswer);
BENCHMARK_CAPTURE(stream, usual, kUsualAnswer);
BENCHMARK_CAPTURE(stream, long, longAnswer());
BENCHMARK_CAPTURE(streamLimit, short, kShortAnswer);
BENCHMARK_CAPTURE(streamLimit, usual, kUsualAnswer);
BENCHMARK_CAPTURE(streamLimit, long, longAnswer());
BENCHMARK(pendingGrows)
    ->ArgsProduct({{1 << 10, 2 << 10, 10 << 10, 20 << 10, 100 << 10, 200 << 10, 1 << 20, 2 << 20, 5 << 20, 10 << 20},
                   {2048}});
BENCHMARK(pendingGrows)->ArgsProduct({{256 << 10, 512 << 10}, {1, 16, 128, 512}});
BENCHMARK(idlePass)->Arg(0)->Arg(1 << 10)->Arg(100 << 10)->Arg(10 << 20);
BENCHMARK(queueAppend);
BENCHMARK(dequeAppend);
BENCHMARK(queueFetch);
BENCHMARK(dequeFetch);
BENCHMARK(queueJoin);
BENCHMARK(dequeJoin);

}  // namespace
}  // namespace mova::bench
