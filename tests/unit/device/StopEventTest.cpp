#include <gtest/gtest.h>

#include "device/StopEvent.h"
#include "support/ScriptedPlatform.h"

namespace mova {
namespace {

using Stays = StopEvent::End::Stays;

class StopEventTest : public ::testing::Test {
protected:
    ScriptedPlatform platform;
    StopEvent stop{platform.threading().makeEvent()};
};

TEST_F(StopEventTest, IsAnEventLikeOthers) {
    EXPECT_FALSE(stop.isSet());
    EXPECT_EQ(stop.wait(10), WaitResult::TimedOut);
    stop.set();
    EXPECT_TRUE(stop.isSet());
    EXPECT_TRUE(stop.ofSystem()->isSet());
    EXPECT_EQ(stop.wait(10), WaitResult::Signalled);
    stop.reset();
    EXPECT_FALSE(stop.ofSystem()->isSet());
    EXPECT_EQ(platform.elapsed(), 10);
}

TEST_F(StopEventTest, NobodyTakesItDownWhileAnEndThatStaysLives) {
    {
        const StopEvent::End first(stop, Stays::Yes);
        EXPECT_TRUE(stop.isSet());
        { const StopEvent::End second(stop, Stays::Yes); }
        stop.reset();
        EXPECT_TRUE(stop.isSet());
    }
    EXPECT_TRUE(stop.isSet()) << "it is left as it is";
    stop.reset();
    EXPECT_FALSE(stop.isSet());
}

TEST_F(StopEventTest, AnotherEndNeitherSetsItNorKeepsIt) {
    const StopEvent::End end(stop, Stays::No);
    EXPECT_FALSE(stop.isSet());
    EXPECT_FALSE(stop.endsExchanges());
    stop.set();
    EXPECT_TRUE(stop.endsExchanges());
    stop.reset();
    EXPECT_FALSE(stop.isSet());
}

TEST_F(StopEventTest, EndsExchangesOnlyForSomebodyWhoEndsThem) {
    stop.set();
    EXPECT_FALSE(stop.endsExchanges());
    {
        const StopEvent::End end(stop, Stays::Yes);
        EXPECT_TRUE(stop.endsExchanges());
    }
    EXPECT_FALSE(stop.endsExchanges());
}

}  // namespace
}  // namespace mova
