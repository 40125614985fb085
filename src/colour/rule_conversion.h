// autoconvert, with what runs the command as an argument.
#ifndef VOR_COLOUR_RULE_CONVERSION_H
#define VOR_COLOUR_RULE_CONVERSION_H

#include <cstdint>

namespace vor {

// Runs a command line and waits for its end. 0 if it was run and all was well.
using CommandRunner = int (*)(const char *command);

int32_t convert_by_rule(char *name, CommandRunner run);

} // namespace vor

#endif
