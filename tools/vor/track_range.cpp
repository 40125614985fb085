#include "track_range.h"

#include <charconv>

namespace vor::tool {

std::optional<int64_t> parse_track(std::string_view text) {
    int32_t track = 0;
    const char *end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, track);
    if (error != std::errc() || rest != end || text.front() == '-') return std::nullopt;
    return track;
}

std::optional<TrackRange> parse_track_range(std::string_view text) {
    const size_t colon = text.find(':');
    const std::string_view head = text.substr(0, colon);
    TrackRange range;
    if (colon == std::string_view::npos) {
        const auto track = parse_track(head);
        if (!track) return std::nullopt;
        return TrackRange{*track, *track + 1};
    }
    const std::string_view tail = text.substr(colon + 1);
    const auto first = parse_track(head);
    const auto end = parse_track(tail);
    if ((!first && !head.empty()) || (!end && !tail.empty())) return std::nullopt;
    range.first = first.value_or(0);
    range.end = end;
    if (range.end && *range.end < range.first) return std::nullopt;
    return range;
}

} // namespace vor::tool
