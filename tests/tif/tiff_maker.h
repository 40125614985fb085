// TIFF files made with libtiff, independently of the module, from a picture as it is to be seen.
#ifndef VOR_TESTS_TIFF_MAKER_H
#define VOR_TESTS_TIFF_MAKER_H

#include <cstdint>
#include <string>
#include <vector>

#include <tiffio.h>

#include "support/gray_image.h"
#include "support/owned_handles.h"

namespace vor::test {

// How a file holds it.
struct Form {
    int bits = 1;
    int compression = COMPRESSION_NONE;
    int photometric = PHOTOMETRIC_MINISBLACK;
    int orientation = ORIENTATION_TOPLEFT;
    uint32_t rows_per_strip = 0; // 0: one strip
    uint32_t tile_width = 0;     // not 0: tiles
    uint32_t tile_length = 0;
    int fill_order = FILLORDER_MSB2LSB;
    int predictor = 0;
    int resolution_unit = 0; // 0: no resolution tags
    float xresolution = 0;
    float yresolution = 0;
    std::string mode = "w";

    std::string describe() const;
};

void make_tiff(const std::string &name, const Form &form, const Image &image);

// The row and column of the file at which a pixel stands, by the definition of the tag.
struct Place {
    int32_t row = 0;
    int32_t column = 0;
};
Place place_in_file(const Image &image, int orientation, int32_t x, int32_t y);

// Opens a file of the module's format, which this registers. Null after a failure.
Handle open_tif(const std::string &name, uint32_t mode = LF_READ);

} // namespace vor::test

#endif
