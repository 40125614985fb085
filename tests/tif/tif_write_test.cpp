// The write road: what goes in as tracks comes back as the same tracks, and libtiff finds the tags.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/kel.h"
#include "support/byte_file.h"
#include "support/picture_files.h"
#include "tif/tiff_maker.h"
#include "tif/vor_tif.h"

namespace {

using namespace vor::test;

uint16_t short_tag(const std::string &name, uint32_t tag) {
    TIFF *tiff = TIFFOpen(name.c_str(), "r");
    if (!tiff) return 0;
    uint16_t value = 0;
    TIFFGetFieldDefaulted(tiff, tag, &value);
    TIFFClose(tiff);
    return value;
}

double real_tag(const std::string &name, uint32_t tag) {
    TIFF *tiff = TIFFOpen(name.c_str(), "r");
    if (!tiff) return 0;
    float value = 0;
    TIFFGetField(tiff, tag, &value);
    TIFFClose(tiff);
    return static_cast<double>(value);
}

class TifWrite : public PictureFiles {
protected:
    TifWrite() : PictureFiles(&tif_cvtformat) {}
};

constexpr uint32_t bilevel_types[] = {0,
                                      TIF_BILEVEL,
                                      TIF_MAXBILEVEL,
                                      TIF_BILEVEL | TIF_PLAIN,
                                      TIF_BILEVEL | TIF_PACKBITS,
                                      TIF_BILEVEL | TIF_LZW,
                                      TIF_BILEVEL | TIF_DEFLATE,
                                      TIF_BILEVEL | TIF_G4};
constexpr uint32_t gray_types[] = {TIF_GRAY, TIF_GRAY | TIF_PLAIN, TIF_GRAY | TIF_PACKBITS,
                                   TIF_GRAY | TIF_LZW, TIF_GRAY | TIF_DEFLATE};

TEST_F(TifWrite, TwoLevelTracksComeBackAtEveryLength) {
    for (const uint32_t type : bilevel_types) {
        for (int32_t width = 1; width <= 33; ++width) {
            const Image image = sample_image(width, 9, 1);
            write(type, image);
            ASSERT_EQ(read_back(), image) << "type " << type << ", width " << width;
        }
    }
}

TEST_F(TifWrite, GrayTracksComeBack) {
    for (const uint32_t type : gray_types) {
        for (const int32_t width : {1, 2, 31, 300}) {
            const Image image = sample_image(width, 20, 8);
            write(type, image);
            ASSERT_EQ(read_back(), image) << "type " << type << ", width " << width;
        }
    }
}

TEST_F(TifWrite, PicturesLargerThanTheBufferAndAStripComeBack) {
    const Image gray = sample_image(20000, 120, 8); // several rows a buffer, and two strips
    write(TIF_GRAY | TIF_PLAIN, gray);
    EXPECT_EQ(read_back(), gray);
    const Image wide = sample_image(140003, 70, 1); // a row is more than the usual buffer
    write(TIF_BILEVEL | TIF_G4, wide);
    EXPECT_EQ(read_back(), wide);
}

TEST_F(TifWrite, TheTagsSayWhatWasAskedFor) {
    const struct {
        uint32_t type;
        uint16_t compression;
        uint16_t bits;
        uint16_t photometric;
    } rows[] = {
        {0, COMPRESSION_CCITTFAX4, 1, PHOTOMETRIC_MINISWHITE},
        {TIF_MAXBILEVEL | TIF_PLAIN, COMPRESSION_NONE, 1, PHOTOMETRIC_MINISWHITE},
        {TIF_BILEVEL | TIF_PACKBITS, COMPRESSION_PACKBITS, 1, PHOTOMETRIC_MINISWHITE},
        {TIF_GRAY, COMPRESSION_LZW, 8, PHOTOMETRIC_MINISBLACK},
        {TIF_GRAY | TIF_DEFLATE, COMPRESSION_ADOBE_DEFLATE, 8, PHOTOMETRIC_MINISBLACK},
    };
    for (const auto &row : rows) {
        write(row.type, sample_image(10, 10, row.bits));
        EXPECT_EQ(short_tag(name_, TIFFTAG_COMPRESSION), row.compression);
        EXPECT_EQ(short_tag(name_, TIFFTAG_BITSPERSAMPLE), row.bits);
        EXPECT_EQ(short_tag(name_, TIFFTAG_PHOTOMETRIC), row.photometric);
        EXPECT_EQ(short_tag(name_, TIFFTAG_ORIENTATION), ORIENTATION_TOPLEFT);
    }
}

TEST_F(TifWrite, UnknownTypesAreRefused) {
    for (const uint32_t type : {uint32_t{4}, uint32_t{15}, TIF_BILEVEL | uint32_t{0x60},
                                TIF_GRAY | uint32_t{0xF0}, TIF_GRAY | TIF_G4}) {
        EXPECT_FALSE(create(type)) << type;
        EXPECT_EQ(log_.take().front(), "tif_wrsetup: invalid argument | bad file type");
    }
    EXPECT_EQ(kel_access(name_.c_str(), KEL_F_OK), -1); // the file is removed again
}

TEST_F(TifWrite, ResolutionIsKeptInTheUnitThatHoldsItExactly) {
    const struct {
        double xres;
        double yres;
        uint16_t unit;
        double file_x; // along the rows
    } rows[] = {
        {1200 / 25.4, 600 / 25.4, RESUNIT_INCH, 600},
        {20, 40, RESUNIT_INCH, 1016},
        {12.3, 45.6, RESUNIT_CENTIMETER, 456},
        {1.0 / 3, 2.0 / 3, RESUNIT_INCH, 2 * 25.4 / 3},
    };
    for (const auto &row : rows) {
        Handle h = create(TIF_GRAY);
        ASSERT_TRUE(h);
        ASSERT_EQ(lfsetsize(h.get(), 1, 1), 0);
        ASSERT_EQ(lfscale(h.get(), row.xres, row.yres), 0);
        put_rows(h.get(), sample_image(1, 1, 8));
        ASSERT_EQ(close_now(&h), 0);
        EXPECT_EQ(short_tag(name_, TIFFTAG_RESOLUTIONUNIT), row.unit);
        EXPECT_NEAR(real_tag(name_, TIFFTAG_XRESOLUTION), row.file_x, 1e-4);
        const Handle back = open();
        ASSERT_TRUE(back);
        EXPECT_NEAR(back->fxres, row.xres, row.xres * 1e-6);
        EXPECT_NEAR(back->fyres, row.yres, row.yres * 1e-6);
    }
}

TEST_F(TifWrite, TheOtherByteOrderIsWrittenOnRequest) {
    const Image image = sample_image(30, 5, 8);
    write(TIF_GRAY, image);
    const char own = read_text(name_).at(0);
    EXPECT_EQ(read_back(), image);
    write(TIF_GRAY, image, LF_SWAPPED);
    EXPECT_EQ(read_text(name_).substr(0, 2), own == 'I' ? "MM" : "II");
    EXPECT_EQ(read_back(), image);
}

TEST_F(TifWrite, AnOpenEndedFileHasTheTracksThatWereWritten) {
    for (const int32_t tracks : {1, 2, 700, 2600}) {
        const Image image = sample_image(50, tracks, 1);
        Handle h = create(TIF_BILEVEL | TIF_G4, LF_GROW);
        ASSERT_TRUE(h);
        ASSERT_EQ(lfsetsize(h.get(), 1000, 50), 0);
        put_rows(h.get(), image);
        ASSERT_EQ(close_now(&h), 0);
        EXPECT_EQ(read_back(), image) << tracks;
        EXPECT_TRUE(log_.empty());
    }
}

TEST_F(TifWrite, AFileThatLacksTracksIsAFailureAndNoTiff) {
    Handle h = create(TIF_GRAY);
    ASSERT_TRUE(h);
    ASSERT_EQ(lfsetsize(h.get(), 10, 20), 0);
    put_rows(h.get(), sample_image(20, 7, 8));
    EXPECT_EQ(close_now(&h), -1);
    EXPECT_EQ(log_.take(), (Lines{"tif_whdr: error count: 3 | tracks are missing",
                                  "lfclose: last os error | write error on header(s)"}));
    EXPECT_FALSE(open());
}

TEST_F(TifWrite, AnOpenEndedFileWithoutTracksFailsToClose) {
    Handle h = create(TIF_GRAY, LF_GROW);
    ASSERT_TRUE(h);
    ASSERT_EQ(lfsetsize(h.get(), 10, 20), 0);
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_EQ(close_now(&h), -1);
    EXPECT_FALSE(open());
}

TEST_F(TifWrite, APictureOfFourGigabytesBecomesABigTiff) {
    Handle h = create(TIF_GRAY | TIF_PLAIN);
    ASSERT_TRUE(h);
    ASSERT_EQ(lfsetsize(h.get(), 43000, 100000), 0);
    ASSERT_EQ(lfcheck(h.get()), 0);
    const std::vector<uint8_t> head = read_bytes(name_);
    EXPECT_EQ(head.at(2) + head.at(3), 43);
    ASSERT_EQ(lfsetsize(h.get(), 40000, 100000), 0);
    ASSERT_EQ(lfcheck(h.get()), 0);
    const std::vector<uint8_t> smaller = read_bytes(name_);
    EXPECT_EQ(smaller.at(2) + smaller.at(3), 42);
    EXPECT_EQ(close_now(&h), -1); // no track was written
}

TEST_F(TifWrite, TheOrientationAskedForIsWritten) {
    const Image image = sample_image(20, 10, 8);
    for (int32_t number = ORIENTATION_TOPLEFT; number <= ORIENTATION_LEFTBOT; ++number) {
        Handle h = create(TIF_GRAY);
        ASSERT_TRUE(h);
        ASSERT_EQ(lfspecial(h.get(), LFS_TIF_ORIENTATION, &number), 0);
        ASSERT_EQ(lfsetsize(h.get(), 10, 20), 0);
        put_rows(h.get(), image);
        ASSERT_EQ(close_now(&h), 0);
        EXPECT_EQ(short_tag(name_, TIFFTAG_ORIENTATION), number);
        // What is read is the picture that the tracks and pixels lie in as the number says.
        const Image back = read_back();
        for (int32_t y = 0; y < back.height; ++y) {
            for (int32_t x = 0; x < back.width; ++x) {
                const Place place = place_in_file(back, number, x, y);
                ASSERT_EQ(back.at(x, y), image.at(place.column, place.row)) << number;
            }
        }
    }
}

TEST_F(TifWrite, AnOrientationThatIsNoneOrLateIsRefused) {
    Handle h = create(TIF_GRAY);
    ASSERT_TRUE(h);
    const std::string refused =
        "tif_special: invalid argument | bad orientation, or too late for one";
    for (int32_t number : {0, 9, -1}) {
        EXPECT_EQ(lfspecial(h.get(), LFS_TIF_ORIENTATION, &number), -1);
        EXPECT_EQ(log_.take(), (Lines{refused}));
    }
    ASSERT_EQ(lfsetsize(h.get(), 1, 1), 0);
    ASSERT_EQ(lfcheck(h.get()), 0);
    int32_t number = 8;
    EXPECT_EQ(lfspecial(h.get(), LFS_TIF_ORIENTATION, &number), -1);
    put_rows(h.get(), sample_image(1, 1, 8));
    EXPECT_EQ(close_now(&h), 0);
}

TEST_F(TifWrite, OtherRequestsAreLeftToTheLibrary) {
    Handle h = create(TIF_GRAY);
    ASSERT_TRUE(h);
    uint32_t flags = 0;
    EXPECT_EQ(lfspecial(h.get(), LFS_FLAGS, &flags), 0);
    EXPECT_EQ(flags, h->flags);
    EXPECT_EQ(lfspecial(h.get(), 30, nullptr), -1);
    EXPECT_EQ(h->error, static_cast<uint32_t>(LFE_REQUEST));
}

} // namespace
