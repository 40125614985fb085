#include "native_tracks.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>
#include <span>

#include <zlib.h>

#include "report.h"

namespace vor::tool {
namespace {

constexpr int64_t stream_head_bytes = 2;
constexpr int64_t stream_check_bytes = 4;
constexpr size_t unpack_bytes = 16384;

// What zlib tells in data_type.
constexpr int last_block = 64;
constexpr int block_end = 128;

int32_t two_colour_code(uint32_t bit) {
    return bit == 0 ? 0 : LF_NCOLORS - 1;
}

TrackCode parse_code(const TrackShape &shape, const uint8_t *bytes) {
    if (shape.coding == VT_FW8) return {bytes[0] & 0x7F, two_colour_code(bytes[0] >> 7U), 0};
    if (shape.coding == VT_FW88) return {bytes[0], bytes[1], 0};
    const auto word = number_at<uint16_t>(bytes, shape.order);
    return {word & 0x7FFF, two_colour_code(word >> 15U), 0};
}

// Why two bytes are no head of a stream; null if they are one.
const char *fault_of_head(const uint8_t *head) {
    constexpr uint32_t method = 8;
    constexpr uint32_t largest_window = 7;
    constexpr uint32_t dictionary = 0x20;
    if (number_at<uint16_t>(head, ByteOrder::big) % 31 != 0) return "incorrect header check";
    if ((head[0] & 0xFU) != method) return "unknown compression method";
    if (head[0] >> 4U > largest_window) return "invalid window size";
    return (head[1] & dictionary) != 0 ? "needs a dictionary" : nullptr;
}

void note(DecodedTrack *track, TrackFault fault, int64_t offset, int64_t found, int64_t expected) {
    if (!track->good()) return;
    track->fault = fault;
    track->fault_offset = offset;
    track->found = found;
    track->expected = expected;
}

// Takes the bytes of a track in pieces and adds up its codes.
class CodeSum {
public:
    CodeSum(const TrackShape &shape, const TrackDecoder::Visit &visit, DecodedTrack *track)
        : shape_(shape), visit_(visit), track_(track) {}

    // The next bytes, up to the zero code. Gives how many were taken.
    size_t take(std::span<const uint8_t> bytes) {
        const auto width = static_cast<size_t>(code_bytes(shape_.coding));
        size_t at = 0;
        if (half_ && !bytes.empty()) {
            const uint8_t joined[2] = {held_, bytes[at++]};
            half_ = false;
            add(joined);
        }
        for (; !done() && at + width <= bytes.size(); at += width)
            add(bytes.data() + at);
        if (!done() && at < bytes.size()) {
            held_ = bytes[at++];
            half_ = true;
        }
        return at;
    }

    bool ended() const { return ended_; }
    // The end was found, or there are more codes than pixels can have.
    bool done() const { return ended_ || track_->codes > int64_t{shape_.pixels} + 1; }
    // Bytes of the codes so far.
    int64_t bytes() const { return track_->codes * code_bytes(shape_.coding); }

    // Where code 0 stands, and the place in the file of a fault; -1 for that of the code.
    void set_places(int64_t first_code, int64_t fault) {
        first_code_ = first_code;
        fault_place_ = fault;
    }

private:
    void add(const uint8_t *bytes) {
        TrackCode code = parse_code(shape_, bytes);
        code.offset = first_code_ + this->bytes();
        const bool good = track_->good();
        ended_ = code.length == 0;
        track_->pixels += code.length;
        track_->longest = std::max<int64_t>(track_->longest, code.length);
        if (ended_ && track_->pixels < shape_.pixels) fault(TrackFault::too_few_pixels, code);
        if (track_->pixels > shape_.pixels) fault(TrackFault::too_many_pixels, code);
        ++track_->codes;
        if (visit_ && good) visit_(code);
    }

    void fault(TrackFault fault, const TrackCode &code) {
        if (track_->good()) track_->fault_code = track_->codes;
        note(track_, fault, fault_place_ < 0 ? code.offset : fault_place_, track_->pixels,
             shape_.pixels);
    }

    const TrackShape &shape_;
    const TrackDecoder::Visit &visit_;
    DecodedTrack *track_;
    int64_t first_code_ = 0;
    int64_t fault_place_ = -1;
    bool ended_ = false;
    bool half_ = false;
    uint8_t held_ = 0;
};

} // namespace

struct TrackDecoder::Inside {
    Inside(FileBytes &bytes, const TrackShape &form) : file(bytes), shape(form) {}
    ~Inside() { inflateEnd(&stream); }
    Inside(const Inside &) = delete;
    Inside &operator=(const Inside &) = delete;

    void start_stream();
    std::span<const uint8_t> input(int64_t offset, int64_t limit);
    void decode_plain(int64_t limit, CodeSum *sum, DecodedTrack *track);
    void decode_stream(int64_t limit, CodeSum *sum, DecodedTrack *track);
    bool take_head(int64_t limit, DecodedTrack *track);
    bool unpack(int64_t limit, CodeSum *sum, DecodedTrack *track);
    void take_padding(DecodedTrack *track);
    bool inflate_some(int64_t limit, DecodedTrack *track, bool *ended);
    void take_checksum(int64_t limit, DecodedTrack *track);

    FileBytes &file;
    TrackShape shape;
    z_stream stream{};
    bool started = false;
    std::array<uint8_t, unpack_bytes> unpacked{};
};

void TrackDecoder::Inside::start_stream() {
    const int result = started ? inflateReset(&stream) : inflateInit2(&stream, -MAX_WBITS);
    if (result != Z_OK) throw std::bad_alloc();
    started = true;
    stream.avail_in = 0;
}

std::span<const uint8_t> TrackDecoder::Inside::input(int64_t offset, int64_t limit) {
    const auto bytes = file.some(offset);
    const auto left = static_cast<uint64_t>(std::max<int64_t>(limit - offset, 0));
    return bytes.first(static_cast<size_t>(std::min<uint64_t>(bytes.size(), left)));
}

void TrackDecoder::Inside::decode_plain(int64_t limit, CodeSum *sum, DecodedTrack *track) {
    sum->set_places(track->offset, -1);
    while (!sum->done()) {
        const auto bytes = input(track->end(), limit);
        if (bytes.empty()) {
            note(track, TrackFault::data_ends, track->end(), track->pixels, shape.pixels);
            break;
        }
        track->bytes += static_cast<int64_t>(sum->take(bytes));
    }
    track->ended = sum->ended();
}

bool TrackDecoder::Inside::take_head(int64_t limit, DecodedTrack *track) {
    const auto head = file.at(track->offset, stream_head_bytes);
    const int64_t there =
        std::min(static_cast<int64_t>(head.size()), std::max<int64_t>(limit - track->offset, 0));
    if (there < stream_head_bytes) {
        track->bytes = there;
        note(track, TrackFault::stream_ends, track->end(), 0, shape.pixels);
        return false;
    }
    track->bytes = stream_head_bytes;
    const char *words = fault_of_head(head.data());
    if (words) {
        track->words = words;
        note(track, TrackFault::stream_head, track->offset,
             number_at<uint16_t>(head.data(), ByteOrder::big), 0);
    }
    return !words;
}

// Unpacks the next piece, of one block at most, into `unpacked`, of which stream.avail_out tells
// what is left over. False after a fault.
bool TrackDecoder::Inside::inflate_some(int64_t limit, DecodedTrack *track, bool *ended) {
    const auto bytes = input(track->end(), limit);
    stream.next_in = const_cast<Bytef *>(bytes.data());
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = unpacked.data();
    stream.avail_out = static_cast<uInt>(unpacked.size());
    const int result = inflate(&stream, Z_BLOCK);
    track->bytes += static_cast<int64_t>(bytes.size() - stream.avail_in);
    if (result == Z_MEM_ERROR) throw std::bad_alloc();
    *ended = result == Z_STREAM_END;
    const bool at_block_end = (stream.data_type & block_end) != 0;
    if (at_block_end && (stream.data_type & last_block) != 0) take_padding(track);
    // Between two blocks, no byte taken or given is no standstill.
    if (result == Z_OK || *ended || (result == Z_BUF_ERROR && at_block_end)) return true;
    const bool cut = result == Z_BUF_ERROR;
    if (!cut && track->good()) track->words = stream.msg ? stream.msg : "invalid data";
    note(track, cut ? TrackFault::stream_ends : TrackFault::stream_broken, track->end(),
         track->pixels, shape.pixels);
    return false;
}

// The last block has ended. zlib tells how many bits of its last byte, the upper ones, were not
// used.
void TrackDecoder::Inside::take_padding(DecodedTrack *track) {
    const auto last = file.at(track->end() - 1, 1);
    const int unused = stream.data_type & 7;
    if (!last.empty()) track->padding = last[0] >> (8 - unused);
}

// Unpacks a stream up to its end. False if that is not found, or not looked for: a stream may hold
// no more than the codes that a track can have.
bool TrackDecoder::Inside::unpack(int64_t limit, CodeSum *sum, DecodedTrack *track) {
    const int64_t most = (int64_t{shape.pixels} + 1) * code_bytes(shape.coding);
    uLong adler = adler32(0, nullptr, 0);
    bool ended = false;
    while (!ended && track->unpacked <= most) {
        if (!inflate_some(limit, track, &ended)) return false;
        const size_t size = unpacked.size() - stream.avail_out;
        adler = adler32(adler, unpacked.data(), static_cast<uInt>(size));
        sum->take(std::span<const uint8_t>(unpacked).first(size));
        track->unpacked += static_cast<int64_t>(size);
    }
    track->adler_expected = static_cast<uint32_t>(adler);
    track->data_bytes = track->bytes - stream_head_bytes;
    if (!sum->ended()) {
        note(track, TrackFault::stream_short, track->end(), track->pixels, shape.pixels);
    } else if (track->unpacked > sum->bytes()) {
        note(track, TrackFault::stream_long, track->offset, track->unpacked - sum->bytes(), 0);
    }
    return ended;
}

void TrackDecoder::Inside::take_checksum(int64_t limit, DecodedTrack *track) {
    const auto bytes = file.at(track->end(), stream_check_bytes);
    const int64_t there =
        std::min(static_cast<int64_t>(bytes.size()), std::max<int64_t>(limit - track->end(), 0));
    if (there == stream_check_bytes) {
        track->adler_found = number_at<uint32_t>(bytes.data(), ByteOrder::big);
        if (track->adler_found != track->adler_expected) {
            note(track, TrackFault::stream_checksum, track->end(), track->adler_found,
                 track->adler_expected);
        }
    }
    track->bytes += there;
    if (there < stream_check_bytes) {
        note(track, TrackFault::stream_ends, track->end(), track->pixels, shape.pixels);
    }
    track->ended = there == stream_check_bytes;
}

void TrackDecoder::Inside::decode_stream(int64_t limit, CodeSum *sum, DecodedTrack *track) {
    sum->set_places(0, track->offset);
    start_stream();
    if (take_head(limit, track) && unpack(limit, sum, track)) take_checksum(limit, track);
}

TrackDecoder::TrackDecoder(FileBytes &file, const TrackShape &shape)
    : inside_(std::make_unique<Inside>(file, shape)) {}

TrackDecoder::~TrackDecoder() = default;

DecodedTrack TrackDecoder::decode(int64_t offset, int64_t limit, const Visit &visit) {
    DecodedTrack track;
    track.offset = offset;
    limit = offset < 0 ? offset : std::min(limit, inside_->file.size());
    CodeSum sum(inside_->shape, visit, &track);
    if (inside_->shape.deflated) {
        inside_->decode_stream(limit, &sum, &track);
    } else {
        inside_->decode_plain(limit, &sum, &track);
    }
    if (track.fault == TrackFault::too_many_pixels) track.found = track.pixels;
    return track;
}

TrackShape shape_of(const NativeLayout &layout) {
    return {layout.coding(), layout.deflated(), layout.order, layout.header.pixels};
}

std::string track_fault_text(const DecodedTrack &track) {
    const auto found = static_cast<long long>(track.found);
    const auto expected = static_cast<long long>(track.expected);
    switch (track.fault) {
    case TrackFault::too_few_pixels:
        return format("ends with %lld of %lld pixels", found, expected);
    case TrackFault::too_many_pixels:
        return format("has %s%lld pixels in the place of %lld", track.ended ? "" : "at least ",
                      found, expected);
    case TrackFault::data_ends:
        return format("is cut off after %lld of %lld pixels", found, expected);
    case TrackFault::stream_head:
        return "is no deflated stream: " + track.words;
    case TrackFault::stream_broken:
        return "has a broken stream: " + track.words;
    case TrackFault::stream_ends:
        return format("has a stream that is cut off after %lld of %lld pixels", found, expected);
    case TrackFault::stream_checksum:
        return format("has the checksum 0x%08llX in the place of 0x%08llX", found, expected);
    case TrackFault::stream_short:
        return format("has a stream that ends without an end code, with %lld of %lld pixels", found,
                      expected);
    case TrackFault::stream_long:
        return format("has %s%lld bytes behind its end code in the stream",
                      track.ended ? "" : "at least ", found);
    default:
        return "";
    }
}

} // namespace vor::tool
