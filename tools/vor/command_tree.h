// The command line as plain facts, for what is made from it: completion scripts and manual pages.
#ifndef VOR_TOOL_COMMAND_TREE_H
#define VOR_TOOL_COMMAND_TREE_H

#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>

namespace vor::tool {

using Names = std::vector<std::string>;

// An option, or an argument that is told by its place.
struct Argument {
    Names names;          // "-q", "--quiet"; none if the place tells it
    std::string value;    // stands for the value in texts; empty: a switch
    bool is_file = false; // the value names a file
    Names choices;        // the values that there are; empty: any
    std::string range;    // "1 to 255"; empty: any
    std::string fallback; // the value if none is given; empty: the description tells it
    Names needs;          // options without which this one is refused
    Names excludes;       // options with which this one is refused
    std::string description;
    bool required = false;
    bool repeats = false;
};

struct Command {
    std::string words; // "vor tags get"
    std::string name;  // the last of them
    std::string group;
    std::string description;
    std::string footer;
    std::vector<Argument> options;
    std::vector<Argument> places;
    std::vector<Command> commands;
};

Command describe(const CLI::App &app, const std::string &outer = "");

// Texts with `between` between them.
std::string joined(const Names &texts, std::string_view between);

// Calls `visit` with a command and all below it, outer ones first.
template <class Visit>
void visit_all(const Command &command, const Visit &visit) {
    visit(command);
    for (const Command &inner : command.commands)
        visit_all(inner, visit);
}

} // namespace vor::tool

#endif
