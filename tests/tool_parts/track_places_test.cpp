#include "track_places.h"

#include <gtest/gtest.h>

#include "native_sample.h"

namespace vor::tool {
namespace {

using test::Bytes;
using test::NativeSample;
using test::VorBytes;
using Kind = TrackPlace::Kind;

// Four tracks, the second blank: data at 256, 258 and 261.
VorBytes four_tracks() {
    VorBytes bytes(VT_FW8, 4, 20);
    bytes.track({{20, 0}});
    bytes.blank(255);
    bytes.track({{10, 1}, {10, 0}});
    bytes.track({{20, 1}});
    return bytes;
}

// Three tracks without a table.
VorBytes three_plain_tracks() {
    VorBytes bytes(VT_FW8, 3, 20);
    bytes.track({{20, 0}});
    bytes.track({{10, 1}, {10, 0}});
    bytes.track({{20, 1}});
    return bytes;
}

TEST(TrackPlaces, AreThoseOfTheSeekTable) {
    VorBytes bytes = four_tracks();
    bytes.seek_table();
    NativeSample sample(bytes);
    const NativeLayout layout = sample.layout();
    TrackPlaces places(sample.file(), layout, true);
    EXPECT_EQ(places.find(0).kind, Kind::data);
    EXPECT_EQ(places.find(0).offset, 256);
    EXPECT_EQ(places.find(1).kind, Kind::blank);
    EXPECT_EQ(places.find(1).colour, 255);
    EXPECT_EQ(places.find(1).offset, layout.sections[0].offset + 4);
    EXPECT_EQ(places.find(2).offset, 258);
    EXPECT_EQ(places.find(3).offset, 261);
}

TEST(TrackPlaces, AnEntryThatIsNoneTellsNothing) {
    for (const int64_t entry : {int64_t{0}, int64_t{255}, int64_t{-257}, int64_t{0x7FFFFFFF}}) {
        VorBytes bytes = four_tracks();
        bytes.entries[2] = entry;
        bytes.seek_table();
        NativeSample sample(bytes);
        const NativeLayout layout = sample.layout();
        const TrackPlace place = TrackPlaces(sample.file(), layout, true).find(2);
        EXPECT_EQ(place.kind, Kind::unknown);
        EXPECT_EQ(place.why, "its entry of the seek table is " + std::to_string(entry));
    }
}

TEST(TrackPlaces, EndWithATableThatIsCutOff) {
    VorBytes bytes = four_tracks();
    bytes.seek_table();
    Bytes cut = bytes.bytes();
    cut.resize(cut.size() - 5);
    NativeSample sample(cut);
    const NativeLayout layout = sample.layout();
    TrackPlaces places(sample.file(), layout, true);
    EXPECT_EQ(places.find(1).kind, Kind::blank);
    EXPECT_EQ(places.find(2).kind, Kind::end);
}

TEST(TrackPlaces, WithoutATableAreWalkedTo) {
    NativeSample sample(three_plain_tracks());
    const NativeLayout layout = sample.layout();
    TrackPlaces places(sample.file(), layout, true);
    EXPECT_EQ(places.find(2).offset, 261);
    EXPECT_EQ(places.find(0).offset, 256);
    EXPECT_EQ(places.find(1).offset, 258);
    EXPECT_EQ(places.find(3).kind, Kind::end);
    EXPECT_EQ(places.find(3).why, "the tracks end in front of it");
}

TEST(TrackPlaces, AWalkEndsAtATrackWithoutEnd) {
    VorBytes bytes = three_plain_tracks();
    Bytes cut = bytes.bytes();
    cut.resize(260);
    NativeSample sample(cut);
    const NativeLayout layout = sample.layout();
    TrackPlaces places(sample.file(), layout, true);
    EXPECT_EQ(places.find(1).kind, Kind::data);
    EXPECT_EQ(places.find(2).kind, Kind::end);
    EXPECT_EQ(places.find(2).why, "track 1 in front of it has no end");
    EXPECT_EQ(places.find(0x7FFFFFFF).kind, Kind::end);
}

TEST(TrackPlaces, KnowTheTrackAroundAnOffset) {
    for (const bool table : {true, false}) {
        VorBytes bytes = three_plain_tracks();
        if (table) bytes.seek_table();
        NativeSample sample(bytes);
        const NativeLayout layout = sample.layout();
        const struct {
            int64_t offset, track, begin;
        } rows[] = {{256, 0, 256}, {257, 0, 256}, {258, 1, 258},
                    {260, 1, 258}, {261, 2, 261}, {262, 2, 261}};
        for (const auto &row : rows) {
            TrackPlaces places(sample.file(), layout, true);
            const TrackAround around = places.around(row.offset);
            EXPECT_EQ(around.track, row.track) << row.offset;
            EXPECT_EQ(around.begin, row.begin) << row.offset;
        }
    }
}

TEST(TrackPlaces, InFrontOfAllTracksThereIsNone) {
    VorBytes bytes(VT_FW8, 1, 20);
    bytes.put(Bytes(8, 0x11));
    bytes.track({{20, 0}});
    bytes.seek_table();
    NativeSample sample(bytes);
    const NativeLayout layout = sample.layout();
    TrackPlaces places(sample.file(), layout, true);
    const TrackAround around = places.around(260);
    EXPECT_FALSE(around.track);
    EXPECT_EQ(around.begin, 256);
    EXPECT_EQ(around.next, 264);
}

TEST(ToldRanges, JoinTheirNeighbours) {
    ToldRanges told;
    EXPECT_FALSE(told.holds(300));
    EXPECT_EQ(told.next(0), INT64_MAX);
    told.add(300, 310);
    told.add(320, 330);
    EXPECT_TRUE(told.holds(300));
    EXPECT_TRUE(told.holds(309));
    EXPECT_FALSE(told.holds(310));
    EXPECT_FALSE(told.holds(299));
    EXPECT_EQ(told.next(299), 300);
    EXPECT_EQ(told.next(310), 320);
    told.add(310, 320);
    for (int64_t at = 300; at < 330; ++at)
        EXPECT_TRUE(told.holds(at)) << at;
    EXPECT_FALSE(told.holds(330));
    EXPECT_EQ(told.next(300), INT64_MAX);
}

} // namespace
} // namespace vor::tool
