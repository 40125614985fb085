// Numbers out of doubles and texts, and tests of characters: the same on every machine and in every
// locale.
#ifndef VOR_UTIL_NUMBERS_H
#define VOR_UTIL_NUMBERS_H

#include <cstdint>

namespace vor {

// Drops the fraction. A value beyond 32 bits gives the nearest end of the range, a NaN 0.
int32_t saturating_int(double value);

// Reads an integer as strtol does, white space, sign and prefixes included, and stops where it
// stops, but saturates at 32 bits on every machine. `end` may be NULL.
int32_t text_to_int32(const char *text, const char **end, int base);

// Tests of ASCII characters; a byte above 127 is none of them.
constexpr bool is_digit(char c) {
    return c >= '0' && c <= '9';
}
constexpr bool is_upper(char c) {
    return c >= 'A' && c <= 'Z';
}
constexpr bool is_lower(char c) {
    return c >= 'a' && c <= 'z';
}
constexpr bool is_letter(char c) {
    return is_upper(c) || is_lower(c);
}
constexpr bool is_alphanumeric(char c) {
    return is_letter(c) || is_digit(c);
}
constexpr bool is_space(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}
// A blank or a tab, the two that separate words within a line.
constexpr bool is_blank(char c) {
    return c == ' ' || c == '\t';
}
constexpr char to_lower(char c) {
    return is_upper(c) ? static_cast<char>(c - 'A' + 'a') : c;
}
constexpr char to_upper(char c) {
    return is_lower(c) ? static_cast<char>(c - 'a' + 'A') : c;
}

// Whether the texts are the same but for the case of ASCII letters.
bool equal_ignoring_case(const char *a, const char *b);

} // namespace vor

#endif
