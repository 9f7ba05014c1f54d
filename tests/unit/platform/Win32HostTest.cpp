#include <gtest/gtest.h>

#include "platform/win32/Win32Host.h"

namespace mova {
namespace {

void expectSeenAs(const SystemVersion& told, std::uint32_t major, std::uint32_t minor) {
    const SystemVersion seen = asWithoutManifest(told);
    EXPECT_EQ(seen.platformId, told.platformId);
    EXPECT_EQ(seen.major, major);
    EXPECT_EQ(seen.minor, minor);
}

TEST(SystemVersionLimit, VersionsThatDependOnTheHostsManifestAreSeenAs62) {
    expectSeenAs({2, 6, 3}, 6, 2);
    expectSeenAs({2, 10, 0}, 6, 2);
}

TEST(SystemVersionLimit, EarlierVersionsAreSeenAsTheyAre) {
    expectSeenAs({1, 4, 90}, 4, 90);
    expectSeenAs({2, 5, 0}, 5, 0);
    expectSeenAs({2, 5, 1}, 5, 1);
    expectSeenAs({2, 6, 1}, 6, 1);
    expectSeenAs({2, 6, 2}, 6, 2);
}

}  // namespace
}  // namespace mova
