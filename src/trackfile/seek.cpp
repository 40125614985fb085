// Seek on the read road: by a format's own function, by the seek table, or by skipping.

#include "platform/kel.h"
#include "trackfile/handle.h"

namespace vor {
namespace {

constexpr const char *where = "lfseek";

int32_t seek_failed(xvor_t *h) {
    return lferror(h, where, LFE_OS, 0, nullptr);
}

// The position before the first track of the window, found by skipping the tracks in front of it.
int32_t find_window(xvor_t *h) {
    if (seek_data(h, h->dataoff) < 0) return seek_failed(h);
    for (int32_t i = 0; i < h->xa; ++i) {
        if (h->skiptrack(h, 0) < 0) return -1;
    }
    h->clipoff = lftell(h);
    return 0;
}

int32_t go_back(xvor_t *h) {
    if (h->clipoff < 0) {
        if (find_window(h) < 0) return -1;
    } else if (seek_data(h, h->clipoff) < 0) {
        return seek_failed(h);
    }
    h->imgtrk = h->xa;
    return 0;
}

// imgtrk counts as the track read last, so that reading on skips nothing. Directly after going back
// nothing of track xa has been read: a jump forward from there comes to rest one track short. That
// is relied on; lfcheck, the chief user, goes to the first track.
int32_t seek_by_skipping(xvor_t *h, int32_t target) {
    if (!h->skiptrack) return lferror(h, where, LFE_NOREAD, 0, nullptr);
    if ((target < h->track || h->clipoff < 0) && go_back(h) < 0) return -1;
    const int32_t wanted = image_track(h, target);
    for (int64_t skips = int64_t{wanted} - h->imgtrk - 1; skips > 0; --skips) {
        if (h->skiptrack(h, 0) < 0) return seek_failed(h);
    }
    h->track = target;
    h->imgtrk = wanted;
    return 0;
}

int32_t seek_by_table(xvor_t *h, int32_t target) {
    h->track = target;
    h->imgtrk = image_track(h, target);
    const int64_t entry = h->seektab[target];
    if (entry < 0) return static_cast<int32_t>(-static_cast<uint32_t>(entry));
    if (entry >= h->bufpos && entry - h->bufpos < h->bufend - h->buf) {
        h->bufptr = h->buf + (entry - h->bufpos);
        return 0;
    }
    return seek_data(h, entry) < 0 ? seek_failed(h) : 0;
}

int32_t seek_by_format(xvor_t *h, int32_t target) {
    const int32_t result = h->seekfn(h, target);
    if (result < 0) return result;
    h->track = target;
    h->imgtrk = image_track(h, target);
    return result;
}

int32_t seek_end(xvor_t *h, int32_t target) {
    lfflush(h);
    h->flags |= LF_EOF;
    h->track = target;
    h->imgtrk = h->xe;
    return 0;
}

// The track that `offset` and `mode` ask for, in 64 bits.
bool find_target(xvor_t *h, int32_t offset, int32_t mode, int64_t *target) {
    switch (mode) {
    case LF_SEEK_SET:
        *target = offset;
        return true;
    case LF_SEEK_CUR:
        *target = int64_t{h->track} + offset;
        return true;
    case LF_SEEK_END:
        *target = int64_t{h->xsize} + offset;
        return true;
    default:
        return false;
    }
}

} // namespace

int32_t seek_data(xvor_t *h, int64_t offset) {
    lfflush(h);
    h->bufpos = offset;
    return kel_lseek(h->fd, offset, KEL_SEEK_SET) == offset ? 0 : -1;
}

int32_t tracks_known(const xvor_t *h) {
    int32_t known = h->xsize;
    if (h->otrack && h->otrackroom < known) known = h->otrackroom;
    if (h->seektab && h->seekroom < known) known = h->seekroom;
    return known;
}

int32_t image_track(const xvor_t *h, int32_t track) {
    return h->otrack
               ? h->otrack[track]
               : static_cast<int32_t>(static_cast<uint32_t>(h->xa) + static_cast<uint32_t>(track));
}

} // namespace vor

using namespace vor;

int32_t lfseek(xvor_t *h, int32_t track, int32_t mode) {
    int64_t wanted = 0;
    if (!find_target(h, track, mode, &wanted)) {
        return lferror(h, where, LFE_ARGUMENT, 0, "bad seek mode");
    }
    if (access_of(h) != LF_READ) {
        return lferror(h, where, LFE_ARGUMENT, 0, "seek on write is not supported");
    }
    if (wanted < 0 || wanted > h->xsize) {
        return lferror(h, where, LFE_TRACK, static_cast<int32_t>(wanted), nullptr);
    }
    const auto target = static_cast<int32_t>(wanted);
    if (target == h->xsize) return seek_end(h, target);
    h->flags &= ~LF_EOF;
    if (!h->seekfn && !h->seektab && !has(h, LF_SEQUENTIAL) && build_seek_table(h) < 0) {
        return seek_failed(h);
    }
    // After a late change of the geometry the old tables may hold fewer tracks.
    if (target >= tracks_known(h)) return lferror(h, where, LFE_TRACK, target, nullptr);
    if (h->seekfn) return seek_by_format(h, target);
    if (!h->seektab) return seek_by_skipping(h, target);
    return seek_by_table(h, target);
}

int32_t lfcurrentrow(const xvor_t *h) {
    return h->track;
}

int64_t *lfseektable(const xvor_t *h) {
    return h->seektab;
}
