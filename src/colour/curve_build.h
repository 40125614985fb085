// What the items of a colour spec draw. Each call writes entries of a table of `size` entries, at
// most NCOLORS_MAX; ranges include both ends. The result is 0, or -1 for arguments that are
// refused.
#ifndef VOR_COLOUR_CURVE_BUILD_H
#define VOR_COLOUR_CURVE_BUILD_H

#include <cstdint>
#include <span>

namespace vor {

// Outputs in percent, at the positions of the response points.
constexpr int32_t response_points = 15;

// Of any size: entry i takes the low 16 bits of i.
void ctab_identity(uint16_t *table, int32_t size);

// The low 16 bits of `value`, which is no matter of the levels. A range that ends before it begins,
// with both within the table, is empty.
int32_t ctab_fill(uint16_t *table, int32_t from, int32_t to, int32_t value, int32_t size);

// A ramp between two percentages of the last level, for a range of two entries at least. A negative
// `start` begins at its positive value, while the slope is that of the signed difference.
int32_t ctab_ramp(uint16_t *table, int32_t from, int32_t to, double start, double end,
                  int32_t size);

// A ramp between two levels. With `fill` it goes on flat on both sides.
int32_t ctab_linear(int32_t from, int32_t to, int32_t low, int32_t high, uint16_t *table, bool fill,
                    int32_t size);

// A staircase of levels within the range, which falls if `steps` is negative. With `fill` the table
// is 0 below it and the last level above it.
int32_t ctab_steps(int32_t from, int32_t to, int32_t steps, uint16_t *table, bool fill,
                   int32_t size);

// Input to the power of `exponent`, both as parts of the last level.
int32_t ctab_gamma(uint16_t *table, double exponent, int32_t size);

// Ramps between the response points. Those too short for a small table are left out.
int32_t ctab_points(uint16_t *table, std::span<const float, response_points> points, int32_t size);

} // namespace vor

#endif
