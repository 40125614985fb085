// The script has a function a command. That of a command with sub-commands finds out which one is
// meant and calls its function; the others hand their options and places to _arguments.

#include "completion_scripts.h"

namespace vor::tool {
namespace {

constexpr const char *head = R"zsh(#compdef vor
# Completion of vor's command line in zsh: a file _vor in fpath, or eval "$(vor completion zsh)".
)zsh";

// Read as a file of fpath, the whole script is the function _vor at its first call.
constexpr const char *tail = R"zsh(
if [[ $funcstack[1] == _vor ]]; then
    _vor "$@"
else
    compdef _vor vor
fi
)zsh";

std::string escaped(const std::string &text, std::string_view special) {
    std::string result;
    for (const char c : text) {
        if (special.find(c) != std::string_view::npos) result += '\\';
        result += c;
    }
    return result;
}

std::string function_name(const Command &command) {
    std::string name = "_" + command.words;
    for (char &c : name)
        if (c == ' ' || c == '-') c = '_';
    return name;
}

// The value in an entry for _arguments: what it is called, and what it may be.
std::string value_part(const Argument &argument) {
    std::string text = ":" + escaped(argument.value, ":\\") + ":";
    if (!argument.choices.empty()) {
        Names choices;
        for (const std::string &choice : argument.choices)
            choices.push_back(escaped(choice, " ()\\:"));
        return text + "(" + joined(choices, " ") + ")";
    }
    return text + (argument.is_file ? "_files" : "( )"); // a bare blank would hide options
}

// Once one name is on the line, the others and what it excludes are not offered.
std::string option_entries(const Argument &option) {
    const std::string description = "[" + escaped(option.description, "[]\\") + "]";
    Names rivals = option.names;
    rivals.insert(rivals.end(), option.excludes.begin(), option.excludes.end());
    std::string text;
    for (const std::string &name : option.names) {
        std::string entry = option.repeats ? "*" : "(" + joined(rivals, " ") + ")";
        entry += name;
        if (!option.value.empty()) entry += name.starts_with("--") ? "=" : "+";
        entry += description;
        if (!option.value.empty()) entry += value_part(option);
        text += " \\\n        " + one_word(entry);
    }
    return text;
}

std::string place_entry(const Argument &place) {
    const char *mark = place.repeats ? "*" : place.required ? "" : ":";
    return " \\\n        " + one_word(mark + value_part(place));
}

std::string entries(const Command &command) {
    std::string text;
    for (const Argument &option : command.options)
        text += option_entries(option);
    for (const Argument &place : command.places)
        text += place_entry(place);
    return text;
}

std::string leaf(const Command &command) {
    return "    _arguments -s -S" + entries(command) + "\n";
}

std::string branch(const Command &command) {
    std::string text = "    local context state state_descr line\n"
                       "    local -A opt_args\n"
                       "    local -a commands\n"
                       "    _arguments -C" +
                       entries(command) +
                       " \\\n        '1: :->command' '*:: :->rest'\n"
                       "    case $state in\n"
                       "    command)\n"
                       "        commands=(\n";
    for (const Command &inner : command.commands)
        text += "            " + one_word(inner.name + ":" + inner.description) + "\n";
    text += "        )\n"
            "        _describe -t commands command commands\n"
            "        ;;\n"
            "    rest)\n"
            "        case $words[1] in\n";
    for (const Command &inner : command.commands)
        text += "        " + inner.name + ") " + function_name(inner) + " ;;\n";
    return text + "        esac\n"
                  "        ;;\n"
                  "    esac\n";
}

} // namespace

std::string zsh_completion(const Command &top) {
    std::string text = head;
    visit_all(top, [&](const Command &command) {
        text += "\n" + function_name(command) + "() {\n" +
                (command.commands.empty() ? leaf(command) : branch(command)) + "}\n";
    });
    return text + tail;
}

} // namespace vor::tool
