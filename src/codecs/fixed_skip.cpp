// The walkers of the fixed-width codecs: to the start of the clip window, and to the next track.

#include "codecs/codec_functions.h"
#include "codecs/fixed_width.h"
#include "codecs/reading.h"
#include "trackfile/handle.h"

namespace vor {
namespace {

// How far a walk has come.
struct Walk {
    int64_t pixels = 0;
    int64_t codes = 0;
    bool at_zero = false; // it stands on a zero code
};

// Walks over the codes up to `end`, until `target` pixels are passed or a zero code comes, which is
// not stepped over.
template <class Code>
void walk_block(xvor_t *h, const uint8_t *end, int64_t target, Walk *walk) {
    uint8_t *at = h->bufptr;
    int64_t pixels = walk->pixels;
    while (pixels < target && at != end) {
        const uint32_t length = Code::length(at);
        if (length == 0) {
            walk->at_zero = true;
            break;
        }
        pixels += length;
        at += Code::bytes;
    }
    walk->pixels = pixels;
    walk->codes += (at - h->bufptr) / static_cast<ptrdiff_t>(Code::bytes);
    h->bufptr = at;
}

// walk_block across refills. False after a report.
template <class Code>
bool walk_codes(xvor_t *h, int64_t target, Walk *walk, const char *where) {
    while (walk->pixels < target && !walk->at_zero) {
        if (look_ahead(h, Code::bytes) != Data::there) {
            report_end_of_data(h, where);
            return false;
        }
        walk_block<Code>(h, h->bufptr + bytes_of_codes<Code>(h), target, walk);
    }
    return true;
}

// Steps over the zero code that begins a track. False after a report.
template <class Code>
bool pass_track_begin(xvor_t *h, const char *where) {
    if (look_ahead(h, Code::bytes) != Data::there) {
        report_end_of_data(h, where);
        return false;
    }
    if (Code::length(h->bufptr) != 0) {
        lferror(h, where, LFE_TRKBEGIN, 0, nullptr);
        return false;
    }
    h->bufptr += Code::bytes;
    return true;
}

// Steps over the zero code that ends a track and counts it. Data that end here are an end as well
// for a caller that does not insist on track ends. False after a report.
template <class Code>
bool pass_track_end(xvor_t *h, int64_t *codes, const char *where) {
    const bool lax = has(h, LF_LAXTRACK);
    const Data data = look_ahead(h, Code::bytes);
    if (data == Data::failed || (data == Data::ended && !lax)) {
        report_end_of_data(h, where);
        return false;
    }
    if (data == Data::there && Code::length(h->bufptr) == 0) {
        h->bufptr += Code::bytes;
        ++*codes;
        return true;
    }
    if (!lax) lferror(h, where, LFE_TRKEND, 0, nullptr);
    return lax;
}

template <class Code>
int32_t go_to_window(xvor_t *h, const char *where) {
    if (has(h, LF_TRKBEGIN) && !pass_track_begin<Code>(h, where)) return -1;
    const int64_t begin = window_begin(h);
    Walk walk;
    if (!walk_codes<Code>(h, begin + 1, &walk, where)) return -1;
    if (walk.at_zero) return lferror(h, where, LFE_CORRUPT, 0, nullptr);
    h->bufptr -= Code::bytes;
    return static_cast<int32_t>(walk.pixels - begin);
}

// Steps over the codes from pixel y to the track's last. A zero code among them is stepped over
// too, and ends the walk. False after a report, also of a sum that is not the file's.
template <class Code>
bool pass_rest_of_track(xvor_t *h, int64_t pixels, int64_t *codes, const char *where) {
    Walk walk;
    if (!walk_codes<Code>(h, pixels, &walk, where)) return false;
    if (walk.at_zero) {
        h->bufptr += Code::bytes;
        ++walk.codes;
    }
    *codes += walk.codes;
    const int64_t left = pixels - walk.pixels;
    if (left == 0 || has(h, LF_LAXTRACK) || h->shorttrack) return true;
    lferror(h, where, LFE_COUNT, clamp_int32(left), nullptr);
    return false;
}

template <class Code>
int32_t skip_track(xvor_t *h, int32_t y, const char *where) {
    int64_t codes = 0;
    if (y == 0 && has(h, LF_TRKBEGIN)) {
        if (!pass_track_begin<Code>(h, where)) return -1;
        codes = 1;
    }
    if (!pass_rest_of_track<Code>(h, int64_t{h->fysize} - y, &codes, where)) return -1;
    if (has(h, LF_TRKEND) && !pass_track_end<Code>(h, &codes, where)) return -1;
    // A track of no pixels and no end leads nowhere, however many of them are skipped.
    if (y == 0 && codes == 0) return lferror(h, where, LFE_CORRUPT, 0, nullptr);
    return clamp_int32(codes);
}

} // namespace

int32_t goto8bol(xvor_t *h) {
    return go_to_window<Fw8>(h, "goto8bol");
}
int32_t goto16bol(xvor_t *h) {
    return go_to_window<Fw16>(h, "goto16bol");
}
int32_t goto88bol(xvor_t *h) {
    return go_to_window<Fw88>(h, "goto88bol");
}

int32_t skip8b(xvor_t *h, int32_t y) {
    return skip_track<Fw8>(h, y, "skip8b");
}
int32_t skip16b(xvor_t *h, int32_t y) {
    return skip_track<Fw16>(h, y, "skip16b");
}
int32_t skip88b(xvor_t *h, int32_t y) {
    return skip_track<Fw88>(h, y, "skip88b");
}

} // namespace vor
