#include <gtest/gtest.h>

#include <string>

#include "colour/curve_item.h"
#include "support/comma_locale.h"

namespace {

using vor::CurveForm;
using vor::CurveItem;
using vor::parse_curve_item;

std::string keyword(const char *text) {
    const vor::CurveKeyword *const found = vor::ctab_keyword(text);
    return found ? found->name : "";
}

TEST(CurveKeyword, NamesAndTheirBeginnings) {
    const struct {
        const char *text;
        const char *name;
    } rows[] = {
        {"normal", "normal"},
        {"standard", "standard"},
        {"positive", "positive"},
        {"invert", "invert"},
        {"negative", "negative"},
        {"reverse", "reverse"},
        {"light", "light"},
        {"dim", "dim"},
        {"bright", "bright"},
        {"brite", "brite"},
        {"neg", "negative"},
        {"r", "reverse"},
        {"l", "light"},
        {"d", "dim"},
        {"no", "normal"},
        {"i", "invert"},
        {"s", "standard"},
        {"p", "positive"},
        {"brig", "bright"},
        {"n", ""},
        {"bri", ""},
        {"b", ""},
        {"", ""},
        {"x", ""},
        {"lights", ""},
        {"light2", ""},
        {"Light", ""},
        {"light.crv", "light"},
        {"light,dim", "light"},
        {"d/file", "dim"},
        {"light file", "light"},
        {".light", ""},
        {"\xE4light", ""},
        {"light\xE4", "light"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(keyword(row.text), row.name) << row.text;
}

TEST(CurveItemForm, KeywordsAreRampsOrGammas) {
    for (const char *const text : {"normal", "standard", "positive"}) {
        const CurveItem item = parse_curve_item(text, 100);
        EXPECT_EQ(item.form, CurveForm::linear) << text;
        EXPECT_EQ(item.low, 0);
        EXPECT_EQ(item.high, 99);
    }
    for (const char *const text : {"invert", "negative", "reverse"}) {
        const CurveItem item = parse_curve_item(text, 100);
        EXPECT_EQ(item.form, CurveForm::linear) << text;
        EXPECT_EQ(item.low, 99);
        EXPECT_EQ(item.high, 0);
    }
    for (const char *const text : {"light", "dim"}) {
        const CurveItem item = parse_curve_item(text, 100);
        EXPECT_EQ(item.form, CurveForm::gamma) << text;
        EXPECT_NEAR(item.exponent, 0.899999976158142, 1e-15);
    }
    for (const char *const text : {"bright", "brite"}) {
        const CurveItem item = parse_curve_item(text, 100);
        EXPECT_EQ(item.form, CurveForm::gamma) << text;
        EXPECT_NEAR(item.exponent, 1.10000002384186, 1e-14);
    }
}

TEST(CurveItemForm, GammaHasOneNumberOrTwo) {
    const struct {
        const char *text;
        double exponent;
    } rows[] = {
        {"@2", 2},      {"@0.5", 0.5}, {"@1:2", 0.5}, {"@1:0", 1}, {"@3:-2", 3}, {"@ 2", 2},
        {"@2: 4", 0.5}, {"@2:x", 2},   {"@2 :4", 2},  {"@-1", -1}, {"@2x", 2},   {"@1e1", 10},
    };
    for (const auto &row : rows) {
        const CurveItem item = parse_curve_item(row.text, 256);
        EXPECT_EQ(item.form, CurveForm::gamma) << row.text;
        EXPECT_DOUBLE_EQ(item.exponent, row.exponent) << row.text;
        EXPECT_EQ(item.from, 0);
        EXPECT_EQ(item.to, 255);
    }
}

TEST(CurveItemForm, FifteenNumbersAreResponsePoints) {
    const CurveItem item = parse_curve_item("0:1.5:2:3:4:5:6:7:8:9:10:11:12:-13:1e2:77", 256);
    ASSERT_EQ(item.form, CurveForm::points);
    EXPECT_EQ(item.points[1], 1.5F);
    EXPECT_EQ(item.points[13], -13.0F);
    EXPECT_EQ(item.points[14], 100.0F);
}

TEST(CurveItemForm, ResponsePointBeyondSingleRangeIsTheLargest) {
    const CurveItem item = parse_curve_item("1e300:0:0:0:0:0:0:0:0:0:0:0:0:0:-1e300", 256);
    ASSERT_EQ(item.form, CurveForm::points);
    EXPECT_GT(item.points[0], 1e38F);
    EXPECT_LT(item.points[14], -1e38F);
}

struct IntegerRow {
    const char *text;
    CurveForm form;
    int32_t from, to, first, second; // the value, the steps, or low and high
};

TEST(CurveItemForm, IntegersTellByTheirSeparatorsAndNumber) {
    const IntegerRow rows[] = {
        {"100:200=50", CurveForm::constant, 100, 200, 50, 0},
        {"0x10:010=-3", CurveForm::constant, 16, 8, -3, 0},
        {"100: 200= 50", CurveForm::constant, 100, 200, 50, 0},
        {"0:255:4", CurveForm::steps, 0, 255, 4, 0},
        {"0:255:-4", CurveForm::steps, 0, 255, -4, 0},
        {"0:255:4:", CurveForm::steps, 0, 255, 4, 0},
        {"0:255:4 :5", CurveForm::steps, 0, 255, 4, 0},
        {"-5:0xFF:4", CurveForm::steps, -5, 255, 4, 0},
        {"50:200:0:255", CurveForm::linear, 50, 200, 0, 255},
        {"50:200:0:255:9", CurveForm::linear, 50, 200, 0, 255},
        {"0:1:2:3:4:5:6:7:8:9:10:11:12:13", CurveForm::linear, 0, 1, 2, 3},
        {"0:99999999999:2=3", CurveForm::steps, 0, INT32_MAX, 2, 0},
        {"-99999999999:1=2", CurveForm::constant, INT32_MIN, 1, 2, 0},
    };
    for (const IntegerRow &row : rows) {
        const CurveItem item = parse_curve_item(row.text, 256);
        EXPECT_EQ(item.form, row.form) << row.text;
        EXPECT_EQ(item.from, row.from) << row.text;
        EXPECT_EQ(item.to, row.to) << row.text;
        const bool ramp = row.form == CurveForm::linear;
        const int32_t first = row.form == CurveForm::constant ? item.value
                              : ramp                          ? item.low
                                                              : item.steps;
        EXPECT_EQ(first, row.first) << row.text;
        EXPECT_EQ(ramp ? item.high : 0, row.second) << row.text;
    }
}

TEST(CurveItemForm, AnythingElseIsAFileOfTheWholeTable) {
    for (const char *const text : {"n", "curve.crv", "\"a b\"", "1:2", "1:2=", "1 :2:3", "1.5:2:3",
                                   "@", "@x", "12", ":", "", "%", "1:2;3"}) {
        const CurveItem item = parse_curve_item(text, 256);
        EXPECT_EQ(item.form, CurveForm::file) << text;
        EXPECT_EQ(item.from, 0) << text;
        EXPECT_EQ(item.to, 255) << text;
    }
}

TEST(CurveItemPrefix, TildeClearsFillAndEqualsReplaces) {
    const struct {
        const char *text;
        bool fill, absolute;
        const char *rest;
    } rows[] = {
        {"invert", true, false, "invert"},
        {"~invert", false, false, "invert"},
        {"=invert", true, true, "invert"},
        {"~=invert", false, true, "invert"},
        {"=~invert", false, true, "invert"},
        {"~~==~x", false, true, "x"},
        {"~", false, false, ""},
        {"~ x", false, false, " x"},
    };
    for (const auto &row : rows) {
        const CurveItem item = parse_curve_item(row.text, 256);
        EXPECT_EQ(item.fill, row.fill) << row.text;
        EXPECT_EQ(item.absolute, row.absolute) << row.text;
        EXPECT_STREQ(item.text, row.rest);
    }
}

TEST(CurveItemPrefix, StandsBeforeEveryForm) {
    EXPECT_EQ(parse_curve_item("~=@2", 256).form, CurveForm::gamma);
    EXPECT_EQ(parse_curve_item("=1:2=3", 256).form, CurveForm::constant);
    EXPECT_EQ(parse_curve_item("~1:2:3:4", 256).form, CurveForm::linear);
}

TEST(CurveItemEnd, ItemEndsAtASeparatorAndQuotesHoldSeparators) {
    const struct {
        const char *text;
        const char *rest;
    } rows[] = {
        {"a b", " b"},
        {"a\tb", "\tb"},
        {"a,b", ",b"},
        {"a", ""},
        {"a;b\nc d", " d"},
        {"'a, b',c", ",c"},
        {"\"a ' b\"x,c", ",c"},
        {"\"a b", ""},
        {"a'b c'", " c'"},
        {",a", ",a"},
        {"", ""},
    };
    for (const auto &row : rows)
        EXPECT_STREQ(vor::skip_curve_item(row.text), row.rest) << row.text;
    EXPECT_STREQ(vor::skip_curve_separators(" \t,, a ,"), "a ,");
}

TEST(CurveItemForm, NumbersHaveAPointInEveryLocale) {
    const vor::test::CommaLocale locale;
    EXPECT_DOUBLE_EQ(parse_curve_item("@1.5", 256).exponent, 1.5);
    EXPECT_DOUBLE_EQ(parse_curve_item("@1,5", 256).exponent, 1);
}

} // namespace
