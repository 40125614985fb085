#include "track_model.h"

#include <algorithm>

namespace vor::fuzz {
namespace {

// Output pixels that the first `count` of `size` pixels come to when all come to `output`: a half
// is rounded up, and a pixel is placed as a whole before the next.
int64_t output_up_to(int32_t count, int32_t size, int32_t output) {
    const int64_t start = size < 2 ? -1 : -(size / 2);
    const int64_t scaled = int64_t{output} * count + start;
    return (scaled >= 0 ? scaled / size : -((-scaled + size - 1) / size)) + 1;
}

Row stretched(const Row &pixels, int32_t output) {
    const auto size = static_cast<int32_t>(pixels.size());
    Row result;
    for (int32_t i = 0; i < size; ++i) {
        const int64_t end = output_up_to(i + 1, size, output);
        while (static_cast<int64_t>(result.size()) < end)
            result.push_back(pixels[static_cast<size_t>(i)]);
    }
    return result;
}

// Which of `size` tracks each of `output` tracks shows: evenly spread, but beginning with the
// window's first, since a file's seek table is read from there on.
std::vector<int32_t> shown_tracks(int32_t size, int32_t output) {
    std::vector<int32_t> shown;
    int32_t next = 0;
    int32_t last = 0;
    int32_t first = 0;
    int64_t error = size < 2 ? -1 : -(size / 2);
    if (size == output) error = -1; // each shows itself
    for (int32_t i = 0; i < output; ++i) {
        if (error < 0) {
            for (error += output; error < 0; error += output)
                ++next;
            last = next++;
            if (i == 0) first = last;
        }
        shown.push_back(last);
        error -= size;
    }
    for (int32_t &track : shown)
        track -= first;
    return shown;
}

} // namespace

Image looked_at(const Image &image, const View &view) {
    const auto tracks = static_cast<int32_t>(image.size());
    const auto pixels = static_cast<int32_t>(image.front().size());
    Window window = view.window;
    if (view.xmirror) {
        window.xa = tracks - view.window.xe;
        window.xe = tracks - view.window.xa;
    }
    if (view.ymirror) {
        window.ya = pixels - view.window.ye;
        window.ye = pixels - view.window.ya;
    }
    Image result;
    for (const int32_t track : shown_tracks(window.xe - window.xa, view.xsize)) {
        const auto row = (image.begin() + window.xa + track)->begin();
        result.push_back(stretched(Row(row + window.ya, row + window.ye), view.ysize));
        if (view.ymirror) std::reverse(result.back().begin(), result.back().end());
    }
    if (view.xmirror) std::reverse(result.begin(), result.end());
    return result;
}

Runs runs_of(const Row &row) {
    Runs runs;
    for (const uint32_t colour : row) {
        if (!runs.empty() && runs.back().second == colour) {
            ++runs.back().first;
        } else {
            runs.emplace_back(1u, colour);
        }
    }
    return runs;
}

} // namespace vor::fuzz
