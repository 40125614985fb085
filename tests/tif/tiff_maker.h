// TIFF files made with libtiff, independently of the module, from a picture as it is to be seen;
// and the tracks of a file, read through the library.
#ifndef VOR_TESTS_TIFF_MAKER_H
#define VOR_TESTS_TIFF_MAKER_H

#include <cstdint>
#include <string>
#include <vector>

#include <tiffio.h>

#include "support/owned_handles.h"

namespace vor::test {

// A gray picture as it is to be seen, 0 black and 255 white, top row first.
struct Image {
    int32_t width = 0;
    int32_t height = 0;
    std::vector<uint8_t> pixels;

    uint8_t &at(int32_t x, int32_t y) {
        return pixels[static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)];
    }
    uint8_t at(int32_t x, int32_t y) const { return const_cast<Image *>(this)->at(x, y); }
    bool operator==(const Image &) const = default;
};

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

// A picture with detail of every kind in it: runs, single pixels, and in gray all values.
Image sample_image(int32_t width, int32_t height, int bits);

void make_tiff(const std::string &name, const Form &form, const Image &image);

// The row and column of the file at which a pixel stands, by the definition of the tag.
struct Place {
    int32_t row = 0;
    int32_t column = 0;
};
Place place_in_file(const Image &image, int orientation, int32_t x, int32_t y);

// All output tracks of a handle as rows of an image. Throws where a track is not read.
Image read_image(xvor_t *h);

// Opens a file of the module's format, which this registers. Null after a failure.
Handle open_tif(const std::string &name, uint32_t mode = LF_READ);

} // namespace vor::test

#endif
