// Where the tracks of a native file begin: by its seek table, or, without one, by a walk over the
// tracks in front.
#ifndef VOR_TOOL_TRACK_PLACES_H
#define VOR_TOOL_TRACK_PLACES_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "native_layout.h"
#include "native_tracks.h"
#include "progress.h"

namespace vor::tool {

struct TrackPlace {
    enum class Kind {
        data,
        blank,
        unknown,
        end // so are those of all tracks behind it
    };
    Kind kind = Kind::unknown;
    int64_t offset = 0; // of the data; otherwise of what tells that there is none
    int32_t colour = 0; // of a blank track
    std::string why;    // there is no knowing the place
};

// What an offset lies in: a track, or the bytes between the end of one and the next place known.
struct TrackAround {
    std::optional<int64_t> track; // the last that begins at the offset or before it
    int64_t begin = 0;            // of that track's data
    int64_t next = 0;      // the first place behind the offset where a track is known to begin
    bool all_known = true; // of every track it is known where it begins
};

class TrackPlaces {
public:
    TrackPlaces(FileBytes &file, const NativeLayout &layout, bool quiet);

    // Without a table, cheap for tracks that are asked for in ascending order.
    TrackPlace find(int64_t track);
    TrackAround around(int64_t offset);

private:
    TrackPlace by_table(int64_t track) const;
    bool step();
    void walk_to(int64_t offset, TrackAround *around);
    void search_table(int64_t offset, TrackAround *around) const;

    FileBytes &file_;
    const NativeLayout &layout_;
    const NativeSection *table_; // null: walk
    TrackDecoder decoder_;
    Progress progress_;
    int64_t walked_ = 0; // the track that begins at `place_`
    int64_t place_;
    bool lost_ = false; // that track has no end
};

// The stretches of a file that have been told, so that tracks that share their data, as those of a
// hostile file may by the thousand, are told once.
class ToldRanges {
public:
    bool holds(int64_t offset) const;
    // Where the next stretch behind an offset begins; the largest number if there is none.
    int64_t next(int64_t offset) const;
    void add(int64_t begin, int64_t end);

private:
    std::map<int64_t, int64_t> ranges_; // begin, end; neighbours are joined
};

} // namespace vor::tool

#endif
