// Measures what lines cost the receive engine: once with some bytes, once with twice as many. Run under callgrind, each
// part leaves its count of instructions in a file of its own, by its name; the heap's share is printed.
// check-line-cost.py runs it and judges the figures.
#include <valgrind/callgrind.h>

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

#include "campaigns/fuzz/AllocationCount.h"
#include "campaigns/fuzz/LineBench.h"
#include "campaigns/fuzz/Require.h"

namespace mova::fuzz {
namespace {

constexpr std::size_t kBytes = 20'000;
constexpr std::size_t kPiece = 400;  // arrives between two passes
constexpr std::size_t kIdlePasses = 60;

struct Flavour {
    const char* name;
    std::string_view piece;  // comes again and again
};

constexpr Flavour kFlavours[] = {
    {"endless-line", "x"},
    {"carriage-returns", "\r"},
    {"zeros", std::string_view("\0", 1)},
    {"empty-lines", "\r\n"},
    {"text-lines", "+CREG: 0,1\r\n"},
    {"half-frames", "*MOVA=0600800001AA\r\n"},
    {"two-families", "*MOVA=0600800001AABB96\r\n*MOVA=05000500020103\r\n"},
};

struct Mode {
    const char* name;
    std::string_view lists[2];  // in turns
};

constexpr Mode kModes[] = {
    {"single-passes", {"", ""}},
    {"one-list", {"OK", "OK"}},
    {"lists-in-turn", {"OK", "OK|ERROR"}},
};

struct QuietTrace : Trace {
    void record(TraceKind, std::string_view) override {}
};
struct LastOnly : RecordSink {
    void deliver(MovaRetCmdTag record) override { last = std::move(record); }
    MovaRetCmdTag last;
};

class Measured {
public:
    Measured(const Flavour& flavour, const Mode& mode) : flavour_(flavour), mode_(mode) {}

    void arrive(std::size_t bytes, std::size_t times) {
        begin();
        std::string piece;
        for (std::size_t sent = 0; sent < bytes; sent += piece.size()) {
            piece.clear();
            while (piece.size() < kPiece) piece += flavour_.piece;
            bench_.comm.feed(piece);
            pass();
        }
        end("arrive", times);
    }
    void idle(std::size_t times) {
        begin();
        for (std::size_t i = 0; i < kIdlePasses; ++i) pass();
        end("idle", times);
    }
    // The good answer behind it.
    void expectGoodAnswer() {
        bench_.comm.feed("\r\nOK\r\n*MOVA=05000500020103\r\nOK\r\n");
        for (int i = 0; i < 10 && sink_.last.hexData != "05000201"; ++i) engine_.run(0, "OK");
        requireEqual(sink_.last.hexData, "05000201", "the good answer");
    }

private:
    void pass() { engine_.run(0, mode_.lists[turn_++ % 2]); }
    void begin() {
        before_ = allocations();
        inUse_ = allocatedNow();
        mostAllocated();
        CALLGRIND_ZERO_STATS;
    }
    void end(const char* part, std::size_t times) {
        const std::string name = printed("%s %s %s %zu", flavour_.name, mode_.name, part, times);
        CALLGRIND_DUMP_STATS_AT(name.c_str());
        const Allocations after = allocations();
        const std::size_t most = mostAllocated();
        std::printf("%s calls=%zu bytes=%zu most=%zu\n", name.c_str(), after.calls - before_.calls,
                    after.bytes - before_.bytes, most > inUse_ ? most - inUse_ : 0);
    }

    const Flavour& flavour_;
    const Mode& mode_;
    LineBench bench_;
    QuietTrace quiet_;
    LastOnly sink_;
    HandsetPort& port_ = bench_.port;
    ReceiveEngine engine_{bench_.platform, port_, quiet_, sink_};
    std::size_t turn_ = 0;
    Allocations before_;
    std::size_t inUse_ = 0;
};

void measure() {
    for (const Flavour& flavour : kFlavours) {
        for (const Mode& mode : kModes) {
            for (const std::size_t times : {1u, 2u}) {
                Measured measured(flavour, mode);
                measured.arrive(times * kBytes, times);
                measured.idle(times);
                measured.expectGoodAnswer();
            }
        }
    }
}

}  // namespace
}  // namespace mova::fuzz

int main() {
    mova::fuzz::measure();
    return 0;
}
