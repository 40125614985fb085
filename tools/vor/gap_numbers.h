// Numbers for tracks that were found between two places that are known.
//
// Tracks before the first damage count from the front. If the gap's end is known and nothing else
// than damage can be missing, those behind the last damage count from the end. Otherwise, what is
// known is how many tracks a damaged stretch seems to have held.
#ifndef VOR_TOOL_GAP_NUMBERS_H
#define VOR_TOOL_GAP_NUMBERS_H

#include <cstdint>
#include <span>
#include <vector>

#include "salvage_walk.h"

namespace vor::tool {

struct GapKnowledge {
    int64_t numbers = 0;     // that are to be given out
    bool end_known = false;  // the last number's track ends where the gap ends
    bool marks_lost = false; // some of the numbers may be those of blank tracks
};

// What a stretch gets: numbers from `first` on, counted in the gap.
struct GapShare {
    int64_t first = 0;
    int64_t count = 0;     // 1 or 0 for a good track; 0 if no number was left
    bool doubtful = false; // nothing bears the number out
};

// One share a stretch, in order. What is not given out lies behind the last share.
std::vector<GapShare> share_numbers(std::span<const Stretch> stretches, const GapKnowledge &gap);

} // namespace vor::tool

#endif
