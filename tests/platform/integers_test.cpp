#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

#include "platform/kel.h"

namespace {

struct SignedRow {
    const char *text;
    int32_t base;
    int64_t value;
    int used;
};

void expect_signed(const SignedRow &row) {
    const char *end = nullptr;
    EXPECT_EQ(kel_strtoll(row.text, &end, row.base), row.value) << row.text << " base " << row.base;
    EXPECT_EQ(end - row.text, row.used) << row.text << " base " << row.base;
}

TEST(ParseInteger, ReadsDigitsUpToTheBase) {
    constexpr SignedRow rows[] = {
        {"123", 10, 123, 3},
        {"12a", 10, 12, 2},
        {"-45;", 10, -45, 3},
        {"+7", 10, 7, 2},
        {"1012", 2, 5, 3},
        {"ff", 16, 255, 2},
        {"FfG", 16, 255, 2},
        {"zZ", 36, 1295, 2},
        {"", 10, 0, 0},
        {"x", 10, 0, 0},
        {"789", 8, 7, 1},
        {"0010", 10, 10, 4},
        {"\xC4" // beyond ASCII
         "1",
         36, 0, 0},
    };
    for (const SignedRow &row : rows)
        expect_signed(row);
}

TEST(ParseInteger, BlanksEndTheNumberAtItsStart) {
    expect_signed({"  12", 10, 0, 0});
    expect_signed({"\t12", 0, 0, 0});
}

TEST(ParseInteger, BaseZeroTakesThePrefix) {
    constexpr SignedRow rows[] = {
        {"0x1F", 0, 31, 4}, {"0X1f", 0, 31, 4},   {"017", 0, 15, 3}, {"19", 0, 19, 2},
        {"0", 0, 0, 1},     {"-0x10", 0, -16, 5}, {"08", 0, 0, 1},   {"00x1", 0, 0, 2},
    };
    for (const SignedRow &row : rows)
        expect_signed(row);
}

TEST(ParseInteger, LoneHexadecimalPrefixCountsAsUsed) {
    expect_signed({"0x", 0, 0, 2});
    expect_signed({"0xg", 0, 0, 2});
    expect_signed({"-0X", 0, 0, 3});
}

TEST(ParseInteger, BaseSixteenKnowsNoPrefix) {
    expect_signed({"0x1F", 16, 0, 1});
}

TEST(ParseInteger, BadBaseUsesNothing) {
    for (const int32_t base : {-1, 1, 37, INT32_MIN, INT32_MAX})
        expect_signed({"+11", base, 0, 0});
}

TEST(ParseInteger, OneSignAlone) {
    expect_signed({"-", 10, 0, 1});
    expect_signed({"+-5", 10, 0, 1});
    expect_signed({"--5", 10, 0, 1});
}

TEST(ParseInteger, OverflowWrapsAround) {
    constexpr SignedRow rows[] = {
        {"9223372036854775807", 10, INT64_MAX, 19},  {"9223372036854775808", 10, INT64_MIN, 19},
        {"-9223372036854775808", 10, INT64_MIN, 20}, {"18446744073709551616", 10, 0, 20},
        {"18446744073709551617", 10, 1, 20},         {"-18446744073709551615", 10, 1, 21},
    };
    for (const SignedRow &row : rows)
        expect_signed(row);
}

TEST(ParseInteger, EndMayBeLeftOut) {
    EXPECT_EQ(kel_strtoll("12", nullptr, 10), 12);
    EXPECT_EQ(kel_strtoull("12", nullptr, 10), 12u);
    EXPECT_EQ(kel_strtoll("12", nullptr, 1), 0);
}

TEST(ParseUnsigned, TakesAPlusButNoMinus) {
    struct Row {
        const char *text;
        int32_t base;
        uint64_t value;
        int used;
    };
    constexpr Row rows[] = {
        {"+12", 10, 12, 3},
        {"-12", 10, 0, 0},
        {"18446744073709551615", 10, UINT64_MAX, 20},
        {"18446744073709551616", 10, 0, 20},
        {"0xFFFFFFFFFFFFFFFF", 0, UINT64_MAX, 18},
        {" 1", 10, 0, 0},
        {"11", 1, 0, 0},
        {"0x", 0, 0, 2},
    };
    for (const Row &row : rows) {
        const char *end = nullptr;
        EXPECT_EQ(kel_strtoull(row.text, &end, row.base), row.value) << row.text;
        EXPECT_EQ(end - row.text, row.used) << row.text;
    }
}

TEST(Nint, RoundsHalvesAwayFromZero) {
    struct Row {
        double value;
        int64_t rounded;
    };
    constexpr Row rows[] = {
        {2.5, 3},
        {-2.5, -3},
        {0, 0},
        {-0.0, 0},
        {0.4, 0},
        {-0.4, 0},
        {0.5, 1},
        {-0.5, -1},
        {1.49, 1},
        {-1.51, -2},
        {1e15, 1000000000000000},
        {-3.0, -3},
    };
    for (const Row &row : rows)
        EXPECT_EQ(nint(row.value), row.rounded) << row.value;
}

TEST(Nint, SaturatesAndTakesNanForZero) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(nint(1e30), INT64_MAX);
    EXPECT_EQ(nint(-1e30), INT64_MIN);
    EXPECT_EQ(nint(9223372036854775808.0), INT64_MAX);
    EXPECT_EQ(nint(-9223372036854775808.0), INT64_MIN);
    EXPECT_EQ(nint(infinity), INT64_MAX);
    EXPECT_EQ(nint(-infinity), INT64_MIN);
    EXPECT_EQ(nint(std::nan("")), 0);
}

} // namespace
