// Stretches of tracks as they are written on the command line, the end exclusive:
//
//   5:8    5:    :8    :    5 (that track alone)
#ifndef VOR_TOOL_TRACK_RANGE_H
#define VOR_TOOL_TRACK_RANGE_H

#include <cstdint>
#include <optional>
#include <string_view>

namespace vor::tool {

// A whole number from 0 below 2^31, nothing if the text is none.
std::optional<int64_t> parse_track(std::string_view text);

struct TrackRange {
    int64_t first = 0;
    std::optional<int64_t> end; // nothing: that of the image
};

// Nothing if the text is none. The end is not before the first; numbers are below 2^31.
std::optional<TrackRange> parse_track_range(std::string_view text);

} // namespace vor::tool

#endif
