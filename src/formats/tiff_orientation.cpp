#include "formats/tiff_orientation.h"

#include <cstring>

#include "config/rc.h"
#include "config/rc_table.h"
#include "formats/formats.h"
#include "runtime/log.h"
#include "trackfile/handle.h"
#include "util/numbers.h"

namespace vor {
namespace {

constexpr int32_t request_orientation = 4097; // of the format "tif": int32_t, 1 to 8

constexpr int32_t undecided = -1;
constexpr int32_t fallback = 8;

// Number 7 is "rightleft", as setting files have it, and not "rightbot". That is relied on.
constexpr const char *names[] = {"topleft", "topright", "botright",  "botleft",
                                 "lefttop", "righttop", "rightleft", "leftbot"};
constexpr int32_t highest = sizeof names / sizeof names[0];

// The number that a setting means, or `undecided`.
int32_t parse(const char *text) {
    if (is_digit(*text)) {
        const int32_t number = text_to_int32(text, nullptr, 10);
        return number >= 1 && number <= highest ? number : undecided;
    }
    for (int32_t i = 0; i < highest; ++i)
        if (equal_ignoring_case(text, names[i])) return i + 1;
    return undecided;
}

int32_t decide() {
    const char *const text = rc_strval("DEFAULT_TIFF_ORIENTATION");
    if (!text) return fallback;
    const int32_t number = parse(text);
    if (number != undecided) return number;
    logmesg(LOGMESG_WARNING, "bad DEFAULT_TIFF_ORIENTATION=" RC_SHOWN "%s", text,
            ", using default(LEFTBOT)");
    return fallback;
}

} // namespace

int32_t tiff_orientation() {
    static int32_t orientation = undecided;
    if (orientation == undecided) orientation = decide();
    return orientation;
}

int32_t set_tiff_orientation(xvor_t *h) {
    const char *const name = lffmtname(h->fmt);
    if (!name || access_of(h) == LF_READ || std::strcmp(name, "tif") != 0) return 0;
    int32_t orientation = tiff_orientation();
    if (lfspecial(h, request_orientation, &orientation) < 0) {
        logmesg(LOGMESG_WARNING, "set orient=%d failed for %s", orientation, name);
    }
    return 0;
}

} // namespace vor
