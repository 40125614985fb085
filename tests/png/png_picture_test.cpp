// Every kind of pixels that a PNG can have, and headers that are not believed.

#include "png/png_picture.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "png/png_maker.h"
#include "support/byte_file.h"
#include "support/report_log.h"
#include "support/temp_dir.h"

namespace {

using namespace vor::test;

const std::string colour_warning = "png_detect: warning | colours are read as gray";
const std::string white_warning = "png_detect: warning | what is transparent is laid on white";
const std::string deep_warning = "png_detect: warning | 16 bits a sample are read as 8";

class PngPicture : public testing::Test {
protected:
    // The pixels of the first row, if the file is read with just these warnings.
    std::vector<uint8_t> first_row(const PngMaker &maker, const Lines &warnings = {}) {
        write_bytes(name_, maker.bytes());
        const Handle h = open_png(name_);
        EXPECT_EQ(log_.take(), warnings);
        if (!h) return {};
        Track track(static_cast<uint32_t>(h->ysize));
        EXPECT_GT(lfread(h.get(), track.get(), 0), 0);
        return pixels_of(track.runs());
    }
    // The report of a file that is refused.
    std::string refusal(const PngMaker &maker) {
        write_bytes(name_, maker.bytes());
        EXPECT_FALSE(open_png(name_));
        for (const std::string &line : log_.take()) {
            if (line.starts_with("png_detect: ")) return line;
        }
        return "";
    }

    TempDir dir_;
    std::string name_ = dir_.file("a.png");
    ReportLog log_;
};

using Row = std::vector<uint8_t>;

// Rows of pixels that are given one by one.
PngMaker row_of(int depth, int kind, const std::vector<std::vector<uint32_t>> &pixels) {
    PngMaker maker(static_cast<uint32_t>(pixels.size()), 1, depth, kind);
    maker.pixels([pixels](uint32_t x, uint32_t) { return pixels[x]; });
    return maker;
}

TEST_F(PngPicture, GrayOfFewBitsIsSpread) {
    EXPECT_EQ(first_row(row_of(1, png_gray, {{0}, {1}, {1}})), (Row{0, 255, 255}));
    EXPECT_EQ(first_row(row_of(2, png_gray, {{0}, {1}, {2}, {3}})), (Row{0, 85, 170, 255}));
    EXPECT_EQ(first_row(row_of(4, png_gray, {{0}, {1}, {9}, {15}})), (Row{0, 17, 153, 255}));
    EXPECT_EQ(first_row(row_of(8, png_gray, {{0}, {1}, {254}, {255}})), (Row{0, 1, 254, 255}));
}

TEST_F(PngPicture, SixteenBitsAreRoundedToEight) {
    EXPECT_EQ(first_row(row_of(16, png_gray, {{0}, {128}, {129}, {257}, {0x7FFF}, {65535}}),
                        {deep_warning}),
              (Row{0, 0, 1, 1, 127, 255}));
}

TEST_F(PngPicture, ColoursBecomeGrayByTheirWeights) {
    const Row row = first_row(
        row_of(8, png_rgb, {{255, 0, 0}, {0, 255, 0}, {0, 0, 255}, {77, 77, 77}, {255, 255, 255}}),
        {colour_warning});
    ASSERT_EQ(row.size(), 5u);
    EXPECT_NEAR(row[0], 0.2126 * 255, 1);
    EXPECT_NEAR(row[1], 0.7152 * 255, 1);
    EXPECT_NEAR(row[2], 0.0722 * 255, 1);
    EXPECT_EQ(row[3], 77);
    EXPECT_EQ(row[4], 255);
}

TEST_F(PngPicture, GrayPixelsOfAColouredPictureAreExact) {
    std::vector<std::vector<uint32_t>> pixels;
    Row expected;
    for (uint32_t i = 0; i < 256; ++i) {
        pixels.push_back({i, i, i, 255});
        expected.push_back(static_cast<uint8_t>(i));
    }
    EXPECT_EQ(first_row(row_of(8, png_rgb, pixels), {colour_warning}), expected);
    EXPECT_EQ(first_row(row_of(8, png_rgb_alpha, pixels), {colour_warning, white_warning}),
              expected);
}

TEST_F(PngPicture, GammaAndProfilesChangeNothing) {
    PngMaker maker = row_of(8, png_rgb, {{255, 0, 0}, {10, 200, 30}});
    const Row plain = first_row(maker, {colour_warning});
    EXPECT_EQ(
        first_row(maker.chunk("gAMA", big_endian(45455)).chunk("sRGB", {0}), {colour_warning}),
        plain);
}

TEST_F(PngPicture, TransparentPixelsAreLaidOnWhite) {
    EXPECT_EQ(first_row(row_of(8, png_gray_alpha, {{0, 255}, {0, 0}, {100, 128}, {255, 7}}),
                        {white_warning}),
              (Row{0, 255, 177, 255}));
    EXPECT_EQ(first_row(row_of(16, png_gray_alpha, {{0, 65535}, {0, 0}, {65535, 65535}}),
                        {white_warning, deep_warning}),
              (Row{0, 255, 255}));
    EXPECT_EQ(first_row(row_of(8, png_rgb_alpha, {{9, 9, 9, 255}, {9, 9, 9, 0}}),
                        {colour_warning, white_warning}),
              (Row{9, 255}));
    EXPECT_EQ(first_row(row_of(16, png_rgb_alpha, {{0, 0, 0, 65535}, {0, 0, 0, 0}}),
                        {colour_warning, white_warning, deep_warning}),
              (Row{0, 255}));
}

TEST_F(PngPicture, AColourThatCountsAsTransparentBecomesWhite) {
    EXPECT_EQ(first_row(row_of(8, png_gray, {{7}, {8}}).chunk("tRNS", {0, 7}), {white_warning}),
              (Row{255, 8}));
    EXPECT_EQ(first_row(row_of(1, png_gray, {{0}, {1}}).chunk("tRNS", {0, 0}), {white_warning}),
              (Row{255, 255}));
    EXPECT_EQ(first_row(row_of(16, png_gray, {{0x0102}, {0}}).chunk("tRNS", {1, 2}),
                        {white_warning, deep_warning}),
              (Row{255, 0}));
    EXPECT_EQ(
        first_row(row_of(8, png_rgb, {{1, 2, 3}, {3, 3, 3}}).chunk("tRNS", {0, 1, 0, 2, 0, 3}),
                  {colour_warning, white_warning}),
        (Row{255, 3}));
}

TEST_F(PngPicture, APaletteIsLookedUp) {
    const Bytes grays = {0, 0, 0, 99, 99, 99, 255, 255, 255, 5, 5, 5};
    for (const int depth : {2, 4, 8}) {
        PngMaker maker = row_of(depth, png_palette, {{0}, {1}, {2}, {3}});
        EXPECT_EQ(first_row(maker.chunk("PLTE", grays)), (Row{0, 99, 255, 5})) << depth;
    }
    EXPECT_EQ(first_row(row_of(1, png_palette, {{0}, {1}}).chunk("PLTE", {8, 8, 8, 0, 0, 0})),
              (Row{8, 0}));
    const Row red =
        first_row(row_of(8, png_palette, {{0}}).chunk("PLTE", {255, 0, 0}), {colour_warning});
    ASSERT_EQ(red.size(), 1u);
    EXPECT_NEAR(red[0], 54, 1);
}

TEST_F(PngPicture, ATransparentPaletteEntryIsLaidOnWhite) {
    PngMaker maker = row_of(8, png_palette, {{0}, {1}, {2}});
    maker.chunk("PLTE", {10, 10, 10, 20, 20, 20, 30, 30, 30}).chunk("tRNS", {255, 0});
    EXPECT_EQ(first_row(maker, {white_warning}), (Row{10, 255, 30}));
}

TEST_F(PngPicture, AnIndexBehindThePaletteIsBlack) {
    EXPECT_EQ(first_row(row_of(8, png_palette, {{0}, {200}}).chunk("PLTE", {9, 9, 9})),
              (Row{9, 0}));
}

TEST_F(PngPicture, InterlacedPicturesAreTheSameAtEverySize) {
    for (const int bits : {1, 8}) {
        for (int32_t width = 1; width <= 17; ++width) {
            for (int32_t height = 1; height <= 17; ++height) {
                const Image image = sample_image(width, height, bits);
                write_bytes(name_, png_of(image, bits).interlace().bytes());
                // Such small pictures may look like native files, which are looked for first.
                const Handle h = open_png(name_, LF_READ | LF_FORCETYPE);
                ASSERT_TRUE(h);
                ASSERT_EQ(read_image(h.get()), image) << width << " x " << height;
            }
        }
    }
    EXPECT_TRUE(log_.empty());
}

TEST_F(PngPicture, InterlacedPicturesWithTransparencyAreLaidOnWhiteOnce) {
    PngMaker maker(9, 9, 8, png_gray_alpha);
    maker.interlace().pixels([](uint32_t x, uint32_t y) {
        return std::vector<uint32_t>{x * 20 + y, y % 2 != 0 ? 255u : 0u};
    });
    write_bytes(name_, maker.bytes());
    const Handle h = open_png(name_);
    ASSERT_TRUE(h);
    const Image image = read_image(h.get());
    for (int32_t y = 0; y < 9; ++y) {
        for (int32_t x = 0; x < 9; ++x)
            ASSERT_EQ(image.at(x, y), y % 2 != 0 ? x * 20 + y : 255) << x << ", " << y;
    }
}

TEST_F(PngPicture, AnInterlacedPictureBeyondAllMeasureIsRefused) {
    EXPECT_EQ(refusal(PngMaker(1, 1, 8, png_gray).interlace().claim(20000, 20000)),
              "png_detect: read not supported | the interlaced picture is too large");
}

TEST_F(PngPicture, AFileThatClaimsMoreThanItCanHoldIsRefused) {
    const std::string refused =
        "png_detect: read not supported | the file is too small for the size that it claims";
    EXPECT_EQ(refusal(PngMaker(1, 1, 8, png_gray).claim(1000000, 1)), refused);
    EXPECT_EQ(refusal(PngMaker(1, 1, 8, png_gray).interlace().claim(1000, 1000)), refused);
    EXPECT_EQ(refusal(PngMaker(1, 1, 16, png_rgb_alpha).claim(1000000, 1000000)), refused);
}

TEST_F(PngPicture, ARowBeyondAllMeasureIsRefused) {
    EXPECT_EQ(refusal(PngMaker(1, 1, 1, png_gray).claim(0x7FFFFFFF, 0x7FFFFFFF)),
              "png_detect: read not supported | the picture is too large");
}

TEST_F(PngPicture, ASizeOfZeroOrAHeaderThatIsNoneIsAFailure) {
    EXPECT_EQ(refusal(PngMaker(1, 1, 8, png_gray).claim(0, 1)).substr(0, 26),
              "png_detect: file corrupted");
    EXPECT_EQ(refusal(PngMaker(1, 1, 8, png_gray).claim(1, 0)).substr(0, 26),
              "png_detect: file corrupted");
    EXPECT_EQ(refusal(PngMaker(1, 1, 8, png_gray).claim(0x80000000, 1)).substr(0, 26),
              "png_detect: file corrupted");
    EXPECT_EQ(refusal(row_of(8, png_palette, {{0}})).substr(0, 26), "png_detect: file corrupted");
}

} // namespace
