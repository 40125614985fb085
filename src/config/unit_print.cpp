// Quantities in the units in force, as numbers and as texts for columns.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "config/unit_table.h"
#include "config/units.h"

namespace {

using vor::units;

// No double has more digits before the point, or more behind it that are not 0.
constexpr int32_t most_digits = 309;
constexpr int32_t most_decimals = 1074;

char *fill(char *end, char c, int64_t count) {
    if (count <= 0) return end;
    std::memset(end, c, static_cast<size_t>(count));
    return end + count;
}

// Writes at `end` what printf's "%*.*f" makes with a decimal point, and gives the new end.
char *print_number(char *end, double value, int64_t width, int32_t decimals) {
    constexpr int32_t decimals_of_printf = 6;
    if (decimals < 0) decimals = decimals_of_printf;
    char digits[1 + most_digits + 1 + most_decimals];
    const int32_t printed = std::min(decimals, most_decimals);
    const std::to_chars_result result =
        std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed, printed);
    const int64_t length = result.ptr - digits;
    const int64_t zeros = std::isfinite(value) ? decimals - printed : 0;
    const int64_t blanks = std::abs(width) - length - zeros;
    if (width > 0) end = fill(end, ' ', blanks);
    std::memcpy(end, digits, static_cast<size_t>(length));
    end = fill(end + length, '0', zeros);
    return width < 0 ? fill(end, ' ', blanks) : end;
}

// The blanks that stand in a column for the decimals that a number lacks, and for its point.
int64_t missing_places(int32_t decimals) {
    const int64_t full = units.format.decimals;
    return full - decimals + (decimals == 0 && full >= 1 ? 1 : 0);
}

void print_unit(char *buf, int32_t width, int32_t decimals, double value, int32_t flags) {
    if (decimals < 0) decimals = units.format.decimals;
    const int64_t pad = flags & UNIT_ALIGN ? missing_places(decimals) : 0;
    char *end = buf;
    if (pad > 0) {
        end = print_number(end, value, units.format.width - pad, decimals);
        end = fill(end, ' ', pad);
    } else {
        end = print_number(end, value, width < 0 ? units.format.width : width, decimals);
    }
    const char *const name = flags & UNIT_NAME ? unitname(flags & UNIT_ADVANCE) : "";
    std::memcpy(end, name, std::strlen(name) + 1);
}

double in_unit(double value, int32_t kind) {
    constexpr double centimetres_per_millimetre = 0.1;
    switch (kind) {
    case UNIT_SIZE:
        return value / units.size->millimetres;
    case UNIT_ADVANCE:
        return value / units.advance->millimetres;
    case UNIT_RASTER:
        return value * units.raster->millimetres * centimetres_per_millimetre;
    default:
        return value;
    }
}

} // namespace

extern "C" {

double mm2unit(char *buf, double value, int32_t width, int32_t decimals, int32_t flags) {
    const int32_t kind = flags & vor::unit_kind_mask;
    if (kind == UNIT_SPEED) return 0;
    if (kind > UNIT_ADVANCE) flags &= ~UNIT_NAME;
    const double result = in_unit(value, kind);
    if (buf) print_unit(buf, width, decimals, result, flags);
    return result;
}

double rpm2speed(char *buf, double circumference, double rpm, int32_t width, int32_t decimals,
                 int32_t flags) {
    double speed = rpm / units.speed->factor;
    if (units.speed->is_of_surface && circumference > 0) speed *= circumference;
    if (buf) print_unit(buf, width, decimals, speed, flags);
    return speed;
}

} // extern "C"
