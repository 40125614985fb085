#include "tif/tif_columns.h"

#include <algorithm>
#include <cstring>

#include "tif/tif_bits.h"

namespace vor::tif {

void ColumnBands::start(RowBands *rows, const Picture *picture, int64_t limit) {
    rows_ = rows;
    picture_ = picture;
    const int64_t size = row_bytes(picture->length, picture->bits);
    column_size_ = static_cast<size_t>(size);
    const int64_t wanted = std::min<int64_t>(limit / size, picture->width);
    band_columns_ = static_cast<int32_t>((std::max<int64_t>(wanted, 1) + 7) / 8 * 8);
}

const uint8_t *ColumnBands::column(int32_t number) {
    if (number < first_ || number - first_ >= columns_) {
        const int32_t first = number - number % band_columns_;
        columns_ = 0;
        if (!load(first)) return nullptr;
    }
    return column_start(number - first_);
}

// Takes the rows 8 at a time, since 8 of them make a byte of a 1-bit column.
bool ColumnBands::load(int32_t first) {
    const int32_t columns = std::min(band_columns_, picture_->width - first);
    band_.resize(column_size_ * static_cast<size_t>((columns + 7) / 8 * 8));
    first_ = first;
    columns_ = columns;
    for (int32_t row = 0; row < picture_->length; row += 8) {
        const int32_t count = std::min(8, picture_->length - row);
        if (!(picture_->bits == 1 ? gather_bits(row, count) : gather_bytes(row, count))) {
            columns_ = 0;
            return false;
        }
    }
    return true;
}

bool ColumnBands::gather_bytes(int32_t row, int32_t count) {
    for (int32_t i = 0; i < count; ++i) {
        const uint8_t *pixels = rows_->row(row + i);
        if (!pixels) return false;
        uint8_t *to = band_.data() + row + i;
        for (int32_t c = 0; c < columns_; ++c, to += column_size_)
            *to = pixels[first_ + c];
    }
    return true;
}

bool ColumnBands::gather_bits(int32_t row, int32_t count) {
    const auto width = static_cast<size_t>((columns_ + 7) / 8);
    block_.assign(width * 8, 0);
    for (int32_t i = 0; i < count; ++i) {
        const uint8_t *pixels = rows_->row(row + i);
        if (!pixels) return false;
        std::memcpy(block_.data() + width * static_cast<size_t>(i), pixels + first_ / 8, width);
    }
    for (size_t x = 0; x < width; ++x) {
        uint8_t square[8];
        for (size_t i = 0; i < 8; ++i)
            square[i] = block_[width * i + x];
        transpose_block(square);
        uint8_t *to = column_start(static_cast<int32_t>(x * 8)) + row / 8;
        for (size_t i = 0; i < 8; ++i)
            to[i * column_size_] = square[i];
    }
    return true;
}

} // namespace vor::tif
