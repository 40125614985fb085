// The write road: tracks are gathered as rows in the handle's buffer, which a flush passes to
// libpng. The chunk that ends a PNG goes out at the close, so that an unfinished file is none.

#include <algorithm>
#include <cmath>
#include <memory>

#include "codecs/codecs.h"
#include "platform/kel.h"
#include "png/png_file.h"

namespace vor::png {
namespace {

using raster::has;
using raster::row_bytes;

constexpr double mm_per_metre = 1000;
constexpr int no_level = -2; // of compression

uint32_t minor_part(const xvor_t *h, uint32_t mask) {
    return static_cast<uint32_t>(h->subtype) & mask;
}

bool is_gray(const xvor_t *h) {
    return minor_part(h, VOR_PNG_KIND) == VOR_PNG_GRAY;
}

// zlib's level for the effort that the minor number asks for.
int compression_level(const xvor_t *h) {
    switch (minor_part(h, VOR_PNG_EFFORT)) {
    case VOR_PNG_USUAL:
        return -1;
    case VOR_PNG_PLAIN:
        return 0;
    case VOR_PNG_DEFLATE:
        return 9;
    default:
        return no_level;
    }
}

// Pixels per metre, 0 for what the file cannot hold.
png_uint_32 per_metre(double per_mm) {
    const double value = std::nearbyint(per_mm * mm_per_metre);
    return value >= 1 && value <= PNG_UINT_31_MAX ? static_cast<png_uint_32>(value) : 0;
}

void write_head(png_struct *png, png_info *info, const xvor_t *h) {
    png_set_compression_level(png, compression_level(h));
    png_set_IHDR(png, info, static_cast<png_uint_32>(h->ysize), static_cast<png_uint_32>(h->xsize),
                 h->bits, PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    const png_uint_32 across = per_metre(h->fyres);
    const png_uint_32 down = per_metre(h->fxres);
    if (across != 0 && down != 0) png_set_pHYs(png, info, across, down, PNG_RESOLUTION_METER);
    png_write_info(png, info);
}

// The whole rows in the buffer.
void write_rows(png_struct *png, png_info *, const xvor_t *h) {
    for (const uint8_t *row = h->buf; row < h->bufptr; row += h->rowbytes)
        png_write_row(png, row);
}

void write_last_chunk(png_struct *png, png_info *, const xvor_t *) {
    png_write_end(png, nullptr);
}

// Runs a step of writing. 0, or -1 after a report. A stream that failed once takes nothing more.
int32_t run(xvor_t *h, const char *where,
            void (*step)(png_struct *png, png_info *info, const xvor_t *h)) {
    PngStream &stream = file_of(h)->stream;
    if (stream.reason() == nullptr && stream.run<const xvor_t>(step, h)) return 0;
    return lferror(h, where, LFE_OS, 0, stream.reason());
}

bool is_regular_file(const xvor_t *h) {
    kel_stat_t status;
    return kel_fstat(h->fd, &status) == 0 && (status.mode & KEL_S_IFMT) == KEL_S_IFREG;
}

// A late change of the size comes here again: the file is begun anew, which it cannot be once it
// has tracks.
int32_t begin_file(xvor_t *h) {
    constexpr const char *where = "png_check";
    if (h->track > 0) return lferror(h, where, LFE_ARGUMENT, 0, "the file has tracks already");
    PngFile *file = file_of(h);
    PngStream &stream = file->stream;
    // What a pipe has taken cannot be taken back.
    if (stream.is_open() && !is_regular_file(h)) {
        return lferror(h, where, LFE_ARGUMENT, 0, "the head of the file has gone out already");
    }
    file->height = h->xsize;
    if (raster::file_bytes(h) > 0 &&
        (kel_truncate(h->fd, 0) != 0 || kel_lseek(h->fd, 0, KEL_SEEK_SET) != 0)) {
        return lferror(h, where, LFE_OS, 0, nullptr);
    }
    if (!stream.open_writing()) return lferror(h, where, LFE_OS, 0, stream.reason());
    return run(h, where, write_head);
}

// Hands the rows in the buffer over.
int32_t flush_rows(xvor_t *h) {
    constexpr const char *where = "png_flush";
    PngFile *file = file_of(h);
    const int64_t size = h->bufptr - h->buf;
    if (size == 0) return 0;
    file->written += size / h->rowbytes;
    int32_t result = raster::require_room(h, file->written, file->height, where);
    if (result == 0) result = run(h, where, write_rows);
    h->bufptr = h->buf;
    h->bufpos += size;
    return result;
}

int32_t assign_functions(xvor_t *h) {
    if (lfrw_functions(h, is_gray(h) ? "bm8" : raster::exact_bits) < 0) return -1;
    h->readtrack = nullptr;
    h->flushbuf = flush_rows;
    return 0;
}

} // namespace

int32_t set_up_write(xvor_t *h) {
    constexpr const char *where = "png_wrsetup";
    const bool known = is_gray(h) || minor_part(h, VOR_PNG_KIND) <= VOR_PNG_MAXBILEVEL;
    if (!known || compression_level(h) == no_level) {
        return lferror(h, where, LFE_ARGUMENT, 0, "bad file type");
    }
    if (has(h, LF_GROW)) {
        return lferror(h, where, LFE_REQUEST, 0, "a PNG file needs its number of tracks first");
    }
    h->bits = is_gray(h) ? 8 : 1;
    h->dataoff = 0;
    h->fmtdata = std::make_unique<PngFile>(h).release();
    return 0;
}

int32_t check_write(xvor_t *h) {
    const int64_t row_size = row_bytes(h->ysize, h->bits);
    const int64_t count = std::max<int64_t>(LF_BUFSIZE / row_size, 1);
    if (begin_file(h) < 0 || raster::make_buffer(h, count * row_size, "png_check") < 0) return -1;
    h->rowbytes = static_cast<int32_t>(row_size);
    return assign_functions(h);
}

int32_t write_end(xvor_t *h) {
    constexpr const char *where = "png_whdr";
    const PngFile *file = file_of(h);
    if (!file || !file->stream.is_open()) {
        return lferror(h, where, LFE_ARGUMENT, 0, "no track was written");
    }
    if (raster::require_all_tracks(h, file->height, where) < 0) return -1;
    return run(h, where, write_last_chunk);
}

} // namespace vor::png
