/* The rows of a picture, decoded a band of some megabytes at a time.
 *
 * A PNG is one stream, which can only be decoded from its start: reading forward decodes it once,
 * reading backward once for each band. An interlaced picture is one band.
 *
 * A band counts only as a whole, and the last one only with the checks at the end of the stream: no
 * row is given out of a band that turns out to be damaged. Behind such a band nothing is read.
 */
#ifndef VOR_PNG_PNG_ROWS_H
#define VOR_PNG_PNG_ROWS_H

#include <cstdint>
#include <vector>

#include "png/png_picture.h"
#include "png/png_stream.h"

namespace vor::png {

class RowBands {
public:
    static constexpr int64_t usual_limit = int64_t{16} << 20;

    // Both must outlive the object; the stream has just been opened. A band takes `limit` bytes, or
    // one row if that is more.
    void start(PngStream *stream, const Picture *picture, int64_t limit = usual_limit);

    // The pixels of a row, of 1 or 8 bits, until the next call; null when it cannot be decoded.
    const uint8_t *row(int32_t number);

    // Why not, or null.
    const char *reason() const { return reason_[0] != '\0' ? reason_ : nullptr; }

private:
    bool load(int32_t first, int32_t count);
    bool go_to(int32_t first);
    bool decode(int32_t first, int32_t count);
    void lay_on_white(int32_t count);
    uint8_t *row_start(int32_t index) {
        return band_.data() + static_cast<size_t>(picture_->rows_bytes(index));
    }

    PngStream *stream_ = nullptr;
    const Picture *picture_ = nullptr;
    int32_t band_rows_ = 0;
    std::vector<uint8_t> band_;
    int32_t first_ = 0; // rows that the band holds
    int32_t rows_ = 0;
    int32_t next_ = -1;           // the row that libpng would decode next, -1 for none
    bool prepared_ = false;       // the stream is ready to give rows
    int32_t damaged_ = INT32_MAX; // nothing is read from this row on
    char reason_[128] = "";
};

} // namespace vor::png

#endif
