#include "tif/tif_columns.h"

#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "support/temp_dir.h"
#include "tif/tif_file.h"
#include "tif/tiff_maker.h"

namespace {

using namespace vor::test;
using namespace vor::tif;

struct Close {
    void operator()(TIFF *tiff) const { TIFFClose(tiff); }
};

uint8_t pixel(const uint8_t *column, int bits, int32_t i) {
    if (bits == 8) return column[i];
    return (column[i / 8] >> (7 - i % 8) & 1) != 0 ? 255 : 0;
}

// All columns of a file, gathered in bands of `limit` bytes, first in order and then backwards.
void expect_columns(const std::string &name, const Image &image, int bits, int64_t limit) {
    const std::unique_ptr<TIFF, Close> tiff(TIFFOpen(name.c_str(), "r"));
    Picture picture;
    ASSERT_EQ(read_picture(tiff.get(), INT64_MAX, &picture), nullptr);
    Trouble trouble;
    RowBands rows;
    rows.start(tiff.get(), &picture, &trouble);
    ColumnBands columns;
    columns.start(&rows, &picture, limit);
    for (int32_t step = 0; step < 2 * image.width; ++step) {
        const int32_t x = step < image.width ? step : 2 * image.width - 1 - step;
        const uint8_t *column = columns.column(x);
        ASSERT_TRUE(column) << x;
        for (int32_t y = 0; y < image.height; ++y)
            ASSERT_EQ(pixel(column, bits, y), image.at(x, y)) << x << ", " << y << ", " << limit;
    }
}

TEST(TifColumns, ColumnsComeOutWhateverTheMemoryForThem) {
    const TempDir dir;
    const std::string name = dir.file("a.tif");
    for (const int bits : {1, 8}) {
        for (const int32_t height : {1, 7, 8, 9, 30}) {
            const Image image = sample_image(43, height, bits);
            Form form;
            form.bits = bits;
            form.rows_per_strip = 4;
            make_tiff(name, form, image);
            for (const int64_t limit :
                 {int64_t{1}, int64_t{9} * height, int64_t{17} * height, ColumnBands::usual_limit})
                expect_columns(name, image, bits, limit);
        }
    }
}

TEST(TifColumns, ARowThatCannotBeReadFailsAllColumns) {
    const TempDir dir;
    const std::string name = dir.file("a.tif");
    Form form;
    form.bits = 8;
    form.compression = COMPRESSION_LZW;
    form.rows_per_strip = 2;
    make_tiff(name, form, sample_image(16, 10, 8));
    const std::unique_ptr<TIFF, Close> tiff(TIFFOpen(name.c_str(), "r"));
    Picture picture;
    ASSERT_EQ(read_picture(tiff.get(), INT64_MAX, &picture), nullptr);
    picture.length = 12; // two rows more than the file has
    Trouble trouble;
    RowBands rows;
    rows.start(tiff.get(), &picture, &trouble);
    ColumnBands columns;
    columns.start(&rows, &picture);
    TIFFSetErrorHandler(nullptr);
    EXPECT_EQ(columns.column(0), nullptr);
    EXPECT_EQ(columns.column(0), nullptr); // and again
}

} // namespace
