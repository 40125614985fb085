// What the manual tells beyond the help: a command in more words, and the environment that it
// reads.
#ifndef VOR_TOOL_MANUAL_TEXTS_H
#define VOR_TOOL_MANUAL_TEXTS_H

#include <span>
#include <string_view>

namespace vor::tool {

struct ManualText {
    std::string_view words;                      // of the command: "vor tags get"
    std::string_view prose;                      // paragraphs with an empty line between them
    std::span<const std::string_view> variables; // keys of settings_keys.h
};

std::span<const ManualText> manual_texts();

} // namespace vor::tool

#endif
