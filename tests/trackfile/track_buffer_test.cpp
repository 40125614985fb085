// Track buffers: storage, guards, filling and copying.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "support/failing_malloc.h"
#include "support/owned_handles.h"
#include "support/report_log.h"
#include "trackfile/lf.h"

namespace vor::test {
namespace {

constexpr int32_t keep_mode = -1;

bool guarded(const trackbuf &t) {
    return t.base[0].colour == GT_FRONT_GUARD && t.base[t.size + 1].colour == GT_END_GUARD &&
           t.data == t.base + 1;
}

// A buffer that is not freed by itself.
struct RawTrack : trackbuf {
    RawTrack() : trackbuf() {}
    explicit RawTrack(uint32_t units, int32_t buffer_mode = 0) : trackbuf() {
        EXPECT_EQ(gtgrow(this, units, 1, buffer_mode), 0);
    }
};

class TrackBufferTest : public ::testing::Test {
protected:
    ReportLog log;
};

using Gtgrow = TrackBufferTest;
using Gtfree = TrackBufferTest;
using Lffill = TrackBufferTest;
using Bmfill = TrackBufferTest;
using Lfcopytrack = TrackBufferTest;
using Lfcopyflags = TrackBufferTest;

// ---- gtgrow ---------------------------------------------------------------------------------

TEST_F(Gtgrow, WithInitAndSizeZeroGivesARecordWithoutStorage) {
    RawTrack t;
    std::memset(static_cast<void *>(&t), 0xEE, sizeof t);
    EXPECT_EQ(gtgrow(&t, 0, 1, static_cast<int32_t>(GT_BITMAP)), 0);
    EXPECT_EQ(t.base, nullptr);
    EXPECT_EQ(t.data, nullptr);
    EXPECT_EQ(t.owner, nullptr);
    EXPECT_EQ(t.imgtrk, -1);
    EXPECT_EQ(t.size, 0u);
    EXPECT_EQ(t.nruns, 0);
    EXPECT_EQ(t.mode, GT_BITMAP);
    EXPECT_EQ(t.tflags[0] | t.tflags[1] | t.tflags[2], 0u);
}

TEST_F(Gtgrow, WithInitGivesGuardedStorage) {
    RawTrack t;
    std::memset(static_cast<void *>(&t), 0xEE, sizeof t);
    EXPECT_EQ(gtgrow(&t, 10, 1, 0), 0);
    EXPECT_EQ(t.size, 10u);
    EXPECT_EQ(t.imgtrk, -1);
    EXPECT_TRUE(guarded(t));
    EXPECT_EQ(gtfree(&t), 0);
}

TEST_F(Gtgrow, WithoutInitFillsAnEmptyRecord) {
    RawTrack t;
    EXPECT_EQ(gtgrow(&t, 10, 0, 0), 0);
    EXPECT_EQ(t.size, 10u);
    EXPECT_TRUE(guarded(t));
    EXPECT_EQ(gtfree(&t), 0);
}

TEST_F(Gtgrow, OfASmallerSizeKeepsTheStorage) {
    RawTrack t(10);
    lfrun *const storage = t.base;
    t.data = t.base + 5;
    t.base[0].colour = 0;
    t.imgtrk = 7;
    EXPECT_EQ(gtgrow(&t, 5, 0, keep_mode), 1);
    EXPECT_EQ(t.size, 10u);
    EXPECT_EQ(t.base, storage);
    EXPECT_TRUE(guarded(t)) << "the guards are set again";
    EXPECT_EQ(t.imgtrk, -1);
    EXPECT_EQ(gtfree(&t), 0);
}

TEST_F(Gtgrow, OfTheSameSizeKeepsTheStorage) {
    RawTrack t(10);
    EXPECT_EQ(gtgrow(&t, 10, 0, keep_mode), 1);
    EXPECT_EQ(gtfree(&t), 0);
}

TEST_F(Gtgrow, OfALargerSizeKeepsTheRuns) {
    RawTrack t(2);
    t.data[0] = {5, 6};
    t.data[1] = {7, 8};
    EXPECT_EQ(gtgrow(&t, 5000, 0, keep_mode), 0);
    EXPECT_EQ(t.size, 5000u);
    EXPECT_TRUE(guarded(t));
    EXPECT_EQ(t.data[0].length, 5u);
    EXPECT_EQ(t.data[1].colour, 8u);
    EXPECT_EQ(gtfree(&t), 0);
}

TEST_F(Gtgrow, ByOneUnitIsGrowth) {
    RawTrack t(10);
    EXPECT_EQ(gtgrow(&t, 11, 0, keep_mode), 0);
    EXPECT_EQ(t.size, 11u);
    EXPECT_EQ(gtfree(&t), 0);
}

TEST_F(Gtgrow, FromFortyThousandToAHundredResizes) {
    RawTrack t(40000);
    EXPECT_EQ(gtgrow(&t, 100, 0, keep_mode), 0);
    EXPECT_EQ(t.size, 100u);
    EXPECT_TRUE(guarded(t));
    EXPECT_EQ(gtfree(&t), 0);
}

TEST_F(Gtgrow, ShrinksOnlyByALossOf32768UnitsOrMore) {
    RawTrack t(40000);
    EXPECT_EQ(gtgrow(&t, 40000 - 32767, 0, keep_mode), 1);
    EXPECT_EQ(t.size, 40000u);
    EXPECT_EQ(gtgrow(&t, 40000 - 32768, 0, keep_mode), 0);
    EXPECT_EQ(t.size, 40000u - 32768u);
    EXPECT_EQ(gtfree(&t), 0);
}

TEST_F(Gtgrow, OfABitmapCountsBytes) {
    const struct { uint32_t bytes, units; } rows[] = {{1, 1}, {7, 1}, {8, 2}, {16, 3}, {100, 13}};
    for (const auto &row : rows) {
        RawTrack t(row.bytes, GT_BITMAP);
        EXPECT_EQ(t.size, row.units) << row.bytes;
        EXPECT_TRUE(guarded(t));
        EXPECT_EQ(gtfree(&t), 0);
    }
}

TEST_F(Gtgrow, OfForeignStorageKeepsTheNumberAndAllocatesNothing) {
    lfrun storage[12] = {};
    RawTrack t;
    EXPECT_EQ(gtgrow(&t, 10, 1, GT_FOREIGN), 0);
    t.base = storage;
    EXPECT_EQ(t.size, 10u);
    EXPECT_EQ(gtgrow(&t, 4, 0, keep_mode), 0);
    EXPECT_EQ(t.size, 4u);
    EXPECT_EQ(t.base, storage);
    EXPECT_EQ(storage[0].colour, 0u) << "no guards";
    EXPECT_EQ(gtgrow(&t, 16, 0, GT_FOREIGN | GT_BITMAP), 0);
    EXPECT_EQ(t.size, 3u);
}

TEST_F(Gtgrow, OfForeignStorageTakesSizeZero) {
    RawTrack t;
    EXPECT_EQ(gtgrow(&t, 10, 1, GT_FOREIGN), 0);
    EXPECT_EQ(gtgrow(&t, 0, 0, keep_mode), 0);
    EXPECT_EQ(t.size, 0u);
}

TEST_F(Gtgrow, NegativeModeKeepsThePresentOne) {
    RawTrack t(16, GT_BITMAP);
    EXPECT_EQ(gtgrow(&t, 16, 0, keep_mode), 1);
    EXPECT_EQ(t.mode, GT_BITMAP);
    EXPECT_EQ(gtgrow(&t, 2, 0, 0), 1);
    EXPECT_EQ(t.mode, 0u);
    EXPECT_EQ(gtfree(&t), 0);
}

TEST_F(Gtgrow, RefusesASizeOfZero) {
    RawTrack t;
    EXPECT_EQ(gtgrow(&t, 0, 0, 0), -1);
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0].handle, nullptr);
    EXPECT_EQ(log.take(), Lines{"gtgrow: invalid argument | bad track size (overflow?)"});
}

TEST_F(Gtgrow, RefusesASizeWhoseByteCountOverflows) {
    RawTrack t(10);
    t.imgtrk = 3;
    for (const uint32_t size : {0x1FFFFFFEu, 0x1FFFFFFFu, 0xFFFFFFFFu}) {
        EXPECT_EQ(gtgrow(&t, size, 0, keep_mode), -1);
        EXPECT_EQ(log.take(), Lines{"gtgrow: invalid argument | bad track size (overflow?)"});
    }
    EXPECT_EQ(t.size, 10u);
    EXPECT_EQ(t.imgtrk, -1);
    EXPECT_EQ(gtfree(&t), 0);
}

TEST_F(Gtgrow, WithoutMemoryForNewStorageReportsCode5) {
    RawTrack t;
    {
        const FailingMalloc no_memory(1);
        EXPECT_EQ(gtgrow(&t, 10, 1, 0), -1);
    }
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0].handle, nullptr);
    EXPECT_EQ(log.take(), Lines{"gtgrow: out of memory"});
    EXPECT_EQ(t.base, nullptr);
}

TEST_F(Gtgrow, WithoutMemoryToGrowKeepsTheOldStorage) {
    RawTrack t(10);
    t.data[0] = {5, 6};
    t.data = t.base + 4;
    {
        const FailingMalloc no_memory(1);
        EXPECT_EQ(gtgrow(&t, 100000, 0, keep_mode), -1);
    }
    EXPECT_EQ(log.take(), Lines{"gtgrow: out of memory"});
    EXPECT_EQ(t.size, 10u);
    EXPECT_EQ(t.data, t.base + 1);
    EXPECT_EQ(t.data[0].length, 5u);
    EXPECT_EQ(gtfree(&t), 0);
}

// ---- gtfree ---------------------------------------------------------------------------------

TEST_F(Gtfree, TwiceGivesZeroAndThenMinusOne) {
    RawTrack t(10);
    t.imgtrk = 5;
    EXPECT_EQ(gtfree(&t), 0);
    EXPECT_EQ(t.base, nullptr);
    EXPECT_EQ(t.data, nullptr);
    EXPECT_EQ(t.imgtrk, -1);
    EXPECT_EQ(gtfree(&t), -1);
    EXPECT_TRUE(log.empty());
}

TEST_F(Gtfree, OfForeignStorageWithoutAnyGivesZero) {
    RawTrack t;
    ASSERT_EQ(gtgrow(&t, 10, 1, GT_FOREIGN), 0);
    EXPECT_EQ(gtfree(&t), 0);
    EXPECT_EQ(gtfree(&t), 0);
}

TEST_F(Gtfree, DoesNotLookAtTheGuardWords) {
    RawTrack t(10);
    t.base[0].colour = 0;
    t.base[11].colour = 0;
    EXPECT_EQ(gtfree(&t), 0);
}

TEST_F(Gtfree, AllowsWhatLiesOnTheBorders) {
    RawTrack t(10);
    t.data = t.base - 1;
    EXPECT_EQ(gtfree(&t), 0);
    RawTrack u(10);
    u.data = u.base + 12;
    u.nruns = 12;
    EXPECT_EQ(gtfree(&u), 0);
}

TEST_F(Gtfree, AllowsABitmapRowAsLongAsItsBytes) {
    RawTrack t(80, GT_BITMAP); // 11 units
    t.nruns = (11 + 2) * 8;
    EXPECT_EQ(gtfree(&t), 0);
}

void free_damaged(uint32_t units, int32_t mode, ptrdiff_t data_bytes, int32_t nruns) {
    trackbuf t = {};
    if (gtgrow(&t, units, 1, mode) != 0) return;
    t.data = reinterpret_cast<lfrun *>(reinterpret_cast<uintptr_t>(t.base) +
                                       static_cast<uintptr_t>(data_bytes));
    t.nruns = nruns;
    lfsetperror(nullptr); // the report goes to the standard error stream
    gtfree(&t);
}

TEST(GtfreeDeathTest, UnderflowEndsTheProcess) {
    EXPECT_DEATH(free_damaged(10, 0, -9, 1),
                 "gt_sentinel: last os error: .*\n\n\ttrackptr underflow \\(gtrack: .*, P=.*, "
                 "Data=.*\\.\\..*\\)");
}

TEST(GtfreeDeathTest, OverflowOfThePointerEndsTheProcess) {
    EXPECT_DEATH(free_damaged(10, 0, 12 * 8 + 1, 1), "trackptr overflow \\(gtrack: ");
}

TEST(GtfreeDeathTest, MoreRunsThanUnitsEndTheProcess) {
    EXPECT_DEATH(free_damaged(10, 0, 8, 13), "trackptr overflow \\(gtrack: ");
}

TEST(GtfreeDeathTest, MorePixelsThanBytesEndTheProcess) {
    EXPECT_DEATH(free_damaged(80, GT_BITMAP, 8, 13 * 8 + 1), "trackptr overflow \\(gtrack: ");
}

// ---- lffill ---------------------------------------------------------------------------------

TEST_F(Lffill, MakesATrackOfOneRun) {
    Track t;
    t->data = t->base + 100;
    t->nruns = 50;
    t->imgtrk = 3;
    EXPECT_EQ(lffill(t.get(), 1234, 56), 1);
    EXPECT_EQ(t.runs(), (Runs{{1234, 56}}));
    EXPECT_EQ(t->data, t->base + 1);
    EXPECT_EQ(t->imgtrk, -1);
}

TEST_F(Lffill, RefusesForeignStorage) {
    lfrun storage[12] = {};
    RawTrack t;
    ASSERT_EQ(gtgrow(&t, 10, 1, GT_FOREIGN), 0);
    t.base = storage;
    EXPECT_EQ(lffill(&t, 10, 1), -1);
    EXPECT_EQ(t.nruns, 0);
}

TEST_F(Lffill, RefusesABufferWithoutStorage) {
    RawTrack t;
    EXPECT_EQ(lffill(&t, 10, 1), -1);
}

// ---- bmfill ---------------------------------------------------------------------------------

std::vector<uint8_t> pixels_of(const trackbuf *t) {
    const auto *bytes = reinterpret_cast<const uint8_t *>(t->data);
    return {bytes, bytes + t->nruns};
}

TEST_F(Bmfill, WritesTheLowByteOfTheValue) {
    Track t(100, GT_BITMAP);
    t->imgtrk = 3;
    EXPECT_EQ(bmfill(t.get(), 90, 0x1FE), 0);
    EXPECT_EQ(pixels_of(t.get()), std::vector<uint8_t>(90, 0xFE));
    EXPECT_EQ(t->imgtrk, -1);
}

TEST_F(Bmfill, LeavesWhatLiesBehindTheRow) {
    Track t(100, GT_BITMAP);
    ASSERT_EQ(bmfill(t.get(), 100, 1), 0);
    ASSERT_EQ(bmfill(t.get(), 60, 2), 0);
    const auto *bytes = reinterpret_cast<const uint8_t *>(t->data);
    EXPECT_EQ(bytes[59], 2);
    EXPECT_EQ(bytes[60], 1);
}

TEST_F(Bmfill, OfNoPixelsGivesAnEmptyRow) {
    Track t(100, GT_BITMAP);
    EXPECT_EQ(bmfill(t.get(), 0, 1), 0);
    EXPECT_EQ(t->nruns, 0);
}

TEST_F(Bmfill, RefusesForeignStorage) {
    lfrun storage[12] = {};
    RawTrack t;
    ASSERT_EQ(gtgrow(&t, 10, 1, GT_FOREIGN | GT_BITMAP), 0);
    t.base = storage;
    t.data = storage + 1;
    EXPECT_EQ(bmfill(&t, 10, 1), -1);
    EXPECT_EQ(storage[1].length, 0u);
}

TEST_F(Bmfill, RefusesARowThatDoesNotFit) {
    Track t(80, GT_BITMAP); // 11 units, 88 bytes
    EXPECT_EQ(bmfill(t.get(), 88, 1), 0);
    EXPECT_EQ(bmfill(t.get(), 89, 1), -1);
    EXPECT_EQ(log.take(), Lines{"bmfill: invalid argument | track buffer too small"});
    EXPECT_TRUE(guarded(*t.get()));
}

// ---- copies ---------------------------------------------------------------------------------

TEST_F(Lfcopytrack, CopiesRunsAndFlagsButNotTheMarks) {
    Track from, to;
    from.put({{1, 2}, {3, 4}, {5, 6}});
    from->tflags[0] = 10;
    from->tflags[1] = 11;
    from->tflags[2] = 12;
    to->data = to->base + 50;
    EXPECT_EQ(lfcopytrack(to.get(), from.get()), 0);
    EXPECT_EQ(to.runs(), from.runs());
    EXPECT_EQ(to->data, to->base + 1);
    EXPECT_EQ(to->tflags[0], 10u);
    EXPECT_EQ(to->tflags[1], 11u);
    EXPECT_EQ(to->tflags[2], 12u);
}

TEST_F(Lfcopytrack, CopiesFromWhereTheSourcesRunsBegin) {
    Track from, to;
    from->data = from->base + 200; // as a reversed reader leaves it
    from->data[0] = {7, 8};
    from->data[1] = {9, 10};
    from->nruns = 2;
    EXPECT_EQ(lfcopytrack(to.get(), from.get()), 0);
    EXPECT_EQ(to.runs(), (Runs{{7, 8}, {9, 10}}));
}

TEST_F(Lfcopytrack, GrowsTheTargetByTwoUnitsMoreThanNeeded) {
    Track from, to(2);
    Runs runs;
    for (uint32_t i = 0; i < 100; ++i)
        runs.emplace_back(i, i);
    from.put(runs);
    EXPECT_EQ(lfcopytrack(to.get(), from.get()), 0);
    EXPECT_EQ(to->size, 102u);
    EXPECT_EQ(to.runs(), runs);
    EXPECT_TRUE(guarded(*to.get()));
}

TEST_F(Lfcopytrack, FillsATargetThatIsJustLargeEnoughWithoutGrowing) {
    Track from, to(3);
    from.put({{1, 2}, {3, 4}, {5, 6}});
    EXPECT_EQ(lfcopytrack(to.get(), from.get()), 0);
    EXPECT_EQ(to->size, 3u);
}

TEST_F(Lfcopytrack, OfDifferentModesLeavesTheTargetUntouched) {
    Track from, to(100, GT_BITMAP);
    from.put({{1, 2}});
    ASSERT_EQ(bmfill(to.get(), 50, 7), 0);
    EXPECT_EQ(lfcopytrack(to.get(), from.get()), -1);
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0].handle, nullptr);
    EXPECT_EQ(log.take(), Lines{"lfcopytrack: invalid argument | incompatible track modes"});
    EXPECT_EQ(pixels_of(to.get()), std::vector<uint8_t>(50, 7));
}

TEST_F(Lfcopytrack, OfABitmapRowCopiesItsBytes) {
    Track from(100, GT_BITMAP), to(100, GT_BITMAP);
    ASSERT_EQ(bmfill(from.get(), 99, 7), 0);
    EXPECT_EQ(lfcopytrack(to.get(), from.get()), 0);
    EXPECT_EQ(pixels_of(to.get()), std::vector<uint8_t>(99, 7));
    EXPECT_EQ(to->mode, GT_BITMAP);
}

TEST_F(Lfcopytrack, ABitmapTargetThatMustGrowRestartsAsARecordOfModeZero) {
    Track from(100, GT_BITMAP), to(8, GT_BITMAP);
    ASSERT_EQ(bmfill(from.get(), 100, 7), 0);
    EXPECT_EQ(lfcopytrack(to.get(), from.get()), 0);
    EXPECT_EQ(to->mode, 0u);
    EXPECT_EQ(pixels_of(to.get()), std::vector<uint8_t>(100, 7));
    EXPECT_EQ(gtfree(to.get()), 0) << "a copy is no damaged buffer";
}

TEST_F(Lfcopytrack, WithoutMemoryFails) {
    Track from, to(1);
    from.put({{1, 2}, {3, 4}});
    to.put({{9, 9}});
    {
        const FailingMalloc no_memory(1);
        EXPECT_EQ(lfcopytrack(to.get(), from.get()), -1);
    }
    EXPECT_EQ(log.take(), Lines{"gtgrow: out of memory"});
    EXPECT_EQ(to.runs(), (Runs{{9, 9}}));
}

TEST_F(Lfcopyflags, CopiesTheThreeWordsAlone) {
    Track from, to;
    from.put({{1, 2}});
    from->imgtrk = 5;
    for (uint32_t i = 0; i < 3; ++i)
        from->tflags[i] = 20 + i;
    lfcopyflags(to.get(), from.get());
    for (uint32_t i = 0; i < 3; ++i)
        EXPECT_EQ(to->tflags[i], 20 + i);
    EXPECT_EQ(to->nruns, 0);
    EXPECT_EQ(to->imgtrk, -1);
}

} // namespace
} // namespace vor::test
