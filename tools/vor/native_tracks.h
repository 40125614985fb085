// The data of one track, decoded with an eye to what is wrong with it and where.
//
// Plain data is a string of codes that ends with a zero code; deflated data is a zlib stream of
// such a string: two bytes of head, deflate data, and an Adler-32 of four bytes. The stream is
// taken apart here, so that its parts have offsets and a wrong checksum is told from broken data.
#ifndef VOR_TOOL_NATIVE_TRACKS_H
#define VOR_TOOL_NATIVE_TRACKS_H

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "file_bytes.h"
#include "native_layout.h"

namespace vor::tool {

// What is to be known of a file to decode its tracks.
struct TrackShape {
    uint32_t coding = VT_FW16; // VT_FW16, VT_FW8 or VT_FW88
    bool deflated = false;
    ByteOrder order = ByteOrder::little;
    uint32_t pixels = 0;
};

TrackShape shape_of(const NativeLayout &layout);

inline int32_t code_bytes(uint32_t coding) {
    return coding == VT_FW8 ? 1 : 2;
}
inline int32_t longest_code(uint32_t coding) {
    return coding == VT_FW16 ? 32767 : coding == VT_FW8 ? 127 : 255;
}

struct TrackCode {
    int32_t length = 0; // 0: the track's end
    int32_t colour = 0; // 0 to 255; in two colours, 0 for bit 0 and 255 for bit 1
    int64_t offset = 0; // in the file; of a deflated track, in what comes out of its stream
};

enum class TrackFault {
    none,
    too_few_pixels,  // a zero code before `pixels`. found, expected: pixels
    too_many_pixels, // found: the sum of all lengths, expected: pixels
    data_ends,       // plain: the limit comes inside the track. found: pixels so far
    stream_head,     // the two bytes are no head of a stream; see words
    stream_broken,   // deflate data that cannot be; see words
    stream_ends,     // the limit comes inside the stream
    stream_checksum, // found: the Adler-32 that stands there, expected: that of the data
    stream_short,    // the stream ends before the zero code. found: pixels so far
    stream_long      // bytes follow the zero code in the stream. found: how many, expected: 0
};

struct DecodedTrack {
    int64_t offset = 0;
    int64_t bytes = 0;    // of the file that were used, up to the end if `ended`
    bool ended = false;   // the zero code or the stream's end was found, so `bytes` is the size
    int64_t pixels = 0;   // sum of the lengths up to the zero code
    int64_t codes = 0;    // with the zero code
    int64_t longest = 0;  // length of the longest code
    int64_t unpacked = 0; // bytes that came out of the stream

    // The first fault. A track is walked on behind a fault where that leads to its end.
    TrackFault fault = TrackFault::none;
    int64_t fault_offset = 0; // in the file; for pixels in a stream, the stream's begin
    int64_t fault_code = -1;  // the number of the code, where it is one
    int64_t found = 0;
    int64_t expected = 0;
    std::string words; // zlib's about a stream

    // Of a deflated track whose stream has ended.
    int64_t data_bytes = 0; // between head and checksum
    int32_t padding = 0;    // what the unused bits of their last byte hold; zlib writes zeros
    uint32_t adler_found = 0;
    uint32_t adler_expected = 0;

    bool good() const { return fault == TrackFault::none; }
    int64_t end() const { return offset + bytes; }
};

// Words for a fault, without its place: "ends 20 pixels too early".
std::string track_fault_text(const DecodedTrack &track);

class TrackDecoder {
public:
    // Sees every code up to the zero code, that one too, or up to the fault and the code at fault.
    using Visit = std::function<void(const TrackCode &)>;

    TrackDecoder(FileBytes &file, const TrackShape &shape);
    ~TrackDecoder();
    TrackDecoder(const TrackDecoder &) = delete;
    TrackDecoder &operator=(const TrackDecoder &) = delete;

    // Decodes the track at an offset, whose data goes no further than `limit` (see track_limit) and
    // the file. At most pixels + 1 codes are looked at, and nothing is held but a few KiB: what a
    // track claims costs no more than the bytes that are there. Through `visit`, codes come as they
    // are found.
    DecodedTrack decode(int64_t offset, int64_t limit, const Visit &visit = {});

private:
    struct Inside;
    std::unique_ptr<Inside> inside_;
};

} // namespace vor::tool

#endif
