#include "manual_pages.h"

#include <string>

#include <gtest/gtest.h>

namespace {

using vor::tool::Argument;
using vor::tool::Command;
using vor::tool::manual_page;

Command command_of(const std::string &words, const std::string &group = "") {
    Command command;
    command.words = words;
    command.name = words.substr(words.rfind(' ') + 1);
    command.group = group;
    command.description = "Does " + command.name;
    return command;
}

// The lines of a page from a heading to the next one.
std::string section(const std::string &page, const std::string &heading) {
    const std::string mark = ".SH " + heading + "\n";
    const size_t begin = page.find(mark);
    if (begin == std::string::npos) return "";
    const size_t end = page.find(".SH ", begin + mark.size());
    return page.substr(begin + mark.size(), end - begin - mark.size());
}

std::string page_of(const Command &command) {
    return manual_page(command, command);
}

TEST(ManualPage, BeginsWithItsNameAndWhatItDoes) {
    const std::string page = page_of(command_of("tool tags"));
    EXPECT_EQ(section(page, "NAME"), "tool\\-tags \\- does tags\n");
    EXPECT_EQ(section(page, "SYNOPSIS"), "\\fBtool tags\\fR\n");
    EXPECT_EQ(section(page, "DESCRIPTION"), "Does tags.\n");
}

TEST(ManualPage, SynopsisShowsWhatHasToBeGivenAndWhatRepeats) {
    Command command = command_of("tool");
    command.options.resize(1);
    command.options[0].names = {"-q"};
    command.places.resize(2);
    command.places[0].value = "IN";
    command.places[0].required = true;
    command.places[1].value = "OTHER";
    command.places[1].repeats = true;
    EXPECT_EQ(section(page_of(command), "SYNOPSIS"),
              "\\fBtool\\fR [\\fIOPTION\\fR ...] \\fIIN\\fR [\\fIOTHER\\fR ...]\n");
}

TEST(ManualPage, OptionTellsItsValueChoicesRangeDefaultAndRivals) {
    Command command = command_of("tool");
    Argument level;
    level.names = {"-l", "--level"};
    level.value = "INT";
    level.range = "1 to 9";
    level.fallback = "3";
    level.description = "How much";
    level.excludes = {"--all", "--none"};
    Argument way;
    way.names = {"--way"};
    way.value = "TEXT";
    way.choices = {"up", "down"};
    way.description = "Where to.";
    way.required = true;
    way.needs = {"--level"};
    command.options = {level, way};
    EXPECT_EQ(section(page_of(command), "OPTIONS"),
              ".TP\n\\fB\\-l\\fR \\fIINT\\fR, \\fB\\-\\-level\\fR \\fIINT\\fR\n"
              "How much. From 1 to 9. Default: 3. Not together with \\-\\-all or \\-\\-none.\n"
              ".TP\n\\fB\\-\\-way\\fR \\fBup\\fR|\\fBdown\\fR\n"
              "Where to. Has to be given. Only with \\-\\-level.\n");
}

TEST(ManualPage, FooterIsDividedIntoProseStatusAndExamples) {
    Command command = command_of("tool");
    command.footer = "More words.\nExit status: 0 nothing is lost,\n1 something is, 1 by 1.\n"
                     "Example:\n  tool a\n  tool b";
    const std::string page = page_of(command);
    EXPECT_EQ(section(page, "DESCRIPTION"), "Does tool.\n.PP\nMore words.\n");
    EXPECT_EQ(section(page, "EXAMPLES"), ".EX\ntool a\ntool b\n.EE\n");
    EXPECT_EQ(section(page, "EXIT STATUS"),
              ".TP\n\\fB0\\fR\nNothing is lost.\n.TP\n\\fB1\\fR\nSomething is, 1 by 1.\n"
              ".TP\n\\fB2\\fR\nThe command line is wrong.\n");
}

TEST(ManualPage, GeneralLineOnTheStatusGivesWayToTheSection) {
    Command command = command_of("tool");
    command.footer = "Exit status: 0 good, 1 bad, 2 wrong usage.";
    const std::string page = page_of(command);
    EXPECT_EQ(section(page, "DESCRIPTION"), "Does tool.\n");
    EXPECT_NE(section(page, "EXIT STATUS").find("The job is done"), std::string::npos);
}

TEST(ManualPage, TopListsItsCommandsByTheirHeadings) {
    Command top = command_of("tool");
    top.commands = {command_of("tool see", "Look"), command_of("tool tell", "Look"),
                    command_of("tool make", "Change")};
    const std::string page = page_of(top);
    EXPECT_EQ(section(page, "COMMANDS"), ".SS Look\n.TP\n\\fBtool\\-see\\fR(1)\nDoes see.\n"
                                         ".TP\n\\fBtool\\-tell\\fR(1)\nDoes tell.\n"
                                         ".SS Change\n.TP\n\\fBtool\\-make\\fR(1)\nDoes make.\n");
    EXPECT_EQ(section(page, "SEE ALSO"),
              "\\fBtool\\-see\\fR(1),\n\\fBtool\\-tell\\fR(1),\n\\fBtool\\-make\\fR(1)\n");
    EXPECT_EQ(section(manual_page(top.commands[0], top), "SEE ALSO"),
              "\\fBtool\\fR(1),\n\\fBtool\\-tell\\fR(1)\n");
}

TEST(ManualPage, CommandsBelowASubCommandAreOnItsPage) {
    Command top = command_of("tool");
    top.commands = {command_of("tool tags")};
    Command &tags = top.commands[0];
    tags.commands = {command_of("tool tags get")};
    tags.commands[0].places.resize(1);
    tags.commands[0].places[0].value = "NAME";
    tags.commands[0].places[0].description = "The tag";
    tags.commands[0].footer = "Byte by byte.\nExample:\n  tool tags get x";
    EXPECT_EQ(section(manual_page(tags, top), "COMMANDS"),
              ".SS tool tags get\n\\fBtool tags get\\fR [\\fINAME\\fR]\n.PP\nDoes get.\n"
              ".PP\nByte by byte.\n.TP\n\\fINAME\\fR\nThe tag.\n.PP\n.EX\ntool tags get x\n.EE\n");
}

TEST(ManualPage, EnvironmentIsToldWithItsDefaults) {
    const std::string text = section(page_of(command_of("vor info")), "ENVIRONMENT");
    EXPECT_NE(text.find(".TP\n\\fBQUORVENTAHOME\\fR\nThe home directory; \\(ti in paths. "
                        "Default: HOME, or HOMEDRIVE and HOMEPATH.\n"),
              std::string::npos)
        << text;
    EXPECT_EQ(section(page_of(command_of("vor units")), "ENVIRONMENT"), "");
}

} // namespace
