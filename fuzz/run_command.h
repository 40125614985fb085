// The command vor within a harness: one line of arguments, nothing printed, no format modules.
#ifndef VOR_FUZZ_RUN_COMMAND_H
#define VOR_FUZZ_RUN_COMMAND_H

#include <initializer_list>
#include <string>

namespace vor::fuzz {

// Runs "vor ARGUMENTS..." and gives its exit status, which is 0, 1 or 2; any other, and whatever
// is thrown beyond the command, is a broken promise. What it prints on the standard output goes to
// `output` unless that is null.
int run_vor(std::initializer_list<const char *> arguments, std::string *output = nullptr);

} // namespace vor::fuzz

#endif
