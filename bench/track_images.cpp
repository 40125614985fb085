#include "track_images.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <random>

namespace vor::bench {
namespace {

constexpr double pi = 3.14159265358979;

// Joins pixels to runs.
class RunList {
public:
    void add(uint32_t length, uint32_t colour) {
        if (!runs_.empty() && runs_.back().colour == colour)
            runs_.back().length += length;
        else
            runs_.push_back({length, colour});
    }
    Runs take() { return std::move(runs_); }

private:
    Runs runs_;
};

// The height of the round dot over one cell of the screen, 64 by 64 points of it, as tone.
struct SpotCell {
    SpotCell() {
        std::array<double, 4096> heights;
        for (size_t i = 0; i < 4096; ++i) {
            const double u = static_cast<double>(i % 64) * 2 * pi / 64;
            const double v = static_cast<double>(i >> 6) * 2 * pi / 64;
            heights[i] = std::cos(u) + std::cos(v);
        }
        std::array<double, 4096> sorted = heights;
        std::sort(sorted.begin(), sorted.end());
        for (size_t i = 0; i < 4096; ++i) {
            const auto place = std::lower_bound(sorted.begin(), sorted.end(), heights[i]);
            thresholds[i] = 1 - static_cast<float>(place - sorted.begin()) / 4096;
        }
    }
    std::array<float, 4096> thresholds;
};

Runs halftone_track(int32_t number) {
    static const SpotCell cell;
    constexpr double cell_pixels = 100.0 / 6;
    // Positions in cells, as fractions of 2^32.
    const double unit = 4294967296.0 / cell_pixels;
    const double along = std::cos(15 * pi / 180) * unit, across = std::sin(15 * pi / 180) * unit;
    auto u = static_cast<uint32_t>(static_cast<int64_t>(-across * number));
    auto v = static_cast<uint32_t>(static_cast<int64_t>(along * number));
    const auto du = static_cast<uint32_t>(along), dv = static_cast<uint32_t>(across);
    RunList runs;
    for (int32_t y = 0; y < halftone.pixels;) {
        const double phase = y * (6 * pi / halftone.pixels) + number * 0.002;
        const auto tone = static_cast<float>(0.5 + 0.47 * std::sin(phase));
        for (int32_t i = 0; i < 60; ++i, ++y) {
            const bool dark = cell.thresholds[(v >> 26) * 64 + (u >> 26)] < tone;
            runs.add(1, dark ? 255 : 0);
            u += du;
            v += dv;
        }
    }
    return runs.take();
}

Runs line_work_track(int32_t number) {
    // Shapes begin and end at their own places and lean a little from track to track.
    std::mt19937 engine(static_cast<uint32_t>(number / 200));
    const auto random = [&engine] { return static_cast<uint32_t>(engine()); };
    RunList runs;
    uint32_t colour = 0;
    for (int32_t y = 0; y < line_work.pixels; colour ^= 255) {
        const uint32_t kind = random() % 4;
        const uint32_t base =
            kind == 0 ? 3 + random() % 6 : 20 + random() % (kind == 3 ? 5000 : 700);
        const uint32_t lean = random() % 3 * static_cast<uint32_t>(number % 200) / 8;
        const uint32_t left = static_cast<uint32_t>(line_work.pixels - y);
        const uint32_t length = std::min(base + lean, left);
        runs.add(length, colour);
        y += static_cast<int32_t>(length);
    }
    return runs.take();
}

Runs noise_track(int32_t number) {
    std::minstd_rand random(static_cast<uint32_t>(number + 1));
    RunList runs;
    for (int32_t y = 0; y < noise.pixels;) {
        const double tone = 128 + 80 * std::sin(y * 0.001 + number * 0.01);
        for (int32_t i = 0; i < 50; ++i, ++y) {
            const auto bits = static_cast<uint32_t>(random()) >> 8 & 15;
            runs.add(1, static_cast<uint32_t>(tone + std::popcount(bits) - 2));
        }
    }
    return runs.take();
}

} // namespace

int32_t tracks_to_make(int32_t tracks) {
    return std::getenv("VOR_BENCH_BRIEF") ? 64 : tracks;
}

const TrackImage halftone = {"halftone", 60000, tracks_to_make(4000), true, halftone_track};
const TrackImage line_work = {"line_work", 60000, tracks_to_make(4000), true, line_work_track};
const TrackImage noise = {"noise", 20000, tracks_to_make(2000), false, noise_track};

} // namespace vor::bench
