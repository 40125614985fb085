// File names taken apart: an optional drive prefix, directories each ended by a separator, a base
// name.
#include "util/paths.h"

#include <cstring>

#include "util/numbers.h"

namespace {

bool is_separator(char c) {
    return c == '/' || c == '\\';
}

size_t drive_length(const char *name) {
    return vor::is_letter(name[0]) && name[1] == ':' ? 2 : 0;
}

// Where the old suffix starts: at the last dot that has something other than dots before it.
char *find_suffix(char *base) {
    char *const dot = std::strrchr(base, '.');
    return dot && dot >= base + std::strspn(base, ".") ? dot : nullptr;
}

} // namespace

extern "C" {

const char *kel_basename(const char *name) {
    const char *base = name + drive_length(name);
    for (const char *at = base; *at; ++at)
        if (is_separator(*at)) base = at + 1;
    return base;
}

int32_t kel_dirname(char *buffer, const char *name) {
    size_t length = static_cast<size_t>(kel_basename(name) - name);
    if (length == 0) {
        std::memcpy(buffer, ".", 2);
        return 0;
    }
    const size_t drive = drive_length(name);
    if (length > drive + 1) --length;
    std::memmove(buffer, name, length);
    buffer[length] = 0;
    return static_cast<int32_t>(length);
}

int32_t setsuffix(char *name, const char *suffix) {
    if (!*name) return 0;
    if (!suffix) suffix = "";
    char *const base = name + (kel_basename(name) - name);
    char *const end = base + std::strlen(base);
    char *old = find_suffix(base);
    if (!old) {
        // Behind "." and "..", a suffix with its dot would make a file of three dots.
        const bool only_dots = *base && base + std::strspn(base, ".") == end;
        if (only_dots && *suffix) ++suffix;
        old = end;
    }
    if (std::strcmp(old, suffix) == 0) return 0;
    std::memmove(old, suffix, std::strlen(suffix) + 1);
    return 1;
}

int32_t isabs_path(const char *name) {
    const size_t drive = drive_length(name);
    return (drive ? ISABS_DRIVE : 0) | (is_separator(name[drive]) ? ISABS_ROOT : 0);
}

} // extern "C"
