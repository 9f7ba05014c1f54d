#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/time.h>

#include <chrono>
#include <ctime>
#include <limits>

#include "platform/posix/PosixClock.h"

namespace mova {
namespace {

class PosixClockTest : public testing::Test {
protected:
    void TearDown() override {
        unsetenv("TZ");
        tzset();
    }
    static void setZone(const char* zone) {
        setenv("TZ", zone, 1);
        tzset();
    }
    static std::time_t secondsOf(const LocalTime& time) {
        std::tm parts{};
        parts.tm_year = time.year - 1900;
        parts.tm_mon = time.month - 1;
        parts.tm_mday = time.day;
        parts.tm_hour = time.hour;
        parts.tm_min = time.minute;
        parts.tm_sec = time.second;
        return timegm(&parts);
    }
    PosixClock clock_;
};

std::uint32_t monotonicMilliseconds() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<std::uint32_t>(static_cast<std::uint64_t>(time.tv_sec) * 1000 +
                                      static_cast<std::uint64_t>(time.tv_nsec) / 1000000);
}

TEST_F(PosixClockTest, TickCountIsTheMonotonicClockInMilliseconds) {
    const std::uint32_t before = monotonicMilliseconds();
    const std::uint32_t tick = clock_.tickCount();
    const std::uint32_t after = monotonicMilliseconds();
    EXPECT_LE(tick - before, after - before);  // differences, for the wrap
}

TEST_F(PosixClockTest, LocalTimeIsTheTimeOfTheZone) {
    setZone("AAA-5");   // five hours east
    timespec before{};  // not std::time, which lags behind
    timespec after{};
    clock_gettime(CLOCK_REALTIME, &before);
    const LocalTime local = clock_.localTime();
    clock_gettime(CLOCK_REALTIME, &after);
    EXPECT_GE(secondsOf(local) - 5 * 3600, before.tv_sec);
    EXPECT_LE(secondsOf(local) - 5 * 3600, after.tv_sec);
    EXPECT_GE(local.millisecond, 0);
    EXPECT_LE(local.millisecond, 999);
}

TEST_F(PosixClockTest, SleepIsNeverShorterThanAsked) {
    const auto before = std::chrono::steady_clock::now();
    clock_.sleep(20);
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(20));
}

TEST_F(PosixClockTest, ASignalHandlerDoesNotEndTheSleep) {
    struct sigaction action {};
    struct sigaction oldAction {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, &oldAction);
    const itimerval every2ms{{0, 2000}, {0, 2000}};
    const itimerval off{};
    const auto before = std::chrono::steady_clock::now();
    setitimer(ITIMER_REAL, &every2ms, nullptr);
    clock_.sleep(30);
    setitimer(ITIMER_REAL, &off, nullptr);
    sigaction(SIGALRM, &oldAction, nullptr);
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(30));
}

TEST_F(PosixClockTest, SleepOfZeroReturns) { clock_.sleep(0); }

TEST_F(PosixClockTest, LongDateTextIsInLocalTime) {
    setZone("UTC0");
    EXPECT_EQ(clock_.longDateText(1709629622), "Tuesday, March 05, 2024 09:07:02");
    EXPECT_EQ(clock_.longDateText(0), "Thursday, January 01, 1970 00:00:00");
    setZone("AAA-5");
    EXPECT_EQ(clock_.longDateText(1709629622), "Tuesday, March 05, 2024 14:07:02");
}

TEST_F(PosixClockTest, ATimeWithoutADateGivesNoText) {
    EXPECT_EQ(clock_.longDateText(std::numeric_limits<std::int64_t>::max()), "");
}

}  // namespace
}  // namespace mova
