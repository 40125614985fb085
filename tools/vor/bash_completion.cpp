// The script is one function. A loop over the words before the cursor finds the sub-command, the
// option that awaits its value and the number of places that are filled; a table gives what fits
// there. Where it is a file, nothing is offered, and the shell's own completion of names steps in.

#include "completion_scripts.h"

namespace vor::tool {
namespace {

constexpr const char *head =
    R"(# Completion of vor's command line in bash: source <(vor completion bash)
_vor() {
    local current=${COMP_WORDS[COMP_CWORD]} command=vor option= ended= word key
    local -i i place=0
    local -a fitting=()
    COMPREPLY=()
    for ((i = 1; i < COMP_CWORD; i++)); do
        word=${COMP_WORDS[i]}
        if [[ $ended ]]; then
            place+=1
        elif [[ $word == = ]]; then # --option=value comes as three words
            continue
        elif [[ $option ]]; then
            option=
        else
            case "$command $word" in
)";

constexpr const char *middle = R"(            *' --') ended=yes ;;
            *' -'*) ;;
            *) place+=1 ;;
            esac
        fi
    done
    [[ $current == = ]] && current=
    if [[ $option ]]; then
        key="$command $option"
    elif [[ $current == -* && ! $ended ]]; then
        key="$command -"
    else
        key="$command $place"
    fi
    case $key in
)";

constexpr const char *tail = R"(    esac
    compopt +o default 2>/dev/null
    for word in "${fitting[@]}"; do
        [[ $word == "$current"* ]] && COMPREPLY+=("$word")
    done
}
complete -o default -F _vor vor
)";

// A row of the table.
std::string row(const std::string &pattern, const Names &fitting) {
    Names words;
    for (const std::string &word : fitting)
        words.push_back(one_word(word));
    return "    " + pattern + ") fitting=(" + joined(words, " ") + ") ;;\n";
}

std::string row_of_value(const std::string &pattern, const Argument &argument) {
    if (!argument.choices.empty()) return row(pattern, argument.choices);
    return argument.is_file ? "    " + pattern + ") return ;;\n" : "";
}

// How the loop finds the inner commands of a command and its options that have a value.
std::string steps(const Command &command) {
    constexpr const char *indent = "            ";
    Names inner;
    for (const Command &each : command.commands)
        inner.push_back(one_word(each.words));
    Names with_value;
    for (const Argument &option : command.options)
        for (const std::string &name : option.names)
            if (!option.value.empty()) with_value.push_back(one_word(command.words + " " + name));
    std::string text;
    if (!inner.empty())
        text += indent + joined(inner, " | ") + ") command+=\" $word\" place=0 ;;\n";
    if (!with_value.empty()) text += indent + joined(with_value, " | ") + ") option=$word ;;\n";
    return text;
}

std::string rows_of_options(const Command &command) {
    Names names;
    std::string text;
    for (const Argument &option : command.options) {
        Names patterns;
        for (const std::string &name : option.names) {
            names.push_back(name);
            patterns.push_back(one_word(command.words + " " + name));
        }
        text += row_of_value(joined(patterns, " | "), option);
    }
    return row(one_word(command.words + " -"), names) + text;
}

std::string rows_of_places(const Command &command) {
    std::string text;
    for (size_t i = 0; i < command.places.size(); ++i) {
        const Argument &place = command.places[i];
        const std::string number = std::to_string(i);
        text += row_of_value(place.repeats ? one_word(command.words + " ") + "[0-9]*"
                                           : one_word(command.words + " " + number),
                             place);
    }
    if (command.commands.empty()) return text;
    Names inner;
    for (const Command &each : command.commands)
        inner.push_back(each.name);
    return text + row(one_word(command.words + " 0"), inner);
}

} // namespace

std::string one_word(const std::string &text) {
    std::string result = "'";
    for (const char c : text)
        result += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return result + "'";
}

std::string bash_completion(const Command &top) {
    std::string loop;
    std::string table;
    visit_all(top, [&](const Command &command) {
        loop += steps(command);
        table += rows_of_options(command) + rows_of_places(command);
    });
    return head + loop + middle + table + tail;
}

} // namespace vor::tool
