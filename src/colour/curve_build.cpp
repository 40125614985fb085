// The forms of a curve: constant, ramp, staircase, gamma and response points.
#include "colour/curve_build.h"

#include <algorithm>
#include <cmath>

#include "util/numbers.h"

namespace vor {
namespace {

// Where the response points lie, in percent of the last level.
constexpr int32_t point_positions[response_points] = {0,  5,  10, 15, 20, 30, 40, 50,
                                                      60, 70, 80, 85, 90, 95, 100};

bool lies_within(int32_t index, int32_t size) {
    return index >= 0 && index < size;
}

uint16_t low_16_bits(int64_t value) {
    return static_cast<uint16_t>(value & 0xFFFF);
}

// A staircase: `width` entries a step, `rise` levels from one step to the next. The fractions make
// the steps fit the range as evenly as it can be.
struct Staircase {
    double width;
    double rise;
    int32_t base;
};

Staircase staircase_of(int32_t from, int32_t to, int32_t steps) {
    const double entries = static_cast<double>(to) - from + 1;
    const double count = steps;
    if (steps > 0) return {entries / count, entries / (count - 1), from};
    return {entries / -count, entries / (count + 1), to};
}

// Whole entries or levels in `count` steps. The fraction is cut toward zero on a falling staircase,
// too, and so its levels are not the mirror image of a rising one's.
int32_t whole(double unit, int64_t count) {
    return saturating_int(unit * static_cast<double>(count) + 0.5);
}

// Of steps narrower than an entry the last one within it is what stays. Gives a step shortly before
// that, so that a million steps cost no more than the entries that they are drawn on.
int64_t skip_unseen(const Staircase &stairs, int64_t step, int32_t entry) {
    if (stairs.width >= 1) return step;
    return std::max(step, static_cast<int64_t>((entry + 0.5) / stairs.width) - 2);
}

} // namespace

void ctab_identity(uint16_t *table, int32_t size) {
    for (int32_t i = 0; i < size; ++i)
        table[i] = low_16_bits(i);
}

int32_t ctab_fill(uint16_t *table, int32_t from, int32_t to, int32_t value, int32_t size) {
    if (!lies_within(from, size) || !lies_within(to, size)) return -1;
    for (int32_t i = from; i <= to; ++i)
        table[i] = low_16_bits(value);
    return 0;
}

int32_t ctab_ramp(uint16_t *table, int32_t from, int32_t to, double start, double end,
                  int32_t size) {
    if (!lies_within(from, size) || !lies_within(to, size) || to <= from) return -1;
    start = std::clamp(start, -100.0, 100.0);
    const double delta = std::clamp(end, -100.0, 100.0) - start;
    start = std::fabs(start);
    const int32_t last = size - 1;
    for (int32_t k = 0; k <= to - from; ++k) {
        const double percent = k * delta / (to - from) + start;
        const int32_t level = saturating_int(percent * last * 0.01 + 0.5);
        table[from + k] = low_16_bits(std::clamp(level, 0, last));
    }
    return 0;
}

int32_t ctab_linear(int32_t from, int32_t to, int32_t low, int32_t high, uint16_t *table, bool fill,
                    int32_t size) {
    const double last = size - 1;
    if (ctab_ramp(table, from, to, low * 100.0 / last, high * 100.0 / last, size) < 0) return -1;
    if (!fill) return 0;
    // A single entry below the ramp stays as it was, which specs in use rely on.
    if (from > 1) std::fill(table, table + from, low_16_bits(std::abs(int64_t{low})));
    std::fill(table + to + 1, table + size, low_16_bits(std::abs(int64_t{high})));
    return 0;
}

int32_t ctab_steps(int32_t from, int32_t to, int32_t steps, uint16_t *table, bool fill,
                   int32_t size) {
    const int32_t last = size - 1;
    if (steps >= -1 && steps <= 1) return -1;
    if (!lies_within(from, size) || !lies_within(to, size)) return -1;
    if (fill && from > 0) ctab_fill(table, 0, from, 0, size);
    if (fill && to < last) ctab_fill(table, to, last, last, size);
    if (from >= to) return 0;
    const Staircase stairs = staircase_of(from, to, steps);
    int32_t position = from;
    for (int64_t step = 0; position < to;) {
        step = skip_unseen(stairs, step, position - from);
        const int32_t level = std::clamp(stairs.base + whole(stairs.rise, step), from, to);
        ++step;
        const int32_t next = std::min(from + whole(stairs.width, step), to);
        // The entry where two steps meet belongs to the later one.
        ctab_fill(table, position, next, level, size);
        position = next;
    }
    return 0;
}

int32_t ctab_gamma(uint16_t *table, double exponent, int32_t size) {
    if (!(exponent > 0 && exponent < 10000)) return -1;
    const double last = size - 1;
    for (int32_t i = 0; i < size; ++i)
        table[i] = low_16_bits(saturating_int(std::pow(i / last, exponent) * last + 0.5));
    return 0;
}

int32_t ctab_points(uint16_t *table, std::span<const float, response_points> points, int32_t size) {
    const auto entry = [size](size_t point) { return point_positions[point] * (size - 1) / 100; };
    for (size_t i = 0; i + 1 < points.size(); ++i) {
        const double start = static_cast<double>(points[i]);
        const double end = static_cast<double>(points[i + 1]);
        ctab_ramp(table, entry(i), entry(i + 1), start, end, size);
    }
    return 0;
}

} // namespace vor
