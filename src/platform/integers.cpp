// Integers out of texts, in 64 bits that wrap around, and out of doubles.
#include <cmath>
#include <cstring>

#include "platform/kel.h"

namespace {

bool base_is_valid(int32_t base) {
    return base == 0 || (base >= 2 && base <= 36);
}

// The value of a digit or a letter, or 36, which is a digit in no base.
int32_t digit_value(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'z') return c - 'a' + 10;
    if (c >= 'A' && c <= 'Z') return c - 'A' + 10;
    return 36;
}

// Takes the prefix that tells the base off the text.
int32_t take_base(const char **text) {
    const char *at = *text;
    if (*at != '0') return 10;
    const bool hexadecimal = at[1] == 'x' || at[1] == 'X';
    *text = at + (hexadecimal ? 2 : 1);
    return hexadecimal ? 16 : 8;
}

uint64_t take_digits(const char **text, int32_t base) {
    uint64_t value = 0;
    if (base == 0) base = take_base(text);
    for (;; ++*text) {
        const int32_t digit = digit_value(**text);
        if (digit >= base) return value;
        value = value * static_cast<uint64_t>(base) + static_cast<uint64_t>(digit);
    }
}

// Both calls; `signs` are the signs that may stand in front.
uint64_t parse(const char *text, const char **end, int32_t base, const char *signs) {
    uint64_t value = 0;
    if (base_is_valid(base)) {
        const char sign = *text;
        if (sign && std::strchr(signs, sign)) ++text;
        value = take_digits(&text, base);
        if (sign == '-') value = 0 - value;
    }
    if (end) *end = text;
    return value;
}

} // namespace

extern "C" {

int64_t kel_strtoll(const char *text, const char **end, int32_t base) {
    return static_cast<int64_t>(parse(text, end, base, "+-"));
}

uint64_t kel_strtoull(const char *text, const char **end, int32_t base) {
    return parse(text, end, base, "+");
}

int64_t nint(double value) {
    constexpr double limit = 9223372036854775808.0; // 2 to the 63rd
    if (std::isnan(value)) return 0;
    const double rounded = value > 0 ? std::floor(value + 0.5) : std::ceil(value - 0.5);
    if (rounded >= limit) return INT64_MAX;
    if (rounded < -limit) return INT64_MIN;
    return static_cast<int64_t>(rounded);
}

} // extern "C"
