// The script has a line for each thing that may be offered, under the condition that a certain
// sub-command is on the line.

#include "completion_scripts.h"

namespace vor::tool {
namespace {

constexpr const char *head =
    R"(# Completion of vor's command line in fish: vor completion fish | source
function __vor_at --description 'Whether the line is at this sub-command of vor'
    set -l command vor
    for word in (commandline --tokenize --cut-at-cursor --current-process)[2..]
        switch "$command $word"
            case )";

constexpr const char *middle = R"(
                set command "$command $word"
        end
    end
    test "$command" = "$argv"
end

complete -c vor -e
complete -c vor -f
)";

std::string quoted(const std::string &text) {
    std::string result = "'";
    for (const char c : text) {
        if (c == '\'' || c == '\\') result += '\\';
        result += c;
    }
    return result + "'";
}

std::string line(const Command &command, const std::string &rest) {
    return "complete -c vor -n " + quoted("__vor_at " + command.words) + " " + rest + "\n";
}

std::string value_part(const Argument &argument) {
    if (!argument.choices.empty()) return " -x -a " + quoted(joined(argument.choices, " "));
    if (argument.value.empty()) return "";
    return argument.is_file ? " -r -F" : " -x";
}

std::string option_line(const Command &command, const Argument &option) {
    Names names;
    for (const std::string &name : option.names)
        names.push_back(name.starts_with("--") ? "-l " + name.substr(2) : "-s " + name.substr(1));
    return line(command,
                joined(names, " ") + value_part(option) + " -d " + quoted(option.description));
}

std::string place_line(const Command &command, const Argument &place) {
    if (!place.choices.empty())
        return line(command, "-a " + quoted(joined(place.choices, " ")) + " -d " +
                                 quoted(place.description));
    return place.is_file ? line(command, "-F") : "";
}

std::string lines(const Command &command) {
    std::string text;
    for (const Command &inner : command.commands)
        text += line(command, "-a " + inner.name + " -d " + quoted(inner.description));
    for (const Argument &option : command.options)
        text += option_line(command, option);
    for (const Argument &place : command.places)
        text += place_line(command, place);
    return text;
}

} // namespace

std::string fish_completion(const Command &top) {
    Names inner;
    std::string all;
    visit_all(top, [&](const Command &command) {
        if (&command != &top) inner.push_back(quoted(command.words));
        all += lines(command);
    });
    return head + joined(inner, " ") + middle + all;
}

} // namespace vor::tool
