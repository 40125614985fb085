// Stops: marked stretches of tracks, and the entries of a stop table that stand for them.
//
// A stretch is two entries, its first and its last track, or a single one. A table may begin with a
// last track: the stretch reaches back to track 0. It may end with a first one: the stretch goes on
// to the end of the image.
#ifndef VOR_TOOL_STOP_STRETCHES_H
#define VOR_TOOL_STOP_STRETCHES_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vor::tool {

// Both ends belong to it.
struct Stretch {
    int64_t first = 0;
    int64_t last = 0;
};

// A stretch as it is written on the command line, nothing if the text is none:
//
//   10    20-35    40- (to the end of the image)
std::optional<Stretch> parse_stretch(std::string_view text);
inline constexpr int64_t end_of_image = INT64_MAX;

// What the entries of a table say, in an image of that many tracks. Entries that make no sense are
// left out; the first of them is the fault.
class StretchReader {
public:
    explicit StretchReader(int64_t tracks) : tracks_(tracks) {}

    void take(uint32_t entry);
    // Behind the last entry.
    void finish();

    const std::vector<Stretch> &stretches() const { return stretches_; }
    const std::string &fault() const { return fault_; }

private:
    void refuse(uint32_t entry, const char *why);
    const char *wrong_with(uint32_t entry) const;

    int64_t tracks_;
    int64_t entries_ = 0;
    int64_t before_ = -1; // track of the last good entry
    std::optional<int64_t> open_;
    std::vector<Stretch> stretches_;
    std::string fault_;
};

// Sorted; those that share a track become one, and in the second form neighbours too.
std::vector<Stretch> united(std::vector<Stretch> stretches);
std::vector<Stretch> joined(std::vector<Stretch> stretches);

std::vector<uint32_t> entries_of(std::span<const Stretch> stretches);

} // namespace vor::tool

#endif
