#include <gtest/gtest.h>

#include <string>

#include "util/services.h"

namespace {

struct Row {
    const char *source;
    int byte;
    int moved;
};

void expect(const Row &row) {
    char byte = 0x55;
    const char *const end = cescape(&byte, row.source);
    EXPECT_EQ(static_cast<unsigned char>(byte), row.byte) << row.source;
    EXPECT_EQ(end - row.source, row.moved) << row.source;
}

TEST(Cescape, LettersOfControlCharacters) {
    constexpr Row rows[] = {
        {"a", 7, 1},  {"b", 8, 1},  {"d", 4, 1}, {"e", 27, 1}, {"f", 12, 1},
        {"n", 10, 1}, {"r", 13, 1}, {"t", 9, 1}, {"z", 26, 1}, {"nn", 10, 1},
    };
    for (const Row &row : rows)
        expect(row);
}

TEST(Cescape, ZeroOpensAnOctalValueOfUpToThreeDigits) {
    constexpr Row rows[] = {
        {"012", 10, 3},  {"0", 0, 1},  {"07", 7, 2},  {"077", 63, 3},
        {"0777", 63, 3}, {"08", 0, 1}, {"018", 1, 2},
    };
    for (const Row &row : rows)
        expect(row);
}

TEST(Cescape, AnotherDigitStandsForItself) {
    expect({"101", '1', 1});
}

TEST(Cescape, AnyOtherCharacterStandsForItself) {
    constexpr Row rows[] = {{"\\", '\\', 1}, {"\"", '"', 1}, {"q", 'q', 1},    {"N", 'N', 1},
                            {" ", ' ', 1},   {"v", 'v', 1},  {"\xE4", 0xE4, 1}};
    for (const Row &row : rows)
        expect(row);
}

TEST(Cescape, XAndDotGiveZeroAndDoNotMove) {
    expect({"x41", 0, 0});
    expect({".", 0, 0});
}

TEST(Cescape, FinalZeroStays) {
    expect({"", 0, 0});
}

TEST(Cescape, NewlineIsDroppedBeforeACharacterOrASequence) {
    constexpr Row rows[] = {
        {"\nn", 'n', 2},   {"\n\\n", 10, 3},   {"\n\\\n\\t", 9, 5},
        {"\n\n", '\n', 2}, {"\n\\012", 10, 5}, {"\n", 0, 1},
        {"\n\\", 0, 2},    {"\n\\x", 0, 2},    {"\n\\\nb", 'b', 4},
    };
    for (const Row &row : rows)
        expect(row);
}

TEST(Cescape, TargetMayBeLeftOut) {
    const char *const source = "012";
    EXPECT_EQ(cescape(nullptr, source), source + 3);
}

TEST(Cescape, LongRunOfDroppedNewlinesNeedsNoStack) {
    std::string source;
    for (int i = 0; i < 1000000; ++i)
        source += "\n\\";
    source += "t";
    char byte = 0;
    EXPECT_EQ(cescape(&byte, source.c_str()), source.c_str() + source.size());
    EXPECT_EQ(byte, 9);
}

} // namespace
