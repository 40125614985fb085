// Curve files, as colour specs read them.
#ifndef VOR_COLOUR_CURVE_FILE_H
#define VOR_COLOUR_CURVE_FILE_H

#include <cstdint>

namespace vor {

// Reads the curve file that `text` begins with the name of, into `table` with room for `size`
// values, and puts 0 behind the last. A name without quotes ends before the first comma, and one
// that has a comma needs them. The result is the number of values read; CURVE_INVALID for no name,
// an open quote, or a number of values that is neither the one declared in the file nor a power of
// two; CURVE_NO_FILE if the file cannot be opened.
int32_t ctab_load(const char *text, uint16_t *table, int32_t size);

} // namespace vor

#endif
