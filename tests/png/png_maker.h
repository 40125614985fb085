// PNG files put together from chunks with zlib alone, of every kind that there is, and of kinds
// that there should not be.
#ifndef VOR_TESTS_PNG_MAKER_H
#define VOR_TESTS_PNG_MAKER_H

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "support/gray_image.h"

namespace vor::test {

using Bytes = std::vector<uint8_t>;

// Kinds of a PNG's pixels.
enum PngKind { png_gray = 0, png_rgb = 2, png_palette = 3, png_gray_alpha = 4, png_rgb_alpha = 6 };

class PngMaker {
public:
    PngMaker(uint32_t width, uint32_t height, int depth, int kind);

    // The samples of the pixel x, y: as many as the kind has.
    using Samples = std::function<std::vector<uint32_t>(uint32_t x, uint32_t y)>;
    PngMaker &pixels(const Samples &samples);

    // Stores the pixels in the seven passes of Adam7.
    PngMaker &interlace();

    // A chunk in front of the pixels, or behind them.
    PngMaker &chunk(const std::string &type, const Bytes &data);
    PngMaker &last_chunk(const std::string &type, const Bytes &data);
    PngMaker &resolution(uint32_t across, uint32_t down, uint8_t unit = 1);

    // The header tells another size than that of the pixels.
    PngMaker &claim(uint32_t width, uint32_t height);

    Bytes bytes() const;

private:
    Bytes packed_rows() const;
    void pack_pass(Bytes *out, uint32_t x0, uint32_t y0, uint32_t dx, uint32_t dy) const;

    uint32_t width_, height_, claimed_width_, claimed_height_;
    int depth_, kind_;
    bool interlaced_ = false;
    Samples samples_;
    std::vector<std::pair<std::string, Bytes>> before_, behind_;
};

// A gray file of 1 or 8 bits of a picture.
PngMaker png_of(const Image &image, int bits);

// Numbers as a PNG holds them.
Bytes big_endian(uint32_t value);

// Opens a file of the module's format, which this registers. Null after a failure.
Handle open_png(const std::string &name, uint32_t mode = LF_READ);

} // namespace vor::test

#endif
