#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "colour/colour.h"
#include "curve_table.h"
#include "support/capture.h"
#include "support/failing_malloc.h"

namespace {

using vor::test::captured_stderr;
using vor::test::Curve;
using vor::test::identity;
using vor::test::inverse;
using vor::test::Table;
using vor::test::table_of;

constexpr int32_t replace = 0;
constexpr int32_t compose = 1;

Table some_values() {
    return table_of(256, [](int32_t i) { return i * 7 % 256; });
}

TEST(AssignColours, ReplacingEqualsSettingUpTheTable) {
    for (const char *const spec : {"invert", "@2", "^10:20:3:5,light", "0:255:4", " "}) {
        Table table = some_values();
        EXPECT_EQ(assigncolors(table.data(), spec, replace, 256), 0);
        EXPECT_EQ(table, Curve(spec).table) << spec;
    }
}

TEST(AssignColours, ReplacingByNoSpecGivesTheIdentity) {
    Table table = some_values();
    EXPECT_EQ(assigncolors(table.data(), nullptr, replace, 0), 0);
    EXPECT_EQ(table, identity());
}

TEST(AssignColours, ReplacingByTheEmptySpecLeavesTheTable) {
    Table table = some_values();
    EXPECT_EQ(assigncolors(table.data(), "", replace, 0), 0);
    EXPECT_EQ(table, some_values());
}

TEST(AssignColours, ReplacingBeyondTheLimitFailsAsSettingUpDoes) {
    Table table(NCOLORS_MAX + 1, 7);
    const std::string said = captured_stderr([&] {
        EXPECT_EQ(assigncolors(table.data(), "invert", replace, NCOLORS_MAX + 1), CURVE_INVALID);
    });
    EXPECT_EQ(said, "wsetupctab: NCOLORS_MAX overflow\n");
    EXPECT_EQ(table, identity(NCOLORS_MAX + 1));
}

TEST(AssignColours, ComposingInvertTwiceGivesTheTableBack) {
    Table table = some_values();
    EXPECT_EQ(assigncolors(table.data(), "invert", compose, 256), 0);
    EXPECT_EQ(table,
              table_of(256, [](int32_t i) { return 255 - some_values()[static_cast<size_t>(i)]; }));
    EXPECT_EQ(assigncolors(table.data(), "invert", compose, 256), 0);
    EXPECT_EQ(table, some_values());
}

TEST(AssignColours, ComposingLeavesValuesAtOrAboveTheSize) {
    Table table = identity();
    table[3] = 300;
    table[4] = 256;
    table[5] = 255;
    EXPECT_EQ(assigncolors(table.data(), "invert", compose, 256), 0);
    EXPECT_EQ(table[3], 300);
    EXPECT_EQ(table[4], 256);
    EXPECT_EQ(table[5], 0);
}

TEST(AssignColours, ComposingAConstantChangesThoseValuesAlone) {
    Table table = some_values();
    EXPECT_EQ(assigncolors(table.data(), "1:2=9", compose, 256), 0);
    EXPECT_EQ(table, table_of(256, [](int32_t i) {
                  const int32_t value = some_values()[static_cast<size_t>(i)];
                  return value == 1 || value == 2 ? 9 : value;
              }));
}

TEST(AssignColours, ComposingNoSpecOrTheEmptyOneLeavesTheTable) {
    for (const char *const spec : {static_cast<const char *>(nullptr), ""}) {
        Table table = some_values();
        EXPECT_EQ(assigncolors(table.data(), spec, compose, 256), 0);
        EXPECT_EQ(table, some_values());
    }
}

TEST(AssignColours, ComposingAFaultySpecLeavesTheTable) {
    const struct {
        const char *spec;
        int32_t result;
    } rows[] = {{"invert,@0", CURVE_INVALID}, {"./no such curve", CURVE_NO_FILE}};
    for (const auto &row : rows) {
        Table table = some_values();
        const std::string said = captured_stderr(
            [&] { EXPECT_EQ(assigncolors(table.data(), row.spec, compose, 256), row.result); });
        EXPECT_NE(said.find("setupctab(): illegal color spec: ..."), std::string::npos);
        EXPECT_EQ(table, some_values());
    }
}

TEST(AssignColours, ComposingBeyondTheLimitGivesTheIdentity) {
    Table table(NCOLORS_MAX + 1, 7);
    const std::string said = captured_stderr([&] {
        EXPECT_EQ(assigncolors(table.data(), nullptr, compose, NCOLORS_MAX + 1), CURVE_INVALID);
    });
    EXPECT_EQ(said, "assigncolors: NCOLORS_MAX overflow\n");
    EXPECT_EQ(table, identity(NCOLORS_MAX + 1));
}

TEST(AssignColours, ComposingTheLargestTable) {
    Table table = identity(NCOLORS_MAX);
    EXPECT_EQ(assigncolors(table.data(), "invert", compose, NCOLORS_MAX), 0);
    EXPECT_EQ(table, inverse(NCOLORS_MAX));
}

TEST(AssignColours, SizeOfZeroIsTwoHundredFiftySix) {
    Table table(300, 5);
    EXPECT_EQ(assigncolors(table.data(), "invert", compose, 0), 0);
    EXPECT_EQ(table, table_of(300, [](int32_t i) { return i < 256 ? 250 : 5; }));
}

TEST(AssignColours, NegativeSizeTouchesNothing) {
    uint16_t entry = 7;
    EXPECT_EQ(assigncolors(&entry, "invert", compose, -1), CURVE_INVALID);
    EXPECT_EQ(assigncolors(&entry, "invert", replace, -1), CURVE_INVALID);
    EXPECT_EQ(entry, 7);
}

TEST(AssignColours, AllocatesNothing) {
    const vor::test::FailingMalloc failing(1);
    Table table(256);
    EXPECT_EQ(assigncolors(table.data(), "invert,@2", compose, 256), 0);
    EXPECT_FALSE(failing.reached());
}

} // namespace
