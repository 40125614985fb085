/* What formats have in common whose tracks are rows of pixels, of 1 or 8 bits, and that decode and
 * code whole rows: the handle's buffer holds rows and nothing else, and the codecs "bm1" and "bm8"
 * take the pixels from there and put them there.
 */
#ifndef VOR_SHARED_ROW_FORMAT_H
#define VOR_SHARED_ROW_FORMAT_H

#include <cstddef>
#include <cstdint>
#include <new>
#include <span>

#include "trackfile/lf.h"

namespace vor::raster {

// The largest block that is made on the word of a file, in bytes.
constexpr int64_t largest_block = int64_t{256} << 20;

// Bytes of a row.
constexpr int64_t row_bytes(int64_t pixels, int bits) {
    return (pixels * bits + 7) / 8;
}

inline bool has(const xvor_t *h, uint32_t flag) {
    return (h->flags & flag) != 0;
}

// What C++ throws ends here: the library's calls know no exceptions.
template <class Function>
int32_t guarded(xvor_t *h, const char *where, Function function) {
    try {
        return function();
    } catch (const std::bad_alloc &) {
        return lferror(h, where, LFE_MEMORY, 0, nullptr);
    }
}

// Bytes of the handle's file, -1 if the descriptor does not tell.
int64_t file_bytes(const xvor_t *h);

// Reads until `size` bytes are there or the file ends. Bytes read, or -1.
int64_t read_fully(int32_t fd, void *to, size_t size);

bool write_fully(int32_t fd, const void *from, size_t size);

// Gives the handle a buffer of `bytes` bytes. 0, or -1 after a report.
int32_t make_buffer(xvor_t *h, int64_t bytes, const char *where);

// Sets `count` bits from bit `first` on; the leftmost pixel is the highest bit.
void set_bits(std::span<uint8_t> row, int64_t first, int64_t count);

// A writetrack for rows of 1 bit that is exact at every length; the codec "bm1" writes whole bytes
// of a colour and drops what does not fill one. Runs that end early leave the rest 0, runs beyond
// the row are cut.
int32_t write_bit_row(xvor_t *h, trackbuf *t);

// The codec "bm1" with this writer, which a format registers in its init. It stands in the table so
// that handles of pixels have it as well. 0, or -1 after a report.
constexpr const char *exact_bits = "bm1 exact";
int32_t register_exact_bits();

// The codec of rows on the read road: "bm1" or "bm8", and a buffer of one row. 0, or -1 after a
// report.
int32_t take_row_codec(xvor_t *h, const char *where);

// A fillbuf: the track that a codec works on is whole in the buffer, and nothing comes behind it.
int32_t no_more_bytes(xvor_t *h);

// A file is begun with its height, which a late lfsetsize does not change; only under LF_GROW it is
// open. Before `rows` rows in all have gone out, and at the close: 0, or -1 after a report of
// tracks beyond the height or missing.
int32_t require_room(xvor_t *h, int64_t rows, int32_t height, const char *where);
int32_t require_all_tracks(xvor_t *h, int32_t height, const char *where);

} // namespace vor::raster

#endif
