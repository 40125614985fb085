#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <string>

#include "colour/colour.h"
#include "curve_table.h"
#include "support/byte_file.h"
#include "support/capture.h"
#include "support/failing_malloc.h"
#include "support/temp_dir.h"

namespace {

using vor::test::captured_stderr;
using vor::test::Curve;
using vor::test::identity;
using vor::test::inverse;
using vor::test::read_text;
using vor::test::Table;
using vor::test::table_of;
using vor::test::write_text;

Table gamma_table(double exponent) {
    return table_of(256, [exponent](int32_t i) {
        return static_cast<int32_t>(std::pow(i / 255.0, exponent) * 255 + 0.5);
    });
}

void expect_curve(const std::string &spec, const Table &expected) {
    const Curve curve(spec, static_cast<int32_t>(expected.size()));
    EXPECT_EQ(curve.result, 0) << spec;
    EXPECT_EQ(curve.table, expected) << spec;
}

// The spec fails with this result, says so with its rest from the faulty item on, and leaves the
// identity.
void expect_failure(const std::string &spec, int32_t result, const std::string &rest,
                    int32_t size = NCOLORS_DEFAULT) {
    const std::string said = captured_stderr([&] {
        const Curve curve(spec, size);
        EXPECT_EQ(curve.result, result) << spec;
        EXPECT_EQ(curve.table, identity(size)) << spec;
    });
    EXPECT_EQ(said, "setupctab(): illegal color spec: ..." + rest + "\n");
}

TEST(CurveSpec, NoSpecGivesTheIdentity) {
    Table table(256, 7);
    EXPECT_EQ(wsetupctab(nullptr, table.data(), nullptr, 0), 0);
    EXPECT_EQ(table, identity());
}

TEST(CurveSpec, NoSpecGivesTheIdentityOfAnySize) {
    Table table(9000, 7);
    EXPECT_EQ(
        captured_stderr([&] { EXPECT_EQ(wsetupctab(nullptr, table.data(), nullptr, 9000), 0); }),
        "");
    EXPECT_EQ(table, identity(9000));
}

TEST(CurveSpec, EmptySpecLeavesTheTable) {
    EXPECT_EQ(Curve("").result, 0);
    EXPECT_EQ(Curve("").table, Table(256, 0xABCD));
    EXPECT_EQ(Curve("", 9000).table, Table(9000, 0xABCD));
}

TEST(CurveSpec, SpecOfSeparatorsAloneGivesTheIdentity) {
    expect_curve(" ,\t", identity());
    expect_curve("^", identity());
}

TEST(CurveSpec, SizeOfZeroIsTwoHundredFiftySix) {
    Table table(300, 7);
    EXPECT_EQ(wsetupctab("invert", table.data(), nullptr, 0), 0);
    EXPECT_EQ(table, table_of(300, [](int32_t i) { return i < 256 ? 255 - i : 7; }));
}

TEST(CurveSpec, SizeAboveTheLimitIsRefused) {
    const std::string said = captured_stderr([] {
        const Curve curve("invert", NCOLORS_MAX + 1);
        EXPECT_EQ(curve.result, CURVE_INVALID);
        EXPECT_EQ(curve.table, identity(NCOLORS_MAX + 1));
    });
    EXPECT_EQ(said, "wsetupctab: NCOLORS_MAX overflow\n");
    expect_curve("invert", inverse(NCOLORS_MAX));
}

TEST(CurveSpec, NegativeSizeIsRefused) {
    uint16_t entry = 7;
    for (const char *const spec : {"invert", "@2", "^"})
        EXPECT_EQ(wsetupctab(spec, &entry, nullptr, -1), CURVE_INVALID);
    EXPECT_EQ(entry, 7);
}

TEST(CurveSpec, TableOfOneEntry) {
    expect_curve("@2", {0});
    expect_curve("0:0=5", {5});
    expect_curve("^", {0});
    expect_failure("invert", CURVE_INVALID, "invert", 1);
}

TEST(CurveSpec, InvertFalls) {
    expect_curve("invert", inverse());
    expect_curve("negative", inverse());
    expect_curve("rev", inverse());
}

TEST(CurveSpec, NormalIsTheIdentity) {
    for (const char *const spec : {"normal", "standard", "positive", "pos"})
        expect_curve(spec, identity());
}

TEST(CurveSpec, InvertTwiceComposesToTheIdentity) {
    expect_curve("invert,invert", identity());
    expect_curve("invert invert\tinvert", inverse());
}

TEST(CurveSpec, AbsoluteItemReplacesTheCurve) {
    expect_curve("invert,=normal", identity());
    expect_curve("invert,normal", inverse());
}

TEST(CurveSpec, AbsoluteItemReplacesWithinItsRangeAlone) {
    expect_curve("invert,=10:20=99",
                 table_of(256, [](int32_t i) { return i >= 10 && i <= 20 ? 99 : 255 - i; }));
}

TEST(CurveSpec, ConstantChangesItsRange) {
    expect_curve("100:200=50",
                 table_of(256, [](int32_t i) { return i >= 100 && i <= 200 ? 50 : i; }));
}

// Of the entries in the range, those with an output in it get the value. The others are inverted
// once more, since that is what was drawn beside the range.
TEST(CurveSpec, ConstantActsOnTheOutputOfTheItemsBefore) {
    expect_curve("invert,100:200=50", table_of(256, [](int32_t i) {
                     const bool in_range = i >= 100 && i <= 200;
                     const int32_t output = 255 - i;
                     if (!in_range) return output;
                     return output >= 100 && output <= 200 ? 50 : 255 - output;
                 }));
}

TEST(CurveSpec, FourStepsOfSixtyFourEntries) {
    const int32_t levels[] = {0, 85, 171, 255};
    expect_curve("0:255:4", table_of(256, [&](int32_t i) { return levels[i / 64]; }));
}

TEST(CurveSpec, FourFallingSteps) {
    const int32_t levels[] = {255, 171, 85, 0};
    expect_curve("0:255:-4", table_of(256, [&](int32_t i) { return levels[i / 64]; }));
}

int32_t ramp_50_to_200(int32_t i) {
    return static_cast<int32_t>((i - 50) * 100.0 / 150 * 255 * 0.01 + 0.5);
}

TEST(CurveSpec, RampChangesItsRange) {
    expect_curve("50:200:0:255", table_of(256, [](int32_t i) {
                     return i >= 50 && i <= 200 ? ramp_50_to_200(i) : i;
                 }));
}

TEST(CurveSpec, RampBehindInvertMeetsItsFlatContinuation) {
    expect_curve("invert,50:200:0:255", table_of(256, [](int32_t i) {
                     if (i < 50 || i > 200) return 255 - i;
                     return i <= 54 ? 255 : ramp_50_to_200(255 - i);
                 }));
}

// Beside the ramp there is still what `invert` drew.
TEST(CurveSpec, RampWithoutFillMeetsWhatWasDrawnBefore) {
    expect_curve("invert,~50:200:0:255", table_of(256, [](int32_t i) {
                     if (i < 50 || i > 200) return 255 - i;
                     return i <= 54 ? i : ramp_50_to_200(255 - i);
                 }));
}

TEST(CurveSpec, StepsWithAndWithoutFillBehindInvert) {
    const auto curve = [](int32_t beside) {
        return table_of(256, [beside](int32_t i) {
            if (i > 99) return 255 - i;
            return beside < 0 ? i : beside;
        });
    };
    expect_curve("invert,0:99:2", curve(255)); // outputs 156 to 255 lie above the stairs
    expect_curve("invert,~0:99:2", curve(-1)); // inverted once more
}

TEST(CurveSpec, GammaSquaresAndTakesRoots) {
    expect_curve("@2", gamma_table(2));
    expect_curve("@1:2", gamma_table(0.5));
    expect_curve("light", gamma_table(static_cast<double>(0.9F)));
    expect_curve("brite", gamma_table(static_cast<double>(1.1F)));
}

TEST(CurveSpec, GammaOutOfRangeFails) {
    expect_failure("@0", CURVE_INVALID, "@0");
    expect_failure("@-1", CURVE_INVALID, "@-1");
    expect_failure("@10000", CURVE_INVALID, "@10000");
    expect_failure("@nan", CURVE_INVALID, "@nan");
}

TEST(CurveSpec, FifteenPointsMakeTheWholeCurve) {
    const Curve curve("100:95:90:85:80:70:60:50:40:30:20:15:10:5:0", 101);
    EXPECT_EQ(curve.result, 0);
    EXPECT_EQ(curve.table, inverse(101));
}

TEST(CurveSpec, RangesBeyondTheTableFail) {
    for (const char *const spec : {"0:256=1", "-1:5=1", "300:200=1", "0:256:0:9", "10:10:0:9",
                                   "20:10:0:9", "0:256:4", "~300:200:4", "~300:300:4", "300:300:4",
                                   "-1:9:4", "0:2147483647:4", "-2147483648:2147483647:4"}) {
        expect_failure(spec, CURVE_INVALID, spec);
    }
}

TEST(CurveSpec, ConstantsAndStaircasesThatEndBelowTheirStartChangeNothing) {
    for (const char *const item : {"20:10=99", "20:10:4", "20:10:-4", "=20:10=99", "=20:10:4"}) {
        expect_curve(item, identity());
        expect_curve(std::string("invert,") + item, inverse());
    }
}

TEST(CurveSpec, OneStepOrNoneFails) {
    for (const char *const spec : {"0:255:1", "0:255:0", "0:255:-1"})
        expect_failure(spec, CURVE_INVALID, spec);
}

TEST(CurveSpec, EmptyNameFails) {
    expect_failure("''", CURVE_INVALID, "''");
    expect_failure("\"open", CURVE_INVALID, "\"open");
    expect_failure(",n", CURVE_INVALID, "n"); // the name is that of the whole spec
}

TEST(CurveSpec, FileThatCannotBeOpenedFails) {
    expect_failure("./no such curve", CURVE_NO_FILE, "./no such curve");
    expect_failure("bri", CURVE_NO_FILE, "bri");
}

TEST(CurveSpec, MessageBeginsAtTheItemWithItsPrefix) {
    expect_failure("invert, =~0:255:1 light", CURVE_INVALID, "=~0:255:1 light");
    expect_failure("^invert,@0", CURVE_INVALID, "@0");
}

TEST(CurveSpec, FailureLeavesTheEndsAsTheyAre) {
    expect_failure("^10:20=3,@0", CURVE_INVALID, "@0");
}

TEST(CurveSpec, ValuesAboveTheSizePassThrough) {
    expect_curve("10:20=300,invert",
                 table_of(256, [](int32_t i) { return i >= 10 && i <= 20 ? 300 : 255 - i; }));
}

TEST(CurveSpec, PinnedEndsTakeTheFirstAndLastLevel) {
    const auto with_ends = [](Table table, uint16_t low, uint16_t high) {
        table.front() = low;
        table.back() = high;
        return table;
    };
    expect_curve("^normal", identity());
    expect_curve("^0:255:10:200", with_ends(Curve("0:255:10:200").table, 0, 255));
    expect_curve("^0:255:200:10", with_ends(Curve("0:255:200:10").table, 255, 0));
    expect_curve("^0:255=7", with_ends(Table(256, 7), 0, 255)); // level ends rise
    expect_curve("^invert", inverse());
}

TEST(CurveSpec, CaretElsewhereIsNoPin) {
    expect_failure("normal ^invert", CURVE_NO_FILE, "^invert");
}

TEST(CurveSpec, ItemReadsWhatEarlierItemsDrewBesideIt) {
    // The first item draws a step at 128 in all of its table; the second changes a part of it and
    // sends the curve so far through the whole.
    expect_curve("0:255:2,~0:9=5", table_of(256, [](int32_t i) {
                     if (i > 9) return i < 128 ? 0 : 255;
                     return 5; // the output 0 of the first item meets the constant
                 }));
}

class CurveSpecFile : public ::testing::Test {
protected:
    vor::test::TempDir folder_;
    std::string name_ = folder_.file("curve.crv");
    void store(const std::string &spec) { ASSERT_EQ(Curve(spec, 256, name_.c_str()).result, 0); }
};

TEST_F(CurveSpecFile, NameAloneLoadsTheFile) {
    store("@2");
    expect_curve(name_, gamma_table(2));
    expect_curve(name_ + ",invert", table_of(256, [](int32_t i) {
                     return 255 - gamma_table(2)[static_cast<size_t>(i)];
                 }));
}

TEST_F(CurveSpecFile, QuotedNameMayHoldSeparators) {
    const std::string name = folder_.file("a, b");
    ASSERT_EQ(Curve("invert", 256, name.c_str()).result, 0);
    expect_curve("\"" + name + "\",invert", identity());
    expect_curve("'" + name + "'", inverse());
}

TEST_F(CurveSpecFile, SecondItemLoadsTheNameAtTheStartOfTheSpec) {
    store("invert");
    const std::string other = folder_.file("other.crv");
    ASSERT_EQ(Curve("@2", 256, other.c_str()).result, 0);
    expect_curve(name_ + "," + other, identity()); // the first file twice
}

TEST_F(CurveSpecFile, SecondItemFailsWhereTheFirstIsNoFile) {
    store("invert");
    expect_failure("invert," + name_, CURVE_NO_FILE, name_);
}

TEST_F(CurveSpecFile, PrefixAndCaretArePartOfTheName) {
    store("invert");
    expect_failure("~" + name_, CURVE_NO_FILE, "~" + name_);
    expect_failure("^" + name_, CURVE_NO_FILE, name_);
}

TEST_F(CurveSpecFile, PrefixActsOnAFileOfThatName) {
    const std::string here = std::filesystem::current_path().string();
    std::filesystem::current_path(folder_.path());
    write_text("=dark", "0 1 4 9");
    expect_curve("=dark", {0, 1, 4, 9});
    std::filesystem::current_path(here);
}

// A blank ends the item and not the name: both items load the same file.
TEST_F(CurveSpecFile, NameWithABlankIsLoadedForEachOfItsWords) {
    const std::string name = folder_.file("a curve");
    ASSERT_EQ(Curve("invert", 256, name.c_str()).result, 0);
    expect_curve(name, identity());
}

TEST_F(CurveSpecFile, NameLikeAKeywordIsTheKeyword) {
    const std::string here = std::filesystem::current_path().string();
    std::filesystem::current_path(folder_.path());
    ASSERT_EQ(Curve("invert", 256, "light.crv").result, 0);
    expect_curve("light.crv", gamma_table(static_cast<double>(0.9F)));
    expect_curve("./light.crv", inverse());
    std::filesystem::current_path(here);
}

TEST_F(CurveSpecFile, FileWithTheWrongCountFails) {
    write_text(name_, "1 2 3");
    expect_failure(name_, CURVE_INVALID, name_);
}

TEST_F(CurveSpecFile, FileOfHalfTheSizeIsZeroBehind) {
    std::string text;
    for (int i = 0; i < 128; ++i)
        text += std::to_string(255 - i) + " ";
    write_text(name_, text);
    expect_curve(name_, table_of(256, [](int32_t i) { return i < 128 ? 255 - i : 0; }));
}

TEST_F(CurveSpecFile, StoresTheCurve) {
    store("invert");
    EXPECT_TRUE(read_text(name_).starts_with("#KEL gray response curve, SIZE=256\n255 254 253"));
}

TEST_F(CurveSpecFile, StoresTheIdentityAfterAFailure) {
    expect_failure("@0", CURVE_INVALID, "@0");
    captured_stderr([&] { EXPECT_EQ(Curve("@0", 256, name_.c_str()).result, CURVE_INVALID); });
    expect_curve(name_, identity());
}

TEST_F(CurveSpecFile, StoresNothingForNoSpecAnEmptyOneAndTooLargeASize) {
    Table table(NCOLORS_MAX + 1);
    EXPECT_EQ(wsetupctab(nullptr, table.data(), name_.c_str(), 0), 0);
    EXPECT_EQ(wsetupctab("", table.data(), name_.c_str(), 0), 0);
    captured_stderr([&] {
        EXPECT_EQ(wsetupctab("invert", table.data(), name_.c_str(), NCOLORS_MAX + 1),
                  CURVE_INVALID);
    });
    EXPECT_FALSE(std::filesystem::exists(name_));
}

TEST_F(CurveSpecFile, StoringThatFailsIsNotTold) {
    EXPECT_EQ(captured_stderr([&] {
                  EXPECT_EQ(Curve("invert", 256, folder_.file("no/curve").c_str()).result, 0);
              }),
              "");
}

TEST(CurveSpec, AllocatesNothing) {
    const vor::test::FailingMalloc failing(1);
    Table table(256);
    for (const char *const spec :
         {"^invert,@2,~10:20:3:4,=0:255:4,1:2=3", "0:1:2:3:4:5:6:7:8:9:10:11:12:13:14"}) {
        EXPECT_EQ(wsetupctab(spec, table.data(), nullptr, 256), 0);
    }
    EXPECT_FALSE(failing.reached());
}

} // namespace
