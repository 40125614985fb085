// Stretches of tracks: as they are written, and as entries of a stop table.

#include "stop_stretches.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "trackfile/lf.h"

namespace vor::tool {

bool operator==(const Stretch &a, const Stretch &b) {
    return a.first == b.first && a.last == b.last;
}

namespace {

constexpr uint32_t first = LF_STOP_FIRST;
constexpr uint32_t last = LF_STOP_LAST;
constexpr uint32_t single = LF_STOP_SINGLE;
constexpr int64_t tracks = 100;

using Stretches = std::vector<Stretch>;
using Entries = std::vector<uint32_t>;

StretchReader read(const Entries &entries) {
    StretchReader reader(tracks);
    for (const uint32_t entry : entries)
        reader.take(entry);
    reader.finish();
    return reader;
}

TEST(StopStretch, IsATrackOrBothItsEnds) {
    EXPECT_EQ(parse_stretch("10"), (Stretch{10, 10}));
    EXPECT_EQ(parse_stretch("0-0"), (Stretch{0, 0}));
    EXPECT_EQ(parse_stretch("20-35"), (Stretch{20, 35}));
    EXPECT_EQ(parse_stretch("40-"), (Stretch{40, end_of_image}));
    EXPECT_EQ(parse_stretch("2147483647"), (Stretch{2147483647, 2147483647}));
}

TEST(StopStretch, AnythingElseIsNone) {
    for (const char *text : {"", "-", "-5", "-5-6", "5--6", "6-5", "5-6-7", "x", "5x", "5-x", " 5",
                             "5 ", "1.5", "+5", "2147483648", "0x10"})
        EXPECT_FALSE(parse_stretch(text)) << text;
}

TEST(StopStretch, EntriesComeBackAsStretches) {
    const Stretches stretches = {{0, 0}, {1, 2}, {3, 50}, {99, 99}};
    const Entries entries = entries_of(stretches);
    EXPECT_EQ(entries,
              (Entries{single | 0, first | 1, last | 2, first | 3, last | 50, single | 99}));
    EXPECT_EQ(read(entries).stretches(), stretches);
    EXPECT_EQ(read(entries).fault(), "");
}

TEST(StopStretch, TablesEndsMayBeOpen) {
    const StretchReader reader = read({last | 4, single | 7, first | 90});
    EXPECT_EQ(reader.stretches(), (Stretches{{0, 4}, {7, 7}, {90, 99}}));
    EXPECT_EQ(reader.fault(), "");
    EXPECT_EQ(read({first | 0}).stretches(), (Stretches{{0, 99}}));
    EXPECT_EQ(read({}).stretches(), Stretches{});
}

TEST(StopStretch, FaultsAreLeftOutAndTheFirstIsTold) {
    struct Row {
        Entries entries;
        Stretches stretches;
        const char *fault;
    };
    const Row rows[] = {
        {{single | 1, single | 100}, {{1, 1}}, "entry 1, track 100, is beyond the image"},
        {{single | 5, single | 5}, {{5, 5}}, "entry 1, track 5, is out of order"},
        {{single | 5, first | 2, last | 6}, {{5, 5}}, "entry 1, track 2, is out of order"},
        {{first | 1, first | 3, last | 5}, {{1, 5}}, "entry 1, track 3, begins a stretch inside"},
        {{first | 1, single | 3, last | 5}, {{1, 5}}, "entry 1, track 3, begins a stretch inside"},
        {{single | 1, last | 3, single | 5}, {{1, 1}, {5, 5}}, "entry 1, track 3, ends a stretch"},
        {{last | single | 1, single | 3}, {{3, 3}}, "entry 0, track 1, is of no kind"},
        {{LF_STOP_NONE, single | 200}, {}, "entry 0, track 1073741823, is beyond"},
    };
    for (const Row &row : rows) {
        const StretchReader reader = read(row.entries);
        EXPECT_EQ(reader.stretches(), row.stretches) << row.fault;
        EXPECT_NE(reader.fault().find(row.fault), std::string::npos) << reader.fault();
    }
}

TEST(StopStretch, ThoseThatShareATrackAreOne) {
    EXPECT_EQ(united({{5, 9}, {0, 3}, {9, 12}, {3, 3}}), (Stretches{{0, 3}, {5, 12}}));
    EXPECT_EQ(united({{0, 20}, {5, 6}, {21, 22}}), (Stretches{{0, 20}, {21, 22}}));
    EXPECT_EQ(united({}), Stretches{});
}

TEST(StopStretch, NeighboursMayBeJoined) {
    EXPECT_EQ(joined({{2, 2}, {1, 1}, {4, 5}, {6, 9}, {8, 8}}), (Stretches{{1, 2}, {4, 9}}));
    EXPECT_EQ(joined({}), Stretches{});
}

} // namespace
} // namespace vor::tool
