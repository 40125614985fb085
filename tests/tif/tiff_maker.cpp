#include "tif/tiff_maker.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <stdexcept>

#include "formats/formats.h"
#include "tif/vor_tif.h"

namespace vor::test {
namespace {

struct CloseTiff {
    void operator()(TIFF *tiff) const { TIFFClose(tiff); }
};
using Tiff = std::unique_ptr<TIFF, CloseTiff>;

void must(bool good) {
    if (!good) throw std::runtime_error("libtiff does not make the file");
}

bool is_transposed(int orientation) {
    return orientation >= ORIENTATION_LEFTTOP;
}

// The file's raster, a byte a pixel.
std::vector<uint8_t> raster_of(const Form &form, const Image &image, uint32_t width) {
    std::vector<uint8_t> raster(image.pixels.size());
    for (int32_t y = 0; y < image.height; ++y) {
        for (int32_t x = 0; x < image.width; ++x) {
            const Place place = place_in_file(image, form.orientation, x, y);
            uint8_t value = image.at(x, y);
            if (form.photometric == PHOTOMETRIC_MINISWHITE)
                value = static_cast<uint8_t>(255 - value);
            raster[static_cast<size_t>(place.row) * width + static_cast<size_t>(place.column)] =
                value;
        }
    }
    return raster;
}

// A piece of a raster, packed as the file has it, filled up with zeros to the piece's size.
std::vector<uint8_t> packed(const std::vector<uint8_t> &raster, uint32_t width, int bits,
                            uint32_t x, uint32_t y, uint32_t piece_width, uint32_t piece_length) {
    const size_t step = (static_cast<size_t>(piece_width) * static_cast<size_t>(bits) + 7) / 8;
    std::vector<uint8_t> bytes(step * piece_length);
    const auto length = static_cast<uint32_t>(raster.size() / width);
    for (uint32_t row = 0; row < piece_length && y + row < length; ++row) {
        for (uint32_t i = 0; i < piece_width && x + i < width; ++i) {
            const uint8_t value = raster[static_cast<size_t>(y + row) * width + x + i];
            uint8_t *line = bytes.data() + row * step;
            if (bits == 8) line[i] = value;
            if (bits == 1 && value != 0) line[i / 8] |= static_cast<uint8_t>(0x80 >> i % 8);
        }
    }
    return bytes;
}

void set_tags(TIFF *tiff, const Form &form, uint32_t width, uint32_t length) {
    must(TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, width));
    must(TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, length));
    must(TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, form.bits));
    must(TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1));
    must(TIFFSetField(tiff, TIFFTAG_COMPRESSION, form.compression));
    must(TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, form.photometric));
    must(TIFFSetField(tiff, TIFFTAG_ORIENTATION, form.orientation));
    must(TIFFSetField(tiff, TIFFTAG_FILLORDER, form.fill_order));
    if (form.predictor) must(TIFFSetField(tiff, TIFFTAG_PREDICTOR, form.predictor));
    if (form.resolution_unit) {
        must(TIFFSetField(tiff, TIFFTAG_RESOLUTIONUNIT, form.resolution_unit));
        must(TIFFSetField(tiff, TIFFTAG_XRESOLUTION, static_cast<double>(form.xresolution)));
        must(TIFFSetField(tiff, TIFFTAG_YRESOLUTION, static_cast<double>(form.yresolution)));
    }
}

void write_strips(TIFF *tiff, const Form &form, const std::vector<uint8_t> &raster, uint32_t width,
                  uint32_t length) {
    const uint32_t rows = form.rows_per_strip ? form.rows_per_strip : length;
    must(TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, rows));
    for (uint32_t y = 0; y < length; y += rows) {
        const uint32_t count = std::min(rows, length - y);
        std::vector<uint8_t> strip = packed(raster, width, form.bits, 0, y, width, count);
        must(TIFFWriteEncodedStrip(tiff, y / rows, strip.data(),
                                   static_cast<tmsize_t>(strip.size())) >= 0);
    }
}

void write_tiles(TIFF *tiff, const Form &form, const std::vector<uint8_t> &raster, uint32_t width,
                 uint32_t length) {
    must(TIFFSetField(tiff, TIFFTAG_TILEWIDTH, form.tile_width));
    must(TIFFSetField(tiff, TIFFTAG_TILELENGTH, form.tile_length));
    for (uint32_t y = 0; y < length; y += form.tile_length) {
        for (uint32_t x = 0; x < width; x += form.tile_width) {
            std::vector<uint8_t> tile =
                packed(raster, width, form.bits, x, y, form.tile_width, form.tile_length);
            must(TIFFWriteEncodedTile(tiff, TIFFComputeTile(tiff, x, y, 0, 0), tile.data(),
                                      static_cast<tmsize_t>(tile.size())) >= 0);
        }
    }
}

} // namespace

std::string Form::describe() const {
    return "bits " + std::to_string(bits) + ", compression " + std::to_string(compression) +
           ", photometric " + std::to_string(photometric) + ", orientation " +
           std::to_string(orientation) + ", strip " + std::to_string(rows_per_strip) + ", tile " +
           std::to_string(tile_width) + "x" + std::to_string(tile_length) + ", mode " + mode;
}

Place place_in_file(const Image &image, int orientation, int32_t x, int32_t y) {
    const int32_t right = image.width - 1 - x;
    const int32_t bottom = image.height - 1 - y;
    switch (orientation) { // what the first row and the first column of the file show
    case ORIENTATION_TOPLEFT:
        return {y, x};
    case ORIENTATION_TOPRIGHT:
        return {y, right};
    case ORIENTATION_BOTRIGHT:
        return {bottom, right};
    case ORIENTATION_BOTLEFT:
        return {bottom, x};
    case ORIENTATION_LEFTTOP:
        return {x, y};
    case ORIENTATION_RIGHTTOP:
        return {right, y};
    case ORIENTATION_RIGHTBOT:
        return {right, bottom};
    case ORIENTATION_LEFTBOT:
        return {x, bottom};
    default:
        throw std::runtime_error("no such orientation");
    }
}

void make_tiff(const std::string &name, const Form &form, const Image &image) {
    TIFFSetWarningHandler(nullptr);
    std::filesystem::remove(name); // a new file is made faster than an old one is overwritten
    const Tiff tiff(TIFFOpen(name.c_str(), form.mode.c_str()));
    must(tiff != nullptr);
    const bool turned = is_transposed(form.orientation);
    const auto width = static_cast<uint32_t>(turned ? image.height : image.width);
    const auto length = static_cast<uint32_t>(turned ? image.width : image.height);
    const std::vector<uint8_t> raster = raster_of(form, image, width);
    set_tags(tiff.get(), form, width, length);
    if (form.tile_width) {
        write_tiles(tiff.get(), form, raster, width, length);
    } else {
        write_strips(tiff.get(), form, raster, width, length);
    }
    must(TIFFFlush(tiff.get()));
}

Handle open_tif(const std::string &name, uint32_t mode) {
    lfregisterfmt(&tif_cvtformat);
    return Handle(lfopen(name.c_str(), mode, 0, nullptr));
}

} // namespace vor::test
