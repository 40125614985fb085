#include "track_range.h"

#include <gtest/gtest.h>

namespace vor::tool {
namespace {

TEST(TrackRangeText, LeavesOutEitherEnd) {
    const struct {
        const char *text;
        int64_t first;
        std::optional<int64_t> end;
    } rows[] = {{"5:8", 5, 8},
                {"5:", 5, std::nullopt},
                {":8", 0, 8},
                {":", 0, std::nullopt},
                {"5", 5, 6},
                {"0", 0, 1},
                {"5:5", 5, 5},
                {"0:0", 0, 0},
                {"2147483647:", 2147483647, std::nullopt},
                {"2147483647", 2147483647, 2147483648}};
    for (const auto &row : rows) {
        const auto range = parse_track_range(row.text);
        ASSERT_TRUE(range) << row.text;
        EXPECT_EQ(range->first, row.first) << row.text;
        EXPECT_EQ(range->end, row.end) << row.text;
    }
}

TEST(TrackRangeText, AnythingElseIsNone) {
    for (const char *text : {"", "a", "5:4", "-1", "-1:", ":-1", "5:8:9", "5 :8", "+5", "5.0",
                             "0x5", "2147483648", ":2147483648", "5-8", ":a", "1:2 "})
        EXPECT_FALSE(parse_track_range(text)) << text;
}

} // namespace
} // namespace vor::tool
