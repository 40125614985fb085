#include "config/paper.h"

#include <gtest/gtest.h>

#include <string>

#include "config/gd.h"

namespace {

struct Sheet {
    const char *name;
    double width;
    double height;
};

TEST(PaperTable, HasTheSheetsInOrderAndEndsWithAnEmptyRow) {
    constexpr Sheet sheets[] = {
        {"letter", 215.9, 279.4},     {"note", 215.9, 279.4},  {"legal", 215.9, 355.6},
        {"A0", 839.6, 1188.2},        {"A1", 594.1, 839.6},    {"A2", 419.8, 594.1},
        {"A3", 297.0, 419.8},         {"A4", 209.9, 297.0},    {"A5", 148.5, 209.9},
        {"A6", 104.8, 148.5},         {"A7", 74.1, 104.8},     {"A8", 52.2, 74.1},
        {"A9", 37.0, 52.2},           {"A10", 26.1, 37.0},     {"B0", 1000.5, 1413.9},
        {"B1", 707.0, 1000.5},        {"B2", 500.2, 707.0},    {"B3", 353.5, 500.2},
        {"B4", 250.1, 353.5},         {"B5", 176.7, 250.1},    {"archE", 914.4, 1219.2},
        {"archD", 609.6, 914.4},      {"archC", 457.2, 609.6}, {"archB", 304.8, 457.2},
        {"archA", 228.6, 304.8},      {"flsa", 215.9, 330.2},  {"flse", 215.9, 330.2},
        {"halfletter", 139.7, 215.9}, {"11x17", 279.4, 431.8}, {"ledger", 431.8, 279.4},
    };
    const papersize_t *row = vor::paper_table;
    for (const Sheet &sheet : sheets) {
        ASSERT_NE(row->name, nullptr);
        EXPECT_STREQ(row->name, sheet.name);
        EXPECT_EQ(row->width, sheet.width) << sheet.name;
        EXPECT_EQ(row->height, sheet.height) << sheet.name;
        EXPECT_EQ(paperselect(sheet.name, 0, 0), 0) << sheet.name;
        EXPECT_EQ(gd.paperwidth, sheet.width) << sheet.name;
        EXPECT_EQ(gd.paperheight, sheet.height) << sheet.name;
        ++row;
    }
    EXPECT_EQ(row->name, nullptr);
    EXPECT_EQ(row->width, 0);
    EXPECT_EQ(row->height, 0);
}

TEST(Paperselect, IgnoresTheCaseOfTheName) {
    for (const char *name : {"A4", "a4"}) {
        paperselect("letter", 0, 0);
        EXPECT_EQ(paperselect(name, 10, 15), 0) << name;
        EXPECT_DOUBLE_EQ(gd.paperwidth, 199.9) << name;
        EXPECT_DOUBLE_EQ(gd.paperheight, 282) << name;
    }
    EXPECT_EQ(paperselect("HALFLetter", 0, 0), 0);
    EXPECT_EQ(paperselect("ARCHe", 0, 0), 0);
}

TEST(Paperselect, MarginsMayBeFractionsAndNegative) {
    EXPECT_EQ(paperselect("A3", 0.5, -3), 0);
    EXPECT_DOUBLE_EQ(gd.paperwidth, 296.5);
    EXPECT_DOUBLE_EQ(gd.paperheight, 422.8);
}

TEST(Paperselect, UnknownNameGivesTheDefaultSheetAndMinusOne) {
    for (const char *name :
         {"A11", "A", "", "A4 ", " A4", "A44", "11x1", static_cast<const char *>(nullptr)}) {
        paperselect("letter", 0, 0);
        EXPECT_EQ(paperselect(name, 10, 15), -1) << (name ? name : "NULL");
        EXPECT_DOUBLE_EQ(gd.paperwidth, 199.9);
        EXPECT_DOUBLE_EQ(gd.paperheight, 282);
    }
}

} // namespace
