// What two files keep beside their tracks, held against each other: stops, tags, parameters and
// colour tables. Other formats than the native one have none of it.
#ifndef VOR_TOOL_BESIDE_TRACKS_H
#define VOR_TOOL_BESIDE_TRACKS_H

#include <functional>
#include <optional>
#include <string>

#include "trackfile/lf.h"

namespace vor::tool {

struct BesideDifference {
    const char *kind = "";            // "stop", "tag", "parameter", "colour tables", "colour table"
    std::string name;                 // a track, a name or an index; empty for "colour tables"
    std::optional<std::string> first; // what one file has, nothing if it has none
    std::optional<std::string> second; // what the other has
};

// Of a handle that has passed lfcheck; throws a Failure for bad tags.
void require_tags(xvor_t *h);

// Tells each difference between two handles that have passed require_tags, as they stand in the
// files. The colour tables in force are others afterwards.
void compare_beside_tracks(xvor_t *a, xvor_t *b,
                           const std::function<void(const BesideDifference &)> &tell);

} // namespace vor::tool

#endif
