// strtod asks the process's locale for the decimal point. std::from_chars does not, and takes the
// same text but for white space, a "+", a "0x" in front and the value of what is out of range,
// which are seen to here. It is given only what may belong to the number, so that reading a list
// takes time in proportion to its length.
#include "util/real_numbers.h"

#include <charconv>
#include <cstdint>
#include <limits>
#include <system_error>

#include "util/numbers.h"

namespace vor {
namespace {

bool is_hex_digit(char c) {
    const char letter = to_lower(c);
    return is_digit(c) || (letter >= 'a' && letter <= 'f');
}

// Whether "0x" starts a number; otherwise its "0" is a number of its own.
bool is_hexadecimal(const char *text) {
    if (text[0] != '0' || to_lower(text[1]) != 'x') return false;
    return is_hex_digit(text[2]) || (text[2] == '.' && is_hex_digit(text[3]));
}

int digit_value(char c) {
    return is_digit(c) ? c - '0' : to_lower(c) - 'a' + 10;
}

bool ends_exponent_letter(const char *text, const char *at, int base) {
    return at > text && to_lower(at[-1]) == (base == 16 ? 'p' : 'e');
}

// The end of what may belong to the number at `text`. A sign belongs to it only within an exponent.
const char *end_of_number(const char *text, int base) {
    bool point_seen = false;
    const char *at = text;
    for (;; ++at) {
        if (*at == '.' && !point_seen) {
            point_seen = true;
        } else if (*at == '-' || *at == '+') {
            if (!ends_exponent_letter(text, at, base) || !is_digit(at[1])) return at;
        } else if (!is_alphanumeric(*at) && *at != '_' && *at != '(' && *at != ')') {
            return at;
        }
    }
}

// The exponent behind `c` at `text`, or 0 if there is none. It saturates far outside what a double
// can hold.
int64_t exponent_at(const char *text, char c) {
    constexpr int64_t enough = 1000000000;
    if (to_lower(*text) != c) return 0;
    const bool negative = *++text == '-';
    if (*text == '-' || *text == '+') ++text;
    int64_t value = 0;
    for (; is_digit(*text); ++text) {
        if (value < enough) value = value * 10 + digit_value(*text);
    }
    return negative ? -value : value;
}

// Whether a number out of range, with digits of `base`, is too large and not too small. Far from 1
// as it is, the place of its first digit and the exponent tell.
bool is_too_large(const char *text, int base) {
    int64_t place = 0; // of the first digit that is not 0, counted from the point
    bool leading = true;
    bool behind_point = false;
    for (;; ++text) {
        if (*text == '.' && !behind_point) {
            behind_point = true;
            continue;
        }
        if (!(base == 16 ? is_hex_digit(*text) : is_digit(*text))) break;
        if (*text != '0') leading = false;
        if (behind_point && leading) --place;
        if (!behind_point && !leading) ++place;
    }
    const int64_t weight = base == 16 ? 4 : 1;
    return place * weight + exponent_at(text, base == 16 ? 'p' : 'e') > 0;
}

} // namespace

double text_to_double(const char *text, const char **end) {
    const char *at = text;
    while (is_space(*at))
        ++at;
    const bool negative = *at == '-';
    if (*at == '-' || *at == '+') ++at;
    const int base = is_hexadecimal(at) ? 16 : 10;
    if (base == 16) at += 2;
    double value = 0;
    const std::from_chars_result result =
        std::from_chars(at, end_of_number(at, base), value,
                        base == 16 ? std::chars_format::hex : std::chars_format::general);
    if (end) *end = result.ec == std::errc::invalid_argument ? text : result.ptr;
    if (result.ec == std::errc::invalid_argument) return 0;
    if (result.ec == std::errc::result_out_of_range) {
        value = is_too_large(at, base) ? std::numeric_limits<double>::infinity() : 0;
    }
    return negative ? -value : value;
}

} // namespace vor
