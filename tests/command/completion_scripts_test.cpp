// What a text of the help may hold must not break a script. The scripts are run by the cases
// completion_*.
#include "completion_scripts.h"

#include <string>

#include <gtest/gtest.h>

namespace {

using vor::tool::Argument;
using vor::tool::Command;

// A command with one option.
Command command_with(const std::string &description, const vor::tool::Names &choices) {
    Argument option;
    option.names = {"--odd"};
    option.value = "TEXT";
    option.choices = choices;
    option.description = description;
    Command command;
    command.words = command.name = "vor";
    command.options = {option};
    return command;
}

bool has(const std::string &script, const std::string &line) {
    return script.find(line) != std::string::npos;
}

TEST(CompletionScripts, BashQuotesChoices) {
    const std::string script =
        bash_completion(command_with("", {"it's", "$HOME", "a b", "`x`", "\\"}));
    EXPECT_TRUE(has(script, R"('vor --odd') fitting=('it'\''s' '$HOME' 'a b' '`x`' '\') ;;)"))
        << script;
}

TEST(CompletionScripts, ZshEscapesDescriptions) {
    const std::string script =
        zsh_completion(command_with(R"(a [b] 'c' \d: $e)", {"x:y", "(z)", "a b"}));
    EXPECT_TRUE(has(script, R"('(--odd)--odd=[a \[b\] '\''c'\'' \\d: $e]:TEXT:(x\:y \(z\) a\ b)')"))
        << script;
}

TEST(CompletionScripts, FishEscapesDescriptions) {
    const std::string script = fish_completion(command_with(R"(it's \ $HOME)", {"x", "y"}));
    EXPECT_TRUE(has(script, R"(-l odd -x -a 'x y' -d 'it\'s \\ $HOME')")) << script;
}

TEST(CompletionScripts, FunctionsOfZshHaveNamesWithoutBlanksAndHyphens) {
    Command inner;
    inner.words = "vor two-words get";
    inner.name = "get";
    Command top = command_with("", {});
    top.commands = {inner};
    EXPECT_TRUE(has(zsh_completion(top), "\n_vor_two_words_get() {\n"));
}

TEST(CompletionScripts, RepeatedOptionOfZshIsOfferedAgain) {
    Command top = command_with("", {});
    top.options[0].repeats = true;
    EXPECT_TRUE(has(zsh_completion(top), "'*--odd=[]:TEXT:( )'"));
}

} // namespace
