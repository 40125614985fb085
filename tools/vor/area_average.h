// Reduction of an image by exact area averages: each output pixel is the mean of the source pixels
// that it covers, those on its border counting for the part that lies inside. So a screened
// two-level image comes out as the grays that it stands for.
//
// With W source pixels in a row and w output pixels, let a source pixel be w units wide and an
// output pixel W; all borders are then whole numbers. The same goes for the rows.
#ifndef VOR_TOOL_AREA_AVERAGE_H
#define VOR_TOOL_AREA_AVERAGE_H

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "trackfile/lf.h"

namespace vor::tool {

struct ImageSize {
    int32_t width = 0;
    int32_t height = 0;
};

class AreaAverage {
public:
    using RowSink = std::function<void(const uint8_t *row)>;

    // `target` is not empty. Output rows go to `sink` as they are complete, top row first.
    AreaAverage(ImageSize source, ImageSize target, RowSink sink);

    // The next row of the source: runs of gray values 0 to 255.
    void add_row(std::span<const lfrun> runs);
    // The row before, once more.
    void repeat_row() { spread_row(); }

private:
    void sum_run(int64_t from, int64_t to, uint32_t value);
    void spread_row();
    void weigh_row(double weight);
    void emit_row();

    ImageSize source_;
    ImageSize target_;
    RowSink sink_;
    std::vector<uint64_t>
        row_;                  // of the row at hand, the value of each output pixel times its units
    std::vector<double> sums_; // of the output row at hand, over the source rows
    std::vector<uint8_t> out_;
    int64_t position_ = 0; // units down the image: where the next source row begins
    int32_t emitted_ = 0;
};

// The size for a picture of `source` pixels, each `pixel_width` by `pixel_height` in size, reduced
// to the width `wanted`. The shape is kept. Unless `enlarge`, neither side gets more pixels than
// the source has.
ImageSize reduced_size(ImageSize source, double pixel_width, double pixel_height, int32_t wanted,
                       bool enlarge);

} // namespace vor::tool

#endif
