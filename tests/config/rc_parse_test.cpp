#include "config/rc.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

#include "config/rc_fixture.h"
#include "support/comma_locale.h"

namespace {

using vor::test::Texts;

class RcParse : public vor::test::RcTest {
protected:
    static Texts bad_number(const std::string &rest) {
        return {"[Warning]: parse number: invalid unit: " + rest + " (ignored)"};
    }
    static Texts assumed_ppt(const std::string &text) {
        return {"[Warning]: parse scaled: " + text + ": no unit, assume PPT"};
    }
    static std::string ignored_unit(const std::string &rest) {
        return "[Warning]: parse scaled: ignoring bad unit: " + rest;
    }
};

struct IntegerRow {
    const char *text;
    int32_t expected;
};

struct RealRow {
    const char *text;
    double expected;
};

TEST_F(RcParse, IntegerIsADigitBehindBlanksAndASign) {
    for (const char *const text : {"0", "9", " 1", "\t 1", "+1", "-1", " -1x", "1e5", "1.5"})
        EXPECT_EQ(rc_testint(text), 1) << text;
    for (const char *const text :
         {"", " ", "abc", ".5", "+", "--1", "+ 1", "\n1", "-.5", "$1", "x1", "\xB2"})
        EXPECT_EQ(rc_testint(text), 0) << text;
}

TEST_F(RcParse, RealIsADigitBehindBlanksASignAndAPoint) {
    for (const char *const text : {"0", " 1", "\t 1", "+1", "-.5", ".5", " +.0", "0x1", "1,5"})
        EXPECT_EQ(rc_testdouble(text), 1) << text;
    for (const char *const text :
         {"", " ", ".", "abc", "inf", "nan", "..5", "+ 1", "-", ".-1", "\n1", ",5"})
        EXPECT_EQ(rc_testdouble(text), 0) << text;
}

TEST_F(RcParse, SwitchIsAWordOrANumber) {
    constexpr IntegerRow rows[] = {
        {"On", 1},
        {"on", 1},
        {"TRUE", 1},
        {"true", 1},
        {"t", 1},
        {"T", 1},
        {"yes", 1},
        {" \tYES", 1},
        {"on!", 1},
        {"yes no", 1},
        {"t.", 1},
        {"on-line", 1},
        {"yes1", 0},
        {"y", 0},
        {"off", 0},
        {"no", 0},
        {"tr", 0},
        {"truely", 0},
        {"onx", 0},
        {"t1", 0},
        {"false", 0},
        {"f", 0},
        {"yes_", 1},
        {"3", 3},
        {"2", 2},
        {"-1", 0},
        {"0", 0},
        {"", 0},
        {" ", 0},
        {"0x10", 16},
        {"010", 8},
        {"+4", 4},
        {"!", 0},
        {"12abc", 12},
        {"4294967296", INT32_MAX},
        {"-4294967296", 0},
        {"99999999999999999999", INT32_MAX},
    };
    for (const IntegerRow &row : rows)
        EXPECT_EQ(rc_parsebool(row.text), row.expected) << row.text;
    EXPECT_EQ(take_log(), Texts{}) << "no text draws a message";
}

TEST_F(RcParse, IntegerHasABaseAndAMultiplier) {
    constexpr IntegerRow rows[] = {
        {"10", 10},
        {"10K", 10000},
        {"10k", 10000},
        {"3M", 3000000},
        {"1G", 1000000000},
        {"0x10", 16},
        {"0X1fK", 31000},
        {"010", 8},
        {"-7", -7},
        {" \t+7", 7},
        {"-2K", -2000},
        {"10KB", 10000},
        {"2147483647", INT32_MAX},
        {"-2147483648", INT32_MIN},
    };
    for (const IntegerRow &row : rows)
        EXPECT_EQ(rc_parseinteger(row.text), row.expected) << row.text;
    EXPECT_EQ(take_log(), Texts{});
}

TEST_F(RcParse, ProductWrapsAndTheNumberDoesNot) {
    EXPECT_EQ(rc_parseinteger("3G"), -1294967296);
    EXPECT_EQ(rc_parseinteger("4294968K"), 704);
    EXPECT_EQ(rc_parseinteger("2147483648"), INT32_MAX);
    EXPECT_EQ(rc_parseinteger("99999999999999999999"), INT32_MAX);
    EXPECT_EQ(rc_parseinteger("-99999999999999999999"), INT32_MIN);
}

TEST_F(RcParse, TextBehindAnIntegerIsLoggedAndIgnored) {
    struct Row {
        const char *text;
        int32_t expected;
        const char *rest;
    };
    constexpr Row rows[] = {{"12abc", 12, "abc"}, {"5 K", 5, " K"},   {"5m", 5, "m"},
                            {"5g", 5, "g"},       {"1.5K", 1, ".5K"}, {"08", 0, "8"},
                            {"0x", 0, "x"},       {"abc", 0, "abc"}};
    for (const Row &row : rows) {
        EXPECT_EQ(rc_parseinteger(row.text), row.expected) << row.text;
        EXPECT_EQ(take_log(), bad_number(row.rest));
    }
}

TEST_F(RcParse, LongTextIsLoggedShortened) {
    const std::string rest(5000, 'x');
    EXPECT_EQ(rc_parseinteger(("1" + rest).c_str()), 1);
    EXPECT_EQ(take_log(), bad_number(rest.substr(0, 1023)));
}

TEST_F(RcParse, IntegerIsHeldWithinItsLimits) {
    EXPECT_EQ(rc_parseintval("0", 1, 30000), 1);
    EXPECT_EQ(rc_parseintval("40000", 1, 30000), 30000);
    EXPECT_EQ(rc_parseintval("40K", 1, 30000), 30000);
    EXPECT_EQ(rc_parseintval("1", 1, 30000), 1);
    EXPECT_EQ(rc_parseintval("30000", 1, 30000), 30000);
    EXPECT_EQ(rc_parseintval("-5", -4, 4), -4);
}

TEST_F(RcParse, LimitsThatDoNotRiseDoNotHold) {
    EXPECT_EQ(rc_parseintval("7", 5, 5), 7);
    EXPECT_EQ(rc_parseintval("7", 9, 8), 7);
    EXPECT_EQ(rc_parseintval("7", 0, 0), 7);
    EXPECT_EQ(rc_parsevalue("7", 5, 5), 7);
    EXPECT_EQ(rc_parsevalue("7", 9, 8), 7);
}

TEST_F(RcParse, RealHasAUnit) {
    constexpr RealRow rows[] = {
        {"5", 5},        {"-2.5", -2.5},   {" \t+.5", .5},  {"5m", 0.005},    {"5M", 5e6},
        {"50%", 0.5},    {"2ppt", 0.002},  {"2PPT", 0.002}, {"2pPt", 0.002},  {"2ppm", 2e-6},
        {"2Ppm", 2e-6},  {"2ppt!", 0.002}, {"2ppm ", 2e-6}, {"2pptx", 2e-12}, {"2ppm1", 2e-12},
        {"2PPTx", 2e15}, {"2p", 2e-12},    {"2P", 2e15},    {"2T", 2e12},     {"2f", 2e-15},
        {"2n", 2e-9},    {"2u", 2e-6},     {"2K", 2000},    {"2k", 2000},     {"2G", 2e9},
        {"1e3", 1000},   {"1.5e-3K", 1.5}, {"1E2%", 1},     {"0x10", 16},     {"5%%", 0.05},
        {"5mm", 0.005},
    };
    for (const RealRow &row : rows)
        EXPECT_DOUBLE_EQ(rc_parsedouble(row.text), row.expected) << row.text;
    EXPECT_EQ(take_log(), Texts{});
}

TEST_F(RcParse, TextBehindARealIsLoggedAndIgnored) {
    struct Row {
        const char *text;
        double expected;
        const char *rest;
    };
    constexpr Row rows[] = {{"5 m", 5, " m"}, {"5x", 5, "x"},    {"5t", 5, "t"},
                            {"5U", 5, "U"},   {"1e", 1, "e"},    {"1.2.3", 1.2, ".3"},
                            {"1,5", 1, ",5"}, {"abc", 0, "abc"}, {"5g", 5, "g"},
                            {"5 %", 5, " %"}};
    for (const Row &row : rows) {
        EXPECT_DOUBLE_EQ(rc_parsedouble(row.text), row.expected) << row.text;
        EXPECT_EQ(take_log(), bad_number(row.rest));
    }
}

TEST_F(RcParse, RealIsHeldWithinItsLimits) {
    EXPECT_EQ(rc_parsevalue("50", 100, 30000), 100);
    EXPECT_EQ(rc_parsevalue("50K", 100, 30000), 30000);
    EXPECT_EQ(rc_parsevalue("2.5K", 100, 30000), 2500);
    EXPECT_EQ(rc_parsevalue("1e999", 0, 1), 1);
    EXPECT_EQ(rc_parsevalue("nan", 0, 1), 0);
    EXPECT_TRUE(std::isinf(rc_parsedouble("1e999")));
}

TEST_F(RcParse, ProportionWithAUnit) {
    struct Row {
        const char *text;
        int32_t ppt;
        int32_t ppm;
    };
    constexpr Row rows[] = {
        {"50%", 500, 500000},    {"2ppm", 0, 2},         {"2ppt", 2, 2000},
        {"2.5PPT", 3, 2500},     {"500PPM", 1, 500},     {"499ppm", 0, 499},
        {"-50%", -500, -500000}, {"-2.5ppt", -3, -2500}, {"100%%", 1000, 1000000},
        {"2pptx", 2, 2000},      {"2ppmx", 0, 2},        {"0%", 0, 0},
    };
    for (const Row &row : rows) {
        EXPECT_EQ(rc_parseppt(row.text), row.ppt) << row.text;
        EXPECT_EQ(rc_parseppm(row.text), row.ppm) << row.text;
    }
    EXPECT_EQ(take_log(), Texts{});
}

TEST_F(RcParse, ProportionWithAPointIsAPercentage) {
    EXPECT_EQ(rc_parseppt("1.5"), 15);
    EXPECT_EQ(rc_parseppt("2."), 20);
    EXPECT_EQ(rc_parseppt("-.5"), -5);
    EXPECT_EQ(rc_parseppm("1.5"), 15000);
    EXPECT_EQ(take_log(), Texts{}) << "in silence";
}

TEST_F(RcParse, ProportionWithoutAPointCountsThousandths) {
    EXPECT_EQ(rc_parseppt("20"), 20);
    EXPECT_EQ(take_log(), assumed_ppt("20"));
    EXPECT_EQ(rc_parseppm("20"), 20000);
    EXPECT_EQ(take_log(), assumed_ppt("20"));
    EXPECT_EQ(rc_parseppt("2e1"), 20);
    EXPECT_EQ(take_log(), assumed_ppt("2e1"));
    EXPECT_EQ(rc_parseppt(""), 0);
    EXPECT_EQ(take_log(), assumed_ppt(""));
}

TEST_F(RcParse, BadUnitOfAProportionIsLoggedAndIgnored) {
    EXPECT_EQ(rc_parseppt("20x"), 20);
    EXPECT_EQ(take_log(), (Texts{ignored_unit("x"), assumed_ppt("20x")[0]}));
    EXPECT_EQ(rc_parseppt("1.5 %"), 15);
    EXPECT_EQ(take_log(), (Texts{ignored_unit(" %")}));
    EXPECT_EQ(rc_parseppt("2x.5"), 2) << "a point in the unit is none of the number's";
    EXPECT_EQ(take_log(), (Texts{ignored_unit("x.5"), assumed_ppt("2x.5")[0]}));
}

TEST_F(RcParse, ProportionIsHeldWithinAThousandMillions) {
    EXPECT_EQ(rc_parseppt("1e9ppt"), 1000000000);
    EXPECT_EQ(rc_parseppt("999999999ppt"), 999999999);
    EXPECT_EQ(rc_parseppt("1e300%"), 1000000000);
    EXPECT_EQ(rc_parseppm("-1e300%"), -1000000000);
    EXPECT_EQ(rc_parseppm("1e999%"), 1000000000);
    EXPECT_EQ(rc_parseppt("nan%"), 0);
}

TEST_F(RcParse, NumbersReadTheSameWithADecimalComma) {
    const vor::test::CommaLocale comma;
    EXPECT_EQ(rc_parsedouble("1.5K"), 1500);
    EXPECT_EQ(rc_parseppt("1.5"), 15);
    EXPECT_EQ(rc_parsems("1.5"), 1500);
    EXPECT_EQ(rc_parsems("0:0:1.5"), 1500);
    EXPECT_EQ(rc_parsedouble("1,5"), 1);
    EXPECT_EQ(take_log(), bad_number(",5"));
}

} // namespace
