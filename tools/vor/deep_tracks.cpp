// The seek table and the tracks. Tracks lie one behind the other from 256 on, so the place of each
// is known before its entry is looked at, and each byte between the header and the first section
// belongs to one of them.
//
// After a fault the place of the next track is unknown, and its entry is believed: one flipped bit
// is one finding, and not one a track.

#include <algorithm>
#include <cinttypes>

#include "deep_parts.h"
#include "interrupt.h"
#include "native_tracks.h"
#include "progress.h"
#include "report.h"

namespace vor::tool {
namespace {

constexpr uint8_t two_colour_marks[] = {0, 255};

// Entries that lead astray are followed at most for so much work, in bytes read and unpacked: they
// can all lead to one long track.
constexpr int64_t work_per_byte = 4;
constexpr int64_t work_for_any = 1 << 24;

class TrackWalk {
public:
    explicit TrackWalk(const DeepCheck &check)
        : check_(check), layout_(check.layout), decoder_(check.file, shape_of(check.layout)),
          work_left_(check.layout.file_bytes * work_per_byte + work_for_any) {}

    TrackFacts run();

private:
    void add(FindingId id, int64_t offset, std::string found, std::string expected) {
        check_.findings.add({id, track_, offset, std::move(found), std::move(expected)});
    }

    bool take_entry(const NativeSection &table);
    void take_mark(int64_t entry, int64_t at);
    void take_place(int64_t entry, int64_t at);
    bool take_next();
    DecodedTrack decode(int64_t offset);
    void see_code(const TrackCode &code);
    void judge(const DecodedTrack &track);
    void report_fault(const DecodedTrack &track);
    void report_closing_code(const DecodedTrack &track);
    void report_padding(const DecodedTrack &track);
    void lose_the_thread() {
        ++bad_;
        next_ = {};
    }

    const DeepCheck &check_;
    const NativeLayout &layout_;
    TrackDecoder decoder_;
    TrackFacts facts_;
    int64_t track_ = 0;
    int64_t bad_ = 0;
    std::optional<int64_t> next_ = VOR_HDRSIZE; // where the next track is to begin
    int64_t work_left_;
    TrackCode last_code_{};
};

std::string pixels_text(int64_t pixels) {
    return format("%lld pixels", static_cast<long long>(pixels));
}

std::string place_text(int64_t place) {
    return format("%lld", static_cast<long long>(place));
}

// ---- one track

// Of a plain code the length is held by the sum of all, the colour by nothing.
void TrackWalk::see_code(const TrackCode &code) {
    last_code_ = code;
    const bool closing = code.length == 0;
    if (!closing) facts_.used.set(static_cast<size_t>(code.colour));
    if (layout_.deflated()) return;
    const int32_t bytes = code_bytes(layout_.coding());
    if (closing && code.colour == 0) {
        check_.protection.add(code.offset, bytes, Cover::structure);
    } else if (!closing && bytes == 2) {
        const bool first = layout_.coding() == VT_FW88 || layout_.order == ByteOrder::little;
        check_.protection.add(code.offset + (first ? 0 : 1), 1, Cover::structure);
    }
}

DecodedTrack TrackWalk::decode(int64_t offset) {
    const int64_t limit =
        offset <= layout_.tracks_end ? layout_.tracks_end : track_limit(layout_, offset);
    return decoder_.decode(offset, limit, [this](const TrackCode &code) { see_code(code); });
}

void TrackWalk::report_closing_code(const DecodedTrack &track) {
    if (last_code_.colour == 0) return;
    add(FindingId::closing_code, layout_.deflated() ? track.offset : last_code_.offset,
        format("colour %d", last_code_.colour), "0");
}

void TrackWalk::report_padding(const DecodedTrack &track) {
    constexpr int64_t checksum_bytes = 4;
    if (track.padding == 0) return;
    add(FindingId::stream_padding, track.end() - checksum_bytes - 1,
        format("0x%X", static_cast<unsigned>(track.padding)), "0");
}

void TrackWalk::report_fault(const DecodedTrack &track) {
    const std::string found = pixels_text(track.found);
    const std::string expected = pixels_text(track.expected);
    const std::string cut =
        format("an end after %lld of ", static_cast<long long>(track.found)) + expected;
    switch (track.fault) {
    case TrackFault::none:
        break;
    case TrackFault::too_few_pixels:
        return add(FindingId::track_pixels, track.fault_offset, found, expected);
    case TrackFault::too_many_pixels:
        return add(FindingId::track_pixels, track.fault_offset,
                   (track.ended ? "" : "at least ") + found, expected);
    case TrackFault::data_ends:
        return add(FindingId::track_cut, track.fault_offset, cut, "a zero code");
    case TrackFault::stream_head:
        return add(FindingId::stream_head, track.fault_offset,
                   format("0x%04" PRIX64 " (%s)", track.found, track.words.c_str()),
                   "the head of a deflate stream");
    case TrackFault::stream_broken:
        return add(FindingId::stream_data, track.fault_offset, track.words, "deflate data");
    case TrackFault::stream_ends:
        return add(FindingId::stream_cut, track.fault_offset, cut, "the end of the stream");
    case TrackFault::stream_checksum:
        return add(FindingId::stream_checksum, track.fault_offset,
                   format("0x%08" PRIX64, track.found), format("0x%08" PRIX64, track.expected));
    case TrackFault::stream_short:
        return add(FindingId::stream_end, track.fault_offset, cut, "a zero code");
    case TrackFault::stream_long:
        return add(FindingId::stream_rest, track.fault_offset,
                   format("%s%lld bytes", track.ended ? "" : "at least ",
                          static_cast<long long>(track.found)),
                   "none");
    }
}

void TrackWalk::judge(const DecodedTrack &track) {
    work_left_ -= track.bytes + track.unpacked;
    if (!track.good()) {
        report_fault(track);
        lose_the_thread();
        if (layout_.deflated() && track.ended) next_ = track.end();
        return;
    }
    report_closing_code(track);
    if (layout_.deflated()) {
        report_padding(track);
        check_.protection.add(track.offset, track.bytes, Cover::checksum);
    }
    ++facts_.coded;
    facts_.longest = std::max(facts_.longest, track.codes);
}

// ---- entries

void TrackWalk::take_mark(int64_t entry, int64_t at) {
    const auto colour = static_cast<uint8_t>(blank_colour(entry));
    facts_.used.set(colour);
    const int32_t bytes = seek_entry_bytes(layout_);
    if (!layout_.two_colours()) {
        const bool little = layout_.order == ByteOrder::little;
        check_.protection.add(little ? at + 1 : at, bytes - 1, Cover::structure);
        return;
    }
    if (std::find(std::begin(two_colour_marks), std::end(two_colour_marks), colour) ==
        std::end(two_colour_marks)) {
        add(FindingId::blank_colour, at, format("colour %d", colour), "0 or 255");
        ++bad_;
    }
    check_.protection.add(at, bytes, Cover::structure);
}

void TrackWalk::take_place(int64_t entry, int64_t at) {
    const bool known = next_.has_value();
    const bool right = known ? entry == *next_ : entry < layout_.tracks_end;
    if (!right) {
        add(FindingId::seek_entry_place, at, place_text(entry),
            known ? place_text(*next_) : "a place below " + place_text(layout_.tracks_end));
    }
    const bool proven = known && right;
    if (!proven && (entry >= layout_.file_bytes || work_left_ < 0)) return lose_the_thread();
    const DecodedTrack track = decode(entry);
    next_ = track.end();
    judge(track);
    if (!right) lose_the_thread();
    check_.protection.add(at, seek_entry_bytes(layout_), Cover::structure);
}

// False where the table has no more entries.
bool TrackWalk::take_entry(const NativeSection &table) {
    const auto entry = seek_entry(check_.file, layout_, track_);
    if (!entry) return false;
    const int64_t at = table.offset + track_ * seek_entry_bytes(layout_);
    if (is_blank_mark(*entry)) {
        take_mark(*entry, at);
    } else if (is_track_place(*entry)) {
        take_place(*entry, at);
    } else {
        add(FindingId::seek_entry, at, place_text(*entry), "256 or more, or -1 to -256");
        lose_the_thread();
    }
    return true;
}

// The next track of a file without a table. False where its end, and so the next one, is unknown.
bool TrackWalk::take_next() {
    if (!next_) return false;
    const DecodedTrack track = decode(*next_);
    next_ = track.end();
    judge(track);
    if (track.ended) next_ = track.end();
    return next_.has_value();
}

TrackFacts TrackWalk::run() {
    const NativeSection *table = layout_.find(SectionKind::seek_table);
    if (table ? table->offset < VOR_HDRSIZE : layout_.deflated()) return facts_;
    const int64_t tracks = layout_.header.tracks;
    Progress progress(check_.file.name(), tracks, check_.quiet);
    for (; track_ < tracks; ++track_) {
        stop_if_interrupted();
        progress.reach(track_);
        if (!(table ? take_entry(*table) : take_next())) break;
    }
    facts_.all_good = bad_ == 0 && track_ == tracks;
    if (track_ == tracks) facts_.data_end = next_;
    return facts_;
}

} // namespace

TrackFacts check_tracks(const DeepCheck &check) {
    return TrackWalk(check).run();
}

} // namespace vor::tool
