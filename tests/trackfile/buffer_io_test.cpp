// The handle's byte buffer and the file: fills, flushes and the position.

#include <gtest/gtest.h>

#include <cstring>
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

constexpr uint64_t no_time = UINT64_MAX;

class BufferTest : public ::testing::Test {
protected:
    ReportLog log;
    TempDir dir;
    std::string name = dir.file("image.toy");
    Toy toy = Toy::bytes();

    Handle open_read(const std::vector<uint8_t> &bytes) {
        toy.dataoff = 0;
        write_bytes(name, bytes);
        return Handle(lfopen(name.c_str(), LF_READ, 0, nullptr));
    }
    // A handle on a new file, checked, with nothing in it yet.
    Handle open_write(uint32_t mode = 0) {
        toy.dataoff = 0;
        Handle h(lfopen(name.c_str(), LF_WRITE | mode, Toy::type(), nullptr));
        EXPECT_EQ(lfsetsize(h.get(), 3, 50), 0);
        EXPECT_EQ(lfcheck(h.get()), 0);
        return h;
    }
    static void put(xvor_t *h, const char *text) {
        std::memcpy(h->bufptr, text, std::strlen(text));
        h->bufptr += std::strlen(text);
    }
    static std::string buffered(const xvor_t *h) { return {h->bufptr, h->bufend}; }
};

using FillBuffer = BufferTest;
using FlushBuffer = BufferTest;
using Lftell = BufferTest;
using Lfflush = BufferTest;
using BufferFunctions = BufferTest;

// ---- fill -----------------------------------------------------------------------------------

TEST_F(FillBuffer, TakesUpToItsSizeFromTheFilesPosition) {
    std::vector<uint8_t> bytes(40000);
    for (size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<uint8_t>(i / 100);
    const Handle h = open_read(bytes);
    ASSERT_EQ(kel_lseek(h->fd, 1000, KEL_SEEK_SET), 1000);
    EXPECT_EQ(lf_fillbuf(h.get()), 16384);
    EXPECT_EQ(h->bufpos, 1000);
    EXPECT_EQ(h->bufptr, h->buf);
    EXPECT_EQ(h->bufend, h->buf + 16384);
    EXPECT_EQ(std::memcmp(h->buf, bytes.data() + 1000, 16384), 0);
    EXPECT_EQ(lf_fillbuf(h.get()), 16384);
    EXPECT_EQ(h->bufpos, 1000 + 16384);
    EXPECT_EQ(lf_fillbuf(h.get()), 40000 - 1000 - 2 * 16384);
}

TEST_F(FillBuffer, GivesZeroAtTheEndOfTheFile) {
    const Handle h = open_read({'a', 'b', 'c'});
    EXPECT_EQ(lf_fillbuf(h.get()), 3);
    EXPECT_EQ(lf_fillbuf(h.get()), 0);
    EXPECT_EQ(h->bufpos, 3);
    EXPECT_EQ(h->bufptr, h->buf);
    EXPECT_EQ(h->bufend, h->buf);
    EXPECT_TRUE(log.empty());
}

TEST_F(FillBuffer, RefusesAtTheEndOfTheImageWithoutAReport) {
    const Handle h = open_read({'a', 'b', 'c'});
    h->flags |= LF_EOF;
    EXPECT_EQ(lf_fillbuf(h.get()), -1);
    EXPECT_EQ(lf_fillbufs(h.get()), -1);
    EXPECT_EQ(kel_lseek(h->fd, 0, KEL_SEEK_CUR), 0) << "the file was read";
    EXPECT_TRUE(log.empty());
}

TEST_F(FillBuffer, ReadErrorEmptiesTheBufferWithoutAReport) {
    const Handle h = open_write();
    put(h.get(), "x");
    const int32_t before = h->iocount;
    EXPECT_EQ(lf_fillbuf(h.get()), -1);
    EXPECT_EQ(h->bufptr, h->buf);
    EXPECT_EQ(h->bufend, h->buf);
    EXPECT_EQ(h->iocount, before);
    EXPECT_TRUE(log.empty());
}

TEST_F(FillBuffer, CountsItsTransfersAndTheirTime) {
    const Handle h = open_read({'a', 'b', 'c'});
    EXPECT_EQ(h->iocount, 0);
    EXPECT_EQ(h->iomin, no_time);
    lf_fillbuf(h.get());
    EXPECT_EQ(h->iocount, 1);
    EXPECT_EQ(h->iomin, h->iomax);
    EXPECT_EQ(h->iotime, h->iomax);
    lf_fillbuf(h.get());
    EXPECT_EQ(h->iocount, 2);
    EXPECT_LE(h->iomin, h->iomax);
    EXPECT_EQ(h->iotime, h->iomin + h->iomax);
}

TEST_F(FillBuffer, SwappingFormTurnsEachPairOfBytes) {
    const Handle h = open_read({'a', 'b', 'c', 'd'});
    EXPECT_EQ(lf_fillbufs(h.get()), 4);
    EXPECT_EQ(buffered(h.get()), "badc");
}

TEST_F(FillBuffer, SwappingFormLeavesAnOddByteAlone) {
    const Handle h = open_read({'a', 'b', 'c'});
    EXPECT_EQ(lf_fillbufs(h.get()), 3);
    EXPECT_EQ(buffered(h.get()), "bac");
    EXPECT_EQ(lf_fillbufs(h.get()), 0);
}

// ---- flush ----------------------------------------------------------------------------------

TEST_F(FlushBuffer, WritesWhatIsThereAndMovesThePosition) {
    Handle h = open_write();
    put(h.get(), "abc");
    EXPECT_EQ(lf_flushb(h.get()), 0);
    EXPECT_EQ(h->bufptr, h->buf);
    EXPECT_EQ(h->bufpos, 3);
    EXPECT_EQ(read_text(name), "abc");
    put(h.get(), "de");
    EXPECT_EQ(lf_flushb(h.get()), 0);
    EXPECT_EQ(read_text(name), "abcde");
}

TEST_F(FlushBuffer, OfNothingTouchesNothing) {
    const Handle h = open_write();
    EXPECT_EQ(lf_flushb(h.get()), 0);
    EXPECT_EQ(lf_flushbs(h.get()), 0);
    EXPECT_EQ(h->iocount, 0);
    EXPECT_EQ(h->bufpos, 0);
}

TEST_F(FlushBuffer, BackwardDistanceCountsAsNothing) {
    const Handle h = open_read({'a', 'b', 'c'});
    uint8_t *const buf = h->buf;
    h->bufptr = buf;
    h->buf = buf + 2; // the next byte lies before the start
    EXPECT_EQ(lf_flushb(h.get()), 0);
    EXPECT_EQ(h->bufptr, h->buf);
    h->buf = h->bufptr = h->bufend = buf;
}

TEST_F(FlushBuffer, CountsItsTransfersAndTheirTime) {
    const Handle h = open_write();
    put(h.get(), "abc");
    lf_flushb(h.get());
    put(h.get(), "de");
    lf_flushbs(h.get());
    EXPECT_EQ(h->iocount, 2);
    EXPECT_EQ(h->iotime, h->iomin + h->iomax);
}

TEST_F(FlushBuffer, SwappingFormTurnsEachPairOfBytesInPlace) {
    Handle h = open_write();
    put(h.get(), "abcde");
    EXPECT_EQ(lf_flushbs(h.get()), 0);
    EXPECT_EQ(read_text(name), "badce");
    EXPECT_EQ(std::memcmp(h->buf, "badce", 5), 0);
}

TEST_F(FlushBuffer, ShortWriteIsReportedAndTheBytesAreLost) {
    const struct {
        lf_flush_fn flush;
        const char *report;
    } rows[] = {{lf_flushb, "_flushb:write: last os error"},
                {lf_flushbs, "lf_flushbs: last os error"}};
    for (const auto &row : rows) {
        const Handle h = open_read({'a', 'b', 'c'}); // its descriptor takes no writes
        put(h.get(), "xyz");
        EXPECT_EQ(row.flush(h.get()), -1);
        EXPECT_EQ(log.take(), Lines{row.report});
        EXPECT_EQ(h->bufptr, h->buf);
        EXPECT_EQ(h->bufpos, 3) << "the position has moved already";
        EXPECT_EQ(h->iocount, 0);
        EXPECT_EQ(h->error, static_cast<uint32_t>(LFE_OS));
    }
}

// ---- position -------------------------------------------------------------------------------

TEST_F(Lftell, CountsWhatHasBeenTakenFromTheBuffer) {
    const Handle h = open_read({'a', 'b', 'c'});
    ASSERT_EQ(lf_fillbuf(h.get()), 3);
    EXPECT_EQ(lftell(h.get()), 0);
    h->bufptr += 2;
    EXPECT_EQ(lftell(h.get()), 2);
    h->bufpos = INT64_C(5000000000);
    EXPECT_EQ(lftell(h.get()), INT64_C(5000000002));
}

TEST_F(Lftell, IsTheBuffersPlaceAloneWhenTheFormatSeeksItself) {
    const Handle h = open_read({'a', 'b', 'c'});
    ASSERT_EQ(lf_fillbuf(h.get()), 3);
    h->bufptr += 2;
    h->seekfn = Toy::seek_memory;
    EXPECT_EQ(lftell(h.get()), 0);
}

// ---- lfflush --------------------------------------------------------------------------------

TEST_F(Lfflush, ForgetsTheBufferOfAHandleThatReadsOrUpdates) {
    for (const uint32_t access : {LF_READ, LF_UPDATE}) {
        write_bytes(name, Toy::coded_file(10));
        const Handle h(lfopen(name.c_str(), access, 0, nullptr));
        ASSERT_TRUE(h);
        ASSERT_GT(lf_fillbuf(h.get()), 0);
        h->bufptr += 1;
        EXPECT_EQ(lfflush(h.get()), 0);
        EXPECT_EQ(h->bufptr, h->buf);
        EXPECT_EQ(h->bufend, h->buf);
    }
}

TEST_F(Lfflush, DoesNotCallTheFlushFunctionOfAHandleThatReads) {
    const Handle h = open_read({'a', 'b', 'c'});
    h->flushbuf = [](xvor_t *) -> int32_t { return -1; };
    EXPECT_EQ(lfflush(h.get()), 0);
}

TEST_F(Lfflush, WritesTheBufferOutOnTheWriteRoad) {
    const Handle h = open_write();
    put(h.get(), "abc");
    EXPECT_EQ(lfflush(h.get()), 0);
    EXPECT_EQ(read_text(name), "abc");
}

TEST_F(Lfflush, GivesZeroOrMinusOneWhateverTheFlushFunctionGives) {
    const Handle h = open_write();
    h->flushbuf = [](xvor_t *) -> int32_t { return 7; };
    EXPECT_EQ(lfflush(h.get()), 0);
    h->flushbuf = [](xvor_t *) -> int32_t { return -7; };
    EXPECT_EQ(lfflush(h.get()), -1);
    h->flushbuf = lf_flushb;
}

// ---- which functions a handle gets ----------------------------------------------------------

TEST_F(BufferFunctions, ArePlainOnesAfterLfcheck) {
    const Handle h = open_write();
    EXPECT_EQ(h->fillbuf, lf_fillbuf);
    EXPECT_EQ(h->flushbuf, lf_flushb);
}

TEST_F(BufferFunctions, AreSwappingOnesUnderSwap16) {
    const Handle h = open_write(LF_SWAP16);
    EXPECT_EQ(h->fillbuf, lf_fillbufs);
    EXPECT_EQ(h->flushbuf, lf_flushbs);
}

TEST_F(BufferFunctions, OfTheFormatAreKept) {
    toy.fillbuf = [](xvor_t *) -> int32_t { return 0; };
    toy.flushbuf = [](xvor_t *) -> int32_t { return 0; };
    for (const uint32_t mode : {uint32_t{0}, LF_SWAP16}) {
        const Handle h = open_write(mode);
        EXPECT_EQ(h->fillbuf, toy.fillbuf);
        EXPECT_EQ(h->flushbuf, toy.flushbuf);
    }
}

TEST_F(BufferFunctions, ASwappedFileIsSwappedOnceAFill) {
    toy.flags = LF_SWAP16;
    toy.tracks = 2;
    toy.dataoff = 0;
    // Two tracks of 7 codes and an end, each pair of bytes turned round.
    write_bytes(name, {2, 1, 4, 3, 6, 5, 0, 7, 9, 8, 11, 10, 13, 12, 0, 14});
    const Handle h(lfopen(name.c_str(), LF_READ, 0, nullptr));
    ASSERT_TRUE(h);
    h->bufsize = 4; // so that a track needs several fills
    Track track;
    ASSERT_EQ(lfread(h.get(), track.get(), 1), 7);
    for (uint32_t i = 0; i < 7; ++i)
        EXPECT_EQ(track.runs()[i].first, 8 + i);
}

} // namespace
} // namespace vor::test
