// What goes out as codes, and what is made of codes that come in.

#include <algorithm>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "codecs/codecs.h"
#include "fw32/stream_words.h"
#include "support/report_log.h"
#include "support/temp_dir.h"
#include "vor/vor.h"

namespace {

using namespace vor::test;

class Fw32Codec : public testing::Test {
protected:
    // The words of a track of `pixels` that is written.
    Words written(const Runs &runs, int32_t pixels, uint32_t mode = 0) {
        Handle h(lfopen(name_.c_str(), LF_WRITE | mode, fw32_type(), nullptr));
        if (!h || lfsetsize(h.get(), 1, pixels) < 0) return {};
        Track track;
        track.put(runs);
        EXPECT_EQ(lfwrite(h.get(), track.get(), 0), 0);
        EXPECT_EQ(close_now(&h), 0);
        return words_of(read_bytes(name_));
    }
    // The first track of a stream.
    Handle stream(const Words &words, int32_t pixels, uint32_t mode = 0, int32_t tracks = 1) {
        write_bytes(name_, bytes_of(words));
        return open_stream(name_, tracks, pixels, mode);
    }
    Runs read(const Words &words, int32_t pixels, uint32_t mode = 0) {
        const Handle h = stream(words, pixels, mode);
        Track track;
        EXPECT_GE(lfread(h.get(), track.get(), 0), 0);
        return track.runs();
    }

    TempDir dir_;
    std::string name_ = dir_.file("a.fw32");
    ReportLog log_;
};

TEST_F(Fw32Codec, ATrackIsItsRunsAndAZeroWord) {
    EXPECT_EQ(written({{200, 0}, {100, 1}}, 300), (Words{200, 100 | 1 << 20, 0}));
    EXPECT_EQ(read({200, 100 | 1 << 20, 0}, 300), (Runs{{200, 0}, {100, 1}}));
}

TEST_F(Fw32Codec, ALongRunIsSplitAndJoinedAgain) {
    const struct {
        uint32_t length;
        Words words;
    } rows[] = {
        {0xFFFFF, {code(0xFFFFF, 7), 0}},
        {0x100000, {code(0xFFFFF, 7), code(1, 7), 0}},
        {0x1FFFFE, {code(0xFFFFF, 7), code(0xFFFFF, 7), 0}},
        {3000000, {code(0xFFFFF, 7), code(0xFFFFF, 7), code(3000000 - 2 * 0xFFFFF, 7), 0}},
    };
    for (const auto &row : rows) {
        const auto pixels = static_cast<int32_t>(row.length);
        EXPECT_EQ(written({{row.length, 7}}, pixels), row.words) << row.length;
        EXPECT_EQ(read(row.words, pixels), (Runs{{row.length, 7}})) << row.length;
    }
}

TEST_F(Fw32Codec, NeighboursOfOneColourAreJoinedInBothDirections) {
    EXPECT_EQ(written({{3, 5}, {4, 5}, {0, 9}, {1, 5}, {2, 6}}, 10),
              (Words{code(8, 5), code(2, 6), 0}));
    EXPECT_EQ(read({code(3, 5), code(4, 5), code(2, 6), 0}, 9), (Runs{{7, 5}, {2, 6}}));
}

TEST_F(Fw32Codec, ColoursHaveTwelveBits) {
    EXPECT_EQ(written({{1, 4095}, {1, 256}, {1, 255}}, 3),
              (Words{0xFFF00001, 0x10000001, 0x0FF00001, 0}));
    EXPECT_EQ(read({0xFFF00001, 0x10000001, 0x0FF00001, 0}, 3),
              (Runs{{1, 4095}, {1, 256}, {1, 255}}));
}

TEST_F(Fw32Codec, AColourOfMoreBitsFailsTheTrack) {
    Handle h(lfopen(name_.c_str(), LF_WRITE, fw32_type(), nullptr));
    ASSERT_TRUE(h);
    ASSERT_EQ(lfsetsize(h.get(), 1, 4), 0);
    Track track;
    track.put({{2, 1}, {2, 4096}});
    EXPECT_EQ(lfwrite(h.get(), track.get(), 0), -1);
    EXPECT_EQ(log_.take(),
              (Lines{"write_fw32: invalid argument | a colour code of more than 12 bits"}));
    EXPECT_EQ(close_now(&h), -1);
    EXPECT_TRUE(read_bytes(name_).empty()) << "half a track must not go out";
}

TEST_F(Fw32Codec, TheColourTableIsAppliedInBothDirections) {
    Handle out(lfopen(name_.c_str(), LF_WRITE, fw32_type(), nullptr));
    ASSERT_TRUE(out);
    ASSERT_EQ(lfsetsize(out.get(), 1, 4), 0);
    lfctable(out.get())[3] = 1000;
    Track track;
    track.put({{2, 3}, {2, 300}});
    ASSERT_EQ(lfwrite(out.get(), track.get(), 0), 0);
    ASSERT_EQ(close_now(&out), 0);
    EXPECT_EQ(words_of(read_bytes(name_)), (Words{code(2, 1000), code(2, 300), 0}));

    const Handle in = stream({code(2, 3), code(1, 4), code(1, 300), 0}, 4);
    ASSERT_TRUE(in);
    lfctable(in.get())[3] = 9;
    lfctable(in.get())[4] = 9;
    ASSERT_EQ(lfread(in.get(), track.get(), 0), 2);
    EXPECT_EQ(track.runs(), (Runs{{3, 9}, {1, 300}}));
}

TEST_F(Fw32Codec, AZeroCodeOfAColourIsAnEndToo) {
    EXPECT_EQ(read({code(4, 1), code(0, 77)}, 4), (Runs{{4, 1}}));
}

TEST_F(Fw32Codec, MirroredHandlesReverseTheRuns) {
    EXPECT_EQ(written({{1, 1}, {2, 2}, {3, 3}}, 6, LF_YMIRROR),
              (Words{code(3, 3), code(2, 2), code(1, 1), 0}));
    EXPECT_EQ(read({code(1, 1), code(2, 2), code(3, 3), 0}, 6, LF_YMIRROR),
              (Runs{{3, 3}, {2, 2}, {1, 1}}));
}

TEST_F(Fw32Codec, ATrackOfOneRunIsCodedLikeAnyOther) {
    EXPECT_EQ(written({{50, 0}}, 50), (Words{50, 0}));
}

TEST_F(Fw32Codec, TheLongestTrackIsCountedInCodes) {
    Handle h(lfopen(name_.c_str(), LF_WRITE, fw32_type(), nullptr));
    ASSERT_TRUE(h);
    ASSERT_EQ(lfsetsize(h.get(), 2, 6), 0);
    Track track;
    track.put({{1, 1}, {2, 2}, {3, 3}});
    ASSERT_EQ(lfwrite(h.get(), track.get(), 0), 0);
    EXPECT_EQ(h->maxruns, 4);
    track.put({{6, 1}});
    ASSERT_EQ(lfwrite(h.get(), track.get(), 1), 0);
    EXPECT_EQ(h->maxruns, 4);
}

TEST_F(Fw32Codec, ATrackOfTheWrongSumFailsAndTheNextIsRead) {
    const struct {
        Words track;
        const char *report;
    } rows[] = {
        {{code(3, 1), 0}, "read_fw32: error count: 2"},
        {{code(3, 1), code(3, 2), 0}, "read_fw32: error count: -1"},
        {{0}, "read_fw32: error count: 5"},
    };
    for (const auto &row : rows) {
        Words words = row.track;
        words.insert(words.end(), {code(5, 9), 0});
        const Handle h = stream(words, 5, 0, 2);
        ASSERT_TRUE(h);
        Track track;
        EXPECT_EQ(lfread(h.get(), track.get(), 0), -1);
        EXPECT_EQ(log_.take(), (Lines{row.report}));
        EXPECT_EQ(lfread(h.get(), track.get(), 1), 1);
        EXPECT_EQ(track.runs(), (Runs{{5, 9}}));
    }
}

TEST_F(Fw32Codec, ALaxHandleTakesOtherSumsBehindTheWindow) {
    EXPECT_EQ(read({code(5, 1), code(3, 2), 0}, 5, LF_LAXTRACK), (Runs{{5, 1}}));
}

TEST_F(Fw32Codec, TheHookForShortTracksIsAsked) {
    static int32_t told;
    const Handle h = stream({code(3, 1), 0}, 5);
    ASSERT_TRUE(h);
    ASSERT_EQ(lfcheck(h.get()), 0);
    h->shorttrack = [](xvor_t *, trackbuf *, int32_t missing) {
        told = missing;
        return 0;
    };
    Track track;
    EXPECT_EQ(lfread(h.get(), track.get(), 0), 1);
    EXPECT_EQ(told, 2);
    EXPECT_TRUE(log_.empty());
}

TEST_F(Fw32Codec, CodesThatNeverEndAreGivenUp) {
    const Handle h = stream(Words(100, code(1, 1)), 5, 0, 3);
    ASSERT_TRUE(h);
    Track track;
    EXPECT_EQ(lfread(h.get(), track.get(), 0), -1);
    EXPECT_EQ(log_.take(), (Lines{"read_fw32: file corrupted"}));
}

TEST_F(Fw32Codec, ATrackBufferThatIsTooSmallIsAFailureAndTheNextTrackIsRead) {
    for (const uint32_t mode : {uint32_t{0}, LF_YMIRROR}) {
        const Handle h = stream({code(1, 1), code(1, 2), code(1, 3), 0, code(3, 7), 0}, 3, mode, 2);
        ASSERT_TRUE(h);
        Track track(2);
        EXPECT_EQ(lfread(h.get(), track.get(), 0), -1);
        EXPECT_EQ(log_.take().front().substr(mode ? 4 : 0),
                  "read_fw32: invalid argument | track buffer too small");
        EXPECT_EQ(lfread(h.get(), track.get(), 1), 1);
        EXPECT_EQ(track.runs(), (Runs{{3, 7}}));
    }
}

TEST_F(Fw32Codec, TheCodecIsRegisteredUnderItsName) {
    fw32_type();
    const rle_row *row = findrle_functions("fw32");
    ASSERT_NE(row, nullptr);
    EXPECT_EQ(row->limit, FW32_LENGTH);
    EXPECT_NE(row->rev_read_ns, nullptr);
}

TEST_F(Fw32Codec, SkippingStepsOverOneTrackAndCountsItsCodes) {
    const Handle h = stream({code(2, 1), code(3, 2), 0, code(5, 9), 0}, 5, 0, 2);
    ASSERT_TRUE(h);
    ASSERT_EQ(lfcheck(h.get()), 0);
    EXPECT_EQ(h->skiptrack(h.get(), 0), 3);
    EXPECT_EQ(h->skiptrack(h.get(), 0), 2);
    EXPECT_EQ(h->skiptrack(h.get(), 0), -1);
    EXPECT_EQ(log_.take(), (Lines{"skip_fw32: unexpected EOF: last os error"}));
}

// The native codec of one byte of colour is told the same tracks.
TEST_F(Fw32Codec, WindowsAndScalesAreThoseOfTheNativeCodecs) {
    constexpr int32_t tracks = 8;
    constexpr int32_t pixels = 97;
    std::mt19937 engine(7);
    const auto random = [&engine] { return static_cast<uint32_t>(engine()); };
    std::vector<Runs> image(tracks);
    for (Runs &runs : image) {
        for (uint32_t left = pixels; left > 0; left -= runs.back().first)
            runs.emplace_back(std::min(left, 1 + random() % 9), random() % 5);
    }
    const std::string native = dir_.file("a.vor");
    Handle out(lfopen(native.c_str(), LF_WRITE, static_cast<int32_t>(VT_FW88), nullptr));
    ASSERT_TRUE(out);
    ASSERT_EQ(lfsetsize(out.get(), tracks, pixels), 0);
    Track track;
    for (int32_t n = 0; n < tracks; ++n) {
        track.put(image[static_cast<size_t>(n)]);
        ASSERT_EQ(lfwrite(out.get(), track.get(), n), 0);
    }
    ASSERT_EQ(close_now(&out), 0);

    for (int round = 0; round < 300; ++round) {
        const auto from = static_cast<int32_t>(random() % 90);
        const auto to =
            from + 1 + static_cast<int32_t>(random() % static_cast<uint32_t>(97 - from));
        const auto height = 1 + static_cast<int32_t>(random() % 300);
        const auto width = 7 + static_cast<int32_t>(random() % 14); // the window's tracks or more
        const uint32_t mode = round % 2 != 0 ? LF_YMIRROR : 0;
        const Handle a(lfopen(native.c_str(), LF_READ | mode, 0, nullptr));
        const Handle b = stream(track_words(image), pixels, mode, tracks);
        ASSERT_TRUE(a && b);
        for (xvor_t *h : {a.get(), b.get()}) {
            int32_t window[4] = {1, from, tracks, to};
            ASSERT_EQ(lfclip(h, window), 0);
            ASSERT_EQ(lfscale(h, 20, 20), 0);
            ASSERT_EQ(lfsetsize(h, width, height), 0);
        }
        Track left(400);
        Track right(400);
        for (int32_t n = 0; n < width; ++n) {
            const int32_t result = lfread(a.get(), left.get(), n);
            ASSERT_GE(result, 0);
            ASSERT_EQ(lfread(b.get(), right.get(), n), result)
                << "track " << n << " of " << width << ", " << from << "-" << to << " to "
                << height;
            ASSERT_EQ(right.runs(), left.runs()) << from << "-" << to << " to " << height;
        }
    }
}

} // namespace
