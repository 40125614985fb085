#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>

#include "colour/colour.h"
#include "colour/curve_file.h"
#include "curve_table.h"
#include "support/byte_file.h"
#include "support/failing_malloc.h"
#include "support/temp_dir.h"

namespace {

using vor::test::identity;
using vor::test::read_text;
using vor::test::Table;
using vor::test::table_of;
using vor::test::write_text;

std::string numbers(int32_t count) {
    std::string text;
    for (int32_t i = 0; i < count; ++i)
        text += std::to_string(i) + (i % 16 == 15 ? "\n" : " ");
    return text;
}

class CurveFile : public ::testing::Test {
protected:
    // Loads a file with this text.
    int32_t load(const std::string &text, int32_t size = NCOLORS_DEFAULT) {
        write_text(name_, text);
        return load_by_name(name_, size);
    }
    int32_t load_by_name(const std::string &name, int32_t size = NCOLORS_DEFAULT) {
        table_.assign(static_cast<size_t>(size), uint16_t{0xABCD});
        return vor::ctab_load(name.c_str(), table_.data(), size);
    }
    Table first(size_t count) const {
        return {table_.begin(), table_.begin() + static_cast<int>(count)};
    }
    std::string written(const Table &table, int32_t size) {
        EXPECT_EQ(write_ctab(name_.c_str(), table.data(), size), 0);
        return read_text(name_);
    }

    vor::test::TempDir folder_;
    std::string name_ = folder_.file("curve");
    Table table_;
};

TEST_F(CurveFile, LoadsAsManyValuesAsItDeclares) {
    EXPECT_EQ(load("#KEL gray response curve, SIZE=3\n7 8 9\n", 4), 3);
    EXPECT_EQ(table_, (Table{7, 8, 9, 0}));
}

TEST_F(CurveFile, HundredValuesWithoutHeaderAreRefused) {
    EXPECT_EQ(load(numbers(100)), CURVE_INVALID);
}

TEST_F(CurveFile, HundredTwentyEightValuesWithoutHeaderPass) {
    EXPECT_EQ(load(numbers(128)), 128);
    EXPECT_EQ(table_, table_of(256, [](int32_t i) { return i < 128 ? i : 0; }));
}

TEST_F(CurveFile, CountIsDeclaredOrAPowerOfTwo) {
    const struct {
        const char *text;
        int32_t result;
    } rows[] = {
        {"5\n", 1},
        {"5 6\n", 2},
        {"5 6 7\n", CURVE_INVALID},
        {"5 6 7 8", 4},
        {"# SIZE=3\n5 6 7", 3},
        {"# SIZE=4\n5 6 7", CURVE_INVALID},
        {"# SIZE=3\n5 6", 2},
        {"", 0},
        {"# SIZE=0\n", 0},
        {"# SIZE=256\n", CURVE_INVALID},
    };
    for (const auto &row : rows)
        EXPECT_EQ(load(row.text), row.result) << row.text;
}

TEST_F(CurveFile, FileWithoutValuesAndWithoutHeaderIsZeroThroughout) {
    EXPECT_EQ(load("", 4), 0);
    EXPECT_EQ(table_, Table(4, 0));
}

TEST_F(CurveFile, RestOfTheTableIsZeroAfterARefusalToo) {
    EXPECT_EQ(load("1 2 3", 4), CURVE_INVALID);
    EXPECT_EQ(table_, (Table{1, 2, 3, 0}));
}

TEST_F(CurveFile, ReadingStopsWhenTheTableIsFull) {
    EXPECT_EQ(load("#SIZE=256\n" + numbers(256), 64), 64);
    EXPECT_EQ(table_, identity(64));
    EXPECT_EQ(load("#SIZE=256\n" + numbers(256), 100), CURVE_INVALID);
}

TEST_F(CurveFile, SizeStandsBehindTheFirstEqualsWithADigit) {
    const struct {
        const char *header;
        int32_t result;
    } rows[] = {
        {"#=3", 3},         {"#a=b c=3 d=4", 3},   {"#==3", 3},
        {"#=x=3", 3},       {"#= 3 =3", 3},        {"#SIZE=0x3", CURVE_INVALID},
        {"#SIZE=003", 3},   {"#SIZE=3#SIZE=4", 3}, {"#SIZE=3 values", 3},
        {"  \t#SIZE=3", 3}, {"#SIZE=3\r", 3},      {"#SIZE=99999999999", CURVE_INVALID},
    };
    for (const auto &row : rows)
        EXPECT_EQ(load(std::string(row.header) + "\n1 2 3\n"), row.result) << row.header;
}

// The line behind such a header goes with it.
TEST_F(CurveFile, HeaderThatDeclaresNothingTakesTheNextLineToo) {
    EXPECT_EQ(load("# my curve\n1 2 3\n4 5\n"), 2);
    EXPECT_EQ(first(2), (Table{4, 5}));
    EXPECT_EQ(load("#a=b SIZE=\n# SIZE=2\n4 5 6 7\n"), 4);
    EXPECT_EQ(load("# nothing but a header"), 0);
}

TEST_F(CurveFile, HeaderEndsAtTheFirstNewline) {
    EXPECT_EQ(load("\n# SIZE=3\n1 2 3\n"), CURVE_INVALID);
    EXPECT_EQ(load("\n# nothing\n1 2 3 4\n"), 4);
    EXPECT_EQ(load("# SIZE=3\n# SIZE=5\n1 2 3\n"), 3);
    EXPECT_EQ(load("# my curve\nskipped\n# no SIZE=5\n1 2 3 4\n"), 4);
}

TEST_F(CurveFile, ValuesMayStandInTheFirstLine) {
    EXPECT_EQ(load("1 2 # SIZE=3\n3\n"), 3);
    EXPECT_EQ(first(3), (Table{1, 2, 3}));
}

TEST_F(CurveFile, CommentsEndTheirLine) {
    EXPECT_EQ(load("#SIZE=4\n1 2 #0 .. 1\n3 # 9 9\n4#\n"), 4);
    EXPECT_EQ(first(4), (Table{1, 2, 3, 4}));
}

TEST_F(CurveFile, ValuesHaveABaseOfTheirOwn) {
    EXPECT_EQ(load("0 10 010 0x10 0XfF 00 +5 -1"), 8);
    EXPECT_EQ(first(8), (Table{0, 10, 8, 16, 255, 0, 5, 0xFFFF}));
}

TEST_F(CurveFile, ValuesAreStoredInSixteenBits) {
    EXPECT_EQ(load("65535 65536 70000 -70000"), 4);
    EXPECT_EQ(first(4), (Table{65535, 0, 4464, static_cast<uint16_t>(-70000)}));
}

TEST_F(CurveFile, ValuesBeyondThirtyTwoBitsSaturate) {
    const std::string endless(5000, '9');
    EXPECT_EQ(load("4294967296 " + endless + " -4294967296 -" + endless), 4);
    EXPECT_EQ(first(4), (Table{0xFFFF, 0xFFFF, 0, 0}));
}

TEST_F(CurveFile, ZerosInFrontChangeNoValue) {
    EXPECT_EQ(load(std::string(5000, '0') + "17 0x" + std::string(5000, '0') + "17"), 2);
    EXPECT_EQ(first(2), (Table{15, 23}));
}

TEST_F(CurveFile, WhatIsNoValueEndsTheReading) {
    for (const char *const end : {"x", "2x", ",", "- 3", "+", "2.5", "0x", "2;3"}) {
        const int32_t expected = end[0] == '2' ? 4 : CURVE_INVALID;
        EXPECT_EQ(load(std::string("7 8 9 ") + end + " 10 11 12 13 14"), expected) << end;
        EXPECT_EQ(first(3), (Table{7, 8, 9})) << end;
        EXPECT_EQ(table_[4], 0) << end;
    }
}

TEST_F(CurveFile, BlanksTabsAndReturnsSeparate) {
    EXPECT_EQ(load("1\t2\r\n3\r4 \n\n"), 4);
    EXPECT_EQ(first(4), (Table{1, 2, 3, 4}));
}

TEST_F(CurveFile, ZeroByteEndsTheReading) {
    EXPECT_EQ(load(std::string("1 2\0 3 4", 8)), 2);
}

TEST_F(CurveFile, NameGoesToACommaOrTheEnd) {
    write_text(folder_.file("a b"), "1 2");
    EXPECT_EQ(load_by_name(folder_.file("a b")), 2);
    EXPECT_EQ(load_by_name(folder_.file("a b,invert")), 2);
    EXPECT_EQ(load_by_name(folder_.file("a b ")), CURVE_NO_FILE);
}

TEST_F(CurveFile, NameInQuotesHoldsCommas) {
    write_text(folder_.file("a, \"b"), "1 2");
    write_text(folder_.file("a, 'b"), "1 2 3 4");
    EXPECT_EQ(load_by_name("'" + folder_.file("a, \"b") + "'"), 2);
    EXPECT_EQ(load_by_name("\"" + folder_.file("a, 'b") + "\",invert"), 4);
}

TEST_F(CurveFile, NamesThatAreNone) {
    for (const char *const name : {"", ",x", "\"\"", "''", "\"x", "'x\""})
        EXPECT_EQ(load_by_name(name), CURVE_INVALID) << name;
}

TEST_F(CurveFile, FileThatCannotBeOpenedHasAResultOfItsOwn) {
    EXPECT_EQ(load_by_name(folder_.file("missing")), CURVE_NO_FILE);
    EXPECT_EQ(load_by_name(folder_.path()), CURVE_NO_FILE);
    EXPECT_EQ(load_by_name(std::string(100000, 'x')), CURVE_NO_FILE);
}

TEST_F(CurveFile, NameOfFiveHundredCharactersFits) {
    std::string name = folder_.path();
    while (name.size() < 512)
        name += "/.";
    name += "/curve";
    write_text(name_, "1 2");
    EXPECT_EQ(load_by_name(name), 2);
}

TEST_F(CurveFile, WritesSixteenValuesALine) {
    const std::string text = written(identity(32), 32);
    EXPECT_EQ(text, "#KEL gray response curve, SIZE=32\n"
                    "  0   1   2   3   4   5   6   7   8   9  10  11  12  13  14  15 #0 .. 15\n"
                    " 16  17  18  19  20  21  22  23  24  25  26  27  28  29  30  31 #15 .. 31\n");
}

size_t lines_of(const std::string &text) {
    return static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
}

TEST_F(CurveFile, WritesTwoHundredFiftySixValuesInSixteenFullLines) {
    const std::string text = written(identity(), 256);
    EXPECT_EQ(lines_of(text), 17U);
    EXPECT_TRUE(text.ends_with(" 254 255 #239 .. 255\n"));
    EXPECT_NE(text.find(" 238 239 #224 .. 239\n"), std::string::npos);
}

TEST_F(CurveFile, WritesThousandTwentyFourValuesInLinesOfTen) {
    const std::string text = written(identity(1024), 1024);
    EXPECT_EQ(lines_of(text), 104U);
    EXPECT_TRUE(text.starts_with("#KEL gray response curve, SIZE=1024\n"
                                 "   0    1    2    3    4    5    6    7    8    9 #0 .. 9\n"));
    EXPECT_TRUE(text.ends_with("1018 1019 #1010 .. 1019\n1020 1021 1022 1023 #1019 .. 1023\n"));
}

TEST_F(CurveFile, LastLineThatIsNotFull) {
    EXPECT_EQ(written({1, 2}, 2), "#KEL gray response curve, SIZE=2\n  1   2 #-1 .. 1\n");
    const std::string text = written(identity(257), 257);
    EXPECT_TRUE(text.ends_with(" 250  251  252  253  254  255  256 #249 .. 256\n"));
}

TEST_F(CurveFile, WritesWideValuesInFull) {
    EXPECT_EQ(written({65535, 7}, 2), "#KEL gray response curve, SIZE=2\n65535   7 #-1 .. 1\n");
}

TEST_F(CurveFile, SizeOfZeroWritesTwoHundredFiftySix) {
    const std::string text = written(identity(), 256);
    EXPECT_EQ(written(identity(), 0), text);
}

TEST_F(CurveFile, WhatIsWrittenReadsBack) {
    for (const int32_t size : {1, 2, 16, 17, 100, 255, 256, 257, 1000, 1024, 8192}) {
        const Table table = table_of(size, [](int32_t i) { return i * 37; });
        EXPECT_EQ(write_ctab(name_.c_str(), table.data(), size), 0);
        EXPECT_EQ(load_by_name(name_, size), size);
        EXPECT_EQ(table_, table) << size;
    }
}

TEST_F(CurveFile, WritingIntoAMissingFolderFails) {
    const Table table = identity();
    EXPECT_EQ(write_ctab(folder_.file("missing/curve").c_str(), table.data(), 256), CURVE_NO_FILE);
    EXPECT_EQ(write_ctab(folder_.path().c_str(), table.data(), 256), CURVE_NO_FILE);
    EXPECT_EQ(write_ctab(nullptr, table.data(), 256), CURVE_NO_FILE);
}

TEST_F(CurveFile, WritingToAFullDeviceFails) {
    const Table table = identity(NCOLORS_MAX);
    EXPECT_EQ(write_ctab("/dev/full", table.data(), 16), CURVE_NO_FILE); // at the close
    EXPECT_EQ(write_ctab("/dev/full", table.data(), NCOLORS_MAX), CURVE_NO_FILE);
}

} // namespace
