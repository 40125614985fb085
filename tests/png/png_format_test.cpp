// The format as a caller of the track file calls sees it.

#include "png/vor_png.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include "platform/kel.h"
#include "png/png_maker.h"
#include "support/byte_file.h"
#include "support/report_log.h"
#include "support/temp_dir.h"
#include "vor/vor.h"

namespace {

using namespace vor::test;

class PngFormat : public testing::Test {
protected:
    void make(int bits, int32_t width = 30, int32_t height = 20) {
        image_ = sample_image(width, height, bits);
        write_bytes(name_, png_of(image_, bits).bytes());
    }
    Handle open(uint32_t mode = LF_READ) { return open_png(name_, mode); }

    TempDir dir_;
    std::string name_ = dir_.file("a.png");
    Image image_;
    ReportLog log_;
};

TEST_F(PngFormat, TheRecordNamesItself) {
    const int32_t row = lfregisterfmt(&png_cvtformat);
    EXPECT_GT(row, 0);
    EXPECT_STREQ(lffmtname(row), "png");
    EXPECT_STREQ(lffmtsuffix(row), ".png");
    EXPECT_EQ(lfsuffixindex(row, "a.png"), 1);
    EXPECT_EQ(lffmtguess("dir/a.png"), row);
}

TEST_F(PngFormat, AnOpenFileTellsItsGeometry) {
    write_bytes(name_, png_of(sample_image(30, 20, 8), 8).resolution(20000, 47244).bytes());
    lfinfo info;
    const int32_t row = lfregisterfmt(&png_cvtformat);
    const Handle h(lfopen(name_.c_str(), LF_READ, 0, &info));
    ASSERT_TRUE(h);
    EXPECT_EQ(info.xsize, 20);
    EXPECT_EQ(info.ysize, 30);
    EXPECT_DOUBLE_EQ(info.yres, 20); // along a row
    EXPECT_DOUBLE_EQ(info.xres, 47.244);
    EXPECT_EQ(info.bits, 8);
    EXPECT_EQ(info.nctab, 1);
    EXPECT_STREQ(info.type_name, "png");
    EXPECT_EQ(info.major, row);
    EXPECT_EQ(info.maxruns, 0);
    EXPECT_TRUE(log_.empty());
}

TEST_F(PngFormat, WithoutAResolutionTheCallersIsTaken) {
    const PngMaker files[] = {
        png_of(sample_image(30, 20, 8), 8),
        png_of(sample_image(30, 20, 8), 8).resolution(1, 2, 0), // mere proportions
        png_of(sample_image(30, 20, 8), 8).resolution(20000, 0),
    };
    for (const PngMaker &file : files) {
        write_bytes(name_, file.bytes());
        const Handle h = open();
        ASSERT_TRUE(h);
        EXPECT_EQ(h->fxres, 0);
        EXPECT_EQ(h->fyres, 0);
        ASSERT_EQ(lfscale(h.get(), 12, 24), 0);
        EXPECT_EQ(h->fxres, 12);
        EXPECT_EQ(h->xsize, 20);
        EXPECT_EQ(h->ysize, 30);
    }
}

TEST_F(PngFormat, TheMinorNumberTellsTheBits) {
    make(1);
    const Handle bilevel = open();
    ASSERT_TRUE(bilevel);
    EXPECT_EQ(bilevel->subtype, static_cast<int32_t>(VOR_PNG_BILEVEL | VOR_PNG_DEFLATE));
    EXPECT_EQ(bilevel->bits, 1);
    make(8);
    const Handle gray = open();
    ASSERT_TRUE(gray);
    EXPECT_EQ(gray->subtype, static_cast<int32_t>(VOR_PNG_GRAY | VOR_PNG_DEFLATE));
    EXPECT_EQ(gray->bits, 8);
}

TEST_F(PngFormat, TheKindsOfTheNativeFormatAreUnderstood) {
    EXPECT_EQ(VOR_PNG_GRAY, VT_FW88);
    EXPECT_EQ(VOR_PNG_DEFLATE, VT_DEFLATED);
    EXPECT_LE(VT_FW16, VOR_PNG_MAXBILEVEL);
    EXPECT_LE(VT_FW8, VOR_PNG_MAXBILEVEL);
}

TEST_F(PngFormat, BlackIsCodeZeroAndWhite255) {
    for (const int bits : {1, 8}) {
        write_bytes(name_, png_of(Image{3, 1, {0, 255, 255}}, bits).bytes());
        const Handle h = open();
        ASSERT_TRUE(h);
        Track track;
        ASSERT_EQ(lfread(h.get(), track.get(), 0), 2);
        EXPECT_EQ(track.runs(), (Runs{{1, 0}, {2, 255}})) << bits;
    }
}

TEST_F(PngFormat, TheColourTableOfTheHandleIsApplied) {
    write_bytes(name_, png_of(Image{4, 1, {5, 5, 6, 255}}, 8).bytes());
    const Handle h = open();
    ASSERT_TRUE(h);
    ASSERT_EQ(lfcheck(h.get()), 0);
    lfctable(h.get())[5] = 300;
    lfctable(h.get())[6] = 300;
    Track track;
    ASSERT_EQ(lfread(h.get(), track.get(), 0), 2);
    EXPECT_EQ(track.runs(), (Runs{{3, 300}, {1, 255}}));
}

TEST_F(PngFormat, AWindowShowsItsPartOfThePicture) {
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

TEST_F(PngFormat, ScalingRepeatsTracksAndPixels) {
    for (const int bits : {1, 8}) {
        image_ = sample_image(30, 20, bits);
        write_bytes(name_, png_of(image_, bits).resolution(10000, 10000).bytes());
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

TEST_F(PngFormat, ARepeatedTrackIsDecodedOnce) {
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

TEST_F(PngFormat, MirroredReadingReversesTracksAndPixels) {
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

TEST_F(PngFormat, TracksAreReadInAnyOrder) {
    make(8);
    const Handle h = open();
    ASSERT_TRUE(h);
    Track track;
    for (const int32_t n : {19, 3, 3, 18, 0, 7}) {
        Track other;
        ASSERT_GT(lfread(h.get(), other.get(), n), 0) << n;
        EXPECT_EQ(other.runs(), runs_of_row(image_, n)) << n;
    }
}

TEST_F(PngFormat, TheTrackBehindTheLastIsAnEndOfFile) {
    make(8);
    const Handle h = open();
    ASSERT_TRUE(h);
    Track track;
    ASSERT_GT(lfread(h.get(), track.get(), 19), 0);
    EXPECT_EQ(lfread(h.get(), track.get(), 20), -1);
    EXPECT_EQ(log_.take(), (Lines{"png_readtrack: unexpected EOF: last os error"}));
    EXPECT_EQ(lfread(h.get(), track.get(), 21), -1);
    EXPECT_EQ(log_.take(), (Lines{"lfseek: invalid track number: 21"}));
    EXPECT_GT(lfread(h.get(), track.get(), 0), 0);
}

TEST_F(PngFormat, SequentialReadingIsTheSameAndNoSeekTableIsMade) {
    make(8);
    for (const uint32_t mode : {uint32_t{0}, LF_SEQUENTIAL}) {
        const Handle h = open(LF_READ | mode);
        ASSERT_TRUE(h);
        EXPECT_EQ(read_image(h.get()), image_);
        EXPECT_EQ(lfseektable(h.get()), nullptr);
    }
}

TEST_F(PngFormat, SkippingATrackLeadsToTheNext) {
    write_bytes(name_, png_of(Image{1, 3, {10, 20, 30}}, 8).bytes());
    const Handle h = open();
    ASSERT_TRUE(h);
    ASSERT_EQ(lfcheck(h.get()), 0);
    Track track;
    EXPECT_GT(h->skiptrack(h.get(), 0), 0);
    ASSERT_EQ(h->readtrack(h.get(), track.get()), 1);
    EXPECT_EQ(track.runs(), (Runs{{1, 20}}));
}

TEST_F(PngFormat, ALateWindowIsTakenAfterANewCheck) {
    make(8);
    const Handle h = open();
    ASSERT_TRUE(h);
    EXPECT_EQ(read_image(h.get()), image_);
    int32_t window[4] = {5, 0, 20, 30};
    ASSERT_EQ(lfclip(h.get(), window), 0);
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_EQ(read_image(h.get()).at(0, 0), image_.at(0, 5));
}

TEST_F(PngFormat, AFileThatOnlyBeginsLikeOneIsAFailure) {
    write_text(name_, "\x89PNG\r\n\x1A\n and then a text, which is no chunk");
    EXPECT_FALSE(open());
    const Lines lines = log_.take();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].substr(0, 29), "png_detect: file corrupted | ") << lines[0];
    EXPECT_EQ(lines[1], "vor_detect_format: last os error");
}

TEST_F(PngFormat, AFileOfFewerThanEightBytesIsAnothers) {
    write_text(name_, "\x89PNG\r\n\x1A");
    EXPECT_FALSE(open());
    EXPECT_EQ(log_.take(), (Lines{"vor_detect_format: unknown file format"}));
}

TEST_F(PngFormat, AForcedTypeTellsOtherFilesApart) {
    write_text(name_, "this is a text and no picture");
    const int32_t row = lfregisterfmt(&png_cvtformat);
    EXPECT_FALSE(lfopen(name_.c_str(), LF_READ | LF_FORCETYPE, lffdev(row, 0), nullptr));
    EXPECT_EQ(log_.take(), (Lines{"lfdopen: unknown file format"}));
}

TEST_F(PngFormat, UpdatingIsRefused) {
    make(8);
    const Bytes before = read_bytes(name_);
    EXPECT_FALSE(open(LF_UPDATE));
    EXPECT_EQ(log_.take().front(),
              "png_detect: write not supported | a PNG file is not updated in place");
    EXPECT_EQ(read_bytes(name_), before);
}

TEST_F(PngFormat, TheCallersDescriptorMayStandAnywhere) {
    make(8);
    lfregisterfmt(&png_cvtformat);
    const int32_t fd = kel_open(name_.c_str(), KEL_O_RDONLY, 0);
    ASSERT_GE(fd, 0);
    const Handle h(lfdopen(fd, nullptr, LF_READ, 0, nullptr));
    ASSERT_TRUE(h);
    kel_lseek(fd, 7, KEL_SEEK_SET);
    EXPECT_EQ(read_image(h.get()), image_);
}

TEST_F(PngFormat, AFailedOpenLeavesTheCallersDescriptor) {
    write_text(name_, "\x89PNG\r\n\x1A\n and then a text, which is no chunk");
    lfregisterfmt(&png_cvtformat);
    const int32_t fd = kel_open(name_.c_str(), KEL_O_RDONLY, 0);
    ASSERT_GE(fd, 0);
    EXPECT_FALSE(lfdopen(fd, nullptr, LF_READ, 0, nullptr));
    EXPECT_EQ(kel_close(fd), 0);
}

TEST_F(PngFormat, APictureInAPipeIsAFailure) {
    int32_t ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    const Bytes bytes = png_of(sample_image(3, 3, 8), 8).bytes();
    ASSERT_EQ(kel_write(ends[1], bytes.data(), bytes.size()), static_cast<int64_t>(bytes.size()));
    kel_close(ends[1]);
    lfregisterfmt(&png_cvtformat);
    EXPECT_FALSE(lfdopen(ends[0], nullptr, LF_READ, 0, nullptr));
    EXPECT_EQ(log_.take().front(), "png_detect: file corrupted | the file cannot be positioned");
    kel_close(ends[0]);
}

} // namespace
