// What all readers share: the window, looking for data, the common failures.
#ifndef VOR_CODECS_READING_H
#define VOR_CODECS_READING_H

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "trackfile/lf.h"

namespace vor {

inline int32_t clamp_int32(int64_t value) {
    return static_cast<int32_t>(std::clamp<int64_t>(value, INT32_MIN, INT32_MAX));
}

// First pixel of the clip window, and its length, in pixels of the file.
inline int64_t window_begin(const xvor_t *h) {
    return std::max(h->ya, 0);
}

inline int64_t window_length(const xvor_t *h) {
    return h->ye - window_begin(h);
}

enum class Data {
    there,
    ended, // fewer bytes than asked for are left, and no fill brings more
    failed
};

// Looks whether `bytes` bytes stand at bufptr; fills the buffer if it is empty.
inline Data look_ahead(xvor_t *h, ptrdiff_t bytes) {
    if (h->bufptr >= h->bufend && h->fillbuf(h) < 0) return Data::failed;
    return h->bufend - h->bufptr >= bytes ? Data::there : Data::ended;
}

inline int32_t report_end_of_data(xvor_t *h, const char *where) {
    return lferror(h, where, LFE_EOF, 0, nullptr);
}

inline int32_t report_no_room(xvor_t *h, const char *where) {
    return lferror(h, where, LFE_ARGUMENT, 0, "track buffer too small");
}

// Whether a track may come out `missing` output pixels short, as the handle's hook decides; without
// a hook it may not.
inline bool accept_missing(xvor_t *h, trackbuf *t, int64_t missing, const char *where) {
    if (missing == 0) return true;
    const int32_t pixels = clamp_int32(missing);
    if (h->shorttrack) return h->shorttrack(h, t, pixels) >= 0;
    lferror(h, where, LFE_COUNT, pixels, nullptr);
    return false;
}

} // namespace vor

#endif
