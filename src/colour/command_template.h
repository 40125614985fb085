// The command of a conversion rule, with a job's names in the place of its escapes.
#ifndef VOR_COLOUR_COMMAND_TEMPLATE_H
#define VOR_COLOUR_COMMAND_TEMPLATE_H

#include <cstdint>
#include <string_view>

#include "colour/shell_command.h"

namespace vor {

// A file's name taken apart: base "." suffix, and the separation.
struct JobName {
    std::string_view base; // with its directory
    std::string_view suffix;
    std::string_view separation; // empty if there is none
};

// Writes the command of `rule`, the text of a rule behind its "=", to an empty `command`. 0 for one
// that is to be run, otherwise an AUTOCONVERT_ value.
int32_t expand_rule(const char *rule, const JobName &name, ShellCommand *command);

} // namespace vor

#endif
