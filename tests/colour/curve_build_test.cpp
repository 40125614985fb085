#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

#include "colour/curve_build.h"
#include "curve_table.h"

namespace {

using vor::test::identity;
using vor::test::Table;
using vor::test::table_of;

constexpr uint16_t untouched = 0xABCD;

Table blank(int32_t size) {
    return Table(static_cast<size_t>(size), untouched);
}

Table piece(const Table &table, int32_t from, int32_t to) {
    return {table.begin() + from, table.begin() + to + 1};
}

TEST(CurveIdentity, EntryIsItsIndexInSixteenBits) {
    Table table = blank(70000);
    vor::ctab_identity(table.data(), 70000);
    EXPECT_EQ(table, identity(70000));
    EXPECT_EQ(table[65537], 1);
}

TEST(CurveFill, FillsTheRangeWithBothEnds) {
    Table table = blank(16);
    EXPECT_EQ(vor::ctab_fill(table.data(), 3, 5, 9, 16), 0);
    EXPECT_EQ(table, table_of(16, [](int32_t i) { return i >= 3 && i <= 5 ? 9 : untouched; }));
}

TEST(CurveFill, ValueIsNotLimitedToTheLevels) {
    Table table = blank(4);
    EXPECT_EQ(vor::ctab_fill(table.data(), 0, 0, 300, 4), 0);
    EXPECT_EQ(vor::ctab_fill(table.data(), 1, 1, -1, 4), 0);
    EXPECT_EQ(vor::ctab_fill(table.data(), 2, 2, 0x12345, 4), 0);
    EXPECT_EQ(table, (Table{300, 0xFFFF, 0x2345, untouched}));
}

TEST(CurveFill, RangeThatEndsBeforeItBeginsIsEmpty) {
    Table table = blank(8);
    EXPECT_EQ(vor::ctab_fill(table.data(), 5, 4, 1, 8), 0);
    EXPECT_EQ(vor::ctab_fill(table.data(), 7, 0, 1, 8), 0);
    EXPECT_EQ(table, blank(8));
}

TEST(CurveFill, RangeBeyondTheTableIsRefused) {
    const struct {
        int32_t from, to;
    } ranges[] = {{-1, 3}, {0, 8}, {8, 8}, {8, 3}, {3, -1}, {INT32_MIN, INT32_MAX}};
    for (const auto &range : ranges) {
        Table table = blank(8);
        EXPECT_EQ(vor::ctab_fill(table.data(), range.from, range.to, 1, 8), -1);
        EXPECT_EQ(table, blank(8)) << range.from << " to " << range.to;
    }
}

TEST(CurveRamp, GoesBetweenTwoPercentagesOfTheLastLevel) {
    Table table = blank(11);
    EXPECT_EQ(vor::ctab_ramp(table.data(), 2, 6, 20, 100, 11), 0);
    EXPECT_EQ(piece(table, 1, 7), (Table{untouched, 2, 4, 6, 8, 10, untouched}));
}

TEST(CurveRamp, RoundsToTheNearestLevel) {
    Table table = blank(5);
    EXPECT_EQ(vor::ctab_ramp(table.data(), 0, 4, 0, 37, 5), 0); // 0, 0.37, 0.74, 1.11, 1.48
    EXPECT_EQ(table, (Table{0, 0, 1, 1, 1}));
}

TEST(CurveRamp, PercentagesAreLimitedToHundred) {
    Table table = blank(11);
    EXPECT_EQ(vor::ctab_ramp(table.data(), 0, 10, 0, 1000, 11), 0);
    EXPECT_EQ(table, identity(11));
}

// From 50 by the signed difference of 100 percent: up to 150, cut at the last level.
TEST(CurveRamp, NegativeStartCountsInTheSlopeAlone) {
    Table table = blank(11);
    EXPECT_EQ(vor::ctab_ramp(table.data(), 0, 10, -50, 50, 11), 0);
    EXPECT_EQ(table, (Table{5, 6, 7, 8, 9, 10, 10, 10, 10, 10, 10}));
}

TEST(CurveRamp, NegativeEndFallsToLevelZero) {
    Table table = blank(11);
    EXPECT_EQ(vor::ctab_ramp(table.data(), 0, 10, 50, -50, 11), 0);
    EXPECT_EQ(table, (Table{5, 4, 3, 2, 1, 0, 0, 0, 0, 0, 0}));
}

TEST(CurveRamp, NegativeStartBelowMinusHundredIsLimitedFirst) {
    Table table = blank(11);
    EXPECT_EQ(vor::ctab_ramp(table.data(), 0, 10, -300, -100, 11), 0);
    EXPECT_EQ(table, Table(11, 10)); // limited to -100 both: a slope of 0
}

TEST(CurveRamp, RangeOfOneEntryOrBeyondTheTableIsRefused) {
    const struct { int32_t from, to; } ranges[] = {{-1, 3}, {0, 8}, {8, 9}, {3, 3}, {4, 3}};
    for (const auto &range : ranges) {
        Table table = blank(8);
        EXPECT_EQ(vor::ctab_ramp(table.data(), range.from, range.to, 0, 100, 8), -1);
        EXPECT_EQ(table, blank(8)) << range.from << " to " << range.to;
    }
}

TEST(CurveLinear, ContinuesFlatOnBothSidesWithFill) {
    Table table = blank(16);
    EXPECT_EQ(vor::ctab_linear(4, 7, 3, 12, table.data(), true, 16), 0);
    EXPECT_EQ(table, (Table{3, 3, 3, 3, 3, 6, 9, 12, 12, 12, 12, 12, 12, 12, 12, 12}));
}

TEST(CurveLinear, WithoutFillWritesItsRangeAlone) {
    Table table = blank(8);
    EXPECT_EQ(vor::ctab_linear(2, 4, 1, 3, table.data(), false, 8), 0);
    EXPECT_EQ(table, (Table{untouched, untouched, 1, 2, 3, untouched, untouched, untouched}));
}

TEST(CurveLinear, SingleEntryBelowTheRampStays) {
    Table table = blank(4);
    EXPECT_EQ(vor::ctab_linear(1, 2, 2, 3, table.data(), true, 4), 0);
    EXPECT_EQ(table, (Table{untouched, 2, 3, 3}));
}

TEST(CurveLinear, TwoEntriesBelowTheRampAreFilled) {
    Table table = blank(4);
    EXPECT_EQ(vor::ctab_linear(2, 3, 2, 3, table.data(), true, 4), 0);
    EXPECT_EQ(table, (Table{2, 2, 2, 3}));
}

TEST(CurveLinear, FlatPartsTakeAbsoluteLevels) {
    Table table = blank(9);
    EXPECT_EQ(vor::ctab_linear(3, 5, -2, -4, table.data(), true, 9), 0);
    EXPECT_EQ(piece(table, 0, 2), (Table{2, 2, 2}));
    EXPECT_EQ(piece(table, 6, 8), (Table{4, 4, 4}));
    EXPECT_EQ(vor::ctab_linear(3, 5, INT32_MIN, INT32_MIN, table.data(), true, 9), 0);
    EXPECT_EQ(table[0], 0); // the low 16 bits of 2 to the 31st
}

TEST(CurveLinear, FlatPartsMayLieAboveTheLastLevel) {
    Table table = blank(9);
    EXPECT_EQ(vor::ctab_linear(3, 5, 20, 30, table.data(), true, 9), 0);
    EXPECT_EQ(table, (Table{20, 20, 20, 8, 8, 8, 30, 30, 30}));
}

TEST(CurveLinear, PercentagesAreNotCutToIntegers) {
    Table table = blank(256);
    EXPECT_EQ(vor::ctab_linear(0, 255, 10, 20, table.data(), true, 256), 0);
    EXPECT_EQ(table[0], 10);
    EXPECT_EQ(table[255], 20);
}

TEST(CurveLinear, RefusesWhatTheRampRefuses) {
    Table table = blank(8);
    EXPECT_EQ(vor::ctab_linear(4, 4, 0, 7, table.data(), true, 8), -1);
    EXPECT_EQ(table, blank(8));
}

TEST(CurveSteps, StepsCountFromTwo) {
    Table table = blank(8);
    for (const int32_t steps : {-1, 0, 1})
        EXPECT_EQ(vor::ctab_steps(0, 7, steps, table.data(), true, 8), -1);
    EXPECT_EQ(table, blank(8));
    EXPECT_EQ(vor::ctab_steps(0, 7, 2, table.data(), true, 8), 0);
    EXPECT_EQ(table, (Table{0, 0, 0, 0, 7, 7, 7, 7}));
    EXPECT_EQ(vor::ctab_steps(0, 7, -2, table.data(), true, 8), 0);
    EXPECT_EQ(table, (Table{7, 7, 7, 7, 0, 0, 0, 0}));
}

TEST(CurveSteps, LevelsLieWithinTheRange) {
    Table table = blank(16);
    EXPECT_EQ(vor::ctab_steps(4, 11, 2, table.data(), false, 16), 0);
    EXPECT_EQ(piece(table, 3, 12), (Table{untouched, 4, 4, 4, 4, 11, 11, 11, 11, untouched}));
}

TEST(CurveSteps, FillIsZeroBelowAndTheLastLevelAbove) {
    Table table = blank(16);
    EXPECT_EQ(vor::ctab_steps(4, 11, 2, table.data(), true, 16), 0);
    EXPECT_EQ(piece(table, 0, 3), Table(4, 0));
    EXPECT_EQ(piece(table, 4, 11), (Table{4, 4, 4, 4, 11, 11, 11, 11}));
    EXPECT_EQ(piece(table, 12, 15), Table(4, 15));
}

// The filling includes the two ends of the range, and no step is drawn over them.
TEST(CurveSteps, RangeOfOneEntryIsFilledAround) {
    Table table = blank(8);
    EXPECT_EQ(vor::ctab_steps(3, 3, 4, table.data(), true, 8), 0);
    EXPECT_EQ(table, (Table{0, 0, 0, 7, 7, 7, 7, 7}));
}

TEST(CurveSteps, BackwardRangeDrawsNoStep) {
    Table table = blank(8);
    EXPECT_EQ(vor::ctab_steps(5, 2, 4, table.data(), false, 8), 0);
    EXPECT_EQ(table, blank(8));
}

TEST(CurveSteps, RangeBeyondTheTableIsRefused) {
    const struct {
        int32_t from, to;
    } ranges[] = {{-1, 5}, {0, 8}, {8, 8}, {9, 3}, {3, -1}, {-4, -4}, {INT32_MIN, INT32_MAX}};
    for (const auto &range : ranges) {
        for (const bool fill : {false, true}) {
            Table table = blank(8);
            EXPECT_EQ(vor::ctab_steps(range.from, range.to, 4, table.data(), fill, 8), -1);
            EXPECT_EQ(table, blank(8)) << range.from << " to " << range.to;
        }
    }
}

// The staircase as it is described, step by step.
Table plain_staircase(int32_t from, int32_t to, int32_t steps, int32_t size) {
    Table table = blank(size);
    const double n = static_cast<double>(to) - from + 1;
    const double run = steps > 0 ? n / steps : n / -static_cast<double>(steps);
    const double rise = steps > 0 ? n / (steps - 1) : n / (static_cast<double>(steps) + 1);
    int32_t position = from;
    for (int32_t i = 0; position < to;) {
        int32_t level = (steps > 0 ? from : to) + static_cast<int32_t>(rise * i + 0.5);
        level = level < from ? from : level > to ? to : level;
        ++i;
        const int32_t next = from + static_cast<int32_t>(run * i + 0.5);
        const int32_t end = next < to ? next : to;
        for (int32_t k = position; k <= end; ++k)
            table[static_cast<size_t>(k)] = static_cast<uint16_t>(level);
        position = end;
    }
    return table;
}

TEST(CurveSteps, MoreStepsThanEntriesGiveTheLastOfEachEntry) {
    for (const int32_t steps :
         {-70000, -5000, -100, -33, -32, 3, 31, 32, 33, 64, 65, 1000, 99999}) {
        for (const int32_t from : {0, 1, 7}) {
            Table table = blank(40);
            EXPECT_EQ(vor::ctab_steps(from, 38, steps, table.data(), false, 40), 0);
            EXPECT_EQ(table, plain_staircase(from, 38, steps, 40)) << steps << " from " << from;
        }
    }
}

TEST(CurveSteps, BillionsOfStepsTakeNoTime) {
    Table table = blank(NCOLORS_MAX);
    for (const int32_t steps : {INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(vor::ctab_steps(0, NCOLORS_MAX - 1, steps, table.data(), true, NCOLORS_MAX), 0);
        for (int32_t i = 0; i + 1 < NCOLORS_MAX; ++i)
            EXPECT_NEAR(table[static_cast<size_t>(i)], steps > 0 ? i : NCOLORS_MAX - i, 1);
    }
}

TEST(CurveGamma, RaisesThePartsOfTheLastLevel) {
    for (const double exponent : {0.5, 0.9, 1.0, 1.1, 2.0, 9999.0}) {
        Table table = blank(256);
        EXPECT_EQ(vor::ctab_gamma(table.data(), exponent, 256), 0);
        EXPECT_EQ(table, table_of(256, [exponent](int32_t i) {
                      return static_cast<int32_t>(std::pow(i / 255.0, exponent) * 255 + 0.5);
                  }));
    }
}

TEST(CurveGamma, ExponentAboveOneDarkensTheMiddle) {
    Table table = blank(256);
    EXPECT_EQ(vor::ctab_gamma(table.data(), 2, 256), 0);
    EXPECT_EQ(table[0], 0);
    EXPECT_EQ(table[128], 64);
    EXPECT_EQ(table[255], 255);
}

TEST(CurveGamma, ExponentsOutOfRangeAreRefused) {
    for (const double exponent :
         {0.0, -1.0, 10000.0, 1e300, std::numeric_limits<double>::infinity(),
          std::numeric_limits<double>::quiet_NaN()}) {
        Table table = blank(8);
        EXPECT_EQ(vor::ctab_gamma(table.data(), exponent, 8), -1);
        EXPECT_EQ(table, blank(8)) << exponent;
    }
}

TEST(CurveGamma, TableOfOneEntryIsZero) {
    Table table = blank(1);
    EXPECT_EQ(vor::ctab_gamma(table.data(), 2, 1), 0);
    EXPECT_EQ(table[0], 0);
}

TEST(CurvePoints, PercentagesStandAtTheirPositions) {
    const float points[] = {100, 90, 80, 70, 60, 55, 50, 45, 40, 35, 30, 20, 10, 5, 0};
    const int32_t positions[] = {0, 5, 10, 15, 20, 30, 40, 50, 60, 70, 80, 85, 90, 95, 100};
    Table table = blank(1001);
    EXPECT_EQ(vor::ctab_points(table.data(), points, 1001), 0);
    for (size_t i = 0; i < 15; ++i) {
        EXPECT_EQ(table[static_cast<size_t>(positions[i]) * 10], static_cast<int>(points[i] * 10));
    }
    EXPECT_EQ(table[25], 950); // halfway between two
}

TEST(CurvePoints, PositionsAreCutToEntries) {
    const float points[] = {0, 100, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    Table table = blank(256);
    EXPECT_EQ(vor::ctab_points(table.data(), points, 256), 0);
    EXPECT_EQ(table[12], 255); // 5 percent of 255 are 12.75
    EXPECT_LT(table[13], 255);
}

TEST(CurvePoints, SegmentsTooShortForTheTableAreLeftOut) {
    float points[15] = {};
    points[14] = 100;
    Table table = blank(1);
    EXPECT_EQ(vor::ctab_points(table.data(), points, 1), 0);
    EXPECT_EQ(table, blank(1));
    table = blank(5); // entries 0, 0, 0, 0, 0, 1, 1, 2, 2, 2, 3, 3, 3, 3, 4
    EXPECT_EQ(vor::ctab_points(table.data(), points, 5), 0);
    EXPECT_EQ(table, (Table{0, 0, 0, 0, 4}));
}

} // namespace
