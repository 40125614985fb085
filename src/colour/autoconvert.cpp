// A job's name is taken apart in the caller's buffer, zero bytes in the place of its "." and of the
// separator, and the output's name is put together in the same place.
#include "colour/autoconvert.h"

#include <cstdlib>
#include <cstring>
#include <string_view>

#include "colour/command_template.h"
#include "colour/rule_conversion.h"
#include "formats/formats.h"
#include "platform/kel.h"
#include "runtime/config_file.h"

namespace {

const char *end_of_word(const char *word) {
    const auto ends = [](char c) {
        return c == '=' || c == ',' || static_cast<unsigned char>(c) <= ' ';
    };
    while (!ends(*word))
        ++word;
    return word;
}

// Whether one of the words that a rule begins with is the suffix. Between two commas there is an
// empty word, which is the suffix of a name with a "." at its end.
bool fits(const char *rule, std::string_view suffix) {
    for (;;) {
        rule += std::strspn(rule, " \t");
        if (!*rule || *rule == '=') return false;
        const char *const end = end_of_word(rule);
        if (std::string_view(rule, static_cast<size_t>(end - rule)) == suffix) return true;
        if (!*end || *end == '=') return false;
        rule = end + 1;
    }
}

// The first rule for a suffix, or NULL. It lies in the reader's line.
const char *find_rule(config_file_t *rules, std::string_view suffix) {
    while (read_config_line(rules) >= 0) {
        const char *const line = trim_config_line(rules);
        if (line && fits(line, suffix)) return line;
    }
    return nullptr;
}

// The first rule that fits decides, be it of use or not.
int32_t find_command(const vor::JobName &name, vor::ShellCommand *command) {
    config_file_t rules;
    if (init_config_file(&rules, ".autoconvert", 0) < 0) return AUTOCONVERT_NO_RULE;
    const char *const rule = find_rule(&rules, name.suffix);
    const char *const equals = rule ? std::strchr(rule, '=') : nullptr;
    const int32_t result =
        equals ? vor::expand_rule(equals + 1, name, command) : AUTOCONVERT_NO_RULE;
    close_config_file(&rules);
    return result;
}

// Puts what follows the base into the place where the base ends. The separation lies behind it.
void put_output_suffix(char *end, std::string_view separation) {
    if (!separation.empty()) {
        *end++ = '.';
        std::memmove(end, separation.data(), separation.size());
        end += separation.size();
    }
    std::memcpy(end, ".vor", sizeof ".vor");
}

} // namespace

int32_t vor::convert_by_rule(char *name, CommandRunner run) {
    const char *const found = getsuffix(name);
    if (!found) return AUTOCONVERT_NO_RULE;
    char *const dot = name + (found - name);
    char *const separator = std::strpbrk(dot, ":@");
    if (separator) *separator = 0;
    if (kel_access(name, KEL_F_OK) != 0) return AUTOCONVERT_NO_FILE;
    *dot = 0;
    const JobName job = {name, dot + 1, separator ? separator + 1 : ""};
    ShellCommand command;
    const int32_t result = find_command(job, &command);
    if (result != 0) return result;
    if (run(command.text()) != 0) return AUTOCONVERT_FAILED;
    put_output_suffix(dot, job.separation);
    return 0;
}

int32_t autoconvert(char *name) {
    return vor::convert_by_rule(name, [](const char *command) { return std::system(command); });
}
