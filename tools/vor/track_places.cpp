#include "track_places.h"

#include <algorithm>

#include "interrupt.h"
#include "report.h"

namespace vor::tool {
namespace {

// A table that begins at 0 is one that was never written.
const NativeSection *table_of(const NativeLayout &layout) {
    const NativeSection *table = layout.find(SectionKind::seek_table);
    return table && table->offset > 0 ? table : nullptr;
}

} // namespace

TrackPlaces::TrackPlaces(FileBytes &file, const NativeLayout &layout, bool quiet)
    : file_(file), layout_(layout), table_(table_of(layout)), decoder_(file, shape_of(layout)),
      progress_(file.name(), layout.file_bytes, quiet || table_), place_(layout.tracks_begin) {}

TrackPlace TrackPlaces::by_table(int64_t track) const {
    const int64_t at = table_->offset + track * seek_entry_bytes(layout_);
    const auto entry = seek_entry(file_, layout_, track);
    if (!entry) {
        return {TrackPlace::Kind::end, at, 0,
                "its entry of the seek table is beyond the end of the file"};
    }
    if (is_blank_mark(*entry)) return {TrackPlace::Kind::blank, at, blank_colour(*entry), ""};
    if (is_track_place(*entry) && *entry < layout_.file_bytes) {
        return {TrackPlace::Kind::data, *entry, 0, ""};
    }
    return {TrackPlace::Kind::unknown, at, 0,
            "its entry of the seek table is " + format("%lld", static_cast<long long>(*entry))};
}

// Walks over one track. False if that has no end.
bool TrackPlaces::step() {
    stop_if_interrupted();
    progress_.reach(place_);
    const DecodedTrack track = decoder_.decode(place_, layout_.file_bytes);
    lost_ = !track.ended;
    if (lost_) return false;
    ++walked_;
    place_ = track.end();
    return true;
}

TrackPlace TrackPlaces::find(int64_t track) {
    if (table_) return by_table(track);
    if (track < walked_) {
        walked_ = 0;
        place_ = layout_.tracks_begin;
        lost_ = false;
    }
    while (walked_ < track && !lost_)
        step();
    if (walked_ == track && place_ < layout_.tracks_end) {
        return {TrackPlace::Kind::data, place_, 0, ""};
    }
    return {TrackPlace::Kind::end, place_, 0,
            lost_ ? format("track %lld in front of it has no end", static_cast<long long>(walked_))
                  : "the tracks end in front of it"};
}

TrackAround TrackPlaces::around(int64_t offset) {
    TrackAround around;
    around.begin = layout_.tracks_begin;
    around.next = layout_.tracks_end > offset ? layout_.tracks_end : layout_.file_bytes;
    if (table_) {
        search_table(offset, &around);
    } else {
        walk_to(offset, &around);
    }
    return around;
}

void TrackPlaces::walk_to(int64_t offset, TrackAround *around) {
    while (walked_ < layout_.header.tracks && place_ <= offset && !lost_) {
        around->track = walked_;
        around->begin = place_;
        around->all_known = step();
    }
}

void TrackPlaces::search_table(int64_t offset, TrackAround *around) const {
    for (int64_t track = 0; track < layout_.header.tracks; ++track) {
        stop_if_interrupted();
        const auto entry = seek_entry(file_, layout_, track);
        around->all_known =
            around->all_known && entry && (is_track_place(*entry) || is_blank_mark(*entry));
        if (!entry) break;
        if (!is_track_place(*entry)) continue;
        if (*entry > offset) {
            around->next = std::min(around->next, *entry);
        } else if (!around->track || *entry > around->begin) {
            around->track = track;
            around->begin = *entry;
        }
    }
}

bool ToldRanges::holds(int64_t offset) const {
    const auto behind = ranges_.upper_bound(offset);
    return behind != ranges_.begin() && std::prev(behind)->second > offset;
}

int64_t ToldRanges::next(int64_t offset) const {
    const auto behind = ranges_.upper_bound(offset);
    return behind == ranges_.end() ? INT64_MAX : behind->first;
}

// `begin` lies in no stretch, and `end` in none but at its begin.
void ToldRanges::add(int64_t begin, int64_t end) {
    auto behind = ranges_.upper_bound(begin);
    if (behind != ranges_.end() && behind->first == end) {
        end = behind->second;
        behind = ranges_.erase(behind);
    }
    if (behind != ranges_.begin() && std::prev(behind)->second == begin) {
        std::prev(behind)->second = end;
    } else {
        ranges_.emplace_hint(behind, begin, end);
    }
}

} // namespace vor::tool
