// Manual pages, from the command line's own description of itself.
#ifndef VOR_TOOL_MANUAL_PAGES_H
#define VOR_TOOL_MANUAL_PAGES_H

#include <string>

#include "command_tree.h"

namespace vor::tool {

// The page of the command itself or of one of its sub-commands, whose own sub-commands are on it.
// Its source has the macros that man pages have on every system.
std::string manual_page(const Command &command, const Command &top);

// "vor-check" for the sub-command check.
std::string page_name(const Command &command);

} // namespace vor::tool

#endif
