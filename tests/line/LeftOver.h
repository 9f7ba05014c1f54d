// What a process has open and running, to see that nothing is left over.
#pragma once
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <iterator>

#include "line/LineStation.h"

namespace mova::line {

struct LeftOver {
    std::ptrdiff_t threads;
    std::ptrdiff_t descriptors;
};

inline std::ptrdiff_t entries(const char* folder) {
    return std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator());
}

inline LeftOver countNow() { return {entries("/proc/self/task"), entries("/proc/self/fd")}; }

// Once the threads that have just ended are gone.
inline LeftOver countAtRest() {
    LeftOver least = countNow();
    for (int i = 0; i < 50; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        const LeftOver now = countNow();
        least = {std::min(least.threads, now.threads), std::min(least.descriptors, now.descriptors)};
    }
    return least;
}

inline void expectNothingMoreThan(const LeftOver& before) {
    waitUntil([&] {
        const LeftOver now = countNow();
        return now.threads <= before.threads && now.descriptors <= before.descriptors;
    });
    EXPECT_LE(countNow().threads, before.threads);
    EXPECT_LE(countNow().descriptors, before.descriptors);
}

// What a process makes once and keeps.
inline void warmUp() {
    LineStation station;
    ASSERT_EQ(station.open(), 0U);
}

}  // namespace mova::line
