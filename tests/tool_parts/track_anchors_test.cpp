#include "track_anchors.h"

#include <gtest/gtest.h>

#include "vor/vor.h"

namespace vor::tool {
namespace {

using Numbers = std::vector<int32_t>;

// A table whose entries lead to good tracks of 10 bytes each, but for those in `damaged`.
TrackEntries table_of(const std::vector<int64_t> &entries, const Numbers &damaged = {}) {
    TrackEntries table{entries, std::vector<int64_t>(entries.size()),
                       std::vector<TrackFault>(entries.size()), 0};
    for (size_t n = 0; n < entries.size(); ++n) {
        if (entries[n] > 0) table.ends[n] = entries[n] + 10;
    }
    for (const int32_t n : damaged)
        table.ends[static_cast<size_t>(n)] = 0;
    return table;
}

Numbers anchors_of(const TrackEntries &table) {
    return find_anchors(table, {VOR_HDRSIZE + 60}, 1000);
}

} // namespace

TEST(TrackAnchors, AllOfAWholeTable) {
    EXPECT_EQ(anchors_of(table_of({256, 266, 276, 286, 296, 306})), (Numbers{0, 1, 2, 3, 4, 5}));
}

TEST(TrackAnchors, MarksAndImpossibleEntriesAreNone) {
    EXPECT_EQ(anchors_of(table_of({256, -1, 266, 0, 276, 286, 296, 306})),
              (Numbers{0, 2, 4, 5, 6, 7}));
}

TEST(TrackAnchors, DamagedTracksAreNone) {
    EXPECT_EQ(anchors_of(table_of({256, 266, 276, 286, 296, 306}, {1, 3})), (Numbers{0, 2, 4, 5}));
}

// An entry that leads to another track's data does not push that track out.
TEST(TrackAnchors, TheTrackThatTouchesItsNeighboursWins) {
    EXPECT_EQ(anchors_of(table_of({256, 276, 276, 286, 296, 306})), (Numbers{0, 2, 3, 4, 5}));
    EXPECT_EQ(anchors_of(table_of({256, 266, 266, 286, 296, 306})), (Numbers{0, 1, 3, 4, 5}));
    EXPECT_EQ(anchors_of(table_of({256, 266, 276, 256, 296, 306})), (Numbers{0, 1, 2, 4, 5}));
}

TEST(TrackAnchors, OfPartsInWrongOrderTheLongestStays) {
    EXPECT_EQ(anchors_of(table_of({296, 306, 256, 266, 276, 286})), (Numbers{2, 3, 4, 5}));
}

TEST(TrackAnchors, ALonelyTrackJoinsWhereItFitsIn) {
    EXPECT_EQ(anchors_of(table_of({256, 266, 0, 281, 0, 306})), (Numbers{0, 1, 3, 5}));
    EXPECT_EQ(anchors_of(table_of({256, 266, 0, 259, 0, 306})), (Numbers{0, 1, 5}));
}

TEST(TrackAnchors, AnEmptyTableHasNone) {
    EXPECT_EQ(anchors_of({}), Numbers{});
}

} // namespace vor::tool
