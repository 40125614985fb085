// The stop table.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "support/failing_malloc.h"
#include "support/owned_handles.h"
#include "support/report_log.h"
#include "support/toy_format.h"
#include "trackfile/lf.h"

namespace vor::test {
namespace {

using Stops = std::vector<uint32_t>;

constexpr uint32_t first = LF_STOP_FIRST;
constexpr uint32_t last = LF_STOP_LAST;
constexpr uint32_t single = LF_STOP_SINGLE;

class StopsTest : public ::testing::Test {
protected:
    ReportLog log;
    Toy toy = Toy::memory();

    Handle open_read(int32_t tracks = 20) {
        toy.tracks = tracks;
        return Handle(lfdopen(-1, "x", LF_READ, 0, nullptr));
    }
    Handle open_write(int32_t tracks = 6) {
        Handle h(lfdopen(-1, "x", LF_WRITE | LF_STOPS, Toy::type(), nullptr));
        EXPECT_EQ(lfsetsize(h.get(), tracks, 50), 0);
        EXPECT_EQ(lfcheck(h.get()), 0);
        return h;
    }
    static void assign(const Handle &h, const Stops &stops) {
        auto *table = static_cast<uint32_t *>(std::malloc(stops.size() * sizeof(uint32_t) + 1));
        std::copy(stops.begin(), stops.end(), table);
        EXPECT_EQ(lfassignstoptable(h.get(), table, static_cast<uint32_t>(stops.size())), 0);
    }
    static Stops stops_of(const Handle &h) {
        const uint32_t *table = lfstoptable(h.get());
        return table ? Stops(table, table + lfstoptablesize(h.get())) : Stops();
    }
    Stops reverted(const Stops &stops, int32_t tracks = 20) {
        const Handle h = open_read(tracks);
        assign(h, stops);
        EXPECT_EQ(lfrevertstoptable(h.get()), 0);
        return stops_of(h);
    }
};

using Lfassignstoptable = StopsTest;
using Lfsetstop = StopsTest;
using Lfrevertstoptable = StopsTest;

// ---- lfassignstoptable ----------------------------------------------------------------------

TEST_F(Lfassignstoptable, TakesOverTheTableAndFreesTheOldOne) {
    const Handle h = open_read();
    assign(h, {1, 2, 3});
    EXPECT_EQ(stops_of(h), (Stops{1, 2, 3}));
    assign(h, {4, 5});
    EXPECT_EQ(stops_of(h), (Stops{4, 5}));
}

TEST_F(Lfassignstoptable, OfNothingHasNoEntriesWhateverTheCount) {
    const Handle h = open_read();
    assign(h, {1, 2, 3});
    EXPECT_EQ(lfassignstoptable(h.get(), nullptr, 7), 0);
    EXPECT_EQ(lfstoptable(h.get()), nullptr);
    EXPECT_EQ(lfstoptablesize(h.get()), 0u);
}

// ---- lfsetstop ------------------------------------------------------------------------------

TEST_F(Lfsetstop, MarksATrackWithEachKind) {
    const Handle h = open_write();
    EXPECT_EQ(lfsetstop(h.get(), 0, first), 0);
    EXPECT_EQ(lfsetstop(h.get(), 2, last), 0);
    EXPECT_EQ(lfsetstop(h.get(), 5, single), 0);
    const uint32_t *table = lfstoptable(h.get());
    EXPECT_EQ((Stops{table, table + 6}),
              (Stops{0, LF_STOP_NONE, last | 2, LF_STOP_NONE, LF_STOP_NONE, single | 5}));
}

TEST_F(Lfsetstop, ReplacesAnEarlierMark) {
    const Handle h = open_write();
    ASSERT_EQ(lfsetstop(h.get(), 2, first), 0);
    EXPECT_EQ(lfsetstop(h.get(), 2, single), 0);
    EXPECT_EQ(lfstoptable(h.get())[2], single | 2);
}

TEST_F(Lfsetstop, NegativeTrackIsTheOneToBeWrittenNext) {
    const Handle h = open_write();
    Track track;
    track.put({{50, 0}});
    for (int32_t i = 0; i < 3; ++i)
        ASSERT_EQ(lfwrite(h.get(), track.get(), i), 0);
    EXPECT_EQ(lfsetstop(h.get(), -1, single), 0);
    EXPECT_EQ(lfstoptable(h.get())[3], single | 3);
    EXPECT_EQ(lfsetstop(h.get(), 0, single), 0);
    EXPECT_EQ(lfstoptable(h.get())[0], single) << "0 is a track of its own";
}

TEST_F(Lfsetstop, TrackBeyondTheImageIsCode3UnderAnotherCallsName) {
    const Handle h = open_write();
    for (const int32_t track : {6, 7, INT32_MAX}) {
        EXPECT_EQ(lfsetstop(h.get(), track, first), -1);
        EXPECT_EQ(log.take(), Lines{"lfsetinfo: invalid track number: " + std::to_string(track)});
    }
}

TEST_F(Lfsetstop, AnotherKindIsAnInvalidArgument) {
    const Handle h = open_write();
    for (const uint32_t kind : {1u, 2u, last | single, LF_STOP_NONE, last | 1u}) {
        EXPECT_EQ(lfsetstop(h.get(), 2, kind), -1);
        EXPECT_EQ(log.take(), Lines{"lfsetinfo: invalid argument"});
    }
    EXPECT_EQ(lfstoptable(h.get())[2], LF_STOP_NONE);
}

TEST_F(Lfsetstop, WithoutATableIsAnInvalidArgument) {
    const Handle h = open_read();
    EXPECT_EQ(lfsetstop(h.get(), 2, first), -1);
    EXPECT_EQ(log.take(), Lines{"lfsetinfo: invalid argument"});
}

TEST_F(Lfsetstop, BeyondTheRoomOfATableIsAnInvalidArgument) {
    const Handle h = open_read();
    assign(h, {1, 2, 3});
    EXPECT_EQ(lfsetstop(h.get(), 2, first), 0);
    EXPECT_EQ(lfsetstop(h.get(), 3, first), -1);
    EXPECT_EQ(log.take(), Lines{"lfsetinfo: invalid argument"});
}

TEST_F(Lfsetstop, NegativeTrackBeforeTheFirstReadIsAnInvalidArgument) {
    const Handle h = open_read();
    assign(h, {1, 2, 3});
    ASSERT_EQ(lfcurrentrow(h.get()), -1);
    EXPECT_EQ(lfsetstop(h.get(), -1, first), -1);
    EXPECT_EQ(log.take(), Lines{"lfsetinfo: invalid argument"});
}

TEST_F(Lfsetstop, BehindTheTracksThatLaterGrowthMadeRoomForIsAnInvalidArgument) {
    const Handle h(lfdopen(-1, "x", LF_WRITE | LF_STOPS | LF_GROW, Toy::type(), nullptr));
    ASSERT_EQ(lfsetsize(h.get(), 2, 50), 0);
    Track track;
    track.put({{50, 0}});
    for (int32_t i = 0; i < 3; ++i)
        ASSERT_EQ(lfwrite(h.get(), track.get(), i), 0);
    ASSERT_EQ(h->xsize, 3);
    EXPECT_EQ(lfsetstop(h.get(), 1, first), 0);
    EXPECT_EQ(lfsetstop(h.get(), 2, first), -1) << "the stop table did not grow";
}

// ---- lfrevertstoptable ----------------------------------------------------------------------

TEST_F(Lfrevertstoptable, OfNoTableDoesNothing) {
    const Handle h = open_read();
    EXPECT_EQ(lfrevertstoptable(h.get()), 0);
    EXPECT_EQ(lfstoptable(h.get()), nullptr);
}

TEST_F(Lfrevertstoptable, OfNoEntriesKeepsTheTable) {
    const Handle h = open_read();
    assign(h, {});
    EXPECT_EQ(lfrevertstoptable(h.get()), 0);
    EXPECT_NE(lfstoptable(h.get()), nullptr);
}

TEST_F(Lfrevertstoptable, OfAPlainEntryForTrackZeroIsEmpty) {
    const Handle h = open_read();
    assign(h, {0});
    EXPECT_EQ(lfrevertstoptable(h.get()), 0);
    EXPECT_EQ(lfstoptable(h.get()), nullptr);
    EXPECT_EQ(lfstoptablesize(h.get()), 0u);
}

TEST_F(Lfrevertstoptable, OfAStretchInTheMiddleIsWhatLiesAroundIt) {
    EXPECT_EQ(reverted({5, last | 9}), (Stops{last | 4, 10}));
}

TEST_F(Lfrevertstoptable, OfASingleTrackIsWhatLiesAroundIt) {
    EXPECT_EQ(reverted({single | 5}), (Stops{last | 4, 6}));
}

TEST_F(Lfrevertstoptable, OfTrackZeroAloneOpensBehindIt) {
    EXPECT_EQ(reverted({single | 0}), (Stops{1}));
}

TEST_F(Lfrevertstoptable, ATrackBetweenTwoStretchesBecomesASingleOne) {
    EXPECT_EQ(reverted({2, last | 5, 7, last | 9}), (Stops{last | 1, single | 6, 10}));
    EXPECT_EQ(reverted({single | 4, single | 6}), (Stops{last | 3, single | 5, 7}));
    EXPECT_EQ(reverted({0, last | 5, single | 7}), (Stops{single | 6, 8}));
}

TEST_F(Lfrevertstoptable, SeveralTracksBetweenTwoStretchesBecomeAStretch) {
    EXPECT_EQ(reverted({2, last | 5, 9, last | 11}), (Stops{last | 1, 6, last | 8, 12}));
}

TEST_F(Lfrevertstoptable, AStretchUpToTheLastTrackOpensNothingBehindIt) {
    EXPECT_EQ(reverted({5, last | 19}, 20), (Stops{last | 4}));
    EXPECT_EQ(reverted({single | 19}, 20), (Stops{last | 18}));
    EXPECT_EQ(reverted({5, last | 18}, 20), (Stops{last | 4, 19}));
}

TEST_F(Lfrevertstoptable, OfTheWholeImageIsEmpty) {
    EXPECT_EQ(reverted({0, last | 19}, 20), Stops());
}

TEST_F(Lfrevertstoptable, AStretchLeftOpenHasNothingBehindIt) {
    EXPECT_EQ(reverted({5}), (Stops{last | 4}));
}

TEST_F(Lfrevertstoptable, AnEndWithoutABeginningOpensBehindIt) {
    EXPECT_EQ(reverted({last | 5}), (Stops{6}));
}

TEST_F(Lfrevertstoptable, TwiceGivesTheStretchesBackInsideTheImage) {
    const Handle h = open_read();
    assign(h, {5, last | 9});
    ASSERT_EQ(lfrevertstoptable(h.get()), 0);
    ASSERT_EQ(lfrevertstoptable(h.get()), 0);
    EXPECT_EQ(stops_of(h), (Stops{5, last | 9}));
}

TEST_F(Lfrevertstoptable, HasRoomForATableOfSinglesOnly) {
    Stops singles, expected = {last | 0};
    for (uint32_t track = 1; track < 1000; track += 3) {
        singles.push_back(single | track);
        if (track > 1) expected.push_back(last | (track - 1));
        expected.push_back(track + 1);
    }
    EXPECT_EQ(reverted(singles, 2000), expected);
}

TEST_F(Lfrevertstoptable, EntriesInNoOrderDoNoHarm) {
    EXPECT_EQ(reverted({last | 9, single | 0, 5, single | 0x3FFFFFFF}, 20).size() > 0, true);
}

TEST_F(Lfrevertstoptable, WithoutMemoryIsCode5AndKeepsTheTable) {
    const Handle h = open_read();
    assign(h, {5, last | 9});
    {
        const FailingMalloc no_memory(1);
        EXPECT_EQ(lfrevertstoptable(h.get()), -1);
    }
    EXPECT_EQ(log.take(), Lines{"lfrevertstoptable: out of memory"});
    EXPECT_EQ(stops_of(h), (Stops{5, last | 9}));
}

} // namespace
} // namespace vor::test
