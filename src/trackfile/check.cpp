// lfcheck, the end of the set-up: tables are built, the format chooses its codec.

#include <cstdlib>
#include <cstring>

#include "formats/formats.h"
#include "trackfile/handle.h"
#include "util/owned.h"

namespace vor {
namespace {

constexpr const char *where = "lfcheck";

int32_t run_format_check(xvor_t *h) {
    const lffmt_t *format = lfdescriptor(h->fmt);
    if (format && format->check && format->check(h) >= 0) return 0;
    // Silent where the format has set no reason of its own.
    lferror(h, where, LFE_STORED, 0, "format check failed");
    return -1;
}

int32_t check_read(xvor_t *h) {
    // A header's unsigned counts may come out negative.
    if (h->xsize < 0 || h->ysize < 0) {
        return lferror(h, where, LFE_CORRUPT, 0, "impossible image size");
    }
    h->seekcap = h->xsize;
    if (run_format_check(h) < 0) return -1;
    if (!h->readtrack) return lferror(h, where, LFE_NOREAD, 0, nullptr);
    return 0;
}

int32_t check_update(xvor_t *h) {
    h->seekcap = h->xsize;
    return run_format_check(h);
}

int32_t check_write(xvor_t *h) {
    if (h->ysize < 1 || h->seekcap < 1) return lferror(h, where, LFE_ARGUMENT, 0, "empty file");
    if (!(h->xres > 0) || !(h->yres > 0)) {
        lferror(h, where, LFE_WARNING, 0, "no resolution set");
    }
    h->fysize = h->ysize;
    h->fxsize = h->xsize;
    h->fyres = h->yres;
    h->fxres = h->xres;
    if (run_format_check(h) < 0) return -1;
    if (!has(h, LF_RAWFW32)) {
        h->flags |= LF_DIRTY;
        if (lffitmemory(h) < 0) return -1;
        if (h->track != 0) {
            lferror(h, where, LFE_WARNING, 0, "called after lfwrite");
        } else if (has(h, LF_GROW)) {
            h->xsize = 0;
        }
    }
    if (!h->writetrack) return lferror(h, where, LFE_NOWRITE, 0, nullptr);
    h->bufend = h->buf + h->bufsize;
    return 0;
}

int32_t check_by_access(xvor_t *h) {
    switch (access_of(h)) {
    case LF_READ:
        return check_read(h);
    case LF_UPDATE:
        return check_update(h);
    case LF_WRITE:
        return check_write(h);
    default:
        lferror(h, where, LFE_STORED, 0, "invalid access mode (3)");
        return -1;
    }
}

void set_buffer_functions(xvor_t *h) {
    const bool swapped = has(h, LF_SWAP16);
    if (!h->flushbuf) h->flushbuf = swapped ? lf_flushbs : lf_flushb;
    if (!h->fillbuf) h->fillbuf = swapped ? lf_fillbufs : lf_fillbuf;
}

int32_t go_to_start(xvor_t *h) {
    if (has(h, LF_NEEDSEEKTAB) && !h->seektab && build_seek_table(h) < 0) return -1;
    h->track = -1;
    return lfseek(h, 0, LF_SEEK_SET) < 0 ? -1 : 0;
}

int32_t set_up(xvor_t *h) {
    // Tables of an older window, or of an attempt that failed, would lead to the wrong tracks.
    if (h->stale && access_of(h) != LF_WRITE) {
        drop_seek_table(h);
        h->clipoff = -1; // a seek by skipping starts from the beginning, too
    }
    h->stale = 1;
    if (build_otrack(h) < 0 || check_by_access(h) < 0) return -1;
    set_buffer_functions(h);
    return access_of(h) == LF_READ ? go_to_start(h) : 0;
}

// Half a set-up is none: the next lfread or lfwrite tries again, lfseek does not walk, and lfclose
// finds no way to flush.
void drop_functions(xvor_t *h) {
    h->readtrack = nullptr;
    h->writetrack = nullptr;
    h->skiptrack = nullptr;
    h->fillbuf = nullptr;
    h->flushbuf = nullptr;
}

bool resize_seektab(xvor_t *h) {
    // One more than counted: lfwrite's growth may store just behind the table.
    const size_t wanted = static_cast<size_t>(h->seekcap) + 1;
    const size_t old = h->seektab ? static_cast<size_t>(h->seekroom) : 0;
    int64_t *table = reallocate_array(h->seektab, wanted);
    if (!table) return false;
    for (size_t i = old; i < wanted; ++i)
        table[i] = 0;
    h->seektab = table;
    h->seekroom = h->seekcap + 1;
    return true;
}

bool resize_stoptab(xvor_t *h) {
    if (!h->stoptab) h->stopsize = 0;
    const auto wanted = static_cast<uint32_t>(h->seekcap);
    uint32_t *table = reallocate_array(h->stoptab, wanted);
    if (!table) {
        std::free(h->stoptab);
        h->stoptab = nullptr;
        h->stopsize = h->stoproom = 0;
        return false;
    }
    for (uint32_t i = h->stopsize; i < wanted; ++i)
        table[i] = LF_STOP_NONE;
    h->stoptab = table;
    h->stoproom = wanted;
    if (h->stopsize > wanted) h->stopsize = wanted;
    return true;
}

} // namespace
} // namespace vor

using namespace vor;

int32_t lfcheck(xvor_t *h) {
    if (has(h, LF_CHECKED)) {
        return lferror(h, where, LFE_ARGUMENT, 0, "lfcheck called more than once");
    }
    if (set_up(h) < 0) {
        drop_functions(h);
        return -1;
    }
    h->stale = 0;
    h->serial = next_serial();
    h->flags |= LF_CHECKED;
    reset_statistics(h);
    return 0;
}

// The stop table is left alone when there is a seek table to resize: it has its size from lfcheck.
int32_t lffitmemory(xvor_t *h) {
    const bool resizing = h->seektab != nullptr;
    if (h->seekcap >= 0 && h->seekcap < INT32_MAX && resize_seektab(h) &&
        (resizing || !has(h, LF_STOPS) || resize_stoptab(h))) {
        return 0;
    }
    drop_seek_table(h);
    // The places of the tracks written are lost, and so is the file.
    if (h->track > 0) h->flags |= LF_EOF;
    return lferror(h, "lffitmemory", LFE_MEMORY, 0, nullptr);
}
