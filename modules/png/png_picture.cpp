#include "png/png_picture.h"

#include "shared/row_format.h"

namespace vor::png {
namespace {

constexpr double mm_per_metre = 1000;

// Bytes of pixels that a byte of the file may stand for at most: 258 for two bits.
constexpr int64_t expansion = 1040;

// libpng works on a row at up to 8 bytes a pixel.
constexpr int64_t widest = raster::largest_block / 8;

bool has_coloured_entry(const png_struct *png, const png_info *info) {
    png_color *entries = nullptr;
    int count = 0;
    // The table is only looked at.
    if (!png_get_PLTE(png, const_cast<png_info *>(info), &entries, &count)) return true;
    for (int i = 0; i < count; ++i) {
        const png_color &entry = entries[i];
        if (entry.red != entry.green || entry.green != entry.blue) return true;
    }
    return false;
}

void read_pixel_format(const png_struct *png, const png_info *info, Picture *picture) {
    const int type = png_get_color_type(png, info);
    const int depth = png_get_bit_depth(png, info);
    picture->coloured = type == PNG_COLOR_TYPE_PALETTE ? has_coloured_entry(png, info)
                                                       : (type & PNG_COLOR_MASK_COLOR) != 0;
    picture->transparent =
        (type & PNG_COLOR_MASK_ALPHA) != 0 || png_get_valid(png, info, PNG_INFO_tRNS) != 0;
    picture->deep = depth == 16;
    picture->interlaced = png_get_interlace_type(png, info) != PNG_INTERLACE_NONE;
    const bool bilevel = type == PNG_COLOR_TYPE_GRAY && depth == 1 && !picture->transparent;
    picture->bits = bilevel ? 1 : 8;
}

void read_resolution(const png_struct *png, const png_info *info, Picture *picture) {
    png_uint_32 across = 0;
    png_uint_32 down = 0;
    int unit = PNG_RESOLUTION_UNKNOWN;
    if (!png_get_pHYs(png, info, &across, &down, &unit)) return;
    if (unit != PNG_RESOLUTION_METER || across == 0 || down == 0) return;
    picture->width_resolution = across / mm_per_metre;
    picture->height_resolution = down / mm_per_metre;
}

} // namespace

const char *read_picture(const png_struct *png, const png_info *info, int64_t file_size,
                         Picture *picture) {
    const int64_t width = png_get_image_width(png, info);
    const int64_t height = png_get_image_height(png, info);
    if (width > widest || height > INT32_MAX) return "the picture is too large";
    picture->width = static_cast<int32_t>(width);
    picture->height = static_cast<int32_t>(height);
    read_pixel_format(png, info, picture);
    picture->stride = raster::row_bytes(width, picture->transparent ? 16 : picture->bits);
    read_resolution(png, info, picture);

    // Only an interlaced picture needs all its rows at once.
    const int64_t rows = picture->interlaced ? height : 1;
    if (picture->stride * rows > raster::largest_block)
        return "the interlaced picture is too large";
    const auto coded = static_cast<int64_t>(png_get_rowbytes(png, info));
    if (coded * rows / expansion > file_size) {
        return "the file is too small for the size that it claims";
    }
    return nullptr;
}

} // namespace vor::png
