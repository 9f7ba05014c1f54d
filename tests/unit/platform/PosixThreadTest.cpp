#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <iterator>
#include <thread>

#include "ChildProcess.h"
#include "PseudoTerminal.h"
#include "platform/posix/PosixThreading.h"

namespace mova {
namespace {

auto threadCount() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), std::filesystem::directory_iterator());
}

class PosixThreadTest : public testing::Test {
protected:
    PosixThreading threading_{"/tmp"};
};

TEST_F(PosixThreadTest, RunsItsFunctionOnAThreadOfItsOwn) {
    std::uint32_t ranOn = 0;
    const auto thread = threading_.start([&] { ranOn = threading_.currentThreadId(); });
    ASSERT_NE(thread, nullptr);
    const std::uint32_t id = thread->id();
    ASSERT_TRUE(thread->join(kInfinite));
    EXPECT_EQ(id, ranOn);
    EXPECT_NE(id, threading_.currentThreadId());
}

TEST_F(PosixThreadTest, TheIdIsTheKernels) {
    EXPECT_EQ(threading_.currentThreadId(), static_cast<std::uint32_t>(gettid()));
}

TEST_F(PosixThreadTest, JoinGivesUpAtItsLimitWhileTheThreadRuns) {
    PosixEvent end;
    const auto thread = threading_.start([&] { end.wait(kInfinite); });
    EXPECT_FALSE(thread->join(0));
    EXPECT_FALSE(thread->join(5));
    end.set();
    EXPECT_TRUE(thread->join(kGenerousLimit));
}

TEST_F(PosixThreadTest, AnEndedThreadCanBeJoinedAgain) {
    const auto thread = threading_.start([] {});
    EXPECT_TRUE(thread->join(kInfinite));
    EXPECT_TRUE(thread->join(0));
    EXPECT_TRUE(thread->join(kInfinite));
}

TEST_F(PosixThreadTest, AThreadDoesNotWaitForItself) {
    std::unique_ptr<Thread> thread;
    PosixEvent started;
    bool joined = true;
    thread = threading_.start([&] {
        started.wait(kInfinite);
        joined = thread->join(kInfinite);
    });
    started.set();
    ASSERT_TRUE(thread->join(kGenerousLimit));
    EXPECT_FALSE(joined);
}

TEST_F(PosixThreadTest, TheObjectMayGoBeforeItsThread) {
    const auto end = std::make_shared<PosixEvent>();
    const auto ended = std::make_shared<PosixEvent>();
    auto thread = threading_.start([end, ended] {
        end->wait(kInfinite);
        ended->set();
    });
    thread.reset();
    EXPECT_FALSE(ended->isSet());
    end->set();
    EXPECT_EQ(ended->wait(kGenerousLimit), WaitResult::Signalled);
}

TEST_F(PosixThreadTest, WhatTheFunctionHoldsGoesBeforeTheThreadCountsAsEnded) {
    struct Tracer {
        ~Tracer() {
            if (goneOn != nullptr) *goneOn = static_cast<std::uint32_t>(gettid());
        }
        std::uint32_t* goneOn;
    };
    std::uint32_t goneOn = 0;
    std::shared_ptr<Tracer> held(new Tracer{&goneOn});
    const auto thread = threading_.start([held = std::move(held)] {});
    ASSERT_TRUE(thread->join(kInfinite));
    EXPECT_EQ(goneOn, thread->id());
}

TEST_F(PosixThreadTest, NothingIsLeftOfAJoinedThread) {
    const auto before = threadCount();
    for (int i = 0; i < 100; ++i) {
        const auto thread = threading_.start([] {});
        ASSERT_TRUE(thread->join(kInfinite));
    }
    // The system lists a thread for a moment after its end; fewer when one of an earlier test was still listed.
    for (int i = 0; i < 1000 && threadCount() > before; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_LE(threadCount(), before);
}

TEST_F(PosixThreadTest, LowestPriorityIsTheThreadsAlone) {
    PosixEvent end;
    const auto thread = threading_.start([&] { end.wait(kInfinite); });
    const int own = getpriority(PRIO_PROCESS, 0);
    thread->setLowestPriority();
    EXPECT_EQ(getpriority(PRIO_PROCESS, thread->id()), 19);
    EXPECT_EQ(getpriority(PRIO_PROCESS, 0), own);
    end.set();
    ASSERT_TRUE(thread->join(kGenerousLimit));
    thread->setLowestPriority();  // too late, and harmless
}

TEST_F(PosixThreadTest, TerminateLeavesTheThreadToItself) {
    PosixEvent end;
    std::atomic<bool> ranToItsEnd = false;
    const auto thread = threading_.start([&] {
        end.wait(kInfinite);
        ranToItsEnd = true;
    });
    thread->terminate();
    EXPECT_FALSE(thread->join(1));
    end.set();
    EXPECT_TRUE(thread->join(kGenerousLimit));
    EXPECT_TRUE(ranToItsEnd);
}

TEST_F(PosixThreadTest, AThreadThatTheSystemRefusesIsNull) {
    constexpr int kRefused = 0, kStarted = 1, kNoLimit = 2;
    ChildProcess child([&] {
        const rlimit none{0, 0};
        if (geteuid() == 0 && setresuid(kNobody, kNobody, kNobody) != 0) return kNoLimit;  // root has no limit
        if (setrlimit(RLIMIT_NPROC, &none) != 0) return kNoLimit;
        return threading_.start([] {}) == nullptr ? kRefused : kStarted;
    });
    const int outcome = child.wait();
    if (outcome == kNoLimit) GTEST_SKIP() << "threads cannot be limited here";
    EXPECT_EQ(outcome, kRefused);
}

TEST_F(PosixThreadTest, AMutexIsRecursiveOnItsThreadAndKeepsOthersOut) {
    const auto mutex = threading_.makeRecursiveMutex();
    int count = 0;
    const auto work = [&] {
        for (int i = 0; i < 1000; ++i) {
            const std::lock_guard outer(*mutex);
            const std::lock_guard inner(*mutex);
            ++count;
        }
    };
    const auto first = threading_.start(work);
    const auto second = threading_.start(work);
    first->join(kInfinite);
    second->join(kInfinite);
    EXPECT_EQ(count, 2000);
}

}  // namespace
}  // namespace mova
