#include "run_comparison.h"

#include <algorithm>

namespace vor::tool {
namespace {

// Stands at a pixel of a list of runs.
class Cursor {
public:
    explicit Cursor(std::span<const lfrun> runs) : runs_(runs) { skip_empty(); }

    bool at_end() const { return runs_.empty(); }
    uint32_t code() const { return runs_.front().colour; }
    // Pixels of this code from here on.
    int64_t rest() const { return int64_t{runs_.front().length} - used_; }

    void advance(int64_t pixels) {
        used_ += pixels;
        if (rest() > 0) return;
        runs_ = runs_.subspan(1);
        used_ = 0;
        skip_empty();
    }

private:
    void skip_empty() {
        while (!runs_.empty() && runs_.front().length == 0)
            runs_ = runs_.subspan(1);
    }

    std::span<const lfrun> runs_;
    int64_t used_ = 0; // pixels of the front run that lie behind
};

void count(const PixelDifference &found, int64_t pixels, uint32_t tolerance,
           RunDifferences *differences) {
    const uint32_t distance =
        std::max(found.first, found.second) - std::min(found.first, found.second);
    if (distance == 0) return;
    differences->largest = std::max(differences->largest, distance);
    if (distance <= tolerance) {
        differences->tolerated += pixels;
        return;
    }
    differences->pixels += pixels;
    if (!differences->leading) differences->leading = found;
}

} // namespace

RunDifferences compare_runs(std::span<const lfrun> a, std::span<const lfrun> b, int64_t length,
                            uint32_t tolerance) {
    RunDifferences differences;
    Cursor at_a(a);
    Cursor at_b(b);
    for (int64_t pixel = 0; pixel < length && !at_a.at_end() && !at_b.at_end();) {
        const int64_t pixels = std::min({at_a.rest(), at_b.rest(), length - pixel});
        count({pixel, at_a.code(), at_b.code()}, pixels, tolerance, &differences);
        at_a.advance(pixels);
        at_b.advance(pixels);
        pixel += pixels;
    }
    return differences;
}

} // namespace vor::tool
