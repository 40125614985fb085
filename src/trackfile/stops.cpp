// The stop table: marked stretches of tracks. While a file is written it is indexed by track, with
// all ones for "not marked"; in a file and after reading it is a dense list in ascending order.

#include <cstdlib>

#include "trackfile/handle.h"
#include "util/owned.h"

namespace vor {
namespace {

struct StopList {
    uint32_t *entries;
    uint32_t count;

    void append(uint32_t entry) { entries[count++] = entry; }

    // Begins the stretch behind a marked one that ends with `track`.
    void open_behind(uint32_t track) {
        if (track < LF_STOP_TRACK) append((track + 1) | LF_STOP_FIRST);
    }

    // Ends the stretch before a marked one that begins with `track`.
    void close_before(uint32_t track) {
        if (track == 0) return;
        const uint32_t end = track - 1;
        if (count > 0 && (entries[count - 1] & LF_STOP_TRACK) == end) {
            entries[count - 1] = end | LF_STOP_SINGLE;
        } else {
            append(end | LF_STOP_LAST);
        }
    }
};

void revert(const uint32_t *stops, uint32_t count, StopList *list) {
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t track = stops[i] & LF_STOP_TRACK;
        if (stops[i] & LF_STOP_SINGLE) {
            list->close_before(track);
            list->open_behind(track);
        } else if (stops[i] & LF_STOP_LAST) {
            list->open_behind(track);
        } else {
            list->close_before(track);
        }
    }
}

} // namespace

uint32_t stop_room(const xvor_t *h) {
    if (!h->stoptab) return 0;
    return h->stoproom > h->stopsize ? h->stoproom : h->stopsize;
}

} // namespace vor

using namespace vor;

int32_t lfassignstoptable(xvor_t *h, uint32_t *table, uint32_t count) {
    if (h->stoptab != table) std::free(h->stoptab);
    h->stoptab = table;
    h->stopsize = table ? count : 0;
    h->stoproom = 0;
    return 0;
}

int32_t lfsetstop(xvor_t *h, int32_t track, uint32_t kind) {
    constexpr const char *where = "lfsetinfo"; // programs know the report by this name
    if (track < 0) track = h->track;
    if (track >= h->xsize) return lferror(h, where, LFE_TRACK, track, nullptr);
    if (kind != LF_STOP_FIRST && kind != LF_STOP_LAST && kind != LF_STOP_SINGLE) {
        return lferror(h, where, LFE_ARGUMENT, 0, nullptr);
    }
    if (track < 0 || static_cast<uint32_t>(track) >= stop_room(h)) {
        return lferror(h, where, LFE_ARGUMENT, 0, nullptr);
    }
    h->stoptab[track] = kind | static_cast<uint32_t>(track);
    return 0;
}

int32_t lfrevertstoptable(xvor_t *h) {
    if (h->stopsize < 1 || !h->stoptab) return 0;
    malloc_ptr<uint32_t> table(allocate_array<uint32_t>(size_t{h->stopsize} * 2 + 4));
    if (!table) return lferror(h, "lfrevertstoptable", LFE_MEMORY, 0, nullptr);
    StopList list = {table.get(), 0};
    revert(h->stoptab, h->stopsize, &list);
    if (list.count > 0 && int64_t{list.entries[list.count - 1] & LF_STOP_TRACK} >= h->xsize) {
        --list.count;
    }
    if (list.count == 0) return lfassignstoptable(h, nullptr, 0);
    uint32_t *shrunk = reallocate_array(table.get(), list.count);
    if (shrunk) static_cast<void>(table.release());
    return lfassignstoptable(h, shrunk ? shrunk : table.release(), list.count);
}

uint32_t *lfstoptable(const xvor_t *h) {
    return h->stoptab;
}

uint32_t lfstoptablesize(const xvor_t *h) {
    return h->stopsize;
}
