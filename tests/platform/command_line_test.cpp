#include "platform/posix/command_line.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/failing_malloc.h"

namespace {

using vor::os::Texts;
using vor::test::FailingMalloc;
using Words = std::vector<std::string>;

Words words_of(const Texts &texts) {
    Words words;
    for (size_t i = 0; texts[i]; ++i)
        words.push_back(texts[i]);
    return words;
}

TEST(CommandLine, IsSplitAtBlanksAndTabs) {
    EXPECT_EQ(words_of(vor::os::split_command_line("a bc\td")), (Words{"a", "bc", "d"}));
    EXPECT_EQ(words_of(vor::os::split_command_line("  a \t ")), (Words{"a"}));
    EXPECT_EQ(words_of(vor::os::split_command_line("a\nb")), (Words{"a\nb"}));
    EXPECT_EQ(words_of(vor::os::split_command_line("")), Words{});
    EXPECT_EQ(words_of(vor::os::split_command_line(" \t")), Words{});
}

TEST(CommandLine, DoubleQuotesGroupAndGo) {
    EXPECT_EQ(words_of(vor::os::split_command_line("\"a b\" c\" \"d e")),
              (Words{"a b", "c d", "e"}));
    EXPECT_EQ(words_of(vor::os::split_command_line("\"\" \"\"")), (Words{"", ""}));
    EXPECT_EQ(words_of(vor::os::split_command_line("a\\\"b c\"")), (Words{"a\\b c"}));
    EXPECT_EQ(words_of(vor::os::split_command_line("\"open end")), (Words{"open end"}));
}

TEST(CommandLine, EnvironmentBlockIsTextsUpToAnEmptyOne) {
    EXPECT_EQ(words_of(vor::os::split_environment("A=1\0B=2\0")), (Words{"A=1", "B=2"}));
    EXPECT_EQ(words_of(vor::os::split_environment("")), Words{});
}

TEST(CommandLine, ProgramIsLookedForInEachDirectory) {
    EXPECT_EQ(words_of(vor::os::program_names("p", "/bin:/usr/bin")),
              (Words{"/bin/p", "/usr/bin/p"}));
    EXPECT_EQ(words_of(vor::os::program_names("p", ":a::")), (Words{"p", "a/p", "p", "p"}));
    EXPECT_EQ(words_of(vor::os::program_names("p", "")), (Words{"p"}));
    EXPECT_EQ(words_of(vor::os::program_names("./p", "/bin:/usr/bin")), (Words{"./p"}));
}

TEST(CommandLine, NoMemoryGivesNothing) {
    const auto without_memory = [](auto call) {
        const FailingMalloc failing(1);
        return !call();
    };
    EXPECT_TRUE(without_memory([] { return vor::os::split_command_line("a"); }));
    EXPECT_TRUE(without_memory([] { return vor::os::split_environment(""); }));
    EXPECT_TRUE(without_memory([] { return vor::os::program_names("a", "b"); }));
}

} // namespace
