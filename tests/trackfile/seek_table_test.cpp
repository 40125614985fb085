// The seek table: taken from the file, or made by walking through the image.

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "platform/kel.h"
#include "support/byte_file.h"
#include "support/failing_malloc.h"
#include "support/owned_handles.h"
#include "support/report_log.h"
#include "support/temp_dir.h"
#include "support/toy_format.h"
#include "trackfile/lf.h"

namespace vor::test {
namespace {

class SeekTableTest : public ::testing::Test {
protected:
    ReportLog log;
    TempDir dir;
    std::string name = dir.file("image.toy");
    Toy toy = Toy::bytes();
    Track track;

    Handle open(uint32_t mode = 0, int32_t type = 0) {
        write_bytes(name, Toy::coded_file(10));
        return Handle(lfopen(name.c_str(), LF_READ | mode, type, nullptr));
    }
    // The format brings a table of the file's own.
    void bring_table(std::vector<int64_t> entries) {
        toy.seektab_result = 1;
        toy.on_seektab = [entries](xvor_t *h) {
            for (int32_t i = 0; i < h->xsize; ++i)
                h->seektab[i] = entries[static_cast<size_t>(i)];
        };
    }
    static std::vector<int64_t> table_of(const Handle &h) {
        const int64_t *table = lfseektable(h.get());
        if (!table) return {};
        return {table, table + h->xsize};
    }
    static std::vector<int64_t> offsets_of(const std::vector<int32_t> &tracks) {
        std::vector<int64_t> offsets;
        for (const int32_t track : tracks)
            offsets.push_back(Toy::offset_of(track));
        return offsets;
    }
    static int32_t shown_maxruns(const Handle &h) {
        lfinfo info;
        lfgetinfo(h.get(), LF_OUTPUT_GEOMETRY, &info);
        return info.maxruns;
    }
};

using SeekTable = SeekTableTest;
using SeekTableWalk = SeekTableTest;
using SeekTableMeasure = SeekTableTest;
using SeekTableFailure = SeekTableTest;

// ---- when it is built -----------------------------------------------------------------------

TEST_F(SeekTable, IsAbsentAfterOpenAndThereAfterLfcheck) {
    const Handle h = open();
    EXPECT_EQ(lfseektable(h.get()), nullptr);
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_NE(lfseektable(h.get()), nullptr);
}

TEST_F(SeekTable, IsBuiltOnce) {
    const Handle h = open();
    for (int32_t i = 9; i >= 0; --i)
        ASSERT_GT(lfread(h.get(), track.get(), i), 0);
    EXPECT_EQ(toy.count("seektab"), 1);
    EXPECT_EQ(toy.skips, 10);
}

TEST_F(SeekTable, TheFormatMayAskForItAtOnceEvenUnderSequential) {
    bring_table(offsets_of({0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
    toy.flags = LF_NEEDSEEKTAB;
    const Handle h = open(LF_SEQUENTIAL);
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_EQ(toy.count("seektab"), 1);
    EXPECT_NE(lfseektable(h.get()), nullptr);
}

TEST_F(SeekTable, OneThatTheFormatHasBuiltItselfIsKept) {
    toy.flags = LF_NEEDSEEKTAB;
    toy.on_check = [](xvor_t *h) {
        h->seektab = static_cast<int64_t *>(std::malloc(10 * sizeof(int64_t)));
        h->seekroom = 10;
        for (int32_t i = 0; i < 10; ++i)
            h->seektab[i] = Toy::offset_of(9 - i);
    };
    const Handle h = open();
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_EQ(toy.count("seektab"), 0);
    EXPECT_EQ(table_of(h), offsets_of({9, 8, 7, 6, 5, 4, 3, 2, 1, 0}));
}

TEST_F(SeekTable, OfTheFileIsTakenAsTheFormatFillsIt) {
    std::vector<int64_t> entries = offsets_of({5, 5, 0, 1, 2, 3, 4, 9, 8, 7});
    entries[1] = -200;
    bring_table(entries);
    const Handle h = open();
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_EQ(table_of(h), entries);
    EXPECT_EQ(toy.skips, 0) << "nothing was walked";
    ASSERT_GT(lfread(h.get(), track.get(), 0), 0);
    EXPECT_EQ(track.runs()[0].first, 6u);
    EXPECT_EQ(lfseek(h.get(), 1, LF_SEEK_SET), 200);
}

TEST_F(SeekTable, OfTheFileKeepsTheLongestTrackThatTheFileTells) {
    bring_table(offsets_of({0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
    toy.maxruns = 55;
    const Handle h = open();
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_EQ(shown_maxruns(h), 55);
}

TEST_F(SeekTable, AfterALateClipIsBuiltAnewByTheNextLfcheck) {
    const Handle h = open();
    ASSERT_EQ(lfcheck(h.get()), 0);
    int32_t window[4] = {4, 0, 8, 0};
    ASSERT_EQ(lfclip(h.get(), window), 0);
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_EQ(table_of(h), offsets_of({4, 5, 6, 7}));
    for (int32_t i = 0; i < 4; ++i) {
        ASSERT_GT(lfread(h.get(), track.get(), i), 0);
        EXPECT_EQ(track.runs()[0].first, static_cast<uint32_t>(i + 5));
    }
}

TEST_F(SeekTable, OfASeekBeforeTheClipIsBuiltAnewByTheFirstLfcheck) {
    const Handle h = open();
    lfseek(h.get(), 0, LF_SEEK_SET);
    int32_t window[4] = {4, 0, 8, 0};
    ASSERT_EQ(lfclip(h.get(), window), 0);
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_EQ(table_of(h), offsets_of({4, 5, 6, 7}));
}

TEST_F(SeekTable, AfterALateWideningOfTheWindowIsBuiltAnewByTheNextLfcheck) {
    const Handle h = open();
    int32_t window[4] = {4, 0, 8, 0};
    ASSERT_EQ(lfclip(h.get(), window), 0);
    ASSERT_EQ(lfcheck(h.get()), 0);
    ASSERT_EQ(lfclip(h.get(), nullptr), 0);
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_EQ(table_of(h), offsets_of({0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
}

// ---- walking --------------------------------------------------------------------------------

TEST_F(SeekTableWalk, NotesWhereEachTrackBegins) {
    const Handle h = open();
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_EQ(toy.count("seektab"), 1) << "the file is asked first";
    EXPECT_EQ(table_of(h), offsets_of({0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
    EXPECT_EQ(h->clipoff, Toy::offset_of(0));
    EXPECT_EQ(toy.skips, 10);
    EXPECT_EQ(toy.reads, 0) << "no runs are decoded";
}

TEST_F(SeekTableWalk, IsMadeForAFormatWithoutATableFunctionToo) {
    const Handle h = open(LF_FORCETYPE, lffdev(Toy::bare_row(), 0));
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_EQ(table_of(h), offsets_of({0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
}

TEST_F(SeekTableWalk, MakesNoMeasurement) {
    toy.maxruns = 55;
    const Handle h = open();
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_EQ(h->maxruns, 1);
    EXPECT_EQ(shown_maxruns(h), 0);
}

TEST_F(SeekTableWalk, MakesNoneUnderMeasureEither) {
    const Handle h = open(LF_MEASURE);
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_EQ(h->maxruns, 1);
}

TEST_F(SeekTableWalk, OfAWindowBeginsAtItsFirstTrack) {
    const Handle h = open();
    int32_t window[4] = {3, 0, 7, 0};
    ASSERT_EQ(lfclip(h.get(), window), 0);
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_EQ(table_of(h), offsets_of({3, 4, 5, 6}));
    EXPECT_EQ(h->clipoff, Toy::offset_of(3));
}

TEST_F(SeekTableWalk, OfAnEnlargedImageRepeatsOffsets) {
    const Handle h = open();
    int32_t window[4] = {2, 0, 5, 0};
    ASSERT_EQ(lfclip(h.get(), window), 0);
    ASSERT_EQ(lfsetsize(h.get(), 6, 100), 0);
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_EQ(table_of(h), offsets_of({2, 2, 3, 3, 4, 4}));
}

// The first entry is always the window's first track, wherever the first output track lies; the
// steps from there follow the output tracks.
TEST_F(SeekTableWalk, OfAReducedImageIsShiftedToTheStartOfTheWindow) {
    const Handle h = open();
    ASSERT_EQ(lfsetsize(h.get(), 3, 100), 0);
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_EQ((std::vector<int32_t>{h->otrack, h->otrack + 4}),
              (std::vector<int32_t>{1, 4, 8, 10}));
    EXPECT_EQ(table_of(h), offsets_of({0, 3, 7}));
}

TEST_F(SeekTableWalk, LeavesThePositionAtTheData) {
    toy.seekfn = nullptr;
    const Handle h = open();
    toy.on_check = nullptr;
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_EQ(h->bufpos, Toy::data_offset);
    EXPECT_EQ(h->bufptr, h->buf);
    EXPECT_EQ(h->bufend, h->buf);
    EXPECT_EQ(kel_lseek(h->fd, 0, KEL_SEEK_CUR), Toy::data_offset);
}

TEST_F(SeekTableWalk, ATrackOfNoCodesIsNoFailure) {
    toy.skiptrack = [](xvor_t *h, int32_t y) -> int32_t {
        return Toy::skip_bytes(h, y) < 0 ? -1 : 0;
    };
    const Handle h = open();
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_EQ(table_of(h), offsets_of({0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
}

// ---- measuring ------------------------------------------------------------------------------

TEST_F(SeekTableMeasure, FindsTheLongestTracksCodesOnAFileWithATable) {
    bring_table(offsets_of({0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
    const Handle h = open(LF_MEASURE);
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_EQ(shown_maxruns(h), 4) << "three codes and the end";
    EXPECT_EQ(toy.skips, 10);
}

TEST_F(SeekTableMeasure, StartsFromWhatTheFileTells) {
    bring_table(offsets_of({0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
    toy.maxruns = 55;
    const Handle h = open(LF_MEASURE);
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_EQ(shown_maxruns(h), 55);
}

TEST_F(SeekTableMeasure, LooksAtTheWindowAlone) {
    bring_table(offsets_of({3, 4}));
    const Handle h = open(LF_MEASURE);
    int32_t window[4] = {3, 0, 5, 0};
    ASSERT_EQ(lfclip(h.get(), window), 0);
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_EQ(shown_maxruns(h), 3) << "track 2, with four, lies outside";
}

TEST_F(SeekTableMeasure, PassesOverBlankAndRepeatedTracks) {
    std::vector<int64_t> entries =
        offsets_of({0, 0, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5, 6, 6, 7, 7, 8, 8, 9, 9});
    for (const size_t blank : {4u, 5u, 10u, 11u, 16u, 17u}) // the ones with three codes
        entries[blank] = -1;
    bring_table(entries);
    const Handle h = open(LF_MEASURE);
    ASSERT_EQ(lfsetsize(h.get(), 20, 100), 0);
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_EQ(toy.skips, 7);
    EXPECT_EQ(shown_maxruns(h), 3);
}

TEST_F(SeekTableMeasure, FailureDropsTheTable) {
    bring_table(offsets_of({0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
    toy.fail_skip = 4;
    const Handle h = open(LF_MEASURE);
    EXPECT_EQ(lfcheck(h.get()), -1);
    EXPECT_EQ(log.take(), (Lines{"toy_skip: file corrupted", "seektab: last os error",
                                 "lfseek: last os error"}));
    EXPECT_EQ(lfseektable(h.get()), nullptr);
}

// ---- failures -------------------------------------------------------------------------------

TEST_F(SeekTableFailure, OfTheFormatIsReportedByBuilderAndSeek) {
    toy.seektab_result = -1;
    const Handle h = open();
    EXPECT_EQ(lfcheck(h.get()), -1);
    EXPECT_EQ(log.take(), (Lines{"seektab: last os error", "lfseek: last os error"}));
    EXPECT_EQ(lfseektable(h.get()), nullptr);
}

TEST_F(SeekTableFailure, AtLfcheckIsReportedByTheBuilderAlone) {
    toy.seektab_result = -1;
    toy.flags = LF_NEEDSEEKTAB;
    const Handle h = open();
    EXPECT_EQ(lfcheck(h.get()), -1);
    EXPECT_EQ(log.take(), Lines{"seektab: last os error"});
    EXPECT_EQ(lfseektable(h.get()), nullptr);
    EXPECT_EQ(h->flags & LF_CHECKED, 0u);
}

TEST_F(SeekTableFailure, OfTheWalkIsReportedBehindTheCodecsOwn) {
    toy.fail_skip = 4;
    const Handle h = open();
    EXPECT_EQ(lfcheck(h.get()), -1);
    EXPECT_EQ(log.take(), (Lines{"toy_skip: file corrupted", "seektab: last os error",
                                 "lfseek: last os error"}));
    EXPECT_EQ(lfseektable(h.get()), nullptr);
}

TEST_F(SeekTableFailure, OfTheWalkBeforeTheWindowIsReportedToo) {
    toy.fail_skip = 1;
    const Handle h = open();
    int32_t window[4] = {3, 0, 7, 0};
    ASSERT_EQ(lfclip(h.get(), window), 0);
    EXPECT_EQ(lfcheck(h.get()), -1);
    EXPECT_EQ(lfseektable(h.get()), nullptr);
}

TEST_F(SeekTableFailure, AFileThatEndsDuringTheWalkHasNoTable) {
    toy.tracks = 11; // one more than there are
    const Handle h = open();
    EXPECT_EQ(lfcheck(h.get()), -1);
    EXPECT_EQ(log.take(), (Lines{"toy_skip: unexpected EOF: last os error",
                                 "seektab: last os error", "lfseek: last os error"}));
    EXPECT_EQ(lfseektable(h.get()), nullptr);
}

TEST_F(SeekTableFailure, OfTheSystemsSeekIsReported) {
    const Handle h = open();
    const int32_t fd = h->fd;
    h->fd = -1;
    EXPECT_EQ(lfcheck(h.get()), -1);
    h->fd = fd;
    EXPECT_EQ(log.take(), (Lines{"seektab: last os error", "lfseek: last os error"}));
    EXPECT_EQ(lfseektable(h.get()), nullptr);
    EXPECT_EQ(lfcheck(h.get()), 0) << "the handle stays usable";
}

TEST_F(SeekTableFailure, NoMemoryIsCode5ThenCode2) {
    const Handle h = open();
    {
        const FailingMalloc no_memory(1);
        EXPECT_EQ(lfcheck(h.get()), -1);
    }
    EXPECT_EQ(log.take(), (Lines{"seektab: out of memory", "lfseek: last os error"}));
    EXPECT_EQ(lfseektable(h.get()), nullptr);
    EXPECT_EQ(lfcheck(h.get()), 0) << "the handle stays usable";
}

TEST_F(SeekTableFailure, OfAFormatThatCannotSkipIsNoCrash) {
    toy.skiptrack = nullptr;
    const Handle h = open();
    EXPECT_EQ(lfcheck(h.get()), -1);
    EXPECT_EQ(lfseektable(h.get()), nullptr);
    const Handle sequential = open(LF_SEQUENTIAL);
    EXPECT_EQ(lfcheck(sequential.get()), -1);
}

} // namespace
} // namespace vor::test
