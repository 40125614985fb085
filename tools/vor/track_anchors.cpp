#include "track_anchors.h"

#include <algorithm>
#include <cstddef>

#include "salvage_places.h"

namespace vor::tool {
namespace {

int64_t of(const std::vector<int64_t> &list, int32_t n) {
    return list[static_cast<size_t>(n)];
}

// Good tracks that touch the one before or behind.
std::vector<int32_t> find_linked(const TrackEntries &table, const std::vector<int64_t> &limits,
                                 int64_t file_bytes) {
    std::vector<int32_t> linked;
    int32_t before = -1;  // the last one with data
    bool reached = false; // by the track before
    for (int32_t n = 0; n < static_cast<int32_t>(table.entries.size()); ++n) {
        const int64_t begin = of(table.entries, n);
        if (begin <= 0) continue;
        const bool reaches = before >= 0 && of(table.ends, before) == begin;
        if (before >= 0 && of(table.ends, before) > 0 && (reached || reaches)) {
            linked.push_back(before);
        }
        reached = reaches || (before < 0 && begin == VOR_HDRSIZE);
        before = n;
    }
    if (before >= 0 && of(table.ends, before) > 0) {
        const int64_t end = of(table.ends, before);
        if (reached || end == limit_behind(limits, end - 1, file_bytes)) linked.push_back(before);
    }
    return linked;
}

// The longest part of a list of tracks whose entries ascend.
std::vector<int32_t> longest_ascent(const TrackEntries &table, const std::vector<int32_t> &list) {
    std::vector<size_t> tails; // of the ascents of each length, the one with the lowest end
    std::vector<size_t> previous(list.size());
    for (size_t i = 0; i < list.size(); ++i) {
        const auto below = [&](size_t tail, int64_t entry) {
            return of(table.entries, list[tail]) < entry;
        };
        const auto at =
            std::lower_bound(tails.begin(), tails.end(), of(table.entries, list[i]), below);
        previous[i] = at == tails.begin() ? i : *(at - 1);
        if (at == tails.end()) {
            tails.push_back(i);
        } else {
            *at = i;
        }
    }
    std::vector<int32_t> ascent(tails.size());
    size_t i = tails.empty() ? 0 : tails.back();
    for (size_t left = ascent.size(); left > 0; i = previous[i])
        ascent[--left] = list[i];
    return ascent;
}

} // namespace

std::vector<int32_t> find_anchors(const TrackEntries &table, const std::vector<int64_t> &limits,
                                  int64_t file_bytes) {
    const std::vector<int32_t> sure = longest_ascent(table, find_linked(table, limits, file_bytes));
    std::vector<int32_t> anchors;
    auto next = sure.begin();
    int64_t reached = VOR_HDRSIZE;
    for (int32_t n = 0; n < static_cast<int32_t>(table.entries.size()); ++n) {
        const bool is_sure = next != sure.end() && *next == n;
        if (is_sure) ++next;
        const int64_t end = of(table.ends, n);
        const int64_t most = next == sure.end() ? file_bytes : of(table.entries, *next);
        const bool fits = end > 0 && of(table.entries, n) >= reached && end <= most;
        if (!fits) continue;
        anchors.push_back(n);
        reached = end;
    }
    return anchors;
}

} // namespace vor::tool
