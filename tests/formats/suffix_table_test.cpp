// The file that tells which format a suffix belongs to.

#include "formats/suffix_table.h"

#include "formats/module_fixture.h"
#include "support/failing_malloc.h"

namespace vor::test {
namespace {

// "name suffixes, ..."; "no table" for none.
std::string rows_of(const SuffixRow *table) {
    if (!table) return "no table";
    std::string text;
    for (; table->name; ++table)
        text += (text.empty() ? "" : ", ") + std::string(table->name) + " " + table->suffixes;
    return text;
}

class SuffixTable : public ModuleTest {
protected:
    std::string read() const {
        return program([] {
            SuffixRow *const table = read_suffix_table();
            const std::string text = rows_of(table);
            free_suffix_table(table);
            return text;
        });
    }
    std::string read(const std::string &content) const {
        store_formats(content);
        return read();
    }
};

TEST_F(SuffixTable, IsReadFromLinesOfTwoFields) {
    const struct {
        const char *line;
        const char *rows;
    } cases[] = {
        {"tif .tif:.tiff", "tif .tif:.tiff"},
        {"tif\t \t.tif", "tif .tif"},
        {"  tif .tif  ", "tif .tif"},
        {"tif .tif # pictures", "tif .tif"},
        {"tif .tif#pictures", "tif .tif"},
        {"tif .tif .tiff", "tif .tif"},
        {"tif .tif\x01.tiff", "tif .tif"},
        {"tif .tif\x7F.tiff", "tif .tif"},
        {"tif .t\xE4:.\xF6", "tif .t\xE4:.\xF6"},
        {"tif .", "tif ."},
        {"tif .tif::.tiff:", "tif .tif::.tiff:"},
        {"# tif .tif", ""},
        {"; tif .tif", ""},
        {"#tif .tif", ""},
        {"", ""},
        {"   ", ""},
        {"tif", ""},
        {"tif   ", ""},
        {"tif# .tif", ""},
        {"tif #.tif", ""},
        {"tif\x01.tif", ""},
        {"tif tif", ""},
        {"tif :.tif", ""},
        {"tif.tif", ""},
        {".tif", ""},
    };
    for (const auto &[line, rows] : cases)
        EXPECT_EQ(read(std::string(line) + "\n"), rows) << line;
}

TEST_F(SuffixTable, MarksInFrontOfTheSuffixesMakeALineThatCountsForNothing) {
    for (const char *const marks : {"!c!", "!i!", "!I!", "!!"})
        EXPECT_EQ(read("tif " + std::string(marks) + ".tif\n"), "") << marks;
}

TEST_F(SuffixTable, HasTheRowsInTheirOrder) {
    EXPECT_EQ(read("b .b\n# a comment\nno list\na .a\nb .c\n"), "b .b, a .a, b .c");
    EXPECT_EQ(read("a .a\nb .b"), "a .a, b .b") << "the last line needs no end";
    EXPECT_EQ(read("a .a\r\nb .b\r\n"), "a .a, b .b");
}

TEST_F(SuffixTable, IsNoneWithoutAFile) {
    EXPECT_EQ(read(), "no table");
}

TEST_F(SuffixTable, IsEmptyForAnEmptyFile) {
    EXPECT_EQ(read(""), "");
}

TEST_F(SuffixTable, HoldsAnyNumberOfRows) {
    for (const int count : {99, 100, 101, 200, 201, 1000}) {
        std::string content;
        std::string rows;
        for (int i = 0; i < count; ++i) {
            content += "f" + std::to_string(i) + " .s" + std::to_string(i) + "\n";
            rows += (i > 0 ? ", f" : "f") + std::to_string(i) + " .s" + std::to_string(i);
        }
        EXPECT_EQ(read(content), rows) << count;
    }
}

TEST_F(SuffixTable, HoldsFieldsOfAnyLength) {
    const std::string name(5000, 'n');
    const std::string suffix(100000, 's');
    EXPECT_EQ(read(name + " ." + suffix + "\n"), name + " ." + suffix);
}

// Each allocation in turn is the one that fails.
TEST_F(SuffixTable, WithoutMemoryKeepsTheRowsSoFar) {
    std::string content;
    std::string all;
    for (int i = 0; i < 101; ++i) {
        content += "f .s\n";
        all += i > 0 ? ", f .s" : "f .s";
    }
    store_formats(content);
    bool reached = true;
    bool cut = false;
    for (long nth = 1; reached; ++nth) {
        const std::string rows = program([&] {
            const FailingMalloc no_memory(nth);
            SuffixRow *const table = read_suffix_table();
            std::string text = rows_of(table);
            free_suffix_table(table);
            return text + (no_memory.reached() ? "!" : "");
        });
        reached = rows.ends_with('!');
        const std::string kept = rows.substr(0, rows.size() - (reached ? 1 : 0));
        if (kept == "no table") continue;
        EXPECT_TRUE(all.starts_with(kept)) << nth << ": " << kept;
        cut = cut || (kept.size() < all.size() && !kept.empty());
        EXPECT_TRUE(reached || kept == all) << kept;
    }
    EXPECT_TRUE(cut);
}

TEST_F(SuffixTable, FindsTheFirstRowThatListsASuffix) {
    const SuffixRow table[] = {
        {"one", ".a:.Bc"}, {"two", "::.d:::.a:"}, {"three", "."}, {nullptr, nullptr}};
    const struct {
        const char *suffix;
        const char *format;
    } cases[] = {
        {".a", "one"},  {".A", "one"},    {".bC", "one"},  {".d", "two"},
        {".D", "two"},  {".", "three"},   {".b", nullptr}, {".bcd", nullptr},
        {"a", nullptr}, {".a:", nullptr}, {".e", nullptr},
    };
    for (const auto &[suffix, format] : cases)
        EXPECT_STREQ(format_of_suffix(table, suffix), format) << suffix;
}

} // namespace
} // namespace vor::test
