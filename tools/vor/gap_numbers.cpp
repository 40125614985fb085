#include "gap_numbers.h"

#include <algorithm>

namespace vor::tool {
namespace {

struct Counts {
    int64_t good = 0;
    int64_t damaged_stretches = 0;
    int64_t damaged_tracks = 0; // as it seems
    size_t first_damage = 0;
    size_t last_damage = 0;
};

Counts count(std::span<const Stretch> stretches) {
    Counts counts;
    for (size_t i = 0; i < stretches.size(); ++i) {
        if (stretches[i].good()) {
            ++counts.good;
            continue;
        }
        if (counts.damaged_stretches++ == 0) counts.first_damage = i;
        counts.last_damage = i;
        counts.damaged_tracks += stretches[i].damaged;
    }
    return counts;
}

// Whether the number of the good track at `i` is nothing but likely.
bool is_doubtful(const Counts &counts, const GapKnowledge &gap, int64_t missing, size_t i) {
    const bool from_end = gap.end_known && !gap.marks_lost;
    if (missing == counts.damaged_tracks) return false;
    if (missing < 0) return true;
    if (gap.marks_lost) return true;
    if (counts.damaged_stretches == 0) return gap.end_known;
    if (i < counts.first_damage) return false;
    return !from_end || i < counts.last_damage;
}

} // namespace

std::vector<GapShare> share_numbers(std::span<const Stretch> stretches, const GapKnowledge &gap) {
    const Counts counts = count(stretches);
    const int64_t missing = gap.numbers - counts.good;
    const bool from_end = gap.end_known && !gap.marks_lost;
    int64_t spare = std::max<int64_t>(missing, 0); // numbers for what is damaged
    int64_t next = 0;
    std::vector<GapShare> shares;
    for (size_t i = 0; i < stretches.size(); ++i) {
        GapShare share{next, 0, false};
        if (stretches[i].good()) {
            share.count = next < gap.numbers ? 1 : 0;
            share.doubtful = is_doubtful(counts, gap, missing, i);
        } else {
            const bool takes_all = from_end && i == counts.last_damage;
            share.count = takes_all ? spare : std::min<int64_t>(stretches[i].damaged, spare);
            spare -= share.count;
        }
        next += share.count;
        shares.push_back(share);
    }
    return shares;
}

} // namespace vor::tool
