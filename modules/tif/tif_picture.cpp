#include "tif/tif_picture.h"

#include <algorithm>
#include <cmath>

#include "tif/tif_bits.h"
#include "tif/tif_file.h"

namespace vor::tif {
namespace {

constexpr double mm_per_inch = 25.4;
constexpr double mm_per_cm = 10;

// The longest row that G4 is believed in. It codes a blank row of any length in one bit, so that
// the size of the file sets no bound.
constexpr int32_t longest_g4_row = 1 << 24;

constexpr const char *too_small = "the file is too small for the size that it claims";

constexpr Orientation orientations[8] = {
    {.transposed = false, .reversed = false, .mirrored = false}, // ORIENTATION_TOPLEFT
    {.transposed = false, .reversed = false, .mirrored = true},
    {.transposed = false, .reversed = true, .mirrored = true},
    {.transposed = false, .reversed = true, .mirrored = false},
    {.transposed = true, .reversed = false, .mirrored = false}, // ORIENTATION_LEFTTOP
    {.transposed = true, .reversed = false, .mirrored = true},
    {.transposed = true, .reversed = true, .mirrored = true},
    {.transposed = true, .reversed = true, .mirrored = false},
};
static_assert(ORIENTATION_TOPLEFT == 1 && ORIENTATION_LEFTTOP == 5 && ORIENTATION_LEFTBOT == 8);

uint16_t short_field(TIFF *tiff, uint32_t tag, uint16_t otherwise) {
    uint16_t value = otherwise;
    if (!TIFFGetFieldDefaulted(tiff, tag, &value)) return otherwise;
    return value;
}

uint32_t long_field(TIFF *tiff, uint32_t tag, uint32_t otherwise) {
    uint32_t value = otherwise;
    if (!TIFFGetFieldDefaulted(tiff, tag, &value)) return otherwise;
    return value;
}

const char *read_pixel_format(TIFF *tiff, Picture *picture) {
    if (short_field(tiff, TIFFTAG_SAMPLESPERPIXEL, 1) != 1) {
        return "only one sample a pixel is read";
    }
    picture->bits = short_field(tiff, TIFFTAG_BITSPERSAMPLE, 1);
    if (picture->bits != 1 && picture->bits != 8) return "only 1 and 8 bits a sample are read";
    const uint16_t sample = short_field(tiff, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT);
    if (sample != SAMPLEFORMAT_UINT && sample != SAMPLEFORMAT_VOID) {
        return "only unsigned samples are read";
    }
    // Files without the tag are old ones, in which a fax has its usual sense.
    const bool fax = picture->compression == COMPRESSION_CCITTFAX4;
    const uint16_t sense = short_field(tiff, TIFFTAG_PHOTOMETRIC,
                                       fax ? PHOTOMETRIC_MINISWHITE : PHOTOMETRIC_MINISBLACK);
    if (sense != PHOTOMETRIC_MINISWHITE && sense != PHOTOMETRIC_MINISBLACK) {
        return "only two-level and gray pictures are read";
    }
    picture->white_is_zero = sense == PHOTOMETRIC_MINISWHITE;
    return nullptr;
}

const char *read_compression(TIFF *tiff, Picture *picture) {
    picture->compression = short_field(tiff, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    switch (picture->compression) {
    case COMPRESSION_NONE:
    case COMPRESSION_PACKBITS:
    case COMPRESSION_LZW:
    case COMPRESSION_ADOBE_DEFLATE:
    case COMPRESSION_DEFLATE:
    case COMPRESSION_CCITTFAX4:
        return nullptr;
    default:
        return "this compression is not read";
    }
}

// Bytes of pixels that a byte of the file may stand for at most.
int64_t expansion(uint16_t compression) {
    switch (compression) {
    case COMPRESSION_NONE:
        return 1;
    case COMPRESSION_PACKBITS:
        return 64; // two bytes for 128
    case COMPRESSION_LZW:
        return 4096; // a code of 9 bits or more for a string of the table
    default:
        return 1040; // Deflate: 258 bytes for two bits
    }
}

// Can `rows` rows of `width` pixels stand in a file of `file_size` bytes?
bool fits_file(const Picture &picture, int64_t width, int64_t rows, int64_t file_size) {
    if (picture.compression == COMPRESSION_CCITTFAX4) {
        return width <= longest_g4_row && rows / 8 <= file_size;
    }
    return rows * row_bytes(width, picture.bits) / expansion(picture.compression) <= file_size;
}

const char *read_size(TIFF *tiff, int64_t file_size, Picture *picture) {
    const uint32_t width = long_field(tiff, TIFFTAG_IMAGEWIDTH, 0);
    const uint32_t length = long_field(tiff, TIFFTAG_IMAGELENGTH, 0);
    if (width < 1 || width > INT32_MAX || length < 1 || length > INT32_MAX) {
        return "the picture has no size that can be read";
    }
    picture->width = static_cast<int32_t>(width);
    picture->length = static_cast<int32_t>(length);
    picture->row_size = row_bytes(width, picture->bits);
    if (std::max(width, length) > largest_block) return "the picture is too large";
    // A column needs all rows, a row only itself.
    const int64_t rows = picture->orientation.transposed ? picture->length : 1;
    return fits_file(*picture, width, rows, file_size) ? nullptr : too_small;
}

const char *read_strips(TIFF *tiff, Picture *picture) {
    picture->block_length = long_field(tiff, TIFFTAG_ROWSPERSTRIP, UINT32_MAX);
    if (picture->block_length == 0) return "strips without rows";
    if (TIFFScanlineSize64(tiff) != static_cast<uint64_t>(picture->row_size)) {
        return "rows of an odd size";
    }
    return nullptr;
}

const char *read_tiles(TIFF *tiff, int64_t file_size, Picture *picture) {
    picture->block_width = long_field(tiff, TIFFTAG_TILEWIDTH, 0);
    picture->block_length = long_field(tiff, TIFFTAG_TILELENGTH, 0);
    const int64_t width = picture->block_width;
    const int64_t length = picture->block_length;
    if (width == 0 || width % 8 != 0 || length == 0) return "tiles of an odd size";
    if (width > largest_block || length > largest_block ||
        std::max(row_bytes(width, picture->bits), picture->row_size) * length > largest_block) {
        return "the tiles are too large";
    }
    return fits_file(*picture, width, length, file_size) ? nullptr : too_small;
}

double resolution(TIFF *tiff, uint32_t tag, double mm_per_unit) {
    float value = 0;
    if (!TIFFGetField(tiff, tag, &value)) return 0;
    const double per_mm = double{value} / mm_per_unit;
    return std::isfinite(per_mm) && per_mm > 0 ? per_mm : 0;
}

void read_resolution(TIFF *tiff, Picture *picture) {
    const uint16_t unit = short_field(tiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
    if (unit != RESUNIT_INCH && unit != RESUNIT_CENTIMETER) return;
    const double mm = unit == RESUNIT_INCH ? mm_per_inch : mm_per_cm;
    const double along_width = resolution(tiff, TIFFTAG_XRESOLUTION, mm);
    const double along_length = resolution(tiff, TIFFTAG_YRESOLUTION, mm);
    if (along_width == 0 || along_length == 0) return;
    picture->width_resolution = along_width;
    picture->length_resolution = along_length;
}

} // namespace

const char *read_picture(TIFF *tiff, int64_t file_size, Picture *picture) {
    const uint16_t orientation = short_field(tiff, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    if (orientation >= ORIENTATION_TOPLEFT && orientation <= ORIENTATION_LEFTBOT) {
        picture->orientation = orientations[orientation - ORIENTATION_TOPLEFT];
    }
    if (const char *why = read_compression(tiff, picture)) return why;
    if (const char *why = read_pixel_format(tiff, picture)) return why;
    if (picture->compression == COMPRESSION_CCITTFAX4 && picture->bits != 1) {
        return "G4 codes 1 bit a pixel only";
    }
    if (const char *why = read_size(tiff, file_size, picture)) return why;
    read_resolution(tiff, picture);
    picture->tiled = TIFFIsTiled(tiff) != 0;
    return picture->tiled ? read_tiles(tiff, file_size, picture) : read_strips(tiff, picture);
}

} // namespace vor::tif
