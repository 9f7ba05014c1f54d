// What waits for a listener that does not come back has a bound.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "component/EventOutbox.h"
#include "support/ScriptedPlatform.h"

namespace mova {
namespace {

struct Heard : ConfirmationEvents {
    std::string first;  // the texts' first characters
    void OnCpGetMovaCnf(std::int32_t, std::int32_t, const std::string& text) override { first += text.substr(0, 1); }
};

EventOutbox::Event longEvent(char c) { return {4'000'000, std::string(4'000'000, c)}; }

TEST(EventOutbox, TheOldestOfMoreThanTheBoundGoWhichIsToldOnceUntilItIsEmpty) {
    ScriptedPlatform platform;
    EventOutbox outbox(platform);
    Heard heard;
    const auto neverEnding = [] { return false; };
    for (const char c : {'a', 'b', 'c', 'd'}) EXPECT_FALSE(outbox.add(longEvent(c)));
    EXPECT_TRUE(outbox.add(longEvent('e')));
    EXPECT_FALSE(outbox.add(longEvent('f')));
    outbox.raise(&heard, neverEnding);
    EXPECT_EQ(heard.first, "cdef");
    for (const char c : {'g', 'h', 'i', 'j'}) EXPECT_FALSE(outbox.add(longEvent(c)));
    EXPECT_TRUE(outbox.add(longEvent('k')));
    outbox.raise(&heard, neverEnding);
    EXPECT_EQ(heard.first, "cdefhijk");
}

TEST(EventOutbox, ManyEventsHaveTheSameBound) {
    ScriptedPlatform platform;
    EventOutbox outbox(platform);
    int told = 0;
    for (int i = 0; i < 40'000; ++i) told += outbox.add({1000, std::string(1000, 'x')}) ? 1 : 0;
    EXPECT_EQ(told, 1);
    Heard heard;
    outbox.raise(&heard, [] { return false; });
    EXPECT_LT(heard.first.size(), 17'000U);
    EXPECT_GT(heard.first.size(), 15'000U);
}

TEST(EventOutbox, AnEventLongerThanTheBoundIsRaised) {
    ScriptedPlatform platform;
    EventOutbox outbox(platform);
    EXPECT_FALSE(outbox.add({17'000'000, std::string(17'000'000, 'a')}));
    Heard heard;
    outbox.raise(&heard, [] { return false; });
    EXPECT_EQ(heard.first, "a");
}

}  // namespace
}  // namespace mova
