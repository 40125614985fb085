// lfcheck, the end of the set-up, and the tables of a handle that writes.

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "support/byte_file.h"
#include "support/failing_malloc.h"
#include "support/owned_handles.h"
#include "support/report_log.h"
#include "support/temp_dir.h"
#include "support/toy_format.h"
#include "trackfile/lf.h"

namespace vor::test {
namespace {

class CheckTest : public ::testing::Test {
protected:
    ReportLog log;
    Toy toy = Toy::memory();

    Handle open(uint32_t mode) { return Handle(lfdopen(-1, "x", mode, Toy::type(), nullptr)); }
    Handle open_write(uint32_t mode = 0) {
        Handle h = open(LF_WRITE | mode);
        EXPECT_EQ(lfsetsize(h.get(), 4, 50), 0);
        return h;
    }
};

using Lfcheck = CheckTest;
using LfcheckOnRead = CheckTest;
using LfcheckOnWrite = CheckTest;
using LfcheckOnUpdate = CheckTest;
using Lffitmemory = CheckTest;

// ---- every road -----------------------------------------------------------------------------

TEST_F(Lfcheck, TwiceIsRefused) {
    for (const Handle &h : {open(LF_READ), open(LF_UPDATE), open_write()}) {
        ASSERT_EQ(lfcheck(h.get()), 0);
        toy.calls.clear();
        EXPECT_EQ(lfcheck(h.get()), -1);
        EXPECT_EQ(log.take(), Lines{"lfcheck: invalid argument | lfcheck called more than once"});
        EXPECT_TRUE(toy.calls.empty());
    }
}

TEST_F(Lfcheck, IsPassedAgainAfterItFailed) {
    toy.check_result = -1;
    const Handle h = open(LF_READ);
    EXPECT_EQ(lfcheck(h.get()), -1);
    EXPECT_EQ(h->flags & LF_CHECKED, 0u);
    toy.check_result = 0;
    EXPECT_EQ(lfcheck(h.get()), 0);
    EXPECT_TRUE(h->flags & LF_CHECKED);
}

TEST_F(Lfcheck, FailureOfTheFormatIsSilentIfItGivesNoReason) {
    toy.check_result = -1;
    for (const Handle &h : {open(LF_READ), open(LF_UPDATE), open_write()}) {
        EXPECT_EQ(lfcheck(h.get()), -1);
        EXPECT_TRUE(log.empty());
    }
}

TEST_F(Lfcheck, FailureOfTheFormatRepeatsTheReasonThatItGave) {
    toy.check_result = -1;
    toy.on_check = [](xvor_t *h) { lferror(h, "toy_check", LFE_CORRUPT, 0, nullptr); };
    for (const Handle &h : {open(LF_READ), open(LF_UPDATE), open_write()}) {
        EXPECT_EQ(lfcheck(h.get()), -1);
        EXPECT_EQ(log.take(), (Lines{"toy_check: file corrupted",
                                     "lfcheck: file corrupted | format check failed"}));
    }
}

TEST_F(Lfcheck, StartsTheStatisticsAnew) {
    const Handle h = open(LF_READ);
    h->iocount = 5;
    h->iotime = h->iomin = h->iomax = 7;
    h->trkcount = 9;
    h->trktime = h->trkmin = h->trkmax = 11;
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_EQ(h->iocount, 0);
    EXPECT_EQ(h->iotime, 0u);
    EXPECT_EQ(h->iomin, UINT64_MAX);
    EXPECT_EQ(h->iomax, 0u);
    EXPECT_EQ(h->trkcount, 0u);
    EXPECT_EQ(h->trktime, 0u);
    EXPECT_EQ(h->trkmin, UINT64_MAX);
    EXPECT_EQ(h->trkmax, 0u);
}

// ---- read road ------------------------------------------------------------------------------

TEST_F(LfcheckOnRead, GoesToTheFirstTrack) {
    const Handle h = open(LF_READ);
    EXPECT_EQ(lfcurrentrow(h.get()), -1);
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_EQ(lfcurrentrow(h.get()), 0);
    EXPECT_EQ(toy.seeks, std::vector<int32_t>{0});
    EXPECT_EQ(h->seekcap, 10);
}

TEST_F(LfcheckOnRead, FirstTrackMayBeBlank) {
    toy.seek_results[0] = 17;
    const Handle h = open(LF_READ);
    EXPECT_EQ(lfcheck(h.get()), 0);
}

TEST_F(LfcheckOnRead, FailsIfTheFirstTrackIsNotReached) {
    toy.seek_results[0] = -1;
    const Handle h = open(LF_READ);
    EXPECT_EQ(lfcheck(h.get()), -1);
    EXPECT_EQ(h->flags & LF_CHECKED, 0u);
}

TEST_F(LfcheckOnRead, WithoutAReaderIsCode9) {
    toy.readtrack = nullptr;
    const Handle h = open(LF_READ);
    EXPECT_EQ(lfcheck(h.get()), -1);
    EXPECT_EQ(log.take(), Lines{"lfcheck: read not supported"});
}

TEST_F(LfcheckOnRead, OutputSizeIsKnownToTheFormatByThen) {
    const Handle h = open(LF_READ);
    ASSERT_EQ(lfsetsize(h.get(), 30, 70), 0);
    bool seen = false;
    toy.on_check = [&](xvor_t *handle) {
        seen =
            handle->xsize == 30 && handle->ysize == 70 && handle->otrack && handle->seekcap == 30;
    };
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_TRUE(seen);
}

TEST_F(LfcheckOnRead, AnEmptyImageIsAtItsEnd) {
    toy.tracks = 0;
    const Handle h = open(LF_READ);
    EXPECT_EQ(lfcheck(h.get()), 0);
    EXPECT_TRUE(h->flags & LF_EOF);
}

// ---- update road ----------------------------------------------------------------------------

TEST_F(LfcheckOnUpdate, NeedsNoReaderAndSeeksNothing) {
    toy.readtrack = nullptr;
    const Handle h = open(LF_UPDATE);
    EXPECT_EQ(lfcheck(h.get()), 0);
    EXPECT_EQ(lfcurrentrow(h.get()), -1);
    EXPECT_EQ(h->seekcap, 10);
    EXPECT_TRUE(toy.seeks.empty());
}

// ---- write road -----------------------------------------------------------------------------

TEST_F(LfcheckOnWrite, WithoutASizeTheFileIsEmpty) {
    const Handle h = open(LF_WRITE);
    EXPECT_EQ(lfcheck(h.get()), -1);
    EXPECT_EQ(log.take(), Lines{"lfcheck: invalid argument | empty file"});
    EXPECT_EQ(toy.count("check"), 0);
}

TEST_F(LfcheckOnWrite, UnderGrowThePixelsMustBeSetAllTheSame) {
    const Handle h = open(LF_WRITE | LF_GROW);
    ASSERT_EQ(h->seekcap, 1000);
    ASSERT_EQ(h->ysize, 0);
    EXPECT_EQ(lfcheck(h.get()), -1);
    EXPECT_EQ(log.take(), Lines{"lfcheck: invalid argument | empty file"});
}

TEST_F(LfcheckOnWrite, DefaultResolutionIsGoodEnough) {
    const Handle h = open_write();
    EXPECT_EQ(lfcheck(h.get()), 0);
    EXPECT_TRUE(log.empty());
    EXPECT_EQ(h->fxres, 20.0);
    EXPECT_EQ(h->fyres, 20.0);
}

TEST_F(LfcheckOnWrite, NoResolutionIsAWarning) {
    for (double xvor_t::*resolution : {&xvor_t::xres, &xvor_t::yres}) {
        const Handle h = open_write();
        (h.get()->*resolution) = 0;
        EXPECT_EQ(lfcheck(h.get()), 0);
        EXPECT_EQ(log.take(), Lines{"lfcheck: warning | no resolution set"});
    }
}

TEST_F(LfcheckOnWrite, OutputGeometryBecomesTheFiles) {
    const Handle h = open_write();
    ASSERT_EQ(lfscale(h.get(), 30, 40), 0);
    h->fxsize = h->fysize = 0;
    h->fxres = h->fyres = 0;
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_EQ(h->fxsize, 4);
    EXPECT_EQ(h->fysize, 50);
    EXPECT_EQ(h->fxres, 30.0);
    EXPECT_EQ(h->fyres, 40.0);
}

TEST_F(LfcheckOnWrite, MakesTheSeekTableAndMarksTheHeader) {
    const Handle h = open_write();
    h->flags &= ~LF_DIRTY;
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_NE(lfseektable(h.get()), nullptr);
    EXPECT_EQ(lfstoptable(h.get()), nullptr);
    EXPECT_TRUE(h->flags & LF_DIRTY);
    EXPECT_EQ(h->bufend, h->buf + h->bufsize);
    EXPECT_EQ(lfcurrentrow(h.get()), 0);
}

TEST_F(LfcheckOnWrite, BufferEndFollowsASizeThatTheFormatChanged) {
    toy.on_check = [](xvor_t *h) {
        h->buf = static_cast<uint8_t *>(std::realloc(h->buf, 100));
        h->bufsize = 100;
        h->bufptr = h->buf;
    };
    const Handle h = open_write();
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_EQ(h->bufend, h->buf + 100);
}

TEST_F(LfcheckOnWrite, UnderGrowTheTracksAreCountedFromZero) {
    const Handle h = open_write(LF_GROW);
    h->xsize = 9;
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_EQ(h->xsize, 0);
    EXPECT_EQ(h->seekcap, 4);
}

TEST_F(LfcheckOnWrite, BehindTheFirstTrackIsAWarning) {
    const Handle h = open_write();
    Track track;
    track.put({{50, 0}});
    ASSERT_EQ(lfwrite(h.get(), track.get(), 0), 0);
    ASSERT_EQ(lfscale(h.get(), 30, 30), 0);
    log.take();
    EXPECT_EQ(lfcheck(h.get()), 0);
    EXPECT_EQ(log.take(), Lines{"lfcheck: warning | called after lfwrite"});
    EXPECT_EQ(lfwrite(h.get(), track.get(), 1), 0);
}

TEST_F(LfcheckOnWrite, WithoutAWriterIsCode10) {
    toy.writetrack = nullptr;
    const Handle h = open_write();
    EXPECT_EQ(lfcheck(h.get()), -1);
    EXPECT_EQ(log.take(), Lines{"lfcheck: write not supported"});
}

TEST_F(LfcheckOnWrite, UnderRawFw32NoTablesAreMade) {
    const Handle h = open_write();
    h->flags |= LF_RAWFW32;
    h->flags &= ~LF_DIRTY;
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_EQ(lfseektable(h.get()), nullptr);
    EXPECT_EQ(h->flags & LF_DIRTY, 0u);
    Track track;
    track.put({{50, 0}});
    for (int32_t i = 0; i < 4; ++i)
        EXPECT_EQ(lfwrite(h.get(), track.get(), i), 0) << "tracks go out without a table";
}

TEST_F(LfcheckOnWrite, WithoutMemoryForTheTablesFails) {
    const Handle h = open_write();
    {
        const FailingMalloc no_memory(1);
        EXPECT_EQ(lfcheck(h.get()), -1);
    }
    EXPECT_EQ(log.take(), Lines{"lffitmemory: out of memory"});
    EXPECT_EQ(lfcheck(h.get()), 0) << "the handle stays usable";
}

// ---- lffitmemory ----------------------------------------------------------------------------

TEST_F(Lffitmemory, MakesASeekTableOfTheHandlesCapacity) {
    const Handle h = open_write();
    EXPECT_EQ(lffitmemory(h.get()), 0);
    ASSERT_NE(lfseektable(h.get()), nullptr);
    EXPECT_EQ(lfstoptable(h.get()), nullptr);
    for (int32_t i = 0; i < 4; ++i)
        lfseektable(h.get())[i] = i; // the address checker has the last word
}

TEST_F(Lffitmemory, UnderStopsMakesATableOfNoStops) {
    const Handle h = open_write(LF_STOPS);
    EXPECT_EQ(lffitmemory(h.get()), 0);
    ASSERT_NE(lfstoptable(h.get()), nullptr);
    for (int32_t i = 0; i < 4; ++i)
        EXPECT_EQ(lfstoptable(h.get())[i], LF_STOP_NONE);
    EXPECT_EQ(lfstoptablesize(h.get()), 0u);
}

TEST_F(Lffitmemory, ResizesASeekTableAndKeepsItsEntries) {
    const Handle h = open_write();
    ASSERT_EQ(lffitmemory(h.get()), 0);
    for (int32_t i = 0; i < 4; ++i)
        lfseektable(h.get())[i] = 100 + i;
    h->seekcap = 5000;
    EXPECT_EQ(lffitmemory(h.get()), 0);
    for (int32_t i = 0; i < 4; ++i)
        EXPECT_EQ(lfseektable(h.get())[i], 100 + i);
    lfseektable(h.get())[4999] = 1;
}

TEST_F(Lffitmemory, ResizingLeavesTheStopTableAsItIs) {
    const Handle h = open_write(LF_STOPS);
    ASSERT_EQ(lffitmemory(h.get()), 0);
    uint32_t *const stops = lfstoptable(h.get());
    stops[2] = 2;
    h->seekcap = 5000;
    EXPECT_EQ(lffitmemory(h.get()), 0);
    EXPECT_EQ(lfstoptable(h.get()), stops);
    EXPECT_EQ(stops[2], 2u);
}

TEST_F(Lffitmemory, AnAssignedStopTableIsKeptAndFilledUp) {
    const Handle h = open_write(LF_STOPS);
    auto *table = static_cast<uint32_t *>(std::malloc(2 * sizeof(uint32_t)));
    table[0] = 7;
    table[1] = 8;
    ASSERT_EQ(lfassignstoptable(h.get(), table, 2), 0);
    EXPECT_EQ(lffitmemory(h.get()), 0);
    const uint32_t *stops = lfstoptable(h.get());
    EXPECT_EQ((std::vector<uint32_t>{stops, stops + 4}),
              (std::vector<uint32_t>{7, 8, LF_STOP_NONE, LF_STOP_NONE}));
    EXPECT_EQ(lfstoptablesize(h.get()), 2u);
}

TEST_F(Lffitmemory, WithoutMemoryForTheSeekTableReportsCode5) {
    const Handle h = open_write(LF_STOPS);
    {
        const FailingMalloc no_memory(1);
        EXPECT_EQ(lffitmemory(h.get()), -1);
    }
    EXPECT_EQ(log.take(), Lines{"lffitmemory: out of memory"});
    EXPECT_EQ(lfseektable(h.get()), nullptr);
}

TEST_F(Lffitmemory, WithoutMemoryForANewStopTableDropsTheSeekTable) {
    const Handle h = open_write(LF_STOPS);
    {
        const FailingMalloc no_memory(2);
        EXPECT_EQ(lffitmemory(h.get()), -1);
    }
    EXPECT_EQ(log.take(), Lines{"lffitmemory: out of memory"});
    EXPECT_EQ(lfseektable(h.get()), nullptr);
    EXPECT_EQ(lfstoptable(h.get()), nullptr);
}

TEST_F(Lffitmemory, WithoutMemoryToResizeTheStopTableDropsIt) {
    const Handle h = open_write(LF_STOPS);
    ASSERT_EQ(lfassignstoptable(h.get(), static_cast<uint32_t *>(std::calloc(2, 4)), 2), 0);
    {
        const FailingMalloc no_memory(2);
        EXPECT_EQ(lffitmemory(h.get()), -1);
    }
    EXPECT_EQ(lfstoptable(h.get()), nullptr);
    EXPECT_EQ(lfseektable(h.get()), nullptr);
}

} // namespace
} // namespace vor::test
