// Files that are cut short or altered: a track comes out right or not at all, and nothing else
// happens.

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/picture_damage.h"
#include "support/report_log.h"
#include "support/temp_dir.h"
#include "tif/raw_tiff.h"
#include "tif/tiff_maker.h"

namespace {

using namespace vor::test;

// A file of one strip with its directory in front, so that cutting it cuts pixels.
RawTiff directory_first(const std::string &name, const Form &form, const Image &image) {
    make_tiff(name, form, image);
    TIFF *tiff = TIFFOpen(name.c_str(), "r");
    std::vector<uint8_t> strip(static_cast<size_t>(TIFFRawStripSize(tiff, 0)));
    TIFFReadRawStrip(tiff, 0, strip.data(), static_cast<tmsize_t>(strip.size()));
    TIFFClose(tiff);
    return RawTiff(static_cast<uint32_t>(image.width), static_cast<uint32_t>(image.height),
                   form.bits, form.compression, strip)
        .set(TIFFTAG_PHOTOMETRIC, static_cast<uint32_t>(form.photometric))
        .set(TIFFTAG_ORIENTATION, static_cast<uint32_t>(form.orientation));
}

std::vector<Form> small_forms() {
    std::vector<Form> forms;
    for (const int compression :
         {COMPRESSION_NONE, COMPRESSION_PACKBITS, COMPRESSION_LZW, COMPRESSION_ADOBE_DEFLATE}) {
        for (const int bits : {1, 8}) {
            Form form;
            form.bits = bits;
            form.compression = compression;
            forms.push_back(form);
        }
    }
    Form fax;
    fax.compression = COMPRESSION_CCITTFAX4;
    fax.photometric = PHOTOMETRIC_MINISWHITE;
    forms.push_back(fax);
    return forms;
}

class TifDamage : public testing::Test {
protected:
    TempDir dir_;
    std::string name_ = dir_.file("a.tif");
    ReportLog log_;
};

TEST_F(TifDamage, AFileCutAnywhereFailsAndShowsNoWrongPixel) {
    for (const Form &form : small_forms()) {
        const Image image = sample_image(23, 11, form.bits);
        const std::vector<uint8_t> whole = directory_first(name_, form, image).bytes();
        for (size_t size = 0; size < whole.size(); ++size) {
            rewrite(name_, {whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size)});
            log_.take();
            const Handle h = open_tif(name_);
            const Outcome outcome = h ? read_all(h.get(), image) : Outcome{0, 1};
            EXPECT_EQ(outcome.wrong, 0) << form.describe() << ", " << size << " bytes";
            EXPECT_GT(outcome.failed, 0) << form.describe() << ", " << size << " bytes";
            EXPECT_FALSE(log_.empty()) << form.describe() << ", " << size << " bytes";
        }
    }
}

TEST_F(TifDamage, AFileCutAnywhereFailsAlsoWithTilesAndStrips) {
    const Image image = sample_image(40, 40, 8);
    Form strips;
    strips.bits = 8;
    strips.rows_per_strip = 7;
    Form tiles;
    tiles.bits = 8;
    tiles.compression = COMPRESSION_PACKBITS;
    tiles.tile_width = tiles.tile_length = 16;
    for (const Form &form : {strips, tiles}) {
        make_tiff(name_, form, image);
        const std::vector<uint8_t> whole = read_bytes(name_);
        for (size_t size = 0; size < whole.size(); size += 3) {
            rewrite(name_, {whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size)});
            const Handle h = open_tif(name_);
            const Outcome outcome = h ? read_all(h.get(), image) : Outcome{0, 1};
            EXPECT_EQ(outcome.wrong, 0) << form.describe() << ", " << size << " bytes";
            EXPECT_GT(outcome.failed, 0) << form.describe() << ", " << size << " bytes";
        }
    }
}

TEST_F(TifDamage, AFaxThatEndsEarlyIsNotPatchedUp) {
    Form form;
    form.compression = COMPRESSION_CCITTFAX4;
    form.photometric = PHOTOMETRIC_MINISWHITE;
    const Image image = sample_image(64, 32, 1);
    make_tiff(name_, form, image);
    TIFF *tiff = TIFFOpen(name_.c_str(), "r");
    std::vector<uint8_t> strip(static_cast<size_t>(TIFFRawStripSize(tiff, 0)));
    TIFFReadRawStrip(tiff, 0, strip.data(), static_cast<tmsize_t>(strip.size()));
    TIFFClose(tiff);
    strip.resize(strip.size() / 2); // the directory agrees with the shorter strip
    rewrite(name_, RawTiff(64, 32, 1, COMPRESSION_CCITTFAX4, strip)
                       .set(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISWHITE)
                       .bytes());
    const Handle h = open_tif(name_);
    ASSERT_TRUE(h);
    const Outcome outcome = read_all(h.get(), image);
    EXPECT_EQ(outcome.wrong, 0);
    EXPECT_GT(outcome.failed, 0);
}

TEST_F(TifDamage, ATrackThatFailedFailsAgainInAnotherBuffer) {
    Form form;
    form.bits = 8;
    form.compression = COMPRESSION_LZW;
    const Image image = sample_image(23, 11, 8);
    std::vector<uint8_t> bytes = directory_first(name_, form, image).bytes();
    bytes.erase(bytes.end() - 5, bytes.end());
    rewrite(name_, bytes);
    const Handle h = open_tif(name_);
    ASSERT_TRUE(h);
    for (int i = 0; i < 3; ++i) {
        Track track;
        EXPECT_EQ(lfread(h.get(), track.get(), 10), -1);
        EXPECT_EQ(h->error, static_cast<uint32_t>(LFE_CORRUPT));
    }
}

TEST_F(TifDamage, AnAlteredByteDoesNoHarm) {
    for (Form form : small_forms()) {
        for (const int orientation : {ORIENTATION_TOPLEFT, ORIENTATION_LEFTBOT}) {
            form.orientation = orientation;
            const Image image = sample_image(19, 9, form.bits);
            make_tiff(name_, form, image);
            const std::vector<uint8_t> whole = read_bytes(name_);
            for (size_t at = 0; at < whole.size(); ++at) {
                for (const uint8_t flip : {uint8_t{0x01}, uint8_t{0x80}, uint8_t{0xFF}}) {
                    std::vector<uint8_t> altered = whole;
                    altered[at] = static_cast<uint8_t>(altered[at] ^ flip);
                    rewrite(name_, altered);
                    const Handle h = open_tif(name_);
                    if (h) read_all(h.get(), image);
                    log_.take();
                }
            }
        }
    }
}

TEST_F(TifDamage, AStripThatIsNotThereFailsItsTracksOnly) {
    Form form;
    form.bits = 8;
    form.rows_per_strip = 2;
    const Image image = sample_image(16, 6, 8);
    make_tiff(name_, form, image);
    // the offset of the second strip, behind that of the first, which stands at the very start
    std::vector<uint8_t> bytes = read_bytes(name_);
    const std::vector<uint8_t> offsets = {8, 0, 0, 0, 40, 0, 0, 0, 72, 0, 0, 0};
    const auto found = std::search(bytes.begin(), bytes.end(), offsets.begin(), offsets.end());
    ASSERT_NE(found, bytes.end());
    *(found + 6) = 0x70;
    rewrite(name_, bytes);
    const Handle h = open_tif(name_);
    ASSERT_TRUE(h);
    const Outcome outcome = read_all(h.get(), image);
    EXPECT_EQ(outcome.wrong, 0);
    EXPECT_EQ(outcome.failed, 2);
}

} // namespace
