// Where each track of a damaged file is: which data belongs to which number.
//
// Entries of the seek table that lead to good tracks, in order, are the anchors. Between two
// anchors the data is walked over, and what is found there goes to the numbers there. Without a
// usable table all data lies between the first track's place and the end of the tracks.
#ifndef VOR_TOOL_SALVAGE_PLACES_H
#define VOR_TOOL_SALVAGE_PLACES_H

#include <cstdint>
#include <string>
#include <vector>

#include "file_bytes.h"
#include "native_layout.h"
#include "native_tracks.h"

namespace vor::tool {

enum class LossKind : uint8_t {
    damaged, // the data does not decode
    astray,  // the seek table's entry is wrong, and no data is left for the track
    cut_off, // the file ends before
    missing  // nothing is left of it
};

// Tracks that are lost for one cause, all numbers from first to last.
struct Loss {
    int32_t first = 0;
    int32_t last = 0;
    LossKind kind = LossKind::missing;
    TrackFault fault = TrackFault::none; // of damaged data
    int64_t offset = 0;                  // of the first one's data, its entry, or the file's end
};

struct TrackSpan {
    int32_t first = 0;
    int32_t last = 0;
};

inline constexpr int64_t lost_track = 0;

struct PlacedTracks {
    // For each track the place of its data, a mark as in a seek table, or lost_track.
    std::vector<int64_t> places;
    std::vector<Loss> losses;        // in order
    std::vector<TrackSpan> doubtful; // kept, but under numbers that nothing bears out; in order
    int64_t kept = 0;
    int64_t left_over = 0; // good tracks for which no number was left
    enum class SeekTable { none, whole, mended, found, rebuilt } table = SeekTable::none;
    int64_t table_offset = 0;  // of a table that was found by what it holds
    int64_t wrong_entries = 0; // of a mended one
    ByteRange data;            // from the first to behind the last track that was kept
};

// `limits`: offsets, in order, where sections begin that are known to be whole; no track reaches
// across one. `quiet`: no progress.
PlacedTracks place_tracks(FileBytes &file, const NativeLayout &layout,
                          const std::vector<int64_t> &limits, bool quiet);

// Where a track's data ends at the latest.
int64_t limit_behind(const std::vector<int64_t> &limits, int64_t offset, int64_t file_bytes);

} // namespace vor::tool

#endif
