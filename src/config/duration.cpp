// Durations out of texts, in milliseconds: a clock time, or a number with a unit behind it and days
// in front of it.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "config/rc.h"
#include "config/rc_table.h"
#include "runtime/log.h"
#include "util/numbers.h"
#include "util/real_numbers.h"

namespace {

constexpr int32_t no_duration = -1;
constexpr int32_t scale = 1000; // of a second
constexpr int32_t longest = 2000000000;
constexpr int32_t most_days = 24;

// Takes the days off the front of a text. False if there are none.
bool take_days(const char **text, int32_t *days) {
    const char *end = *text;
    while (vor::is_digit(*end))
        ++end;
    if (*end != '+' && vor::to_lower(*end) != 'd') return false;
    *days = end == *text ? 0 : vor::text_to_int32(*text, nullptr, 10);
    *text = end + 1;
    while (vor::is_blank(**text))
        ++*text;
    return true;
}

// Reads a field of a clock time and steps over it. False if there is no number or one too large.
bool take_field(const char **text, int32_t most, int32_t *value) {
    const char *end = nullptr;
    *value = vor::text_to_int32(*text, &end, 10);
    const bool found = end != *text;
    *text = end;
    return found && *value <= most;
}

// The fraction of a second at `text`, in milliseconds.
double fraction_at(const char *text) {
    return *text == '.' ? vor::text_to_double(text, nullptr) * scale + 0.5 : 0;
}

// The first field counts 60 and the others 1 each: callers rely on the third to weigh as much as
// the second.
int32_t parse_clock(const char *text) {
    const auto colons = std::count(text, text + std::strlen(text), ':');
    int32_t first = 0;
    int32_t second = 0;
    int32_t third = 0;
    if (colons > 2 || !take_field(&text, 23, &first) || first < 0 || *text != ':') {
        return no_duration;
    }
    if (!take_field(&++text, 59, &second)) return no_duration;
    double fraction = 0;
    if (colons == 2) {
        if (*text != ':' || !take_field(&++text, 59, &third)) return no_duration;
        fraction = fraction_at(text);
    }
    const int64_t seconds = int64_t{first} * 60 + second + third;
    const double total = static_cast<double>(seconds * scale) + fraction;
    return total >= 0 && total <= longest ? static_cast<int32_t>(total) : no_duration;
}

// The value of `number` with a unit behind it and `days` in front, in milliseconds.
double in_milliseconds(double number, const char *unit, int32_t days, bool has_days) {
    switch (vor::to_lower(*unit)) {
    case 'd':
        return (days + number) * 86400 * scale;
    case 'h':
        return (days * 24 + number) * 3600 * scale;
    case 'm':
        return (days * 1440 + number) * 60 * scale;
    case 's':
        return (days * 86400 + number) * scale;
    case 'u':
        return days > 0 ? no_duration : number * scale * 0.000001;
    default:
        break;
    }
    if (*unit) logmesg(LOGMESG_WARNING, "parse_dur: bad unit '" RC_SHOWN "' (ignored)", unit);
    // Relied on: where no unit is, a day weighs 24 of what the number counts, which is seconds.
    return ((has_days ? days * 24 : 0) + number) * scale;
}

} // namespace

extern "C" int32_t rc_parsems(const char *text) {
    int32_t days = 0;
    const bool has_days = take_days(&text, &days);
    if (days > most_days) return no_duration;
    if (std::strchr(text, ':')) return parse_clock(text);
    const char *unit = nullptr;
    const double number = vor::text_to_double(text, &unit);
    const double rounded = in_milliseconds(number, unit, days, has_days) + 0.5;
    return rounded >= 0 && rounded <= longest ? static_cast<int32_t>(rounded) : no_duration;
}
