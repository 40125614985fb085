#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <numbers>
#include <string>

#include "config/units.h"
#include "support/capture.h"
#include "support/comma_locale.h"
#include "units_fixture.h"

namespace {

using std::numbers::pi;

constexpr double beyond = 99990000000.0;

struct Row {
    const char *text;
    double value;
};

class UnitParse : public vor::test::UnitsTest {
protected:
    template <size_t N>
    static void expect_rows(const Row (&rows)[N], int32_t flags) {
        for (const Row &row : rows)
            EXPECT_DOUBLE_EQ(unit2mm(row.text, flags), row.value) << '"' << row.text << '"';
    }
};

TEST_F(UnitParse, LengthTakesItsUnit) {
    const Row rows[] = {{"1 inch", 25.4},     {"1inch", 25.4}, {"1   inch  ", 25.4},
                        {"  2.5cm", 25},      {"-3 mm", -3},   {"+3 mm", 3},
                        {".5m", 500},         {"1e2 mm", 100}, {"1E-2 cm", 0.1},
                        {"1 inch long", 25.4}};
    expect_rows(rows, UNIT_SIZE);
}

TEST_F(UnitParse, NumberWithoutAUnitTakesTheOneInForce) {
    initunits(UNIT_SIZE, "cm");
    initunits(UNIT_ADVANCE, "um");
    EXPECT_EQ(unit2mm("10", UNIT_SIZE), 100);
    EXPECT_EQ(unit2mm("10", UNIT_ADVANCE), 0.01);
    EXPECT_EQ(unit2mm("10", UNIT_MM), 10);
    for (const int32_t other : {int32_t{UNIT_SPEED}, 5, 6, 7})
        EXPECT_EQ(unit2mm("10", other), 100) << other;
}

TEST_F(UnitParse, UnknownUnitIsTakenForTheOneInForceQuietly) {
    initunits(UNIT_SIZE, "cm");
    const std::string written = vor::test::captured_stderr([] {
        EXPECT_EQ(unit2mm("10 feet", UNIT_SIZE), 100);
        EXPECT_EQ(unit2mm("10 MM", UNIT_SIZE), 100);
        EXPECT_EQ(unit2mm("10 mm/s", UNIT_MM), 10);
    });
    EXPECT_EQ(written, "");
}

TEST_F(UnitParse, NineteenCharactersOfAUnitCount) {
    EXPECT_EQ(unit2mm("1 cm12345678901234567", UNIT_SIZE), 1);
    EXPECT_EQ(unit2mm("1 cm                        ", UNIT_SIZE), 10);
}

TEST_F(UnitParse, SecondNumberIsAdded) {
    const Row rows[] = {{"2+3 mm", 5},        {"2-3mm", -1}, {"2 +3 cm", 50},  {"-2-3", -5},
                        {"1.5+.25 cm", 17.5}, {"2+", 2},     {"1e1-1e0 mm", 9}};
    expect_rows(rows, UNIT_SIZE);
}

TEST_F(UnitParse, SecondNumberWithABlankBehindItsSignIsLost) {
    EXPECT_EQ(unit2mm("2 + 3 cm", UNIT_SIZE), 2);
}

TEST_F(UnitParse, ThirdNumberIsAnUnknownUnit) {
    EXPECT_EQ(unit2mm("1+2+3cm", UNIT_SIZE), 3);
}

TEST_F(UnitParse, TextThatIsNoNumberIsZero) {
    for (const char *const text :
         {"abc", "", "   ", "cm", "inf", "nan", "-", "- 5", ".", "\\", "infinity mm"})
        EXPECT_EQ(unit2mm(text, UNIT_SIZE), 0) << text;
}

TEST_F(UnitParse, NumbersAreDecimal) {
    EXPECT_EQ(unit2mm("0x10", UNIT_SIZE), 0);
    EXPECT_EQ(unit2mm("010", UNIT_SIZE), 10);
    EXPECT_EQ(unit2mm("1.5.5 cm", UNIT_SIZE), 1.5) << "the second point starts a bad unit";
}

TEST_F(UnitParse, PointIsOneInEveryLocale) {
    const vor::test::CommaLocale locale;
    EXPECT_EQ(unit2mm("1.5 cm", UNIT_SIZE), 15);
    EXPECT_EQ(speed2rpm("1.5 1/s", 0), 90);
}

TEST_F(UnitParse, LinesPerUnitAreTheirDistance) {
    const Row rows[] = {{"50 1/cm", 0.2},   {"501/cm", 501},     {"4 1/", 0.25},
                        {"100 dpi", 0.254}, {"100 1/lpi", 2540}, {"0 1/cm", beyond},
                        {"0 dpi", beyond}};
    expect_rows(rows, UNIT_SIZE);
}

TEST_F(UnitParse, RasterOfLinesPerCentimetre) {
    initunits(UNIT_RASTER, "1/cm");
    const Row rows[] = {{"70", 70},       {"0.1 mm", 100},   {"150 lpi", 1500 / 25.4},
                        {"70 1/cm", 70},  {"7 1/mm", 70},    {"0.5 cm", 2},
                        {"0 cm", beyond}, {"0", 10 / beyond}};
    expect_rows(rows, UNIT_RASTER);
    EXPECT_NEAR(unit2mm("150 lpi", UNIT_RASTER), 59.055, 0.0002);
}

TEST_F(UnitParse, OneTypedWithoutAUnitTurnsARasterBack) {
    initunits(UNIT_RASTER, "1/cm");
    EXPECT_DOUBLE_EQ(unit2mm("0.5 1/", UNIT_RASTER), 2);
}

TEST_F(UnitParse, RasterOfLinesPerInch) {
    initunits(UNIT_RASTER, "lpi");
    const Row rows[] = {{"254", 100}, {"254 dpi", 100}, {"70 1/cm", 70}, {"0.1 mm", 100}};
    expect_rows(rows, UNIT_RASTER);
}

TEST_F(UnitParse, RasterShownWithoutOneIsADistance) {
    initunits(UNIT_RASTER, nullptr);
    EXPECT_DOUBLE_EQ(unit2mm("0.5", UNIT_RASTER), 2);
    EXPECT_DOUBLE_EQ(unit2mm("0.5 1/", UNIT_RASTER), 0.5);
}

TEST_F(UnitParse, NothingIsLessThanATenBillionth) {
    EXPECT_EQ(unit2mm("0.00000000009 1/mm", UNIT_SIZE), beyond);
    EXPECT_EQ(unit2mm("-0.00000000009 1/mm", UNIT_SIZE), beyond);
    EXPECT_DOUBLE_EQ(unit2mm("0.0000000002 1/mm", UNIT_SIZE), 5e9);
    EXPECT_DOUBLE_EQ(unit2mm("-0.0000000002 1/mm", UNIT_SIZE), -5e9);
    EXPECT_EQ(unit2mm("1-1 mm", UNIT_RASTER), beyond);
}

TEST_F(UnitParse, EachOfTwoNumbersIsTurnedAround) {
    EXPECT_DOUBLE_EQ(unit2mm("2+4 1/mm", UNIT_SIZE), 0.75);
}

TEST_F(UnitParse, DiameterIsBehindABackslash) {
    EXPECT_DOUBLE_EQ(unit2mm("\\100", UNIT_CIRCLE), 100 * pi);
    EXPECT_DOUBLE_EQ(unit2mm("  \\ 10 cm", UNIT_CIRCLE), 100 * pi);
    EXPECT_EQ(unit2mm("100", UNIT_CIRCLE), 100);
}

TEST_F(UnitParse, AdditionToTheRadiusOfACircle) {
    EXPECT_DOUBLE_EQ(unit2mm("100+1 mm", UNIT_CIRCLE), 100 + 2 * pi);
    EXPECT_DOUBLE_EQ(unit2mm("\\100-1 mm", UNIT_CIRCLE), 100 * pi - 2 * pi);
}

TEST_F(UnitParse, BackslashOutsideACircleIsSkipped) {
    EXPECT_EQ(unit2mm("\\100+1 mm", UNIT_SIZE), 101);
}

TEST_F(UnitParse, NumberInThePlaceOfATextTakesTheUnitInForce) {
    const double number = 25;
    initunits(UNIT_SIZE, "cm");
    initunits(UNIT_RASTER, "lpi");
    EXPECT_EQ(unit2mm(&number, UNIT_NUMBER | UNIT_SIZE), 250);
    EXPECT_EQ(unit2mm(&number, UNIT_NUMBER | UNIT_MM), 25);
    EXPECT_EQ(unit2mm(&number, UNIT_NUMBER | UNIT_CIRCLE | UNIT_SIZE), 250);
    EXPECT_DOUBLE_EQ(unit2mm(&number, UNIT_NUMBER | UNIT_RASTER), 250 / 25.4);
    char bytes[1 + sizeof number];
    std::memcpy(bytes + 1, &number, sizeof number);
    EXPECT_EQ(unit2mm(bytes + 1, UNIT_NUMBER | UNIT_MM), 25) << "not aligned";
}

TEST_F(UnitParse, PrintedTextReadsBack) {
    for (const char *const unit : {"um", "cm", "inch", "pica"}) {
        initunits(UNIT_SIZE, unit);
        char text[64];
        mm2unit(text, 12.5, 0, 12, UNIT_SIZE | UNIT_NAME);
        EXPECT_NEAR(unit2mm(text, UNIT_MM), 12.5, 1e-9) << text;
    }
    for (const char *const unit : {"1/cm", "inch", "lpi"}) {
        initunits(UNIT_RASTER, unit);
        char text[64];
        mm2unit(text, 70, 0, 12, UNIT_RASTER);
        EXPECT_NEAR(unit2mm(text, UNIT_RASTER), 70, 1e-9) << text;
    }
}

TEST(SkipNumber, StopsBehindTheNumberAndItsBlanks) {
    const struct {
        const char *text;
        const char *rest;
    } rows[] = {
        {"", ""},          {"12", ""},           {"12mm", "mm"}, {"  12  mm", "mm"}, {"+1.5x", "x"},
        {"-.5x", "x"},     {"5.x", "x"},         {"--5", "-5"},  {"1.2.3", ".3"},    {"..5", ".5"},
        {"mm", "mm"},      {"2+3", "+3"},        {"\t5", "\t5"}, {"5\tmm", "\tmm"},  {"1e5x", "x"},
        {"1 E -5 x", "x"}, {"1 E - 5 x", "5 x"}, {"1e+ x", "x"}, {"1em", "m"},       {"ex", "x"},
        {"1e5.5", ".5"},   {"1e5e5", "e5"},      {"0x10", "x10"}};
    for (const auto &row : rows)
        EXPECT_STREQ(skipnumber(row.text), row.rest) << row.text;
}

TEST_F(UnitParse, ExponentAfterABlankIsSkippedButDoesNotCount) {
    EXPECT_EQ(unit2mm("2 e3 cm", UNIT_SIZE), 20);
    EXPECT_EQ(unit2mm("2e cm", UNIT_SIZE), 20);
}

TEST_F(UnitParse, SpeedTakesItsUnit) {
    EXPECT_DOUBLE_EQ(speed2rpm("120 m/min", 1000), 120);
    EXPECT_DOUBLE_EQ(speed2rpm("120m/min", 500), 240);
    EXPECT_EQ(speed2rpm("2 1/s", 1000), 120);
    EXPECT_EQ(speed2rpm("  -2   rpm  ", 1000), -2);
    EXPECT_DOUBLE_EQ(speed2rpm("10 ips", 15240), 1);
}

TEST_F(UnitParse, SpeedWithoutACircumferenceIsOfOneMillimetre) {
    for (const double none : {0.0, -5.0, std::nan("")})
        EXPECT_EQ(speed2rpm("2 m/min", none), 2000);
}

TEST_F(UnitParse, SpeedWithoutAUnitTakesTheOneInForce) {
    initunits(UNIT_SPEED, "1/s");
    EXPECT_EQ(speed2rpm("2", 1000), 120);
    EXPECT_EQ(speed2rpm(" 2  ", 1000), 120);
    EXPECT_EQ(speed2rpm("", 1000), 0);
}

TEST_F(UnitParse, SpeedOfAnUnknownUnitIsPerMinuteQuietly) {
    initunits(UNIT_SPEED, "1/s");
    const std::string written = vor::test::captured_stderr([] {
        EXPECT_EQ(speed2rpm("2 knots", 1000), 2);
        EXPECT_EQ(speed2rpm("2 RPM", 1000), 2);
        EXPECT_EQ(speed2rpm("fast", 1000), 0);
    });
    EXPECT_EQ(written, "");
}

} // namespace
