// Entries of a seek table that can be trusted although others cannot.
#ifndef VOR_TOOL_TRACK_ANCHORS_H
#define VOR_TOOL_TRACK_ANCHORS_H

#include <cstdint>
#include <vector>

#include "native_tracks.h"

namespace vor::tool {

// A seek table, and where its entries lead.
struct TrackEntries {
    std::vector<int64_t> entries;   // 0 for one that cannot be
    std::vector<int64_t> ends;      // behind a good track; 0 for any other
    std::vector<TrackFault> faults; // of a track that is not good
    int64_t looked = 0;             // bytes that were decoded
};

// Tracks whose entries lead to good data in the order of the numbers, ascending. The longest row of
// those that begin where the track before ends, or end where the next begins, comes first; others
// join it where they fit in. `limits` are offsets where tracks end for certain.
std::vector<int32_t> find_anchors(const TrackEntries &table, const std::vector<int64_t> &limits,
                                  int64_t file_bytes);

} // namespace vor::tool

#endif
