// A font of dots for the printable ASCII characters; any other shows as "?".
#ifndef VOR_TOOL_BITMAP_FONT_H
#define VOR_TOOL_BITMAP_FONT_H

#include <cstdint>

namespace vor::tool {

constexpr int32_t font_columns = 5; // of a character
constexpr int32_t font_advance = 6; // to the next character
constexpr int32_t font_height = 7;  // rows above the line that text stands on
constexpr int32_t font_rows = 9;    // with those below it

// Whether there is a dot; the first row is the top one.
bool font_dot(char character, int32_t column, int32_t row);

} // namespace vor::tool

#endif
