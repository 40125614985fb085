#include "salvage_places.h"

#include <algorithm>
#include <utility>

#include "gap_numbers.h"
#include "interrupt.h"
#include "progress.h"
#include "salvage_header.h"
#include "salvage_walk.h"
#include "seek_table_search.h"
#include "track_anchors.h"

namespace vor::tool {
namespace {

using Table = PlacedTracks::SeekTable;

// What decoding all entries of a seek table may cost: those of a whole one lead to each byte once.
constexpr int64_t free_bytes = 1 << 24;
constexpr int64_t looks_per_byte = 16;

class Placer {
public:
    Placer(FileBytes &file, const NativeLayout &layout, std::vector<int64_t> limits, bool quiet)
        : file_(file), layout_(layout), limits_(std::move(limits)), quiet_(quiet),
          tracks_(static_cast<int32_t>(layout.header.tracks)), walker_(file, shape_of(layout)) {
        placed_.places.assign(static_cast<size_t>(tracks_), lost_track);
    }

    PlacedTracks place();

private:
    struct Gap {
        int32_t first = 0; // numbers, the end exclusive
        int32_t last = 0;
        int64_t begin = 0; // bytes
        int64_t end = 0;
        bool end_known = true;
    };

    int64_t limit(int64_t offset) const { return limit_behind(limits_, offset, file_.size()); }
    bool has_table() const { return !entries_.entries.empty(); }
    int64_t entry(int32_t n) const {
        return has_table() ? entries_.entries[static_cast<size_t>(n)] : 0;
    }
    bool is_mark(int32_t n) const { return entry(n) < 0; }

    bool read_table(const NativeLayout &layout);
    void note_entry(int32_t n, const NativeLayout &layout);
    void add_limit(int64_t offset);
    bool begins_elsewhere();
    void take_table_as_it_is();
    bool is_borne_out();
    bool holds_good_track(int64_t begin, int64_t end);

    void place_by_table();
    void place_without_table(std::vector<Stretch> stretches);
    std::vector<Stretch> walk_all();
    bool cut_at_section(std::vector<Stretch> *stretches) const;
    bool find_table(const std::vector<Stretch> &stretches);

    std::vector<int32_t> open_numbers(const Gap &gap, std::span<const Stretch> stretches) const;
    bool marks_are_lost(const Gap &gap) const;
    void fill(const Gap &gap, std::span<const Stretch> stretches);
    void keep(int32_t n, int64_t place, bool doubtful);
    void lose(int32_t n, const Stretch *stretch, const Gap &gap);
    Loss cause_of(int32_t n, const Stretch *stretch, const Gap &gap);
    void note_extent();

    FileBytes &file_;
    const NativeLayout &layout_;
    std::vector<int64_t> limits_;
    bool quiet_;
    int32_t tracks_;
    TrackWalker walker_;
    NativeLayout table_layout_;
    TrackEntries entries_; // none without a usable table
    PlacedTracks placed_;
    Stretch told_; // the stretch of the last loss, and what is wrong there
    TrackFault told_fault_ = TrackFault::none;
};

// ---- the seek table

void Placer::note_entry(int32_t n, const NativeLayout &layout) {
    const auto i = static_cast<size_t>(n);
    const std::optional<int64_t> found = seek_entry(file_, layout, n);
    if (!found || !is_plausible_entry(layout, *found)) return;
    entries_.entries[i] = *found;
    if (*found < 0) return;
    if (i > 0 && entries_.entries[i - 1] == *found) {
        entries_.ends[i] = entries_.ends[i - 1];
        entries_.faults[i] = entries_.faults[i - 1];
        return;
    }
    const DecodedTrack track = walker_.decode(*found, limit(*found));
    entries_.looked += track.bytes;
    entries_.ends[i] = track.good() ? track.end() : 0;
    entries_.faults[i] = track.fault;
}

// False if less than half of what is there of the table can be entries.
bool Placer::read_table(const NativeLayout &layout) {
    const NativeSection *section = layout.find(SectionKind::seek_table);
    if (!section || section->offset < VOR_HDRSIZE || section->offset >= file_.size()) return false;
    const int64_t there = (file_.size() - section->offset) / seek_entry_bytes(layout);
    const auto room = static_cast<size_t>(tracks_);
    entries_ = {std::vector<int64_t>(room), std::vector<int64_t>(room),
                std::vector<TrackFault>(room), 0};
    Progress progress(file_.name(), tracks_, quiet_);
    const int64_t most_looked = free_bytes + looks_per_byte * file_.size();
    int64_t plausible = 0;
    for (int32_t n = 0; n < std::min<int64_t>(tracks_, there); ++n) {
        stop_if_interrupted();
        progress.reach(n);
        note_entry(n, layout);
        if (entry(n) != 0) ++plausible;
        if (entries_.looked > most_looked) plausible = INT32_MIN;
    }
    const bool usable = plausible > 0 && plausible * 2 >= std::min<int64_t>(tracks_, there);
    if (!usable) entries_ = {};
    table_layout_ = layout;
    if (usable) add_limit(section->offset);
    return usable;
}

void Placer::add_limit(int64_t offset) {
    limits_.insert(std::upper_bound(limits_.begin(), limits_.end(), offset), offset);
}

bool Placer::holds_good_track(int64_t begin, int64_t end) {
    if (begin >= end) return false;
    const std::vector<Stretch> found = walker_.walk(begin, end);
    return std::any_of(found.begin(), found.end(), [](const Stretch &s) { return s.good(); });
}

// All entries lead to good tracks, and no good track is left without an entry. Tracks may stand in
// any order then, or share their data, as another writer may have them.
bool Placer::is_borne_out() {
    std::vector<std::pair<int64_t, int64_t>> extents;
    for (int32_t n = 0; n < tracks_; ++n) {
        if (is_mark(n)) continue;
        const int64_t end = entries_.ends[static_cast<size_t>(n)];
        if (end == 0) return false;
        extents.emplace_back(entry(n), end);
    }
    std::sort(extents.begin(), extents.end());
    int64_t covered = VOR_HDRSIZE;
    for (const auto &[begin, end] : extents) {
        if (holds_good_track(covered, std::min(begin, limit(covered)))) return false;
        covered = std::max(covered, end);
    }
    const int64_t behind = limit(covered - 1);
    return behind == file_.size() || !holds_good_track(covered, behind);
}

void Placer::take_table_as_it_is() {
    for (int32_t n = 0; n < tracks_; ++n)
        keep(n, entry(n), false);
}

// The first track's place is in no entry: the table may have been taken from a wrong offset.
bool Placer::begins_elsewhere() {
    const auto &all = entries_.entries;
    return std::find(all.begin(), all.end(), int64_t{VOR_HDRSIZE}) == all.end() &&
           walker_.decode(VOR_HDRSIZE, limit(VOR_HDRSIZE)).good();
}

void Placer::place_by_table() {
    Gap gap{0, 0, VOR_HDRSIZE, 0, true};
    const auto fill_up_to = [&](int32_t n, int64_t end) {
        gap.last = n;
        gap.end = end;
        fill(gap, walker_.walk(gap.begin, gap.end));
    };
    for (const int32_t n : find_anchors(entries_, limits_, file_.size())) {
        fill_up_to(n, entry(n));
        keep(n, entry(n), false);
        gap.first = n + 1;
        gap.begin = entries_.ends[static_cast<size_t>(n)];
    }
    const int64_t end = limit(gap.begin - 1);
    gap.end_known = end < file_.size();
    fill_up_to(tracks_, end);
    if (placed_.table == Table::found) return;
    placed_.table = placed_.wrong_entries == 0 ? Table::whole : Table::mended;
}

// ---- without a table

std::vector<Stretch> Placer::walk_all() {
    Progress progress(file_.name(), file_.size(), quiet_);
    return walker_.walk(VOR_HDRSIZE, limit(VOR_HDRSIZE),
                        [&](int64_t offset) { progress.reach(offset); });
}

// Leaves out what lies behind the tracks. Where a section is claimed to begin, and a track ends
// just there, the tracks are taken to end, unless they go on. False if there is no such place.
bool Placer::cut_at_section(std::vector<Stretch> *stretches) const {
    const auto begins_before = [](const Stretch &s, int64_t offset) { return s.begin < offset; };
    auto end = stretches->end();
    for (const NativeSection &section : layout_.sections) {
        const auto at =
            std::lower_bound(stretches->begin(), stretches->end(), section.offset, begins_before);
        if (at == stretches->end() || at->begin != section.offset) continue;
        end = at;
        if (!at->good()) break;
    }
    const bool cut = end != stretches->end();
    stretches->erase(end, stretches->end());
    return cut || limit(VOR_HDRSIZE) < file_.size();
}

bool Placer::find_table(const std::vector<Stretch> &stretches) {
    std::vector<int64_t> starts;
    int64_t behind_first = 0;
    int64_t behind_last = 0;
    for (size_t i = 0; i < stretches.size(); ++i) {
        if (!stretches[i].good()) continue;
        const int64_t end = i + 1 < stretches.size() ? stretches[i + 1].begin : limit(VOR_HDRSIZE);
        starts.push_back(stretches[i].begin);
        behind_last = end;
        if (behind_first == 0) behind_first = end;
    }
    std::optional<FoundSeekTable> found = find_seek_table(file_, layout_, starts, behind_last);
    if (!found) found = find_seek_table(file_, layout_, starts, behind_first);
    if (!found || !read_table(with_seek_table(file_, layout_, found->offset, found->wide))) {
        return false;
    }
    const NativeSection *claimed = layout_.find(SectionKind::seek_table);
    if (!claimed || claimed->offset != found->offset) placed_.table = Table::found;
    placed_.table_offset = found->offset;
    return true;
}

void Placer::place_without_table(std::vector<Stretch> stretches) {
    placed_.table = layout_.find(SectionKind::seek_table) ? Table::rebuilt : Table::none;
    const int64_t end = limit(VOR_HDRSIZE);
    const bool end_known = cut_at_section(&stretches);
    fill({0, tracks_, VOR_HDRSIZE, end, end_known}, stretches);
}

// ---- gaps

// The numbers of a gap that are for what is found there: those without a mark. More tracks than
// that tell that the marks are damage.
std::vector<int32_t> Placer::open_numbers(const Gap &gap,
                                          std::span<const Stretch> stretches) const {
    const auto good = std::count_if(stretches.begin(), stretches.end(),
                                    [](const Stretch &s) { return s.good(); });
    std::vector<int32_t> all;
    std::vector<int32_t> unmarked;
    for (int32_t n = gap.first; n < gap.last; ++n) {
        all.push_back(n);
        if (!is_mark(n)) unmarked.push_back(n);
    }
    return static_cast<size_t>(good) > unmarked.size() ? all : unmarked;
}

bool Placer::marks_are_lost(const Gap &gap) const {
    if (!has_table()) return layout_.find(SectionKind::seek_table) != nullptr;
    const auto begin = entries_.entries.begin();
    return std::find(begin + gap.first, begin + gap.last, 0) != begin + gap.last;
}

void Placer::fill(const Gap &gap, std::span<const Stretch> stretches) {
    const std::vector<int32_t> open = open_numbers(gap, stretches);
    const auto shares = share_numbers(
        stretches, {static_cast<int64_t>(open.size()), gap.end_known, marks_are_lost(gap)});
    int32_t next = gap.first;
    const auto keep_marks_up_to = [&](int32_t n) {
        for (; next < n; ++next)
            keep(next, entry(next), false);
        next = n + 1;
    };
    size_t given = 0;
    for (size_t i = 0; i < shares.size(); ++i) {
        const Stretch &stretch = stretches[i];
        if (stretch.good() && shares[i].count == 0) ++placed_.left_over;
        for (const size_t end = given + static_cast<size_t>(shares[i].count); given < end;
             ++given) {
            keep_marks_up_to(open[given]);
            if (stretch.good()) {
                keep(open[given], stretch.begin, shares[i].doubtful);
            } else {
                lose(open[given], &stretch, gap);
            }
        }
    }
    for (; given < open.size(); ++given) {
        keep_marks_up_to(open[given]);
        lose(open[given], nullptr, gap);
    }
    keep_marks_up_to(gap.last);
}

void Placer::keep(int32_t n, int64_t place, bool doubtful) {
    placed_.places[static_cast<size_t>(n)] = place;
    ++placed_.kept;
    if (has_table() && place != entry(n)) ++placed_.wrong_entries;
    if (!doubtful) return;
    auto &ranges = placed_.doubtful;
    if (!ranges.empty() && ranges.back().last == n - 1) {
        ranges.back().last = n;
    } else {
        ranges.push_back({n, n});
    }
}

Loss Placer::cause_of(int32_t n, const Stretch *stretch, const Gap &gap) {
    const auto i = static_cast<size_t>(n);
    if (entry(n) > 0 && entries_.ends[i] == 0) {
        return {n, n, LossKind::damaged, entries_.faults[i], entry(n)};
    }
    if (stretch) {
        if (stretch->begin != told_.begin) {
            told_ = *stretch;
            told_fault_ = walker_.decode(told_.begin, limit(told_.begin)).fault;
        }
        return {n, n, LossKind::damaged, told_fault_, told_.begin};
    }
    const NativeSection *table = table_layout_.find(SectionKind::seek_table);
    if (has_table() && table) {
        const int64_t at = table->offset + int64_t{n} * seek_entry_bytes(table_layout_);
        if (at < file_.size()) return {n, n, LossKind::astray, TrackFault::none, at};
    }
    if (!gap.end_known) return {n, n, LossKind::cut_off, TrackFault::none, file_.size()};
    return {n, n, LossKind::missing, TrackFault::none, gap.end};
}

void Placer::lose(int32_t n, const Stretch *stretch, const Gap &gap) {
    const Loss loss = cause_of(n, stretch, gap);
    if (loss.kind == LossKind::astray) ++placed_.wrong_entries;
    auto &losses = placed_.losses;
    if (!losses.empty() && losses.back().last == n - 1 && losses.back().kind == loss.kind &&
        losses.back().fault == loss.fault) {
        losses.back().last = n;
    } else {
        losses.push_back(loss);
    }
}

void Placer::note_extent() {
    const auto &places = placed_.places;
    const auto last = std::max_element(places.begin(), places.end());
    if (last == places.end() || *last <= 0) return;
    placed_.data.end = walker_.decode(*last, limit(*last)).end();
    placed_.data.begin = *last;
    for (const int64_t place : places) {
        if (place > 0) placed_.data.begin = std::min(placed_.data.begin, place);
    }
}

PlacedTracks Placer::place() {
    const std::vector<int64_t> known = limits_;
    const bool usable = read_table(layout_);
    if (usable && is_borne_out()) {
        placed_.table = Table::whole;
        take_table_as_it_is();
    } else if (usable && !begins_elsewhere()) {
        place_by_table();
    } else {
        limits_ = known;
        std::vector<Stretch> stretches = walk_all();
        if (find_table(stretches) || (usable && read_table(layout_))) {
            place_by_table();
        } else {
            place_without_table(std::move(stretches));
        }
    }
    note_extent();
    return std::move(placed_);
}

} // namespace

int64_t limit_behind(const std::vector<int64_t> &limits, int64_t offset, int64_t file_bytes) {
    const auto next = std::upper_bound(limits.begin(), limits.end(), offset);
    return next == limits.end() ? file_bytes : std::min(*next, file_bytes);
}

PlacedTracks place_tracks(FileBytes &file, const NativeLayout &layout,
                          const std::vector<int64_t> &limits, bool quiet) {
    return Placer(file, layout, limits, quiet).place();
}

} // namespace vor::tool
