// Each allocation of each method failing once, and all of them from each on: the method throws std::bad_alloc or ends
// with a code that it may give anyway, in time; nothing is left open, and the object is of use afterwards. What the
// background reader took in is not lost.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <new>
#include <string>
#include <tuple>

#include "campaigns/allocation/RestingPlatform.h"
#include "campaigns/allocation/Shortage.h"
#include "campaigns/faults/Scenarios.h"
#include "support/Effort.h"

namespace mova {
namespace {

class Shielded : public Surroundings {
public:
    Platform& around(Platform& platform) override {
        resting_ = std::make_unique<RestingPlatform>(platform);
        return *resting_;
    }
    void pause() override { memory::pause(); }
    void resume() override { memory::resume(); }

private:
    std::unique_ptr<RestingPlatform> resting_;
};

struct Totals {
    unsigned runs = 0;
    unsigned failures = 0;
    unsigned thrown = 0;
};

Totals totals;

class TotalsPrinter : public ::testing::Environment {
public:
    void TearDown() override {
        std::printf(
            "allocation failures: %zu situations, %u runs, %u allocations failed, std::bad_alloc out of the "
            "method %u times\n",
            scenarios().size(), totals.runs, totals.failures, totals.thrown);
    }
};

[[maybe_unused]] const auto* const kPrinter = ::testing::AddGlobalTestEnvironment(new TotalsPrinter);

enum class Extent { Once, FromThenOn };

using Case = std::tuple<std::uint32_t, std::size_t>;  // operating mode, scenario

class AllocationFailures : public ::testing::TestWithParam<Case> {
protected:
    const Scenario& scenario() const { return scenarios()[std::get<1>(GetParam())]; }
    std::uint32_t mode() const { return std::get<0>(GetParam()); }

    // False when the method ended without reaching the failure.
    bool run(Extent extent, unsigned allocation);
    void tryAll(Extent extent);

private:
    void expectUsable(Station& station, bool thrown);
};

bool AllocationFailures::run(Extent extent, unsigned allocation) {
    SCOPED_TRACE(std::string(scenario().name()) + ", mode " + std::to_string(mode()) +
                 printed(", allocation %u%s", allocation, extent == Extent::Once ? "" : " and all that follow"));
    Shielded surroundings;
    Station station(mode(), scenario().card(), surroundings);
    scenario().prepare(station);
    const std::int64_t start = station.platform.elapsed();
    bool thrown = false;
    std::uint32_t code = 0;
    extent == Extent::Once ? memory::failOnce(allocation) : memory::failFrom(allocation);
    try {
        const memory::Watch watch;
        code = scenario().run(station);
    } catch (const std::bad_alloc&) {
        thrown = true;
    }
    // A background reader goes on in the shortage for a while.
    if (extent == Extent::FromThenOn && memory::reached()) station.platform.advance(100);
    memory::relieve();
    const bool reached = memory::reached();
    EXPECT_LE(station.platform.elapsed() - start, scenario().longest() + 100);
    EXPECT_TRUE(thrown || scenario().allows(code, mode())) << printed("code 0x%X", code);
    if (!reached) return false;
    ++totals.runs;
    totals.failures += memory::failures();
    if (thrown) ++totals.thrown;
    expectUsable(station, thrown);
    return true;
}

void AllocationFailures::expectUsable(Station& station, bool thrown) {
    station.heal();
    if (!station.manager) {  // released, or not created
        station.make();
        station.open();
    } else if (scenario().afterwards() == Afterwards::Remake) {
        station.manager.reset();
        station.make();
        station.open();
    } else if (thrown || scenario().afterwards() == Afterwards::Reopen) {
        EXPECT_EQ(station.reopen(), "");
    }
    station.manager->SwitchOperateMode(mode(), 0);
    EXPECT_EQ(station.tryOut(), "");
}

// Each allocation in modes 3 and 5; in mode 1, and where all that follow fail too, every fifth and every third.
void AllocationFailures::tryAll(Extent extent) {
    static const unsigned every = everyNthRun(3);
    const unsigned stride = every * (mode() == 1 ? 5U : 1U) * (extent == Extent::FromThenOn ? 3U : 1U);
    const unsigned offset = static_cast<unsigned>(std::get<1>(GetParam())) % stride;
    for (unsigned allocation = 1 + offset;; allocation += std::max(stride, allocation < 200 ? 1 : allocation / 20)) {
        if (!run(extent, allocation) || HasFailure()) return;
    }
}

TEST_P(AllocationFailures, EndWithAnExceptionOrACodeAndLeaveTheObjectUsable) {
    tryAll(Extent::Once);
    if (!HasFailure()) tryAll(Extent::FromThenOn);
}

// Whatever allocation fails, the confirmations that the reader thread has taken in reach the queue, in order, once.
TEST(BackgroundReader, LosesNoConfirmationForWantOfMemory) {
    for (const Extent extent : {Extent::Once, Extent::FromThenOn}) {
        for (unsigned allocation = 1;; ++allocation) {
            SCOPED_TRACE(printed("allocation %u%s", allocation, extent == Extent::Once ? "" : " and all that follow"));
            Shielded surroundings;
            Station station(5, Card::Usb, surroundings);
            station.open();
            extent == Extent::Once ? memory::failOnce(allocation) : memory::failFrom(allocation);
            for (int i = 0; i < 3; ++i) {
                // The terminator of mode 5 ends each.
                station.port.feed(printed("*MOVA=030001%02X%02X\r\nOK\r\n", i, i ^ 2));
                station.platform.advance(20);
            }
            memory::relieve();
            const bool reached = memory::reached();
            station.platform.advance(20);
            for (const char* const expected : {"0100", "0101", "0102", ""}) {
                EXPECT_EQ(station.manager->FetchQueuedCnfTextItem().data, expected);
            }
            if (!reached || testing::Test::HasFailure()) break;
        }
    }
}

// The object is created whole or not at all, and its end closes the port whatever memory there is.
TEST(Lifecycle, EndsWithThePortClosedAndNoThreadLeft) {
    for (unsigned allocation = 1;; ++allocation) {
        SCOPED_TRACE(printed("allocation %u and all that follow", allocation));
        Shielded surroundings;
        Station station(5, Card::Usb, surroundings);
        station.open();
        ASSERT_TRUE(station.port.isOpen());
        memory::failFrom(allocation);
        {
            const memory::Watch watch;
            station.manager.reset();
        }
        memory::relieve();
        EXPECT_FALSE(station.port.isOpen());
        EXPECT_EQ(station.platform.threading().alive(), 0u);
        if (!memory::reached() || testing::Test::HasFailure()) break;
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

INSTANTIATE_TEST_SUITE_P(Methods, AllocationFailures,
                         ::testing::Combine(::testing::Values(1U, 3U, 5U), ::testing::ValuesIn(indices())), caseName);

}  // namespace
}  // namespace mova
