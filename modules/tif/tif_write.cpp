// The write road: tracks are gathered as rows in the handle's buffer, which a flush passes to
// libtiff; the directory goes out last, so that an unfinished file is no TIFF.

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <span>

#include "codecs/codecs.h"
#include "platform/kel.h"
#include "tif/tif_bits.h"
#include "tif/tif_file.h"

namespace vor::tif {
namespace {

constexpr int64_t strip_bytes = int64_t{1} << 20;       // aimed at, before coding
constexpr int64_t classic_limit = int64_t{0xF0000000u}; // beyond, offsets need BigTIFF
constexpr double mm_per_inch = 25.4;
constexpr double mm_per_cm = 10;

uint32_t minor_part(const xvor_t *h, uint32_t mask) {
    return static_cast<uint32_t>(h->subtype) & mask;
}

bool is_gray(const xvor_t *h) {
    return minor_part(h, TIF_KIND) == TIF_GRAY;
}

// The compression that the minor number asks for, 0 if there is none such.
uint16_t compression_of(const xvor_t *h) {
    switch (minor_part(h, TIF_COMPRESSION)) {
    case TIF_USUAL:
        return is_gray(h) ? COMPRESSION_LZW : COMPRESSION_CCITTFAX4;
    case TIF_PLAIN:
        return COMPRESSION_NONE;
    case TIF_PACKBITS:
        return COMPRESSION_PACKBITS;
    case TIF_LZW:
        return COMPRESSION_LZW;
    case TIF_DEFLATE:
        return COMPRESSION_ADOBE_DEFLATE;
    case TIF_G4:
        return is_gray(h) ? uint16_t{0} : uint16_t{COMPRESSION_CCITTFAX4};
    default:
        return 0;
    }
}

int32_t special(xvor_t *h, int32_t request, void *argument) {
    if (request != LFS_TIF_ORIENTATION) return LF_UNHANDLED;
    int32_t number = 0;
    std::memcpy(&number, argument, sizeof number);
    TifFile *file = file_of(h);
    if (number < ORIENTATION_TOPLEFT || number > ORIENTATION_LEFTBOT || file->tiff) {
        return lferror(h, "tif_special", LFE_ARGUMENT, 0, "bad orientation, or too late for one");
    }
    file->orientation = number;
    return 0;
}

// "w", with the byte order and the size of offsets.
const char *open_mode(const xvor_t *h, bool big) {
    const bool little = (std::endian::native == std::endian::little) != has(h, LF_SWAPPED);
    if (big) return little ? "w8l" : "w8b";
    return little ? "wl" : "wb";
}

bool is_whole(double value) {
    return std::abs(value - std::nearbyint(value)) < 1e-6 * value;
}

// In the unit in which the numbers are whole, since the file holds them as fractions.
bool set_resolution(TIFF *tiff, const xvor_t *h) {
    if (!(h->fxres > 0) || !(h->fyres > 0)) return true;
    const bool metric = !(is_whole(h->fxres * mm_per_inch) && is_whole(h->fyres * mm_per_inch)) &&
                        is_whole(h->fxres * mm_per_cm) && is_whole(h->fyres * mm_per_cm);
    const double mm = metric ? mm_per_cm : mm_per_inch;
    return TIFFSetField(tiff, TIFFTAG_RESOLUTIONUNIT, metric ? RESUNIT_CENTIMETER : RESUNIT_INCH) &&
           TIFFSetField(tiff, TIFFTAG_XRESOLUTION, h->fyres * mm) &&
           TIFFSetField(tiff, TIFFTAG_YRESOLUTION, h->fxres * mm);
}

bool set_tags(const TifFile &file, const xvor_t *h, int64_t row_size) {
    TIFF *tiff = file.tiff.get();
    const auto strip = static_cast<uint32_t>(std::max<int64_t>(strip_bytes / row_size, 1));
    const int sense = is_gray(h) ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_MINISWHITE;
    return TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(h->ysize)) &&
           // libtiff lengthens a picture whose length is not known
           TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(std::max(h->xsize, 1))) &&
           TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, h->bits) &&
           TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1) &&
           TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG) &&
           TIFFSetField(tiff, TIFFTAG_COMPRESSION, compression_of(h)) &&
           TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, sense) &&
           TIFFSetField(tiff, TIFFTAG_ORIENTATION, file.orientation) &&
           TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, strip) && set_resolution(tiff, h);
}

// A late change of the size comes here again: the file is begun anew, which it cannot be once it
// has tracks.
int32_t begin_file(xvor_t *h, TifFile *file, int64_t row_size) {
    constexpr const char *where = "tif_check";
    if (h->track > 0) {
        return lferror(h, where, LFE_ARGUMENT, 0, "the file has tracks already");
    }
    file->trouble.ended = true;
    file->tiff.reset();
    file->trouble.ended = false;
    file->height = h->xsize;
    const bool big = int64_t{std::max(h->xsize, 1)} > classic_limit / row_size;
    if (file_bytes(h) > 0 && kel_truncate(h->fd, 0) != 0) {
        return lferror(h, where, LFE_OS, 0, nullptr);
    }
    file->tiff = open_tiff(file, open_mode(h, big));
    if (file->tiff && set_tags(*file, h, row_size)) return 0;
    return lferror(h, where, LFE_OS, 0, file->trouble.extra());
}

// Hands the rows in the buffer over.
int32_t flush_rows(xvor_t *h) {
    constexpr const char *where = "tif_flush";
    TifFile *file = file_of(h);
    const auto row_size = static_cast<size_t>(h->rowbytes);
    const std::span<uint8_t> rows(h->buf, h->bufptr);
    h->bufptr = h->buf;
    h->bufpos += static_cast<int64_t>(rows.size());
    const auto count = static_cast<int64_t>(rows.size() / row_size);
    if (raster::require_room(h, file->written + count, file->height, where) < 0) return -1;
    if (!is_gray(h)) invert(rows);
    file->trouble.clear();
    for (size_t i = 0; i + row_size <= rows.size(); i += row_size) {
        if (TIFFWriteScanline(file->tiff.get(), rows.data() + i, file->written, 0) != 1) {
            return lferror(h, where, LFE_OS, 0, file->trouble.extra());
        }
        ++file->written;
    }
    return 0;
}

int32_t assign_functions(xvor_t *h) {
    if (lfrw_functions(h, is_gray(h) ? "bm8" : raster::exact_bits) < 0) return -1;
    h->readtrack = nullptr;
    h->flushbuf = flush_rows;
    return 0;
}

} // namespace

int32_t set_up_write(xvor_t *h) {
    const bool known = is_gray(h) || minor_part(h, TIF_KIND) <= TIF_MAXBILEVEL;
    if (!known || compression_of(h) == 0) {
        return lferror(h, "tif_wrsetup", LFE_ARGUMENT, 0, "bad file type");
    }
    auto file = std::make_unique<TifFile>();
    file->handle = h;
    h->bits = is_gray(h) ? 8 : 1;
    h->dataoff = 0;
    h->special = special;
    h->fmtdata = file.release();
    return 0;
}

int32_t check_write(xvor_t *h) {
    const int64_t row_size = row_bytes(h->ysize, h->bits);
    const int64_t count = std::max<int64_t>(LF_BUFSIZE / row_size, 1);
    if (begin_file(h, file_of(h), row_size) < 0 ||
        raster::make_buffer(h, count * row_size, "tif_check") < 0) {
        return -1;
    }
    h->rowbytes = static_cast<int32_t>(row_size);
    return assign_functions(h);
}

int32_t write_directory(xvor_t *h) {
    constexpr const char *where = "tif_whdr";
    TifFile *file = file_of(h);
    if (!file || !file->tiff) return lferror(h, where, LFE_ARGUMENT, 0, "no track was written");
    if (raster::require_all_tracks(h, file->height, where) < 0) return -1;
    file->trouble.clear();
    if (TIFFWriteDirectory(file->tiff.get())) return 0;
    return lferror(h, where, LFE_OS, 0, file->trouble.extra());
}

} // namespace vor::tif
