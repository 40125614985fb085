// The parts of a deep check, each of which looks at one side of a native file. They share what they
// look at and what they write down.
#ifndef VOR_TOOL_DEEP_PARTS_H
#define VOR_TOOL_DEEP_PARTS_H

#include <bitset>
#include <cstdint>
#include <optional>
#include <string>

#include "file_bytes.h"
#include "finding.h"
#include "native_layout.h"
#include "protection.h"

namespace vor::tool {

struct DeepCheck {
    FileBytes &file;
    const NativeLayout &layout;
    FindingList &findings;
    Protection &protection;
    bool quiet = false; // no progress
};

// What the walk over the tracks has shown.
struct TrackFacts {
    bool all_good = false;           // every track of the header was found, and is good
    int64_t coded = 0;               // tracks that have data
    int64_t longest = 0;             // codes of the longest good track
    std::optional<int64_t> data_end; // behind the last track, where that is known
    std::bitset<LF_NCOLORS> used;    // colour codes of the good tracks
};

// deep_tracks.cpp: the seek table, and every track.
TrackFacts check_tracks(const DeepCheck &check);

// deep_header.cpp: what the header says by itself, and about the tracks.
void check_header(const NativeLayout &layout, const TrackFacts &facts, FindingList *findings);

// deep_places.cpp: where the sections lie, and what lies between them.
void check_places(const NativeLayout &layout, const TrackFacts &facts, FindingList *findings);

// deep_tables.cpp: what the stop table, the colour tables and the colour info hold.
void check_stops(const DeepCheck &check);
void check_colours(const DeepCheck &check, const TrackFacts &facts);

// deep_tags.cpp: the tag list.
void check_tags(const DeepCheck &check);

// deep_trial.cpp: counts the bytes of the header whose every bit is missed. The file has no fault.
void count_header(const DeepCheck &check, const TrackFacts &facts);

} // namespace vor::tool

#endif
