// Pictures of one format, written and read in a directory of their own.
#ifndef VOR_TESTS_PICTURE_FILES_H
#define VOR_TESTS_PICTURE_FILES_H

#include <cstdint>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "formats/formats.h"
#include "support/gray_image.h"
#include "support/report_log.h"
#include "support/temp_dir.h"

namespace vor::test {

class PictureFiles : public testing::Test {
protected:
    explicit PictureFiles(lffmt_t *format) : format_(format) {}

    // The type of a file of the format, which this registers.
    int32_t type_of(uint32_t minor_number) {
        return lffdev(lfregisterfmt(format_), static_cast<int32_t>(minor_number));
    }
    Handle open(uint32_t mode = LF_READ) {
        return Handle(lfopen(name_.c_str(), mode, type_of(0), nullptr));
    }
    Handle create(uint32_t minor_number, uint32_t mode = 0) {
        std::filesystem::remove(name_);
        return Handle(lfopen(name_.c_str(), LF_WRITE | mode, type_of(minor_number), nullptr));
    }
    void write(uint32_t minor_number, const Image &image, uint32_t mode = 0) {
        Handle h = create(minor_number, mode);
        ASSERT_TRUE(h);
        ASSERT_EQ(lfsetsize(h.get(), image.height, image.width), 0);
        put_rows(h.get(), image);
        ASSERT_EQ(close_now(&h), 0);
    }
    Image read_back() {
        const Handle h = open();
        return h ? read_image(h.get()) : Image{};
    }

    // Holds the geometry that a gray file of 20 tracks of 30 pixels tells against what it should
    // be.
    void expect_geometry(double along_rows, double across) {
        const int32_t row = lfregisterfmt(format_);
        lfinfo info;
        const Handle h(lfopen(name_.c_str(), LF_READ, 0, &info));
        ASSERT_TRUE(h);
        EXPECT_EQ(info.xsize, 20);
        EXPECT_EQ(info.ysize, 30);
        EXPECT_DOUBLE_EQ(info.yres, along_rows);
        EXPECT_DOUBLE_EQ(info.xres, across);
        EXPECT_EQ(info.bits, 8);
        EXPECT_EQ(info.nctab, 1);
        EXPECT_STREQ(info.type_name, format_->name);
        EXPECT_EQ(info.major, row);
        EXPECT_EQ(info.maxruns, 0);
        EXPECT_EQ(info.error, 0);
        EXPECT_TRUE(log_.empty());
    }
    // Such a file tells no resolution: the caller's is taken.
    void expect_no_resolution() {
        const Handle h = open();
        ASSERT_TRUE(h);
        EXPECT_EQ(h->fxres, 0);
        EXPECT_EQ(h->fyres, 0);
        ASSERT_EQ(lfscale(h.get(), 12, 24), 0);
        EXPECT_EQ(h->fxres, 12);
        EXPECT_EQ(h->xsize, 20);
        EXPECT_EQ(h->ysize, 30);
    }

    lffmt_t *const format_;
    TempDir dir_;
    std::string name_ = dir_.file(std::string("a") + format_->suffix);
    ReportLog log_;
};

} // namespace vor::test

#endif
