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

int32_t text_to_int32(const char *text, const char **end, int base) {
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
