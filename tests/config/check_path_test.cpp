#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "config/gd.h"
#include "support/capture.h"
#include "support/failing_malloc.h"

namespace {

using vor::test::captured_stderr;
using vor::test::FailingMalloc;

constexpr const char *warning = "(warning) check_path: argument string too long!\n";

// With the directories that a test gives, and no others.
class CheckPath : public ::testing::Test {
protected:
    void SetUp() override {
        gd.topdir = "/t";
        gd.homedir = "/h";
        gd.defaultdir = "/d";
    }
    void TearDown() override { gd.topdir = gd.homedir = gd.defaultdir = nullptr; }

    // The result, and in `said` what goes to the standard error stream.
    static std::string expanded(const std::string &text, std::string *said = nullptr) {
        std::string result;
        const std::string heard = captured_stderr([&] {
            char *const copy = check_path(text.c_str());
            result = copy;
            std::free(copy);
        });
        if (said) *said = heard;
        return result;
    }
};

TEST_F(CheckPath, ReplacesMarksWhereverTheyStand) {
    struct Row {
        const char *text;
        const char *result;
    };
    constexpr Row rows[] = {
        {";~/lib;*/lib", ";/h/lib;/d/lib"},
        {"x!", "x/t"},
        {"!", "/t"},
        {"~", "/h"},
        {"*", "/d"},
        {"!/bin", "/t/bin"},
        {"!:~:*", "/t:/h:/d"},
        {"a/~/b", "a//h/b"},
        {"x~/b", "x/h/b"},
        {"!!", "!/t"},
        {"~*/", "~/d/"},
        {";*", ";/d"},
    };
    for (const Row &row : rows) {
        std::string said;
        EXPECT_EQ(expanded(row.text, &said), row.result) << row.text;
        EXPECT_EQ(said, "") << row.text;
    }
}

TEST_F(CheckPath, LeavesOtherTextAlone) {
    for (const char *text : {"", "c:/temp", "a~b", "!x/", "*.vor", "!;x", "~;", "*\\lib", "/a/b:c",
                             "~ /", "\xFC/~\xFC"})
        EXPECT_EQ(expanded(text), text);
}

TEST_F(CheckPath, MarkStaysWhileItsDirectoryIsNotKnown) {
    gd.defaultdir = nullptr;
    EXPECT_EQ(expanded("*/x;~/x"), "*/x;/h/x");
    gd.homedir = nullptr;
    EXPECT_EQ(expanded("~/x;!"), "~/x;/t");
    gd.topdir = nullptr;
    EXPECT_EQ(expanded("!/x;!"), "!/x;!");
}

TEST_F(CheckPath, EmptyDirectoryReplacesTheMark) {
    gd.homedir = "";
    EXPECT_EQ(expanded("~/x"), "/x");
}

TEST_F(CheckPath, DirectoryIsNotExpandedAgain) {
    gd.homedir = "!/~";
    EXPECT_EQ(expanded("~/x"), "!/~/x");
}

TEST_F(CheckPath, LongestTextFits) {
    std::string said;
    const std::string longest(CHECK_PATH_MAX, 'x');
    EXPECT_EQ(expanded(longest, &said), longest);
    EXPECT_EQ(said, "");
}

TEST_F(CheckPath, StopsWithAWarningAtTheCharacterThatDoesNotFit) {
    std::string said;
    const std::string longest(CHECK_PATH_MAX, 'x');
    EXPECT_EQ(expanded(longest + "y", &said), longest);
    EXPECT_EQ(said, warning);
    EXPECT_EQ(expanded(longest + std::string(100000, 'y'), &said), longest);
    EXPECT_EQ(said, warning) << "once";
}

TEST_F(CheckPath, StopsWithAWarningAtTheDirectoryThatDoesNotFit) {
    gd.homedir = "/home";
    std::string said;
    const std::string start(CHECK_PATH_MAX - 5, 'x');
    EXPECT_EQ(expanded(start + "~", &said), start + "/home");
    EXPECT_EQ(said, "");
    // What comes behind it would fit, but is not reached.
    EXPECT_EQ(expanded(start + "x~/y", &said), start + "x");
    EXPECT_EQ(said, warning);
}

TEST_F(CheckPath, WithoutMemoryTheProcessEnds) {
    EXPECT_EXIT(
        {
            const FailingMalloc failing(1);
            check_path("x");
        },
        ::testing::ExitedWithCode(1), "^check_path: low memory, fatal\n$");
}

} // namespace
