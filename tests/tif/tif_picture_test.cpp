// What a directory may say and is not believed, or not read.

#include "tif/tif_picture.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/byte_file.h"
#include "support/report_log.h"
#include "support/temp_dir.h"
#include "tif/raw_tiff.h"
#include "tif/tiff_maker.h"

namespace {

using namespace vor::test;

constexpr const char *too_small = "the file is too small for the size that it claims";

class TifPicture : public testing::Test {
protected:
    // Opens a file with these bytes.
    Handle open(const std::vector<uint8_t> &bytes) {
        write_bytes(name_, bytes);
        return open_tif(name_);
    }
    // Why it is not read: the first report that is no warning of libtiff's.
    std::string refusal(const RawTiff &file) {
        log_.take();
        if (open(file.bytes())) return "it is read";
        for (const std::string &line : log_.take()) {
            if (!line.starts_with("tif: warning")) return line;
        }
        return "nothing is said";
    }

    TempDir dir_;
    std::string name_ = dir_.file("a.tif");
    ReportLog log_;
};

RawTiff small_gray() {
    return RawTiff(4, 2, 8, COMPRESSION_NONE, {1, 2, 3, 4, 5, 6, 7, 8});
}

TEST_F(TifPicture, AFileMadeByHandIsRead) {
    const Handle h = open(small_gray().bytes());
    ASSERT_TRUE(h);
    EXPECT_EQ(read_image(h.get()), (Image{4, 2, {1, 2, 3, 4, 5, 6, 7, 8}}));
}

TEST_F(TifPicture, OtherKindsOfPicturesAreRefusedByName) {
    const struct {
        uint32_t tag;
        uint32_t value;
        const char *why;
    } rows[] = {
        {TIFFTAG_SAMPLESPERPIXEL, 2, "only one sample a pixel is read"},
        {TIFFTAG_BITSPERSAMPLE, 4, "only 1 and 8 bits a sample are read"},
        {TIFFTAG_BITSPERSAMPLE, 16, "only 1 and 8 bits a sample are read"},
        {TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_INT, "only unsigned samples are read"},
        {TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB, "only two-level and gray pictures are read"},
        {TIFFTAG_COMPRESSION, COMPRESSION_CCITTFAX3, "this compression is not read"},
        {TIFFTAG_COMPRESSION, COMPRESSION_THUNDERSCAN, "this compression is not read"},
        {TIFFTAG_COMPRESSION, COMPRESSION_CCITTFAX4, "G4 codes 1 bit a pixel only"},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(refusal(small_gray().set(row.tag, row.value)),
                  std::string("tif_detect: read not supported | ") + row.why);
    }
}

TEST_F(TifPicture, APictureWithoutSizeIsRefused) {
    for (const uint32_t tag : {uint32_t{TIFFTAG_IMAGEWIDTH}, uint32_t{TIFFTAG_IMAGELENGTH}}) {
        EXPECT_NE(refusal(small_gray().set(tag, 0)), "it is read");
        EXPECT_NE(refusal(small_gray().drop(tag)), "it is read");
        EXPECT_NE(refusal(small_gray().set(tag, 0x80000000u)), "it is read");
        EXPECT_NE(refusal(small_gray().set(tag, 0xFFFFFFFFu)), "it is read");
    }
}

TEST_F(TifPicture, ARowThatTheFileCannotHoldIsRefused) {
    const std::string refused = std::string("tif_detect: read not supported | ") + too_small;
    EXPECT_EQ(refusal(small_gray().set(TIFFTAG_IMAGEWIDTH, 1000)), refused);
    EXPECT_EQ(refusal(RawTiff(1 << 20, 1, 8, COMPRESSION_PACKBITS, {0})), refused);
    EXPECT_EQ(refusal(RawTiff(1 << 22, 1, 8, COMPRESSION_LZW, {0})), refused);
    EXPECT_EQ(refusal(RawTiff(1 << 20, 1, 8, COMPRESSION_ADOBE_DEFLATE, {0})), refused);
    EXPECT_EQ(refusal(RawTiff((1 << 24) + 1, 1, 1, COMPRESSION_CCITTFAX4, {0})), refused);
    EXPECT_EQ(refusal(RawTiff((1 << 28) + 8, 1, 1, COMPRESSION_CCITTFAX4, {0})),
              "tif_detect: read not supported | the picture is too large");
}

TEST_F(TifPicture, ATurnedPictureNeedsAllItsRows) {
    const std::string refused = std::string("tif_detect: read not supported | ") + too_small;
    RawTiff file(8, 100000, 8, COMPRESSION_NONE, std::vector<uint8_t>(64));
    EXPECT_EQ(refusal(file), "it is read"); // rows may be there or not
    EXPECT_EQ(refusal(file.set(TIFFTAG_ORIENTATION, ORIENTATION_LEFTTOP)), refused);
    RawTiff fax(8, 100000, 1, COMPRESSION_CCITTFAX4, {0});
    EXPECT_EQ(refusal(fax.set(TIFFTAG_ORIENTATION, ORIENTATION_LEFTTOP)), refused);
}

TEST_F(TifPicture, TilesThatCannotBeAreRefused) {
    const auto tiled = [](uint32_t width, uint32_t length) {
        return small_gray()
            .drop(TIFFTAG_STRIPOFFSETS)
            .drop(TIFFTAG_STRIPBYTECOUNTS)
            .drop(TIFFTAG_ROWSPERSTRIP)
            .set(TIFFTAG_TILEWIDTH, width)
            .set(TIFFTAG_TILELENGTH, length)
            .set(TIFFTAG_TILEOFFSETS, 0)
            .set(TIFFTAG_TILEBYTECOUNTS, 8);
    };
    const std::string prefix = "tif_detect: read not supported | ";
    EXPECT_EQ(refusal(tiled(12, 16)), prefix + "tiles of an odd size");
    EXPECT_EQ(refusal(tiled(1 << 16, 1 << 16)), prefix + "the tiles are too large");
    EXPECT_EQ(refusal(tiled(1 << 30, 16)), prefix + "the tiles are too large");
    EXPECT_EQ(refusal(tiled(16, 1 << 30)), prefix + "the tiles are too large");
    EXPECT_EQ(refusal(tiled(1024, 1024)), prefix + too_small);
    EXPECT_NE(refusal(tiled(0, 16)), "it is read");
    EXPECT_NE(refusal(tiled(16, 0)), "it is read");
}

TEST_F(TifPicture, AFaxWithoutASenseIsBlackOnWhite) {
    const Image image = sample_image(16, 4, 1);
    Form form;
    form.compression = COMPRESSION_CCITTFAX4;
    form.photometric = PHOTOMETRIC_MINISWHITE;
    make_tiff(name_, form, image);
    // the strip of the file as libtiff coded it, under a directory that does not tell the sense
    TIFF *tiff = TIFFOpen(name_.c_str(), "r");
    ASSERT_TRUE(tiff);
    std::vector<uint8_t> strip(static_cast<size_t>(TIFFRawStripSize(tiff, 0)));
    TIFFReadRawStrip(tiff, 0, strip.data(), static_cast<tmsize_t>(strip.size()));
    TIFFClose(tiff);
    const RawTiff file = RawTiff(16, 4, 1, COMPRESSION_CCITTFAX4, strip).drop(TIFFTAG_PHOTOMETRIC);
    const Handle h = open(file.bytes());
    ASSERT_TRUE(h);
    EXPECT_EQ(read_image(h.get()), image);
}

TEST_F(TifPicture, PlainPixelsWithoutASenseAreWhiteOnBlack) {
    const Handle h = open(small_gray().drop(TIFFTAG_PHOTOMETRIC).bytes());
    ASSERT_TRUE(h);
    EXPECT_EQ(read_image(h.get()).at(0, 0), 1);
}

TEST_F(TifPicture, AnUnknownOrientationCountsAsNone) {
    const Handle h = open(small_gray().set(TIFFTAG_ORIENTATION, 9).bytes());
    ASSERT_TRUE(h);
    EXPECT_EQ(read_image(h.get()), (Image{4, 2, {1, 2, 3, 4, 5, 6, 7, 8}}));
}

} // namespace
