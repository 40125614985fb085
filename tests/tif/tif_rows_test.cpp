// The rows of files of every form, against the picture that the files were made from.

#include "tif/tif_rows.h"

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/report_log.h"
#include "support/temp_dir.h"
#include "tif/tif_file.h"
#include "tif/tiff_maker.h"

namespace {

using namespace vor::test;
using vor::tif::Picture;
using vor::tif::RowBands;
using vor::tif::Trouble;

struct Blocks {
    uint32_t rows_per_strip;
    uint32_t tile_width;
    uint32_t tile_length;
};
constexpr Blocks all_blocks[] = {{0, 0, 0},   {1, 0, 0},   {5, 0, 0},
                                 {0, 16, 16}, {0, 32, 16}, {0, 64, 48}};

std::vector<int> compressions(int bits) {
    std::vector<int> list = {COMPRESSION_NONE, COMPRESSION_PACKBITS, COMPRESSION_LZW,
                             COMPRESSION_ADOBE_DEFLATE, COMPRESSION_DEFLATE};
    if (bits == 1) list.push_back(COMPRESSION_CCITTFAX4);
    return list;
}

std::vector<Form> all_forms() {
    std::vector<Form> forms;
    for (const int bits : {1, 8}) {
        for (const int compression : compressions(bits)) {
            for (const Blocks &blocks : all_blocks) {
                for (const int sense : {PHOTOMETRIC_MINISWHITE, PHOTOMETRIC_MINISBLACK}) {
                    Form form;
                    form.bits = bits;
                    form.compression = compression;
                    form.rows_per_strip = blocks.rows_per_strip;
                    form.tile_width = blocks.tile_width;
                    form.tile_length = blocks.tile_length;
                    form.photometric = sense;
                    forms.push_back(form);
                }
            }
        }
    }
    return forms;
}

TEST(TifRows, EveryFormReadsAsThePictureThatItWasMadeFrom) {
    const TempDir dir;
    const std::string name = dir.file("a.tif");
    for (const Form &form : all_forms()) {
        const Image image = sample_image(75, 37, form.bits);
        make_tiff(name, form, image);
        const Handle h = open_tif(name);
        ASSERT_TRUE(h) << form.describe();
        ASSERT_EQ(read_image(h.get()), image) << form.describe();
    }
}

TEST(TifRows, EveryFormIsTurnedAsItIsToBeSeen) {
    const TempDir dir;
    const std::string name = dir.file("a.tif");
    for (Form form : all_forms()) {
        if (form.compression == COMPRESSION_DEFLATE)
            continue; // the same coding under an older number
        const Image image = sample_image(53, 41, form.bits);
        for (int number = ORIENTATION_TOPRIGHT; number <= ORIENTATION_LEFTBOT; ++number) {
            form.orientation = number;
            make_tiff(name, form, image);
            const Handle h = open_tif(name);
            ASSERT_TRUE(h) << form.describe();
            ASSERT_EQ(read_image(h.get()), image) << form.describe();
        }
    }
}

TEST(TifRows, BothByteOrdersAndBigTiffAreRead) {
    const TempDir dir;
    const std::string name = dir.file("a.tif");
    const Image image = sample_image(40, 20, 8);
    for (const char *mode : {"wl", "wb", "w8l", "w8b"}) {
        Form form;
        form.bits = 8;
        form.mode = mode;
        form.rows_per_strip = 3;
        make_tiff(name, form, image);
        const Handle h = open_tif(name);
        ASSERT_TRUE(h) << mode;
        EXPECT_EQ(read_image(h.get()), image) << mode;
    }
}

TEST(TifRows, TheOtherBitOrderIsRead) {
    const TempDir dir;
    const std::string name = dir.file("a.tif");
    const Image image = sample_image(61, 20, 1);
    for (const int compression : compressions(1)) {
        Form form;
        form.compression = compression;
        form.fill_order = FILLORDER_LSB2MSB;
        make_tiff(name, form, image);
        const Handle h = open_tif(name);
        ASSERT_TRUE(h) << form.describe();
        EXPECT_EQ(read_image(h.get()), image) << form.describe();
    }
}

TEST(TifRows, DifferencesOfNeighboursAreUndone) {
    const TempDir dir;
    const std::string name = dir.file("a.tif");
    const Image image = sample_image(61, 20, 8);
    for (const int compression : {COMPRESSION_LZW, COMPRESSION_ADOBE_DEFLATE}) {
        Form form;
        form.bits = 8;
        form.compression = compression;
        form.predictor = PREDICTOR_HORIZONTAL;
        make_tiff(name, form, image);
        const Handle h = open_tif(name);
        ASSERT_TRUE(h) << form.describe();
        EXPECT_EQ(read_image(h.get()), image) << form.describe();
    }
}

TEST(TifRows, TracksMayBeReadInAnyOrder) {
    const TempDir dir;
    const std::string name = dir.file("a.tif");
    Form form;
    form.bits = 8;
    form.compression = COMPRESSION_LZW;
    form.rows_per_strip = 4;
    const Image image = sample_image(20, 30, 8);
    make_tiff(name, form, image);
    const Handle h = open_tif(name);
    ASSERT_TRUE(h);
    Track track(20);
    for (const int32_t n : {29, 0, 13, 14, 12, 3, 28}) {
        ASSERT_GT(lfread(h.get(), track.get(), n), 0) << n;
        EXPECT_EQ(track.runs().front().second, image.at(0, n)) << n;
    }
}

// A file with its rows under a limit for a band, so that strips are cut.
class CutStrips {
public:
    CutStrips(const std::string &name, int64_t limit) : tiff_(TIFFOpen(name.c_str(), "r")) {
        vor::tif::read_picture(tiff_.get(), INT64_MAX, &picture_);
        rows_.start(tiff_.get(), &picture_, &trouble_, limit);
    }
    RowBands &rows() { return rows_; }

private:
    struct Close {
        void operator()(TIFF *tiff) const { TIFFClose(tiff); }
    };
    std::unique_ptr<TIFF, Close> tiff_;
    Picture picture_;
    Trouble trouble_;
    RowBands rows_;
};

TEST(TifRows, ALongStripIsReadInPiecesForwardsAndBackwards) {
    const TempDir dir;
    const std::string name = dir.file("a.tif");
    const Image image = sample_image(24, 50, 8);
    for (const int compression : compressions(8)) {
        Form form;
        form.bits = 8;
        form.compression = compression;
        form.rows_per_strip = 23; // two whole strips and the rest
        make_tiff(name, form, image);
        for (const int64_t limit : {1, 24, 71, 72, 240}) {
            CutStrips file(name, limit);
            for (int32_t step = 0; step < 100; ++step) {
                const int32_t y = step < 50 ? step : 99 - step;
                const uint8_t *row = file.rows().row(y);
                ASSERT_TRUE(row) << form.describe() << ", limit " << limit << ", row " << y;
                const uint8_t *expected = image.pixels.data() + y * 24;
                ASSERT_TRUE(std::equal(row, row + 24, expected))
                    << form.describe() << ", limit " << limit << ", row " << y;
            }
        }
    }
}

TEST(TifRows, AFaxInPiecesIsReadBackwards) {
    const TempDir dir;
    const std::string name = dir.file("a.tif");
    const Image image = sample_image(24, 50, 1);
    Form form;
    form.compression = COMPRESSION_CCITTFAX4;
    make_tiff(name, form, image);
    CutStrips file(name, 3 * 7);
    for (int32_t y = 49; y >= 0; --y) {
        const uint8_t *row = file.rows().row(y);
        ASSERT_TRUE(row) << y;
        for (int32_t x = 0; x < 24; ++x)
            ASSERT_EQ((row[x / 8] >> (7 - x % 8) & 1) != 0, image.at(x, y) != 0) << x << ", " << y;
    }
}

} // namespace
