#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>

#include <thread>

#include "PseudoTerminal.h"
#include "platform/posix/PosixThreading.h"
#include "support/Sanitizers.h"

namespace mova {
namespace {

TEST(PosixEvent, IsCreatedNonSignalled) {
    PosixEvent event;
    EXPECT_FALSE(event.isSet());
    EXPECT_EQ(event.wait(1), WaitResult::TimedOut);
}

TEST(PosixEvent, StaysSetUntilReset) {
    PosixEvent event;
    event.set();
    EXPECT_EQ(event.wait(kInfinite), WaitResult::Signalled);
    EXPECT_EQ(event.wait(0), WaitResult::Signalled);
    event.reset();
    EXPECT_EQ(event.wait(0), WaitResult::TimedOut);
}

TEST(PosixEvent, OneResetTakesBackAnyNumberOfSets) {
    PosixEvent event;
    for (int i = 0; i < 1000; ++i) event.set();
    event.reset();
    EXPECT_FALSE(event.isSet());
}

TEST(PosixEvent, ResettingANonSignalledEventDoesNothing) {
    PosixEvent event;
    event.reset();
    EXPECT_FALSE(event.isSet());
    event.set();
    EXPECT_TRUE(event.isSet());
}

TEST(PosixEvent, WakesEveryWaiterAndShowsWhatWasDoneBefore) {
    PosixEvent event;
    int written = 0;
    int seen[2] = {0, 0};
    std::thread first([&] { seen[0] = event.wait(kGenerousLimit) == WaitResult::Signalled ? written : -1; });
    std::thread second([&] { seen[1] = event.wait(kGenerousLimit) == WaitResult::Signalled ? written : -1; });
    written = 42;
    event.set();
    first.join();
    second.join();
    EXPECT_EQ(seen[0], 42);
    EXPECT_EQ(seen[1], 42);
}

TEST(PosixEvent, ASignalHandlerDoesNotEndTheWait) {
    struct sigaction action {};
    struct sigaction before {};
    action.sa_handler = [](int) {};  // and no SA_RESTART
    sigaction(SIGUSR1, &action, &before);
    PosixEvent event;
    WaitResult outcome = WaitResult::Failed;
    std::thread waiter([&] { outcome = event.wait(kGenerousLimit); });
    for (int i = 0; i < 20; ++i) {
        pthread_kill(waiter.native_handle(), SIGUSR1);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    event.set();
    waiter.join();
    sigaction(SIGUSR1, &before, nullptr);
    EXPECT_EQ(outcome, WaitResult::Signalled);
}

TEST(PosixEvent, WaitsOfAnEventThatTheSystemRefusedFail) {
    if (kAddressSanitizer || kThreadSanitizer) GTEST_SKIP() << "the sanitizers need descriptors themselves";
    PosixThreading threading("/tmp");
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    rlimit none = before;
    none.rlim_cur = 0;
    setrlimit(RLIMIT_NOFILE, &none);
    const auto event = threading.makeEvent();
    setrlimit(RLIMIT_NOFILE, &before);
    ASSERT_NE(event, nullptr);
    EXPECT_EQ(event->wait(0), WaitResult::Failed);
    EXPECT_EQ(event->wait(kInfinite), WaitResult::Failed);
    event->set();
    event->reset();
    EXPECT_FALSE(event->isSet());
}

}  // namespace
}  // namespace mova
