// Path values with marks for the directories of the machine. Nothing asks for a mark to stand at
// the start, since a value may be a list: in ";~/lib;*/lib" both are replaced.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "config/gd.h"
#include "util/owned.h"

namespace {

const char *directory_of(char mark) {
    switch (mark) {
    case '!':
        return gd.topdir;
    case '~':
        return gd.homedir;
    case '*':
        return gd.defaultdir;
    default:
        return nullptr;
    }
}

// What stands for the character in the result.
std::string_view expanded(const char *at) {
    const bool may_be_mark = at[1] == 0 || at[1] == '/' || at[1] == ':';
    const char *const directory = may_be_mark ? directory_of(*at) : nullptr;
    return directory ? std::string_view(directory) : std::string_view(at, 1);
}

} // namespace

extern "C" {

char *check_path(const char *text) {
    char path[CHECK_PATH_MAX + 1];
    size_t length = 0;
    for (; *text; ++text) {
        const std::string_view piece = expanded(text);
        if (piece.size() > CHECK_PATH_MAX - length) {
            std::fputs("(warning) check_path: argument string too long!\n", stderr);
            break;
        }
        std::memcpy(path + length, piece.data(), piece.size());
        length += piece.size();
    }
    path[length] = 0;
    char *const copy = vor::copy_text(path);
    if (!copy) {
        std::fputs("check_path: low memory, fatal\n", stderr);
        std::exit(1);
    }
    return copy;
}

} // extern "C"
