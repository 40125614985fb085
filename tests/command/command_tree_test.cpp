#include "command_tree.h"

#include <map>
#include <string>

#include <CLI/CLI.hpp>
#include <gtest/gtest.h>

namespace {

using vor::tool::Argument;
using vor::tool::Command;
using vor::tool::describe;
using vor::tool::Names;

// A command line with one option, which `set_up` gets.
template <class Value, class SetUp>
Argument option_with(Value *value, const SetUp &set_up) {
    CLI::App app("", "tool");
    app.set_help_flag();
    set_up(app.add_option("-l,--level", *value, "A level"));
    return describe(app).options.at(0);
}

TEST(CommandTree, OptionHasItsNamesShortOnesFirst) {
    int level = 0;
    const Argument argument = option_with(&level, [](CLI::Option *) {});
    EXPECT_EQ(argument.names, (Names{"-l", "--level"}));
    EXPECT_EQ(argument.description, "A level");
    EXPECT_EQ(argument.value, "INT");
    EXPECT_FALSE(argument.required);
    EXPECT_FALSE(argument.repeats);
    EXPECT_FALSE(argument.is_file);
    EXPECT_TRUE(argument.choices.empty());
    EXPECT_EQ(argument.range, "");
    EXPECT_EQ(argument.fallback, "");
}

TEST(CommandTree, ChoicesAreThoseOfTheListInItsOrder) {
    std::string level;
    const Argument argument = option_with(&level, [](CLI::Option *option) {
        option->check(CLI::IsMember({"low", "high", "all"}));
    });
    EXPECT_EQ(argument.choices, (Names{"low", "high", "all"}));
    EXPECT_EQ(argument.value, "TEXT");
}

TEST(CommandTree, ChoicesOfNamesForNumbersAreTheNames) {
    int level = 0;
    const std::map<std::string, int> names = {{"high", 2}, {"low", 1}};
    const Argument argument = option_with(
        &level, [&](CLI::Option *option) { option->transform(CLI::CheckedTransformer(names)); });
    EXPECT_EQ(argument.choices, (Names{"high", "low"}));
}

TEST(CommandTree, RangeIsInWords) {
    int level = 0;
    const Argument argument =
        option_with(&level, [](CLI::Option *option) { option->check(CLI::Range(-5, 17)); });
    EXPECT_EQ(argument.range, "-5 to 17");
    EXPECT_TRUE(argument.choices.empty());
}

TEST(CommandTree, DefaultIsTheOneThatTheHelpShows) {
    int level = 12;
    const Argument argument =
        option_with(&level, [](CLI::Option *option) { option->capture_default_str(); });
    EXPECT_EQ(argument.fallback, "12");
}

TEST(CommandTree, FlagHasNoValue) {
    CLI::App app("", "tool");
    bool quiet = false;
    app.add_flag("-q,--quiet", quiet, "Say nothing");
    const Command command = describe(app);
    ASSERT_EQ(command.options.size(), 2U);
    EXPECT_EQ(command.options[0].names, (Names{"-h", "--help"}));
    EXPECT_EQ(command.options[1].names, (Names{"-q", "--quiet"}));
    EXPECT_EQ(command.options[1].value, "");
    EXPECT_FALSE(command.options[1].repeats);
}

TEST(CommandTree, PlacesTellWhetherTheyRepeatAndHaveToBeFilled) {
    CLI::App app("", "tool");
    std::string first;
    std::vector<std::string> others;
    app.add_option("FIRST", first, "One")->required();
    app.add_option("OTHER", others, "More");
    const Command command = describe(app);
    ASSERT_EQ(command.places.size(), 2U);
    EXPECT_EQ(command.places[0].value, "FIRST");
    EXPECT_TRUE(command.places[0].names.empty());
    EXPECT_TRUE(command.places[0].required);
    EXPECT_FALSE(command.places[0].repeats);
    EXPECT_EQ(command.places[1].value, "OTHER");
    EXPECT_FALSE(command.places[1].required);
    EXPECT_TRUE(command.places[1].repeats);
}

TEST(CommandTree, FilesAreToldByTheNameOfTheirPlace) {
    const std::map<std::string, bool> expected = {
        {"FILE", true},   {"FILE_A", true}, {"FILE2", true},  {"IN", true},   {"OUT", true},
        {"FILES", false}, {"INDEX", false}, {"OUTER", false}, {"NAME", false}};
    for (const auto &[name, is_file] : expected) {
        CLI::App app("", "tool");
        std::string value;
        app.add_option(name, value);
        EXPECT_EQ(describe(app).places.at(0).is_file, is_file) << name;
    }
}

TEST(CommandTree, FilesAreToldByTheTypeOfAnOption) {
    std::string level;
    const Argument argument =
        option_with(&level, [](CLI::Option *option) { option->type_name("FILE"); });
    EXPECT_TRUE(argument.is_file);
    EXPECT_EQ(argument.value, "FILE");
}

TEST(CommandTree, RivalsAndCompanionsAreNamedInOrder) {
    CLI::App app("", "tool");
    app.set_help_flag();
    bool flag = false;
    CLI::Option *zebra = app.add_flag("--zebra", flag);
    CLI::Option *ant = app.add_flag("--ant", flag);
    app.add_flag("--cow", flag)->excludes(zebra)->excludes(ant);
    app.add_flag("--dog", flag)->needs(ant);
    const Command command = describe(app);
    EXPECT_EQ(command.options.at(2).excludes, (Names{"--ant", "--zebra"}));
    EXPECT_EQ(command.options.at(0).excludes, (Names{"--cow"}));
    EXPECT_EQ(command.options.at(3).needs, (Names{"--ant"}));
}

TEST(CommandTree, HiddenOptionsAreLeftOut) {
    CLI::App app("", "tool");
    app.set_help_flag();
    bool flag = false;
    app.add_flag("--secret", flag)->group("");
    EXPECT_TRUE(describe(app).options.empty());
}

TEST(CommandTree, InnerCommandsHaveTheWordsThatCallThem) {
    CLI::App app("", "tool");
    CLI::App *outer = app.add_subcommand("tags", "About tags");
    outer->group("Change");
    outer->footer("Example:\n  tool tags get");
    outer->add_subcommand("get", "Gets one");
    outer->add_subcommand("set", "Sets one");
    const Command top = describe(app);
    EXPECT_EQ(top.words, "tool");
    ASSERT_EQ(top.commands.size(), 1U);
    EXPECT_EQ(top.commands[0].words, "tool tags");
    EXPECT_EQ(top.commands[0].group, "Change");
    EXPECT_EQ(top.commands[0].footer, "Example:\n  tool tags get");
    EXPECT_EQ(top.commands[0].commands.at(1).words, "tool tags set");
    EXPECT_EQ(top.commands[0].commands.at(1).name, "set");

    Names seen;
    visit_all(top, [&](const Command &command) { seen.push_back(command.words); });
    EXPECT_EQ(seen, (Names{"tool", "tool tags", "tool tags get", "tool tags set"}));
}

} // namespace
