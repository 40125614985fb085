#include <gtest/gtest.h>

#include <vector>

#include "codecs/codec_functions.h"
#include "support/codec_handle.h"
#include "support/owned_handles.h"
#include "support/report_log.h"

namespace vor::test {
namespace {

using Bytes = std::vector<uint8_t>;

class BitmapWrite : public ::testing::Test {
protected:
    ReportLog log;
    Track track{64};

    // The bytes that a writer makes of the runs in a row of that many bytes.
    Bytes row_of(lf_writetrack_fn writer, int32_t rowbytes, const Runs &runs, uint32_t flags = 0) {
        CodecHandle h;
        h->flags = flags;
        h->rowbytes = rowbytes;
        h.begin_writing();
        return put(writer, &h, runs);
    }
    Bytes put(lf_writetrack_fn writer, CodecHandle *h, const Runs &runs) {
        track.put(runs);
        EXPECT_EQ(writer(h->get(), track.get()), 0);
        return h->written();
    }
};

// ---- bytes ------------------------------------------------------------------------------------

TEST_F(BitmapWrite, BytesAreTheColoursOfTheRuns) {
    EXPECT_EQ(row_of(write_bm8, 6, {{2, 7}, {1, 0}, {3, 255}}), (Bytes{7, 7, 0, 255, 255, 255}));
}

TEST_F(BitmapWrite, BytesOfARowThatTheRunsDoNotFillAreZero) {
    EXPECT_EQ(row_of(write_bm8, 5, {{2, 7}}), (Bytes{7, 7, 0, 0, 0}));
    EXPECT_EQ(row_of(write_bm8, 3, {}), (Bytes{0, 0, 0}));
}

TEST_F(BitmapWrite, BytesBeyondTheRowAreDropped) {
    EXPECT_EQ(row_of(write_bm8, 4, {{2, 7}, {9, 8}, {5, 9}}), (Bytes{7, 7, 8, 8}));
    EXPECT_EQ(row_of(write_bm8, 0, {{2, 7}}), (Bytes{}));
    EXPECT_EQ(row_of(write_bm8, -5, {{2, 7}}), (Bytes{}));
}

TEST_F(BitmapWrite, BytesGoThroughTheTableAndAreNoted) {
    CodecHandle h;
    h->rowbytes = 4;
    h->ctable[3] = 30;
    h->ctable[4] = 0x140;
    h.begin_writing();
    EXPECT_EQ(put(write_bm8, &h, {{2, 3}, {1, 4}, {1, 300}, {7, 5}}), (Bytes{30, 30, 0x40, 44}));
    for (int i = 0; i < 256; ++i)
        EXPECT_EQ(h->colorinfo[i], i == 30 || i == 0x40 || i == 44 ? 1 : 0) << i;
}

TEST_F(BitmapWrite, MirroredBytesStartWithTheLastRun) {
    EXPECT_EQ(row_of(write_bm8, 4, {{2, 7}, {2, 8}, {1, 9}}, LF_YMIRROR), (Bytes{9, 8, 8, 7}));
}

TEST_F(BitmapWrite, InterleavedBytesAreRefused) {
    CodecHandle h;
    h->flags = LF_INTERLEAVED;
    h->rowbytes = 4;
    h->nctab = 2;
    h.begin_writing();
    track.put({{4, 1}});
    EXPECT_EQ(write_bm8(h.get(), track.get()), -1);
    EXPECT_EQ(log.take(), Lines{"write_bm8: request not supported"});
    EXPECT_TRUE(h.written().empty());
    h->nctab = 1;
    EXPECT_EQ(put(write_bm8, &h, {{4, 1}}), (Bytes{1, 1, 1, 1}));
}

// ---- bits -------------------------------------------------------------------------------------

TEST_F(BitmapWrite, BitsStartAtTheLeft) {
    EXPECT_EQ(row_of(write_bilevel, 1, {{4, 0}, {4, 255}}), (Bytes{0x0F}));
    EXPECT_EQ(row_of(write_bilevel, 2, {{3, 0}, {1, 1}, {8, 0}, {4, 1}}), (Bytes{0x10, 0x0F}));
    EXPECT_EQ(row_of(write_bilevel, 3, {{20, 255}, {4, 0}}), (Bytes{0xFF, 0xFF, 0xFF}));
    EXPECT_EQ(row_of(write_bilevel, 3, {{20, 1}, {4, 0}}), (Bytes{0xFF, 0xFF, 0x71}));
}

// The byte is begun with the colour itself, and bits are only ever set in it.
TEST_F(BitmapWrite, AByteBegunWithColour255StaysFull) {
    EXPECT_EQ(row_of(write_bilevel, 1, {{1, 255}, {7, 0}}), (Bytes{0xFF}));
    EXPECT_EQ(row_of(write_bilevel, 2, {{8, 0}, {3, 255}, {5, 0}}), (Bytes{0x00, 0xFF}));
    EXPECT_EQ(row_of(write_bilevel, 1, {{1, 0}, {7, 255}}), (Bytes{0x7F}));
}

TEST_F(BitmapWrite, AByteIsBegunWithTheLowByteOfItsColour) {
    EXPECT_EQ(row_of(write_bilevel, 1, {{1, 1}, {7, 0}}), (Bytes{0x01}));
    EXPECT_EQ(row_of(write_bilevel, 1, {{2, 1}, {6, 0}}), (Bytes{0x41}));
    EXPECT_EQ(row_of(write_bilevel, 1, {{3, 0x80}, {5, 0}}), (Bytes{0xE0}));
    EXPECT_EQ(row_of(write_bilevel, 1, {{2, 0x100}, {6, 0}}), (Bytes{0x40}));
}

TEST_F(BitmapWrite, AByteThatIsNotFinishedIsLost) {
    EXPECT_EQ(row_of(write_bilevel, 2, {{8, 255}, {5, 255}}), (Bytes{0xFF, 0x00}));
    EXPECT_EQ(row_of(write_bilevel, 1, {{7, 255}}), (Bytes{0x00}));
    EXPECT_EQ(row_of(write_bilevel, 3, {{12, 255}}), (Bytes{0xFF, 0x00, 0x00}));
}

TEST_F(BitmapWrite, BitsBeyondTheRowAreDropped) {
    EXPECT_EQ(row_of(write_bilevel, 2, {{12, 255}, {100, 0}, {9, 255}}), (Bytes{0xFF, 0xFF}));
    EXPECT_EQ(row_of(write_bilevel, 2, {{8, 0}, {100, 255}}), (Bytes{0x00, 0xFF}));
    EXPECT_EQ(row_of(write_bilevel, 2, {{16, 0}, {3, 255}}), (Bytes{0x00, 0x00}));
    EXPECT_EQ(row_of(write_bilevel, 2, {{19, 255}}), (Bytes{0xFF, 0xFF}));
    EXPECT_EQ(row_of(write_bilevel, 0, {{19, 255}}), (Bytes{}));
}

TEST_F(BitmapWrite, BitsGoThroughTheTable) {
    CodecHandle h;
    h->rowbytes = 2;
    h->ctable[7] = 0;
    h->ctable[0] = 255;
    h.begin_writing();
    EXPECT_EQ(put(write_bilevel, &h, {{8, 7}, {8, 0}}), (Bytes{0x00, 0xFF}));
}

TEST_F(BitmapWrite, MirroredBitsStartWithTheLastRun) {
    EXPECT_EQ(row_of(write_bilevel, 1, {{6, 255}, {2, 0}}, LF_YMIRROR), (Bytes{0x3F}));
}

TEST_F(BitmapWrite, RunsOfNoPixelsLeaveNoTrace) {
    EXPECT_EQ(row_of(write_bilevel, 2, {{8, 0}, {0, 255}, {8, 0}}), (Bytes{0x00, 0x00}));
    EXPECT_EQ(row_of(write_bilevel, 1, {{3, 0}, {0, 255}, {5, 0}}), (Bytes{0x00}));
    EXPECT_EQ(row_of(write_bm8, 2, {{1, 5}, {0, 255}, {1, 6}}), (Bytes{5, 6}));
}

// ---- both -------------------------------------------------------------------------------------

struct RowWriterCase {
    const char *name;
    lf_writetrack_fn write;
};
constexpr RowWriterCase writers[] = {{"write_bm8", write_bm8}, {"write_bilevel", write_bilevel}};

TEST_F(BitmapWrite, RowsGoOnInTheNextBuffer) {
    const Runs runs = {{5, 255}, {7, 0}, {30, 255}, {6, 0}};
    for (const auto &[name, writer] : writers) {
        const Bytes expected = row_of(writer, 60, runs);
        EXPECT_EQ(expected.size(), 60u);
        for (uint32_t bufsize = 1; bufsize <= 20; ++bufsize) {
            CodecHandle h({}, bufsize);
            h->rowbytes = 60;
            h.begin_writing();
            EXPECT_EQ(put(writer, &h, runs), expected) << name << " " << bufsize;
            EXPECT_LE(h->bufptr, h->bufend);
        }
    }
}

TEST_F(BitmapWrite, AFlushThatFailsIsReported) {
    for (const auto &[name, writer] : writers) {
        for (int allowed = 0; allowed < 4; ++allowed) {
            CodecHandle h({}, 2);
            h->rowbytes = 10;
            h.begin_writing();
            h.flushes_allowed = allowed;
            track.put({{3, 255}, {2, 0}, {20, 255}});
            EXPECT_EQ(writer(h.get(), track.get()), -1);
            EXPECT_EQ(log.take(), Lines{std::string(name) + ": last os error"});
        }
    }
}

// A row that fills the buffer to its last byte waits there.
TEST_F(BitmapWrite, WhatLiesBeyondTheRowNeedsNoRoom) {
    for (const auto &[name, writer] : writers) {
        CodecHandle h({}, 2);
        h->rowbytes = 2;
        h.begin_writing();
        h.flushes_allowed = 0;
        EXPECT_EQ(put(writer, &h, {{19, 255}, {4, 0}}), (Bytes{255, 255})) << name;
        EXPECT_EQ(h->bufptr, h->bufend) << name;
    }
    EXPECT_TRUE(log.empty());
}

TEST_F(BitmapWrite, MaxrunsIsRaisedToTheRow) {
    for (const auto &[name, writer] : writers) {
        CodecHandle h;
        h->rowbytes = 10;
        h->maxruns = 3;
        h.begin_writing();
        put(writer, &h, {{3, 1}});
        EXPECT_EQ(h->maxruns, 10) << name;
        h->rowbytes = 4;
        put(writer, &h, {{3, 1}});
        EXPECT_EQ(h->maxruns, 10) << name;
    }
}

} // namespace
} // namespace vor::test
