#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <string>

#include "config/units.h"
#include "support/comma_locale.h"
#include "units_fixture.h"

namespace {

std::string printed(double value, int32_t width, int32_t decimals, int32_t flags) {
    char text[4096] = "untouched";
    mm2unit(text, value, width, decimals, flags);
    return text;
}

class UnitPrint : public vor::test::UnitsTest {
protected:
    static void set_format(int32_t width, int32_t decimals) {
        const unit_format_t format = {width, decimals};
        initunits(UNIT_FORMAT, &format);
    }
};

TEST_F(UnitPrint, LengthIsDividedByItsUnit) {
    initunits(UNIT_SIZE, "cm");
    initunits(UNIT_ADVANCE, "um");
    EXPECT_EQ(mm2unit(nullptr, 25, -1, -1, UNIT_SIZE), 2.5);
    EXPECT_DOUBLE_EQ(mm2unit(nullptr, 25, -1, -1, UNIT_ADVANCE), 25000);
}

TEST_F(UnitPrint, RasterIsShownInLinesPerUnit) {
    const struct {
        const char *unit;
        double lines;
    } rows[] = {{"1/cm", 70}, {"mm", 7}, {"inch", 177.8}, {"lpi", 177.8}, {"dpi", 177.8}};
    for (const auto &row : rows) {
        initunits(UNIT_RASTER, row.unit);
        EXPECT_DOUBLE_EQ(mm2unit(nullptr, 70, -1, -1, UNIT_RASTER), row.lines) << row.unit;
    }
}

TEST_F(UnitPrint, SpeedIsNotShownByTheCallForLengths) {
    EXPECT_EQ(mm2unit(nullptr, 25, -1, -1, UNIT_SPEED), 0);
    EXPECT_EQ(printed(25, -1, -1, UNIT_SPEED | UNIT_NAME), "untouched");
}

TEST_F(UnitPrint, OtherKindsHaveNeitherUnitNorName) {
    initunits(UNIT_SIZE, "cm");
    for (int32_t kind = 4; kind < 8; ++kind) {
        EXPECT_EQ(mm2unit(nullptr, 25, -1, -1, kind), 25) << kind;
        EXPECT_EQ(printed(25, 0, 1, kind | UNIT_NAME), "25.0") << kind;
    }
}

TEST_F(UnitPrint, NameFollowsAtOnce) {
    initunits(UNIT_RASTER, "lpi");
    EXPECT_EQ(printed(1.5, 6, 2, UNIT_SIZE | UNIT_NAME), "  1.50mm");
    EXPECT_EQ(printed(10, 0, 1, UNIT_RASTER | UNIT_NAME), "25.4lpi");
    EXPECT_EQ(printed(1, 0, 0, UNIT_ADVANCE | UNIT_NAME), "1mm");
}

TEST_F(UnitPrint, NegativeWidthAndDecimalsTakeTheFormat) {
    set_format(8, 2);
    EXPECT_EQ(printed(1.5, -1, -1, UNIT_SIZE), "    1.50");
    EXPECT_EQ(printed(1.5, INT32_MIN, 1, UNIT_SIZE), "     1.5");
    EXPECT_EQ(printed(1.5, 5, INT32_MIN, UNIT_SIZE), " 1.50");
    EXPECT_EQ(printed(1.5, 0, 0, UNIT_SIZE), "2");
}

TEST_F(UnitPrint, NumberWiderThanItsFieldIsPrintedWhole) {
    EXPECT_EQ(printed(123456.75, 4, 2, UNIT_SIZE), "123456.75");
}

TEST_F(UnitPrint, AlignedPointStandsWhereItDoesForAllDecimals) {
    EXPECT_EQ(printed(1.5, -1, 3, UNIT_SIZE | UNIT_ALIGN), "       1.500");
    EXPECT_EQ(printed(1.5, -1, 2, UNIT_SIZE | UNIT_ALIGN), "       1.50 ");
    EXPECT_EQ(printed(1.5, -1, 1, UNIT_SIZE | UNIT_ALIGN), "       1.5  ");
    EXPECT_EQ(printed(3, -1, 0, UNIT_SIZE | UNIT_ALIGN), "       3    ") << "and the point";
}

TEST_F(UnitPrint, AlignedNumberTakesTheWidthOfTheFormat) {
    EXPECT_EQ(printed(1.5, 30, 1, UNIT_SIZE | UNIT_ALIGN), "       1.5  ");
}

TEST_F(UnitPrint, AlignmentIsDroppedWhereNoDecimalsAreMissing) {
    EXPECT_EQ(printed(1.5, 6, 3, UNIT_SIZE | UNIT_ALIGN), " 1.500");
    EXPECT_EQ(printed(1.5, 8, 5, UNIT_SIZE | UNIT_ALIGN), " 1.50000");
    EXPECT_EQ(printed(1.5, 6, -1, UNIT_SIZE | UNIT_ALIGN), " 1.500");
    set_format(12, 0);
    EXPECT_EQ(printed(3, 4, 0, UNIT_SIZE | UNIT_ALIGN), "   3") << "no point to stand in for";
}

TEST_F(UnitPrint, NameFollowsTheBlanksOfAnAlignedNumber) {
    EXPECT_EQ(printed(1.5, -1, 1, UNIT_SIZE | UNIT_ALIGN | UNIT_NAME), "       1.5  mm");
}

TEST_F(UnitPrint, PointIsOneInEveryLocale) {
    const vor::test::CommaLocale locale;
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", 1.5);
    ASSERT_STREQ(text, "1,5");
    EXPECT_EQ(printed(1.5, 5, 2, UNIT_SIZE), " 1.50");
}

TEST_F(UnitPrint, NumbersLookAsPrintfMakesThem) {
    const double values[] = {0,
                             -0.0,
                             0.5,
                             1.5,
                             2.5,
                             -2.675,
                             0.125,
                             1e-300,
                             5e-324,
                             -123456789.987654321,
                             1e15,
                             1.7976931348623157e308,
                             std::numeric_limits<double>::infinity(),
                             -std::numeric_limits<double>::infinity(),
                             std::nan("")};
    for (const double value : values) {
        for (const int32_t decimals : {0, 1, 2, 3, 17, 1074, 1080, 1500}) {
            for (const int32_t width : {0, 1, 12, 400}) {
                char expected[4096];
                std::snprintf(expected, sizeof expected, "%*.*f", width, decimals, value);
                EXPECT_EQ(printed(value, width, decimals, UNIT_SIZE), expected);
            }
        }
    }
}

TEST_F(UnitPrint, NegativeFormatCountsAsItDoesForPrintf) {
    set_format(-8, -1);
    EXPECT_EQ(printed(1.5, -1, 2, UNIT_SIZE | UNIT_NAME), "1.50    mm");
    EXPECT_EQ(printed(1.5, 0, -1, UNIT_SIZE), "1.500000");
    set_format(2, 6);
    EXPECT_EQ(printed(1.5, -1, 1, UNIT_SIZE | UNIT_ALIGN), "1.5     ") << "a field of -3";
}

TEST_F(UnitPrint, SpeedOfTheAxisIsDividedByItsUnit) {
    initunits(UNIT_SPEED, "1/s");
    EXPECT_EQ(rpm2speed(nullptr, 1000, 120, -1, -1, UNIT_SPEED), 2);
}

TEST_F(UnitPrint, SpeedOfTheSurfaceTakesTheCircumference) {
    initunits(UNIT_SPEED, "m/min");
    EXPECT_DOUBLE_EQ(rpm2speed(nullptr, 1000, 120, -1, -1, UNIT_SPEED), 120);
    EXPECT_DOUBLE_EQ(rpm2speed(nullptr, 500, 120, -1, -1, UNIT_SPEED), 60);
    for (const double none : {0.0, -1000.0, std::nan("")})
        EXPECT_DOUBLE_EQ(rpm2speed(nullptr, none, 120, -1, -1, UNIT_SPEED), 0.12);
}

TEST_F(UnitPrint, SpeedIsPrintedLikeALength) {
    char text[32];
    initunits(UNIT_SPEED, "m/s");
    rpm2speed(text, 1000, 120, 6, 1, UNIT_SPEED | UNIT_NAME);
    EXPECT_STREQ(text, "   2.0m/s");
    rpm2speed(text, 1000, 120, -1, 1, UNIT_SPEED | UNIT_NAME | UNIT_ALIGN);
    EXPECT_STREQ(text, "       2.0  m/s");
    rpm2speed(text, 1000, 120, -1, -1, UNIT_SPEED);
    EXPECT_STREQ(text, "       2.000");
}

} // namespace
