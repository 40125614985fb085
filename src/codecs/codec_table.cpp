// The table of codecs, and how a handle comes to its functions.
//
// The table lives as long as the process and only grows. A row whose name is NULL is empty.

#include <cstdlib>
#include <cstring>

#include "codecs/bitruns.h"
#include "codecs/codec_functions.h"
#include "codecs/codecs.h"
#include "codecs/fixed_width.h"
#include "codecs/reading.h"
#include "formats/format_modules.h"
#include "trackfile/handle.h"
#include "util/owned.h"

namespace vor {
namespace {

constexpr rle_row built_in[] = {
    {"fw8", skip8b, read_fw8, read_fw8_ns, rev_read_fw8, rev_read_fw8_ns, write_fw8, Fw8::limit},
    {"fw16", skip16b, read_fw16, read_fw16_ns, rev_read_fw16, rev_read_fw16_ns, write_fw16,
     Fw16::limit},
    {"fw88", skip88b, read_fw88, read_fw88_ns, rev_read_fw88, rev_read_fw88_ns, write_fw88,
     Fw88::limit},
    {"bm1", skipbm1, read_bilevel, read_bilevel_ns, rev_read_bilevel, rev_read_bilevel_ns,
     write_bilevel, pixels_per_byte},
    {"bm8", skipbm8, read_bm8, read_bm8_ns, rev_read_bm8, rev_read_bm8_ns, write_bm8, 1},
};
constexpr size_t built_in_rows = sizeof built_in / sizeof built_in[0];
constexpr size_t growth = 32;

rle_row *table = nullptr;
size_t rows = 0;

rle_finder bitmap_finder = nullptr;
rle_register_hook bitmap_hook = nullptr;

int32_t out_of_memory() {
    return lferror(nullptr, "rle_cvtregister", LFE_MEMORY, 0, nullptr);
}

int32_t start_table() {
    table = allocate_zeroed<rle_row>(built_in_rows + growth);
    if (!table) return out_of_memory();
    rows = built_in_rows + growth;
    std::memcpy(table, built_in, sizeof built_in);
    return 0;
}

// Adds empty rows at the end.
int32_t grow_table() {
    rle_row *grown = reallocate_array(table, rows + growth);
    if (!grown) return out_of_memory();
    table = grown;
    std::memset(table + rows, 0, growth * sizeof *table);
    rows += growth;
    return 0;
}

rle_row *find_row(const char *name) {
    if (!name) return nullptr;
    for (size_t i = 0; i < rows; ++i) {
        if (table[i].name && std::strcmp(table[i].name, name) == 0) return table + i;
    }
    return nullptr;
}

// The number of the first empty row; `rows` if there is none.
size_t first_empty_row() {
    size_t i = 0;
    while (i < rows && table[i].name)
        ++i;
    return i;
}

// Lets the module of the bitmap codecs install its finder and hook, unless a program has done so.
void want_bitmap_codecs() {
    if (!bitmap_finder && autoload_allowed()) lfbm_load();
}

const rle_row *find_codec(const xvor_t *h, const char *name) {
    if (!has(h, LF_BITMAP)) return findrle_functions(name);
    want_bitmap_codecs();
    return bitmap_finder ? bitmap_finder(name) : nullptr;
}

// Whether the handle gets the mirrored readers; warns if it should and the codec has none.
bool reads_mirrored(const xvor_t *h, const rle_row *row, const char *name) {
    if (!has(h, LF_YMIRROR)) return false;
    if (row->rev_read) return true;
    lferror(nullptr, name, LFE_WARNING, 0, "lfrw_functions: YMIRROR not supported");
    return false;
}

} // namespace
} // namespace vor

using namespace vor;

int32_t rle_cvtregister(const rle_row *row) {
    if (!table && start_table() < 0) return -1;
    if (!row) return 0;
    if (!row->name) {
        return lferror(nullptr, "rle_cvtregister", LFE_ARGUMENT, 0, "codec without a name");
    }
    if (find_row(row->name)) return 1;
    const size_t place = first_empty_row();
    if (place == rows && grow_table() < 0) return -1;
    table[place] = *row;
    return 0;
}

const rle_row *findrle_functions(const char *name) {
    if (!table && rle_cvtregister(nullptr) < 0) return nullptr;
    return find_row(name);
}

int32_t lfrw_functions(xvor_t *h, const char *name) {
    const rle_row *row = find_codec(h, name);
    if (!row) {
        return lferror(nullptr, name ? name : "lfrw_functions", LFE_ARGUMENT, 0,
                       "Cannot find r/w functions for format");
    }
    const bool mirrored = reads_mirrored(h, row, name);
    rle_setup_scaler(h, clamp_int32(window_length(h)), h->ysize, row->limit,
                     mirrored ? row->rev_read_ns : row->read_ns,
                     mirrored ? row->rev_read : row->read);
    h->skiptrack = row->skip;
    h->writetrack = row->write;
    return 0;
}

int32_t rle_setup_scaler(xvor_t *h, int32_t clip_height, int32_t output_height, uint32_t,
                         lf_readtrack_fn read_ns, lf_readtrack_fn read) {
    h->readtrack = clip_height == output_height ? read_ns : read;
    return 0;
}

int32_t lfbmsetup(rle_finder finder, rle_register_hook hook) {
    bitmap_finder = finder;
    bitmap_hook = hook;
    return 0;
}

int32_t lfcvt_register(const rle_row *row, const char *bitmap_name) {
    const int32_t registered = rle_cvtregister(row);
    if (!bitmap_name) return registered;
    want_bitmap_codecs();
    if (!bitmap_hook) return registered;
    const int32_t result = bitmap_hook(bitmap_name);
    return result < 0 || !row ? result : registered;
}
