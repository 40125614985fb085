#include "time_left.h"

#include <cstdint>
#include <optional>

#include <gtest/gtest.h>

namespace {

using vor::tool::duration_text;
using vor::tool::progress_text;
using vor::tool::TimeLeft;

TEST(TimeLeft, IsUnknownInTheFirstSecond) {
    TimeLeft left(1000);
    EXPECT_FALSE(left.at(0, 0));
    EXPECT_FALSE(left.at(500, .99));
    EXPECT_TRUE(left.at(510, 1.01));
}

TEST(TimeLeft, IsUnknownWhileNothingIsDone) {
    TimeLeft left(1000);
    EXPECT_FALSE(left.at(0, 2));
    EXPECT_FALSE(left.at(0, 100));
    EXPECT_NEAR(left.at(100, 101).value_or(0), 9, 1e-6);
}

TEST(TimeLeft, OfSteadyWorkIsExact) {
    TimeLeft left(1000);
    for (int64_t second = 1; second <= 100; ++second) {
        const auto seconds = left.at(second * 10, static_cast<double>(second));
        ASSERT_TRUE(seconds);
        EXPECT_NEAR(*seconds, static_cast<double>(100 - second), 1e-6);
    }
}

TEST(TimeLeft, ShrinksBetweenMeasurements) {
    TimeLeft left(1000);
    EXPECT_NEAR(left.at(100, 1).value_or(0), 9, 1e-6);
    EXPECT_NEAR(left.at(150, 1.5).value_or(0), 8.5, 1e-6);
}

TEST(TimeLeft, OneSlowSecondChangesLittleAndManyChangeAll) {
    TimeLeft left(100000);
    for (int64_t second = 1; second <= 10; ++second)
        left.at(second * 1000, static_cast<double>(second)); // 90 s to go
    EXPECT_NEAR(left.at(10100, 11).value_or(0), 110, 2);
    std::optional<double> slow;
    for (int64_t second = 12; second <= 60; ++second)
        slow = left.at(10100 + (second - 11) * 100, static_cast<double>(second));
    EXPECT_NEAR(slow.value_or(0), (100000 - 15000) / 100.0, 10);
}

TEST(TimeLeft, BehindTheEndIsNothingToDo) {
    TimeLeft left(10);
    EXPECT_EQ(left.at(20, 2).value_or(-1), 0);
}

TEST(TimeLeft, DurationsAreReadable) {
    const struct {
        double seconds;
        const char *text;
    } rows[] = {
        {0, "0 s"},          {0.4, "0 s"},          {12.4, "12 s"},
        {59.4, "59 s"},      {59.6, "1 min 0 s"},   {64, "1 min 0 s"},
        {80, "1 min 20 s"},  {85, "1 min 30 s"},    {3594, "59 min 50 s"},
        {3596, "1 h 0 min"}, {3600, "1 h 0 min"},   {7500, "2 h 5 min"},
        {7529, "2 h 5 min"}, {90000, "25 h 0 min"}, {1e300, "277777 h 47 min"},
        {-5, "0 s"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(duration_text(row.seconds), row.text) << row.seconds;
}

TEST(TimeLeft, ProgressTellsPercentAndTimeOnceItIsKnown) {
    EXPECT_EQ(progress_text("label.vor", 0, std::nullopt), "label.vor: 0 %");
    EXPECT_EQ(progress_text("label.vor", 42, 80), "label.vor: 42 %, 1 min 20 s left");
}

} // namespace
