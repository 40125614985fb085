// The format as a caller of the track file calls sees it.

#include "tif/vor_tif.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/byte_file.h"
#include "support/picture_files.h"
#include "tif/tiff_maker.h"
#include "vor/vor.h"

namespace {

using namespace vor::test;

class TifFormat : public PictureFiles {
protected:
    TifFormat() : PictureFiles(&tif_cvtformat) {}

    void make(const Form &form, int32_t width = 30, int32_t height = 20) {
        make_tiff(name_, form, sample_image(width, height, form.bits));
    }
};

Form gray_form() {
    Form form;
    form.bits = 8;
    return form;
}

TEST_F(TifFormat, TheRecordNamesItself) {
    const int32_t row = lfregisterfmt(&tif_cvtformat);
    EXPECT_GT(row, 0);
    EXPECT_EQ(lfregisterfmt(&tif_cvtformat), row);
    EXPECT_STREQ(lffmtname(row), "tif");
    EXPECT_STREQ(lffmtsuffix(row), ".tif");
    EXPECT_EQ(lfsuffixindex(row, "a.tif"), 1);
    EXPECT_EQ(lfsuffixindex(row, "a.tiff"), 2);
    EXPECT_EQ(lfsuffixindex(row, "a.TIF"), -1);
    EXPECT_EQ(lffmtguess("dir/a.tiff"), row);
}

TEST_F(TifFormat, AnOpenFileTellsItsGeometry) {
    Form form = gray_form();
    form.resolution_unit = RESUNIT_INCH;
    form.xresolution = 508;
    form.yresolution = 1016;
    make(form, 30, 20);
    expect_geometry(20, 40);
}

TEST_F(TifFormat, ResolutionInCentimetresCountsAsSuch) {
    Form form = gray_form();
    form.resolution_unit = RESUNIT_CENTIMETER;
    form.xresolution = 125;
    form.yresolution = 250;
    make(form);
    const Handle h = open();
    ASSERT_TRUE(h);
    EXPECT_DOUBLE_EQ(h->fyres, 12.5);
    EXPECT_DOUBLE_EQ(h->fxres, 25);
}

TEST_F(TifFormat, ATurnedFileTurnsItsResolutionToo) {
    Form form = gray_form();
    form.orientation = ORIENTATION_LEFTBOT;
    form.resolution_unit = RESUNIT_CENTIMETER;
    form.xresolution = 100;
    form.yresolution = 200;
    make(form, 30, 20);
    const Handle h = open();
    ASSERT_TRUE(h);
    EXPECT_EQ(h->fxsize, 20);
    EXPECT_EQ(h->fysize, 30);
    EXPECT_DOUBLE_EQ(h->fxres, 10); // across the tracks, which are columns of the file
    EXPECT_DOUBLE_EQ(h->fyres, 20);
}

TEST_F(TifFormat, WithoutAResolutionTheCallersIsTaken) {
    make(gray_form());
    expect_no_resolution();
}

TEST_F(TifFormat, AResolutionOfMereProportionsIsNone) {
    Form form = gray_form();
    form.resolution_unit = RESUNIT_NONE;
    form.xresolution = 1;
    form.yresolution = 2;
    make(form);
    expect_no_resolution();
}

TEST_F(TifFormat, AResolutionOfZeroIsNone) {
    Form form = gray_form();
    form.resolution_unit = RESUNIT_INCH;
    form.xresolution = 300;
    form.yresolution = 0;
    make(form);
    expect_no_resolution();
}

TEST_F(TifFormat, TheMinorNumberTellsBitsAndCompression) {
    const struct {
        int bits;
        int compression;
        uint32_t minor_number;
    } rows[] = {
        {1, COMPRESSION_NONE, TIF_BILEVEL | TIF_PLAIN},
        {1, COMPRESSION_CCITTFAX4, TIF_BILEVEL | TIF_G4},
        {1, COMPRESSION_PACKBITS, TIF_BILEVEL | TIF_PACKBITS},
        {8, COMPRESSION_LZW, TIF_GRAY | TIF_LZW},
        {8, COMPRESSION_ADOBE_DEFLATE, TIF_GRAY | TIF_DEFLATE},
        {8, COMPRESSION_DEFLATE, TIF_GRAY | TIF_DEFLATE},
    };
    for (const auto &row : rows) {
        Form form;
        form.bits = row.bits;
        form.compression = row.compression;
        make(form);
        const Handle h = open();
        ASSERT_TRUE(h) << form.describe();
        EXPECT_EQ(h->subtype, static_cast<int32_t>(row.minor_number)) << form.describe();
        EXPECT_EQ(h->bits, row.bits);
    }
}

TEST_F(TifFormat, TheOtherByteOrderShowsInTheFlags) {
    Form form = gray_form();
    const uint16_t probe = 1;
    const bool little = reinterpret_cast<const uint8_t &>(probe) == 1;
    form.mode = little ? "wb" : "wl";
    make(form);
    const Handle other = open();
    ASSERT_TRUE(other);
    EXPECT_NE(other->flags & LF_SWAPPED, 0u);
    form.mode = little ? "wl" : "wb";
    make(form);
    const Handle own = open();
    ASSERT_TRUE(own);
    EXPECT_EQ(own->flags & LF_SWAPPED, 0u);
}

TEST_F(TifFormat, BlackIsCodeZeroInBothSenses) {
    Image image{3, 1, {0, 255, 255}};
    for (const int sense : {PHOTOMETRIC_MINISWHITE, PHOTOMETRIC_MINISBLACK}) {
        for (const int bits : {1, 8}) {
            Form form;
            form.bits = bits;
            form.photometric = sense;
            make_tiff(name_, form, image);
            const Handle h = open();
            ASSERT_TRUE(h);
            Track track;
            ASSERT_EQ(lfread(h.get(), track.get(), 0), 2);
            EXPECT_EQ(track.runs(), (Runs{{1, 0}, {2, 255}})) << form.describe();
        }
    }
}

TEST_F(TifFormat, ReducingToASinglePixelReadsOne) {
    make(gray_form(), 30, 20);
    const Handle h = open();
    ASSERT_TRUE(h);
    ASSERT_EQ(lfscale(h.get(), 1, 1), 0);
    ASSERT_EQ(lfsetsize(h.get(), 1, 1), 0);
    Track track;
    ASSERT_EQ(lfread(h.get(), track.get(), 0), 1);
    EXPECT_EQ(track.runs().front().first, 1u);
}

TEST_F(TifFormat, TheCheckerWalksAPicture) {
    make(gray_form(), 30, 20);
    std::vector<uint32_t> colours(CKV_COLORS);
    ckvor_t record{};
    record.filename = name_.c_str();
    record.ncolors = CKV_COLORS;
    record.colors = colours.data();
    record.progress = [](int32_t, ckvor_t *, int32_t) { return 0; };
    lfregisterfmt(&tif_cvtformat);
    ASSERT_EQ(ckvor(&record, 1), 0);
    EXPECT_EQ(record.tracks, 20);
    EXPECT_EQ(record.pixels, 30);
    uint32_t sum = 0;
    for (const uint32_t count : colours)
        sum += count;
    EXPECT_EQ(sum, 600u);
}

TEST_F(TifFormat, AFileThatOnlyBeginsLikeOneIsAFailure) {
    for (const char *head : {"II*\0\1\0\0\0", "MM\0*\0\0\0\1", "II+\0\1\0\0\0", "MM\0+\0\0\0\1"}) {
        write_text(name_, std::string(head, 8));
        EXPECT_FALSE(open());
        const Lines lines = log_.take();
        ASSERT_EQ(lines.size(), 2u);
        EXPECT_EQ(lines[0].substr(0, 26), "tif_detect: file corrupted") << lines[0];
        EXPECT_EQ(lines[1], "vor_detect_format: last os error");
    }
}

} // namespace
