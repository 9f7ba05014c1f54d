#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>

#include <mutex>
#include <thread>

#include "support/ScriptedPlatform.h"

namespace mova {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

// --- time

TEST(VirtualTime, SleepMovesTheClockByExactlyItsLength) {
    ScriptedPlatform platform;
    Clock& clock = platform.platform().clock;
    EXPECT_EQ(clock.tickCount(), 100000u);
    clock.sleep(10000);
    EXPECT_EQ(clock.tickCount(), 110000u);
    EXPECT_EQ(platform.elapsed(), 10000);
}

TEST(VirtualTime, AskingTheTimeAndPollingAnEventTakeNoTime) {
    ScriptedPlatform platform;
    const auto event = platform.threading().makeEvent();
    for (int i = 0; i < 1000; ++i) {
        platform.clock().tickCount();
        EXPECT_FALSE(event->isSet());
    }
    EXPECT_EQ(platform.now(), 0us);
}

TEST(VirtualTime, TheTickCountWrapsAt32Bits) {
    ScriptedPlatform platform;
    platform.clock().sleep(7);
    platform.clock().setTickCount(0xFFFFFFFE);
    EXPECT_EQ(platform.clock().tickCount(), 0xFFFFFFFEu);
    platform.clock().sleep(3);
    EXPECT_EQ(platform.clock().tickCount(), 1u);
    platform.clock().setTickCount(0x7FFFFFFF);
    platform.clock().sleep(1);
    EXPECT_EQ(platform.clock().tickCount(), 0x80000000u);
    platform.clock().setTickCount(5);  // back again
    EXPECT_EQ(platform.clock().tickCount(), 5u);
}

TEST(VirtualTime, LocalTimeGoesOnAcrossMidnightAndLeapDay) {
    ScriptedPlatform platform;
    LocalTime t = platform.clock().localTime();
    EXPECT_EQ(t.year, 2024);
    EXPECT_EQ(t.month, 3);
    EXPECT_EQ(t.day, 5);
    EXPECT_EQ(t.hour, 9);
    EXPECT_EQ(t.minute, 7);
    EXPECT_EQ(t.second, 2);
    EXPECT_EQ(t.millisecond, 45);
    platform.clock().setLocalTime({2024, 2, 28, 23, 59, 59, 999});
    platform.clock().sleep(1);
    t = platform.clock().localTime();
    EXPECT_EQ(t.month, 2);
    EXPECT_EQ(t.day, 29);
    EXPECT_EQ(t.hour, 0);
    EXPECT_EQ(t.millisecond, 0);
}

TEST(VirtualTime, LongDateTextNamesDayAndMonth) {
    ScriptedPlatform platform;
    EXPECT_EQ(platform.clock().longDateText(1709629622), "Tuesday, March 05, 2024 09:07:02");
    EXPECT_EQ(platform.clock().longDateText(0), "Thursday, January 01, 1970 00:00:00");
    platform.failures().fail(Op::LongDate);
    EXPECT_EQ(platform.clock().longDateText(0), "");
}

TEST(VirtualTime, ActionsRunAtTheirTimeInTheirOrder) {
    ScriptedPlatform platform;
    std::vector<std::string> seen;
    const auto note = [&](const char* name) {
        return [&, name] { seen.push_back(std::string(name) + " " + std::to_string(platform.elapsed())); };
    };
    platform.at(30ms, note("late"));
    platform.at(10ms, note("first"));
    platform.at(10ms, note("second"));
    platform.clock().sleep(9);
    EXPECT_TRUE(seen.empty());
    platform.clock().sleep(1);
    EXPECT_THAT(seen, ElementsAre("first 10", "second 10"));
    platform.after(5ms, note("after"));
    platform.clock().sleep(100);
    EXPECT_THAT(seen, ElementsAre("first 10", "second 10", "after 15", "late 30"));
}

TEST(VirtualTime, AnActionMayMakeTheNextOne) {
    ScriptedPlatform platform;
    int beats = 0;
    std::function<void()> beat = [&] {
        ++beats;
        platform.after(10ms, beat);
    };
    platform.at(10ms, beat);
    platform.clock().sleep(105);
    EXPECT_EQ(beats, 10);
}

TEST(VirtualTime, WorkThatTakesTimeLetsActionsFallDue) {
    ScriptedPlatform platform;
    int calls = 0;
    platform.setCallCost(100us);
    platform.at(1ms, [&] { ++calls; });
    for (int i = 0; i < 9; ++i) platform.clock().tickCount();
    EXPECT_EQ(calls, 0);
    platform.clock().tickCount();
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(platform.now(), 1000us);
}

// --- events

TEST(VirtualEvent, StaysSetUntilReset) {
    ScriptedPlatform platform;
    const auto event = platform.threading().makeEvent();
    EXPECT_EQ(event->wait(250), WaitResult::TimedOut);
    EXPECT_EQ(platform.elapsed(), 250);
    event->set();
    EXPECT_EQ(event->wait(kInfinite), WaitResult::Signalled);
    EXPECT_EQ(event->wait(0), WaitResult::Signalled);
    event->reset();
    EXPECT_EQ(event->wait(0), WaitResult::TimedOut);
    EXPECT_EQ(platform.elapsed(), 250);
}

TEST(VirtualEvent, AScriptedActionEndsTheWait) {
    ScriptedPlatform platform;
    const auto event = platform.threading().makeEvent();
    platform.at(40ms, [&] { event->set(); });
    EXPECT_EQ(event->wait(10000), WaitResult::Signalled);
    EXPECT_EQ(platform.elapsed(), 40);
}

TEST(VirtualEvent, SetAtTheVeryEndOfTheWaitCountsAsSet) {
    ScriptedPlatform platform;
    const auto event = platform.threading().makeEvent();
    platform.at(40ms, [&] { event->set(); });
    EXPECT_EQ(event->wait(40), WaitResult::Signalled);
}

TEST(VirtualEvent, OneThatTheSystemRefusedFailsItsWaits) {
    ScriptedPlatform platform;
    platform.failures().fail(Op::MakeEvent);
    const auto refused = platform.threading().makeEvent();
    const auto good = platform.threading().makeEvent();
    refused->set();
    EXPECT_EQ(refused->wait(0), WaitResult::Failed);
    EXPECT_EQ(good->wait(0), WaitResult::TimedOut);
    platform.failures().fail(Op::EventWait).onCall(2);
    EXPECT_EQ(good->wait(0), WaitResult::TimedOut);
    EXPECT_EQ(good->wait(0), WaitResult::Failed);
    EXPECT_EQ(good->wait(0), WaitResult::TimedOut);
}

// --- threads

TEST(VirtualThreads, AStartedThreadRunsOnlyWhenItsStarterWaits) {
    ScriptedPlatform platform;
    std::vector<std::string> seen;
    const auto thread = platform.spawn([&] { seen.push_back("thread"); });
    seen.push_back("main");
    EXPECT_TRUE(thread->join(kInfinite));
    seen.push_back("joined");
    EXPECT_THAT(seen, ElementsAre("main", "thread", "joined"));
    EXPECT_EQ(platform.elapsed(), 0);
}

TEST(VirtualThreads, HaveSmallIdsInOrderOfStart) {
    ScriptedPlatform platform;
    std::uint32_t own = 0;
    const auto first = platform.spawn([&] { own = platform.threading().currentThreadId(); });
    const auto second = platform.spawn([] {});
    EXPECT_EQ(platform.threading().currentThreadId(), 1u);
    EXPECT_EQ(first->id(), 2u);
    EXPECT_EQ(second->id(), 3u);
    platform.settle();
    EXPECT_EQ(own, 2u);
}

TEST(VirtualThreads, WakeByDeadlineThenByCreation) {
    ScriptedPlatform platform;
    std::vector<std::string> seen;
    const auto sleeper = [&](const char* name, std::uint32_t time) {
        return platform.spawn([&, name, time] {
            platform.clock().sleep(time);
            seen.push_back(name);
        });
    };
    const auto a = sleeper("a30", 30);
    const auto b = sleeper("b10", 10);
    const auto c = sleeper("c10", 10);
    const auto d = sleeper("d20", 20);
    platform.advance(100);
    EXPECT_THAT(seen, ElementsAre("b10", "c10", "d20", "a30"));
    EXPECT_EQ(platform.elapsed(), 100);
}

TEST(VirtualThreads, JoinTimesOutWhileTheThreadGoesOn) {
    ScriptedPlatform platform;
    const auto thread = platform.spawn([&] { platform.clock().sleep(300); });
    EXPECT_FALSE(thread->join(0));
    EXPECT_FALSE(thread->join(100));
    EXPECT_EQ(platform.elapsed(), 100);
    EXPECT_TRUE(thread->join(1000));
    EXPECT_EQ(platform.elapsed(), 300);
    EXPECT_TRUE(thread->join(0));
    EXPECT_EQ(platform.threading().started(), 1u);
    EXPECT_EQ(platform.threading().alive(), 0u);
}

TEST(VirtualThreads, AreWokenByAnEventInTheOrderOfTheirWaiting) {
    ScriptedPlatform platform;
    const auto event = platform.threading().makeEvent();
    std::vector<int> seen;
    std::vector<std::unique_ptr<Thread>> threads;
    for (const int number : {1, 2, 3}) {
        threads.push_back(platform.spawn([&, number] {
            platform.clock().sleep(static_cast<std::uint32_t>(40 - 10 * number));  // 3 waits first
            EXPECT_EQ(event->wait(kInfinite), WaitResult::Signalled);
            seen.push_back(number);
        }));
    }
    platform.advance(50);
    EXPECT_TRUE(seen.empty());
    event->set();
    event->reset();  // at once: the waits under way are satisfied all the same
    for (const auto& thread : threads) EXPECT_TRUE(thread->join(kInfinite));
    EXPECT_THAT(seen, ElementsAre(3, 2, 1));
}

TEST(VirtualThreads, PassAMessageBackAndForth) {
    ScriptedPlatform platform;
    const auto ping = platform.threading().makeEvent();
    const auto pong = platform.threading().makeEvent();
    int turns = 0;
    const auto thread = platform.spawn([&] {
        while (turns < 1000) {
            ping->wait(kInfinite);
            ping->reset();
            ++turns;
            pong->set();
        }
    });
    for (int i = 0; i < 1000; ++i) {
        ping->set();
        pong->wait(kInfinite);
        pong->reset();
        EXPECT_EQ(turns, i + 1);
    }
    EXPECT_TRUE(thread->join(kInfinite));
    EXPECT_EQ(platform.elapsed(), 0);
}

TEST(VirtualThreads, APollingThreadRunsAlongsideAtItsOwnPace) {
    ScriptedPlatform platform;
    const auto stop = platform.threading().makeEvent();
    int polls = 0;
    const auto reader = platform.spawn([&] {
        while (stop->wait(5) == WaitResult::TimedOut) ++polls;
    });
    platform.advance(1001);
    EXPECT_EQ(polls, 200);
    stop->set();
    EXPECT_TRUE(reader->join(0) || reader->join(1));
    EXPECT_EQ(platform.elapsed(), 1001);
}

TEST(VirtualThreads, WhatAThreadsFunctionHoldsGoesBeforeTheThreadHasEnded) {
    ScriptedPlatform platform;
    auto held = std::make_shared<int>(1);
    const std::weak_ptr<int> watch = held;
    const auto thread = platform.spawn([held] { EXPECT_EQ(*held, 1); });
    held.reset();
    EXPECT_FALSE(watch.expired());
    EXPECT_TRUE(thread->join(kInfinite));
    EXPECT_TRUE(watch.expired());
}

TEST(VirtualThreads, RefusedAndTerminatedOnes) {
    ScriptedPlatform platform;
    platform.failures().fail(Op::StartThread);
    EXPECT_EQ(platform.spawn([] { FAIL(); }), nullptr);
    bool went = false;
    const auto thread = platform.spawn([&] {
        platform.clock().sleep(1000);
        went = true;
    });
    thread->setLowestPriority();
    platform.advance(10);
    EXPECT_EQ(platform.threading().loweredPriorities(), 1u);
    thread->terminate();
    EXPECT_TRUE(thread->join(0));
    platform.advance(2000);
    EXPECT_FALSE(went);
    EXPECT_EQ(platform.threading().terminated(), 1u);
    EXPECT_EQ(platform.threading().alive(), 0u);
}

TEST(VirtualThreads, TheSameRunTwiceGivesTheSameOrder) {
    const auto run = [](std::uint32_t seed) {
        ScriptedPlatform platform;
        if (seed != 0) platform.interleave(seed);
        std::string seen;
        std::vector<std::unique_ptr<Thread>> threads;
        const auto lock = platform.threading().makeRecursiveMutex();
        for (char name = 'a'; name < 'f'; ++name) {
            threads.push_back(platform.spawn([&, name] {
                for (int i = 0; i < 20; ++i) {
                    platform.clock().sleep(static_cast<std::uint32_t>((name * 7 + i * 3) % 5));
                    const std::lock_guard guard(*lock);
                    seen += name;
                    if (i % 3 == 0) platform.clock().sleep(1);
                    seen += name;
                }
            }));
        }
        for (const auto& thread : threads) thread->join(kInfinite);
        return seen;
    };
    const std::string once = run(0);
    EXPECT_EQ(once.size(), 200u);
    for (std::size_t i = 0; i < once.size(); i += 2) EXPECT_EQ(once[i], once[i + 1]) << i;
    EXPECT_EQ(run(0), once);
    EXPECT_EQ(run(11), run(11));
    EXPECT_NE(run(11), run(12));
    EXPECT_NE(run(11), once);
}

// --- locks

TEST(VirtualMutex, IsRecursiveOnItsThread) {
    ScriptedPlatform platform;
    const auto mutex = platform.threading().makeRecursiveMutex();
    bool entered = false;
    const std::unique_ptr<Thread> thread = platform.spawn([&] {
        const std::lock_guard guard(*mutex);
        entered = true;
    });
    mutex->lock();
    mutex->lock();
    mutex->unlock();
    platform.advance(10);
    EXPECT_FALSE(entered);
    mutex->unlock();
    platform.advance(10);
    EXPECT_TRUE(entered);
    EXPECT_TRUE(thread->join(0));
}

TEST(VirtualMutex, GoesToThoseWhoWaitInTheirOrderBeforeItsOwnerGetsItAgain) {
    ScriptedPlatform platform;
    const auto mutex = platform.threading().makeRecursiveMutex();
    std::vector<std::string> seen;
    std::vector<std::unique_ptr<Thread>> threads;
    mutex->lock();
    for (const char* name : {"b", "c"}) {
        threads.push_back(platform.spawn([&, name] {
            const std::lock_guard guard(*mutex);
            seen.push_back(name);
        }));
    }
    platform.settle();
    mutex->unlock();
    mutex->lock();
    seen.push_back("a");
    mutex->unlock();
    for (const auto& thread : threads) EXPECT_TRUE(thread->join(kInfinite));
    EXPECT_THAT(seen, ElementsAre("b", "c", "a"));
}

TEST(VirtualMutex, OfAThreadThatEndedGoesOn) {
    ScriptedPlatform platform;
    const auto mutex = platform.threading().makeNamedMutex("SUTLOG");
    const auto same = platform.threading().makeNamedMutex("SUTLOG");
    const auto thread = platform.spawn([&] {
        EXPECT_TRUE(mutex->acquire());
        platform.clock().sleep(100);
    });
    platform.advance(1);
    EXPECT_TRUE(platform.threading().isHeld("SUTLOG"));
    EXPECT_TRUE(same->acquire());  // its owner died at 100 ms
    EXPECT_EQ(platform.elapsed(), 100);
    same->release();
    EXPECT_FALSE(platform.threading().isHeld("SUTLOG"));
    EXPECT_TRUE(thread->join(0));
}

TEST(VirtualMutex, ANamedOneMayBeHeldByAnotherProcess) {
    ScriptedPlatform platform;
    const auto mutex = platform.threading().makeNamedMutex("SUTLOG");
    platform.threading().takeElsewhere("SUTLOG");
    platform.at(70ms, [&] { platform.threading().releaseElsewhere("SUTLOG"); });
    EXPECT_TRUE(mutex->acquire());
    EXPECT_EQ(platform.elapsed(), 70);
    mutex->release();
    platform.failures().fail(Op::AcquireNamedMutex).twice();
    EXPECT_FALSE(mutex->acquire());
    EXPECT_FALSE(mutex->acquire());
    EXPECT_TRUE(mutex->acquire());
    mutex->release();
}

// --- what it does not let pass

using VirtualTimeDeath = ::testing::Test;

TEST(VirtualTimeDeath, ADeadlockIsToldWithWhoWaitsForWhat) {
    ::testing::GTEST_FLAG(death_test_style) = "threadsafe";
    const auto deadlock = [] {
        ScriptedPlatform platform;
        const auto first = platform.threading().makeRecursiveMutex();
        const auto second = platform.threading().makeRecursiveMutex();
        first->lock();
        const auto thread = platform.spawn([&] {
            second->lock();
            first->lock();
        });
        platform.settle();
        second->lock();
    };
    EXPECT_DEATH(deadlock(),
                 "deadlock: every thread waits for ever(.|\n)*"
                 "thread 1 waits for mutex 2 held by thread 2, without limit(.|\n)*"
                 "thread 2 waits for mutex 1 held by thread 1, without limit");
}

TEST(VirtualTimeDeath, ARescueThatDoesNotHelpIsToldToo) {
    ::testing::GTEST_FLAG(death_test_style) = "threadsafe";
    const auto stuck = [] {
        ScriptedPlatform platform;
        platform.whenStuck([] {});
        platform.threading().makeEvent()->wait(kInfinite);
    };
    EXPECT_DEATH(stuck(), "deadlock: every thread waits for ever(.|\n)*thread 1 waits for event 1, without limit");
}

TEST(VirtualTime, AStuckRunMayBeRescued) {
    ScriptedPlatform platform;
    const auto event = platform.threading().makeEvent();
    const auto thread = platform.spawn([&] { EXPECT_EQ(event->wait(kInfinite), WaitResult::Signalled); });
    platform.advance(1000);
    EXPECT_EQ(platform.scheduler().timesStuck(), 0u);
    platform.whenStuck([&] { event->set(); });
    EXPECT_TRUE(thread->join(kInfinite));
    EXPECT_EQ(platform.scheduler().timesStuck(), 1u);
    EXPECT_EQ(platform.elapsed(), 1000);
}

TEST(VirtualTimeDeath, WaitingForEverForAPollingThreadIsFound) {
    ::testing::GTEST_FLAG(death_test_style) = "threadsafe";
    const auto wait = [] {
        ScriptedPlatform platform;
        const auto stop = platform.threading().makeEvent();
        const auto reader = platform.spawn([&] {
            while (stop->wait(1000) == WaitResult::TimedOut) {
            }
        });
        reader->join(kInfinite);
    };
    EXPECT_DEATH(wait(), "the main thread has waited without limit for more than an hour(.|\n)*end of thread 2");
}

TEST(VirtualTimeDeath, ALoopWithoutWaitIsFound) {
    ::testing::GTEST_FLAG(death_test_style) = "threadsafe";
    const auto spin = [] {
        ScriptedPlatform platform;
        const std::uint32_t start = platform.clock().tickCount();
        while (platform.clock().tickCount() - start < 10) {
        }
    };
    EXPECT_DEATH(spin(), "a million calls and no time has passed");
}

TEST(VirtualTimeDeath, AnActionMustNotWait) {
    ::testing::GTEST_FLAG(death_test_style) = "threadsafe";
    const auto wait = [] {
        ScriptedPlatform platform;
        platform.at(1ms, [&] { platform.clock().sleep(1); });
        platform.advance(2);
    };
    EXPECT_DEATH(wait(), "a scripted action waits");
}

TEST(VirtualTimeDeath, ALockOfTheCodesOwnHeldAcrossAWaitIsFound) {
    ::testing::GTEST_FLAG(death_test_style) = "threadsafe";
    const auto hang = [] {
        ScriptedPlatform platform;
        platform.scheduler().setHangLimit(200ms);
        std::mutex mutex;
        const auto thread = platform.spawn([&] { const std::lock_guard guard(mutex); });
        const std::lock_guard guard(mutex);
        platform.clock().sleep(10);
    };
    EXPECT_DEATH(hang(), "the running thread blocks outside the platform(.|\n)*thread 1 sleeps(.|\n)*thread 2 runs");
}

TEST(VirtualTimeDeath, AThreadFromElsewhereIsFound) {
    ::testing::GTEST_FLAG(death_test_style) = "threadsafe";
    const auto call = [] {
        ScriptedPlatform platform;
        std::thread([&] { platform.clock().tickCount(); }).join();
    };
    EXPECT_DEATH(call(), "a call comes from a thread that was not started through the platform");
}

TEST(VirtualTime, AThreadThatIsLeftFailsTheTest) {
    EXPECT_NONFATAL_FAILURE(
        {
            ScriptedPlatform platform;
            ScriptedPlatform* const home = &platform;
            const auto thread = platform.spawn([home] { home->clock().sleep(5000); });
            platform.advance(10);
        },
        "still there at the platform's end: thread 2 sleeps, until 5000.000 ms, since 0.000 ms");
}

TEST(VirtualTime, AThreadThatNeedsNoMoreTimeIsLeftToItsEnd) {
    bool ended = false;
    {
        ScriptedPlatform platform;
        platform.spawn([&ended] { ended = true; });
    }
    EXPECT_TRUE(ended);
}

TEST(VirtualTime, AnEventDestroyedUnderAWaitingThreadFailsTheTest) {
    EXPECT_NONFATAL_FAILURE(
        {
            ScriptedPlatform platform;
            auto event = platform.threading().makeEvent();
            Event* const raw = event.get();
            const auto thread = platform.spawn([raw] { raw->wait(1000); });
            platform.settle();
            event.reset();
            platform.advance(2000);
        },
        "destroyed while thread 2 waits for it: event 1");
}

}  // namespace
}  // namespace mova
