// Each method, each operation of the platform, each way in which it can fail, at each of its calls: one run. After it
// the code is one that the method may give for this cause, the time that passed is bounded, nothing is left open, and
// the object works on a healthy port, opened anew where that is what a caller has to do, without anything left over.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <optional>
#include <string>
#include <tuple>

#include "campaigns/faults/Scenarios.h"
#include "support/Effort.h"

namespace mova {
namespace {

// Modes 3 and 5 are tried at each call. The other modes share their roads with one of them: every fifth run, beginning
// elsewhere for each method.
unsigned strideOf(std::uint32_t mode) {
    static const unsigned every = everyNthRun(3);
    return std::max(every, mode == 3 || mode == 5 ? 1U : 5U);
}

// Of a longer series of calls (a poll each millisecond) those that follow are taken ever less densely.
constexpr unsigned kEachCallUpTo = 64;

// Two openings that fail at the last of four configurations: 3 times 500 + 500 ms and 500 ms each.
constexpr std::uint32_t kLongestOfPersistentFailures = 9000;

enum class Rescue { Unplug, Close };  // of what waits for ever: the cable out and in again, or a close beside it

struct Fault {
    Op op;
    FailureKind kind;
    unsigned call;  // the first that fails
    bool persistent = false;
    Rescue rescue = Rescue::Unplug;

    std::string describe() const {
        return printed("%s: %s from call %u%s%s", nameOf(op), nameOf(kind), call, persistent ? " on" : "",
                       rescue == Rescue::Close ? ", ended by a close" : "");
    }
};

struct Totals {
    unsigned runs = 0;
    unsigned failures = 0;
    unsigned persistent = 0;
};

Totals totals;

class TotalsPrinter : public ::testing::Environment {
public:
    void TearDown() override {
        std::printf(
            "fault matrix: %zu situations of %zu methods, %u runs, %u of them with persistent failures, %u "
            "failures delivered (modes 3 and 5: every run of %u; modes 0, 1 and 2: of %u)\n",
            scenarios().size(), methods(), totals.runs, totals.persistent, totals.failures, strideOf(3), strideOf(0));
    }

private:
    static std::size_t methods() {
        std::vector<std::string_view> names;
        for (const Scenario& scenario : scenarios()) names.push_back(scenario.method());
        std::sort(names.begin(), names.end());
        return static_cast<std::size_t>(std::unique(names.begin(), names.end()) - names.begin());
    }
};

[[maybe_unused]] const auto* const kPrinter = ::testing::AddGlobalTestEnvironment(new TotalsPrinter);

bool isOneOf(Op op, std::initializer_list<Op> ops) { return std::find(ops.begin(), ops.end(), op) != ops.end(); }

bool opensThePort(Op op) {
    return isOneOf(op, {Op::Open, Op::KeyOpen, Op::KeyEnum, Op::KeyQuery, Op::SetQueueSizes, Op::SetTimeouts,
                        Op::Properties, Op::GetLineSettings, Op::SetLineSettings, Op::SetEventMask});
}

bool movesBytes(Op op) { return isOneOf(op, {Op::BeginRead, Op::BeginWrite, Op::Await, Op::Finish, Op::ClearErrors}); }

// What a code says has gone wrong must be what went wrong.
bool explains(const Fault& fault, std::uint32_t code) {
    using enum FailureKind;
    const bool endless = fault.kind == Pending;
    switch (code) {
        case 0x0010: return fault.kind == Stopped || (endless && fault.rescue == Rescue::Close);
        case 0x1002: return fault.op == Op::FileOpen;
        case 0x3005: return fault.op == Op::StartThread;
        case 0x3006: return fault.kind == WaitFailed;
        case 0x4000: return isOneOf(fault.op, {Op::Open, Op::KeyOpen, Op::KeyEnum, Op::KeyQuery, Op::Close});
        case 0x4002: return isOneOf(fault.op, {Op::Properties, Op::GetLineSettings});
        case 0x4003: return isOneOf(fault.op, {Op::SetQueueSizes, Op::SetTimeouts, Op::SetLineSettings});
        case 0x4004:
        case 0x4203:
        case 0x4207:
        case 0xB340:
        case 0xD303: return movesBytes(fault.op) || (fault.persistent && opensThePort(fault.op));
        case 0x4005: return fault.kind == TimedOut;
        case 0x4010: return fault.kind == ShortCount;
        case 0x4201: return fault.op == Op::SetEventMask;
        case 0x4340: return isOneOf(fault.op, {Op::BeginRead, Op::Finish});
        case 0x4341:
            return isOneOf(fault.op, {Op::BeginWrite, Op::Finish}) || (endless && fault.rescue == Rescue::Unplug);
        case 0x4343: return fault.op == Op::Close;
        case 0x4344: return fault.op == Op::Control && fault.persistent;
        default: return false;
    }
}

// What is not on the way of the bytes never shows in a code.
bool isBeside(Op op) {
    return isOneOf(op, {Op::Purge, Op::LongDate, Op::DatagramOpen, Op::DatagramWrite, Op::FileWrite, Op::ModulePath,
                        Op::FileTime, Op::Join, Op::AcquireNamedMutex});
}

using Case = std::tuple<std::uint32_t, std::size_t>;  // operating mode, scenario

class FaultMatrix : public ::testing::TestWithParam<Case> {
protected:
    const Scenario& scenario() const { return scenarios()[std::get<1>(GetParam())]; }
    std::uint32_t mode() const { return std::get<0>(GetParam()); }

    // False when the method ended without reaching the failure.
    bool run(const Fault& fault);

    void tryAllCalls(Op op, FailureKind kind, Rescue rescue) {
        for (unsigned call = 1;; call += call < kEachCallUpTo ? 1 : call / 4) {
            if (skips() && call < kEachCallUpTo) continue;
            if (!run({op, kind, call, false, rescue}) || HasFailure()) return;
        }
    }

    bool skips() { return ++turn_ % strideOf(mode()) != 0; }

    std::array<unsigned, kOps> used_{};  // calls that the method made of each operation

private:
    bool needsReopening(const Fault& fault) const;
    void expectUsable(Station& station, const Fault& fault);

    Surroundings plain_;
    unsigned turn_ = static_cast<unsigned>(std::get<1>(GetParam()));
    bool closedBeside_ = false;
    bool unplugged_ = false;
};

bool FaultMatrix::run(const Fault& fault) {
    SCOPED_TRACE(std::string(scenario().name()) + ", mode " + std::to_string(mode()) + ", " + fault.describe());
    Station station(mode(), scenario().card(), plain_);
    scenario().prepare(station);
    closedBeside_ = unplugged_ = false;
    std::unique_ptr<Thread> closer;
    station.platform.whenStuck([&] {
        if (fault.rescue == Rescue::Close && !closer) {
            closedBeside_ = true;
            closer = station.platform.spawn([&] { station.manager->ProprietaryCloseComPort(0); });
        } else {
            unplugged_ = true;
            station.port.unplug();
            station.port.replug();
        }
    });
    FailureRule& rule = station.platform.failures().fail(fault.op).onCall(fault.call).as(fault.kind);
    if (fault.persistent) rule.always();
    // The platforms have a stand-in for a mutex that cannot be had; the log writer repeats until it holds it.
    if (fault.persistent && fault.op == Op::AcquireNamedMutex) rule.times(10);

    station.platform.failures().resetCalls();
    const std::int64_t start = station.platform.elapsed();
    const std::uint32_t code = scenario().run(station);
    const std::int64_t took = station.platform.elapsed() - start;

    for (const Op op : allOps()) used_[static_cast<std::size_t>(op)] = station.platform.failures().calls(op);
    const unsigned delivered = rule.delivered();
    if (delivered > 0) {
        ++totals.runs;
        totals.failures += delivered;
        if (fault.persistent) ++totals.persistent;
    }

    EXPECT_LE(took, scenario().longest() + (fault.persistent ? kLongestOfPersistentFailures : 0U));
    EXPECT_TRUE(scenario().allows(code, mode())) << printed("code 0x%X", code);
    const std::uint32_t good = scenario().goodIn(mode());
    if (delivered == 0 || isBeside(fault.op)) {
        EXPECT_EQ(code, good);
    } else if (code != good) {
        EXPECT_TRUE(explains(fault, code)) << printed("code 0x%X", code);
    }
    if (delivered > 0) expectUsable(station, fault);
    if (closer) closer->join(10000);
    return delivered > 0;
}

bool FaultMatrix::needsReopening(const Fault& fault) const {
    // A stop stays until the next opening. A background reader that was not started, or whose wait fails, is gone
    // until then.
    return scenario().afterwards() == Afterwards::Reopen || fault.kind == FailureKind::Stopped || closedBeside_ ||
           isOneOf(fault.op, {Op::StartThread, Op::EventWait});
}

void FaultMatrix::expectUsable(Station& station, const Fault& fault) {
    if (closedBeside_) station.platform.advance(1000);
    if (station.platform.serial().pendingTransfers() > 0 || fault.op == Op::Close) {
        unplugged_ = true;  // the system lets go of it
        station.port.unplug();
    }
    station.heal();
    const bool gone =
        scenario().afterwards() == Afterwards::Remake || isOneOf(fault.op, {Op::MakeEvent, Op::MakeTransfer});
    if (gone) {
        station.manager.reset();
        station.make();
        station.open();
    } else if (needsReopening(fault)) {
        EXPECT_EQ(station.reopen(), "");
        station.manager->SwitchOperateMode(mode(), 0);
    } else if (unplugged_) {
        station.tryOut();  // it finds the handle dead and the port closes itself; the next one opens it
    }
    if (scenario().afterwards() == Afterwards::SetMode) station.manager->SwitchOperateMode(mode(), 0);
    EXPECT_EQ(station.tryOut(), "");
}

TEST_P(FaultMatrix, EndsWithACodeInTimeAndGoesOn) {
    if (!run({Op::Open, FailureKind::Error, 1'000'000})) {  // nothing fails: the code is the good one
        const auto used = used_;
        for (const Op op : allOps()) {
            for (const FailureKind kind : kindsOf(op)) {
                // Seen in the run without a failure.
                if (used[static_cast<std::size_t>(op)] == 0) continue;
                if (!skips()) run({op, kind, 1, true});
                tryAllCalls(op, kind, Rescue::Unplug);
                if (kind == FailureKind::Pending && scenario().afterwards() != Afterwards::Remake)
                    tryAllCalls(op, kind, Rescue::Close);
                if (HasFailure()) return;
            }
        }
    }
}

std::vector<std::size_t> indices() {
    std::vector<std::size_t> all;
    for (std::size_t i = 0; i < scenarios().size(); ++i) all.push_back(i);
    return all;
}

std::string caseName(const ::testing::TestParamInfo<Case>& info) {
    std::string name = "mode" + std::to_string(std::get<0>(info.param)) + "_" +
                       std::string(scenarios()[std::get<1>(info.param)].name());
    std::replace_if(
        name.begin(), name.end(), [](char c) { return c == '~' || c == ' ' || c == ','; }, '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(Methods, FaultMatrix,
                         ::testing::Combine(::testing::Values(0U, 1U, 2U, 3U, 5U), ::testing::ValuesIn(indices())),
                         caseName);

}  // namespace
}  // namespace mova
