#include "stop_stretches.h"

#include <algorithm>

#include "report.h"
#include "track_range.h"
#include "trackfile/lf.h"

namespace vor::tool {
namespace {

uint32_t kind_of(uint32_t entry) {
    return entry & ~LF_STOP_TRACK;
}

int64_t track_of(uint32_t entry) {
    return entry & LF_STOP_TRACK;
}

// Sorted; those whose next one begins no more than `step` tracks behind their last become one.
std::vector<Stretch> merged(std::vector<Stretch> stretches, int64_t step) {
    std::sort(stretches.begin(), stretches.end(),
              [](const Stretch &a, const Stretch &b) { return a.first < b.first; });
    std::vector<Stretch> result;
    for (const Stretch &stretch : stretches) {
        if (!result.empty() && stretch.first - result.back().last <= step) {
            result.back().last = std::max(result.back().last, stretch.last);
        } else {
            result.push_back(stretch);
        }
    }
    return result;
}

} // namespace

std::optional<Stretch> parse_stretch(std::string_view text) {
    const size_t dash = text.find('-', 1);
    const auto first = parse_track(text.substr(0, dash));
    if (!first) return std::nullopt;
    if (dash == std::string_view::npos) return Stretch{*first, *first};
    const std::string_view end = text.substr(dash + 1);
    const auto last = end.empty() ? end_of_image : parse_track(end);
    if (!last || *last < *first) return std::nullopt;
    return Stretch{*first, *last};
}

const char *StretchReader::wrong_with(uint32_t entry) const {
    const int64_t track = track_of(entry);
    if (track >= tracks_) return "is beyond the image";
    if (track <= before_) return "is out of order";
    switch (kind_of(entry)) {
    case LF_STOP_FIRST:
    case LF_STOP_SINGLE:
        return open_ ? "begins a stretch inside another" : nullptr;
    case LF_STOP_LAST:
        return open_ || entries_ == 0 ? nullptr : "ends a stretch that has not begun";
    default:
        return "is of no kind";
    }
}

void StretchReader::refuse(uint32_t entry, const char *why) {
    if (!fault_.empty()) return;
    fault_ = format("the stop table is damaged: entry %lld, track %lld, ",
                    static_cast<long long>(entries_), static_cast<long long>(track_of(entry))) +
             why;
}

void StretchReader::take(uint32_t entry) {
    const int64_t track = track_of(entry);
    if (const char *why = wrong_with(entry)) {
        refuse(entry, why);
    } else {
        before_ = track;
        if (kind_of(entry) == LF_STOP_FIRST) {
            open_ = track;
        } else {
            const int64_t alone = kind_of(entry) == LF_STOP_SINGLE ? track : 0;
            stretches_.push_back({open_.value_or(alone), track});
            open_.reset();
        }
    }
    ++entries_;
}

void StretchReader::finish() {
    if (open_) stretches_.push_back({*open_, tracks_ - 1});
    open_.reset();
}

std::vector<Stretch> united(std::vector<Stretch> stretches) {
    return merged(std::move(stretches), 0);
}

std::vector<Stretch> joined(std::vector<Stretch> stretches) {
    return merged(std::move(stretches), 1);
}

std::vector<uint32_t> entries_of(std::span<const Stretch> stretches) {
    std::vector<uint32_t> entries;
    for (const Stretch &stretch : stretches) {
        const auto first = static_cast<uint32_t>(stretch.first);
        const auto last = static_cast<uint32_t>(stretch.last);
        if (first == last) {
            entries.push_back(LF_STOP_SINGLE | first);
        } else {
            entries.push_back(LF_STOP_FIRST | first);
            entries.push_back(LF_STOP_LAST | last);
        }
    }
    return entries;
}

} // namespace vor::tool
