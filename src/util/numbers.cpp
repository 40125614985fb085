// Numbers that saturate where the language leaves the result open.
#include "util/numbers.h"

#include <cmath>
#include <cstdlib>

namespace vor {

int32_t saturating_int(double value) {
    if (std::isnan(value)) return 0;
    if (value >= INT32_MAX) return INT32_MAX;
    if (value <= INT32_MIN) return INT32_MIN;
    return static_cast<int32_t>(value);
}

namespace {

// Where the "0" of a binary prefix ends, which some C libraries take for one in base 0, or NULL.
const char *end_of_zero_before_b(const char *text, int base) {
    if (base != 0) return nullptr;
    while (is_space(*text))
        ++text;
    if (*text == '-' || *text == '+') ++text;
    const bool binary = text[0] == '0' && (text[1] == 'b' || text[1] == 'B');
    return binary ? text + 1 : nullptr;
}

} // namespace

int32_t text_to_int32(const char *text, const char **end, int base) {
    if (const char *const zero = end_of_zero_before_b(text, base)) {
        if (end) *end = zero;
        return 0;
    }
    char *stop = nullptr;
    const long long value = std::strtoll(text, &stop, base);
    if (end) *end = stop;
    if (value > INT32_MAX) return INT32_MAX;
    if (value < INT32_MIN) return INT32_MIN;
    return static_cast<int32_t>(value);
}

bool equal_ignoring_case(const char *a, const char *b) {
    while (*a && to_lower(*a) == to_lower(*b)) {
        ++a;
        ++b;
    }
    return to_lower(*a) == to_lower(*b);
}

} // namespace vor
