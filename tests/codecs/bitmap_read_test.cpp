#include <gtest/gtest.h>

#include <iterator>
#include <string>
#include <vector>

#include "codecs/bitmap_readers.h"
#include "support/codec_handle.h"

namespace vor::test {
namespace {

// A handle on a row that stands in memory: its buffer holds all of it unless told otherwise.
class RowInMemory : public CodecHandle {
public:
    RowInMemory(const std::vector<uint8_t> &bytes, int32_t rowbytes, int32_t pixels,
                uint32_t bufsize = LF_BUFSIZE)
        : CodecHandle(bytes, bufsize) {
        get()->rowbytes = rowbytes;
        set_window(0, pixels, pixels);
        get()->fillbuf(get());
    }
};

class BitmapReadBase {
protected:
    ReportLog log;
    Track track{64};

    Runs read(lf_readtrack_fn reader, CodecHandle *h) {
        EXPECT_EQ(reader(h->get(), track.get()), track->nruns);
        return track.runs();
    }
};

class BitmapRead : public BitmapReadBase, public ::testing::Test {};

class EveryBitmapReader : public BitmapReadBase, public ::testing::TestWithParam<BitmapReader> {
protected:
    RowReaderKind kind = GetParam().kind;
    lf_readtrack_fn reader = GetParam().read;

    Runs ordered(Runs runs) const {
        if (kind.reversed) std::reverse(runs.begin(), runs.end());
        return runs;
    }
    // A row of 16 pixels, 5 of 0, 7 of 255, 4 of 0, with another behind it.
    std::vector<uint8_t> row() const {
        if (kind.bits) return {0x07, 0xF0, 0xFF, 0xFF};
        std::vector<uint8_t> bytes(32, 9);
        for (size_t i = 0; i < 16; ++i)
            bytes[i] = i >= 5 && i < 12 ? 255 : 0;
        return bytes;
    }
    int32_t rowbytes() const { return kind.bits ? 2 : 16; }
};

std::string reader_name(const ::testing::TestParamInfo<BitmapReader> &info) {
    return info.param.kind.name;
}

INSTANTIATE_TEST_SUITE_P(Readers, EveryBitmapReader, ::testing::ValuesIn(bitmap_readers),
                         reader_name);

TEST_P(EveryBitmapReader, GivesTheRunsOfARowAndStopsAtTheNext) {
    RowInMemory h(row(), rowbytes(), 16);
    EXPECT_EQ(read(reader, &h), ordered({{5, 0}, {7, 255}, {4, 0}}));
    EXPECT_EQ(h.position(), static_cast<size_t>(rowbytes()));
    EXPECT_EQ(track->data, kind.reversed ? track->base + 61 : track->base + 1);
}

TEST_P(EveryBitmapReader, CutsTheWindowOutOfTheRow) {
    RowInMemory h(row(), rowbytes(), 16);
    h.set_window(3, 14, 11);
    EXPECT_EQ(read(reader, &h), ordered({{2, 0}, {7, 255}, {2, 0}}));
    EXPECT_EQ(h.position(), static_cast<size_t>(rowbytes()));
    h->bufptr = h->buf;
    h.set_window(6, 9, 3);
    EXPECT_EQ(read(reader, &h), (Runs{{3, 255}}));
    EXPECT_EQ(h.position(), static_cast<size_t>(rowbytes()));
}

TEST_P(EveryBitmapReader, TakesColoursFromTheTable) {
    RowInMemory h(row(), rowbytes(), 16);
    h->ctable[0] = 1000;
    h->ctable[255] = 2000;
    EXPECT_EQ(read(reader, &h), ordered({{5, 1000}, {7, 2000}, {4, 1000}}));
}

TEST_P(EveryBitmapReader, FillsAnEmptyBufferFirst) {
    RowInMemory h(row(), rowbytes(), 16);
    CodecHandle empty(row());
    empty->rowbytes = rowbytes();
    empty.set_window(0, 16, 16);
    EXPECT_EQ(read(reader, &empty), read(reader, &h));
    EXPECT_EQ(empty.position(), static_cast<size_t>(rowbytes()));
}

TEST_P(EveryBitmapReader, DataThatEndInTheRow) {
    std::vector<uint8_t> bytes = row();
    bytes.resize(kind.bits ? 1 : 6);
    RowInMemory h(bytes, rowbytes(), 16);
    EXPECT_EQ(reader(h.get(), track.get()), -1);
    EXPECT_EQ(log.take(), Lines{std::string(kind.name) + ": unexpected EOF: last os error"});
    EXPECT_EQ(h->bufptr, h->bufend);
}

TEST_P(EveryBitmapReader, AFillThatFails) {
    RowInMemory h(row(), rowbytes(), 16);
    h->bufptr = h->bufend = h->buf;
    h.fills_allowed = 1;
    EXPECT_EQ(reader(h.get(), track.get()), -1);
    EXPECT_EQ(log.take(), Lines{std::string(kind.name) + ": unexpected EOF: last os error"});
}

TEST_P(EveryBitmapReader, AFillOfLessThanAPixelsBytes) {
    RowInMemory h(row(), rowbytes(), 16, 2);
    h->flags = LF_INTERLEAVED;
    h->nctab = 3;
    EXPECT_EQ(reader(h.get(), track.get()), -1);
    EXPECT_EQ(log.take(), Lines{std::string(kind.name) + ": unexpected EOF: last os error"});
}

TEST_P(EveryBitmapReader, RowsOfMoreRunsThanTheBufferHolds) {
    for (uint32_t room = 1; room <= 2; ++room) {
        RowInMemory h(row(), rowbytes(), 16);
        Track small(room);
        EXPECT_EQ(reader(h.get(), small.get()), -1);
        EXPECT_EQ(log.take(),
                  Lines{std::string(kind.name) + ": invalid argument | track buffer too small"});
        EXPECT_EQ(small->nruns, static_cast<int32_t>(room));
        EXPECT_EQ(small->base[room + 1].colour, GT_END_GUARD);
    }
}

TEST_P(EveryBitmapReader, RowsThatJustFitTheBuffer) {
    RowInMemory h(row(), rowbytes(), 16);
    Track small(3);
    EXPECT_EQ(reader(h.get(), small.get()), 3);
    EXPECT_EQ(small->base[4].colour, GT_END_GUARD);
}

TEST_P(EveryBitmapReader, GivesTheFailureOfTheStepToTheWindow) {
    CodecHandle h(row());
    h.set_window(200, 201, 1);
    EXPECT_EQ(reader(h.get(), track.get()), -1);
    EXPECT_EQ(log.take(), Lines{"skipbmx: last os error"});
}

TEST_P(EveryBitmapReader, GivesTheFailureOfTheStepToTheNextRow) {
    RowInMemory h(row(), 1000, 16);
    EXPECT_EQ(reader(h.get(), track.get()), -1);
    EXPECT_EQ(log.take(), Lines{"skipbmx: last os error"});
}

TEST_P(EveryBitmapReader, AnEmptyWindowLeavesPixelsMissing) {
    if (!kind.scaled) return; // takes the pixels of the output
    RowInMemory h(row(), rowbytes(), 16);
    h.set_window(8, 8, 5);
    EXPECT_EQ(reader(h.get(), track.get()), -1);
    EXPECT_EQ(log.take(), Lines{std::string(kind.name) + ": error count: 5"});
}

int64_t heard_at;
int32_t heard_missing;
int32_t hook_answer;
int32_t hear(xvor_t *h, trackbuf *, int32_t missing) {
    heard_at = h->bufptr - h->buf;
    heard_missing = missing;
    return hook_answer;
}

// A row of bytes is left before its hook is asked, a row of bits afterwards.
TEST_P(EveryBitmapReader, AHookMayAcceptAShortRow) {
    if (!kind.scaled) return;
    RowInMemory h(row(), rowbytes(), 16);
    h.set_window(8, 8, 5);
    h->shorttrack = hear;
    hook_answer = 0;
    EXPECT_EQ(reader(h.get(), track.get()), 0);
    EXPECT_EQ(heard_missing, 5);
    EXPECT_EQ(heard_at, kind.bits ? 1 : 16);
    EXPECT_EQ(h.position(), static_cast<size_t>(rowbytes()));
    EXPECT_TRUE(log.empty());
}

TEST_P(EveryBitmapReader, AHookMayRefuseAShortRow) {
    if (!kind.scaled) return;
    RowInMemory h(row(), rowbytes(), 16);
    h.set_window(8, 8, 5);
    h->shorttrack = hear;
    hook_answer = -1;
    EXPECT_EQ(reader(h.get(), track.get()), -1);
    EXPECT_EQ(h.position(), kind.bits ? 1u : 16u);
    EXPECT_TRUE(log.empty());
}

TEST_P(EveryBitmapReader, WithoutRoomAnOutputOfNothingHasNoRuns) {
    RowInMemory h(row(), rowbytes(), 16);
    h->ysize = 0;
    trackbuf none = {};
    EXPECT_EQ(reader(h.get(), &none), 0);
    EXPECT_EQ(none.nruns, 0);
}

// ---- bits -------------------------------------------------------------------------------------

TEST_F(BitmapRead, PixelFiveIsBitTwoOfTheFirstByte) {
    for (const lf_readtrack_fn reader : {read_bilevel, read_bilevel_ns}) {
        RowInMemory h({0x04, 0x80}, 2, 16);
        h.set_window(5, 12, 7);
        EXPECT_EQ(read(reader, &h), (Runs{{1, 255}, {2, 0}, {1, 255}, {3, 0}}));
    }
}

TEST_F(BitmapRead, PixelEightIsOneByteOnTimesTheStride) {
    for (const lf_readtrack_fn reader : {read_bilevel, read_bilevel_ns}) {
        RowInMemory h({0xFF, 0x0F}, 2, 16);
        h.set_window(8, 16, 8);
        EXPECT_EQ(read(reader, &h), (Runs{{4, 0}, {4, 255}}));
        RowInMemory planes({0xFF, 0xFF, 0xFF, 0x0F, 0xFF, 0xFF}, 6, 16);
        planes->flags = LF_INTERLEAVED;
        planes->nctab = 3;
        planes.set_window(8, 16, 8);
        EXPECT_EQ(read(reader, &planes), (Runs{{4, 0}, {4, 255}}));
    }
}

TEST_F(BitmapRead, TwelvePixelsOfTwoBytesLeaveNothingToSkip) {
    RowInMemory h({0xF0, 0x3F, 0xAA}, 2, 12);
    EXPECT_EQ(read(read_bilevel_ns, &h), (Runs{{4, 255}, {6, 0}, {2, 255}}));
    EXPECT_EQ(h.position(), 2u);
}

TEST_F(BitmapRead, RunsOfAByteAreCutAtTheWindow) {
    for (const lf_readtrack_fn reader : {read_bilevel, read_bilevel_ns}) {
        RowInMemory h({0x1F}, 1, 5);
        EXPECT_EQ(read(reader, &h), (Runs{{3, 0}, {2, 255}}));
    }
}

TEST_F(BitmapRead, PlainBytesAreOneRun) {
    for (const uint8_t byte : {uint8_t{0x00}, uint8_t{0xFF}}) {
        RowInMemory h({byte, byte, byte}, 3, 24);
        EXPECT_EQ(read(read_bilevel_ns, &h), (Runs{{24, byte}}));
        h->bufptr = h->buf;
        h->ysize = 12;
        EXPECT_EQ(read(read_bilevel, &h), (Runs{{12, byte}}));
    }
}

// With one colour for both bits the scaled form makes one run; the one-to-one form joins the first
// run of each whole byte, and all runs of bytes that it takes in part.
TEST_F(BitmapRead, BitsOfOneColour) {
    RowInMemory h({0x18, 0x0F, 0x33}, 3, 20);
    h->ctable[255] = h->ctable[0];
    EXPECT_EQ(read(read_bilevel_ns, &h), (Runs{{3, 0}, {2, 0}, {3 + 4, 0}, {4 + 4, 0}}));
    h->bufptr = h->buf;
    EXPECT_EQ(read(read_bilevel, &h), (Runs{{20, 0}}));
    h->bufptr = h->buf;
    h.set_window(1, 8, 7);
    EXPECT_EQ(read(read_bilevel_ns, &h), (Runs{{7, 0}}));
}

TEST_F(BitmapRead, BitsScaleByTheRun) {
    RowInMemory h({0x0F, 0xF0}, 2, 16);
    h->ysize = 8;
    EXPECT_EQ(read(read_bilevel, &h), (Runs{{2, 0}, {4, 255}, {2, 0}}));
    h->bufptr = h->buf;
    h->ysize = 48;
    EXPECT_EQ(read(read_bilevel, &h), (Runs{{12, 0}, {24, 255}, {12, 0}}));
}

// ---- bytes ------------------------------------------------------------------------------------

TEST_F(BitmapRead, InterleavedBytesStartAtThePlaneAndStepOverTheOthers) {
    for (const lf_readtrack_fn reader : {read_bm8, read_bm8_ns}) {
        RowInMemory h({1, 10, 21, 2, 10, 22, 3, 11, 23, 4, 12, 24, 5}, 12, 4);
        h->flags = LF_INTERLEAVED;
        h->nctab = 3;
        h->ctabno = 1;
        EXPECT_EQ(read(reader, &h), (Runs{{2, 10}, {1, 11}, {1, 12}}));
        EXPECT_EQ(h.position(), 12u);
    }
}

TEST_F(BitmapRead, PlanesCountOnlyInInterleavedRows) {
    RowInMemory h({1, 2, 3, 4}, 4, 4);
    h->nctab = 3;
    h->ctabno = 1;
    EXPECT_EQ(read(read_bm8_ns, &h), (Runs{{1, 1}, {1, 2}, {1, 3}, {1, 4}}));
    h->bufptr = h->buf;
    h->flags = LF_INTERLEAVED;
    h->nctab = 1;
    EXPECT_EQ(read(read_bm8_ns, &h), (Runs{{1, 1}, {1, 2}, {1, 3}, {1, 4}}));
}

TEST_F(BitmapRead, BytesOfOneColourJoin) {
    for (const lf_readtrack_fn reader : {read_bm8, read_bm8_ns}) {
        RowInMemory h({1, 2, 2, 1, 3}, 5, 5);
        h->ctable[1] = h->ctable[2] = 70;
        EXPECT_EQ(read(reader, &h), (Runs{{4, 70}, {1, 3}}));
    }
}

TEST_F(BitmapRead, APixelScaledToNothingDoesNotSplitItsNeighbours) {
    RowInMemory h({5, 9, 5, 9, 6, 9, 6, 9}, 8, 8);
    h->ysize = 4;
    EXPECT_EQ(read(read_bm8, &h), (Runs{{2, 5}, {2, 6}}));
}

TEST_F(BitmapRead, InterleavedRowsGoOnAcrossRefills) {
    std::vector<uint8_t> bytes;
    Runs expected;
    for (uint8_t i = 0; i < 20; ++i) {
        bytes.insert(bytes.end(), {i, 99, 98});
        expected.emplace_back(1, i);
    }
    for (uint32_t bufsize = 3; bufsize <= 10; ++bufsize) {
        RowInMemory h(bytes, 60, 20, bufsize);
        h->flags = LF_INTERLEAVED;
        h->nctab = 3;
        EXPECT_EQ(read_bm8_ns(h.get(), track.get()), 20) << bufsize;
        EXPECT_EQ(track.runs(), expected) << bufsize;
    }
}

// When the scaled form passes the buffer's end by k bytes, the position goes k bytes in front of
// the new bytes, and what lies there reads as 0.
TEST_F(BitmapRead, OvershootOfTheScaledFormIsReversed) {
    std::vector<uint8_t> bytes(64);
    for (uint8_t i = 0; i < 10; ++i) {
        const uint8_t pixel[] = {uint8_t(1 + i), uint8_t(100 + i), uint8_t(200 + i)};
        bytes.insert(bytes.end(), std::begin(pixel), std::end(pixel));
    }
    const RowFile file(bytes);
    RowHandle h(file.name(), 20); // pixel 7 lies 1 byte behind the first buffer
    h->flags = LF_INTERLEAVED;
    h->nctab = 3;
    h->rowbytes = 30;
    h.set_window(0, 10, 10);
    Runs expected;
    for (uint32_t i = 1; i <= 10; ++i)
        expected.emplace_back(1, i);
    h.fill_at(64);
    EXPECT_EQ(read(read_bm8_ns, &h), expected);

    // The second buffer begins with plane 2 of pixel 6.
    expected[7].second = 0;
    expected[8].second = 107;
    expected[9].second = 108;
    h.fill_at(64);
    EXPECT_EQ(read(read_bm8, &h), expected);
}

} // namespace
} // namespace vor::test
