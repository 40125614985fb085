#include "gap_numbers.h"

#include <gtest/gtest.h>

#include <string>

namespace vor::tool {
namespace {

// Stretches as text: "." is a good track, a digit a damaged stretch that seems to have held so
// many.
std::vector<Stretch> stretches_of(const std::string &text) {
    std::vector<Stretch> stretches;
    for (const char c : text)
        stretches.push_back({static_cast<int64_t>(stretches.size()), c == '.' ? 0 : c - '0'});
    return stretches;
}

// The numbers as text: each track's digit, "?" behind a doubtful one, "-" for one without a number,
// "x" for each number that a damaged stretch takes.
std::string shares_of(const std::string &text, const GapKnowledge &gap) {
    const std::vector<Stretch> stretches = stretches_of(text);
    const std::vector<GapShare> shares = share_numbers(stretches, gap);
    std::string told;
    for (size_t i = 0; i < shares.size(); ++i) {
        if (!stretches[i].good()) {
            told += std::string(static_cast<size_t>(shares[i].count), 'x');
        } else {
            told += shares[i].count == 0 ? "-" : std::to_string(shares[i].first);
            told += shares[i].doubtful ? "?" : "";
        }
    }
    return told;
}

struct Case {
    const char *stretches;
    int64_t numbers;
    bool end_known;
    bool marks_lost;
    const char *shares;
};

} // namespace

TEST(GapNumbers, CountFromTheEndsThatAreKnown) {
    constexpr Case cases[] = {
        {"", 0, true, false, ""},
        {"...", 3, true, false, "012"},
        {"...", 5, false, false, "012"},   // cut off
        {"...", 5, true, false, "0?1?2?"}, // two are gone without a trace
        {".1.", 3, true, false, "0x2"},
        {".1.", 5, true, false, "0xxx4"},      // the damage held more than it seems
        {".2.", 2, true, false, "01"},         // the damage is a split track's rest
        {".1.", 4, false, false, "0x2?"},      // what follows may be one on
        {".1.2.", 6, true, false, "0x2xx5"},   // as many as there seem to be
        {".1.1.", 7, true, false, "0x2?xxx6"}, // from the end, but for the middle
        {".1.1.", 7, false, false, "0x2?x4?"},
        {"1.", 2, true, false, "x1"},
        {".1", 2, true, false, "0x"},
        {".1", 3, false, false, "0x"},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(shares_of(c.stretches, {c.numbers, c.end_known, c.marks_lost}), c.shares)
            << c.stretches << " for " << c.numbers;
    }
}

TEST(GapNumbers, CountFromTheFrontWhereBlankTracksMayBeMissing) {
    constexpr Case cases[] = {
        {"...", 3, true, true, "012"}, // no room for a blank one
        {"...", 4, true, true, "0?1?2?"},
        {".1.", 4, true, true, "0?x2?"},
        {".1.", 3, true, true, "0x2"},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(shares_of(c.stretches, {c.numbers, c.end_known, c.marks_lost}), c.shares)
            << c.stretches << " for " << c.numbers;
    }
}

TEST(GapNumbers, MoreTracksThanNumbersAreLeftOver) {
    EXPECT_EQ(shares_of("...", {2, true, false}), "0?1?-?");
    EXPECT_EQ(shares_of(".1.", {1, true, false}), "0?-?");
    EXPECT_EQ(shares_of("..", {0, true, false}), "-?-?");
}

} // namespace vor::tool
