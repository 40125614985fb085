// The version in a revision keyword, "$Name: version $" once it has been expanded and "$" before.
#include <algorithm>
#include <cstring>

#include "config/gd.h"

namespace {

char version[80];

} // namespace

extern "C" {

const char *make_vstring(const char *keyword) {
    if (std::strcmp(keyword, "$") == 0) {
        if (!*version) std::strcpy(version, "6.1");
        return version;
    }
    const char *const blank = std::strchr(keyword, ' ');
    if (!blank) return "Beta";
    const char *const word = blank + 1;
    const size_t length = std::min(std::strcspn(word, " "), sizeof version - 1);
    std::memcpy(version, word, length);
    version[length] = 0;
    return version;
}

} // extern "C"
