#include "util/numbers.h"

#include <gtest/gtest.h>

#include <cctype>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace {

TEST(SaturatingInt, DropsTheFraction) {
    struct Row {
        double value;
        int32_t result;
    };
    constexpr Row rows[] = {{0, 0},
                            {1.9, 1},
                            {-1.9, -1},
                            {2147483647.0, INT32_MAX},
                            {0.999, 0},
                            {-0.999, 0},
                            {-2147483648.0, INT32_MIN}};
    for (const Row &row : rows)
        EXPECT_EQ(vor::saturating_int(row.value), row.result) << row.value;
}

TEST(SaturatingInt, StopsAtTheEndsOfTheRange) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(vor::saturating_int(2147483647.5), INT32_MAX);
    EXPECT_EQ(vor::saturating_int(1e300), INT32_MAX);
    EXPECT_EQ(vor::saturating_int(infinity), INT32_MAX);
    EXPECT_EQ(vor::saturating_int(-2147483648.5), INT32_MIN);
    EXPECT_EQ(vor::saturating_int(-infinity), INT32_MIN);
}

TEST(SaturatingInt, NanIsZero) {
    EXPECT_EQ(vor::saturating_int(std::nan("")), 0);
}

TEST(TextToInt32, StopsWhereStrtolStops) {
    for (const char *text : {"12", "12x", " \t\n\v\f\r12", "-7 ", "+7", "+-7", "", "  ", "x",
                             "0x1F", "0x", "0xg", "017", "08", "1.5", "ff", "-", "0", "z"})
        for (const int base : {0, 8, 10, 16, 36}) {
            char *expected_end = nullptr;
            const long expected = std::strtol(text, &expected_end, base);
            const char *end = nullptr;
            EXPECT_EQ(vor::text_to_int32(text, &end, base), expected) << text << " base " << base;
            EXPECT_EQ(end, expected_end) << text << " base " << base;
        }
}

// Some C libraries take a "0b" for a prefix in base 0, and others do not.
TEST(TextToInt32, KnowsNoBinaryPrefix) {
    for (const char *text : {"0b11", " -0B1", "+0b"}) {
        const char *end = nullptr;
        EXPECT_EQ(vor::text_to_int32(text, &end, 0), 0) << text;
        EXPECT_TRUE(*end == 'b' || *end == 'B') << text;
    }
    EXPECT_EQ(vor::text_to_int32("0b11", nullptr, 16), 0xb11);
}

TEST(TextToInt32, SaturatesAt32Bits) {
    struct Row {
        const char *text;
        int32_t value;
    };
    constexpr Row rows[] = {
        {"2147483647", INT32_MAX},           {"2147483648", INT32_MAX},
        {"99999999999999999999", INT32_MAX}, {"-2147483648", INT32_MIN},
        {"-2147483649", INT32_MIN},          {"-99999999999999999999", INT32_MIN},
        {"0xFFFFFFFF", INT32_MAX},
    };
    for (const Row &row : rows) {
        const char *end = nullptr;
        EXPECT_EQ(vor::text_to_int32(row.text, &end, 0), row.value) << row.text;
        EXPECT_EQ(*end, 0) << row.text;
    }
}

TEST(TextToInt32, EndMayBeLeftOut) {
    EXPECT_EQ(vor::text_to_int32("12", nullptr, 10), 12);
}

TEST(CharacterTests, AreThoseOfAsciiForEveryByte) {
    for (int c = 0; c <= UCHAR_MAX; ++c) {
        const char as_char = static_cast<char>(c);
        const bool ascii = c < 128;
        EXPECT_EQ(vor::is_digit(as_char), ascii && std::isdigit(c)) << c;
        EXPECT_EQ(vor::is_upper(as_char), ascii && std::isupper(c)) << c;
        EXPECT_EQ(vor::is_lower(as_char), ascii && std::islower(c)) << c;
        EXPECT_EQ(vor::is_letter(as_char), ascii && std::isalpha(c)) << c;
        EXPECT_EQ(vor::is_alphanumeric(as_char), ascii && std::isalnum(c)) << c;
        EXPECT_EQ(vor::is_space(as_char), ascii && std::isspace(c)) << c;
        EXPECT_EQ(vor::is_blank(as_char), c == ' ' || c == '\t') << c;
        EXPECT_EQ(vor::to_lower(as_char), static_cast<char>(ascii ? std::tolower(c) : c)) << c;
        EXPECT_EQ(vor::to_upper(as_char), static_cast<char>(ascii ? std::toupper(c) : c)) << c;
    }
}

TEST(EqualIgnoringCase, LooksAtAsciiLettersAlone) {
    EXPECT_TRUE(vor::equal_ignoring_case("", ""));
    EXPECT_TRUE(vor::equal_ignoring_case("aBc1", "AbC1"));
    EXPECT_FALSE(vor::equal_ignoring_case("abc", "ab"));
    EXPECT_FALSE(vor::equal_ignoring_case("ab", "abc"));
    EXPECT_FALSE(vor::equal_ignoring_case("[", "{")); // 32 apart, as letters are
    EXPECT_FALSE(vor::equal_ignoring_case("\xC4", "\xE4"));
}

} // namespace
