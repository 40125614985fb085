#include "shared/row_format.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "codecs/codecs.h"
#include "platform/kel.h"

namespace vor::raster {
namespace {

// The bits of a byte from `first` on, and those before `end`.
constexpr uint8_t bits_from(int64_t first) {
    return static_cast<uint8_t>(0xFF >> first);
}
constexpr uint8_t bits_before(int64_t end) {
    return static_cast<uint8_t>(~(0xFF >> end));
}

// The colour table's entry for the colour of a run; a colour beyond the table stands for itself.
uint32_t colour_entry(const xvor_t *h, uint32_t colour) {
    return colour < LF_NCOLORS ? h->ctable[colour] : colour;
}

} // namespace

int64_t file_bytes(const xvor_t *h) {
    kel_stat_t status;
    return kel_fstat(h->fd, &status) == 0 ? status.size : -1;
}

int64_t read_fully(int32_t fd, void *to, size_t size) {
    auto *bytes = static_cast<uint8_t *>(to);
    size_t have = 0;
    while (have < size) {
        const int64_t got = kel_read(fd, bytes + have, size - have);
        if (got < 0) return -1;
        if (got == 0) break;
        have += static_cast<size_t>(got);
    }
    return static_cast<int64_t>(have);
}

bool write_fully(int32_t fd, const void *from, size_t size) {
    const auto *bytes = static_cast<const uint8_t *>(from);
    while (size > 0) {
        const int64_t put = kel_write(fd, bytes, size);
        if (put <= 0) return false;
        bytes += put;
        size -= static_cast<size_t>(put);
    }
    return true;
}

int32_t make_buffer(xvor_t *h, int64_t bytes, const char *where) {
    void *grown =
        bytes <= largest_block ? std::realloc(h->buf, static_cast<size_t>(bytes)) : nullptr;
    if (!grown) return lferror(h, where, LFE_MEMORY, 0, nullptr);
    h->buf = static_cast<uint8_t *>(grown);
    h->bufsize = static_cast<uint32_t>(bytes);
    h->bufptr = h->buf;
    h->bufend = h->buf + bytes;
    return 0;
}

void set_bits(std::span<uint8_t> row, int64_t first, int64_t count) {
    if (count <= 0) return;
    const int64_t end = first + count;
    auto *begin_byte = row.data() + first / 8;
    auto *end_byte = row.data() + end / 8;
    if (begin_byte == end_byte) {
        *begin_byte |= static_cast<uint8_t>(bits_from(first % 8) & bits_before(end % 8));
        return;
    }
    *begin_byte |= bits_from(first % 8);
    std::fill(begin_byte + 1, end_byte, uint8_t{0xFF});
    if (end % 8 != 0) *end_byte |= bits_before(end % 8);
}

int32_t write_bit_row(xvor_t *h, trackbuf *t) {
    if (h->bufend - h->bufptr < h->rowbytes && lfflush(h) < 0) return -1;
    const std::span<uint8_t> row(h->bufptr, static_cast<size_t>(h->rowbytes));
    std::memset(row.data(), 0, row.size());
    // Behind a late change of the size the row is still that of the last lfcheck.
    const int64_t pixels = std::min<int64_t>(h->fysize, int64_t{8} * h->rowbytes);
    int64_t position = 0;
    for (int32_t i = 0; i < t->nruns && position < pixels; ++i) {
        const lfrun &run = t->data[has(h, LF_YMIRROR) ? t->nruns - 1 - i : i];
        const int64_t length = std::min<int64_t>(run.length, pixels - position);
        if (colour_entry(h, run.colour) != 0) set_bits(row, position, length);
        position += length;
    }
    h->bufptr += row.size();
    return 0;
}

int32_t register_exact_bits() {
    const rle_row *bits = findrle_functions("bm1");
    if (!bits) return -1;
    rle_row exact = *bits;
    exact.name = exact_bits;
    exact.write = write_bit_row;
    return rle_cvtregister(&exact) < 0 ? -1 : 0;
}

int32_t take_row_codec(xvor_t *h, const char *where) {
    const int64_t size = row_bytes(h->fysize, h->bits);
    if (make_buffer(h, size, where) < 0) return -1;
    h->bufend = h->buf;
    h->rowbytes = static_cast<int32_t>(size);
    h->fillbuf = no_more_bytes;
    return lfrw_functions(h, h->bits == 1 ? "bm1" : "bm8");
}

int32_t no_more_bytes(xvor_t *h) {
    h->bufptr = h->bufend = h->buf;
    return 0;
}

int32_t require_room(xvor_t *h, int64_t rows, int32_t height, const char *where) {
    if (has(h, LF_GROW) || rows <= height) return 0;
    return lferror(h, where, LFE_TRACK, height, "the file was begun with fewer tracks");
}

int32_t require_all_tracks(xvor_t *h, int32_t height, const char *where) {
    if (h->track >= 1 && (has(h, LF_GROW) || h->track == height)) return 0;
    return lferror(h, where, LFE_COUNT, height - h->track, "tracks are missing");
}

} // namespace vor::raster
