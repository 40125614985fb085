// What a reader is to make of an image: the plain meaning, pixel by pixel, of clip, scale and
// mirror.
#ifndef VOR_FUZZ_TRACK_MODEL_H
#define VOR_FUZZ_TRACK_MODEL_H

#include <cstdint>
#include <utility>
#include <vector>

namespace vor::fuzz {

using Row = std::vector<uint32_t>;                       // the colour of each pixel of a track
using Image = std::vector<Row>;                          // tracks of one length
using Runs = std::vector<std::pair<uint32_t, uint32_t>>; // length and colour

// Tracks xa to xe and pixels ya to ye, the ends not included.
struct Window {
    int32_t xa, ya, xe, ye;
};

// How an image is looked at. The window counts as the output is oriented.
struct View {
    Window window;
    int32_t xsize, ysize; // of the output
    bool xmirror, ymirror;
};

// The output tracks of a view.
Image looked_at(const Image &image, const View &view);

// The runs of a row, each as long as it can be.
Runs runs_of(const Row &row);

} // namespace vor::fuzz

#endif
