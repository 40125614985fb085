// The format as a caller of the track file calls sees it.

#include "tif/vor_tif.h"

#include <cmath>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/kel.h"
#include "support/byte_file.h"
#include "support/owned_handles.h"
#include "support/report_log.h"
#include "support/temp_dir.h"
#include "tif/tiff_maker.h"
#include "vor/vor.h"

namespace {

using namespace vor::test;

class TifFormat : public testing::Test {
protected:
    void make(const Form &form, int32_t width = 30, int32_t height = 20) {
        image_ = sample_image(width, height, form.bits);
        make_tiff(name_, form, image_);
    }
    Handle open(uint32_t mode = LF_READ) { return open_tif(name_, mode); }

    TempDir dir_;
    std::string name_ = dir_.file("a.tif");
    Image image_;
    ReportLog log_;
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
    lfinfo info;
    const int32_t row = lfregisterfmt(&tif_cvtformat);
    const Handle h(lfopen(name_.c_str(), LF_READ, 0, &info));
    ASSERT_TRUE(h);
    EXPECT_EQ(info.xsize, 20);
    EXPECT_EQ(info.ysize, 30);
    EXPECT_DOUBLE_EQ(info.yres, 20); // along a row
    EXPECT_DOUBLE_EQ(info.xres, 40);
    EXPECT_EQ(info.bits, 8);
    EXPECT_EQ(info.nctab, 1);
    EXPECT_STREQ(info.type_name, "tif");
    EXPECT_EQ(info.major, row);
    EXPECT_EQ(info.maxruns, 0);
    EXPECT_EQ(info.error, 0);
    EXPECT_TRUE(log_.empty());
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
    const Handle h = open();
    ASSERT_TRUE(h);
    EXPECT_EQ(h->fxres, 0);
    EXPECT_EQ(h->fyres, 0);
    ASSERT_EQ(lfscale(h.get(), 12, 24), 0);
    EXPECT_EQ(h->fxres, 12);
    EXPECT_EQ(h->xsize, 20);
    EXPECT_EQ(h->ysize, 30);
}

TEST_F(TifFormat, AResolutionOfMereProportionsIsNone) {
    Form form = gray_form();
    form.resolution_unit = RESUNIT_NONE;
    form.xresolution = 1;
    form.yresolution = 2;
    make(form);
    const Handle h = open();
    ASSERT_TRUE(h);
    EXPECT_EQ(h->fxres, 0);
    EXPECT_EQ(h->fyres, 0);
}

TEST_F(TifFormat, AResolutionOfZeroIsNone) {
    Form form = gray_form();
    form.resolution_unit = RESUNIT_INCH;
    form.xresolution = 300;
    form.yresolution = 0;
    make(form);
    const Handle h = open();
    ASSERT_TRUE(h);
    EXPECT_EQ(h->fxres, 0);
    EXPECT_EQ(h->fyres, 0);
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

TEST_F(TifFormat, TheKindsOfTheNativeFormatAreUnderstood) {
    EXPECT_EQ(TIF_GRAY, VT_FW88);
    EXPECT_EQ(TIF_DEFLATE, VT_DEFLATED);
    EXPECT_LE(VT_FW16, TIF_MAXBILEVEL);
    EXPECT_LE(VT_FW8, TIF_MAXBILEVEL);
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

TEST_F(TifFormat, TheColourTableOfTheHandleIsApplied) {
    make_tiff(name_, gray_form(), Image{4, 1, {5, 5, 6, 255}});
    const Handle h = open();
    ASSERT_TRUE(h);
    ASSERT_EQ(lfcheck(h.get()), 0);
    lfctable(h.get())[5] = 300;
    lfctable(h.get())[6] = 300;
    Track track;
    ASSERT_EQ(lfread(h.get(), track.get(), 0), 2);
    EXPECT_EQ(track.runs(), (Runs{{3, 300}, {1, 255}}));
}

TEST_F(TifFormat, AWindowShowsItsPartOfThePicture) {
    for (const int bits : {1, 8}) {
        Form form;
        form.bits = bits;
        make(form, 30, 20);
        const Handle h = open();
        ASSERT_TRUE(h);
        int32_t window[4] = {3, 11, 17, 29};
        ASSERT_EQ(lfclip(h.get(), window), 0);
        const Image part = read_image(h.get());
        ASSERT_EQ(part.height, 14);
        ASSERT_EQ(part.width, 18);
        for (int32_t y = 0; y < part.height; ++y) {
            for (int32_t x = 0; x < part.width; ++x)
                ASSERT_EQ(part.at(x, y), image_.at(x + 11, y + 3)) << x << ", " << y;
        }
    }
}

TEST_F(TifFormat, ScalingRepeatsTracksAndPixels) {
    for (const int bits : {1, 8}) {
        Form form;
        form.bits = bits;
        form.resolution_unit = RESUNIT_CENTIMETER;
        form.xresolution = 100;
        form.yresolution = 100;
        make(form, 30, 20);
        const Handle h = open();
        ASSERT_TRUE(h);
        ASSERT_EQ(lfscale(h.get(), 20, 30), 0);
        EXPECT_EQ(h->xsize, 40);
        EXPECT_EQ(h->ysize, 90);
        const Image large = read_image(h.get());
        for (int32_t y = 0; y < 40; ++y) {
            for (int32_t x = 0; x < 90; ++x)
                ASSERT_EQ(large.at(x, y), image_.at(x / 3, y / 2)) << x << ", " << y;
        }
    }
}

TEST_F(TifFormat, ARepeatedTrackIsDecodedOnce) {
    make(gray_form(), 30, 20);
    const Handle h = open();
    ASSERT_TRUE(h);
    ASSERT_EQ(lfscale(h.get(), 2, 1), 0);
    ASSERT_EQ(lfsetsize(h.get(), 40, 30), 0);
    Track track;
    EXPECT_GT(lfread(h.get(), track.get(), 6), 0);
    EXPECT_EQ(lfread(h.get(), track.get(), 7), 0);
    EXPECT_GT(lfread(h.get(), track.get(), 8), 0);
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

TEST_F(TifFormat, MirroredReadingReversesTracksAndPixels) {
    for (const int bits : {1, 8}) {
        Form form;
        form.bits = bits;
        make(form, 30, 20);
        const Handle h = open(LF_READ | LF_XMIRROR | LF_YMIRROR);
        ASSERT_TRUE(h);
        const Image turned = read_image(h.get());
        for (int32_t y = 0; y < 20; ++y) {
            for (int32_t x = 0; x < 30; ++x)
                ASSERT_EQ(turned.at(x, y), image_.at(29 - x, 19 - y)) << x << ", " << y;
        }
    }
}

TEST_F(TifFormat, TheTrackBehindTheLastIsAnEndOfFile) {
    make(gray_form(), 30, 20);
    const Handle h = open();
    ASSERT_TRUE(h);
    Track track;
    int32_t window[4] = {0, 16, 20, 30}; // off the first byte, where a codec would look further on
    ASSERT_EQ(lfclip(h.get(), window), 0);
    ASSERT_GT(lfread(h.get(), track.get(), 19), 0);
    EXPECT_EQ(lfread(h.get(), track.get(), 20), -1);
    EXPECT_EQ(log_.take(), (Lines{"tif_readtrack: unexpected EOF: last os error"}));
    EXPECT_EQ(lfread(h.get(), track.get(), 21), -1);
    EXPECT_EQ(log_.take(), (Lines{"lfseek: invalid track number: 21"}));
    EXPECT_GT(lfread(h.get(), track.get(), 0), 0);
}

TEST_F(TifFormat, SequentialReadingIsTheSame) {
    make(gray_form());
    const Handle h = open(LF_READ | LF_SEQUENTIAL);
    ASSERT_TRUE(h);
    EXPECT_EQ(read_image(h.get()), image_);
}

TEST_F(TifFormat, NoSeekTableIsMade) {
    make(gray_form());
    const Handle h = open();
    ASSERT_TRUE(h);
    read_image(h.get());
    EXPECT_EQ(lfseektable(h.get()), nullptr);
}

TEST_F(TifFormat, SkippingATrackLeadsToTheNext) {
    make_tiff(name_, gray_form(), Image{1, 3, {10, 20, 30}});
    const Handle h = open();
    ASSERT_TRUE(h);
    ASSERT_EQ(lfcheck(h.get()), 0);
    Track track;
    EXPECT_GT(h->skiptrack(h.get(), 0), 0);
    ASSERT_EQ(h->readtrack(h.get(), track.get()), 1);
    EXPECT_EQ(track.runs(), (Runs{{1, 20}}));
}

TEST_F(TifFormat, ALateWindowIsTakenAfterANewCheck) {
    make(gray_form(), 30, 20);
    const Handle h = open();
    ASSERT_TRUE(h);
    EXPECT_EQ(read_image(h.get()), image_);
    int32_t window[4] = {5, 0, 20, 30};
    ASSERT_EQ(lfclip(h.get(), window), 0);
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_EQ(read_image(h.get()).at(0, 0), image_.at(0, 5));
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

TEST_F(TifFormat, AFileOfFewerThanEightBytesIsAnothers) {
    write_text(name_, "II*");
    EXPECT_FALSE(open());
    EXPECT_EQ(log_.take(), (Lines{"vor_detect_format: unknown file format"}));
}

TEST_F(TifFormat, AForcedTypeTellsOtherFilesApart) {
    write_text(name_, "this is a text and no picture");
    const int32_t row = lfregisterfmt(&tif_cvtformat);
    EXPECT_FALSE(lfopen(name_.c_str(), LF_READ | LF_FORCETYPE, lffdev(row, 0), nullptr));
    EXPECT_EQ(log_.take(), (Lines{"lfdopen: unknown file format"}));
}

TEST_F(TifFormat, UpdatingIsRefused) {
    make(gray_form());
    const std::vector<uint8_t> before = read_bytes(name_);
    EXPECT_FALSE(open(LF_UPDATE));
    EXPECT_EQ(log_.take().front(),
              "tif_detect: write not supported | a TIFF file is not updated in place");
    EXPECT_EQ(read_bytes(name_), before);
}

TEST_F(TifFormat, TheCallersDescriptorMayStandAnywhere) {
    make(gray_form());
    lfregisterfmt(&tif_cvtformat);
    const int32_t fd = kel_open(name_.c_str(), KEL_O_RDONLY, 0);
    ASSERT_GE(fd, 0);
    const Handle h(lfdopen(fd, nullptr, LF_READ, 0, nullptr));
    ASSERT_TRUE(h);
    EXPECT_STREQ(lffilename(h.get()), "%%infile%%");
    kel_lseek(fd, 7, KEL_SEEK_SET);
    EXPECT_EQ(read_image(h.get()), image_);
}

TEST_F(TifFormat, AFailedOpenLeavesTheCallersDescriptor) {
    write_text(name_, std::string("II*\0\1\0\0\0", 8));
    lfregisterfmt(&tif_cvtformat);
    const int32_t fd = kel_open(name_.c_str(), KEL_O_RDONLY, 0);
    ASSERT_GE(fd, 0);
    EXPECT_FALSE(lfdopen(fd, nullptr, LF_READ, 0, nullptr));
    EXPECT_EQ(kel_close(fd), 0);
}

} // namespace
