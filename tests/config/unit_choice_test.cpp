#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "config/units.h"
#include "support/capture.h"
#include "units_fixture.h"

namespace {

using vor::test::captured_stderr;

class UnitChoice : public vor::test::UnitsTest {
protected:
    // What initunits gives, and what it writes.
    int32_t choose(int32_t kind, const char *name) {
        int32_t result = 0;
        written_ = captured_stderr([&] { result = initunits(kind, name); });
        return result;
    }
    std::string written_;
};

// Without the fixture, which would choose first.
TEST(UnitStart, UnitsAndFormatBeforeAnyChoice) {
    const std::string text = std::string(unitname(UNIT_SIZE)) + " " + unitname(UNIT_RASTER) + " " +
                             unitname(UNIT_SPEED) + " " + unitname(UNIT_ADVANCE);
    EXPECT_EQ(text, "mm 1/cm 1/min mm");
    char number[32];
    EXPECT_EQ(mm2unit(number, 2.5, -1, -1, UNIT_SIZE), 2.5);
    EXPECT_STREQ(number, "       2.500");
    EXPECT_EQ(mm2unit(nullptr, 70, -1, -1, UNIT_RASTER), 70);
    EXPECT_EQ(rpm2speed(nullptr, 1000, 90, -1, -1, UNIT_SPEED), 90);
    EXPECT_EQ(isimperial(), 0);
}

TEST_F(UnitChoice, KindOutOfRangeFails) {
    for (const int32_t kind : {4, 5, 6, 7, 12, -2, -3, -4}) {
        EXPECT_EQ(choose(kind, "cm"), -1) << kind;
        EXPECT_EQ(choose(kind, nullptr), -1) << kind;
        EXPECT_EQ(written_, "");
    }
    EXPECT_STREQ(unitname(UNIT_SIZE), "mm");
}

TEST_F(UnitChoice, LowThreeBitsOfTheKindCount) {
    EXPECT_EQ(choose(UNIT_SIZE | UNIT_ALIGN | 8, "cm"), 0);
    EXPECT_STREQ(unitname(UNIT_SIZE), "cm");
    EXPECT_EQ(choose(-8 | UNIT_ADVANCE, "um"), 0);
    EXPECT_STREQ(unitname(UNIT_ADVANCE), "um");
}

TEST_F(UnitChoice, NameOfNoKindIsEmpty) {
    for (const int32_t kind : {-1, 4, 8, 9, INT32_MIN, INT32_MAX})
        EXPECT_STREQ(unitname(kind), "") << kind;
}

TEST_F(UnitChoice, KindsAreChosenApart) {
    EXPECT_EQ(choose(UNIT_SIZE, "cm"), 0);
    EXPECT_EQ(choose(UNIT_ADVANCE, "um"), 0);
    EXPECT_EQ(choose(UNIT_RASTER, "inch"), 0);
    EXPECT_EQ(choose(UNIT_SPEED, "m/s"), 0);
    EXPECT_STREQ(unitname(UNIT_SIZE), "cm");
    EXPECT_STREQ(unitname(UNIT_ADVANCE), "um");
    EXPECT_STREQ(unitname(UNIT_RASTER), "1/inch");
    EXPECT_STREQ(unitname(UNIT_SPEED), "m/s");
}

TEST_F(UnitChoice, InchGivesInches) {
    EXPECT_EQ(choose(UNIT_SIZE, "inch"), 0);
    EXPECT_EQ(mm2unit(nullptr, 25.4, -1, -1, UNIT_SIZE), 1);
    EXPECT_EQ(isimperial(), 1);
    EXPECT_EQ(resetscale(3), 4);
}

TEST_F(UnitChoice, RasterNameOfLinesPerInchStandsWithoutOne) {
    EXPECT_EQ(choose(UNIT_RASTER, "lpi"), 0);
    EXPECT_STREQ(unitname(UNIT_RASTER), "lpi");
    EXPECT_EQ(choose(UNIT_RASTER, "1/dpi"), 0);
    EXPECT_STREQ(unitname(UNIT_RASTER), "dpi");
    EXPECT_EQ(written_, "");
}

TEST_F(UnitChoice, RasterNameOfALengthGetsOneInFront) {
    for (const char *const name : {"cm", "1/cm"}) {
        EXPECT_EQ(choose(UNIT_RASTER, name), 0);
        EXPECT_STREQ(unitname(UNIT_RASTER), "1/cm");
        EXPECT_EQ(written_, "");
    }
}

TEST_F(UnitChoice, RasterWithoutANameIsACentimetreAndNotLinesPerOne) {
    EXPECT_EQ(choose(UNIT_RASTER, nullptr), 1);
    EXPECT_STREQ(unitname(UNIT_RASTER), "cm");
    EXPECT_EQ(written_, "");
    EXPECT_DOUBLE_EQ(unit2mm("2", UNIT_RASTER), 0.5) << "lines 2 cm apart";
    EXPECT_EQ(mm2unit(nullptr, 70, -1, -1, UNIT_RASTER), 70) << "shown as ever";
}

TEST_F(UnitChoice, UnknownRasterIsACentimetreWithAWarning) {
    EXPECT_EQ(choose(UNIT_RASTER, "1/foot"), 1);
    EXPECT_EQ(written_, "(warning) unit name '1/foot' unknown; scaling 1:1 [cm]!\n");
    EXPECT_STREQ(unitname(UNIT_RASTER), "cm");
}

TEST_F(UnitChoice, LengthWithoutANameIsTheMillimetre) {
    for (const int32_t kind : {UNIT_SIZE, UNIT_ADVANCE}) {
        EXPECT_EQ(choose(kind, "cm"), 0);
        EXPECT_EQ(choose(kind, nullptr), 1);
        EXPECT_STREQ(unitname(kind), "mm");
        EXPECT_EQ(written_, "");
    }
}

TEST_F(UnitChoice, UnknownLengthIsTheMillimetreWithAWarning) {
    for (const int32_t kind : {UNIT_SIZE, UNIT_ADVANCE}) {
        EXPECT_EQ(choose(kind, "cm"), 0);
        EXPECT_EQ(choose(kind, "MM"), 1) << "case counts";
        EXPECT_EQ(written_, "(warning) unit name 'MM' unknown; scaling 1:1 [mm]!\n");
        EXPECT_STREQ(unitname(kind), "mm");
    }
    EXPECT_EQ(choose(UNIT_SIZE, ""), 1);
    EXPECT_EQ(written_, "(warning) unit name '' unknown; scaling 1:1 [mm]!\n");
}

TEST_F(UnitChoice, LengthOfDotsPerInchDrawsBothWarnings) {
    EXPECT_EQ(choose(UNIT_SIZE, "dpi"), 1);
    EXPECT_EQ(written_, "(warning) unit name '/dpi' for raster, only\n"
                        "(warning) unit name 'dpi' unknown; scaling 1:1 [mm]!\n");
    EXPECT_STREQ(unitname(UNIT_SIZE), "mm");
}

TEST_F(UnitChoice, SlashOfTheTableIsNoPartOfAName) {
    EXPECT_EQ(choose(UNIT_SIZE, "/dpi"), 1);
    EXPECT_EQ(written_, "(warning) unit name '/dpi' unknown; scaling 1:1 [mm]!\n");
    EXPECT_EQ(choose(UNIT_RASTER, "/dpi"), 1);
    EXPECT_EQ(written_, "(warning) unit name '1//dpi' unknown; scaling 1:1 [cm]!\n");
}

TEST_F(UnitChoice, OneBeforeALengthIsDroppedWithAWarning) {
    for (const int32_t kind : {UNIT_SIZE, UNIT_ADVANCE}) {
        EXPECT_EQ(choose(kind, "1/cm"), 0);
        EXPECT_EQ(written_, "'1/' part for size scaling ignored\n");
        EXPECT_STREQ(unitname(kind), "cm");
    }
}

TEST_F(UnitChoice, NameEndsAtTheFirstBlankOrControlCharacter) {
    for (const char *const name : {"cm", "cm and more", "cm\t", "cm\n"}) {
        EXPECT_EQ(choose(UNIT_SIZE, name), 0);
        EXPECT_STREQ(unitname(UNIT_SIZE), "cm");
    }
    EXPECT_EQ(choose(UNIT_SIZE, " cm"), 1) << "a blank in front leaves nothing";
    EXPECT_EQ(choose(UNIT_SIZE, "cm\xC3\xA4"), 1) << "a letter beyond ASCII is no end";
}

TEST_F(UnitChoice, NineteenCharactersOfANameCount) {
    EXPECT_EQ(choose(UNIT_RASTER, "1/1234567890123456789cut"), 1);
    EXPECT_EQ(written_, "(warning) unit name '1/1234567890123456789' unknown; scaling 1:1 [cm]!\n");
    EXPECT_STREQ(unitname(UNIT_RASTER), "cm");
    EXPECT_STREQ(unitname(UNIT_SPEED), "1/min") << "the next kind's name is left alone";
    EXPECT_STREQ(unitname(UNIT_ADVANCE), "mm");
}

TEST_F(UnitChoice, SpeedWithoutANameIsTheFirstAndNoDefault) {
    EXPECT_EQ(choose(UNIT_SPEED, "m/s"), 0);
    EXPECT_EQ(choose(UNIT_SPEED, nullptr), 0);
    EXPECT_STREQ(unitname(UNIT_SPEED), "1/min");
    EXPECT_EQ(written_, "");
}

TEST_F(UnitChoice, UnknownSpeedIsTheFirstWithAWarning) {
    for (const char *const name : {"knots", "", "RPM", "m/s ", "1/"}) {
        EXPECT_EQ(choose(UNIT_SPEED, "m/s"), 0);
        EXPECT_EQ(choose(UNIT_SPEED, name), 1);
        EXPECT_EQ(written_, "illegal SPEEDMODE=" + std::string(name) + ", using 1/min !\n");
        EXPECT_STREQ(unitname(UNIT_SPEED), "1/min");
    }
}

TEST_F(UnitChoice, FormatIsTakenAndItsWidthGiven) {
    const unit_format_t format = {20, 1};
    EXPECT_EQ(initunits(UNIT_FORMAT, &format), 20);
    char text[32];
    mm2unit(text, 2.25, -1, -1, UNIT_SIZE);
    EXPECT_STREQ(text, "                 2.2");
}

TEST_F(UnitChoice, FormatOfNoneSuitsTheUnitInForce) {
    const unit_format_t format = {5, 1};
    initunits(UNIT_FORMAT, &format);
    initunits(UNIT_SIZE, "inch");
    EXPECT_EQ(initunits(UNIT_FORMAT, nullptr), 12);
    char text[32];
    mm2unit(text, 25.4, -1, -1, UNIT_SIZE);
    EXPECT_STREQ(text, "      1.0000");
}

TEST_F(UnitChoice, DecimalsSuitTheUnitOfSize) {
    const struct {
        const char *unit;
        int32_t decimals;
    } rows[] = {{"nm", 0}, {"sp", 0},   {"um", 0}, {"mil", 1}, {"bp", 3},   {"pt", 3}, {"dd", 3},
                {"mm", 3}, {"pica", 4}, {"cc", 4}, {"cm", 4},  {"inch", 4}, {"dm", 5}, {"m", 6}};
    for (const auto &row : rows) {
        initunits(UNIT_SIZE, row.unit);
        EXPECT_EQ(resetscale(3), row.decimals) << row.unit;
    }
}

TEST_F(UnitChoice, DecimalsAreNeverBelowZeroAndStayInRange) {
    initunits(UNIT_SIZE, "um");
    EXPECT_EQ(resetscale(5), 2);
    EXPECT_EQ(resetscale(0), 0);
    EXPECT_EQ(resetscale(INT32_MIN), 0);
    initunits(UNIT_SIZE, "m");
    EXPECT_EQ(resetscale(-2), 1);
    EXPECT_EQ(resetscale(INT32_MAX), INT32_MAX);
}

TEST_F(UnitChoice, DecimalsChangeNothing) {
    resetscale(9);
    char text[32];
    mm2unit(text, 1, -1, -1, UNIT_SIZE);
    EXPECT_STREQ(text, "       1.000");
}

} // namespace
