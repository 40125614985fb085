// Track data taken apart without a seek table, and taken up again behind damage.
//
// Plain tracks are told apart by their zero codes: behind a damaged one the next that adds up is
// taken for a track again. Where bytes have gone missing, two-byte codes stand at the other parity
// from there on, which is believed once several tracks in a row add up. Deflated tracks follow each
// other directly; behind a broken stream every head of a stream is tried.
#ifndef VOR_TOOL_SALVAGE_WALK_H
#define VOR_TOOL_SALVAGE_WALK_H

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <vector>

#include "file_bytes.h"
#include "native_tracks.h"

namespace vor::tool {

// A good track, or all that lies between two good ones. It ends where the next begins.
struct Stretch {
    int64_t begin = 0;
    int32_t damaged = 0; // tracks that it seems to have held; 0 for a good track

    bool good() const { return damaged == 0; }
};

class TrackWalker {
public:
    // Hears of the offset that has been reached.
    using Tick = std::function<void(int64_t offset)>;

    // A shape without pixels will do for a survey.
    TrackWalker(FileBytes &file, const TrackShape &shape);

    // The stretches from one offset to another, without gaps.
    std::vector<Stretch> walk(int64_t begin, int64_t end, const Tick &tick = {});

    DecodedTrack decode(int64_t offset, int64_t limit, const TrackDecoder::Visit &visit = {}) {
        return exact_.decode(offset, limit, visit);
    }

    // How often tracks of each sum of pixels are found, until one sum has come often enough and so
    // many bytes have been walked over.
    struct Tally {
        int32_t tracks = 0;
        int64_t bytes = 0; // of these tracks
    };
    using Sums = std::map<int64_t, Tally>;
    static constexpr int32_t often_enough = 16;
    Sums survey(int64_t begin, int64_t end, int64_t least_bytes);

private:
    // What stands at an offset, up to the next zero code or the stream's end.
    struct Piece {
        int64_t end = 0;
        int64_t sum = 0;
        bool whole = false; // apart from its sum
    };

    // Walks ahead at one parity.
    struct Scan {
        int64_t at = -1;
        int64_t sum = 0;
        int32_t run = 0; // good tracks in a row, up to `at`
        int64_t run_begin = 0;
    };

    Piece plain_piece(int64_t at, int64_t end);
    Piece deflated_piece(int64_t at, int64_t end);
    Piece piece(int64_t at, int64_t end) {
        return shape_.deflated ? deflated_piece(at, end) : plain_piece(at, end);
    }
    bool good(const Piece &piece) const {
        return piece.whole && piece.sum == int64_t{shape_.pixels};
    }
    void advance(Scan *scan, int64_t end);
    int64_t resume(const Piece &broken, Stretch *stretch, int64_t end);
    int64_t resume_plain(Stretch *stretch, int64_t end);
    int64_t resume_deflated(const Piece &broken, int64_t begin, int64_t end);
    int64_t next_head(int64_t from, int64_t end);
    int32_t tracks_of(int64_t sum, int64_t bytes) const;

    FileBytes &file_;
    TrackShape shape_;
    TrackDecoder exact_;
    TrackDecoder open_; // takes any number of pixels
    std::array<Scan, 2> scans_;
    int64_t trials_left_; // bytes that may yet be unpacked in vain
};

} // namespace vor::tool

#endif
