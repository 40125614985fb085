#include <gtest/gtest.h>
#include <signal.h>
#include <sys/time.h>

#include <cerrno>
#include <chrono>
#include <ctime>

#include "platform/kel.h"

namespace {

template <class Code>
int64_t milliseconds_of(Code code) {
    const auto start = std::chrono::steady_clock::now();
    code();
    const auto passed = std::chrono::steady_clock::now() - start;
    return std::chrono::duration_cast<std::chrono::milliseconds>(passed).count();
}

// Ends the process by a signal in a moment, whatever it is doing.
void end_soon() {
    ::signal(SIGALRM, SIG_DFL);
    struct itimerval timer = {};
    timer.it_value.tv_usec = 100000;
    ::setitimer(ITIMER_REAL, &timer, nullptr);
}

TEST(TimeOfDay, IsThePresentInWholeMilliseconds) {
    kel_timeval now;
    const std::time_t before = std::time(nullptr);
    EXPECT_EQ(kel_timeofday(&now), 0);
    const std::time_t after = std::time(nullptr);
    EXPECT_GE(now.sec, before - 1); // the two clocks may tick over apart
    EXPECT_LE(now.sec, after + 1);
    for (int i = 0; i < 100; ++i) {
        kel_timeofday(&now);
        ASSERT_EQ(now.usec % 1000, 0);
        ASSERT_GE(now.usec, 0);
        ASSERT_LT(now.usec, 1000000);
    }
}

TEST(Sleep, LastsThatManySeconds) {
    EXPECT_GE(milliseconds_of([] { kel_sleep(1); }), 1000);
    EXPECT_LT(milliseconds_of([] { kel_sleep(0); }), 500);
}

TEST(MtDelay, LastsThatManyMilliseconds) {
    EXPECT_GE(milliseconds_of([] { EXPECT_EQ(mt_delay(30), 0); }), 30);
    EXPECT_EQ(mt_delay(0), 0);
}

TEST(MtDelay, FromAboveFourteenDaysOnSleepsForEver) {
    for (const uint32_t milliseconds : {KEL_DELAY_FOREVER, UINT32_MAX})
        EXPECT_EXIT((end_soon(), mt_delay(milliseconds)), testing::KilledBySignal(SIGALRM), "");
}

TEST(MtSleep, LastsInWholeMilliseconds) {
    const kel_timeval time = {0, 30999};
    EXPECT_GE(milliseconds_of([&] { EXPECT_EQ(mt_sleep(&time), 0); }), 30);
    const kel_timeval below_one = {0, 999};
    EXPECT_EQ(mt_sleep(&below_one), 0);
}

TEST(MtSleep, RefusesFieldsOutOfRange) {
    for (const kel_timeval &time : {kel_timeval{0, 1000000}, kel_timeval{0, -1}, kel_timeval{-1, 0},
                                    kel_timeval{KEL_SLEEP_FOREVER, 1000000}}) {
        errno = 0;
        EXPECT_EQ(mt_sleep(&time), -1) << time.sec << " " << time.usec;
        EXPECT_EQ(errno, EINVAL);
    }
}

TEST(MtSleep, FromAboveFourteenDaysOnSleepsForEver) {
    const kel_timeval time = {KEL_SLEEP_FOREVER, 0};
    EXPECT_EXIT((end_soon(), mt_sleep(&time)), testing::KilledBySignal(SIGALRM), "");
}

} // namespace
