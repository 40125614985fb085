// The rows of tracks for `vor explain`.
#ifndef VOR_TOOL_EXPLAIN_TRACKS_H
#define VOR_TOOL_EXPLAIN_TRACKS_H

#include <cstdint>

#include "explain_rows.h"
#include "native_tracks.h"
#include "track_places.h"

namespace vor::tool {

class TrackExplainer {
public:
    TrackExplainer(RowWriter *writer, bool quiet);

    // A part for the track, with as many of its codes. In a file without a seek table, best in
    // ascending order. False if neither this track nor any behind it can be found.
    bool explain(int64_t number, RowAmount amount);

    // The row that lies around an offset behind the header and outside of all sections; none if
    // that is behind the tracks.
    void explain_around(int64_t offset);

private:
    int64_t explain_data(int64_t number, int64_t offset, RowAmount amount);
    void add_codes(int64_t offset, int64_t limit, RowAmount amount, const DecodedTrack &track);
    void tell_fault(const DecodedTrack &track, int64_t limit);

    RowWriter *writer_;
    TrackPlaces places_;
    TrackShape shape_;
    TrackDecoder decoder_;
    ToldRanges told_;
};

} // namespace vor::tool

#endif
