// What of a damaged native file's sections can be taken over into a new file.
#ifndef VOR_TOOL_SALVAGE_SECTIONS_H
#define VOR_TOOL_SALVAGE_SECTIONS_H

#include <cstdint>
#include <string>
#include <vector>

#include "file_bytes.h"
#include "native_layout.h"
#include "trackfile/lf.h"

namespace vor::tool {

struct SectionFate {
    std::string name;
    int64_t kept = 0; // entries
    int64_t entries = 0;
    std::string fault;        // why not all of it; empty for a whole one
    int64_t fault_offset = 0; // in the file

    bool whole() const { return fault.empty(); }
};

struct SavedSections {
    std::vector<uint32_t> stops;
    std::vector<TagRecord> tags;
    int64_t colour_tables = 0;
    std::vector<SectionFate> fates; // stop table, colour tables, tags, as far as there are any
    std::vector<int64_t> limits;    // where whole ones begin that prove themselves, ascending
};

// Looks at stop table and tags, which prove themselves by what they hold.
SavedSections save_sections(FileBytes &file, const NativeLayout &layout);

// Colour tables prove nothing: they are kept if they lie in the file, nothing else is there, and
// the one in force has colours below CKV_COLORS. `data` are the bytes of the tracks.
void save_colour_tables(FileBytes &file, const NativeLayout &layout, const ByteRange &data,
                        SavedSections *saved);

// Puts them, and the header's parameters, into a handle that writes and has passed lfcheck. False
// if the library refuses a part, which has been reported. The colour table in force is the identity
// afterwards.
bool write_sections(FileBytes &file, const NativeLayout &layout, const SavedSections &saved,
                    xvor_t *out);

} // namespace vor::tool

#endif
