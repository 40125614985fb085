#include "manual_pages.h"

#include <algorithm>
#include <cctype>
#include <string_view>

#include "manual_texts.h"
#include "roff.h"
#include "settings_keys.h"
#include "util/services.h"

namespace vor::tool {
namespace {

struct Footer {
    std::string prose;
    std::string good = "The job is done, and what was checked is good."; // status 0
    std::string failed = "The job failed, or the check found faults.";   // status 1
    std::string example;
};

std::string begun_large(std::string text) {
    if (!text.empty()) {
        text[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
    }
    return text;
}

std::string sentence(const std::string &text) {
    return text.ends_with('.') ? text : text + ".";
}

// Takes from the end of the prose what it tells of the status: "Exit status: 0 ..., 1 ...". What
// has a 2 as well is the general line, and says no more than is there already.
void take_statuses(Footer *footer) {
    constexpr std::string_view begin = "Exit status: 0 ";
    constexpr std::string_view next = ", 1 ";
    const size_t at = footer->prose.find(begin);
    if (at == std::string::npos) return;
    std::string statuses = footer->prose.substr(at + begin.size());
    footer->prose.erase(at);
    std::replace(statuses.begin(), statuses.end(), '\n', ' ');
    while (statuses.ends_with(' '))
        statuses.pop_back();
    const size_t end = statuses.find(next);
    if (end == std::string::npos || statuses.find(", 2 ") != std::string::npos) return;
    footer->good = begun_large(statuses.substr(0, end)) + ".";
    footer->failed = begun_large(sentence(statuses.substr(end + next.size())));
}

Footer parts_of(const std::string &text) {
    constexpr std::string_view mark = "Example:\n";
    Footer footer;
    const size_t at = text.find(mark);
    footer.prose = text.substr(0, at);
    if (at != std::string::npos) footer.example = text.substr(at + mark.size());
    take_statuses(&footer);
    return footer;
}

std::string without_indent(const std::string &lines) {
    std::string result;
    bool at_start = true;
    for (const char c : lines) {
        if (at_start && c == ' ') continue;
        at_start = c == '\n';
        result += c;
    }
    return result;
}

const ManualText *text_of(const Command &command) {
    for (const ManualText &text : manual_texts())
        if (text.words == command.words) return &text;
    return nullptr;
}

std::string begun_small(std::string text) {
    if (!text.empty()) {
        text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
    }
    if (text.ends_with('.')) text.pop_back();
    return text;
}

// ---- the line that calls a command ----

std::string place_in_synopsis(const Argument &place) {
    const std::string name = italic(place.value) + (place.repeats ? " ..." : "");
    return place.required ? name : "[" + name + "]";
}

std::string synopsis(const Command &command) {
    std::string text = bold(command.words);
    if (!command.options.empty()) text += " [" + italic("OPTION") + " ...]";
    for (const Argument &place : command.places)
        text += " " + place_in_synopsis(place);
    if (!command.commands.empty()) text += " " + italic("COMMAND") + " ...";
    return text;
}

// ---- options ----

std::string value_of(const Argument &argument) {
    if (argument.choices.empty()) return italic(argument.value);
    Names choices;
    for (const std::string &choice : argument.choices)
        choices.push_back(bold(choice));
    return joined(choices, "|");
}

std::string term_of(const Argument &option) {
    Names names;
    for (const std::string &name : option.names)
        names.push_back(bold(name) + (option.value.empty() ? "" : " " + value_of(option)));
    return joined(names, ", ");
}

std::string remarks_on(const Argument &argument) {
    std::string text = sentence(argument.description);
    if (!argument.range.empty()) text += " From " + argument.range + ".";
    if (argument.names.empty() && !argument.choices.empty()) {
        text += " One of " + joined(argument.choices, ", ") + ".";
    }
    if (!argument.fallback.empty()) text += " Default: " + argument.fallback + ".";
    if (!argument.names.empty() && argument.required) text += " Has to be given.";
    if (!argument.needs.empty()) text += " Only with " + joined(argument.needs, " and ") + ".";
    if (!argument.excludes.empty()) {
        text += " Not together with " + joined(argument.excludes, " or ") + ".";
    }
    return text;
}

void list_arguments(const Command &command, RoffPage *page) {
    for (const Argument &place : command.places)
        page->entry(italic(place.value), remarks_on(place));
    for (const Argument &option : command.options)
        page->entry(term_of(option), remarks_on(option));
}

// ---- sections ----

bool is_top(const Command &command) {
    return command.words == command.name;
}

void describe_in_words(const Command &command, RoffPage *page) {
    page->paragraphs(sentence(command.description));
    const std::string prose = parts_of(command.footer).prose;
    if (!prose.empty()) page->paragraphs(prose);
    const ManualText *more = text_of(command);
    if (more && !more->prose.empty()) page->paragraphs(more->prose);
}

// The sub-commands of the whole, which have pages of their own, by the headings of its help.
void list_pages(const Command &top, RoffPage *page) {
    page->section("COMMANDS");
    std::string_view group;
    for (const Command &command : top.commands) {
        if (command.group != group) page->subsection(command.group);
        group = command.group;
        page->entry(bold(page_name(command)) + "(1)", sentence(command.description));
    }
}

// The sub-commands of a sub-command, which are told of on its page.
void tell_inner(const Command &outer, RoffPage *page) {
    for (const Command &command : outer.commands) {
        page->subsection(command.words);
        page->ready_paragraph(synopsis(command));
        describe_in_words(command, page);
        list_arguments(command, page);
        const std::string example = parts_of(command.footer).example;
        if (!example.empty()) page->example(without_indent(example));
        tell_inner(command, page);
    }
}

void tell_status(const Command &command, RoffPage *page) {
    const Footer footer = parts_of(command.footer);
    page->section("EXIT STATUS");
    page->entry(bold("0"), footer.good);
    page->entry(bold("1"), footer.failed);
    page->entry(bold("2"), "The command line is wrong.");
}

void tell_environment(const Command &command, RoffPage *page) {
    const ManualText *text = text_of(command);
    if (!text || text->variables.empty()) return;
    page->section("ENVIRONMENT");
    for (const std::string_view name : text->variables) {
        const SettingKey *key = find_setting_key(name);
        if (!key) continue;
        page->entry(bold(name), begun_large(std::string(key->meaning)) +
                                    ". Default: " + std::string(key->fallback) + ".");
    }
}

void tell_example(const Command &command, RoffPage *page) {
    const std::string example = parts_of(command.footer).example;
    if (example.empty()) return;
    page->section("EXAMPLES");
    page->example(without_indent(example));
}

// The other pages: of the whole and of what stands under the same heading, or all of them.
void tell_others(const Command &command, const Command &top, RoffPage *page) {
    Names pages;
    if (!is_top(command)) pages.push_back(bold(page_name(top)) + "(1)");
    for (const Command &other : top.commands) {
        const bool is_near = is_top(command) || other.group == command.group;
        if (&other != &command && is_near) pages.push_back(bold(page_name(other)) + "(1)");
    }
    if (pages.empty()) return;
    page->section("SEE ALSO");
    page->ready_paragraph(joined(pages, ",\n"));
}

} // namespace

std::string page_name(const Command &command) {
    std::string name = command.words;
    std::replace(name.begin(), name.end(), ' ', '-');
    return name;
}

std::string manual_page(const Command &command, const Command &top) {
    RoffPage page(page_name(command), std::string("vor ") + KEL_libversion);
    page.section("NAME");
    page.ready_paragraph(roff_text(page_name(command)) + " \\- " +
                         roff_text(begun_small(command.description)));
    page.section("SYNOPSIS");
    page.ready_paragraph(synopsis(command));
    page.section("DESCRIPTION");
    describe_in_words(command, &page);
    if (is_top(command)) {
        list_pages(command, &page);
    } else if (!command.commands.empty()) {
        page.section("COMMANDS");
        tell_inner(command, &page);
    }
    page.section("OPTIONS");
    list_arguments(command, &page);
    tell_status(command, &page);
    tell_environment(command, &page);
    tell_example(command, &page);
    tell_others(command, top, &page);
    return page.text();
}

} // namespace vor::tool
