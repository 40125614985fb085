/* What a TIFF directory says of the picture, and whether it can be believed. */
#ifndef VOR_TIF_TIF_PICTURE_H
#define VOR_TIF_TIF_PICTURE_H

#include <cstdint>

#include <tiffio.h>

namespace vor::tif {

// How the rows and columns of the file become tracks and pixels: first the axes may change places,
// then the order of the tracks, and that of the pixels, may be reversed.
struct Orientation {
    bool transposed = false;
    bool reversed = false;
    bool mirrored = false;
};

// A picture as it lies in the file.
struct Picture {
    int32_t width = 0;  // pixels of a row
    int32_t length = 0; // rows
    int bits = 0;
    int64_t row_size = 0; // bytes of a row
    uint16_t compression = 0;
    bool white_is_zero = false;
    bool tiled = false;
    uint32_t block_width = 0;  // of a tile
    uint32_t block_length = 0; // rows of a strip or tile
    Orientation orientation;
    double width_resolution = 0; // pixels per mm, 0 for both if the file tells none
    double length_resolution = 0;

    int32_t tracks() const { return orientation.transposed ? width : length; }
    int32_t pixels() const { return orientation.transposed ? length : width; }
};

// Fills `picture` from the directory. The result is a text that says why the picture cannot be
// read, or null. `file_size` in bytes tells lies: what claims more pixels than any coding gets out
// of that many bytes is refused before memory is taken for it.
const char *read_picture(TIFF *tiff, int64_t file_size, Picture *picture);

} // namespace vor::tif

#endif
