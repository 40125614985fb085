// A small native file of every kind, with all its sections, and what salvaging it comes to.
#ifndef VOR_TESTS_TOOL_PARTS_SALVAGE_SAMPLE_H
#define VOR_TESTS_TOOL_PARTS_SALVAGE_SAMPLE_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "salvage_header.h"
#include "salvage_places.h"
#include "salvage_sections.h"
#include "salvage_writer.h"
#include "support/temp_dir.h"
#include "support/vor_bytes.h"

namespace vor::test {

struct Kind {
    const char *name;
    uint32_t type; // with VorBytes::zipped
    bool swapped;
    bool table; // has a seek table, and blank tracks with it
};

inline constexpr Kind kinds[] = {
    {"fw16", VT_FW16, false, true},
    {"fw16 swapped", VT_FW16, true, true},
    {"fw8", VT_FW8, false, true},
    {"fw8 swapped", VT_FW8, true, true},
    {"fw88", VT_FW88, false, true},
    {"fw88 swapped", VT_FW88, true, true},
    {"fw16 deflated", VT_FW16 | VT_DEFLATED, false, true},
    {"fw16 deflated swapped", VT_FW16 | VT_DEFLATED, true, true},
    {"fw8 deflated", VT_FW8 | VT_DEFLATED, false, true},
    {"fw8 deflated swapped", VT_FW8 | VT_DEFLATED, true, true},
    {"fw88 deflated", VT_FW88 | VT_DEFLATED, false, true},
    {"fw88 deflated swapped", VT_FW88 | VT_DEFLATED, true, true},
    {"fw16 without a table", VT_FW16, false, false},
    {"fw8 without a table", VT_FW8, true, false},
    {"fw88 without a table", VT_FW88, false, false},
};

inline constexpr int32_t sample_tracks = 12;
inline constexpr int32_t sample_pixels = 90;

inline bool is_blank_sample(const Kind &kind, int32_t n) {
    return kind.table && n % 5 == 3;
}

// Runs that no two tracks share, of lengths that each coding has codes for.
inline Codes sample_codes(const Kind &kind, int32_t n) {
    const bool gray = (kind.type & VT_FORMAT) == VT_FW88;
    Codes codes;
    uint32_t left = sample_pixels;
    for (uint32_t i = 0; left > 0; ++i) {
        const uint32_t length = std::min(left, 3 + (static_cast<uint32_t>(n) * 7 + i * 11) % 29);
        codes.emplace_back(length, gray ? (static_cast<uint32_t>(n) * 16 + i * 37) % 256 : i % 2);
        left -= length;
    }
    return codes;
}

struct Sample {
    Bytes bytes;
    std::vector<int64_t> entries;
    int64_t data_end = 0;
};

inline Sample make_sample(const Kind &kind) {
    VorBytes file(kind.type, sample_tracks, sample_pixels, kind.swapped);
    for (int32_t n = 0; n < sample_tracks; ++n) {
        if (is_blank_sample(kind, n)) {
            file.blank(n % 2 == 0 ? 0 : 255);
        } else {
            file.track(sample_codes(kind, n));
        }
    }
    const Sample sample{{}, file.entries, file.here()};
    file.stops({LF_STOP_FIRST | 2, LF_STOP_LAST | 4, LF_STOP_SINGLE | 9});
    if (kind.table) file.seek_table();
    VorBytes::Table table{};
    table[5] = 7;
    file.colour_tables({table});
    file.tag_list(2).tag("job", {'4', '7', 0, 0}).tag("note", {'h', 'i', 0, 0, 0, 0, 0, 0});
    return {file.bytes(), sample.entries, sample.data_end};
}

// The number of the track that a byte of the track data belongs to.
inline int32_t track_at(const Sample &sample, int64_t offset) {
    int32_t found = -1;
    for (int32_t n = 0; n < sample_tracks; ++n) {
        const int64_t entry = sample.entries[static_cast<size_t>(n)];
        if (entry > 0 && entry <= offset) found = n;
    }
    return found;
}

using Pixels = std::vector<std::vector<uint16_t>>; // of each track

struct Outcome {
    tool::MendedHeader header;
    tool::PlacedTracks tracks;
    tool::SavedSections sections;
    std::string file; // that was made
    Pixels pixels;    // in it

    bool kept(int32_t n) const { return tracks.places[static_cast<size_t>(n)] != tool::lost_track; }
    std::vector<int32_t> lost() const {
        std::vector<int32_t> list;
        for (size_t n = 0; n < tracks.places.size(); ++n) {
            if (tracks.places[n] == tool::lost_track) list.push_back(static_cast<int32_t>(n));
        }
        return list;
    }
};

// Codes of a file's pixels, read by the library. Empty if it cannot be read.
Pixels read_pixels(const std::string &name);

// Salvages bytes and proves the file that comes of it good. Throws a tool::Failure as the parts do.
Outcome salvage(const TempDir &dir, const Bytes &bad, const tool::HeaderWishes &wishes = {},
                const tool::Filling &filling = {});

} // namespace vor::test

#endif
