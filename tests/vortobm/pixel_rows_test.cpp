// Tracks of pixels by way of a run codec's functions, on handles put together by hand.

#include "vortobm/pixel_rows.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "codecs/codecs.h"
#include "support/codec_handle.h"
#include "support/failing_malloc.h"
#include "support/owned_handles.h"
#include "support/report_log.h"
#include "vortobm/vortobm.h"

namespace vor::test {
namespace {

using bitmap::read_pixels;
using bitmap::write_pixels;
using Bytes = std::vector<uint8_t>;

constexpr auto bitmap_mode = static_cast<int32_t>(GT_BITMAP);

Bytes pixels_in(const trackbuf &t) {
    const auto *bytes = reinterpret_cast<const uint8_t *>(t.data);
    return {bytes, bytes + t.nruns};
}

// What a track of "fw8" codes is read to.
class ReadPixels : public ::testing::Test {
protected:
    ReadPixels() {
        h.set_window(0, 10, 10);
        h->fysize = 10;
        h->skiptrack = codec->skip;
    }

    int32_t read(trackbuf *t) { return read_pixels(h.get(), t, codec->read_ns); }

    ReportLog log;
    const rle_row *codec = findrle_functions("fw8");
    CodecHandle h{{3, 0x84, 3, 3, 0x84, 3, 10}};
    Track row{10, bitmap_mode};
};

TEST_F(ReadPixels, LaysTheRunsOut) {
    EXPECT_EQ(read(row.get()), 10);
    EXPECT_EQ(row->nruns, 10);
    EXPECT_EQ(row->data, row->base + 1);
    EXPECT_EQ(pixels_in(*row.get()), (Bytes{0, 0, 0, 255, 255, 255, 255, 0, 0, 0}));
}

TEST_F(ReadPixels, LeavesThePositionAtTheNextTrack) {
    ASSERT_EQ(read(row.get()), 10);
    EXPECT_EQ(h.position(), 3u);
    ASSERT_EQ(read(row.get()), 10);
    EXPECT_EQ(h.position(), 6u);
}

TEST_F(ReadPixels, TakesTheLowByteOfAColourCode) {
    h->ctable[0] = 0x1234;
    h->ctable[255] = 0x100;
    ASSERT_EQ(read(row.get()), 10);
    EXPECT_EQ(pixels_in(*row.get()), (Bytes{0x34, 0x34, 0x34, 0, 0, 0, 0, 0x34, 0x34, 0x34}));
}

TEST_F(ReadPixels, WritesNoByteBehindTheRow) {
    auto *bytes = reinterpret_cast<uint8_t *>(row->base + 1);
    std::memset(bytes, 0xEE, 16);
    ASSERT_EQ(read(row.get()), 10);
    EXPECT_EQ(Bytes(bytes + 10, bytes + 16), Bytes(6, 0xEE));
}

TEST_F(ReadPixels, FindsItsPlaceWhereverTheDataOfTheBufferStood) {
    row->data = row->base + 2;
    ASSERT_EQ(read(row.get()), 10);
    EXPECT_EQ(row->data, row->base + 1);
}

TEST_F(ReadPixels, IntoABufferThatIsTooSmallIsReported) {
    Track small(7, bitmap_mode); // 8 bytes
    EXPECT_EQ(read(small.get()), -1);
    EXPECT_EQ(log.take(), Lines{"vortobm_read: invalid argument | track buffer too small"});
    trackbuf none;
    gtgrow(&none, 0, 1, bitmap_mode);
    EXPECT_EQ(read(&none), -1);
    EXPECT_EQ(log.take(), Lines{"vortobm_read: invalid argument | track buffer too small"});
    EXPECT_EQ(h->error, uint32_t{LFE_ARGUMENT});
    EXPECT_EQ(read(row.get()), 10) << "nothing of the track is gone";
}

TEST_F(ReadPixels, IntoForeignStorageFillsItFromItsData) {
    alignas(lfrun) uint8_t storage[16];
    std::memset(storage, 0xEE, sizeof storage);
    trackbuf foreign;
    ASSERT_EQ(gtgrow(&foreign, sizeof storage - 1, 1, GT_BITMAP | GT_FOREIGN), 0);
    EXPECT_EQ(read(&foreign), -1) << "no storage yet";
    log.take();
    foreign.data = reinterpret_cast<lfrun *>(storage);
    ASSERT_EQ(read(&foreign), 10);
    EXPECT_EQ(storage[0], 0);
    EXPECT_EQ(storage[3], 255);
    EXPECT_EQ(storage[9], 0);
    EXPECT_EQ(storage[10], 0xEE);
}

TEST_F(ReadPixels, WithoutMemoryIsReported) {
    h.set_window(0, 100000, 100000); // more than this thread has had room for
    Track large(100000, bitmap_mode);
    const FailingMalloc no_memory(1);
    EXPECT_EQ(read(large.get()), -1);
    EXPECT_TRUE(no_memory.reached());
    EXPECT_EQ(log.take(), Lines{"vortobm_read: out of memory"});
}

TEST_F(ReadPixels, OfATrackThatCannotBeReadFailsAsItsRunsDo) {
    h.set_window(0, 12, 12);
    Track large(12, bitmap_mode);
    EXPECT_EQ(read(large.get()), -1);
    EXPECT_EQ(log.size(), 1u);
}

int32_t missing_pixels = 0;
int32_t hook_result = 0;

int32_t take_short(xvor_t *, trackbuf *, int32_t missing) {
    missing_pixels = missing;
    return hook_result;
}

// A handle of "fw8" whose tracks of 10 pixels may be short.
void make_lax(CodecHandle *handle) {
    CodecHandle &h = *handle;
    h->flags |= LF_TRKEND | LF_LAXTRACK;
    h.set_window(0, 10, 10);
    h->fysize = 10;
    h->skiptrack = findrle_functions("fw8")->skip;
}

TEST(ShortRows, EndInZerosThatAreNotCounted) {
    ReportLog log;
    CodecHandle h({0x83, 0});
    make_lax(&h);
    h->shorttrack = take_short;
    hook_result = 0;
    Track row(10, bitmap_mode);
    std::memset(row->base + 1, 0xEE, 16);
    EXPECT_EQ(read_pixels(h.get(), row.get(), findrle_functions("fw8")->read_ns), 3);
    EXPECT_EQ(missing_pixels, 7);
    EXPECT_EQ(row->nruns, 3);
    const auto *bytes = reinterpret_cast<const uint8_t *>(row->data);
    EXPECT_EQ(Bytes(bytes, bytes + 11), (Bytes{255, 255, 255, 0, 0, 0, 0, 0, 0, 0, 0xEE}));
}

TEST(ShortRows, MayBeRefused) {
    ReportLog log;
    CodecHandle h({0x83, 0});
    make_lax(&h);
    h->shorttrack = take_short;
    hook_result = -1;
    Track row(10, bitmap_mode);
    EXPECT_EQ(read_pixels(h.get(), row.get(), findrle_functions("fw8")->read_ns), -1);
}

// A run codec of the tests' own that delivers more pixels than there are.
int32_t read_too_many(xvor_t *, trackbuf *t) {
    t->data = t->base + 1;
    t->data[0] = {6, 1};
    t->data[1] = {UINT32_MAX, 2};
    t->nruns = 2;
    return 2;
}

TEST(LongRows, AreCutAtTheirEnd) {
    CodecHandle h;
    h.set_window(0, 8, 8);
    Track row(16, bitmap_mode);
    std::memset(row->base + 1, 0xEE, 16);
    EXPECT_EQ(read_pixels(h.get(), row.get(), read_too_many), 8);
    const auto *bytes = reinterpret_cast<const uint8_t *>(row->data);
    EXPECT_EQ(Bytes(bytes, bytes + 9), (Bytes{1, 1, 1, 1, 1, 1, 2, 2, 0xEE}));
}

// A hook that reads a row of another handle while one is being read.
Bytes read_within;

int32_t read_another(xvor_t *, trackbuf *, int32_t) {
    CodecHandle other({0x8A, 0});
    make_lax(&other);
    Track row(10, bitmap_mode);
    if (read_pixels(other.get(), row.get(), findrle_functions("fw8")->read_ns) != 10) return -1;
    read_within = pixels_in(*row.get());
    return 0;
}

TEST(ShortRows, MayHaveAHookThatReadsAnotherHandle) {
    CodecHandle h({0x03, 0x82, 0});
    make_lax(&h);
    h->shorttrack = read_another;
    Track row(10, bitmap_mode);
    ASSERT_EQ(read_pixels(h.get(), row.get(), findrle_functions("fw8")->read_ns), 5);
    EXPECT_EQ(read_within, Bytes(10, 255));
    EXPECT_EQ(pixels_in(*row.get()), (Bytes{0, 0, 0, 255, 255}));
}

// ---- writing ----------------------------------------------------------------------------------

class WritePixels : public ::testing::Test {
protected:
    WritePixels() { h.begin_writing(1); }

    static void put(trackbuf *t, const Bytes &pixels) {
        std::memcpy(t->data, pixels.data(), pixels.size());
        t->nruns = static_cast<int32_t>(pixels.size());
    }
    int32_t write(trackbuf *t) {
        h.set_window(0, t->nruns, t->nruns);
        return write_pixels(h.get(), t, findrle_functions("fw88")->write);
    }

    ReportLog log;
    CodecHandle h;
    Track row{16, bitmap_mode};
};

TEST_F(WritePixels, GathersThemToRuns) {
    put(row.get(), {7, 7, 7, 200, 0, 0});
    EXPECT_EQ(write(row.get()), 0);
    EXPECT_EQ(h.written(), (Bytes{3, 7, 1, 200, 2, 0}));
    EXPECT_EQ(row->nruns, 6) << "the row stays as it is";
}

TEST_F(WritePixels, TakesThemFromWhereTheDataStands) {
    put(row.get(), {0, 0, 0, 0, 0, 0, 0, 0, 5, 6});
    row->data += 1;
    row->nruns = 2;
    EXPECT_EQ(write(row.get()), 0);
    EXPECT_EQ(h.written(), (Bytes{1, 5, 1, 6}));
}

TEST_F(WritePixels, ThatTheBufferCannotHoldIsReported) {
    row->nruns = 25; // 3 units
    EXPECT_EQ(write(row.get()), -1);
    EXPECT_EQ(log.take(), Lines{"vortobm_write: invalid argument | track buffer too small"});
    row->nruns = -1;
    EXPECT_EQ(write(row.get()), -1);
    EXPECT_EQ(log.take(), Lines{"vortobm_write: invalid argument | track buffer too small"});
    EXPECT_TRUE(h.written().empty());
    row->nruns = 0;
}

TEST_F(WritePixels, WithoutMemoryIsReported) {
    Track large(200000, bitmap_mode);
    std::memset(large->data, 0, 200000);
    large->nruns = 200000;
    const FailingMalloc no_memory(1);
    EXPECT_EQ(write(large.get()), -1);
    EXPECT_TRUE(no_memory.reached());
    EXPECT_EQ(log.take(), Lines{"vortobm_write: out of memory"});
}

TEST_F(WritePixels, FailsAsTheRunsDo) {
    h.flushes_allowed = 0;
    Bytes pixels(LF_BUFSIZE + 1);
    for (size_t i = 0; i < pixels.size(); ++i)
        pixels[i] = static_cast<uint8_t>(i & 1);
    Track large(static_cast<uint32_t>(pixels.size()), bitmap_mode);
    put(large.get(), pixels);
    EXPECT_EQ(write(large.get()), -1);
    EXPECT_EQ(log.size(), 1u);
}

} // namespace
} // namespace vor::test
