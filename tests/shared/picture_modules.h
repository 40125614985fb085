// The modules whose files are pictures, for what holds of each of them.
#ifndef VOR_TESTS_PICTURE_MODULES_H
#define VOR_TESTS_PICTURE_MODULES_H

#include <cstdint>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "png/png_maker.h"
#include "png/vor_png.h"
#include "support/byte_file.h"
#include "support/picture_files.h"
#include "tif/tiff_maker.h"
#include "tif/vor_tif.h"

namespace vor::test {

struct PictureModule {
    lffmt_t *format;
    const char *title; // as its reports name a file
    // Minor numbers.
    uint32_t bilevel;
    uint32_t max_bilevel;
    uint32_t gray;
    uint32_t plain;
    uint32_t deflate;
    // Makes a file by other means than the module. Pixels per millimetre, 0 for no resolution.
    void (*make)(const std::string &name, const Image &image, int bits, uint32_t resolution);
    std::string_view false_file; // begins like a file of the format, and is none
    std::string_view too_short;  // to be told from other files
};

inline void make_png_file(const std::string &name, const Image &image, int bits,
                          uint32_t resolution) {
    PngMaker maker = png_of(image, bits);
    if (resolution) maker.resolution(resolution * 1000, resolution * 1000);
    write_bytes(name, maker.bytes());
}

inline void make_tif_file(const std::string &name, const Image &image, int bits,
                          uint32_t resolution) {
    Form form;
    form.bits = bits;
    if (resolution) {
        form.resolution_unit = RESUNIT_CENTIMETER;
        form.xresolution = form.yresolution = static_cast<float>(resolution * 10);
    }
    make_tiff(name, form, image);
}

inline constexpr PictureModule picture_modules[] = {
    {.format = &png_cvtformat,
     .title = "PNG",
     .bilevel = VOR_PNG_BILEVEL,
     .max_bilevel = VOR_PNG_MAXBILEVEL,
     .gray = VOR_PNG_GRAY,
     .plain = VOR_PNG_PLAIN,
     .deflate = VOR_PNG_DEFLATE,
     .make = make_png_file,
     .false_file = "\x89PNG\r\n\x1A\n and then a text, which is no chunk",
     .too_short = "\x89PNG\r\n\x1A"},
    {.format = &tif_cvtformat,
     .title = "TIFF",
     .bilevel = TIF_BILEVEL,
     .max_bilevel = TIF_MAXBILEVEL,
     .gray = TIF_GRAY,
     .plain = TIF_PLAIN,
     .deflate = TIF_DEFLATE,
     .make = make_tif_file,
     .false_file = std::string_view("II*\0\1\0\0\0", 8),
     .too_short = "II*"},
};

class PictureModuleTest : public PictureFiles, public testing::WithParamInterface<PictureModule> {
protected:
    PictureModuleTest() : PictureFiles(GetParam().format) {}

    // A report of one of the module's functions.
    std::string report(const std::string &text) const {
        return std::string(format_->name) + "_" + text;
    }
};

inline std::string module_name(const testing::TestParamInfo<PictureModule> &info) {
    return info.param.format->name;
}

} // namespace vor::test

#endif
