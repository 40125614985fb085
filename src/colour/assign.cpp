// Curves applied to the colour table of a track file.
#include <cstdio>

#include "colour/colour.h"
#include "colour/curve_build.h"

extern "C" int32_t assigncolors(uint16_t *table, const char *spec, int32_t compose, int32_t size) {
    if (!compose) return wsetupctab(spec, table, nullptr, size);
    if (size == 0) size = NCOLORS_DEFAULT;
    if (size > NCOLORS_MAX) {
        std::fputs("assigncolors: NCOLORS_MAX overflow\n", stderr);
        vor::ctab_identity(table, size);
        return CURVE_INVALID;
    }
    uint16_t curve[NCOLORS_MAX];
    // The empty text would leave the curve unset; it changes nothing here either.
    const char *const given = spec && *spec ? spec : nullptr;
    const int32_t result = wsetupctab(given, curve, nullptr, size);
    for (int32_t i = 0; i < size; ++i) {
        if (table[i] < size) table[i] = curve[table[i]];
    }
    return result;
}
