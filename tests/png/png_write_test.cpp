// The write road: what goes in as tracks comes back as the same tracks, and libpng by itself finds
// the same picture.

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <png.h>
#include <unistd.h>

#include "platform/kel.h"
#include "png/png_maker.h"
#include "png/vor_png.h"
#include "support/byte_file.h"
#include "support/picture_files.h"

namespace {

using namespace vor::test;

class PngWrite : public PictureFiles {
protected:
    PngWrite() : PictureFiles(&png_cvtformat) {}
};

// The file as libpng's own simple reader has it.
Image decoded(const std::string &name) {
    png_image control = {};
    control.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&control, name.c_str())) return {};
    control.format = PNG_FORMAT_GRAY;
    Image image{static_cast<int32_t>(control.width), static_cast<int32_t>(control.height), {}};
    image.pixels.resize(PNG_IMAGE_SIZE(control));
    if (!png_image_finish_read(&control, nullptr, image.pixels.data(), 0, nullptr)) return {};
    return image;
}

constexpr uint32_t bilevel_types[] = {0, VOR_PNG_BILEVEL, VOR_PNG_MAXBILEVEL,
                                      VOR_PNG_BILEVEL | VOR_PNG_PLAIN,
                                      VOR_PNG_BILEVEL | VOR_PNG_DEFLATE};
constexpr uint32_t gray_types[] = {VOR_PNG_GRAY, VOR_PNG_GRAY | VOR_PNG_PLAIN,
                                   VOR_PNG_GRAY | VOR_PNG_DEFLATE};

TEST_F(PngWrite, TwoLevelTracksComeBackAtEveryLength) {
    for (const uint32_t type : bilevel_types) {
        for (int32_t width = 1; width <= 33; ++width) {
            const Image image = sample_image(width, 9, 1);
            write(type, image);
            ASSERT_EQ(read_back(), image) << "type " << type << ", width " << width;
            ASSERT_EQ(decoded(name_), image) << "type " << type << ", width " << width;
        }
    }
}

TEST_F(PngWrite, GrayTracksComeBack) {
    for (const uint32_t type : gray_types) {
        for (const int32_t width : {1, 2, 31, 300}) {
            const Image image = sample_image(width, 20, 8);
            write(type, image);
            ASSERT_EQ(read_back(), image) << "type " << type << ", width " << width;
            ASSERT_EQ(decoded(name_), image) << "type " << type << ", width " << width;
        }
    }
}

TEST_F(PngWrite, PicturesLargerThanTheBufferComeBack) {
    const Image gray = sample_image(20000, 60, 8);
    write(VOR_PNG_GRAY | VOR_PNG_PLAIN, gray);
    EXPECT_EQ(read_back(), gray);
    const Image wide = sample_image(140003, 20, 1); // a row is more than the usual buffer
    write(VOR_PNG_BILEVEL, wide);
    EXPECT_EQ(read_back(), wide);
}

TEST_F(PngWrite, TheHeaderSaysWhatWasAskedFor) {
    for (const uint32_t type : {VOR_PNG_BILEVEL, VOR_PNG_GRAY}) {
        write(type, sample_image(10, 7, type == VOR_PNG_GRAY ? 8 : 1));
        const Bytes head = read_bytes(name_);
        const Bytes expected = {
            0, 0, 0, 10, 0, 0, 0, 7, static_cast<uint8_t>(type == VOR_PNG_GRAY ? 8 : 1),
            0, 0, 0, 0};
        EXPECT_EQ(Bytes(head.begin() + 16, head.begin() + 29), expected);
    }
}

TEST_F(PngWrite, TheEffortDecidesTheSize) {
    const Image image = sample_image(300, 300, 8);
    write(VOR_PNG_GRAY | VOR_PNG_PLAIN, image);
    const auto plain = std::filesystem::file_size(name_);
    EXPECT_GT(plain, 300u * 300u);
    write(VOR_PNG_GRAY, image);
    EXPECT_LT(std::filesystem::file_size(name_), plain);
}

TEST_F(PngWrite, UnknownTypesAreRefused) {
    for (const uint32_t type : {uint32_t{4}, uint32_t{15}, VOR_PNG_BILEVEL | uint32_t{0x20},
                                VOR_PNG_GRAY | uint32_t{0xF0}}) {
        EXPECT_FALSE(create(type)) << type;
        EXPECT_EQ(log_.take().front(), "png_wrsetup: invalid argument | bad file type");
    }
    EXPECT_EQ(kel_access(name_.c_str(), KEL_F_OK), -1); // the file is removed again
}

TEST_F(PngWrite, AnOpenEndedFileIsRefused) {
    EXPECT_FALSE(create(VOR_PNG_GRAY, LF_GROW));
    EXPECT_EQ(log_.take().front(), "png_wrsetup: request not supported | a PNG file needs its "
                                   "number of tracks first");
}

TEST_F(PngWrite, ResolutionIsKeptToThePixelPerMetre) {
    const struct {
        double xres;
        double yres;
        double xback;
        double yback;
    } rows[] = {
        {20, 40, 20, 40},
        {1200 / 25.4, 600 / 25.4, 47.244, 23.622},
        {0.0001, 20, 0, 0},  // less than the file can tell
        {20, 3000000, 0, 0}, // and more
    };
    for (const auto &row : rows) {
        Handle h = create(VOR_PNG_GRAY);
        ASSERT_TRUE(h);
        ASSERT_EQ(lfsetsize(h.get(), 1, 1), 0);
        ASSERT_EQ(lfscale(h.get(), row.xres, row.yres), 0);
        put_rows(h.get(), sample_image(1, 1, 8));
        ASSERT_EQ(close_now(&h), 0);
        const Handle back = open();
        ASSERT_TRUE(back);
        EXPECT_DOUBLE_EQ(back->fxres, row.xback);
        EXPECT_DOUBLE_EQ(back->fyres, row.yback);
    }
}

TEST_F(PngWrite, AFileThatLacksTracksIsAFailureAndIsNotReadBack) {
    Handle h = create(VOR_PNG_GRAY);
    ASSERT_TRUE(h);
    ASSERT_EQ(lfsetsize(h.get(), 10, 20), 0);
    put_rows(h.get(), sample_image(20, 7, 8));
    EXPECT_EQ(close_now(&h), -1);
    EXPECT_EQ(log_.take(), (Lines{"png_whdr: error count: 3 | tracks are missing",
                                  "lfclose: last os error | write error on header(s)"}));
    const Handle back = open();
    Track track;
    EXPECT_TRUE(!back || lfread(back.get(), track.get(), 0) < 0);
}

TEST_F(PngWrite, APipeTakesAPicture) {
    int32_t ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    const Image image = sample_image(20, 10, 8);
    const int32_t row = lfregisterfmt(&png_cvtformat);
    const int32_t type = lffdev(row, static_cast<int32_t>(VOR_PNG_GRAY));
    Handle h(lfdopen(ends[1], "pipe", LF_WRITE, type, nullptr));
    ASSERT_TRUE(h);
    ASSERT_EQ(lfsetsize(h.get(), 10, 20), 0);
    put_rows(h.get(), image);
    ASSERT_EQ(close_now(&h), 0);
    Bytes bytes(10000);
    bytes.resize(static_cast<size_t>(kel_read(ends[0], bytes.data(), bytes.size())));
    kel_close(ends[0]);
    write_bytes(name_, bytes);
    EXPECT_EQ(read_back(), image);
}

TEST_F(PngWrite, APipeTakesNoSecondHead) {
    int32_t ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    const int32_t row = lfregisterfmt(&png_cvtformat);
    const int32_t type = lffdev(row, static_cast<int32_t>(VOR_PNG_GRAY));
    Handle h(lfdopen(ends[1], "pipe", LF_WRITE, type, nullptr));
    ASSERT_TRUE(h);
    ASSERT_EQ(lfsetsize(h.get(), 10, 20), 0);
    ASSERT_EQ(lfcheck(h.get()), 0);
    ASSERT_EQ(lfsetsize(h.get(), 3, 20), 0); // warns
    log_.take();
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(lfcheck(h.get()), -1);
        EXPECT_EQ(log_.take().front(),
                  "png_check: invalid argument | the head of the file has gone out already");
    }
    EXPECT_EQ(close_now(&h), -1);
    std::string bytes(10000, '\0');
    bytes.resize(static_cast<size_t>(kel_read(ends[0], bytes.data(), bytes.size())));
    kel_close(ends[0]);
    EXPECT_NE(bytes.find("IHDR"), std::string::npos);
    EXPECT_EQ(bytes.find("IHDR"), bytes.rfind("IHDR"));
}

} // namespace
