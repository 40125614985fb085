// The checker's decoders: they count what the tracks of a native file hold, straight from the bytes
// of the file and without building runs.
#ifndef VOR_VOR_CHECKER_WALK_H
#define VOR_VOR_CHECKER_WALK_H

#include <cstddef>
#include <cstdint>

#include "vor/vor.h"

namespace vor {

// A track format of files that no codec reads: 16-bit codes with 5 bits of length and 11 of colour.
// Only the checker knows it. Its files always have a track table.
constexpr uint32_t vt_fw511 = 4;

// A stretch of the file, held in memory.
struct TrackBytes {
    static constexpr size_t room = 16384;
    static constexpr size_t slack = 32; // bytes that may be read behind the last valid one

    int32_t fd;
    bool failed;         // a read or seek gave an error
    int64_t endpos;      // file offset of `end`, and of the descriptor; -1 before the first go_to
    const uint8_t *next; // next byte to decode
    const uint8_t *end;  // behind the last valid byte
    uint8_t bytes[room + slack];
};

// Pixels per colour. The codes that byte pairs bring are spread over four tables by their place:
// a count that was just changed is not ready to be changed again.
struct ColourCounts {
    static constexpr size_t ways = 4;

    uint64_t pixels[CKV_COLORS];
    uint64_t pairs[ways][256];

    uint64_t total(uint32_t colour) const;
};

struct TrackCount {
    uint64_t codes; // the one that ends the track included
    uint64_t pixels;
};

void start_bytes(TrackBytes *in, int32_t fd);

// Goes to a file offset, without a system call if its byte is in memory. False if that fails.
bool go_to(TrackBytes *in, int64_t offset);

// Counts up to `count` codes, as far as the first zero code, and gives their number. Bytes behind
// them may be read.
using add_codes_fn = size_t (*)(const uint8_t *from, size_t count, ColourCounts *colours,
                                uint64_t *pixels);

struct TrackDecoder {
    size_t code_bytes;
    add_codes_fn add; // NULL: vt_fw511
    bool swapped;
};

// The decoder of a track format, VT_FW16 to vt_fw511.
TrackDecoder find_decoder(uint32_t format, bool swapped);

// Counts the track at the position and goes behind it. False if the file ends before the track.
bool count_track(const TrackDecoder &decoder, TrackBytes *in, ColourCounts *colours,
                 TrackCount *track);

} // namespace vor

#endif
