// The table from output tracks to image tracks, an error-diffusing choice of the nearest: enlarging
// repeats image tracks, reducing jumps over some.

#include <cstdlib>

#include "trackfile/handle.h"
#include "util/owned.h"

namespace vor {
namespace {

constexpr const char *where = "gen_otrack_tab";

// A byte of the best compressed file stands for fewer tracks than this.
constexpr int64_t tracks_per_byte = 8192;

void fill_otrack(xvor_t *h, int64_t width) {
    const int64_t size = h->xsize;
    int64_t error = -(width >> 1);
    if (error == 0) error = -1;
    int64_t source = h->xa;
    int64_t last = h->xa;
    for (int64_t i = 0; i < size; ++i) {
        if (error < 0) {
            error += size;
            if (error < 0) { // as many steps of `size` as lift it to 0 or above
                const int64_t steps = (-error + size - 1) / size;
                error += steps * size;
                source += steps;
            }
            last = source++;
        }
        h->otrack[i] = static_cast<int32_t>(last);
        error -= width;
    }
    h->otrack[size] = h->xe;
}

} // namespace

int32_t build_otrack(xvor_t *h) {
    std::free(h->otrack);
    h->otrack = nullptr;
    h->otrackroom = 0;
    const int64_t width = int64_t{h->xe} - h->xa;
    if (h->xsize == width) return 0;
    if (access_of(h) != LF_WRITE && check_window(h, where, tracks_per_byte) < 0) return -1;
    h->otrack = allocate_array<int32_t>(static_cast<size_t>(h->xsize) + 1);
    if (!h->otrack) return lferror(h, where, LFE_MEMORY, 0, nullptr);
    h->otrackroom = h->xsize;
    fill_otrack(h, width);
    return 0;
}

} // namespace vor
