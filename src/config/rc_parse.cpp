// Values out of texts: switches, integers, real numbers and proportions. A number is read as far as
// it goes, and what stands behind it is its unit.
#include <algorithm>
#include <cstring>

#include "config/rc.h"
#include "config/rc_table.h"
#include "runtime/log.h"
#include "util/numbers.h"
#include "util/real_numbers.h"

namespace {

const char *skip_blanks(const char *text) {
    while (vor::is_blank(*text))
        ++text;
    return text;
}

const char *skip_sign(const char *text) {
    return *text == '+' || *text == '-' ? text + 1 : text;
}

// Whether `text` begins with `word`, which is in lower case.
bool starts_with(const char *text, const char *word) {
    for (; *word; ++word, ++text) {
        if (vor::to_lower(*text) != *word) return false;
    }
    return true;
}

// The same for a word that is whole.
bool starts_with_whole(const char *text, const char *word) {
    return starts_with(text, word) && !vor::is_alphanumeric(text[std::strlen(word)]);
}

uint32_t rcunit(const char *unit) {
    switch (*unit) {
    case 0:
        return 1;
    case 'K':
    case 'k':
        return 1000;
    case 'M':
        return 1000000;
    case 'G':
        return 1000000000;
    default:
        logmesg(LOGMESG_WARNING, "parse number: invalid unit: " RC_SHOWN " (ignored)", unit);
        return 1;
    }
}

double rc_double_unit(const char *unit) {
    if (starts_with_whole(unit, "ppt")) return 0.001;
    if (starts_with_whole(unit, "ppm")) return 0.000001;
    switch (*unit) {
    case '%':
        return 0.01;
    case 'p':
        return 1e-12;
    case 'P':
        return 1e15;
    case 'T':
        return 1e12;
    case 'f':
        return 1e-15;
    case 'm':
        return 0.001;
    case 'n':
        return 1e-9;
    case 'u':
        return 1e-6;
    default:
        return rcunit(unit);
    }
}

// What is no number at all comes out as `low`.
template <class Number>
Number limited(Number value, Number low, Number high) {
    return low < high ? std::min(std::max(low, value), high) : value;
}

int32_t rounded(double value) {
    constexpr double limit = 1e9;
    return vor::saturating_int(value >= 0 ? std::min(value + 0.5, limit)
                                          : std::max(value - 0.5, -limit));
}

// `scale` is what a whole counts.
int32_t rcscaled(const char *text, double scale) {
    const char *unit = nullptr;
    const double scaled = scale * vor::text_to_double(text, &unit);
    const double percent = scaled * 0.01;
    const double ppt = scaled * 0.001;
    if (*unit == '%') return rounded(percent);
    if (starts_with(unit, "ppt")) return rounded(ppt);
    if (starts_with(unit, "ppm")) return rounded(scaled * 0.000001);
    if (*unit) logmesg(LOGMESG_WARNING, "parse scaled: ignoring bad unit: " RC_SHOWN, unit);
    if (std::find(text, unit, '.') != unit) return rounded(percent);
    logmesg(LOGMESG_WARNING, "parse scaled: " RC_SHOWN ": no unit, assume PPT", text);
    return rounded(ppt);
}

} // namespace

extern "C" {

int32_t rc_testint(const char *text) {
    return vor::is_digit(*skip_sign(skip_blanks(text)));
}

int32_t rc_testdouble(const char *text) {
    const char *at = skip_sign(skip_blanks(text));
    if (*at == '.') ++at;
    return vor::is_digit(*at);
}

int32_t rc_parsebool(const char *text) {
    text = skip_blanks(text);
    if (!vor::is_letter(*text)) return std::max(vor::text_to_int32(text, nullptr, 0), 0);
    for (const char *const word : {"on", "true", "t", "yes"}) {
        if (starts_with_whole(text, word)) return 1;
    }
    return 0;
}

int32_t rc_parseinteger(const char *text) {
    const char *unit = nullptr;
    const auto number = static_cast<uint32_t>(vor::text_to_int32(text, &unit, 0));
    return static_cast<int32_t>(number * rcunit(unit));
}

int32_t rc_parseintval(const char *text, int32_t low, int32_t high) {
    return limited(rc_parseinteger(text), low, high);
}

double rc_parsedouble(const char *text) {
    const char *unit = nullptr;
    const double number = vor::text_to_double(text, &unit);
    return number * rc_double_unit(unit);
}

double rc_parsevalue(const char *text, double low, double high) {
    return limited(rc_parsedouble(text), low, high);
}

int32_t rc_parseppt(const char *text) {
    return rcscaled(text, 1000);
}

int32_t rc_parseppm(const char *text) {
    return rcscaled(text, 1000000);
}

} // extern "C"
