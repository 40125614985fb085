// A seek table looked for by what it holds, where the header does not lead to it.
#ifndef VOR_TOOL_SEEK_TABLE_SEARCH_H
#define VOR_TOOL_SEEK_TABLE_SEARCH_H

#include <cstdint>
#include <optional>
#include <vector>

#include "file_bytes.h"
#include "native_layout.h"

namespace vor::tool {

struct FoundSeekTable {
    int64_t offset = 0;
    bool wide = false; // entries of 64 bits
};

// Looks from an offset on for one entry a track of the layout: marks and ascending places, with the
// first or the last of `starts` among them, which are places of tracks. Of several such tables,
// the one with the most of them.
std::optional<FoundSeekTable> find_seek_table(FileBytes &file, const NativeLayout &layout,
                                              const std::vector<int64_t> &starts, int64_t from);

} // namespace vor::tool

#endif
