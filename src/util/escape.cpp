// Backslash sequences, one at a time.
#include "util/services.h"

namespace {

constexpr int max_octal_digits = 3;

const char *put(char *target, char byte, const char *next) {
    if (target) *target = byte;
    return next;
}

// A character that stands for itself. The text's end is never passed.
const char *put_plain(char *target, const char *source) {
    return put(target, *source, *source ? source + 1 : source);
}

const char *put_octal(char *target, const char *source) {
    int value = 0;
    for (int i = 0; i < max_octal_digits && *source >= '0' && *source <= '7'; ++i, ++source)
        value = value * 8 + (*source - '0');
    return put(target, static_cast<char>(value), source);
}

} // namespace

extern "C" const char *cescape(char *target, const char *source) {
    while (source[0] == '\n' && source[1] == '\\')
        source += 2;
    switch (*source) {
    case 'a':
        return put(target, 7, source + 1);
    case 'b':
        return put(target, 8, source + 1);
    case 'd':
        return put(target, 4, source + 1);
    case 'e':
        return put(target, 27, source + 1);
    case 'f':
        return put(target, 12, source + 1);
    case 'n':
        return put(target, 10, source + 1);
    case 'r':
        return put(target, 13, source + 1);
    case 't':
        return put(target, 9, source + 1);
    case 'z':
        return put(target, 26, source + 1);
    case '0':
        return put_octal(target, source);
    case '\n':
        return put_plain(target, source + 1);
    case 'x':
    case '.':
        return put(target, 0, source); // does not move: callers know it as the end of an escape
    default:
        return put_plain(target, source);
    }
}
