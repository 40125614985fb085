// The seek table, an entry for each output track: taken from the file where the format keeps one,
// otherwise made by walking through the image once.

#include <algorithm>
#include <cstdlib>

#include "formats/formats.h"
#include "trackfile/handle.h"
#include "util/owned.h"

namespace vor {
namespace {

constexpr const char *where = "seektab";

// A track takes at least a byte of the file, its own or one of a table.
constexpr int64_t tracks_per_byte = 1;

int32_t make_table(xvor_t *h) {
    drop_seek_table(h);
    if (check_window(h, where, tracks_per_byte) < 0) return -1;
    h->seektab = allocate_zeroed<int64_t>(static_cast<size_t>(h->xsize));
    if (!h->seektab) return lferror(h, where, LFE_MEMORY, 0, nullptr);
    h->seekroom = h->xsize;
    return 0;
}

bool skip_tracks(xvor_t *h, int64_t count) {
    for (; count > 0; --count) {
        if (h->skiptrack(h, 0) < 0) return false;
    }
    return true;
}

// Steps over the tracks of the file and notes where each wanted one begins.
bool walk_file(xvor_t *h) {
    if (!h->skiptrack || seek_data(h, h->dataoff) < 0 || !skip_tracks(h, h->xa)) return false;
    h->clipoff = lftell(h);
    for (int32_t i = 0; i < h->xsize; ++i) {
        h->seektab[i] = lftell(h);
        // After a late change of the geometry otrack may know fewer tracks.
        const bool chosen = h->otrack && i < h->otrackroom;
        const int64_t step = chosen ? int64_t{h->otrack[i + 1]} - h->otrack[i] : 1;
        if (!skip_tracks(h, step)) return false;
    }
    h->maxruns = 1; // the walk makes no measurement
    return true;
}

// Counts the codes of each track of a loaded table, to know the longest.
bool measure_tracks(xvor_t *h, int32_t maxruns) {
    int32_t last = -1;
    for (int32_t i = 0; i < h->xsize; ++i) {
        const int32_t found = lfseek(h, i, LF_SEEK_SET);
        if (found < 0) return false;
        if (found > 0 || h->imgtrk == last) continue;
        last = h->imgtrk;
        if (!h->skiptrack) return false;
        const int32_t codes = h->skiptrack(h, 0);
        if (codes < 0) return false;
        maxruns = std::max(maxruns, codes);
    }
    h->maxruns = maxruns;
    return true;
}

bool fill_table(xvor_t *h) {
    const int32_t maxruns = h->maxruns == 0 ? 1 : h->maxruns;
    const lffmt_t *format = lfdescriptor(h->fmt);
    const int32_t loaded = format && format->seektabfn ? format->seektabfn(h) : 0;
    if (loaded < 0) return false;
    if (loaded == 0) return walk_file(h);
    return !has(h, LF_MEASURE) || measure_tracks(h, maxruns);
}

} // namespace

int32_t check_window(xvor_t *h, const char *name, int64_t density) {
    const int64_t size = file_size(h);
    const int64_t width = int64_t{h->xe} - h->xa;
    if (h->xsize >= 0 && (size < 0 || width <= (size + 1) * density)) return 0;
    return lferror(h, name, LFE_CORRUPT, 0, "file too short for its tracks");
}

void drop_seek_table(xvor_t *h) {
    std::free(h->seektab);
    h->seektab = nullptr;
    h->seekroom = 0;
}

int32_t build_seek_table(xvor_t *h) {
    if (make_table(h) < 0) return -1;
    if (!fill_table(h) || seek_data(h, h->dataoff) < 0) {
        lferror(h, where, LFE_OS, 0, nullptr);
        drop_seek_table(h);
        return -1;
    }
    return 0;
}

} // namespace vor
