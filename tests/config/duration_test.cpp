#include "config/rc.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "config/rc_fixture.h"

namespace {

using vor::test::Texts;

class Duration : public vor::test::RcTest {
protected:
    struct Row {
        const char *text;
        int32_t expected;
    };
    template <size_t count>
    void expect(const Row (&rows)[count]) {
        for (const Row &row : rows)
            EXPECT_EQ(rc_parsems(row.text), row.expected) << row.text;
        EXPECT_EQ(take_log(), Texts{});
    }
};

TEST_F(Duration, BareNumberIsInSeconds) {
    expect({{"5", 5000},
            {"1.5", 1500},
            {" 2", 2000},
            {"0", 0},
            {"1e2", 100000},
            {".0004", 0},
            {".0005", 1},
            {"", 0}});
}

TEST_F(Duration, UnitIsTheFirstCharacterBehindTheNumber) {
    expect({{"2h", 7200000},
            {"2H", 7200000},
            {"1.5h", 5400000},
            {"2m", 120000},
            {"2M", 120000},
            {"100ms", 6000000},
            {"2min", 120000},
            {"2s", 2000},
            {"2S", 2000},
            {"2sec", 2000},
            {"2000u", 2},
            {"1500U", 2},
            {"1499us", 1},
            {"1.5d", 129600000},
            {" 1d", 86400000},
            {"1.0D", 86400000}});
}

TEST_F(Duration, DaysInFrontAreAddedToAUnit) {
    expect({{"1+0d", 86400000},
            {"1d1d", 172800000},
            {"1d2h", 93600000},
            {"1D 2h", 93600000},
            {"1+ \t2h", 93600000},
            {"1d1m", 86460000},
            {"1d1s", 86401000},
            {"1+-1h", 82800000}});
}

TEST_F(Duration, DaysWithoutAUnitWeighTwentyFourSeconds) {
    expect({{"1d", 24000}, {"1+", 24000}, {"2d5", 53000}, {"24d", 576000}, {"010d", 240000}});
}

TEST_F(Duration, NoDigitsInFrontAreNoDays) {
    expect({{"d", 0},
            {"+", 0},
            {"+5", 5000},
            {"d5", 5000},
            {"+5h", 18000000},
            {"D2u", 0},
            {"d2000u", 2}});
}

TEST_F(Duration, MoreThanTwentyFourDaysAreTooMany) {
    expect({{"24+0h", -1},
            {"23+0d", 1987200000},
            {"25d", -1},
            {"25+0s", -1},
            {"25d1:30", -1},
            {"99999999999999999999d", -1}});
}

TEST_F(Duration, MicrosecondsGoWithNoDays) {
    expect({{"1d5u", -1}, {"1+5000000u", -1}, {"0d5000u", 5}});
}

TEST_F(Duration, ClockTimeIsMinutesAndSeconds) {
    expect({{"1:30", 90000},
            {"0:0", 0},
            {"23:59", 1439000},
            {"01:08", 68000},
            {"1: 30", 90000},
            {" 1:30", 90000},
            {"1:30x", 90000},
            {"1:30.9", 90000}});
}

TEST_F(Duration, ThirdFieldWeighsAsMuchAsTheSecond) {
    expect({{"1:30:15", 105000}, {"0:0:59", 59000}, {"23:59:59", 1498000}});
}

TEST_F(Duration, ThirdFieldMayHaveAFraction) {
    expect({{"0:0:1.5", 1500},
            {"0:0:1.0005", 1001},
            {"0:0:1.0004", 1000},
            {"0:0:1.", 1000},
            {"0:0:1.x", 1000},
            {"0:0:1,5", 1000}});
}

TEST_F(Duration, ClockFieldsHaveTheirRange) {
    expect({{"24:00", -1},
            {"23:60", -1},
            {"0:0:60", -1},
            {"-1:30", -1},
            {"-1:90", -1},
            {"99999999999:0", -1},
            {"0:99999999999", -1},
            {"0:-5", -1},
            {"0:0:.5e9", -1}});
}

TEST_F(Duration, ClockTimeOfTheWrongFormIsNone) {
    expect({{"1:2:3:4", -1},
            {"::", -1},
            {":", -1},
            {"1:", -1},
            {":30", -1},
            {"1:30:", -1},
            {"1::30", -1},
            {"1x:30", -1},
            {"1:30x:15", -1},
            {"1.5:30", -1},
            {"1h:30", -1}});
}

TEST_F(Duration, DaysInFrontOfAClockTimeAreIgnored) {
    expect({{"1d1:30", 90000}, {"24+1:30:15", 105000}, {"+1:30", 90000}});
}

TEST_F(Duration, LimitIsAppliedAfterRounding) {
    expect({{"1999999", 1999999000},
            {"1999999.999", 1999999999},
            {"2000000", -1},
            {"2000000000u", 2000000},
            {"1e300", -1},
            {"1e999", -1},
            {"nan", -1},
            {"inf", -1}});
}

TEST_F(Duration, NegativeDurationIsNone) {
    expect({{"-1", -1}, {"-0.0004", 0}, {"-0.001", -1}, {"-1h", -1}, {"1+-2d", -1}, {"-1u", 0}});
}

TEST_F(Duration, TextBehindTheNumberIsLoggedAndIgnored) {
    struct Fault {
        const char *text;
        int32_t expected;
        const char *rest;
    };
    constexpr Fault rows[] = {{"5x", 5000, "x"},   {"5 s", 5000, " s"}, {"1d5 h", 29000, " h"},
                              {"abc", 0, "abc"},   {"5,5", 5000, ",5"}, {"1e", 1000, "e"},
                              {"1d x", 24000, "x"}};
    for (const Fault &row : rows) {
        EXPECT_EQ(rc_parsems(row.text), row.expected) << row.text;
        EXPECT_EQ(take_log(), (Texts{"[Warning]: parse_dur: bad unit '" + std::string(row.rest) +
                                     "' (ignored)"}));
    }
}

} // namespace
