// The table from output tracks to image tracks.

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "support/failing_malloc.h"
#include "support/owned_handles.h"
#include "support/report_log.h"
#include "support/toy_format.h"
#include "trackfile/lf.h"

namespace vor::test {
namespace {

using Tracks = std::vector<int32_t>;

class OutputTracks : public ::testing::Test {
protected:
    ReportLog log;
    Toy toy = Toy::memory();

    Handle open(int32_t xa, int32_t xe, int32_t xsize) {
        toy.tracks = xe;
        Handle h(lfdopen(-1, "x", LF_READ, 0, nullptr));
        int32_t window[4] = {xa, 0, xe, 0};
        EXPECT_EQ(lfclip(h.get(), window), 0);
        EXPECT_EQ(lfsetsize(h.get(), xsize, 100), 0);
        return h;
    }
    // The table with its end, or nothing where there is none.
    Tracks table(int32_t xa, int32_t xe, int32_t xsize) {
        const Handle h = open(xa, xe, xsize);
        EXPECT_EQ(lfcheck(h.get()), 0);
        return h->otrack ? Tracks(h->otrack, h->otrack + xsize + 1) : Tracks();
    }
};

// The rule with nothing done to it for speed.
Tracks plain_table(int32_t xa, int32_t xe, int32_t xsize) {
    const int32_t width = xe - xa;
    Tracks table;
    int32_t error = -(width >> 1);
    if (error == 0) error = -1;
    int32_t source = xa;
    int32_t last = xa;
    for (int32_t i = 0; i < xsize; ++i) {
        if (error < 0) {
            error += xsize;
            while (error < 0) {
                error += xsize;
                ++source;
            }
            last = source;
            ++source;
        }
        table.push_back(last);
        error -= width;
    }
    table.push_back(xe);
    return table;
}

TEST_F(OutputTracks, HaveNoTableWithoutScaling) {
    EXPECT_EQ(table(0, 10, 10), Tracks());
    EXPECT_EQ(table(3, 8, 5), Tracks());
}

TEST_F(OutputTracks, RepeatImageTracksWhenEnlarged) {
    EXPECT_EQ(table(0, 3, 6), (Tracks{0, 0, 1, 1, 2, 2, 3}));
    EXPECT_EQ(table(4, 6, 6), (Tracks{4, 4, 4, 5, 5, 5, 6}));
}

TEST_F(OutputTracks, JumpOverImageTracksWhenReduced) {
    EXPECT_EQ(table(0, 10, 5), (Tracks{0, 2, 4, 6, 8, 10}));
    EXPECT_EQ(table(0, 10, 3), (Tracks{1, 4, 8, 10}));
    EXPECT_EQ(table(0, 10, 1), (Tracks{4, 10}));
}

TEST_F(OutputTracks, OfAWindowOfOneTrackAllShowIt) {
    EXPECT_EQ(table(7, 8, 3), (Tracks{7, 7, 7, 8}));
}

TEST_F(OutputTracks, AgreeWithThePlainRuleForAllSmallSizes) {
    for (int32_t width = 1; width <= 24; ++width) {
        for (int32_t xsize = 1; xsize <= 50; ++xsize) {
            if (width == xsize) continue;
            ASSERT_EQ(table(5, 5 + width, xsize), plain_table(5, 5 + width, xsize))
                << width << " to " << xsize;
        }
    }
}

TEST_F(OutputTracks, StayWithinTheWindowAndNeverGoBack) {
    for (const int32_t xsize : {1, 2, 7, 99, 101, 1000, 4096}) {
        const Tracks tracks = table(50, 150, xsize);
        ASSERT_EQ(tracks.size(), static_cast<size_t>(xsize) + 1);
        for (size_t i = 0; i + 1 < tracks.size(); ++i) {
            EXPECT_GE(tracks[i], 50);
            EXPECT_LT(tracks[i], 150);
            EXPECT_LE(tracks[i], tracks[i + 1]);
        }
    }
}

TEST_F(OutputTracks, OfAnExtremeReductionTakeNoTimeToFind) {
    const Tracks tracks = table(0, 2000000000, 2);
    EXPECT_EQ(tracks, (Tracks{499999999, 1499999999, 2000000000}));
}

TEST_F(OutputTracks, TableIsDroppedWhenALaterSizeNeedsNone) {
    const Handle h = open(0, 10, 20);
    ASSERT_EQ(lfcheck(h.get()), 0);
    ASSERT_NE(h->otrack, nullptr);
    ASSERT_EQ(lfsetsize(h.get(), 10, 100), 0);
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_EQ(h->otrack, nullptr);
}

TEST_F(OutputTracks, TableIsRebuiltByALfcheckBehindAFailedOne) {
    toy.check_result = -1;
    const Handle h = open(0, 10, 20);
    ASSERT_EQ(lfcheck(h.get()), -1);
    ASSERT_EQ(lfsetsize(h.get(), 5, 100), 0);
    toy.check_result = 0;
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_EQ(Tracks(h->otrack, h->otrack + 6), (Tracks{0, 2, 4, 6, 8, 10}));
}

TEST_F(OutputTracks, WithoutMemoryForTheTableLfcheckFails) {
    const Handle h = open(0, 10, 20);
    {
        const FailingMalloc no_memory(1);
        EXPECT_EQ(lfcheck(h.get()), -1);
    }
    EXPECT_EQ(log.take(), Lines{"gen_otrack_tab: out of memory"});
    EXPECT_EQ(toy.count("check"), 0);
    EXPECT_EQ(lfcheck(h.get()), 0) << "the handle stays usable";
}

} // namespace
} // namespace vor::test
