#include "command_tree.h"

#include <algorithm>
#include <cctype>
#include <sstream>

namespace vor::tool {
namespace {

Names split(const std::string &text, char at) {
    Names parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, at);)
        parts.push_back(part);
    return parts;
}

// What a value is and how it is checked are one text: TEXT:{x,y,xy} of a list,
// TEXT:value in {x->1,y->2} OR {1,2} of names for numbers, INT:INT in [1 - 255] of a range.
Names choices_in(const std::string &type) {
    const size_t begin = type.find(":{");
    const size_t mapped = type.find(":value in {");
    const size_t open = type.find('{', std::min(begin, mapped));
    if (open == std::string::npos) return {};
    const size_t close = type.find('}', open);
    Names choices = split(type.substr(open + 1, close - open - 1), ',');
    for (std::string &choice : choices)
        choice.resize(std::min(choice.size(), choice.find("->")));
    return choices;
}

std::string range_in(const std::string &type) {
    const size_t open = type.find(" in [");
    const size_t middle = type.find(" - ", open);
    const size_t close = type.find(']', middle);
    if (open == std::string::npos || close == std::string::npos) return "";
    const size_t first = open + 5;
    const size_t second = middle + 3;
    return type.substr(first, middle - first) + " to " + type.substr(second, close - second);
}

Names names_of(const CLI::Option &option) {
    Names names;
    for (const std::string &letter : option.get_snames())
        names.push_back("-" + letter);
    for (const std::string &word : option.get_lnames())
        names.push_back("--" + word);
    return names;
}

// A value that names a file is called so, or with something behind that: FILE_A.
bool names_file(const std::string &value) {
    constexpr std::string_view files[] = {"FILE", "IN", "OUT", "BAD", "SPEC"};
    return std::any_of(std::begin(files), std::end(files), [&](std::string_view file) {
        return value.starts_with(file) &&
               (value.size() == file.size() ||
                !std::isalpha(static_cast<unsigned char>(value[file.size()])));
    });
}

Names names_of(const std::set<CLI::Option *> &options) {
    Names names;
    for (const CLI::Option *option : options)
        names.push_back(option->get_name());
    std::sort(names.begin(), names.end());
    return names;
}

Argument describe(const CLI::Option &option) {
    Argument argument;
    const std::string type = option.get_type_name();
    const std::string kind = type.substr(0, type.find(':'));
    if (!option.get_positional()) argument.names = names_of(option);
    if (option.get_type_size() != 0) {
        argument.value = option.get_positional() ? option.get_name(true) : kind;
        argument.is_file = names_file(argument.value) || names_file(kind);
    }
    argument.choices = choices_in(type);
    argument.range = range_in(type);
    argument.fallback = option.get_default_str();
    argument.needs = names_of(option.get_needs());
    argument.excludes = names_of(option.get_excludes());
    argument.description = option.get_description();
    argument.required = option.get_required();
    argument.repeats = option.get_type_size() != 0 && option.get_items_expected_max() > 1;
    return argument;
}

} // namespace

Command describe(const CLI::App &app, const std::string &outer) {
    Command command;
    command.name = app.get_name();
    command.words = outer.empty() ? command.name : outer + " " + command.name;
    command.group = app.get_group();
    command.description = app.get_description();
    command.footer = app.get_footer();
    for (const CLI::Option *option : app.get_options()) {
        if (option->get_group().empty()) continue;
        (option->get_positional() ? command.places : command.options).push_back(describe(*option));
    }
    for (const CLI::App *inner : app.get_subcommands([](const CLI::App *) { return true; }))
        command.commands.push_back(describe(*inner, command.words));
    return command;
}

std::string joined(const Names &texts, std::string_view between) {
    std::string all;
    for (const std::string &text : texts) {
        if (!all.empty()) all += between;
        all += text;
    }
    return all;
}

} // namespace vor::tool
