// Bands of a few rows, so that small pictures have many of them.

#include "png/png_rows.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/kel.h"
#include "png/png_file.h"
#include "png/png_maker.h"
#include "support/byte_file.h"
#include "support/report_log.h"
#include "support/temp_dir.h"

namespace {

using namespace vor::test;
using vor::png::file_of;

class PngRows : public testing::Test {
protected:
    // Opens a picture with bands of `rows` rows.
    Handle open(const Bytes &bytes, int32_t rows) {
        write_bytes(name_, bytes);
        Handle h = open_png(name_);
        if (h) {
            auto *file = file_of(h.get());
            file->rows.start(&file->stream, &file->picture, file->picture.rows_bytes(rows));
        }
        return h;
    }

    TempDir dir_;
    std::string name_ = dir_.file("a.png");
    ReportLog log_;
};

TEST_F(PngRows, EveryBandGivesTheSamePictureInEveryDirection) {
    for (const int bits : {1, 8}) {
        const Image image = sample_image(37, 23, bits);
        for (const int32_t rows : {1, 2, 5, 22, 23, 100}) {
            const Handle h = open(png_of(image, bits).bytes(), rows);
            ASSERT_TRUE(h);
            ASSERT_EQ(read_image(h.get()), image) << rows;
            for (int32_t n = 22; n >= 0; --n) {
                Track track;
                ASSERT_GT(lfread(h.get(), track.get(), n), 0) << rows;
                ASSERT_EQ(track.runs(), runs_of_row(image, n)) << rows << ", " << n;
            }
        }
    }
    EXPECT_TRUE(log_.empty());
}

TEST_F(PngRows, AJumpForwardPassesBandsThatAreNotWanted) {
    const Image image = sample_image(20, 40, 8);
    const Handle h = open(png_of(image, 8).bytes(), 4);
    ASSERT_TRUE(h);
    for (const int32_t n : {2, 30, 39, 1, 17}) {
        Track track;
        ASSERT_GT(lfread(h.get(), track.get(), n), 0) << n;
        EXPECT_EQ(track.runs(), runs_of_row(image, n)) << n;
    }
}

TEST_F(PngRows, WarningsAreNotRepeatedWhenTheFileIsBegunAnew) {
    PngMaker maker(4, 8, 8, png_rgb);
    const Handle h = open(maker.chunk("PLTE", {1, 2}).bytes(), 2); // a palette of no whole entry
    ASSERT_TRUE(h);
    const size_t warnings = log_.size();
    EXPECT_GT(warnings, 1u); // libpng's, and that of the colours
    for (int32_t n = 7; n >= 0; --n) {
        Track track;
        ASSERT_GT(lfread(h.get(), track.get(), n), 0);
    }
    EXPECT_EQ(log_.size(), warnings);
}

TEST_F(PngRows, TheBandsInFrontOfADamagedOneAreRead) {
    const Image image = sample_image(500, 200, 8);
    Bytes bytes = png_of(image, 8).bytes();
    bytes.resize(bytes.size() / 2);
    const Handle h = open(bytes, 4);
    ASSERT_TRUE(h);
    int32_t good = 0;
    for (int32_t n = 0; n < 200; ++n) {
        Track track(500);
        if (lfread(h.get(), track.get(), n) < 0) break;
        ASSERT_EQ(track.runs(), runs_of_row(image, n));
        ++good;
    }
    EXPECT_GT(good, 8);
    EXPECT_LT(good, 150);
    EXPECT_EQ(good % 4, 0);
    EXPECT_EQ(log_.take().front(), "png_readtrack: file corrupted | the file ends early");
    // The damage is remembered, and so is the way back.
    Track track(500);
    EXPECT_EQ(lfread(h.get(), track.get(), 199), -1);
    EXPECT_EQ(log_.take().front(), "png_readtrack: file corrupted | the file ends early");
    EXPECT_GT(lfread(h.get(), track.get(), 1), 0);
    EXPECT_EQ(track.runs(), runs_of_row(image, 1));
}

TEST_F(PngRows, AFileThatIsGoneWhenItIsBegunAnewIsAFailure) {
    const Handle h = open(png_of(sample_image(8, 8, 8), 8).bytes(), 2);
    ASSERT_TRUE(h);
    Track track;
    ASSERT_GT(lfread(h.get(), track.get(), 4), 0);
    ASSERT_EQ(kel_close(h->fd), 0);
    const int32_t fd = h->fd;
    h->fd = -1;
    EXPECT_EQ(lfread(h.get(), track.get(), 0), -1);
    EXPECT_EQ(log_.take(),
              (Lines{"png_readtrack: file corrupted | the file cannot be positioned"}));
    EXPECT_GE(fd, 0);
}

} // namespace
