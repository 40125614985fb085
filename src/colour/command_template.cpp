// A rule behind its "=": blanks, prefixes, and the command with "%" and a letter for each name.
#include "colour/command_template.h"

#include <array>
#include <cstring>

#include "colour/autoconvert.h"

namespace vor {
namespace {

// A process colour. Its digit is the first of the characters that a separation of it begins with.
struct Ink {
    std::string_view characters;
    std::string_view name;
};

constexpr std::array<Ink, 4> inks = {{
    {"0Cc", "Cyan"},
    {"1Mm", "Magenta"},
    {"2Yy", "Yellow"},
    {"3Bb", "Black"},
}};

const Ink *ink_of(std::string_view separation) {
    if (separation.empty()) return nullptr;
    for (const Ink &ink : inks)
        if (ink.characters.find(separation.front()) != std::string_view::npos) return &ink;
    return nullptr;
}

std::string_view colour_of(std::string_view separation) {
    const Ink *const ink = ink_of(separation);
    return ink ? ink->name : separation;
}

std::string_view plate_of(std::string_view separation) {
    const Ink *const ink = ink_of(separation);
    return ink ? ink->characters.substr(0, 1) : separation.substr(0, 1);
}

bool write_input(const JobName &name, bool without_suffix, ShellCommand *command) {
    if (without_suffix) return command->write_data({name.base});
    return command->write_data({name.base, ".", name.suffix});
}

bool write_output(const JobName &name, ShellCommand *command) {
    if (name.separation.empty()) return command->write_data({name.base, ".vor"});
    return command->write_data({name.base, ".", name.separation.substr(0, 1), ".vor"});
}

bool write_escape(char escape, const JobName &name, bool without_suffix, ShellCommand *command) {
    switch (escape) {
    case 'i':
        return write_input(name, without_suffix, command);
    case 'o':
        return write_output(name, command);
    case 'S':
        return command->write_data({name.separation});
    case 'C':
        return command->write_data({colour_of(name.separation)});
    case 'c':
        return command->write_data({plate_of(name.separation)});
    default:
        return command->write('%');
    }
}

} // namespace

int32_t expand_rule(const char *rule, const JobName &name, ShellCommand *command) {
    rule += std::strspn(rule, " \t");
    const std::string_view prefixes(rule, std::strspn(rule, "@!"));
    const bool without_suffix = prefixes.find('@') != std::string_view::npos;
    const bool wants_separation = prefixes.find('!') != std::string_view::npos;
    if (wants_separation && name.separation.empty()) return AUTOCONVERT_NO_RULE;
    bool has_input = false;
    for (const char *at = rule + prefixes.size(); *at; ++at) {
        bool written = false;
        if (*at != '%') {
            written = command->write(*at);
        } else if (*++at) {
            written = write_escape(*at, name, without_suffix, command);
            has_input = has_input || *at == 'i';
        }
        if (!written) return AUTOCONVERT_NO_RULE;
    }
    return has_input && !command->empty() ? 0 : AUTOCONVERT_FAILED;
}

} // namespace vor
