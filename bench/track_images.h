// The images that are measured on, track by track as run lists.
#ifndef VOR_BENCH_TRACK_IMAGES_H
#define VOR_BENCH_TRACK_IMAGES_H

#include <cstdint>
#include <vector>

#include "trackfile/lf.h"

namespace vor::bench {

using Runs = std::vector<lfrun>;

// An image of `tracks` tracks of `pixels` pixels; colours are 0 and 255, or all of 0 to 255.
struct TrackImage {
    const char *name;
    int32_t pixels;
    int32_t tracks;
    bool two_levels;
    Runs (*track)(int32_t number);
};

// A round-dot screen of 60 lines a centimetre at 15 degrees, on a cylinder of 100 pixels a
// millimetre; the tone swings between 3 and 97 percent.
extern const TrackImage halftone;
// Drawn lines and areas: some tens of runs a track, from hairlines to long stretches.
extern const TrackImage line_work;
// Continuous tone with the grain of a scan, one level in the mean: three of four neighbours differ.
extern const TrackImage noise;

// The number of tracks of an image; only a few if VOR_BENCH_BRIEF is in the environment, where it
// is enough to see that all runs.
int32_t tracks_to_make(int32_t tracks);

} // namespace vor::bench

#endif
