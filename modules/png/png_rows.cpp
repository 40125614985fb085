#include "png/png_rows.h"

#include <algorithm>
#include <cstdio>

namespace vor::png {
namespace {

// Rows for a step: `skip` of them are passed, `count` stored.
struct Order {
    const Picture *picture;
    uint8_t *to;
    int32_t skip;
    int32_t count;
    bool last; // the stream ends behind them
};

// Lets libpng turn every kind of pixel into gray, with a byte of transparency if there is any.
void prepare_rows(png_struct *png, png_info *info, const Picture *picture) {
    if (picture->bits == 8) {
        png_set_expand(png);
        png_set_scale_16(png);
        if ((png_get_color_type(png, info) & PNG_COLOR_MASK_COLOR) != 0) {
            constexpr png_fixed_point usual_weights = -1;
            png_set_rgb_to_gray_fixed(png, PNG_ERROR_ACTION_NONE, usual_weights, usual_weights);
        }
    }
    png_set_interlace_handling(png);
    png_set_benign_errors(png, 0); // what is wrong with pixels is not passed over
    png_read_update_info(png, info);
    if (png_get_rowbytes(png, info) != static_cast<size_t>(picture->stride)) {
        png_error(png, "rows of an odd size");
    }
}

void decode_rows(png_struct *png, png_info *, const Order *order) {
    for (int32_t i = 0; i < order->skip; ++i)
        png_read_row(png, nullptr, nullptr);
    const int passes = order->picture->interlaced ? PNG_INTERLACE_ADAM7_PASSES : 1;
    for (int pass = 0; pass < passes; ++pass) {
        uint8_t *to = order->to;
        for (int32_t i = 0; i < order->count; ++i, to += order->picture->stride)
            png_read_row(png, to, nullptr);
    }
    if (order->last) png_read_end(png, nullptr);
}

} // namespace

void RowBands::start(PngStream *stream, const Picture *picture, int64_t limit) {
    stream_ = stream;
    picture_ = picture;
    const int64_t fitting = std::max<int64_t>(limit / picture->stride, 1);
    band_rows_ = picture->interlaced
                     ? picture->height
                     : static_cast<int32_t>(std::min<int64_t>(fitting, picture->height));
    next_ = 0;
}

const uint8_t *RowBands::row(int32_t number) {
    if (number < first_ || number - first_ >= rows_) {
        if (number >= damaged_) return nullptr;
        const int32_t first = number - number % band_rows_;
        const int32_t count = std::min(band_rows_, picture_->height - first);
        rows_ = 0;
        if (!load(first, count)) return nullptr;
        first_ = first;
        rows_ = count;
    }
    return row_start(number - first_);
}

bool RowBands::load(int32_t first, int32_t count) {
    band_.resize(static_cast<size_t>(picture_->rows_bytes(count)));
    if (!go_to(first) || !decode(first, count)) {
        std::snprintf(reason_, sizeof reason_, "%s", stream_->reason());
        damaged_ = first;
        next_ = -1;
        return false;
    }
    if (picture_->transparent) lay_on_white(count);
    return true;
}

// Brings the stream to where `first` still lies ahead.
bool RowBands::go_to(int32_t first) {
    if (next_ < 0 || next_ > first) {
        stream_->be_quiet();
        prepared_ = false;
        next_ = 0;
        if (!stream_->open_reading()) return false;
    }
    if (!prepared_ && !stream_->run(prepare_rows, picture_)) return false;
    prepared_ = true;
    return true;
}

bool RowBands::decode(int32_t first, int32_t count) {
    const int32_t end = first + count;
    const bool last = end == picture_->height;
    const Order order = {picture_, band_.data(), first - next_, count, last};
    next_ = last ? -1 : end;
    return stream_->run(decode_rows, &order);
}

// A pixel and its opacity become the pixel alone, in place.
void RowBands::lay_on_white(int32_t count) {
    for (int32_t i = 0; i < count; ++i) {
        uint8_t *row = row_start(i);
        for (int64_t x = 0; x < picture_->width; ++x) {
            const unsigned gray = row[2 * x];
            const unsigned opacity = row[2 * x + 1];
            row[x] = static_cast<uint8_t>((gray * opacity + 255 * (255 - opacity) + 127) / 255);
        }
    }
}

} // namespace vor::png
