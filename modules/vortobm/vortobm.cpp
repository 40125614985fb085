// A bitmap codec is a row of functions that know which run codec stands behind them. A row carries
// no data, so that each place of the table here has functions of its own.

#include "vortobm/vortobm.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <mutex>
#include <utility>

#include "codecs/codecs.h"
#include "vortobm/pixel_rows.h"

namespace vor::bitmap {
namespace {

// The codecs taken so far. A row that has been handed out does not change any more.
struct Codecs {
    size_t count;
    rle_row runs[VORTOBM_ROOM];
    rle_row pixels[VORTOBM_ROOM];
};
Codecs codecs = {};
std::mutex mutex; // a codec may be looked for by any thread that opens a file

template <size_t place, lf_readtrack_fn rle_row::*reader>
int32_t read(xvor_t *h, trackbuf *t) {
    return read_pixels(h, t, codecs.runs[place].*reader);
}

template <size_t place>
int32_t write(xvor_t *h, trackbuf *t) {
    return write_pixels(h, t, codecs.runs[place].write);
}

template <size_t place>
constexpr rle_row functions_of = {
    .name = nullptr,
    .skip = nullptr,
    .read = read<place, &rle_row::read>,
    .read_ns = read<place, &rle_row::read_ns>,
    .rev_read = read<place, &rle_row::rev_read>,
    .rev_read_ns = read<place, &rle_row::rev_read_ns>,
    .write = write<place>,
    .limit = 0,
};

template <size_t... places>
constexpr std::array<rle_row, sizeof...(places)> all_functions(std::index_sequence<places...>) {
    return {functions_of<places>...};
}
constexpr auto functions = all_functions(std::make_index_sequence<VORTOBM_ROOM>());

// The row of functions, less those that the run codec lacks.
rle_row pixel_row(const rle_row &runs, rle_row row) {
    row.name = runs.name;
    row.skip = runs.skip;
    row.limit = runs.limit;
    if (!runs.read) row.read = nullptr;
    if (!runs.read_ns) row.read_ns = nullptr;
    if (!runs.rev_read) row.rev_read = nullptr;
    if (!runs.rev_read_ns) row.rev_read_ns = nullptr;
    if (!runs.write) row.write = nullptr;
    return row;
}

const rle_row *find(const char *name) {
    if (!name) return nullptr;
    const std::lock_guard lock(mutex);
    for (size_t i = 0; i < codecs.count; ++i)
        if (std::strcmp(codecs.pixels[i].name, name) == 0) return &codecs.pixels[i];
    const rle_row *const runs = findrle_functions(name);
    if (!runs || codecs.count == VORTOBM_ROOM) return nullptr;
    const size_t place = codecs.count++;
    codecs.runs[place] = *runs;
    codecs.pixels[place] = pixel_row(*runs, functions[place]);
    return &codecs.pixels[place];
}

int32_t make_sure_of(const char *name) {
    if (find(name)) return 0;
    return lferror(nullptr, name ? name : "vortobm", LFE_ARGUMENT, 0, "no codec for bitmaps");
}

} // namespace
} // namespace vor::bitmap

int32_t vortobm_init(void) {
    using namespace vor::bitmap;
    for (const char *const name : {"fw8", "fw16", "fw88", "bm1", "bm8"})
        if (!find(name)) return -1;
    return lfbmsetup(find, make_sure_of);
}
