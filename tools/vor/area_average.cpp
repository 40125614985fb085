#include "area_average.h"

#include <algorithm>
#include <cmath>

namespace vor::tool {
namespace {

constexpr double largest_side = 1000000; // pixels of an output side, as libpng has it

int32_t side(double pixels) {
    return static_cast<int32_t>(std::clamp(std::round(pixels), 1.0, largest_side));
}

} // namespace

AreaAverage::AreaAverage(ImageSize source, ImageSize target, RowSink sink)
    : source_(source), target_(target), sink_(std::move(sink)),
      row_(static_cast<size_t>(target.width)), sums_(row_.size()), out_(row_.size()) {}

void AreaAverage::add_row(std::span<const lfrun> runs) {
    std::fill(row_.begin(), row_.end(), 0);
    int64_t pixel = 0;
    for (const lfrun &run : runs) {
        const int64_t end = std::min<int64_t>(pixel + run.length, source_.width);
        const uint32_t value = std::min<uint32_t>(run.colour, 255);
        if (value != 0) sum_run(pixel * target_.width, end * target_.width, value);
        pixel = end;
    }
    spread_row();
}

// Adds a run, in units, to the output pixels that it touches.
void AreaAverage::sum_run(int64_t from, int64_t to, uint32_t value) {
    const int64_t unit = source_.width;
    auto pixel = static_cast<size_t>(from / unit);
    while (from < to) {
        const int64_t border = std::min(to, static_cast<int64_t>(pixel + 1) * unit);
        row_[pixel] += static_cast<uint64_t>(border - from) * value;
        from = border;
        ++pixel;
    }
}

// Gives the row to the output rows that it lies in.
void AreaAverage::spread_row() {
    const int64_t unit = source_.height;
    int64_t left = target_.height;
    while (left > 0 && emitted_ < target_.height) {
        const int64_t border = (int64_t{emitted_} + 1) * unit;
        const int64_t part = std::min(left, border - position_);
        weigh_row(static_cast<double>(part));
        position_ += part;
        left -= part;
        if (position_ == border) emit_row();
    }
}

void AreaAverage::weigh_row(double weight) {
    for (size_t i = 0; i < row_.size(); ++i)
        sums_[i] += weight * static_cast<double>(row_[i]);
}

void AreaAverage::emit_row() {
    const double area = static_cast<double>(source_.width) * static_cast<double>(source_.height);
    for (size_t i = 0; i < sums_.size(); ++i)
        out_[i] = static_cast<uint8_t>(std::clamp(sums_[i] / area + 0.5, 0.0, 255.0));
    std::fill(sums_.begin(), sums_.end(), 0.0);
    sink_(out_.data());
    ++emitted_;
}

ImageSize reduced_size(ImageSize source, double pixel_width, double pixel_height, int32_t wanted,
                       bool enlarge) {
    const double shape = (source.height * pixel_height) / (source.width * pixel_width);
    double width = wanted;
    if (!enlarge) {
        width = std::min({width, double{1} * source.width, source.height / shape});
    }
    return {side(width), side(width * shape)};
}

} // namespace vor::tool
