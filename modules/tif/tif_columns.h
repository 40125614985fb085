/* The columns of a picture, for files whose rows are columns to the eye.
 *
 * All rows must be decoded for one column, so many columns are gathered in one pass through the
 * file, as many as a fixed amount of memory holds.
 */
#ifndef VOR_TIF_TIF_COLUMNS_H
#define VOR_TIF_TIF_COLUMNS_H

#include <cstdint>
#include <vector>

#include "tif/tif_rows.h"

namespace vor::tif {

class ColumnBands {
public:
    static constexpr int64_t usual_limit = int64_t{64} << 20;

    // Both must outlive the object. A band takes about `limit` bytes, or 8 columns if that is more.
    void start(RowBands *rows, const Picture *picture, int64_t limit = usual_limit);

    // The bytes of a column, packed like a row, until the next call; null when the rows cannot be
    // decoded.
    const uint8_t *column(int32_t number);

private:
    bool load(int32_t first);
    bool gather_bytes(int32_t row, int32_t count);
    bool gather_bits(int32_t row, int32_t count);
    uint8_t *column_start(int32_t index) {
        return band_.data() + column_size_ * static_cast<size_t>(index);
    }

    RowBands *rows_ = nullptr;
    const Picture *picture_ = nullptr;
    size_t column_size_ = 0;
    int32_t band_columns_ = 0; // a multiple of 8
    std::vector<uint8_t> band_;
    std::vector<uint8_t> block_; // 8 rows of the band's columns
    int32_t first_ = 0;
    int32_t columns_ = 0; // that the band holds
};

} // namespace vor::tif

#endif
