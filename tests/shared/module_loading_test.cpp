// Modules as the library finds and loads them.

#include <stdlib.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "formats/formats.h"
#include "fw32/stream_words.h"
#include "support/byte_file.h"
#include "support/gray_image.h"
#include "support/report_log.h"
#include "support/temp_dir.h"
#include "tif/vor_tif.h"
#include "util/shared_object.h"

namespace {

using namespace vor::test;

// In a build tree the modules lie beside bin/, in an installed one too.
class ModuleLoading : public testing::Test {
protected:
    // Who runs the tests may name an installed tree in place of the one that is built.
    static void SetUpTestSuite() { ::setenv("QUORVENTATOP", VOR_TOP, 0); }

    TempDir dir_;
    ReportLog log_;
};

TEST_F(ModuleLoading, EachModuleIsLoadedByItsName) {
    for (const char *name : {"tif", "png", "fw32"}) {
        const int32_t row = lfloadfmt(name);
        EXPECT_GT(row, 0) << name;
        EXPECT_STREQ(lffmtname(row), name);
    }
    EXPECT_TRUE(log_.empty());
}

TEST_F(ModuleLoading, TheSetUpLoadsTheStreamFormatWithoutAComplaint) {
    lf_fmt_setup();
    EXPECT_TRUE(log_.empty());
    const int32_t row = lffmtindex("fw32");
    ASSERT_GT(row, 0);
    EXPECT_EQ(lf_parse_type("FIFO", 0, 0), lffdev(row, 0));
    const std::string name = dir_.file("a");
    write_bytes(name, bytes_of({code(10, 7), 0}));
    const Handle h(lfopen(name.c_str(), LF_READ | LF_RAWFW32, 0, nullptr));
    ASSERT_TRUE(h);
    int32_t window[4] = {0, 0, 1, 10};
    ASSERT_EQ(lfclip(h.get(), window), 0);
    Track track;
    EXPECT_EQ(lfread(h.get(), track.get(), 0), 1);
    EXPECT_EQ(track.runs(), (Runs{{10, 7}}));
}

TEST_F(ModuleLoading, APictureIsWrittenAndReadByItsSuffix) {
    const Image image = sample_image(300, 40, 8);
    for (const char *format : {"png", "tif"}) {
        const int32_t row = lfloadfmt(format);
        ASSERT_GT(row, 0);
        const std::string name = dir_.file("a.") + format;
        Handle out(lfopen(name.c_str(), LF_WRITE, lffdev(row, 3), nullptr));
        ASSERT_TRUE(out);
        // The set-up lets a TIFF have its tracks as columns unless a program says otherwise.
        int32_t rows = 1;
        if (std::string(format) == "tif") {
            ASSERT_EQ(lfspecial(out.get(), LFS_TIF_ORIENTATION, &rows), 0);
        }
        ASSERT_EQ(lfsetsize(out.get(), image.height, image.width), 0);
        put_rows(out.get(), image);
        ASSERT_EQ(close_now(&out), 0);
        lfinfo info;
        EXPECT_EQ(lffiletype(name.c_str(), &info), 0);
        EXPECT_STREQ(info.type_name, format);
        const Handle in(lfopen(name.c_str(), LF_READ, 0, nullptr));
        ASSERT_TRUE(in);
        EXPECT_EQ(read_image(in.get()), image);
    }
}

// The example of docs/examples, in a directory of its own.
class ExampleModule : public ModuleLoading {
protected:
    void SetUp() override {
        ASSERT_EQ(so_setdir(VOR_EXAMPLE_PLUGINS, 1), 0);
        row_ = lfloadfmt("pgm");
        ASSERT_GT(row_, 0);
    }
    void TearDown() override { so_setdir("plugins", 1); }

    int32_t row_ = -1;
    std::string name_ = dir_.file("a.pgm");
};

TEST_F(ExampleModule, APictureOfAnotherMakerIsRead) {
    write_text(name_, "P5 3\n2 255\n\x01\x01\xFF"
                      "abc");
    const Handle h(lfopen(name_.c_str(), LF_READ, 0, nullptr));
    ASSERT_TRUE(h);
    EXPECT_EQ(read_image(h.get()), (Image{3, 2, {1, 1, 255, 'a', 'b', 'c'}}));
}

TEST_F(ExampleModule, WhatIsWrittenComesBack) {
    const Image image = sample_image(30, 20, 8);
    Handle out(lfopen(name_.c_str(), LF_WRITE, lffdev(row_, 0), nullptr));
    ASSERT_TRUE(out);
    ASSERT_EQ(lfsetsize(out.get(), 20, 30), 0);
    put_rows(out.get(), image);
    ASSERT_EQ(close_now(&out), 0);
    const std::string text = read_text(name_);
    EXPECT_EQ(text.substr(0, 29), "P5\n        30         20\n255\n");
    EXPECT_EQ(text.size(), 29u + 600u);
    const Handle in(lfopen(name_.c_str(), LF_READ, 0, nullptr));
    ASSERT_TRUE(in);
    EXPECT_EQ(read_image(in.get()), image);
}

TEST_F(ExampleModule, OtherFilesAndDamagedHeadersAreToldApart) {
    for (const char *text : {"P6 3 2 255\nabcdef", "P5", "P55 3 2 255\n"}) {
        write_text(name_, text);
        EXPECT_FALSE(lfopen(name_.c_str(), LF_READ | LF_FORCETYPE, lffdev(row_, 0), nullptr));
        EXPECT_EQ(log_.take(), (Lines{"lfdopen: unknown file format"})) << text;
    }
    for (const char *text : {"P5 3 2 65535\n", "P5 3\n", "P5 0 2 255\n", "P5 99999999999 2 255\n",
                             "P5 3 2 255", "P5 2684354595 255\n" /* two numbers, not three */}) {
        write_text(name_, text);
        EXPECT_FALSE(lfopen(name_.c_str(), LF_READ, 0, nullptr));
        EXPECT_EQ(log_.take().front(), "pgm_detect: file corrupted | no header of an 8-bit picture")
            << text;
    }
}

TEST_F(ExampleModule, AFileThatIsCutShortFailsWhereItIsCut) {
    write_text(name_, "P5 3 2 255\nabcd");
    const Handle h(lfopen(name_.c_str(), LF_READ | LF_SEQUENTIAL, 0, nullptr));
    ASSERT_TRUE(h);
    Track track;
    EXPECT_EQ(lfread(h.get(), track.get(), 0), 3);
    EXPECT_EQ(lfread(h.get(), track.get(), 1), -1);
}

} // namespace
