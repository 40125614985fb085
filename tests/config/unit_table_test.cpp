#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "config/units.h"
#include "units_fixture.h"

namespace {

class UnitTable : public vor::test::UnitsTest {};

using Names = std::vector<std::string>;

Names names_of(int32_t kind) {
    const char *names[64];
    const int32_t count = get_unames(names, 64, kind);
    EXPECT_EQ(names[count], nullptr);
    return Names(names, names + count);
}

const Names lengths = {"um", "mm", "cm",   "dm", "m",  "nm",    "inch", "in",     "mil",
                       "bp", "pt", "pica", "pc", "sp", "didot", "dd",   "cicero", "cc"};
const Names rasters = {"dpi", "lpi"};
const Names speeds = {"1/min", "u/min", "rpm", "1/s", "m/min", "m/s", "cm/s", "inch/s", "ips"};

TEST_F(UnitTable, LengthsHaveEighteenNames) {
    EXPECT_EQ(get_unames(nullptr, 0, UNIT_SIZE), 18);
    EXPECT_EQ(names_of(UNIT_SIZE), lengths);
    EXPECT_EQ(names_of(UNIT_ADVANCE), lengths);
}

TEST_F(UnitTable, RastersHaveTheNamesThatAreForThemAlone) {
    EXPECT_EQ(names_of(UNIT_RASTER), rasters);
}

TEST_F(UnitTable, SpeedsHaveNineNames) {
    EXPECT_EQ(names_of(UNIT_SPEED), speeds);
}

TEST_F(UnitTable, OtherKindsHaveNoNamesAndAreNotMasked) {
    for (const int32_t kind : {-1, 4, 7, 8, 9, INT32_MIN, INT32_MAX}) {
        const char *names[] = {"before"};
        EXPECT_EQ(get_unames(names, 1, kind), 0) << kind;
        EXPECT_EQ(names[0], nullptr) << kind;
        EXPECT_EQ(get_unames(nullptr, 100, kind), 0) << kind;
    }
}

TEST_F(UnitTable, NamesStopWhereTheRoomEnds) {
    const char *const untouched = "untouched";
    const char *names[] = {untouched, untouched, untouched};
    EXPECT_EQ(get_unames(names, 2, UNIT_SIZE), 2);
    EXPECT_STREQ(names[1], "mm");
    EXPECT_EQ(names[2], untouched);
    for (const int32_t none : {0, -1}) {
        names[0] = untouched;
        EXPECT_EQ(get_unames(names, none, UNIT_SIZE), 0);
        EXPECT_EQ(names[0], untouched);
    }
}

TEST_F(UnitTable, ListThatJustFitsIsNotClosed) {
    const char *const untouched = "untouched";
    const char *names[] = {untouched, untouched, untouched};
    EXPECT_EQ(get_unames(names, 2, UNIT_RASTER), 2);
    EXPECT_STREQ(names[1], "lpi");
    EXPECT_EQ(names[2], untouched);
    EXPECT_EQ(get_unames(names, 3, UNIT_RASTER), 2);
    EXPECT_EQ(names[2], nullptr);
}

TEST_F(UnitTable, CountHasNoLimit) {
    EXPECT_EQ(get_unames(nullptr, 1, UNIT_SIZE), 18);
    EXPECT_EQ(get_unames(nullptr, -1, UNIT_SPEED), 9);
}

TEST_F(UnitTable, LengthsAreExact) {
    const struct {
        const char *unit;
        double millimetres;
    } rows[] = {{"um", 0.001},
                {"mm", 1},
                {"cm", 10},
                {"dm", 100},
                {"m", 1000},
                {"nm", 0.000001},
                {"inch", 25.4},
                {"in", 25.4},
                {"mil", 0.0254},
                {"bp", 0.35277777777777775},
                {"pt", 0.35145980351459805},
                {"pica", 4.217517642175176},
                {"pc", 4.217517642175176},
                {"sp", 5.362851005776948e-06},
                {"didot", 0.37606502744258635},
                {"dd", 0.37606502744258635},
                {"cicero", 4.5127803293110365},
                {"cc", 4.5127803293110365}};
    for (const auto &row : rows) {
        const std::string text = std::string("1") + row.unit;
        EXPECT_DOUBLE_EQ(unit2mm(text.c_str(), UNIT_SIZE), row.millimetres) << row.unit;
        EXPECT_EQ(initunits(UNIT_ADVANCE, row.unit), 0) << row.unit;
        EXPECT_DOUBLE_EQ(mm2unit(nullptr, row.millimetres, -1, -1, UNIT_ADVANCE), 1) << row.unit;
    }
}

TEST_F(UnitTable, SpeedsAreExact) {
    const struct {
        const char *unit;
        double of_axis;           // rpm of 1 unit without a circumference
        double of_circumference2; // and with one of 2 mm
    } rows[] = {{"1/min", 1, 1},    {"u/min", 1, 1},       {"rpm", 1, 1},
                {"1/s", 60, 60},    {"m/min", 1000, 500},  {"m/s", 60000, 30000},
                {"cm/s", 600, 300}, {"inch/s", 1524, 762}, {"ips", 1524, 762}};
    for (const auto &row : rows) {
        const std::string text = std::string("1 ") + row.unit;
        EXPECT_DOUBLE_EQ(speed2rpm(text.c_str(), 0), row.of_axis) << row.unit;
        EXPECT_DOUBLE_EQ(speed2rpm(text.c_str(), 2), row.of_circumference2) << row.unit;
        EXPECT_EQ(initunits(UNIT_SPEED, row.unit), 0);
        EXPECT_DOUBLE_EQ(rpm2speed(nullptr, 0, row.of_axis, -1, -1, UNIT_SPEED), 1) << row.unit;
    }
}

TEST_F(UnitTable, InchFamilyAloneIsImperial) {
    for (const std::string &name : lengths) {
        const bool is_inch = &name >= &lengths[6];
        EXPECT_EQ(initunits(UNIT_SIZE, name.c_str()), 0);
        EXPECT_EQ(isimperial(), is_inch ? 1 : 0) << name;
    }
}

} // namespace
