#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "util/paths.h"

namespace {

TEST(Basename, IsBehindDriveAndLastSeparator) {
    struct Row {
        const char *name;
        const char *base;
    };
    constexpr Row rows[] = {
        {"C:file", "file"},
        {"C:/file", "file"},
        {"c:\\dir\\file", "file"},
        {"file", "file"},
        {"/file", "file"},
        {"a/b/c", "c"},
        {"a\\b/c", "c"},
        {"a/b\\c", "c"},
        {"dir/", ""},
        {"", ""},
        {"C:", ""},
        {"/", ""},
        {"1:file", "1:file"},
        {"ab:c", "ab:c"},
    };
    for (const Row &row : rows) {
        const char *const base = kel_basename(row.name);
        EXPECT_STREQ(base, row.base) << row.name;
        EXPECT_EQ(base + std::strlen(base), row.name + std::strlen(row.name)) << row.name;
    }
}

struct DirnameRow {
    const char *name;
    const char *directory;
    int32_t result;
};

void expect_dirname(const DirnameRow &row) {
    char buffer[64];
    std::memset(buffer, 'x', sizeof buffer);
    EXPECT_EQ(kel_dirname(buffer, row.name), row.result) << row.name;
    EXPECT_STREQ(buffer, row.directory) << row.name;
    std::strcpy(buffer, row.name);
    EXPECT_EQ(kel_dirname(buffer, buffer), row.result) << row.name << " in place";
    EXPECT_STREQ(buffer, row.directory) << row.name << " in place";
}

TEST(Dirname, WithoutADirectoryIsDotAndZero) {
    expect_dirname({"file", ".", 0});
    expect_dirname({"", ".", 0});
}

TEST(Dirname, RootKeepsItsSeparator) {
    constexpr DirnameRow rows[] = {
        {"/file", "/", 1},     {"\\file", "\\", 1},     {"/", "/", 1},
        {"C:/file", "C:/", 3}, {"C:\\file", "C:\\", 3}, {"C:/", "C:/", 3},
    };
    for (const DirnameRow &row : rows)
        expect_dirname(row);
}

TEST(Dirname, DriveWithoutASeparatorStaysAlone) {
    expect_dirname({"C:file", "C:", 2});
    expect_dirname({"C:", "C:", 2});
}

TEST(Dirname, OtherwiseTheLastSeparatorGoes) {
    constexpr DirnameRow rows[] = {
        {"a/b", "a", 1},       {"/a/b", "/a", 2},   {"a/b/c", "a/b", 3}, {"a\\b\\c", "a\\b", 3},
        {"C:/a/b", "C:/a", 4}, {"C:a/b", "C:a", 3}, {"dir/", "dir", 3},  {"a//b", "a/", 2},
    };
    for (const DirnameRow &row : rows)
        expect_dirname(row);
}

struct SuffixRow {
    const char *name;
    const char *suffix;
    const char *after;
    int32_t changed;
};

void expect_suffix(const SuffixRow &row) {
    char name[64];
    std::strcpy(name, row.name);
    EXPECT_EQ(setsuffix(name, row.suffix), row.changed) << row.name;
    EXPECT_STREQ(name, row.after) << row.name;
}

TEST(Setsuffix, SameSuffixChangesNothing) {
    expect_suffix({"file.vor", ".vor", "file.vor", 0});
}

TEST(Setsuffix, ReplacesTheLastSuffix) {
    constexpr SuffixRow rows[] = {
        {"file.vor", ".tif", "file.tif", 1},         {"a.b.c", ".d", "a.b.d", 1},
        {"dir.x/file.vor", ".t", "dir.x/file.t", 1}, {"file.", ".t", "file.t", 1},
        {"file.VOR", ".vor", "file.vor", 1},         {"a.long", ".s", "a.s", 1},
        {"a.s", ".longer", "a.longer", 1},           {".rc.old", ".new", ".rc.new", 1},
        {"C:file.x", ".y", "C:file.y", 1},
    };
    for (const SuffixRow &row : rows)
        expect_suffix(row);
}

TEST(Setsuffix, AddsToANameWithoutOne) {
    constexpr SuffixRow rows[] = {
        {"file", ".vor", "file.vor", 1},
        {"dir.x/file", ".vor", "dir.x/file.vor", 1},
        {"dir.x\\file", ".vor", "dir.x\\file.vor", 1},
        {".profile", ".vor", ".profile.vor", 1},
        {"...name", ".vor", "...name.vor", 1},
        {"dir/", ".vor", "dir/.vor", 1},
    };
    for (const SuffixRow &row : rows)
        expect_suffix(row);
}

TEST(Setsuffix, BehindDotsAloneLeavesTheDotOut) {
    constexpr SuffixRow rows[] = {
        {"..", ".vor", "..vor", 1},
        {".", ".vor", ".vor", 1},
        {"dir/..", ".vor", "dir/..vor", 1},
        {"..", ".", "..", 0},
    };
    for (const SuffixRow &row : rows)
        expect_suffix(row);
}

TEST(Setsuffix, WithoutASuffixCutsTheOldOne) {
    constexpr SuffixRow rows[] = {
        {"file.vor", nullptr, "file", 1}, {"file.vor", "", "file", 1}, {"file", nullptr, "file", 0},
        {"file", "", "file", 0},          {".rc", nullptr, ".rc", 0},  {"..", "", "..", 0},
        {"a.b/c", "", "a.b/c", 0},
    };
    for (const SuffixRow &row : rows)
        expect_suffix(row);
}

TEST(Setsuffix, EmptyNameStaysEmpty) {
    expect_suffix({"", ".vor", "", 0});
    expect_suffix({"", nullptr, "", 0});
}

TEST(IsabsPath, TellsDriveAndRootApart) {
    struct Row {
        const char *name;
        int32_t result;
    };
    constexpr Row rows[] = {
        {"file", 0}, {"a/b", 0},  {"", 0},      {"/file", 1},  {"\\file", 1}, {"C:file", 2},
        {"z:", 2},   {"C:/f", 3}, {"c:\\f", 3}, {"./file", 0}, {"1:/f", 0},   {":/f", 0},
    };
    for (const Row &row : rows)
        EXPECT_EQ(isabs_path(row.name), row.result) << row.name;
}

} // namespace
