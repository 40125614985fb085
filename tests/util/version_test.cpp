#include <gtest/gtest.h>

#include <cstring>
#include <ctime>
#include <string>

#include "util/services.h"

namespace {

TEST(Version, IsSixPointZero) {
    EXPECT_STREQ(KEL_libversion, "6.0");
}

// Reads the date back by hand and has the C library write it again: the same text must come out.
TEST(Version, DateIsAPointInTimeInTheFormOfAsctime) {
    const std::string date = KEL_date_libversion;
    ASSERT_EQ(date.size(), 24u);
    char month[4] = {};
    std::tm t = {};
    ASSERT_EQ(std::sscanf(date.c_str() + 4, "%3s %d %d:%d:%d %d", month, &t.tm_mday, &t.tm_hour,
                          &t.tm_min, &t.tm_sec, &t.tm_year),
              6);
    constexpr char months[] = "JanFebMarAprMayJunJulAugSepOctNovDec";
    const char *const found = std::strstr(months, month);
    ASSERT_NE(found, nullptr);
    t.tm_mon = static_cast<int>(found - months) / 3;
    t.tm_year -= 1900;
    t.tm_isdst = -1;
    const std::time_t when = std::mktime(&t);
    ASSERT_NE(when, -1);
    EXPECT_EQ(date + "\n", std::asctime(&t));
    EXPECT_LE(when,
              std::time(nullptr) + 24 * 60 * 60); // the build may have run in another time zone
}

} // namespace
