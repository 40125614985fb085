// Two lists of runs held against each other, pixel by pixel in meaning, run by run in work.
#ifndef VOR_TOOL_RUN_COMPARISON_H
#define VOR_TOOL_RUN_COMPARISON_H

#include <cstdint>
#include <optional>
#include <span>

#include "trackfile/lf.h"

namespace vor::tool {

struct PixelDifference {
    int64_t pixel = 0; // from 0
    uint32_t first = 0;
    uint32_t second = 0;
};

struct RunDifferences {
    int64_t pixels = 0;                     // whose codes differ by more than the tolerance
    int64_t tolerated = 0;                  // whose codes differ by less, or by just as much
    uint32_t largest = 0;                   // difference of two codes, tolerated or not
    std::optional<PixelDifference> leading; // of `pixels`
};

// Compares the first `length` pixels, or as many as both lists have. How a list cuts its pixels
// into runs makes no difference, and neither do runs without length.
RunDifferences compare_runs(std::span<const lfrun> a, std::span<const lfrun> b, int64_t length,
                            uint32_t tolerance);

} // namespace vor::tool

#endif
