// Scripts that teach a shell to complete a command's line: names of sub-commands, options, fixed
// choices and files.
#ifndef VOR_TOOL_COMPLETION_SCRIPTS_H
#define VOR_TOOL_COMPLETION_SCRIPTS_H

#include <string>

#include "command_tree.h"

namespace vor::tool {

std::string bash_completion(const Command &top);

// To be read as the file _vor of a directory in fpath, or by eval after compinit.
std::string zsh_completion(const Command &top);

std::string fish_completion(const Command &top);

// A text as one word of the shells that follow Bourne's.
std::string one_word(const std::string &text);

} // namespace vor::tool

#endif
