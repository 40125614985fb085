// The whole file that is made of a damaged one.
#ifndef VOR_TOOL_SALVAGE_WRITER_H
#define VOR_TOOL_SALVAGE_WRITER_H

#include <cstdint>
#include <string>

#include "file_bytes.h"
#include "lengths.h"
#include "native_layout.h"
#include "salvage_places.h"
#include "salvage_sections.h"

namespace vor::tool {

// What stands in the place of lost tracks.
struct Filling {
    int32_t colour = 255;
    // The nearest track before that was kept, or the first one that was; then `colour` is not used.
    bool neighbour = false;
};

// Makes `target` of what was found in a file: tracks, sections and parameters, in its coding and
// byte order. Nothing is made if that fails: throws a Failure, or Told. The resolution is that of
// the new file afterwards, which the library chooses if it is 0.
void write_salvaged(FileBytes &file, const NativeLayout &layout, const PlacedTracks &placed,
                    const SavedSections &saved, const Filling &filling, const std::string &target,
                    bool quiet, Resolution *resolution);

} // namespace vor::tool

#endif
