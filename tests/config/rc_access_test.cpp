#include "config/rc.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "config/rc_fixture.h"
#include "config/units.h"
#include "support/comma_locale.h"

namespace {

using vor::test::ScopedEnv;
using vor::test::Texts;

class RcAccess : public vor::test::RcTest {
protected:
    ~RcAccess() override { initunits(UNIT_SIZE, "mm"); }

    void set(const std::string &text) { ASSERT_EQ(read(text + "\n", RCF_WARN), 0); }
    void set_nothing() { set("# nothing"); }
    static Texts unset(const std::string &text, const std::string &level = "Warning") {
        return {"[" + level + "]: " + text};
    }
};

constexpr const char *fallback = "default";

// ---- warnings ----

TEST_F(RcAccess, WarningsAreSwitchedAndAskedFor) {
    EXPECT_EQ(rc_warn(-1), 0);
    EXPECT_EQ(rc_warn(1), 0);
    EXPECT_EQ(rc_warn(-7), 1);
    EXPECT_EQ(rc_warn(5), 1);
    EXPECT_EQ(rc_warn(0), 1);
    EXPECT_EQ(rc_warn(-1), 0);
    set_nothing();
    EXPECT_EQ(rc_warn(-1), 1) << "a reading sets them by its flag";
    ASSERT_EQ(read("A=1\n"), 0);
    EXPECT_EQ(rc_warn(-1), 0);
}

TEST_F(RcAccess, DefaultsAreSilentWithoutWarnings) {
    ASSERT_EQ(read("BAD=abc\n"), 0);
    EXPECT_STREQ(rc_string("X", fallback), fallback);
    EXPECT_EQ(rc_boolean("X", 1), 1);
    EXPECT_EQ(rc_integer("BAD", 2), 2);
    EXPECT_EQ(rc_length("X", 3), 3);
    EXPECT_EQ(rc_nthms("X", 1, 4), 4);
    EXPECT_EQ(take_log(), Texts{});
}

TEST_F(RcAccess, WarningsAreGivenOfTheEnvironmentToo) {
    rc_warn(1);
    EXPECT_EQ(rc_integer("VOR_TEST_KEY", 2), 2);
    EXPECT_EQ(take_log(), unset("VOR_TEST_KEY unset, using 2"));
    const ScopedEnv variable("VOR_TEST_KEY", "7");
    EXPECT_EQ(rc_integer("VOR_TEST_KEY", 2), 7);
    EXPECT_EQ(rc_nthinteger("VOR_TEST_KEY", 0, 2), 7);
    const ScopedEnv indexed("VOR_TEST_KEY.3", "8");
    EXPECT_EQ(rc_nthinteger("VOR_TEST_KEY", 3, 2), 8);
    EXPECT_EQ(take_log(), Texts{});
}

// ---- texts ----

TEST_F(RcAccess, TextIsThatOfTheTable) {
    set("A= b c \nE=");
    EXPECT_STREQ(rc_string("A", fallback), "b c");
    EXPECT_STREQ(rc_string("E", fallback), "");
    EXPECT_STREQ(rc_strval("E"), "");
    EXPECT_STREQ(rc_nthstring("A", 0, fallback), "b c");
    EXPECT_EQ(take_log(), Texts{});
}

TEST_F(RcAccess, UnsetTextIsLoggedUnlessItHasNoDefault) {
    set_nothing();
    EXPECT_EQ(rc_string("A", fallback), fallback) << "the very text";
    EXPECT_EQ(take_log(), unset("A unset, using default"));
    EXPECT_STREQ(rc_nthstring("A", 3, fallback), fallback);
    EXPECT_EQ(take_log(), unset("A.3 unset, using default"));
    EXPECT_EQ(rc_string("A", nullptr), nullptr);
    EXPECT_EQ(rc_nthstring("A", 3, nullptr), nullptr);
    EXPECT_EQ(rc_strval("A"), nullptr);
    EXPECT_EQ(take_log(), Texts{});
}

TEST_F(RcAccess, LongTextsAreLoggedShortened) {
    set_nothing();
    const std::string text(5000, 'x');
    EXPECT_EQ(rc_string(text.c_str(), text.c_str()), text);
    const std::string shown = text.substr(0, 1023);
    EXPECT_EQ(take_log(), unset(shown + " unset, using " + shown));
}

// ---- indexed keys ----

TEST_F(RcAccess, IndexZeroFallsBackOnThePlainKey) {
    set("X=1\nY=1\nY.0=2\nZ.1=3");
    EXPECT_EQ(rc_nthinteger("X", 0, 9), 1);
    EXPECT_EQ(rc_nthinteger("Y", 0, 9), 2) << "the indexed key comes first";
    EXPECT_EQ(rc_nthinteger("Z", 1, 9), 3);
    EXPECT_EQ(take_log(), Texts{});
}

TEST_F(RcAccess, OtherIndexesDoNotFallBack) {
    set("X=1");
    EXPECT_EQ(rc_nthinteger("X", 1, 9), 9);
    EXPECT_EQ(rc_nthinteger("X", -1, 9), 9);
    EXPECT_EQ(take_log(),
              (Texts{"[Warning]: X.1 unset, using 9", "[Warning]: X.-1 unset, using 9"}));
}

TEST_F(RcAccess, IndexMayBeAnyNumber) {
    set("X.-2147483648=1\nX.2147483647=2");
    EXPECT_EQ(rc_nthinteger("X", INT32_MIN, 9), 1);
    EXPECT_EQ(rc_nthinteger("X", INT32_MAX, 9), 2);
}

TEST_F(RcAccess, BadTextOfAnIndexedKeyDoesNotFallBack) {
    set("X=1\nX.0=abc");
    EXPECT_EQ(rc_nthinteger("X", 0, 9), 9);
    EXPECT_EQ(take_log(), unset("X.0 unset, using 9"));
}

TEST_F(RcAccess, KeyOf244CharactersIsTooLongForAnIndex) {
    const std::string fits(243, 'A');
    const std::string too_long(244, 'A');
    set(fits + ".-2147483648=1\n" + too_long + "=2\n" + too_long + ".0=3");
    EXPECT_STREQ(rc_nthstring(fits.c_str(), INT32_MIN, fallback), "1");
    EXPECT_EQ(take_log(), Texts{});
    EXPECT_STREQ(rc_nthstring(too_long.c_str(), 0, fallback), fallback);
    const std::string message = "[Warning]: config \"" + too_long + "\": name too long";
    EXPECT_EQ(take_log(), (Texts{message}));
    EXPECT_EQ(rc_nthinteger(too_long.c_str(), 0, 9), 9);
    EXPECT_EQ(take_log(), (Texts{message, "[Warning]: " + too_long + ".0 unset, using 9"}));
    rc_warn(0);
    EXPECT_STREQ(rc_nthstring(too_long.c_str(), 0, fallback), fallback);
    EXPECT_EQ(take_log(), (Texts{message})) << "warnings or not";
    EXPECT_STREQ(rc_strval(too_long.c_str()), "2") << "without an index it is not";
}

TEST_F(RcAccess, VeryLongKeyIsLoggedShortened) {
    set_nothing();
    EXPECT_EQ(rc_nthstring(std::string(5000, 'A').c_str(), 0, nullptr), nullptr);
    EXPECT_EQ(take_log(), unset("config \"" + std::string(1023, 'A') + "\": name too long"));
}

// ---- the types ----

TEST_F(RcAccess, Boolean) {
    set("A=On\nB=off\nC=3\nD=-1\nE=\nF=yes1\nG.2=t");
    EXPECT_EQ(rc_boolean("A", 0), 1);
    EXPECT_EQ(rc_boolean("B", 1), 0);
    EXPECT_EQ(rc_boolean("C", 0), 3);
    EXPECT_EQ(rc_boolean("D", 1), 0);
    EXPECT_EQ(rc_boolean("E", 1), 0) << "an empty text is set";
    EXPECT_EQ(rc_boolean("F", 1), 0);
    EXPECT_EQ(rc_nthboolean("A", 0, 0), 1);
    EXPECT_EQ(rc_nthboolean("G", 2, 0), 1);
    EXPECT_EQ(take_log(), Texts{});
}

TEST_F(RcAccess, UnsetBoolean) {
    set_nothing();
    EXPECT_EQ(rc_boolean("A", -5), -5);
    EXPECT_EQ(rc_boolean("A", 0), 0);
    EXPECT_EQ(rc_boolean("A", 7), 7);
    EXPECT_EQ(take_log(), (Texts{"[Warning]: A unset, using AUTO", "[Warning]: A unset, using OFF",
                                 "[Warning]: A unset, using ON"}));
    EXPECT_EQ(rc_nthboolean("A", 1, -5), -5);
    EXPECT_EQ(rc_nthboolean("A", 1, 0), 0);
    EXPECT_EQ(rc_nthboolean("A", 1, 7), 7);
    EXPECT_EQ(take_log(),
              (Texts{"[Warning]: A.1 unset, using ON", "[Warning]: A.1 unset, using OFF",
                     "[Warning]: A.1 unset, using ON"}))
        << "an indexed key knows no AUTO";
}

TEST_F(RcAccess, Integer) {
    set("A=10K\nB=0x10\nC=010\nD=-5\nE.1=7M");
    EXPECT_EQ(rc_integer("A", 1), 10000);
    EXPECT_EQ(rc_integer("B", 1), 16);
    EXPECT_EQ(rc_integer("C", 1), 8);
    EXPECT_EQ(rc_integer("D", 1), -5);
    EXPECT_EQ(rc_nthinteger("E", 1, 1), 7000000);
    EXPECT_EQ(take_log(), Texts{});
}

TEST_F(RcAccess, IntegerWithABadUnitIsSetAndToldOnce) {
    set("A=12abc");
    EXPECT_EQ(rc_integer("A", 1), 12);
    EXPECT_EQ(take_log(), unset("parse number: invalid unit: abc (ignored)"));
}

TEST_F(RcAccess, TextThatIsNoIntegerCountsAsUnset) {
    set("A=abc\nE=\nF=.5");
    for (const char *const key : {"A", "E", "F", "X"}) {
        EXPECT_EQ(rc_integer(key, -3), -3);
        EXPECT_EQ(take_log(), unset(std::string(key) + " unset, using -3"));
        EXPECT_EQ(rc_nthintval(key, 0, -3, 0, 5), -3);
        EXPECT_EQ(take_log(), unset(std::string(key) + ".0 unset, using -3"));
    }
}

TEST_F(RcAccess, IntegerWithinLimits) {
    set("A=0\nB=40000\nC=500\nD.1=40K");
    EXPECT_EQ(rc_intval("A", 50000, 1, 30000), 1);
    EXPECT_EQ(rc_intval("B", 50000, 1, 30000), 30000);
    EXPECT_EQ(rc_intval("C", 50000, 1, 30000), 500);
    EXPECT_EQ(rc_nthintval("D", 1, 50000, 1, 30000), 30000);
    EXPECT_EQ(take_log(), Texts{});
    EXPECT_EQ(rc_intval("X", 50000, 1, 30000), 50000) << "a default has no limits";
    EXPECT_EQ(rc_nthintval("X", 1, 50000, 1, 30000), 50000);
    EXPECT_EQ(take_log(),
              (Texts{"[Warning]: X unset, using 50000", "[Warning]: X.1 unset, using 50000"}));
}

TEST_F(RcAccess, Real) {
    set("A=5m\nB=50%\nC=2pptx\nD.1=.5");
    EXPECT_DOUBLE_EQ(rc_double("A", 1), 0.005);
    EXPECT_DOUBLE_EQ(rc_double("B", 1), 0.5);
    EXPECT_DOUBLE_EQ(rc_double("C", 1), 2e-12);
    EXPECT_DOUBLE_EQ(rc_nthdouble("D", 1, 1), 0.5);
    EXPECT_EQ(take_log(), Texts{});
}

TEST_F(RcAccess, UnsetReal) {
    set("A=abc\nE=\nI=inf");
    for (const char *const key : {"A", "E", "I", "X"}) {
        EXPECT_EQ(rc_double(key, 0.1234567), 0.1234567);
        EXPECT_EQ(rc_value(key, 1e9, 0, 1), 1e9) << "a default has no limits";
        EXPECT_EQ(rc_nthdouble(key, 2, -2), -2);
        EXPECT_EQ(rc_nthvalue(key, 2, 2.5e-7, 0, 1), 2.5e-7);
        const std::string name = "[Warning]: " + std::string(key);
        EXPECT_EQ(take_log(),
                  (Texts{name + " unset, using 0.123457", name + " unset, using 1e+09",
                         name + ".2 unset, using -2", name + ".2 unset, using 2.5e-07"}));
    }
}

TEST_F(RcAccess, RealsInTheLogHaveAPointInEveryLocale) {
    set_nothing();
    const vor::test::CommaLocale comma;
    EXPECT_EQ(rc_double("A", 2.5), 2.5);
    EXPECT_EQ(take_log(), unset("A unset, using 2.5"));
}

TEST_F(RcAccess, RealWithinLimits) {
    set("A=50\nB=50K\nC.1=2.5K");
    EXPECT_EQ(rc_value("A", 2500, 100, 30000), 100);
    EXPECT_EQ(rc_value("B", 2500, 100, 30000), 30000);
    EXPECT_EQ(rc_nthvalue("C", 1, 1, 100, 30000), 2500);
    EXPECT_EQ(rc_value("A", 2500, 1, 1), 50);
}

TEST_F(RcAccess, LengthIsInMillimetres) {
    set("A=2 inch\nB=10\nC=-.5cm");
    EXPECT_DOUBLE_EQ(rc_length("A", 1), 50.8);
    EXPECT_DOUBLE_EQ(rc_length("B", 1), 10);
    EXPECT_DOUBLE_EQ(rc_length("C", 1), -5);
    initunits(UNIT_SIZE, "cm");
    EXPECT_DOUBLE_EQ(rc_length("B", 1), 100) << "the unit in force";
    EXPECT_EQ(take_log(), Texts{});
}

TEST_F(RcAccess, UnsetLengthIsANote) {
    set("A=abc\nE=\nF=\\100");
    initunits(UNIT_SIZE, "cm");
    for (const char *const key : {"A", "E", "F", "X"}) {
        EXPECT_EQ(rc_length(key, 2.5), 2.5) << "a default is in millimetres";
        EXPECT_EQ(take_log(), unset(std::string(key) + " unset, using 2.5 mm", "Note"));
    }
}

TEST_F(RcAccess, Thousandths) {
    set("A=50%\nB=2ppm\nC=1.5\nD.1=3ppt");
    EXPECT_EQ(rc_ppt("A", 1), 500);
    EXPECT_EQ(rc_ppt("B", 1), 0);
    EXPECT_EQ(rc_ppt("C", 1), 15);
    EXPECT_EQ(rc_nthppt("D", 1, 1), 3);
    EXPECT_EQ(take_log(), Texts{});
}

TEST_F(RcAccess, ThousandthsWithoutAUnitAreToldOfAsSuch) {
    set("A=20");
    EXPECT_EQ(rc_ppt("A", 1), 20);
    EXPECT_EQ(take_log(), unset("parse scaled: 20: no unit, assume PPT"));
}

TEST_F(RcAccess, Millionths) {
    set("A=50%\nB=2ppm\nC=1.5\nD.1=3ppt");
    EXPECT_EQ(rc_ppm("A", 1), 500000);
    EXPECT_EQ(rc_ppm("B", 1), 2);
    EXPECT_EQ(rc_ppm("C", 1), 15000);
    EXPECT_EQ(rc_nthppm("D", 1, 1), 3000);
    EXPECT_EQ(take_log(), Texts{});
}

TEST_F(RcAccess, UnsetProportion) {
    set("A=abc\nE=");
    for (const char *const key : {"A", "E", "X"}) {
        EXPECT_EQ(rc_ppt(key, 5), 5);
        EXPECT_EQ(rc_ppm(key, -5), -5);
        EXPECT_EQ(rc_nthppt(key, 4, 6), 6);
        EXPECT_EQ(rc_nthppm(key, 4, 7), 7);
        const std::string name = "[Warning]: " + std::string(key);
        EXPECT_EQ(take_log(),
                  (Texts{name + " unset, using 5ppt", name + " unset, using -5ppm",
                         name + ".4 unset, using 6ppt", name + ".4 unset, using 7ppm"}));
    }
}

TEST_F(RcAccess, Milliseconds) {
    struct Row {
        const char *text;
        int32_t expected;
    };
    constexpr Row rows[] = {
        {"5", 5000},     {"1:30", 90000},         {"1:30:15", 105000}, {"0:0:1.5", 1500},
        {"2h", 7200000}, {"1d", 24000},           {"1+0d", 86400000},  {"24:00", -1},
        {"1:2:3:4", -1}, {"1999999", 1999999000}, {"2000000", -1}};
    for (const Row &row : rows) {
        set(std::string("A=") + row.text + "\nB.1=" + row.text);
        EXPECT_EQ(rc_ms("A", 77), row.expected) << row.text;
        EXPECT_EQ(rc_nthms("B", 1, 77), row.expected) << row.text;
        EXPECT_EQ(take_log(), Texts{}) << "a duration that is none is no unset one";
    }
}

TEST_F(RcAccess, TextThatDoesNotBeginWithADigitIsNoDuration) {
    set("A=abc\nE=\nF=-5\nG=+5\nH=.5\nI=d\nJ=' 5'\nK=:30");
    for (const char *const key : {"A", "E", "F", "G", "H", "I", "J", "K", "X"}) {
        EXPECT_EQ(rc_ms(key, 77), 77) << key;
        EXPECT_EQ(rc_nthms(key, 0, -7), -7) << key;
        const std::string name = "[Warning]: " + std::string(key);
        EXPECT_EQ(take_log(), (Texts{name + " unset, using 77ms", name + ".0 unset, using -7ms"}));
    }
}

TEST_F(RcAccess, EmptyValueIsATextAndAnOffAndNoNumber) {
    set("KEY=");
    EXPECT_STREQ(rc_string("KEY", fallback), "");
    EXPECT_EQ(rc_boolean("KEY", 1), 0);
    EXPECT_EQ(take_log(), Texts{});
    EXPECT_EQ(rc_integer("KEY", 3), 3);
    EXPECT_EQ(rc_double("KEY", 3), 3);
    EXPECT_EQ(rc_ppt("KEY", 3), 3);
    EXPECT_EQ(rc_ms("KEY", 3), 3);
    EXPECT_EQ(take_log().size(), 4u);
}

TEST_F(RcAccess, NoKeyIsNotSet) {
    set("A=1");
    EXPECT_EQ(rc_integer(nullptr, 3), 3);
    EXPECT_EQ(rc_nthinteger(nullptr, 1, 4), 4);
    EXPECT_EQ(take_log(), (Texts{"[Warning]:  unset, using 3", "[Warning]: .1 unset, using 4"}));
}

} // namespace
