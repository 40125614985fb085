// The header of a damaged native file, put right: what the user says comes first, then what the
// header says as far as the tracks bear it out, then what the tracks themselves tell.
#ifndef VOR_TOOL_SALVAGE_HEADER_H
#define VOR_TOOL_SALVAGE_HEADER_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "file_bytes.h"
#include "lengths.h"
#include "native_layout.h"
#include "native_tracks.h"

namespace vor::tool {

// What the user says of the file.
struct HeaderWishes {
    std::optional<uint32_t> tracks;
    std::optional<uint32_t> pixels;
    std::optional<uint32_t> coding; // VT_FW16, VT_FW8 or VT_FW88
    std::optional<bool> deflated;
    std::optional<ByteOrder> order;
    std::optional<Resolution> resolution;
};

// Something that the header did not tell.
struct Guess {
    std::string field;
    std::string value;
    std::string reason;
};

struct MendedHeader {
    NativeLayout layout;
    Resolution resolution; // 0 if nothing tells
    std::vector<Guess> guesses;
};

// Throws a Failure if nothing tells a coding, a number of pixels or a number of tracks, or if the
// header claims more tracks than the file has bytes.
MendedHeader mend_header(FileBytes &file, const HeaderWishes &wishes);

// The layout with a seek table put into it.
NativeLayout with_seek_table(FileBytes &file, const NativeLayout &layout, int64_t offset,
                             bool wide);

// An entry of the seek table that a whole file can have: a place in the file, or a mark of a colour
// that the coding has.
bool is_plausible_entry(const NativeLayout &layout, int64_t entry);

const char *coding_word(uint32_t coding);

} // namespace vor::tool

#endif
