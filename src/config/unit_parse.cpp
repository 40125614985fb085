// Typed quantities: [\]number[(+|-)number][1/][unit]. A number may have blanks behind it and around
// its exponent, so where it ends is not where its value is read to: "2 e3" has the value 2.
#include <cmath>
#include <cstring>
#include <numbers>
#include <string_view>

#include "config/unit_table.h"
#include "config/units.h"
#include "util/numbers.h"
#include "util/real_numbers.h"

namespace {

using vor::LengthUnit;
using vor::units;

constexpr double beyond_measure = 99990000000.0; // what a division by nothing gives
constexpr double nothing = 1e-10;

struct Typed {
    double first = 0;
    double second = 0;
    bool has_second = false;
    bool is_inverse = false;
    bool is_diameter = false;
    std::string_view unit;
};

const char *skip_blanks(const char *text) {
    while (*text == ' ')
        ++text;
    return text;
}

bool is_sign(char c) {
    return c == '+' || c == '-';
}

const char *skip_sign(const char *text) {
    return is_sign(*text) ? text + 1 : text;
}

const char *skip_digits(const char *text) {
    while (vor::is_digit(*text))
        ++text;
    return text;
}

// Numbers are decimal, as skipnumber knows no others: "inf", say, is no number but a bad unit.
double read_number(const char *text, const char **end) {
    const char *digits = text;
    while (vor::is_space(*digits))
        ++digits;
    digits = skip_sign(digits);
    const bool is_decimal = (vor::is_digit(*digits) || *digits == '.') &&
                            !(*digits == '0' && vor::to_lower(digits[1]) == 'x');
    if (is_decimal) return vor::text_to_double(text, end);
    *end = text;
    return 0;
}

// Reads a number and steps over it.
double take_number(const char **text) {
    const char *end = nullptr;
    const double value = read_number(*text, &end);
    *text = skipnumber(*text);
    return value;
}

Typed parse(const char *text, bool is_circle) {
    Typed typed;
    text = skip_blanks(text);
    if (*text == '\\') {
        typed.is_diameter = is_circle;
        ++text;
    }
    typed.first = take_number(&text);
    typed.has_second = is_sign(*text);
    if (typed.has_second) typed.second = take_number(&text);
    if (text[0] == '1' && text[1] == '/') {
        typed.is_inverse = true;
        text += 2;
    }
    typed.unit = std::string_view(text, std::strcspn(text, " ")).substr(0, vor::longest_unit_name);
    return typed;
}

// A number in the place of a text, which need not be aligned like one.
Typed plain_number(const void *number) {
    Typed typed;
    std::memcpy(&typed.first, number, sizeof typed.first);
    return typed;
}

// The unit that a number without one has. A raster shown as "1/..." turns the number around.
const LengthUnit *unit_in_force(int32_t kind, bool *is_inverse) {
    switch (kind) {
    case UNIT_RASTER:
        if (std::strncmp(units.names[UNIT_RASTER], "1/", 2) == 0) *is_inverse = !*is_inverse;
        return units.raster;
    case UNIT_ADVANCE:
        return units.advance;
    case UNIT_MM:
        return vor::millimetre;
    default:
        return units.size;
    }
}

double divided(double dividend, double divisor) {
    return std::fabs(divisor) < nothing ? beyond_measure : dividend / divisor;
}

double in_millimetres(double value, const LengthUnit *unit, bool is_inverse) {
    return is_inverse ? divided(unit->millimetres, value) : value * unit->millimetres;
}

double sum_of(const Typed &typed, int32_t flags) {
    bool is_inverse = typed.is_inverse;
    const LengthUnit *unit = vor::find_length_unit(typed.unit);
    if (!unit) unit = unit_in_force(flags & vor::unit_kind_mask, &is_inverse);
    if (unit->is_reciprocal()) is_inverse = !is_inverse;
    double first = in_millimetres(typed.first, unit, is_inverse);
    if (typed.is_diameter) first *= std::numbers::pi;
    if (!typed.has_second) return first;
    const double second = in_millimetres(typed.second, unit, is_inverse);
    return first + (flags & UNIT_CIRCLE ? second * 2 * std::numbers::pi : second);
}

std::string_view without_blanks(std::string_view text) {
    while (text.starts_with(' '))
        text.remove_prefix(1);
    while (text.ends_with(' '))
        text.remove_suffix(1);
    return text;
}

const vor::SpeedUnit *speed_unit(std::string_view name) {
    if (name.empty()) return units.speed;
    const vor::SpeedUnit *const unit = vor::find_speed_unit(name);
    return unit ? unit : vor::default_speed_unit;
}

} // namespace

extern "C" {

const char *skipnumber(const char *text) {
    text = skip_digits(skip_sign(skip_blanks(text)));
    if (*text == '.') text = skip_digits(text + 1);
    text = skip_blanks(text);
    if (vor::to_lower(*text) != 'e') return text;
    return skip_blanks(skip_digits(skip_sign(skip_blanks(text + 1))));
}

double unit2mm(const void *text, int32_t flags) {
    const Typed typed = flags & UNIT_NUMBER
                            ? plain_number(text)
                            : parse(static_cast<const char *>(text), flags & UNIT_CIRCLE);
    const double sum = sum_of(typed, flags);
    constexpr double millimetres_per_centimetre = 10;
    const bool is_raster = (flags & vor::unit_kind_mask) == UNIT_RASTER;
    return is_raster ? divided(millimetres_per_centimetre, sum) : sum;
}

double speed2rpm(const char *text, double circumference) {
    const char *rest = text;
    const double value = read_number(text, &rest);
    const vor::SpeedUnit *const unit = speed_unit(without_blanks(rest));
    const double rpm = value * unit->factor;
    return unit->is_of_surface && circumference > 0 ? rpm / circumference : rpm;
}

} // extern "C"
