// A file is the header, the tracks and the sections, one directly behind the other. So each byte
// has one owner, and a section that is moved, or changes its size, leaves a gap or an overlap.

#include <algorithm>
#include <vector>

#include "deep_parts.h"
#include "report.h"

namespace vor::tool {
namespace {

struct Piece {
    const char *name;
    int64_t begin;
    int64_t end;
    int64_t told_at; // where in the header the place is told
};

std::string range_text(const char *name, int64_t begin, int64_t end) {
    return format("%s from %lld to %lld", name, static_cast<long long>(begin),
                  static_cast<long long>(end));
}

void check_place(const NativeLayout &layout, const NativeSection &section, FindingList *findings) {
    if (layout.lies_in_file(section)) return;
    findings->add({FindingId::section_place,
                   {},
                   section.offset_field,
                   range_text(section.name, section.offset, section.end()),
                   range_text("a place", VOR_HDRSIZE, layout.file_bytes)});
}

// The parts that lie in the file, in their order; where the tracks end may be unknown.
std::vector<Piece> pieces_of(const NativeLayout &layout, const TrackFacts &facts) {
    std::vector<Piece> pieces;
    const int64_t end = facts.data_end.value_or(layout.tracks_end);
    pieces.push_back({"tracks", VOR_HDRSIZE, end, VOR_HDRSIZE});
    for (const NativeSection &section : layout.sections) {
        if (!layout.lies_in_file(section)) continue;
        pieces.push_back({section.name, section.offset, section.end(), section.offset_field});
    }
    std::stable_sort(pieces.begin(), pieces.end(),
                     [](const Piece &a, const Piece &b) { return a.begin < b.begin; });
    return pieces;
}

void report_gap(int64_t begin, int64_t end, FindingList *findings) {
    findings->add({FindingId::unused_bytes, {}, begin, range_text("bytes", begin, end), "none"});
}

void report_overlap(const Piece &piece, const Piece &before, FindingList *findings) {
    findings->add(
        {FindingId::section_overlap,
         {},
         piece.told_at,
         range_text(piece.name, piece.begin, piece.end),
         format("%lld or more, behind the %s", static_cast<long long>(before.end), before.name)});
}

void check_seek_table_is_there(const NativeLayout &layout, FindingList *findings) {
    if (layout.find(SectionKind::seek_table)) return;
    findings->add({layout.deflated() ? FindingId::seek_table_needed : FindingId::seek_table_missing,
                   {},
                   static_cast<int64_t>(offsetof(vorhdr, hflags)),
                   "no seek table",
                   "one"});
}

} // namespace

void check_places(const NativeLayout &layout, const TrackFacts &facts, FindingList *findings) {
    check_seek_table_is_there(layout, findings);
    for (const NativeSection &section : layout.sections)
        check_place(layout, section, findings);
    const std::vector<Piece> pieces = pieces_of(layout, facts);
    const Piece *last = &pieces.front(); // the one that reaches farthest
    for (const Piece &piece : pieces) {
        if (piece.begin > last->end) report_gap(last->end, piece.begin, findings);
        if (piece.begin < std::min(last->end, piece.end) && &piece != last) {
            report_overlap(piece, *last, findings);
        }
        if (piece.end > last->end) last = &piece;
    }
    if (layout.file_bytes > last->end) report_gap(last->end, layout.file_bytes, findings);
}

} // namespace vor::tool
