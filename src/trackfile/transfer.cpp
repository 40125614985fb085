// Reading and writing of tracks: position, keep the books, and call the codec.

#include "trackfile/handle.h"
#include "util/services.h"

namespace vor {
namespace {

constexpr int32_t grow_step = 2000; // tracks by which the tables of an open-ended file grow

// The track to seek for output track `n`. Out of 32 bits it is out of the image as well.
int32_t mirrored(const xvor_t *h, int32_t n) {
    if (!has(h, LF_XMIRROR)) return n;
    const int64_t track = int64_t{h->xsize} - n - 1;
    return track > INT32_MAX   ? INT32_MAX
           : track < INT32_MIN ? INT32_MIN
                               : static_cast<int32_t>(track);
}

// A track without data: one run of the colour that entry `code` of the colour table gives.
int32_t fill_blank(xvor_t *h, trackbuf *t, int32_t code) {
    if (code >= LF_NCOLORS) return lferror(h, "lfread", LFE_CORRUPT, 0, nullptr);
    const uint32_t colour = h->ctable[code];
    const int32_t result =
        has(h, LF_BITMAP) ? bmfill(t, h->ysize, colour) : lffill(t, h->ysize, colour);
    if (result < 0) return lferror(h, "lfread", LFE_ARGUMENT, 0, "track buffer too small");
    ++h->trkcount;
    return 1;
}

bool holds_track(const trackbuf *t, const xvor_t *h) {
    return t->owner == h && t->serial == h->serial && t->imgtrk == h->imgtrk;
}

int32_t decode(xvor_t *h, trackbuf *t, uint64_t start) {
    t->owner = h;
    t->serial = h->serial;
    t->imgtrk = h->imgtrk;
    const int32_t result = h->readtrack(h, t);
    if (result >= 0) count_track(h, start);
    return result;
}

// Makes room in the tables for the track to be written. Relied on as it is: at a track that is a
// multiple of 2000 the table gains nothing, so that its entry lies just behind the table (which has
// a spare one), and xsize follows only when the tables are looked at.
int32_t make_room(xvor_t *h) {
    if (h->track >= h->seekcap) {
        if (!has(h, LF_GROW)) return lferror(h, "lfwrite", LFE_TRACK, h->track, nullptr);
        const int64_t grown = (int64_t{h->track} + grow_step - 1) / grow_step * grow_step;
        if (grown > INT32_MAX) return lferror(h, "lfwrite", LFE_TRACK, h->track, nullptr);
        h->seekcap = static_cast<int32_t>(grown);
        if (lffitmemory(h) < 0) return -1;
        if (h->track >= h->xsize) h->xsize = h->track + 1;
    }
    // Behind a late lfsetsize the table may be the old, smaller one.
    if (h->seektab && h->track >= h->seekroom) return lffitmemory(h);
    return 0;
}

int32_t write_failed(xvor_t *h) {
    h->flags |= LF_EOF;
    return -1;
}

} // namespace
} // namespace vor

using namespace vor;

int32_t lfread(xvor_t *h, trackbuf *t, int32_t n) {
    if (!h->readtrack) {
        if (!has(h, LF_CHECKED) && lfcheck(h) < 0) return -1;
        if (!h->readtrack) return lferror(h, "lfread", LFE_NOREAD, 0, nullptr);
    }
    const uint64_t start = rdtsc();
    const int32_t found = lfseek(h, mirrored(h, n), LF_SEEK_SET);
    if (found < 0) return -1;
    if (found > 0) return fill_blank(h, t, found - 1);
    if (holds_track(t, h)) {
        ++h->trkcount;
        return 0;
    }
    return decode(h, t, start);
}

int32_t lfwrite(xvor_t *h, trackbuf *t, int32_t n) {
    if (!h->writetrack) {
        if (!has(h, LF_CHECKED) && lfcheck(h) < 0) return -1;
    }
    if (!h->writetrack || access_of(h) == LF_READ) {
        return lferror(h, "lfwrite", LFE_NOWRITE, 0, nullptr);
    }
    if (n != h->track || access_of(h) != LF_WRITE) {
        return lferror(h, "lfwrite", LFE_ARGUMENT, 0, "random access on write is not supported");
    }
    const uint64_t start = rdtsc();
    if (make_room(h) < 0) return -1;
    const int64_t position = lftell(h);
    if (h->seektab) h->seektab[h->track] = position;
    if (position < 0) return write_failed(h);
    const int32_t result = h->writetrack(h, t);
    if (result < 0) return write_failed(h);
    count_track(h, start);
    ++h->track;
    ++h->imgtrk;
    return result;
}
