#include "salvage_walk.h"

#include <algorithm>
#include <cstring>

#include "interrupt.h"

namespace vor::tool {
namespace {

// Tracks in a row that must add up before another parity is believed.
constexpr int32_t convincing_run = 3;

// Pixels of a deflated track that a survey looks for: without a bound, a stream could unpack to a
// thousand times the file.
constexpr uint32_t most_surveyed = 1 << 24;
constexpr size_t most_sums = 65536;

// What a file of many false heads may cost.
constexpr int64_t free_trials = 1 << 24;
constexpr int64_t trials_per_byte = 16;

constexpr uint8_t head_byte = 0x78; // of a stream with the largest window, as all writers make it

TrackShape without_bound(TrackShape shape) {
    shape.pixels = shape.deflated ? most_surveyed : INT32_MAX;
    return shape;
}

bool is_head(const uint8_t *bytes) {
    constexpr uint32_t dictionary = 0x20;
    return bytes[0] == head_byte && number_at<uint16_t>(bytes, ByteOrder::big) % 31 == 0 &&
           (bytes[1] & dictionary) == 0;
}

} // namespace

TrackWalker::TrackWalker(FileBytes &file, const TrackShape &shape)
    : file_(file), shape_(shape), exact_(file, shape), open_(file, without_bound(shape)),
      trials_left_(free_trials + trials_per_byte * file.size()) {}

TrackWalker::Piece TrackWalker::plain_piece(int64_t at, int64_t end) {
    const DecodedTrack track = open_.decode(at, end);
    return {track.end(), track.pixels, track.ended};
}

TrackWalker::Piece TrackWalker::deflated_piece(int64_t at, int64_t end) {
    const DecodedTrack track = shape_.pixels > 0 ? exact_.decode(at, end) : open_.decode(at, end);
    const bool sound = track.good() || track.fault == TrackFault::too_few_pixels ||
                       track.fault == TrackFault::too_many_pixels;
    if (!track.good()) trials_left_ -= track.bytes + track.unpacked;
    return {track.end(), track.pixels, track.ended && sound};
}

// As many as a sum of pixels is for, and as bytes can hold.
int32_t TrackWalker::tracks_of(int64_t sum, int64_t bytes) const {
    const int64_t pixels = std::max<int64_t>(shape_.pixels, 1);
    const int64_t codes = (pixels - 1) / longest_code(shape_.coding) + 2; // with the zero code
    const int64_t most =
        std::clamp<int64_t>(bytes / codes / code_bytes(shape_.coding), 1, INT32_MAX);
    return static_cast<int32_t>(std::clamp<int64_t>((sum + pixels / 2) / pixels, 1, most));
}

void TrackWalker::advance(Scan *scan, int64_t end) {
    const Piece found = plain_piece(scan->at, end);
    const bool is_good = good(found);
    if (is_good && scan->run++ == 0) scan->run_begin = scan->at;
    if (!is_good) scan->run = 0;
    scan->sum += found.sum;
    scan->at = found.end;
}

// Each parity is scanned once, whatever happens at the other: a scan that is ahead already stays
// where it is.
int64_t TrackWalker::resume_plain(Stretch *stretch, int64_t end) {
    const int64_t begin = stretch->begin;
    const auto parity = static_cast<size_t>(begin % 2);
    const bool one_byte = code_bytes(shape_.coding) == 1;
    Scan &same = scans_[parity];
    Scan &other = scans_[1 - parity];
    if (same.at < begin || one_byte) same = {begin, 0, 0, 0};
    if (other.at <= begin) other = {begin + 1, 0, 0, 0};
    if (other.run_begin < begin) other.run = 0;
    same.run = 0;
    same.sum = other.sum = 0;
    while (same.at < end || (!one_byte && other.at < end)) {
        stop_if_interrupted();
        const bool ahead = same.at >= end || other.at < same.at;
        Scan *scan = ahead && !one_byte ? &other : &same;
        advance(scan, end);
        const bool believed = scan == &same || scan->run >= convincing_run || scan->at >= end;
        if (scan->run == 0 || !believed) continue;
        const int64_t sum = scan->sum - int64_t{scan->run} * shape_.pixels;
        stretch->damaged = tracks_of(sum, scan->run_begin - begin);
        return scan->run_begin;
    }
    stretch->damaged = tracks_of(same.sum, end - begin);
    return end;
}

int64_t TrackWalker::next_head(int64_t from, int64_t end) {
    while (from < end) {
        const auto bytes = file_.some(from);
        if (bytes.empty()) return end;
        const void *hit = std::memchr(bytes.data(), head_byte, bytes.size());
        if (!hit) {
            from += static_cast<int64_t>(bytes.size());
            continue;
        }
        from += static_cast<const uint8_t *>(hit) - bytes.data();
        const auto head = file_.at(from, 2);
        if (head.size() == 2 && is_head(head.data())) return from;
        ++from;
    }
    return end;
}

int64_t TrackWalker::resume_deflated(const Piece &broken, int64_t begin, int64_t end) {
    if (broken.end > begin && broken.end < end && good(deflated_piece(broken.end, end))) {
        return broken.end;
    }
    for (int64_t at = next_head(begin + 1, end); at < end; at = next_head(at + 1, end)) {
        stop_if_interrupted();
        if (trials_left_ < 0) break;
        if (good(deflated_piece(at, end))) return at;
    }
    return end;
}

int64_t TrackWalker::resume(const Piece &broken, Stretch *stretch, int64_t end) {
    stretch->damaged = 1;
    return shape_.deflated ? resume_deflated(broken, stretch->begin, end)
                           : resume_plain(stretch, end);
}

std::vector<Stretch> TrackWalker::walk(int64_t begin, int64_t end, const Tick &tick) {
    std::vector<Stretch> stretches;
    scans_ = {};
    for (int64_t at = begin; at < end;) {
        stop_if_interrupted();
        if (tick) tick(at);
        const Piece found = piece(at, end);
        Stretch stretch{at, 0};
        at = good(found) ? found.end : resume(found, &stretch, end);
        stretches.push_back(stretch);
    }
    return stretches;
}

TrackWalker::Sums TrackWalker::survey(int64_t begin, int64_t end, int64_t least_bytes) {
    Sums sums;
    int32_t most = 0;
    for (int64_t at = begin; at < end && trials_left_ >= 0;) {
        stop_if_interrupted();
        const Piece found = piece(at, end);
        if (found.whole && found.sum > 0 && (sums.size() < most_sums || sums.contains(found.sum))) {
            Tally &tally = sums[found.sum];
            tally.bytes += found.end - at;
            most = std::max(most, ++tally.tracks);
        }
        if (most >= often_enough && at - begin >= least_bytes) break;
        const bool lost = shape_.deflated && !found.whole;
        at = lost ? next_head(at + 1, end) : std::max(found.end, at + 1);
    }
    return sums;
}

} // namespace vor::tool
