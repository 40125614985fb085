// Reading and writing of tracks.

#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "support/byte_file.h"
#include "support/failing_malloc.h"
#include "support/owned_handles.h"
#include "support/report_log.h"
#include "support/temp_dir.h"
#include "support/toy_format.h"
#include "trackfile/lf.h"

namespace vor::test {
namespace {

constexpr uint64_t no_time = UINT64_MAX;

class TransferTest : public ::testing::Test {
protected:
    ReportLog log;
    Toy toy = Toy::memory();
    Track track;

    Handle open(uint32_t mode) {
        return Handle(lfdopen(-1, "memory.toy", mode, Toy::type(), nullptr));
    }
    Handle open_read(uint32_t mode = 0) { return open(LF_READ | mode); }
    Handle open_write(int32_t tracks = 4, uint32_t mode = 0) {
        Handle h = open(LF_WRITE | mode);
        EXPECT_EQ(lfsetsize(h.get(), tracks, 100), 0);
        track.put({{60, 1}, {40, 0}});
        return h;
    }
    int32_t write_tracks(xvor_t *h, int32_t first, int32_t end) {
        for (int32_t i = first; i < end; ++i)
            if (lfwrite(h, track.get(), i) != 0) return i;
        return end;
    }
};

using Lfread = TransferTest;
using LfreadBlank = TransferTest;
using LfreadRepeated = TransferTest;
using LfreadMirrored = TransferTest;
using Lfwrite = TransferTest;
using LfwriteGrow = TransferTest;
using LfwriteOnUpdate = TransferTest;

// ---- lfread ---------------------------------------------------------------------------------

TEST_F(Lfread, DeliversTheTrackAndItsCountOfRuns) {
    toy.image[4] = {{30, 1}, {50, 2}, {20, 3}};
    const Handle h = open_read();
    EXPECT_EQ(lfread(h.get(), track.get(), 4), 3);
    EXPECT_EQ(track.runs(), toy.image[4]);
    EXPECT_EQ(track->owner, h.get());
    EXPECT_EQ(track->imgtrk, 4);
    EXPECT_EQ(lfcurrentrow(h.get()), 4) << "reading does not move on by itself";
}

TEST_F(Lfread, FirstCallRunsLfcheckAndLfcheckThenRefuses) {
    const Handle h = open_read();
    ASSERT_EQ(lfread(h.get(), track.get(), 0), 1);
    EXPECT_EQ(toy.count("check"), 1);
    EXPECT_TRUE(h->flags & LF_CHECKED);
    ASSERT_EQ(lfread(h.get(), track.get(), 1), 1);
    EXPECT_EQ(toy.count("check"), 1);
    EXPECT_EQ(lfcheck(h.get()), -1);
    EXPECT_EQ(log.take(), Lines{"lfcheck: invalid argument | lfcheck called more than once"});
}

TEST_F(Lfread, FailsWithLfcheckAndTheNextCallTriesAgain) {
    toy.check_result = -1;
    const Handle h = open_read();
    EXPECT_EQ(lfread(h.get(), track.get(), 0), -1);
    EXPECT_EQ(lfread(h.get(), track.get(), 0), -1);
    EXPECT_EQ(toy.count("check"), 2);
    toy.check_result = 0;
    EXPECT_EQ(lfread(h.get(), track.get(), 0), 1);
}

TEST_F(Lfread, WithoutAReaderBehindLfcheckIsCode9) {
    const Handle h = open_read();
    ASSERT_EQ(lfcheck(h.get()), 0);
    h->readtrack = nullptr;
    EXPECT_EQ(lfread(h.get(), track.get(), 0), -1);
    EXPECT_EQ(log.take(), Lines{"lfread: read not supported"});
    h->readtrack = Toy::read_memory;
    EXPECT_EQ(lfread(h.get(), track.get(), 0), 1) << "the handle stays usable";
}

TEST_F(Lfread, OnAWriteHandleOfAFormatThatSetsNoReaderIsCode9) {
    toy.readtrack = nullptr;
    const Handle h = open_write();
    EXPECT_EQ(lfread(h.get(), track.get(), 0), -1);
    EXPECT_EQ(log.take(), Lines{"lfread: read not supported"});
    EXPECT_EQ(write_tracks(h.get(), 0, 4), 4) << "the handle stays usable";
}

TEST_F(Lfread, OnAWriteHandleIsRefusedByTheSeek) {
    const Handle h = open_write();
    EXPECT_EQ(lfread(h.get(), track.get(), 0), -1);
    EXPECT_EQ(log.take(), Lines{"lfseek: invalid argument | seek on write is not supported"});
}

TEST_F(Lfread, OfTrackNumbersOutsideTheImageIsCode3) {
    const Handle h = open_read();
    const struct {
        int32_t n;
        const char *report;
    } rows[] = {{11, "lfseek: invalid track number: 11"},
                {-1, "lfseek: invalid track number: -1"},
                {INT_MAX, "lfseek: invalid track number: 2147483647"},
                {INT_MIN, "lfseek: invalid track number: -2147483648"}};
    for (const auto &row : rows) {
        EXPECT_EQ(lfread(h.get(), track.get(), row.n), -1);
        EXPECT_EQ(log.take(), Lines{row.report});
    }
    EXPECT_EQ(toy.reads, 0);
}

TEST_F(Lfread, FailureOfTheCodecIsTheResultAsItStands) {
    const Handle h = open_read();
    toy.read_result = -7;
    EXPECT_EQ(lfread(h.get(), track.get(), 0), -7);
    EXPECT_EQ(h->trkcount, 0u);
    EXPECT_EQ(h->trkmin, no_time);
}

TEST_F(Lfread, AfterAFailedDecodingTheSameTrackCountsAsHeld) {
    const Handle h = open_read();
    toy.read_result = -1;
    ASSERT_EQ(lfread(h.get(), track.get(), 3), -1);
    toy.read_result = 0;
    EXPECT_EQ(track->owner, h.get());
    EXPECT_EQ(track->imgtrk, 3);
    EXPECT_EQ(lfread(h.get(), track.get(), 3), 0);
    EXPECT_EQ(toy.reads, 1);
}

TEST_F(Lfread, FailedSeekOfTheFormatFailsTheRead) {
    const Handle h = open_read();
    ASSERT_EQ(lfcheck(h.get()), 0);
    toy.seek_results[5] = -1;
    EXPECT_EQ(lfread(h.get(), track.get(), 5), -1);
    EXPECT_EQ(toy.reads, 0);
}

TEST_F(Lfread, CountsTracksAndTheirTime) {
    const Handle h = open_read();
    ASSERT_EQ(lfread(h.get(), track.get(), 0), 1);
    EXPECT_EQ(h->trkcount, 1u);
    EXPECT_EQ(h->trkmin, h->trkmax);
    EXPECT_EQ(h->trktime, h->trkmax);
    ASSERT_EQ(lfread(h.get(), track.get(), 1), 1);
    EXPECT_EQ(h->trkcount, 2u);
    EXPECT_EQ(h->trktime, h->trkmin + h->trkmax);
}

// A file of its own, since the buffer is what refuses.
TEST(LfreadAtTheEnd, PassesTheSeekAndTheBufferRefuses) {
    ReportLog log;
    TempDir dir;
    Toy toy = Toy::bytes();
    const std::string name = dir.file("image.toy");
    write_bytes(name, Toy::coded_file(10));
    Track track;
    const Handle h(lfopen(name.c_str(), LF_READ, 0, nullptr));
    ASSERT_EQ(lfread(h.get(), track.get(), 9), 1);
    EXPECT_EQ(lfread(h.get(), track.get(), 10), -1);
    EXPECT_EQ(log.take(), Lines{"toy_read: unexpected EOF: last os error"});
    EXPECT_TRUE(h->flags & LF_EOF);
    EXPECT_EQ(lfread(h.get(), track.get(), 11), -1);
    EXPECT_EQ(log.take(), Lines{"lfseek: invalid track number: 11"});
    EXPECT_EQ(lfread(h.get(), track.get(), 0), 1) << "a track inside the image reads again";
    EXPECT_EQ(track.runs(), (Runs{{1, 0}}));
}

// ---- blank tracks ---------------------------------------------------------------------------

TEST_F(LfreadBlank, IsOneRunInTheColourOfItsEntry) {
    toy.seek_results[2] = 8;
    const Handle h = open_read();
    lfctable(h.get())[7] = 0x1234;
    EXPECT_EQ(lfread(h.get(), track.get(), 2), 1);
    EXPECT_EQ(track.runs(), (Runs{{100, 0x1234}}));
    EXPECT_EQ(toy.reads, 0);
}

TEST_F(LfreadBlank, OfCodeZeroAnd255UsesTheFirstAndTheLastEntry) {
    toy.seek_results = {{1, 1}, {2, 256}};
    const Handle h = open_read();
    lfctable(h.get())[0] = 111;
    lfctable(h.get())[255] = 222;
    EXPECT_EQ(lfread(h.get(), track.get(), 1), 1);
    EXPECT_EQ(track.runs(), (Runs{{100, 111}}));
    EXPECT_EQ(lfread(h.get(), track.get(), 2), 1);
    EXPECT_EQ(track.runs(), (Runs{{100, 222}}));
}

TEST_F(LfreadBlank, IsAsLongAsTheOutput) {
    toy.seek_results[0] = 1;
    const Handle h = open_read();
    ASSERT_EQ(lfsetsize(h.get(), 10, 333), 0);
    EXPECT_EQ(lfread(h.get(), track.get(), 0), 1);
    EXPECT_EQ(track.runs(), (Runs{{333, 0}}));
}

TEST_F(LfreadBlank, LeavesTheBufferWithoutATrackNumber) {
    toy.seek_results[2] = 1;
    const Handle h = open_read();
    ASSERT_EQ(lfread(h.get(), track.get(), 1), 1);
    ASSERT_EQ(lfread(h.get(), track.get(), 2), 1);
    EXPECT_EQ(track->imgtrk, -1);
    EXPECT_EQ(lfread(h.get(), track.get(), 1), 1) << "decoded again";
    EXPECT_EQ(toy.reads, 2);
}

TEST_F(LfreadBlank, IsCountedButTakesNoTime) {
    toy.seek_results[0] = 1;
    const Handle h = open_read();
    ASSERT_EQ(lfread(h.get(), track.get(), 0), 1);
    EXPECT_EQ(h->trkcount, 1u);
    EXPECT_EQ(h->trktime, 0u);
    EXPECT_EQ(h->trkmin, no_time);
    EXPECT_EQ(h->trkmax, 0u);
}

TEST_F(LfreadBlank, OfABitmapIsARowOfTheColoursLowByte) {
    toy.seek_results[0] = 4;
    toy.flags = LF_BITMAP;
    const Handle h = open_read();
    lfctable(h.get())[3] = 0x1AB;
    Track row(100, GT_BITMAP);
    EXPECT_EQ(lfread(h.get(), row.get(), 0), 1);
    EXPECT_EQ(row->nruns, 100);
    const auto *pixels = reinterpret_cast<const uint8_t *>(row->data);
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(pixels[i], 0xAB);
}

// ---- repeated tracks ------------------------------------------------------------------------

TEST_F(LfreadRepeated, WithTheSameBufferIsDecodedOnce) {
    const Handle h = open_read();
    EXPECT_EQ(lfread(h.get(), track.get(), 6), 1);
    EXPECT_EQ(lfread(h.get(), track.get(), 6), 0);
    EXPECT_EQ(track.runs(), (Runs{{100, 6}}));
    EXPECT_EQ(toy.reads, 1);
    EXPECT_EQ(h->trkcount, 2u) << "the repeated track counts";
}

TEST_F(LfreadRepeated, WithAnotherBufferIsDecodedAgain) {
    const Handle h = open_read();
    Track other;
    EXPECT_EQ(lfread(h.get(), track.get(), 6), 1);
    EXPECT_EQ(lfread(h.get(), other.get(), 6), 1);
    EXPECT_EQ(other.runs(), track.runs());
    EXPECT_EQ(toy.reads, 2);
}

TEST_F(LfreadRepeated, OutputTracksOfOneImageTrackShareADecoding) {
    const Handle h = open_read();
    ASSERT_EQ(lfsetsize(h.get(), 20, 100), 0);
    const int32_t expected[] = {1, 0, 1, 0, 1, 0};
    for (int32_t i = 0; i < 6; ++i) {
        EXPECT_EQ(lfread(h.get(), track.get(), i), expected[i]) << i;
        EXPECT_EQ(track.runs(), (Runs{{100, static_cast<uint32_t>(i / 2)}}));
    }
    EXPECT_EQ(toy.reads, 3);
}

TEST_F(LfreadRepeated, TakesNoTimeInTheStatistics) {
    const Handle h = open_read();
    ASSERT_EQ(lfread(h.get(), track.get(), 6), 1);
    const uint64_t time = h->trktime;
    ASSERT_EQ(lfread(h.get(), track.get(), 6), 0);
    EXPECT_EQ(h->trktime, time);
}

TEST_F(LfreadRepeated, TheSameNumberFromAnotherHandleIsDecoded) {
    const Handle one = open_read();
    const Handle other = open_read();
    EXPECT_EQ(lfread(one.get(), track.get(), 6), 1);
    EXPECT_EQ(lfread(other.get(), track.get(), 6), 1);
    EXPECT_EQ(lfread(one.get(), track.get(), 6), 1);
    EXPECT_EQ(toy.reads, 3);
}

TEST_F(LfreadRepeated, AHandleAtTheAddressOfAClosedOneIsNotMistakenForIt) {
    for (int round = 0; round < 8; ++round) { // the allocator likes to give the same block again
        const Handle h = open_read();
        EXPECT_EQ(lfread(h.get(), track.get(), 6), 1);
    }
    EXPECT_EQ(toy.reads, 8);
}

// ---- mirrored -------------------------------------------------------------------------------

TEST_F(LfreadMirrored, TrackZeroIsTheLastOne) {
    const Handle h = open_read(LF_XMIRROR);
    ASSERT_EQ(lfread(h.get(), track.get(), 0), 1);
    EXPECT_EQ(track.runs(), (Runs{{100, 9}}));
    EXPECT_EQ(lfcurrentrow(h.get()), 9);
    ASSERT_EQ(lfread(h.get(), track.get(), 9), 1);
    EXPECT_EQ(track.runs(), (Runs{{100, 0}}));
}

TEST_F(LfreadMirrored, NumbersOutsideTheImageFail) {
    const Handle h = open_read(LF_XMIRROR);
    for (const int32_t n : {10, 11, INT_MAX, INT_MIN, -2}) {
        EXPECT_EQ(lfread(h.get(), track.get(), n), -1) << n;
        EXPECT_EQ(log.size(), 1u);
        log.take();
    }
    EXPECT_EQ(toy.reads, 0);
}

// ---- lfwrite --------------------------------------------------------------------------------

TEST_F(Lfwrite, HandsTracksToTheCodecInOrder) {
    const Handle h = open_write(2);
    track.put({{60, 1}, {40, 0}});
    EXPECT_EQ(lfwrite(h.get(), track.get(), 0), 0);
    track.put({{100, 5}});
    EXPECT_EQ(lfwrite(h.get(), track.get(), 1), 0);
    EXPECT_EQ(toy.written, (std::vector<Runs>{{{60, 1}, {40, 0}}, {{100, 5}}}));
    EXPECT_EQ(lfcurrentrow(h.get()), 2);
    EXPECT_EQ(h->imgtrk, 2);
}

TEST_F(Lfwrite, FirstCallRunsLfcheck) {
    const Handle h = open_write();
    ASSERT_EQ(lfwrite(h.get(), track.get(), 0), 0);
    EXPECT_EQ(toy.count("check"), 1);
    EXPECT_TRUE(h->flags & LF_CHECKED);
}

TEST_F(Lfwrite, FailsWithLfcheckAndTheNextCallTriesAgain) {
    toy.check_result = -1;
    const Handle h = open_write();
    EXPECT_EQ(lfwrite(h.get(), track.get(), 0), -1);
    toy.check_result = 0;
    EXPECT_EQ(lfwrite(h.get(), track.get(), 0), 0);
    EXPECT_EQ(toy.count("check"), 2);
}

TEST_F(Lfwrite, ResultOfTheCodecIsHandedOn) {
    toy.write_result = 5;
    const Handle h = open_write();
    EXPECT_EQ(lfwrite(h.get(), track.get(), 0), 5);
    EXPECT_EQ(lfcurrentrow(h.get()), 1);
}

TEST_F(Lfwrite, WithoutAWriterBehindLfcheckIsCode10) {
    const Handle h = open_write();
    ASSERT_EQ(lfcheck(h.get()), 0);
    h->writetrack = nullptr;
    EXPECT_EQ(lfwrite(h.get(), track.get(), 0), -1);
    EXPECT_EQ(log.take(), Lines{"lfwrite: write not supported"});
    h->writetrack = Toy::write_memory;
    EXPECT_EQ(lfwrite(h.get(), track.get(), 0), 0) << "the handle stays usable";
}

TEST_F(Lfwrite, OnAReadHandleOfAFormatThatSetsNoWriterIsCode10) {
    toy.writetrack = nullptr;
    const Handle h = open_read();
    EXPECT_EQ(lfwrite(h.get(), track.get(), 0), -1);
    EXPECT_EQ(log.take(), Lines{"lfwrite: write not supported"});
    EXPECT_EQ(lfread(h.get(), track.get(), 0), 1) << "the handle stays usable";
}

TEST_F(Lfwrite, OnAReadHandleFailsWhateverTheFormatSets) {
    const Handle h = open_read();
    track.put({{100, 0}});
    EXPECT_EQ(lfwrite(h.get(), track.get(), 0), -1);
    EXPECT_TRUE(toy.written.empty());
    EXPECT_EQ(lfread(h.get(), track.get(), 0), 1) << "the handle stays usable";
}

TEST_F(Lfwrite, OutOfOrderIsRefusedAndChangesNothing) {
    const Handle h = open_write();
    for (const int32_t n : {1, -1, INT_MAX}) {
        EXPECT_EQ(lfwrite(h.get(), track.get(), n), -1);
        EXPECT_EQ(log.take(),
                  Lines{"lfwrite: invalid argument | random access on write is not supported"});
    }
    EXPECT_TRUE(toy.written.empty());
    EXPECT_EQ(write_tracks(h.get(), 0, 2), 2);
    EXPECT_EQ(lfwrite(h.get(), track.get(), 1), -1) << "a track cannot be written twice";
    EXPECT_EQ(lfwrite(h.get(), track.get(), 2), 0);
}

TEST_F(Lfwrite, BeyondTheTableWithoutGrowIsCode3AndChangesNothing) {
    const Handle h = open_write(4);
    ASSERT_EQ(write_tracks(h.get(), 0, 4), 4);
    EXPECT_EQ(lfwrite(h.get(), track.get(), 4), -1);
    ASSERT_EQ(log.size(), 1u);
    EXPECT_NE(log[0].text.find("invalid track number: 4"), std::string::npos);
    EXPECT_EQ(log.take(), Lines{"lfwrite: invalid track number: 4"});
    EXPECT_EQ(toy.written.size(), 4u);
    EXPECT_EQ(lfcurrentrow(h.get()), 4);
    EXPECT_EQ(h->seekcap, 4);
    EXPECT_EQ(h->flags & LF_EOF, 0u);
}

TEST_F(Lfwrite, KeepsTheOffsetOfEachTrack) {
    const Handle h = open_write(3);
    ASSERT_EQ(lfcheck(h.get()), 0);
    h->seekfn = nullptr;
    for (int32_t i = 0; i < 3; ++i) {
        h->bufpos = 1000 * (i + 1);
        h->bufptr = h->buf + i;
        ASSERT_EQ(lfwrite(h.get(), track.get(), i), 0);
    }
    h->bufptr = h->buf;
    const int64_t *table = lfseektable(h.get());
    EXPECT_EQ(table[0], 1000);
    EXPECT_EQ(table[1], 2001);
    EXPECT_EQ(table[2], 3002);
}

TEST_F(Lfwrite, CodecMayPutABlankMarkInPlaceOfTheOffset) {
    toy.writetrack = [](xvor_t *h, trackbuf *) -> int32_t {
        h->seektab[h->track] = ~int64_t{255};
        return 0;
    };
    const Handle h = open_write(2);
    ASSERT_EQ(write_tracks(h.get(), 0, 2), 2);
    EXPECT_EQ(lfseektable(h.get())[0], -256);
    EXPECT_EQ(lfseektable(h.get())[1], -256);
}

TEST_F(Lfwrite, NegativeOffsetFailsWithoutAReport) {
    const Handle h = open_write();
    ASSERT_EQ(lfcheck(h.get()), 0);
    h->bufpos = -100;
    EXPECT_EQ(lfwrite(h.get(), track.get(), 0), -1);
    EXPECT_TRUE(log.empty());
    EXPECT_TRUE(h->flags & LF_EOF);
    EXPECT_TRUE(toy.written.empty());
    EXPECT_EQ(lfcurrentrow(h.get()), 0);
}

TEST_F(Lfwrite, FailureOfTheCodecSetsTheEndMarkAndKeepsTheTrackNumber) {
    const Handle h = open_write();
    ASSERT_EQ(write_tracks(h.get(), 0, 1), 1);
    toy.write_result = -7;
    EXPECT_EQ(lfwrite(h.get(), track.get(), 1), -1);
    EXPECT_TRUE(h->flags & LF_EOF);
    EXPECT_EQ(lfcurrentrow(h.get()), 1);
    EXPECT_EQ(h->imgtrk, 1);
    EXPECT_EQ(h->trkcount, 1u);
    EXPECT_TRUE(log.empty()) << "the codec has told its reason itself";
}

TEST_F(Lfwrite, CountsTracksAndTheirTime) {
    const Handle h = open_write();
    ASSERT_EQ(write_tracks(h.get(), 0, 2), 2);
    EXPECT_EQ(h->trkcount, 2u);
    EXPECT_EQ(h->trktime, h->trkmin + h->trkmax);
}

// ---- growing --------------------------------------------------------------------------------

TEST_F(LfwriteGrow, RaisesTheTableByTwoThousandsAndTheSizeOnlyThen) {
    const Handle h = open_write(5, LF_GROW);
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_EQ(h->seekcap, 5);
    EXPECT_EQ(h->xsize, 0) << "the number of tracks is not known";
    ASSERT_EQ(write_tracks(h.get(), 0, 5), 5);
    EXPECT_EQ(h->seekcap, 5);
    EXPECT_EQ(h->xsize, 0);
    ASSERT_EQ(write_tracks(h.get(), 5, 6), 6);
    EXPECT_EQ(h->seekcap, 2000);
    EXPECT_EQ(h->xsize, 6);
    ASSERT_EQ(write_tracks(h.get(), 6, 2000), 2000);
    EXPECT_EQ(h->seekcap, 2000);
    EXPECT_EQ(h->xsize, 6) << "it lags behind the tracks written";
}

TEST_F(LfwriteGrow, GainsNothingAtAMultipleOfTwoThousandAndMakesUpForItWithTheNextTrack) {
    const Handle h = open_write(5, LF_GROW);
    ASSERT_EQ(write_tracks(h.get(), 0, 2001), 2001);
    EXPECT_EQ(h->seekcap, 2000);
    EXPECT_EQ(h->xsize, 2001);
    ASSERT_EQ(write_tracks(h.get(), 2001, 2002), 2002);
    EXPECT_EQ(h->seekcap, 4000);
    EXPECT_EQ(h->xsize, 2002);
    ASSERT_EQ(write_tracks(h.get(), 2002, 4001), 4001);
    EXPECT_EQ(h->seekcap, 4000);
    EXPECT_EQ(h->xsize, 4001);
}

TEST_F(LfwriteGrow, TheEntryBehindTheTableIsKept) {
    const Handle h = open_write(5, LF_GROW);
    ASSERT_EQ(lfcheck(h.get()), 0);
    h->seekfn = nullptr;
    for (int32_t i = 0; i < 2003; ++i) {
        h->bufpos = 100 + i;
        ASSERT_EQ(lfwrite(h.get(), track.get(), i), 0);
    }
    for (int32_t i = 0; i < 2003; ++i)
        ASSERT_EQ(lfseektable(h.get())[i], 100 + i) << i;
}

TEST_F(LfwriteGrow, WithoutMemoryForTheTableFails) {
    const Handle h = open_write(5, LF_GROW);
    ASSERT_EQ(write_tracks(h.get(), 0, 5), 5);
    {
        const FailingMalloc no_memory(1);
        EXPECT_EQ(lfwrite(h.get(), track.get(), 5), -1);
    }
    EXPECT_EQ(log.take(), Lines{"lffitmemory: out of memory"});
    EXPECT_EQ(toy.written.size(), 5u);
    EXPECT_EQ(lfseektable(h.get()), nullptr);
}

// ---- update road ----------------------------------------------------------------------------

TEST_F(LfwriteOnUpdate, NoTracksAreRead) {
    const Handle h = open(LF_UPDATE);
    EXPECT_EQ(lfread(h.get(), track.get(), 0), -1);
    EXPECT_EQ(log.take(), Lines{"lfseek: invalid argument | seek on write is not supported"});
}

TEST_F(LfwriteOnUpdate, NoTracksAreWritten) {
    const Handle h = open(LF_UPDATE);
    track.put({{100, 0}});
    EXPECT_EQ(lfwrite(h.get(), track.get(), 0), -1);
    EXPECT_EQ(log.take(),
              Lines{"lfwrite: invalid argument | random access on write is not supported"});
    EXPECT_EQ(lfwrite(h.get(), track.get(), -1), -1);
    EXPECT_TRUE(toy.written.empty());
}

} // namespace
} // namespace vor::test
