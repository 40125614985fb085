// The typed accessors: look a key up, test whether its text looks like the type, parse it; or else
// give the default, and say so where warnings are on. What they ask for is a key alone or a key
// with an index, and is written once for both.
#include <charconv>
#include <cstdio>
#include <cstring>

#include "config/rc.h"
#include "config/rc_table.h"
#include "config/units.h"
#include "runtime/log.h"
#include "runtime/settings_source.h"
#include "util/numbers.h"

namespace {

constexpr size_t longest_indexed_key = 243;
constexpr size_t index_room = sizeof ".-2147483648";

// What an accessor asks for: "KEY", or "KEY.n" with an index.
struct Asked {
    const char *key;
    int32_t index;
    bool indexed;
};

Asked plain(const char *key) {
    return {key, 0, false};
}

Asked nth(const char *key, int32_t n) {
    return {key, n, true};
}

using Test = int32_t (*)(const char *text);

int32_t test_any(const char *) {
    return 1;
}

int32_t test_duration(const char *text) {
    return vor::is_digit(*text);
}

const char *lookup(const char *key) {
    return key ? vor::setting_lookup(key) : nullptr;
}

bool is_too_long(const Asked &asked) {
    return asked.indexed && asked.key && std::strlen(asked.key) > longest_indexed_key;
}

const char *lookup_nth(const char *key, int32_t n) {
    if (is_too_long(nth(key, n))) {
        logmesg(LOGMESG_WARNING, "config \"" RC_SHOWN "\": name too long", key);
        return nullptr;
    }
    char name[longest_indexed_key + index_room];
    std::snprintf(name, sizeof name, "%s.%d", key ? key : "", n);
    const char *const text = lookup(name);
    return text || n != 0 ? text : lookup(key);
}

// The text of a setting, or NULL if it is not set or does not pass the test.
const char *find(const Asked &asked, Test test) {
    const char *const text = asked.indexed ? lookup_nth(asked.key, asked.index) : lookup(asked.key);
    return text && test(text) ? text : nullptr;
}

// Logs that a setting is not set and what is used in its place.
void warn_unset(const Asked &asked, int32_t level, const char *used) {
    if (!(vor::rc_flags & RCF_WARN)) return;
    char index[index_room] = "";
    if (asked.indexed) std::snprintf(index, sizeof index, ".%d", asked.index);
    logmesg(level, RC_SHOWN "%s unset, using " RC_SHOWN, asked.key ? asked.key : "", index, used);
}

int32_t unset(const Asked &asked, int32_t value, const char *unit) {
    char used[32];
    std::snprintf(used, sizeof used, "%d%s", value, unit);
    warn_unset(asked, LOGMESG_WARNING, used);
    return value;
}

// The number reads as "%.6g" prints it, with a point in every locale.
double unset(const Asked &asked, double value, int32_t level, const char *unit) {
    char used[32];
    char *const end = std::to_chars(used, used + 24, value, std::chars_format::general, 6).ptr;
    std::snprintf(end, static_cast<size_t>(used + sizeof used - end), "%s", unit);
    warn_unset(asked, level, used);
    return value;
}

const char *string(const Asked &asked, const char *fallback) {
    const char *const text = find(asked, test_any);
    if (text) return text;
    if (fallback && !is_too_long(asked)) warn_unset(asked, LOGMESG_WARNING, fallback);
    return fallback;
}

int32_t integer(const Asked &asked, int32_t fallback) {
    const char *const text = find(asked, rc_testint);
    return text ? rc_parseinteger(text) : unset(asked, fallback, "");
}

int32_t intval(const Asked &asked, int32_t fallback, int32_t low, int32_t high) {
    const char *const text = find(asked, rc_testint);
    return text ? rc_parseintval(text, low, high) : unset(asked, fallback, "");
}

double real(const Asked &asked, double fallback) {
    const char *const text = find(asked, rc_testdouble);
    return text ? rc_parsedouble(text) : unset(asked, fallback, LOGMESG_WARNING, "");
}

double value(const Asked &asked, double fallback, double low, double high) {
    const char *const text = find(asked, rc_testdouble);
    return text ? rc_parsevalue(text, low, high) : unset(asked, fallback, LOGMESG_WARNING, "");
}

int32_t ppt(const Asked &asked, int32_t fallback) {
    const char *const text = find(asked, rc_testdouble);
    return text ? rc_parseppt(text) : unset(asked, fallback, "ppt");
}

int32_t ppm(const Asked &asked, int32_t fallback) {
    const char *const text = find(asked, rc_testdouble);
    return text ? rc_parseppm(text) : unset(asked, fallback, "ppm");
}

int32_t milliseconds(const Asked &asked, int32_t fallback) {
    const char *const text = find(asked, test_duration);
    return text ? rc_parsems(text) : unset(asked, fallback, "ms");
}

// A negative default reads "AUTO" for a plain key and "ON" for an indexed one.
int32_t boolean(const Asked &asked, int32_t fallback) {
    const char *const text = find(asked, test_any);
    if (text) return rc_parsebool(text);
    const char *const on = fallback < 0 && !asked.indexed ? "AUTO" : "ON";
    warn_unset(asked, LOGMESG_WARNING, fallback == 0 ? "OFF" : on);
    return fallback;
}

} // namespace

extern "C" {

int32_t rc_warn(int32_t mode) {
    const int32_t old = vor::rc_flags & RCF_WARN ? 1 : 0;
    if (mode > 0) vor::rc_flags |= RCF_WARN;
    if (mode == 0) vor::rc_flags &= ~uint32_t{RCF_WARN};
    return old;
}

const char *rc_string(const char *key, const char *default_value) {
    return string(plain(key), default_value);
}

const char *rc_nthstring(const char *key, int32_t n, const char *default_value) {
    return string(nth(key, n), default_value);
}

const char *rc_strval(const char *key) {
    return string(plain(key), nullptr);
}

int32_t rc_boolean(const char *key, int32_t default_value) {
    return boolean(plain(key), default_value);
}

int32_t rc_nthboolean(const char *key, int32_t n, int32_t default_value) {
    return boolean(nth(key, n), default_value);
}

int32_t rc_integer(const char *key, int32_t default_value) {
    return integer(plain(key), default_value);
}

int32_t rc_nthinteger(const char *key, int32_t n, int32_t default_value) {
    return integer(nth(key, n), default_value);
}

int32_t rc_intval(const char *key, int32_t default_value, int32_t low, int32_t high) {
    return intval(plain(key), default_value, low, high);
}

int32_t rc_nthintval(const char *key, int32_t n, int32_t default_value, int32_t low, int32_t high) {
    return intval(nth(key, n), default_value, low, high);
}

double rc_double(const char *key, double default_value) {
    return real(plain(key), default_value);
}

double rc_nthdouble(const char *key, int32_t n, double default_value) {
    return real(nth(key, n), default_value);
}

double rc_value(const char *key, double default_value, double low, double high) {
    return value(plain(key), default_value, low, high);
}

double rc_nthvalue(const char *key, int32_t n, double default_value, double low, double high) {
    return value(nth(key, n), default_value, low, high);
}

double rc_length(const char *key, double default_value) {
    const Asked asked = plain(key);
    const char *const text = find(asked, rc_testdouble);
    return text ? unit2mm(text, UNIT_SIZE) : unset(asked, default_value, LOGMESG_NOTE, " mm");
}

int32_t rc_ppt(const char *key, int32_t default_value) {
    return ppt(plain(key), default_value);
}

int32_t rc_nthppt(const char *key, int32_t n, int32_t default_value) {
    return ppt(nth(key, n), default_value);
}

int32_t rc_ppm(const char *key, int32_t default_value) {
    return ppm(plain(key), default_value);
}

int32_t rc_nthppm(const char *key, int32_t n, int32_t default_value) {
    return ppm(nth(key, n), default_value);
}

int32_t rc_ms(const char *key, int32_t default_value) {
    return milliseconds(plain(key), default_value);
}

int32_t rc_nthms(const char *key, int32_t n, int32_t default_value) {
    return milliseconds(nth(key, n), default_value);
}

} // extern "C"
