// The command's own line: all sub-commands, and what becomes of a line of arguments.
#ifndef VOR_TOOL_ARGUMENT_LINE_H
#define VOR_TOOL_ARGUMENT_LINE_H

#include <memory>

#include <CLI/CLI.hpp>

#include "commands.h"

namespace vor::tool {

// The parser with every sub-command added; `job` is what the line asked for once it is parsed.
std::unique_ptr<CLI::App> make_command_line(Job *job);

// Does what the line asks for. Gives the exit status; what goes wrong has been told.
int run_command_line(int count, const char *const *arguments);

} // namespace vor::tool

#endif
