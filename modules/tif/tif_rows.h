/* The rows of a picture as they lie in the file, decoded a band at a time.
 *
 * A band is a row of tiles, or a strip. A strip of more than a few megabytes is cut into several
 * bands: a coded strip can only be decoded from its start, so that reading forward decodes it once,
 * and reading backward once for each band.
 */
#ifndef VOR_TIF_TIF_ROWS_H
#define VOR_TIF_TIF_ROWS_H

#include <cstdint>
#include <vector>

#include <tiffio.h>

#include "tif/tif_picture.h"

namespace vor::tif {

struct Trouble;

class RowBands {
public:
    static constexpr int64_t usual_limit = int64_t{16} << 20;

    // All must outlive the object. A band of strips takes `limit` bytes, or one row if that is
    // more.
    void start(TIFF *tiff, const Picture *picture, Trouble *trouble, int64_t limit = usual_limit);

    // The bytes of a row, until the next call; null when it cannot be decoded, with the reason in
    // the trouble.
    const uint8_t *row(int32_t number);

private:
    bool load(int32_t first, int32_t rows);
    bool load_tiles(int32_t first, int32_t rows);
    bool load_strip(int32_t first, int32_t rows);
    bool load_lines(int32_t first, int32_t rows);
    bool read_lines(uint8_t *to, int32_t count, size_t step);

    TIFF *tiff_ = nullptr;
    const Picture *picture_ = nullptr;
    Trouble *trouble_ = nullptr;
    size_t row_size_ = 0;
    int32_t block_rows_ = 0; // of a strip or of a row of tiles
    int32_t band_rows_ = 0;
    std::vector<uint8_t> band_;
    std::vector<uint8_t> tile_; // a tile, or a row that is only passed
    int32_t first_ = 0;         // rows that the band holds
    int32_t rows_ = 0;
    int64_t next_line_ = -1; // the row that libtiff would decode next, -1 for none
};

} // namespace vor::tif

#endif
