// The format as a caller of the track file calls sees it.

#include "png/vor_png.h"

#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include "platform/kel.h"
#include "png/png_maker.h"
#include "support/byte_file.h"
#include "support/picture_files.h"

namespace {

using namespace vor::test;

class PngFormat : public PictureFiles {
protected:
    PngFormat() : PictureFiles(&png_cvtformat) {}

    void make(int bits) {
        image_ = sample_image(30, 20, bits);
        write_bytes(name_, png_of(image_, bits).bytes());
    }

    Image image_;
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
    expect_geometry(20, 47.244);
}

TEST_F(PngFormat, WithoutAResolutionTheCallersIsTaken) {
    const PngMaker files[] = {
        png_of(sample_image(30, 20, 8), 8),
        png_of(sample_image(30, 20, 8), 8).resolution(1, 2, 0), // mere proportions
        png_of(sample_image(30, 20, 8), 8).resolution(20000, 0),
    };
    for (const PngMaker &file : files) {
        write_bytes(name_, file.bytes());
        expect_no_resolution();
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

TEST_F(PngFormat, AFileThatOnlyBeginsLikeOneIsAFailure) {
    write_text(name_, "\x89PNG\r\n\x1A\n and then a text, which is no chunk");
    EXPECT_FALSE(open());
    const Lines lines = log_.take();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].substr(0, 29), "png_detect: file corrupted | ") << lines[0];
    EXPECT_EQ(lines[1], "vor_detect_format: last os error");
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
