#include "codecs/run_gatherer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

#include "support/owned_handles.h"

namespace vor::test {
namespace {

TEST(RunGatherer, JoinsPiecesOfOneColour) {
    Track track(8);
    RunGatherer<Order::forward> runs(track.get());
    EXPECT_TRUE(runs.add(3, 7));
    EXPECT_TRUE(runs.add(5, 7));
    EXPECT_TRUE(runs.add(6, 0));
    EXPECT_EQ(runs.pixels(), 6u);
    EXPECT_TRUE(runs.finish());
    runs.publish(track.get());
    EXPECT_EQ(track.runs(), (Runs{{5, 7}, {1, 0}}));
    EXPECT_EQ(track->data, track->base + 1);
}

TEST(RunGatherer, DropsAnEmptyPieceWithItsColour) {
    Track track(8);
    RunGatherer<Order::forward> runs(track.get());
    runs.add(0, 9);
    runs.add(4, 1);
    runs.add(4, 2);
    runs.add(6, 1);
    EXPECT_TRUE(runs.finish());
    runs.publish(track.get());
    EXPECT_EQ(track.runs(), (Runs{{6, 1}}));
}

TEST(RunGatherer, KeepsRunsApartByTheBitsAboveTheColourCode) {
    Track track(8);
    RunGatherer<Order::forward> runs(track.get());
    runs.add(2, 0x00005);
    runs.add(3, 0x10005);
    EXPECT_TRUE(runs.finish());
    runs.publish(track.get());
    EXPECT_EQ(track.runs(), (Runs{{2, 5}, {1, 5}}));
}

TEST(RunGatherer, StartKeepsARunApartFromOneOfItsColour) {
    Track track(8);
    RunGatherer<Order::forward> runs(track.get());
    runs.add(2, 5);
    runs.start(4, 5);
    runs.add(5, 5);
    EXPECT_TRUE(runs.finish());
    runs.publish(track.get());
    EXPECT_EQ(track.runs(), (Runs{{2, 5}, {3, 5}}));
}

TEST(RunGatherer, ReversedFillsFromTheLastButOneUnitDown) {
    Track track(8);
    RunGatherer<Order::reversed> runs(track.get());
    runs.add(3, 1);
    runs.add(5, 2);
    runs.add(9, 3);
    EXPECT_TRUE(runs.finish());
    runs.publish(track.get());
    EXPECT_EQ(track.runs(), (Runs{{4, 3}, {2, 2}, {3, 1}}));
    EXPECT_EQ(track->data, track->base + 5);
    EXPECT_EQ(track->base[7].length, 3u);
}

// Takes so many pieces, each of a colour of its own, and gives the place of the four runs that the
// next four pieces would leave behind the one at hand.
template <Order order>
uintptr_t four_behind(RunGatherer<order> *runs, ptrdiff_t pieces) {
    for (ptrdiff_t i = 0; i < pieces; ++i)
        runs->add(runs->pixels() + 1, 1000 + runs->pixels());
    const lfrun *const slot = runs->next_slot();
    return reinterpret_cast<uintptr_t>(order == Order::forward ? slot + 1 : slot - 4);
}

template <Order order>
void expect_aligned_places() {
    for (int32_t size = 16; size < 20; ++size) {
        for (ptrdiff_t before = 0; before < 5; ++before) {
            Track track(static_cast<uint32_t>(size));
            RunGatherer<order> runs(track.get());
            four_behind(&runs, before);
            const ptrdiff_t pieces = runs.pieces_to_aligned();
            EXPECT_GE(pieces, 1);
            EXPECT_LE(pieces, 4);
            EXPECT_EQ(four_behind(&runs, pieces) % 32, 0u) << size << ", " << before;
        }
    }
}

TEST(RunGatherer, TellsHowManyPiecesBringRunsToAlignedPlaces) {
    expect_aligned_places<Order::forward>();
    expect_aligned_places<Order::reversed>();
}

TEST(RunGatherer, WithoutPixelsGivesNoRuns) {
    Track track(8);
    RunGatherer<Order::forward> forward(track.get());
    EXPECT_TRUE(forward.finish());
    forward.publish(track.get());
    EXPECT_EQ(track->nruns, 0);
    RunGatherer<Order::reversed> reversed(track.get());
    EXPECT_TRUE(reversed.finish());
    reversed.publish(track.get());
    EXPECT_EQ(track->nruns, 0);
    EXPECT_EQ(track->data, track->base + 8);
}

// Fills a buffer of 3 runs, tries a fourth, and looks at the guards.
template <Order order>
void expect_bounded() {
    Track track(3);
    const lfrun front = track->base[0];
    const lfrun back = track->base[4];
    RunGatherer<order> runs(track.get());
    for (uint32_t i = 1; i <= 3; ++i)
        EXPECT_TRUE(runs.add(i, i));
    EXPECT_EQ(runs.room(), 1u);
    EXPECT_TRUE(runs.add(4, 4));
    EXPECT_EQ(runs.room(), 0u);
    EXPECT_TRUE(runs.add(6, 4)) << "joins the run at hand, which needs no room";
    EXPECT_FALSE(runs.add(7, 5));
    EXPECT_EQ(runs.pixels(), 6u) << "the piece was not taken";
    EXPECT_FALSE(runs.finish());
    runs.publish(track.get());
    EXPECT_EQ(track->nruns, 3);
    EXPECT_EQ(std::memcmp(&track->base[4], &back, sizeof back), 0);
    if (order == Order::forward) {
        EXPECT_EQ(std::memcmp(&track->base[0], &front, sizeof front), 0);
    }
}

TEST(RunGatherer, ForwardStaysBetweenTheGuards) {
    expect_bounded<Order::forward>();
}

TEST(RunGatherer, ReversedStaysInTheStorage) {
    expect_bounded<Order::reversed>();
}

TEST(RunGatherer, WithoutStorageHasNoRoom) {
    trackbuf none = {};
    none.size = 100;
    RunGatherer<Order::forward> runs(&none);
    EXPECT_EQ(runs.room(), 0u);
    EXPECT_TRUE(runs.add(4, 1)) << "a run at hand needs none";
    EXPECT_FALSE(runs.finish());
    runs.publish(&none);
    EXPECT_EQ(none.nruns, 0);
    EXPECT_EQ(none.data, nullptr);
}

TEST(RunGatherer, KnownRoomGivesTheSameRuns) {
    Track known(8);
    Track tested(8);
    RunGatherer<Order::forward> a(known.get());
    RunGatherer<Order::forward> b(tested.get());
    uint32_t end = 0;
    for (const uint32_t length : {2u, 0u, 3u, 1u, 0u, 4u}) {
        end += length;
        const uint32_t colour = (length * 5) % 3;
        EXPECT_TRUE(a.add<Room::known>(end, colour));
        EXPECT_TRUE(b.add<Room::tested>(end, colour));
    }
    EXPECT_TRUE(a.finish());
    EXPECT_TRUE(b.finish());
    a.publish(known.get());
    b.publish(tested.get());
    EXPECT_EQ(known.runs(), tested.runs());
    EXPECT_EQ(known->nruns, 3);
}

} // namespace
} // namespace vor::test
