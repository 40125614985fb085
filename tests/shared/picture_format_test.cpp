// Reading, as a caller of the track file calls sees it in every module whose files are pictures.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/kel.h"
#include "shared/picture_modules.h"
#include "vor/vor.h"

namespace {

using namespace vor::test;

class PictureFormat : public PictureModuleTest {
protected:
    void make(const Image &image, int bits, uint32_t resolution = 0) {
        image_ = image;
        GetParam().make(name_, image, bits, resolution);
    }
    void make(int bits, uint32_t resolution = 0) {
        make(sample_image(30, 20, bits), bits, resolution);
    }

    Image image_;
};

TEST_P(PictureFormat, TheKindsOfTheNativeFormatAreUnderstood) {
    EXPECT_EQ(GetParam().gray, VT_FW88);
    EXPECT_EQ(GetParam().deflate, VT_DEFLATED);
    EXPECT_LE(VT_FW16, GetParam().max_bilevel);
    EXPECT_LE(VT_FW8, GetParam().max_bilevel);
}

TEST_P(PictureFormat, TheColourTableOfTheHandleIsApplied) {
    make(Image{4, 1, {5, 5, 6, 255}}, 8);
    const Handle h = open();
    ASSERT_TRUE(h);
    ASSERT_EQ(lfcheck(h.get()), 0);
    lfctable(h.get())[5] = 300;
    lfctable(h.get())[6] = 300;
    Track track;
    ASSERT_EQ(lfread(h.get(), track.get(), 0), 2);
    EXPECT_EQ(track.runs(), (Runs{{3, 300}, {1, 255}}));
}

TEST_P(PictureFormat, AWindowShowsItsPartOfThePicture) {
    for (const int bits : {1, 8}) {
        make(bits);
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

TEST_P(PictureFormat, ScalingRepeatsTracksAndPixels) {
    for (const int bits : {1, 8}) {
        make(bits, 10);
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

TEST_P(PictureFormat, ARepeatedTrackIsDecodedOnce) {
    make(8);
    const Handle h = open();
    ASSERT_TRUE(h);
    ASSERT_EQ(lfscale(h.get(), 2, 1), 0);
    ASSERT_EQ(lfsetsize(h.get(), 40, 30), 0);
    Track track;
    EXPECT_GT(lfread(h.get(), track.get(), 6), 0);
    EXPECT_EQ(lfread(h.get(), track.get(), 7), 0);
    EXPECT_GT(lfread(h.get(), track.get(), 8), 0);
}

TEST_P(PictureFormat, MirroredReadingReversesTracksAndPixels) {
    for (const int bits : {1, 8}) {
        make(bits);
        const Handle h = open(LF_READ | LF_XMIRROR | LF_YMIRROR);
        ASSERT_TRUE(h);
        const Image turned = read_image(h.get());
        for (int32_t y = 0; y < 20; ++y) {
            for (int32_t x = 0; x < 30; ++x)
                ASSERT_EQ(turned.at(x, y), image_.at(29 - x, 19 - y)) << x << ", " << y;
        }
    }
}

TEST_P(PictureFormat, TheTrackBehindTheLastIsAnEndOfFile) {
    make(8);
    // From the first byte, and off it, where a codec would look further on.
    for (int32_t first : {0, 16}) {
        const Handle h = open();
        ASSERT_TRUE(h);
        int32_t window[4] = {0, first, 20, 30};
        if (first) {
            ASSERT_EQ(lfclip(h.get(), window), 0);
        }
        Track track;
        ASSERT_GT(lfread(h.get(), track.get(), 19), 0);
        EXPECT_EQ(lfread(h.get(), track.get(), 20), -1);
        EXPECT_EQ(log_.take(), (Lines{report("readtrack: unexpected EOF: last os error")}));
        EXPECT_EQ(lfread(h.get(), track.get(), 21), -1);
        EXPECT_EQ(log_.take(), (Lines{"lfseek: invalid track number: 21"}));
        EXPECT_GT(lfread(h.get(), track.get(), 0), 0);
    }
}

TEST_P(PictureFormat, SequentialReadingIsTheSameAndNoSeekTableIsMade) {
    make(8);
    for (const uint32_t mode : {uint32_t{0}, LF_SEQUENTIAL}) {
        const Handle h = open(LF_READ | mode);
        ASSERT_TRUE(h);
        EXPECT_EQ(read_image(h.get()), image_);
        EXPECT_EQ(lfseektable(h.get()), nullptr);
    }
}

TEST_P(PictureFormat, SkippingATrackLeadsToTheNext) {
    make(Image{1, 3, {10, 20, 30}}, 8);
    const Handle h = open();
    ASSERT_TRUE(h);
    ASSERT_EQ(lfcheck(h.get()), 0);
    Track track;
    EXPECT_GT(h->skiptrack(h.get(), 0), 0);
    ASSERT_EQ(h->readtrack(h.get(), track.get()), 1);
    EXPECT_EQ(track.runs(), (Runs{{1, 20}}));
}

TEST_P(PictureFormat, ALateWindowIsTakenAfterANewCheck) {
    make(8);
    const Handle h = open();
    ASSERT_TRUE(h);
    EXPECT_EQ(read_image(h.get()), image_);
    int32_t window[4] = {5, 0, 20, 30};
    ASSERT_EQ(lfclip(h.get(), window), 0);
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_EQ(read_image(h.get()).at(0, 0), image_.at(0, 5));
}

TEST_P(PictureFormat, AFileOfFewerThanEightBytesIsAnothers) {
    write_text(name_, GetParam().too_short);
    EXPECT_FALSE(open());
    EXPECT_EQ(log_.take(), (Lines{"vor_detect_format: unknown file format"}));
}

TEST_P(PictureFormat, AForcedTypeTellsOtherFilesApart) {
    write_text(name_, "this is a text and no picture");
    EXPECT_FALSE(open(LF_READ | LF_FORCETYPE));
    EXPECT_EQ(log_.take(), (Lines{"lfdopen: unknown file format"}));
}

TEST_P(PictureFormat, UpdatingIsRefused) {
    make(8);
    const std::vector<uint8_t> before = read_bytes(name_);
    EXPECT_FALSE(open(LF_UPDATE));
    EXPECT_EQ(log_.take().front(),
              report("detect: write not supported | a " + std::string(GetParam().title) +
                     " file is not updated in place"));
    EXPECT_EQ(read_bytes(name_), before);
}

TEST_P(PictureFormat, TheCallersDescriptorMayStandAnywhere) {
    make(8);
    lfregisterfmt(format_);
    const int32_t fd = kel_open(name_.c_str(), KEL_O_RDONLY, 0);
    ASSERT_GE(fd, 0);
    const Handle h(lfdopen(fd, nullptr, LF_READ, 0, nullptr));
    ASSERT_TRUE(h);
    EXPECT_STREQ(lffilename(h.get()), "%%infile%%");
    kel_lseek(fd, 7, KEL_SEEK_SET);
    EXPECT_EQ(read_image(h.get()), image_);
}

TEST_P(PictureFormat, AFailedOpenLeavesTheCallersDescriptor) {
    write_text(name_, GetParam().false_file);
    lfregisterfmt(format_);
    const int32_t fd = kel_open(name_.c_str(), KEL_O_RDONLY, 0);
    ASSERT_GE(fd, 0);
    EXPECT_FALSE(lfdopen(fd, nullptr, LF_READ, 0, nullptr));
    EXPECT_EQ(kel_close(fd), 0);
}

INSTANTIATE_TEST_SUITE_P(Modules, PictureFormat, testing::ValuesIn(picture_modules), module_name);

} // namespace
