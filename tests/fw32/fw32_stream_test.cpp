// The format as a caller of the track file calls sees it, on files.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "fw32/stream_words.h"
#include "platform/kel.h"
#include "support/failing_malloc.h"
#include "support/report_log.h"
#include "support/temp_dir.h"

namespace {

using namespace vor::test;

class Fw32Stream : public testing::Test {
protected:
    void make(const Words &words) { write_bytes(name_, bytes_of(words)); }
    // Tracks of one run each, in the colours 1, 2, 3 and so on.
    void make_tracks(uint32_t count, uint32_t pixels) {
        std::vector<Runs> tracks;
        for (uint32_t n = 1; n <= count; ++n)
            tracks.push_back({{pixels, n}});
        make(track_words(tracks));
    }
    uint32_t colour_of(xvor_t *h, int32_t n) {
        Track track;
        return lfread(h, track.get(), n) > 0 ? track.runs().front().second : 0;
    }

    TempDir dir_;
    std::string name_ = dir_.file("a.fw32");
    ReportLog log_;
};

TEST_F(Fw32Stream, TheRecordNamesItself) {
    const int32_t row = lffmajor(fw32_type());
    EXPECT_GT(row, 0);
    EXPECT_STREQ(lffmtname(row), "fw32");
    EXPECT_STREQ(lffmtsuffix(row), ".fw32");
    EXPECT_STREQ(lffmtsuffixlist(row), ".fw32");
}

TEST_F(Fw32Stream, NoFileIsRecognised) {
    make_tracks(3, 10);
    fw32_type();
    EXPECT_FALSE(lfopen(name_.c_str(), LF_READ, 0, nullptr));
    EXPECT_EQ(log_.take(), (Lines{"vor_detect_format: unknown file format"}));
}

TEST_F(Fw32Stream, AForcedTypeOpensIt) {
    make_tracks(3, 10);
    lfinfo info;
    Handle h(lfopen(name_.c_str(), LF_READ | LF_FORCETYPE, fw32_type(), &info));
    ASSERT_TRUE(h);
    EXPECT_EQ(info.xsize, 0);
    EXPECT_EQ(info.ysize, 0);
    EXPECT_EQ(info.xres, 0);
    EXPECT_EQ(info.yres, 0);
    EXPECT_EQ(info.bits, 12);
    EXPECT_STREQ(info.type_name, "fw32");
    EXPECT_EQ(info.minor, 0);
}

TEST_F(Fw32Stream, TheRawModeOpensItWhateverTheType) {
    make_tracks(3, 10);
    fw32_type();
    const Handle h(lfopen(name_.c_str(), LF_READ | LF_RAWFW32, 0x43, nullptr));
    ASSERT_TRUE(h);
    EXPECT_EQ(h->subtype, 0);
    int32_t window[4] = {0, 0, 3, 10};
    ASSERT_EQ(lfclip(h.get(), window), 0);
    EXPECT_EQ(colour_of(h.get(), 0), 1u);
    EXPECT_EQ(colour_of(h.get(), 2), 3u);
}

TEST_F(Fw32Stream, TheRawModeWritesWithoutTables) {
    fw32_type();
    Handle h(lfopen(name_.c_str(), LF_WRITE | LF_RAWFW32, 0, nullptr));
    ASSERT_TRUE(h);
    ASSERT_EQ(lfsetsize(h.get(), 2, 10), 0);
    Track track;
    track.put({{10, 5}});
    ASSERT_EQ(lfwrite(h.get(), track.get(), 0), 0);
    EXPECT_EQ(lfseektable(h.get()), nullptr);
    ASSERT_EQ(lfwrite(h.get(), track.get(), 1), 0);
    EXPECT_EQ(lfwrite(h.get(), track.get(), 2), -1) << "more than announced";
    ASSERT_EQ(close_now(&h), 0);
    EXPECT_EQ(words_of(read_bytes(name_)), (Words{code(10, 5), 0, code(10, 5), 0}));
}

TEST_F(Fw32Stream, AGrowingStreamTakesAnyNumberOfTracks) {
    for (const uint32_t mode : {uint32_t{0}, LF_RAWFW32}) {
        Handle h(lfopen(name_.c_str(), LF_WRITE | LF_GROW | mode, fw32_type(), nullptr));
        ASSERT_TRUE(h);
        ASSERT_EQ(lfsetsize(h.get(), 1, 10), 0);
        Track track;
        track.put({{10, 5}});
        for (int32_t n = 0; n < 4500; ++n)
            ASSERT_EQ(lfwrite(h.get(), track.get(), n), 0) << n;
        ASSERT_EQ(close_now(&h), 0);
        EXPECT_EQ(words_of(read_bytes(name_)).size(), 9000u);
    }
}

TEST_F(Fw32Stream, FewerTracksThanAnnouncedAreNoFailure) {
    Handle h(lfopen(name_.c_str(), LF_WRITE, fw32_type(), nullptr));
    ASSERT_TRUE(h);
    ASSERT_EQ(lfsetsize(h.get(), 5, 10), 0);
    Track track;
    track.put({{10, 5}});
    ASSERT_EQ(lfwrite(h.get(), track.get(), 0), 0);
    EXPECT_EQ(close_now(&h), 0);
    EXPECT_EQ(words_of(read_bytes(name_)), (Words{code(10, 5), 0}));
}

TEST_F(Fw32Stream, WithoutASizeTheCheckFails) {
    make_tracks(3, 10);
    const Handle h = open_stream(name_);
    ASSERT_TRUE(h);
    Track track;
    EXPECT_EQ(lfread(h.get(), track.get(), 0), -1);
    EXPECT_EQ(log_.take().front(),
              "fw32_check: invalid argument | the size of a stream must be told");
    int32_t window[4] = {0, 0, 3, 10};
    ASSERT_EQ(lfclip(h.get(), window), 0);
    EXPECT_EQ(lfread(h.get(), track.get(), 0), 1) << "nothing is lost by the failure";
}

TEST_F(Fw32Stream, ResolutionAndSizeTellItToo) {
    make_tracks(3, 10);
    const Handle h = open_stream(name_);
    ASSERT_TRUE(h);
    EXPECT_EQ(lfsetsize(h.get(), 3, 10), -1);
    EXPECT_EQ(log_.take(), (Lines{"lfsetsize: invalid argument | bad scaling (<=0)"}));
    ASSERT_EQ(lfscale(h.get(), 20, 40), 0);
    ASSERT_EQ(lfsetsize(h.get(), 3, 10), 0);
    EXPECT_EQ(h->fxsize, 3);
    EXPECT_EQ(h->fysize, 10);
    EXPECT_EQ(h->xres, 20);
    EXPECT_EQ(h->yres, 40);
    EXPECT_EQ(colour_of(h.get(), 0), 1u);
}

TEST_F(Fw32Stream, AnUnknownNumberOfTracksIsReadToItsEnd) {
    make_tracks(3, 10);
    const Handle h = open_stream(name_, INT32_MAX, 10);
    ASSERT_TRUE(h);
    for (int32_t n = 0; n < 3; ++n)
        EXPECT_EQ(colour_of(h.get(), n), static_cast<uint32_t>(n + 1));
    Track track;
    EXPECT_EQ(lfread(h.get(), track.get(), 3), -1);
    EXPECT_EQ(h->error, static_cast<uint32_t>(LFE_TRACK));
    EXPECT_EQ(log_.take(),
              (Lines{"fw32_readtrack: invalid track number: 3 | the stream has no such track"}));
}

TEST_F(Fw32Stream, AStreamThatIsCutInsideATrackEndsWithAnotherCode) {
    for (const Words &words :
         {Words{code(10, 1), 0, code(4, 1)}, Words{code(10, 1), 0, code(10, 2)}}) {
        for (const size_t lost : {size_t{0}, size_t{1}, size_t{3}}) {
            std::vector<uint8_t> bytes = bytes_of(words);
            bytes.resize(bytes.size() - lost);
            write_bytes(name_, bytes);
            const Handle h = open_stream(name_, 9, 10);
            ASSERT_TRUE(h);
            EXPECT_EQ(colour_of(h.get(), 0), 1u);
            Track track;
            EXPECT_EQ(lfread(h.get(), track.get(), 1), -1);
            EXPECT_EQ(h->error, static_cast<uint32_t>(LFE_EOF));
            EXPECT_EQ(log_.take(), (Lines{"read_fw32: unexpected EOF: last os error"}));
        }
    }
}

TEST_F(Fw32Stream, AnEmptyStreamHasNoTrack) {
    make({});
    const Handle h = open_stream(name_, 5, 10);
    ASSERT_TRUE(h);
    Track track;
    EXPECT_EQ(lfread(h.get(), track.get(), 0), -1);
    EXPECT_EQ(h->error, static_cast<uint32_t>(LFE_TRACK));
}

TEST_F(Fw32Stream, TracksMayBeLeftOutButNotReadAgain) {
    make_tracks(9, 10);
    const Handle h = open_stream(name_, 9, 10);
    ASSERT_TRUE(h);
    EXPECT_EQ(colour_of(h.get(), 3), 4u);
    EXPECT_EQ(colour_of(h.get(), 7), 8u);
    EXPECT_EQ(lfseek(h.get(), 5, LF_SEEK_SET), -1);
    EXPECT_EQ(log_.take(), (Lines{"fw32_seek: invalid argument | a stream does not go back"}));
    EXPECT_EQ(colour_of(h.get(), 8), 9u);
}

TEST_F(Fw32Stream, TheLastTrackIsAtHandOnlyInItsBuffer) {
    make_tracks(3, 10);
    const Handle h = open_stream(name_, 3, 10);
    ASSERT_TRUE(h);
    Track track;
    EXPECT_EQ(lfread(h.get(), track.get(), 1), 1);
    EXPECT_EQ(lfread(h.get(), track.get(), 1), 0);
    Track other;
    EXPECT_EQ(lfread(h.get(), other.get(), 1), -1);
    EXPECT_EQ(log_.take(), (Lines{"fw32_readtrack: invalid argument | a stream does not go back"}));
    EXPECT_EQ(lfread(h.get(), other.get(), 2), 1);
}

TEST_F(Fw32Stream, AWindowAndAScaleChooseTracks) {
    make_tracks(6, 10);
    const Handle h = open_stream(name_, 6, 10);
    ASSERT_TRUE(h);
    int32_t window[4] = {2, 0, 5, 10};
    ASSERT_EQ(lfclip(h.get(), window), 0);
    ASSERT_EQ(lfscale(h.get(), 1, 1), 0);
    ASSERT_EQ(lfsetsize(h.get(), 6, 10), 0);
    Track track;
    for (int32_t n = 0; n < 6; ++n) {
        EXPECT_EQ(lfread(h.get(), track.get(), n), n % 2 == 0 ? 1 : 0) << n;
        EXPECT_EQ(track.runs().front().second, static_cast<uint32_t>(3 + n / 2)) << n;
    }
}

TEST_F(Fw32Stream, AVisitToTheEndLosesNothing) {
    make_tracks(3, 10);
    const Handle h = open_stream(name_, 3, 10);
    ASSERT_TRUE(h);
    EXPECT_EQ(colour_of(h.get(), 0), 1u);
    EXPECT_EQ(lfseek(h.get(), 0, LF_SEEK_END), 0);
    Track track;
    EXPECT_EQ(lfread(h.get(), track.get(), 3), -1);
    EXPECT_EQ(h->error, static_cast<uint32_t>(LFE_EOF));
    EXPECT_EQ(lfflush(h.get()), 0);
    EXPECT_EQ(colour_of(h.get(), 1), 2u);
    EXPECT_EQ(colour_of(h.get(), 2), 3u);
}

TEST_F(Fw32Stream, ReversedTracksAreRefused) {
    make_tracks(3, 10);
    const Handle h = open_stream(name_, 3, 10, LF_XMIRROR);
    ASSERT_TRUE(h);
    EXPECT_EQ(lfcheck(h.get()), -1);
    EXPECT_EQ(log_.take().front(), "fw32_check: request not supported | a stream does not go back");
}

TEST_F(Fw32Stream, UpdatingIsRefused) {
    make_tracks(3, 10);
    EXPECT_FALSE(lfopen(name_.c_str(), LF_UPDATE | LF_FORCETYPE, fw32_type(), nullptr));
    EXPECT_EQ(log_.take().front(),
              "fw32_detect: write not supported | a stream is not updated in place");
}

TEST_F(Fw32Stream, AFileThatIsNotThereIsAFailedOpen) {
    lfinfo info;
    EXPECT_FALSE(lfopen(name_.c_str(), LF_READ | LF_FORCETYPE, fw32_type(), &info));
    EXPECT_EQ(log_.take().back(), name_ + ": open failed: last os error");
    EXPECT_NE(info.error, 0);
}

TEST_F(Fw32Stream, AStreamLongerThanAllBuffersComesBack) {
    constexpr int32_t tracks = 300;
    constexpr uint32_t pixels = 1000;
    Handle out(lfopen(name_.c_str(), LF_WRITE, fw32_type(), nullptr));
    ASSERT_TRUE(out);
    ASSERT_EQ(lfsetsize(out.get(), tracks, pixels), 0);
    Track track(pixels);
    const auto runs_of = [](int32_t n) {
        Runs runs;
        for (uint32_t i = 0; i < pixels; ++i)
            runs.emplace_back(1, (i + static_cast<uint32_t>(n)) % 4096);
        return runs;
    };
    for (int32_t n = 0; n < tracks; ++n) {
        track.put(runs_of(n));
        ASSERT_EQ(lfwrite(out.get(), track.get(), n), 0);
    }
    ASSERT_EQ(close_now(&out), 0);
    const Handle in = open_stream(name_, tracks, pixels);
    ASSERT_TRUE(in);
    for (int32_t n = 0; n < tracks; ++n) {
        ASSERT_EQ(lfread(in.get(), track.get(), n), static_cast<int32_t>(pixels));
        ASSERT_EQ(track.runs(), runs_of(n));
    }
    EXPECT_EQ(lftell(in.get()) % 4, 0);
}

TEST_F(Fw32Stream, ARecordThatCannotBeHadIsAFailedOpen) {
    make_tracks(3, 10);
    const int32_t type = fw32_type();
    lfinfo info;
    const FailingMalloc fault(1);
    EXPECT_FALSE(lfopen(name_.c_str(), LF_READ | LF_FORCETYPE, type, &info));
    EXPECT_TRUE(fault.reached());
    EXPECT_EQ(log_.take(), (Lines{"fw32_detect: out of memory", "lfdopen: last os error"}));
}

TEST_F(Fw32Stream, AFullDiskIsAFailure) {
    const int32_t fd = kel_open("/dev/full", KEL_O_WRONLY, 0);
    if (fd < 0) GTEST_SKIP() << "no /dev/full here";
    Handle h(lfdopen(fd, "full", LF_WRITE, fw32_type(), nullptr));
    ASSERT_TRUE(h);
    ASSERT_EQ(lfsetsize(h.get(), 10000, 10), 0);
    Track track;
    track.put({{5, 1}, {5, 2}});
    int32_t n = 0;
    while (n < 10000 && lfwrite(h.get(), track.get(), n) == 0)
        ++n;
    EXPECT_LT(n, 10000);
    EXPECT_EQ(log_.take(), (Lines{"_flushb:write: last os error", "write_fw32: last os error"}));
    EXPECT_EQ(close_now(&h), -1);
}

TEST_F(Fw32Stream, ALateWindowCountsFromWhereTheStreamStands) {
    make_tracks(9, 10);
    const Handle h = open_stream(name_, 9, 10);
    ASSERT_TRUE(h);
    EXPECT_EQ(colour_of(h.get(), 2), 3u);
    int32_t window[4] = {5, 0, 9, 10};
    ASSERT_EQ(lfclip(h.get(), window), 0); // warns
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_EQ(colour_of(h.get(), 0), 6u);
    int32_t passed[4] = {1, 0, 9, 10};
    ASSERT_EQ(lfclip(h.get(), passed), 0);
    log_.take();
    EXPECT_EQ(lfcheck(h.get()), -1);
    EXPECT_EQ(log_.take().front(), "fw32_seek: invalid argument | a stream does not go back");
}

} // namespace
