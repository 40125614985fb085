#include <gtest/gtest.h>

#include <vector>

#include "codecs/bitmap_row.h"
#include "codecs/codec_functions.h"
#include "codecs/row_file.h"
#include "support/report_log.h"

namespace vor::test {
namespace {

std::vector<uint8_t> counting_bytes(size_t count) {
    std::vector<uint8_t> bytes(count);
    for (size_t i = 0; i < count; ++i)
        bytes[i] = static_cast<uint8_t>(i);
    return bytes;
}

class BitmapSkip : public ::testing::Test {
protected:
    ReportLog log;
    RowFile file{counting_bytes(200)};
    RowHandle h{file.name(), 64};

    size_t buffered() { return static_cast<size_t>(h->bufend - h->bufptr); }
};

TEST_F(BitmapSkip, MovesWithinTheBuffer) {
    h.fill_at(10);
    EXPECT_EQ(skipbmx(h.get(), 5), 0);
    EXPECT_EQ(*h->bufptr, 15);
    EXPECT_EQ(skipbmx(h.get(), -3), 0);
    EXPECT_EQ(*h->bufptr, 12);
    EXPECT_EQ(h->bufpos, 10);
    EXPECT_EQ(skipbmx(h.get(), 62), 0);
    EXPECT_EQ(h->bufptr, h->bufend);
    EXPECT_EQ(skipbmx(h.get(), -64), 0);
    EXPECT_EQ(h->bufptr, h->buf);
}

TEST_F(BitmapSkip, ByNothingOnAnEmptyBufferReadsNothing) {
    h.go_to(40);
    EXPECT_EQ(skipbmx(h.get(), 0), 0);
    EXPECT_EQ(h->bufptr, h->buf);
    EXPECT_EQ(h->bufend, h->buf);
    EXPECT_EQ(h->bufpos, 40);
    EXPECT_EQ(kel_lseek(h->fd, 0, KEL_SEEK_CUR), 40);
}

TEST_F(BitmapSkip, LandsBehindAnAlignedRead) {
    h.go_to(0);
    EXPECT_EQ(skipbmx(h.get(), 21), 0);
    EXPECT_EQ(h->bufpos, 16);
    EXPECT_EQ(h->bufptr, h->buf + 5);
    EXPECT_EQ(*h->bufptr, 21);
    EXPECT_EQ(h->bufend, h->buf + 64);
}

TEST_F(BitmapSkip, OntoAnAlignedPlaceLeavesTheBufferEmpty) {
    h.go_to(0);
    EXPECT_EQ(skipbmx(h.get(), 48), 0);
    EXPECT_EQ(h->bufpos, 48);
    EXPECT_EQ(buffered(), 0u);
    EXPECT_EQ(kel_lseek(h->fd, 0, KEL_SEEK_CUR), 48);
}

TEST_F(BitmapSkip, BackOverTheStartOfTheBufferSeeks) {
    h.fill_at(100);
    h->bufptr += 2;
    EXPECT_EQ(skipbmx(h.get(), -30), 0);
    EXPECT_EQ(h.place(), 72);
    EXPECT_EQ(*h->bufptr, 72);
}

// From inside a buffer the step out of it comes to a place that is off by the position's offset,
// twice.
TEST_F(BitmapSkip, OutOfABufferTakesThePositionsOffsetOff) {
    h.fill_at(0);
    h->bufptr += 10;
    EXPECT_EQ(skipbmx(h.get(), 100), 0);
    EXPECT_EQ(h.place(), 90);
    EXPECT_EQ(*h->bufptr, 90);
}

TEST_F(BitmapSkip, OutOfABufferFromItsStartIsExact) {
    h.fill_at(20);
    EXPECT_EQ(skipbmx(h.get(), 101), 0);
    EXPECT_EQ(h.place(), 121);
    EXPECT_EQ(*h->bufptr, 121);
}

TEST_F(BitmapSkip, BeforeTheFileIsReported) {
    h.fill_at(10);
    EXPECT_EQ(skipbmx(h.get(), -40), -1);
    EXPECT_EQ(log.size(), 1u);
    EXPECT_EQ(log.take(), Lines{"skipbmx: last os error"});
    EXPECT_EQ(h->error, uint32_t{LFE_OS});
    EXPECT_EQ(buffered(), 0u);
}

TEST_F(BitmapSkip, WithoutAFileIsReported) {
    h.go_to(0);
    const int32_t fd = h->fd;
    h->fd = -1;
    EXPECT_EQ(skipbmx(h.get(), 48), -1);
    EXPECT_EQ(log.take(), Lines{"skipbmx: last os error"});
    h->fd = fd;
}

TEST_F(BitmapSkip, BehindTheFileIsReportedWhereBytesAreWanted) {
    h.go_to(0);
    EXPECT_EQ(skipbmx(h.get(), 205), -1);
    EXPECT_EQ(log.take(), Lines{"skipbmx: unexpected EOF: last os error"});
    EXPECT_EQ(buffered(), 0u);
    h.go_to(0);
    EXPECT_EQ(skipbmx(h.get(), 208), 0) << "an aligned place reads nothing";
    EXPECT_TRUE(log.empty());
}

TEST_F(BitmapSkip, OntoTheLastByteOfTheFile) {
    h.go_to(0);
    EXPECT_EQ(skipbmx(h.get(), 199), 0);
    EXPECT_EQ(h->bufpos, 192);
    EXPECT_EQ(buffered(), 1u);
    EXPECT_EQ(*h->bufptr, 199);
}

TEST_F(BitmapSkip, BehindTheEndOfAllOffsetsIsReported) {
    h.go_to(0);
    h->bufpos = INT64_MAX;
    EXPECT_EQ(skipbmx(h.get(), INT64_MAX), -1);
    EXPECT_EQ(log.size(), 1u);
}

TEST_F(BitmapSkip, RowsOfBytesLeaveTheirRest) {
    struct Row {
        uint32_t flags;
        int32_t nctab, ctabno, y;
        int64_t expected;
    };
    const Row rows[] = {
        {0, 3, 1, 0, 60},                // the whole row
        {0, 3, 1, 10, 50},               // pixels taken
        {LF_INTERLEAVED, 3, 1, 0, 60},   // the whole row
        {LF_INTERLEAVED, 3, 1, 10, 29},  // and the plane's offset
        {LF_INTERLEAVED, 1, 1, 10, 50},  // one plane has no offset
        {LF_INTERLEAVED, 3, 2, 20, -2},  // beyond the row's end
        {LF_INTERLEAVED, 0, 5, 10, 50},  // no planes at all
        {LF_INTERLEAVED, -7, 5, 10, 50}, //
    };
    for (const Row &row : rows) {
        h->flags = row.flags;
        h->nctab = row.nctab;
        h->ctabno = row.ctabno;
        h->rowbytes = 60;
        h.fill_at(0);
        h->bufptr += 3;
        EXPECT_EQ(rest_of_byte_row(h.get(), row.y), row.expected);
        EXPECT_EQ(skipbm8(h.get(), row.y), 0);
        EXPECT_EQ(h.place(), 3 + row.expected);
    }
}

TEST_F(BitmapSkip, RowsOfBitsLeaveTheirRest) {
    struct Row {
        uint32_t flags;
        int32_t nctab, y;
        int64_t expected;
    };
    const Row rows[] = {
        {0, 2, 0, 60}, {0, 2, 1, 59}, {0, 2, 8, 59}, {0, 2, 9, 58}, {LF_INTERLEAVED, 2, 16, 56},
    };
    for (const Row &row : rows) {
        h->flags = row.flags;
        h->nctab = row.nctab;
        h->rowbytes = 60;
        h.fill_at(0);
        EXPECT_EQ(rest_of_bit_row(h.get(), row.y), row.expected);
        EXPECT_EQ(skipbm1(h.get(), row.y), 0);
        EXPECT_EQ(h.place(), row.expected);
    }
}

TEST_F(BitmapSkip, FailuresAreTheRowSkips) {
    h->rowbytes = 205;
    h.go_to(0);
    EXPECT_EQ(skipbm1(h.get(), 0), -1);
    h.go_to(0);
    EXPECT_EQ(skipbm8(h.get(), 0), -1);
    EXPECT_EQ(log.size(), 2u);
}

} // namespace
} // namespace vor::test
