#include "util/real_numbers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

#include "support/comma_locale.h"

namespace {

// The value with every bit, and how much of the text it took.
std::string shown(double value, const char *text, const char *end) {
    char digits[64];
    std::snprintf(digits, sizeof digits, "%a, %td used", value, end - text);
    return digits;
}

void expect_like_strtod(const std::string &text) {
    char *their_end = nullptr;
    const double theirs = std::strtod(text.c_str(), &their_end);
    const char *end = nullptr;
    const double ours = vor::text_to_double(text.c_str(), &end);
    ASSERT_EQ(shown(ours, text.c_str(), end), shown(theirs, text.c_str(), their_end)) << text;
}

// The test's process is in the "C" locale, as every process starts.
TEST(RealNumbers, AreReadAsStrtodReadsThem) {
    for (const char *text : {"",
                             " ",
                             "0",
                             "-0",
                             "+1",
                             "1.5",
                             ".5",
                             "5.",
                             ".",
                             "-",
                             "+-1",
                             "--1",
                             " \t\n\v\f\r2",
                             "1e3",
                             "1e",
                             "1e+",
                             "1e+x",
                             "1E-2",
                             "1e+-2",
                             "1,5",
                             "1x3",
                             "0x",
                             "0x10",
                             "0X.8p1",
                             "0x.p1",
                             "0x1p+-2",
                             "-0x1.8P3",
                             "inf",
                             "-INF",
                             "infinity",
                             "infinit",
                             "nan",
                             "NaN(12)",
                             "nan(",
                             "1e400",
                             "-1e400",
                             "1e-400",
                             "-1e-400",
                             "0x1p5000",
                             "0x1p-5000",
                             "4.9406564584124654e-324",
                             "2e-324",
                             "1.7976931348623157e308",
                             "1.7976931348623159e308",
                             "0.1",
                             "123456789012345678901234567890",
                             "0e999999999999",
                             "1e99999999999999999999",
                             "1e-99999999999999999999"})
        expect_like_strtod(text);
}

TEST(RealNumbers, OfAnyLengthAreReadAsStrtodReadsThem) {
    const std::string zeros(400, '0');
    expect_like_strtod("1" + zeros);
    expect_like_strtod("1" + zeros + "e-400");
    expect_like_strtod("0." + zeros + "1");
    expect_like_strtod("0." + zeros + "1e400");
    expect_like_strtod("0x" + zeros + "1p2");
    expect_like_strtod("0x1" + zeros);
    expect_like_strtod("0x0." + zeros + "1");
}

TEST(RealNumbers, MadeOfAnyPiecesAreReadAsStrtodReadsThem) {
    const char *const pieces[] = {"0", "1",  "9",         "5",        ".",        "e",    "E",
                                  "+", "-",  "x",         "p",        "a",        "inf",  "nan",
                                  "(", "b)", "0x",        " ",        "308",      "-324", "00000",
                                  ",", "_",  "4.94e-324", "1.79e308", "0x1p-1074"};
    std::mt19937 random(1);
    for (int i = 0; i < 200000 && !HasFatalFailure(); ++i) {
        std::string text;
        for (unsigned left = random() % 8; left > 0; --left)
            text += pieces[random() % std::size(pieces)];
        expect_like_strtod(text);
    }
}

TEST(RealNumbers, HaveAPointInEveryLocale) {
    const vor::test::CommaLocale comma;
    const char *end = nullptr;
    EXPECT_EQ(vor::text_to_double("1.5,2", &end), 1.5);
    EXPECT_STREQ(end, ",2");
}

TEST(RealNumbers, LeaveErrnoAlone) {
    errno = 0;
    EXPECT_EQ(vor::text_to_double("1e999", nullptr), HUGE_VAL);
    EXPECT_EQ(errno, 0);
}

// Quadratic time would take minutes.
TEST(RealNumbers, TakeTimeInProportionInALongList) {
    std::string list;
    for (int i = 0; i < 500000; ++i)
        list += "1 ";
    double sum = 0;
    const char *at = list.c_str();
    for (const char *end = nullptr; *at; at = end + 1) {
        sum += vor::text_to_double(at, &end);
        ASSERT_GT(end, at);
    }
    EXPECT_EQ(sum, 500000);
}

} // namespace
