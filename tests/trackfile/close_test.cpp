// The end of a handle, and what a file tells about itself.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

#include "formats/formats.h"
#include "platform/kel.h"
#include "support/byte_file.h"
#include "support/owned_handles.h"
#include "support/report_log.h"
#include "support/temp_dir.h"
#include "support/toy_format.h"
#include "trackfile/lf.h"

namespace vor::test {
namespace {

int32_t failing_flush(xvor_t *) {
    return -1;
}

class CloseTest : public ::testing::Test {
protected:
    ReportLog log;
    TempDir dir;
    std::string name = dir.file("image.toy");
    Toy toy = Toy::bytes();
    Track track;

    Handle open_read() {
        write_bytes(name, Toy::coded_file(toy.tracks));
        return Handle(lfopen(name.c_str(), LF_READ, 0, nullptr));
    }
    Handle open_checked_write(uint32_t mode = 0) {
        Handle h(lfopen(name.c_str(), LF_WRITE | mode, Toy::type(), nullptr));
        EXPECT_EQ(lfsetsize(h.get(), 3, 50), 0);
        EXPECT_EQ(lfcheck(h.get()), 0);
        toy.calls.clear();
        return h;
    }
};

using Close = CloseTest;
using GetInfo = CloseTest;
using FileType = CloseTest;

// ---- lfclose --------------------------------------------------------------------------------

TEST_F(Close, ReadHandleCallsTheFormatsCloseAlone) {
    Handle h = open_read();
    ASSERT_TRUE(h);
    toy.calls.clear();
    EXPECT_EQ(close_now(&h), 0);
    EXPECT_EQ(toy.calls, Lines{"close"});
    EXPECT_TRUE(log.empty());
}

TEST_F(Close, WriteHandleSendsOutTheTracksThenTheHeader) {
    Handle h = open_checked_write();
    track.put({{50, 1}});
    ASSERT_EQ(lfwrite(h.get(), track.get(), 0), 0);
    int64_t size_at_header = -1;
    toy.on_whdr = [&](xvor_t *handle) {
        kel_stat_t status;
        if (kel_fstat(handle->fd, &status) == 0) size_at_header = status.size;
    };
    EXPECT_EQ(close_now(&h), 0);
    EXPECT_EQ(toy.calls, (Lines{"whdr", "close"}));
    EXPECT_EQ(size_at_header, 2) << "one code and its end, before the header is written";
}

TEST_F(Close, UpdateHandleWritesTheHeader) {
    write_bytes(name, Toy::coded_file(toy.tracks));
    Handle h(lfopen(name.c_str(), LF_UPDATE, 0, nullptr));
    ASSERT_TRUE(h);
    toy.calls.clear();
    EXPECT_EQ(close_now(&h), 0);
    EXPECT_EQ(toy.calls, (Lines{"whdr", "close"}));
}

TEST_F(Close, FailedFlushKeepsTheHeaderFromBeingWritten) {
    toy.flushbuf = failing_flush;
    Handle h = open_checked_write();
    EXPECT_EQ(close_now(&h), -1);
    EXPECT_EQ(toy.calls, Lines{"close"});
    EXPECT_TRUE(log.empty()) << "the flush has told its reason itself";
}

TEST_F(Close, FailedHeaderIsReportedAndTheRestIsStillReleased) {
    Handle h = open_checked_write();
    const int32_t fd = h->fd;
    toy.whdr_result = -1;
    EXPECT_EQ(close_now(&h), -1);
    EXPECT_EQ(log.take(), Lines{"lfclose: last os error | write error on header(s)"});
    EXPECT_EQ(toy.calls, (Lines{"whdr", "close"}));
    EXPECT_EQ(kel_lseek(fd, 0, KEL_SEEK_CUR), -1) << "the descriptor was left open";
}

TEST_F(Close, FailedCloseOfTheFormatIsTheResult) {
    Handle h = open_read();
    toy.close_result = -1;
    EXPECT_EQ(close_now(&h), -1);
    EXPECT_TRUE(log.empty());
}

TEST_F(Close, FormatWithNeitherHeaderNorCloseWillDo) {
    Handle h(lfdopen(-1, "x", LF_WRITE, lffdev(Toy::bare_row(), 0), nullptr));
    ASSERT_TRUE(h);
    ASSERT_EQ(lfsetsize(h.get(), 3, 50), 0);
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_EQ(close_now(&h), 0);
}

TEST_F(Close, WriteHandleThatNeverPassedLfcheckFailsWithoutAHeader) {
    Handle h(lfopen(name.c_str(), LF_WRITE, Toy::type(), nullptr));
    ASSERT_TRUE(h);
    toy.calls.clear();
    EXPECT_EQ(close_now(&h), -1);
    EXPECT_EQ(toy.calls, Lines{"close"});
}

TEST_F(Close, DescriptorThatDoesNotCloseIsReported) {
    Handle h = open_read();
    ASSERT_TRUE(h);
    kel_close(h->fd);
    EXPECT_EQ(close_now(&h), -1);
    EXPECT_EQ(log.take(), Lines{"lfclose: last os error"});
    EXPECT_EQ(toy.count("close"), 1);
}

TEST_F(Close, BadMagicIsAWarningAndTheCloseGoesOn) {
    Handle h = open_read();
    ASSERT_TRUE(h);
    const int32_t fd = h->fd;
    h->magic ^= 1;
    EXPECT_EQ(close_now(&h), 0);
    EXPECT_EQ(log.take(), Lines{"lfclose: warning | bad magic on xvor_t data..."});
    EXPECT_EQ(toy.count("close"), 1);
    EXPECT_EQ(kel_lseek(fd, 0, KEL_SEEK_CUR), -1);
}

TEST_F(Close, TablesGoWithTheHandle) {
    Handle h = open_read();
    ASSERT_EQ(lfsetsize(h.get(), 20, 100), 0);
    ASSERT_EQ(lfcheck(h.get()), 0);
    ASSERT_NE(h->otrack, nullptr);
    ASSERT_NE(h->seektab, nullptr);
    ASSERT_EQ(lfassignstoptable(h.get(), static_cast<uint32_t *>(std::calloc(4, 4)), 4), 0);
    EXPECT_EQ(close_now(&h), 0); // the leak checker has the last word
}

TEST_F(Close, AfterAFailedWriteNoHeaderMakesTheFilePassForAGoodOne) {
    Handle h = open_checked_write();
    track.put({{50, 1}});
    toy.write_result = -1;
    ASSERT_EQ(lfwrite(h.get(), track.get(), 0), -1);
    toy.calls.clear();
    EXPECT_EQ(close_now(&h), -1);
    EXPECT_EQ(toy.count("whdr"), 0);
    EXPECT_EQ(toy.count("close"), 1);
}

// ---- lfgetinfo ------------------------------------------------------------------------------

TEST_F(GetInfo, TellsOutputOrFileGeometry) {
    Handle h = open_read();
    int32_t window[4] = {2, 10, 8, 70};
    ASSERT_EQ(lfclip(h.get(), window), 0);
    ASSERT_EQ(lfscale(h.get(), 20, 10), 0);
    lfinfo output, file;
    EXPECT_EQ(lfgetinfo(h.get(), LF_OUTPUT_GEOMETRY, &output), 0);
    EXPECT_EQ(lfgetinfo(h.get(), LF_FILE_GEOMETRY, &file), 0);
    EXPECT_EQ(output.xsize, 12);
    EXPECT_EQ(output.ysize, 30);
    EXPECT_EQ(output.xres, 20.0);
    EXPECT_EQ(output.yres, 10.0);
    EXPECT_EQ(file.xsize, 10);
    EXPECT_EQ(file.ysize, 100);
    EXPECT_EQ(file.xres, 10.0);
    EXPECT_EQ(file.yres, 20.0);
}

TEST_F(GetInfo, OtherFieldsAreTheSameForBoth) {
    toy.bits = 8;
    toy.maxruns = 9;
    Handle h = open_read();
    h->nctab = 5;
    h->error = LFE_TRACK;
    for (const int32_t which : {LF_OUTPUT_GEOMETRY, LF_FILE_GEOMETRY}) {
        lfinfo info;
        std::memset(&info, 0xEE, sizeof info);
        ASSERT_EQ(lfgetinfo(h.get(), which, &info), 0);
        EXPECT_EQ(info.bits, 8);
        EXPECT_EQ(info.nctab, 5);
        EXPECT_STREQ(info.type_name, "toy");
        EXPECT_EQ(info.major, Toy::row());
        EXPECT_EQ(info.minor, 3);
        EXPECT_EQ(info.maxruns, 9);
        EXPECT_EQ(info.error, LFE_TRACK);
        EXPECT_TRUE(std::all_of(info.rest, info.rest + 192, [](uint8_t b) { return b == 0; }));
    }
}

TEST_F(GetInfo, AnotherGeometryIsAnInvalidArgument) {
    Handle h = open_read();
    lfinfo info;
    std::memset(&info, 0xEE, sizeof info);
    EXPECT_EQ(lfgetinfo(h.get(), 2, &info), -1);
    EXPECT_EQ(log.take(), Lines{"lfgetinfo: invalid argument"});
    EXPECT_TRUE(std::all_of(info.rest, info.rest + 192, [](uint8_t b) { return b == 0; }));
    EXPECT_EQ(lfgetinfo(h.get(), -1, &info), -1);
}

TEST_F(GetInfo, MaxrunsBelowTwoShowsAsUnknown) {
    Handle h = open_read();
    const struct { int32_t maxruns, shown; } rows[] = {{-1, 0}, {0, 0}, {1, 0}, {2, 2}, {500, 500}};
    for (const auto &row : rows) {
        h->maxruns = row.maxruns;
        lfinfo info;
        ASSERT_EQ(lfgetinfo(h.get(), LF_OUTPUT_GEOMETRY, &info), 0);
        EXPECT_EQ(info.maxruns, row.shown) << row.maxruns;
    }
}

// A format known by its name alone.
int32_t register_named(lffmt_t *format, const char *format_name) {
    *format = {};
    format->name = format_name;
    return lfregisterfmt(format);
}

TEST_F(GetInfo, FormatNameOfFifteenCharactersIsKeptWhole) {
    static lffmt_t format;
    static constexpr char format_name[] = "fifteen-letters";
    static_assert(sizeof format_name == 16);
    Handle h = open_read();
    h->fmt = register_named(&format, format_name);
    lfinfo info;
    std::memset(&info, 0xEE, sizeof info);
    ASSERT_EQ(lfgetinfo(h.get(), LF_OUTPUT_GEOMETRY, &info), 0);
    EXPECT_STREQ(info.type_name, format_name);
    h->fmt = Toy::row();
}

TEST_F(GetInfo, FormatNameOfSixteenCharactersIsCutToFifteen) {
    static lffmt_t format;
    static constexpr char format_name[] = "sixteen--letters";
    static_assert(sizeof format_name == 17);
    Handle h = open_read();
    h->fmt = register_named(&format, format_name);
    lfinfo info;
    std::memset(&info, 0xEE, sizeof info);
    ASSERT_EQ(lfgetinfo(h.get(), LF_OUTPUT_GEOMETRY, &info), 0);
    EXPECT_STREQ(info.type_name, "sixteen--letter");
    h->fmt = Toy::row();
}

// ---- lffiletype -----------------------------------------------------------------------------

TEST_F(FileType, OfAFileThatOpensIsWhatTheOpenFound) {
    write_bytes(name, Toy::coded_file(toy.tracks));
    uint32_t flags_seen = 0;
    toy.on_detect = [&](xvor_t *h) { flags_seen = h->flags; };
    lfinfo info;
    EXPECT_EQ(lffiletype(name.c_str(), &info), 0);
    EXPECT_EQ(info.xsize, 10);
    EXPECT_STREQ(info.type_name, "toy");
    EXPECT_EQ(flags_seen, LF_READ | LF_SEQUENTIAL);
    EXPECT_EQ(toy.calls, (Lines{"detect", "close"}));
}

// The record that is told for a suffix alone: row and name, the rest zero.
lfinfo guessed(int32_t row, const char *format_name) {
    lfinfo info = {};
    info.major = row;
    std::strncpy(info.type_name, format_name, sizeof info.type_name - 1);
    return info;
}

bool same(const lfinfo &a, const lfinfo &b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

TEST_F(FileType, OfAMissingFileIsGuessedFromItsSuffixButFailsAllTheSame) {
    toy.detect_result = 1; // the toy format would open without a file
    lfinfo info;
    std::memset(&info, 0xEE, sizeof info);
    EXPECT_EQ(lffiletype(name.c_str(), &info), -1);
    EXPECT_TRUE(same(info, guessed(Toy::row(), "toy")));
    std::memset(&info, 0xEE, sizeof info);
    EXPECT_EQ(lffiletype(dir.file("missing.vor").c_str(), &info), -1);
    EXPECT_TRUE(same(info, guessed(0, "vor")));
}

TEST_F(FileType, OfAnUnreadableFileIsGuessedFromItsSuffixToo) {
    const std::string foreign = dir.file("foreign.vor");
    write_text(foreign, "not an image");
    toy.detect_result = 1;
    lfinfo info;
    EXPECT_EQ(lffiletype(foreign.c_str(), &info), -1);
    EXPECT_TRUE(same(info, guessed(0, "vor")));
}

TEST_F(FileType, WithAnUnknownSuffixLeavesTheRecordZero) {
    toy.detect_result = 1;
    lfinfo info;
    std::memset(&info, 0xEE, sizeof info);
    EXPECT_EQ(lffiletype(dir.file("missing.unheard-of").c_str(), &info), -1);
    EXPECT_TRUE(same(info, lfinfo{}));
}

} // namespace
} // namespace vor::test
