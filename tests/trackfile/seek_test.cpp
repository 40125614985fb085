// Seek: by the format's own function, by the table, and by skipping.

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "platform/kel.h"
#include "support/byte_file.h"
#include "support/owned_handles.h"
#include "support/report_log.h"
#include "support/temp_dir.h"
#include "support/toy_format.h"
#include "trackfile/lf.h"

namespace vor::test {
namespace {

int64_t file_position(const Handle &h) {
    return kel_lseek(h->fd, 0, KEL_SEEK_CUR);
}

class SeekTest : public ::testing::Test {
protected:
    ReportLog log;
    TempDir dir;
    std::string name = dir.file("image.toy");
    Toy toy = Toy::bytes();
    Track track;

    // Ten tracks, checked, the position at track 0.
    Handle open(uint32_t mode = 0) {
        Handle h = open_unchecked(mode);
        EXPECT_EQ(lfcheck(h.get()), 0);
        toy.skips = 0;
        return h;
    }
    Handle open_unchecked(uint32_t mode = 0) {
        write_bytes(name, Toy::coded_file(toy.tracks));
        return Handle(lfopen(name.c_str(), LF_READ | mode, 0, nullptr));
    }
    // The number of the track whose codes come next: the first code's length tells.
    int32_t track_at_position(const Handle &h) {
        Track next;
        EXPECT_GT(Toy::read_bytes(h.get(), next.get()), 0);
        return static_cast<int32_t>(next.runs()[0].first) - 1;
    }
};

using Seek = SeekTest;
using SeekEnd = SeekTest;
using SeekByFormat = SeekTest;
using SeekByTable = SeekTest;
using SeekBySkipping = SeekTest;

// ---- targets --------------------------------------------------------------------------------

TEST_F(Seek, ModesCountFromTrackZeroTheCurrentTrackAndTheEnd) {
    const Handle h = open();
    const struct {
        int32_t from, track, mode, expected;
    } rows[] = {{5, 3, LF_SEEK_SET, 3},  {5, 0, LF_SEEK_SET, 0},   {5, 1, LF_SEEK_CUR, 6},
                {5, -5, LF_SEEK_CUR, 0}, {5, 0, LF_SEEK_CUR, 5},   {5, -1, LF_SEEK_END, 9},
                {5, 0, LF_SEEK_END, 10}, {5, -10, LF_SEEK_END, 0}, {5, 5, LF_SEEK_CUR, 10}};
    for (const auto &row : rows) {
        ASSERT_EQ(lfseek(h.get(), row.from, LF_SEEK_SET), 0);
        EXPECT_EQ(lfseek(h.get(), row.track, row.mode), 0);
        EXPECT_EQ(lfcurrentrow(h.get()), row.expected);
    }
}

TEST_F(Seek, AnotherModeIsRefusedAndChangesNothing) {
    const Handle h = open();
    ASSERT_EQ(lfseek(h.get(), 4, LF_SEEK_SET), 0);
    for (const int32_t mode : {3, -1, INT_MAX}) {
        EXPECT_EQ(lfseek(h.get(), 0, mode), -1);
        EXPECT_EQ(log.take(), Lines{"lfseek: invalid argument | bad seek mode"});
    }
    EXPECT_EQ(lfcurrentrow(h.get()), 4);
}

TEST_F(Seek, TargetOutsideTheImageIsCode3AndChangesNothing) {
    const Handle h = open();
    ASSERT_EQ(lfseek(h.get(), 4, LF_SEEK_SET), 0);
    const int64_t position = lftell(h.get());
    const struct {
        int32_t track, mode;
        const char *report;
    } rows[] = {{-1, LF_SEEK_SET, "lfseek: invalid track number: -1"},
                {11, LF_SEEK_SET, "lfseek: invalid track number: 11"},
                {-5, LF_SEEK_CUR, "lfseek: invalid track number: -1"},
                {7, LF_SEEK_CUR, "lfseek: invalid track number: 11"},
                {1, LF_SEEK_END, "lfseek: invalid track number: 11"},
                {-11, LF_SEEK_END, "lfseek: invalid track number: -1"}};
    for (const auto &row : rows) {
        EXPECT_EQ(lfseek(h.get(), row.track, row.mode), -1);
        EXPECT_EQ(log.take(), Lines{row.report});
    }
    EXPECT_EQ(lfcurrentrow(h.get()), 4);
    EXPECT_EQ(lftell(h.get()), position);
    EXPECT_EQ(h->flags & LF_EOF, 0u);
}

TEST_F(Seek, TargetBeyond32BitsIsOutsideTheImageToo) {
    const Handle h = open();
    ASSERT_EQ(lfseek(h.get(), 4, LF_SEEK_SET), 0);
    EXPECT_EQ(lfseek(h.get(), INT_MAX, LF_SEEK_CUR), -1);
    EXPECT_EQ(lfseek(h.get(), INT_MAX, LF_SEEK_END), -1);
    EXPECT_EQ(lfseek(h.get(), INT_MIN, LF_SEEK_CUR), -1);
    EXPECT_EQ(lfcurrentrow(h.get()), 4);
}

TEST_F(Seek, OnAHandleThatWritesOrUpdatesIsRefusedAndChangesNothing) {
    write_bytes(name, Toy::coded_file(10));
    const Handle update(lfopen(name.c_str(), LF_UPDATE, 0, nullptr));
    const Handle write(lfopen(dir.file("new.toy").c_str(), LF_WRITE, Toy::type(), nullptr));
    ASSERT_EQ(lfsetsize(write.get(), 10, 100), 0);
    for (xvor_t *h : {update.get(), write.get()}) {
        ASSERT_EQ(lfcheck(h), 0);
        const int32_t row = lfcurrentrow(h);
        for (const int32_t mode : {LF_SEEK_SET, LF_SEEK_CUR, LF_SEEK_END}) {
            EXPECT_EQ(lfseek(h, 0, mode), -1);
            EXPECT_EQ(log.take(),
                      Lines{"lfseek: invalid argument | seek on write is not supported"});
        }
        EXPECT_EQ(lfcurrentrow(h), row);
    }
}

TEST_F(Seek, BadModeIsToldBeforeTheWriteRoad) {
    const Handle h(lfopen(name.c_str(), LF_WRITE, Toy::type(), nullptr));
    EXPECT_EQ(lfseek(h.get(), 0, 9), -1);
    EXPECT_EQ(log.take(), Lines{"lfseek: invalid argument | bad seek mode"});
}

// ---- end of the image -----------------------------------------------------------------------

TEST_F(SeekEnd, SucceedsAndMarksTheEnd) {
    const Handle h = open();
    EXPECT_EQ(lfseek(h.get(), 10, LF_SEEK_SET), 0);
    EXPECT_TRUE(h->flags & LF_EOF);
    EXPECT_EQ(lfcurrentrow(h.get()), 10);
    EXPECT_EQ(h->imgtrk, 10);
    EXPECT_EQ(h->bufptr, h->buf);
    EXPECT_EQ(h->bufend, h->buf);
    EXPECT_EQ(lf_fillbuf(h.get()), -1);
}

TEST_F(SeekEnd, ImageTrackIsTheEndOfTheWindow) {
    const Handle h = open_unchecked();
    int32_t window[4] = {2, 0, 7, 0};
    ASSERT_EQ(lfclip(h.get(), window), 0);
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_EQ(lfseek(h.get(), 0, LF_SEEK_END), 0);
    EXPECT_EQ(lfcurrentrow(h.get()), 5);
    EXPECT_EQ(h->imgtrk, 7);
}

TEST_F(SeekEnd, ASeekIntoTheImageTakesTheMarkAway) {
    const Handle h = open();
    ASSERT_EQ(lfseek(h.get(), 0, LF_SEEK_END), 0);
    EXPECT_EQ(lfseek(h.get(), 6, LF_SEEK_SET), 0);
    EXPECT_EQ(h->flags & LF_EOF, 0u);
    EXPECT_EQ(track_at_position(h), 6);
}

TEST_F(SeekEnd, DoesNotAskTheFormat) {
    toy.seekfn = Toy::seek_memory;
    const Handle h = open();
    toy.seeks.clear();
    EXPECT_EQ(lfseek(h.get(), 0, LF_SEEK_END), 0);
    EXPECT_TRUE(toy.seeks.empty());
}

// ---- by the format --------------------------------------------------------------------------

TEST_F(SeekByFormat, ReplacesTheTable) {
    toy.seekfn = Toy::seek_memory;
    const Handle h = open();
    toy.seeks.clear();
    EXPECT_EQ(lfseek(h.get(), 3, LF_SEEK_SET), 0);
    EXPECT_EQ(toy.seeks, std::vector<int32_t>{3});
    EXPECT_EQ(lfcurrentrow(h.get()), 3);
    EXPECT_EQ(h->imgtrk, 3);
    EXPECT_EQ(lfseektable(h.get()), nullptr);
}

TEST_F(SeekByFormat, PositiveResultIsABlankTrack) {
    toy.seekfn = Toy::seek_memory;
    const Handle h = open();
    toy.seek_results[3] = 42;
    EXPECT_EQ(lfseek(h.get(), 3, LF_SEEK_SET), 42);
    EXPECT_EQ(lfcurrentrow(h.get()), 3);
}

TEST_F(SeekByFormat, NegativeResultComesBackAsItStandsAndChangesNothing) {
    toy.seekfn = Toy::seek_memory;
    const Handle h = open();
    ASSERT_EQ(lfseek(h.get(), 1, LF_SEEK_SET), 0);
    toy.seek_results[3] = -9;
    EXPECT_EQ(lfseek(h.get(), 3, LF_SEEK_SET), -9);
    EXPECT_EQ(lfcurrentrow(h.get()), 1);
    EXPECT_EQ(h->imgtrk, 1);
    EXPECT_TRUE(log.empty());
}

TEST_F(SeekByFormat, ImageTrackFollowsWindowAndScale) {
    toy.seekfn = Toy::seek_memory;
    const Handle h = open_unchecked();
    int32_t window[4] = {4, 0, 8, 0};
    ASSERT_EQ(lfclip(h.get(), window), 0);
    ASSERT_EQ(lfsetsize(h.get(), 8, 100), 0);
    ASSERT_EQ(lfcheck(h.get()), 0);
    for (int32_t i = 0; i < 8; ++i) {
        ASSERT_EQ(lfseek(h.get(), i, LF_SEEK_SET), 0);
        EXPECT_EQ(h->imgtrk, 4 + i / 2);
    }
}

// ---- by the table ---------------------------------------------------------------------------

TEST_F(SeekByTable, EveryTrackIsFoundInAnyOrder) {
    const Handle h = open();
    for (const int32_t n : {9, 0, 5, 4, 4, 8, 1, 2, 3, 7, 6}) {
        ASSERT_EQ(lfseek(h.get(), n, LF_SEEK_SET), 0);
        EXPECT_EQ(lfcurrentrow(h.get()), n);
        EXPECT_EQ(h->imgtrk, n);
        EXPECT_EQ(lftell(h.get()), Toy::offset_of(n));
        EXPECT_EQ(track_at_position(h), n);
    }
    EXPECT_EQ(toy.skips, 0);
}

TEST_F(SeekByTable, BlankMarkGivesTheColourCodePlusOne) {
    const Handle h = open();
    const struct {
        int64_t entry;
        int32_t result;
    } rows[] = {{-1, 1}, {-2, 2}, {-256, 256}};
    for (const auto &row : rows) {
        lfseektable(h.get())[3] = row.entry;
        EXPECT_EQ(lfseek(h.get(), 3, LF_SEEK_SET), row.result);
        EXPECT_EQ(lfcurrentrow(h.get()), 3);
        EXPECT_EQ(h->imgtrk, 3);
    }
}

TEST_F(SeekByTable, BlankTrackTouchesNeitherBufferNorFile) {
    const Handle h = open();
    ASSERT_EQ(lfseek(h.get(), 2, LF_SEEK_SET), 0);
    const int64_t position = lftell(h.get());
    const uint8_t *const end = h->bufend;
    lfseektable(h.get())[3] = -1;
    ASSERT_EQ(lfseek(h.get(), 3, LF_SEEK_SET), 1);
    EXPECT_EQ(lftell(h.get()), position);
    EXPECT_EQ(h->bufend, end);
}

TEST_F(SeekByTable, AJumpWithinTheBufferTouchesNoFile) {
    const Handle h = open();
    ASSERT_EQ(lfseek(h.get(), 0, LF_SEEK_SET), 0);
    ASSERT_EQ(track_at_position(h), 0); // fills the buffer with the whole file
    const int64_t position = file_position(h);
    const int32_t transfers = h->iocount;
    for (const int32_t n : {9, 3, 0}) {
        ASSERT_EQ(lfseek(h.get(), n, LF_SEEK_SET), 0);
        EXPECT_EQ(track_at_position(h), n);
    }
    EXPECT_EQ(h->iocount, transfers);
    EXPECT_EQ(file_position(h), position);
}

TEST_F(SeekByTable, TheFirstByteBehindTheBufferIsOutsideIt) {
    const Handle h = open();
    ASSERT_EQ(lfseek(h.get(), 0, LF_SEEK_SET), 0);
    h->bufsize = static_cast<uint32_t>(Toy::offset_of(4) - Toy::offset_of(0));
    ASSERT_EQ(track_at_position(h), 0); // the buffer now ends where track 4 begins
    const int32_t transfers = h->iocount;
    ASSERT_EQ(lfseek(h.get(), 3, LF_SEEK_SET), 0);
    EXPECT_EQ(h->bufptr, h->buf + (Toy::offset_of(3) - Toy::offset_of(0)));
    ASSERT_EQ(lfseek(h.get(), 4, LF_SEEK_SET), 0);
    EXPECT_EQ(h->bufend, h->buf) << "the buffer has been forgotten";
    EXPECT_EQ(h->bufpos, Toy::offset_of(4));
    EXPECT_EQ(file_position(h), Toy::offset_of(4));
    EXPECT_EQ(track_at_position(h), 4);
    EXPECT_EQ(h->iocount, transfers + 1);
}

TEST_F(SeekByTable, TheByteBeforeTheBufferIsOutsideIt) {
    const Handle h = open();
    ASSERT_EQ(lfseek(h.get(), 5, LF_SEEK_SET), 0);
    ASSERT_EQ(track_at_position(h), 5);
    ASSERT_EQ(lfseek(h.get(), 4, LF_SEEK_SET), 0);
    EXPECT_EQ(h->bufend, h->buf);
    EXPECT_EQ(track_at_position(h), 4);
}

TEST_F(SeekByTable, ReadingInOrderNeverSeeksTheFile) {
    const Handle h = open();
    for (int32_t i = 0; i < 10; ++i) {
        ASSERT_GT(lfread(h.get(), track.get(), i), 0);
        EXPECT_EQ(track.runs()[0].first, static_cast<uint32_t>(i + 1));
    }
    EXPECT_EQ(h->iocount, 1);
}

TEST_F(SeekByTable, ImageTrackCountsFromTheWindow) {
    const Handle h = open_unchecked();
    int32_t window[4] = {3, 0, 9, 0};
    ASSERT_EQ(lfclip(h.get(), window), 0);
    ASSERT_EQ(lfcheck(h.get()), 0);
    ASSERT_EQ(lfseek(h.get(), 2, LF_SEEK_SET), 0);
    EXPECT_EQ(h->imgtrk, 5);
    EXPECT_EQ(track_at_position(h), 5);
}

TEST_F(SeekByTable, RepeatedImageTracksShareAnOffset) {
    const Handle h = open_unchecked();
    ASSERT_EQ(lfsetsize(h.get(), 20, 100), 0);
    ASSERT_EQ(lfcheck(h.get()), 0);
    for (int32_t i = 0; i < 20; ++i) {
        ASSERT_EQ(lfseek(h.get(), i, LF_SEEK_SET), 0);
        EXPECT_EQ(h->imgtrk, i / 2);
        EXPECT_EQ(track_at_position(h), i / 2);
    }
}

TEST_F(SeekByTable, FailedSystemSeekIsCode2AndTheTrackHasChangedAlready) {
    const Handle h = open();
    ASSERT_EQ(lfseek(h.get(), 1, LF_SEEK_SET), 0);
    const int32_t fd = h->fd;
    h->fd = -1;
    EXPECT_EQ(lfseek(h.get(), 7, LF_SEEK_SET), -1);
    h->fd = fd;
    EXPECT_EQ(log.take(), Lines{"lfseek: last os error"});
    EXPECT_EQ(lfcurrentrow(h.get()), 7);
    EXPECT_EQ(lfseek(h.get(), 7, LF_SEEK_SET), 0);
    EXPECT_EQ(track_at_position(h), 7);
}

// ---- by skipping ----------------------------------------------------------------------------

TEST_F(SeekBySkipping, NoTableIsEverBuilt) {
    const Handle h = open(LF_SEQUENTIAL);
    for (int32_t i = 0; i < 10; ++i)
        ASSERT_GT(lfread(h.get(), track.get(), i), 0);
    EXPECT_EQ(lfseektable(h.get()), nullptr);
    EXPECT_EQ(toy.count("seektab"), 0);
}

TEST_F(SeekBySkipping, ReadingStraightOnSkipsNothing) {
    const Handle h = open(LF_SEQUENTIAL);
    for (int32_t i = 0; i < 10; ++i) {
        ASSERT_GT(lfread(h.get(), track.get(), i), 0);
        EXPECT_EQ(track.runs()[0].first, static_cast<uint32_t>(i + 1));
        EXPECT_EQ(h->imgtrk, i);
    }
    EXPECT_EQ(toy.skips, 0);
}

TEST_F(SeekBySkipping, ForwardJumpFromATrackThatWasReadSkipsTheOnesBetween) {
    const Handle h = open(LF_SEQUENTIAL);
    ASSERT_GT(lfread(h.get(), track.get(), 0), 0);
    ASSERT_GT(lfread(h.get(), track.get(), 6), 0);
    EXPECT_EQ(toy.skips, 5);
    EXPECT_EQ(track.runs()[0].first, 7u);
}

TEST_F(SeekBySkipping, BackwardJumpToTheStartIsExact) {
    const Handle h = open(LF_SEQUENTIAL);
    ASSERT_GT(lfread(h.get(), track.get(), 0), 0);
    ASSERT_GT(lfread(h.get(), track.get(), 7), 0);
    ASSERT_EQ(lfseek(h.get(), 0, LF_SEEK_SET), 0);
    EXPECT_EQ(lfcurrentrow(h.get()), 0);
    EXPECT_EQ(h->imgtrk, 0);
    EXPECT_EQ(track_at_position(h), 0);
}

TEST_F(SeekBySkipping, BackwardJumpReturnsToTheStartAndSkipsForwardOneTrackShort) {
    const Handle h = open(LF_SEQUENTIAL);
    ASSERT_GT(lfread(h.get(), track.get(), 0), 0);
    ASSERT_GT(lfread(h.get(), track.get(), 7), 0);
    toy.skips = 0;
    ASSERT_EQ(lfseek(h.get(), 4, LF_SEEK_SET), 0);
    EXPECT_EQ(toy.skips, 3);
    EXPECT_EQ(h->imgtrk, 4) << "the number asked for";
    EXPECT_EQ(track_at_position(h), 3) << "nothing of track 0 had been read";
}

TEST_F(SeekBySkipping, ForwardJumpDirectlyBehindLfcheckComesToRestOneTrackShort) {
    const Handle h = open(LF_SEQUENTIAL);
    ASSERT_EQ(lfseek(h.get(), 5, LF_SEEK_SET), 0);
    EXPECT_EQ(lfcurrentrow(h.get()), 5);
    EXPECT_EQ(h->imgtrk, 5);
    EXPECT_EQ(track_at_position(h), 4);
}

TEST_F(SeekBySkipping, TheTrackThatWasJustReadIsNotGoneBackTo) {
    const Handle h = open(LF_SEQUENTIAL);
    ASSERT_GT(lfread(h.get(), track.get(), 0), 0);
    ASSERT_GT(lfread(h.get(), track.get(), 1), 0);
    EXPECT_EQ(lfread(h.get(), track.get(), 1), 0) << "held by the same buffer";
    ASSERT_EQ(lfseek(h.get(), 1, LF_SEEK_SET), 0);
    EXPECT_EQ(track_at_position(h), 2) << "the position is behind it";
}

TEST_F(SeekBySkipping, WindowIsReachedThroughTheTracksBeforeItOnce) {
    const Handle h = open_unchecked(LF_SEQUENTIAL);
    int32_t window[4] = {3, 0, 9, 0};
    ASSERT_EQ(lfclip(h.get(), window), 0);
    toy.skips = 0;
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_EQ(toy.skips, 3);
    EXPECT_EQ(h->clipoff, Toy::offset_of(3));
    EXPECT_EQ(h->imgtrk, 3);
    ASSERT_GT(lfread(h.get(), track.get(), 0), 0);
    EXPECT_EQ(track.runs()[0].first, 4u);
    ASSERT_GT(lfread(h.get(), track.get(), 1), 0);
    EXPECT_EQ(h->imgtrk, 4);
    toy.skips = 0;
    ASSERT_EQ(lfseek(h.get(), 0, LF_SEEK_SET), 0);
    EXPECT_EQ(toy.skips, 0) << "the start of the window is known by now";
    EXPECT_EQ(track_at_position(h), 3);
}

TEST_F(SeekBySkipping, RepeatedImageTracksAreNotSkipped) {
    const Handle h = open_unchecked(LF_SEQUENTIAL);
    ASSERT_EQ(lfsetsize(h.get(), 20, 100), 0);
    for (int32_t i = 0; i < 20; ++i) {
        EXPECT_EQ(lfread(h.get(), track.get(), i) > 0, i % 2 == 0) << i;
        EXPECT_EQ(track.runs()[0].first, static_cast<uint32_t>(i / 2 + 1));
    }
}

TEST_F(SeekBySkipping, ALaterLfcheckStartsAtTheFirstTrackAgain) {
    const Handle h = open(LF_SEQUENTIAL);
    for (int32_t i = 0; i < 6; ++i)
        ASSERT_GT(lfread(h.get(), track.get(), i), 0);
    ASSERT_EQ(lfsetsize(h.get(), 20, 100), 0);
    ASSERT_EQ(lfcheck(h.get()), 0);
    for (int32_t i = 0; i < 20; ++i) {
        ASSERT_GE(lfread(h.get(), track.get(), i), 0);
        EXPECT_EQ(track.runs()[0].first, static_cast<uint32_t>(i / 2 + 1)) << i;
    }
}

TEST_F(SeekBySkipping, FailureOnTheWayBackIsToldByTheCodecAlone) {
    const Handle h = open_unchecked(LF_SEQUENTIAL);
    int32_t window[4] = {3, 0, 9, 0};
    ASSERT_EQ(lfclip(h.get(), window), 0);
    toy.fail_skip = 1;
    EXPECT_EQ(lfcheck(h.get()), -1);
    EXPECT_EQ(log.take(), Lines{"toy_skip: file corrupted"});
    EXPECT_EQ(h->clipoff, -1);
    EXPECT_EQ(h->imgtrk, 0) << "the old number";
}

TEST_F(SeekBySkipping, FailureForwardIsCode2BehindTheCodecsOwn) {
    const Handle h = open(LF_SEQUENTIAL);
    ASSERT_GT(lfread(h.get(), track.get(), 0), 0);
    toy.fail_skip = 2;
    EXPECT_EQ(lfseek(h.get(), 8, LF_SEEK_SET), -1);
    EXPECT_EQ(log.take(), (Lines{"toy_skip: file corrupted", "lfseek: last os error"}));
}

TEST_F(SeekBySkipping, FailedSystemSeekBackIsCode2) {
    const Handle h = open(LF_SEQUENTIAL);
    ASSERT_GT(lfread(h.get(), track.get(), 0), 0);
    ASSERT_GT(lfread(h.get(), track.get(), 1), 0);
    const int32_t fd = h->fd;
    h->fd = -1;
    EXPECT_EQ(lfseek(h.get(), 0, LF_SEEK_SET), -1);
    h->fd = fd;
    EXPECT_EQ(log.take(), Lines{"lfseek: last os error"});
}

} // namespace
} // namespace vor::test
