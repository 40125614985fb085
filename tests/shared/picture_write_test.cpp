// Writing, as it goes in every module whose files are pictures.

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/kel.h"
#include "shared/picture_modules.h"

namespace {

using namespace vor::test;

class PictureWrite : public PictureModuleTest {
protected:
    const uint32_t gray_ = GetParam().gray;
    const std::vector<uint32_t> kinds_ = {GetParam().bilevel, gray_};
};

TEST_P(PictureWrite, TheColourTableOfTheHandleIsApplied) {
    for (const uint32_t type : kinds_) {
        Handle h = create(type);
        ASSERT_TRUE(h);
        ASSERT_EQ(lfsetsize(h.get(), 1, 12), 0);
        ASSERT_EQ(lfcheck(h.get()), 0);
        lfctable(h.get())[0] = 7;
        lfctable(h.get())[9] = 0;
        Track track;
        track.put({{5, 9}, {3, 0}, {4, 9}});
        ASSERT_EQ(lfwrite(h.get(), track.get(), 0), 0);
        ASSERT_EQ(close_now(&h), 0);
        const auto seven = static_cast<uint8_t>(type == gray_ ? 7 : 255);
        EXPECT_EQ(read_back(), (Image{12, 1, {0, 0, 0, 0, 0, seven, seven, seven, 0, 0, 0, 0}}));
    }
}

TEST_P(PictureWrite, ShortTracksEndInZerosAndLongOnesAreCut) {
    for (const uint32_t type : kinds_) {
        Handle h = create(type);
        ASSERT_TRUE(h);
        ASSERT_EQ(lfsetsize(h.get(), 2, 5), 0);
        Track track;
        track.put({{2, 255}});
        ASSERT_EQ(lfwrite(h.get(), track.get(), 0), 0);
        track.put({{4, 0}, {400, 255}, {1, 0}});
        ASSERT_EQ(lfwrite(h.get(), track.get(), 1), 0);
        ASSERT_EQ(close_now(&h), 0);
        EXPECT_EQ(read_back(), (Image{5, 2, {255, 255, 0, 0, 0, 0, 0, 0, 0, 255}}));
    }
}

TEST_P(PictureWrite, AMirroredHandleWritesThePixelsInReverse) {
    for (const uint32_t type : kinds_) {
        const Image image = sample_image(29, 6, type == gray_ ? 8 : 1);
        write(type, image, LF_YMIRROR);
        const Image back = read_back();
        for (int32_t y = 0; y < 6; ++y) {
            for (int32_t x = 0; x < 29; ++x)
                ASSERT_EQ(back.at(x, y), image.at(28 - x, y)) << x << ", " << y;
        }
    }
}

TEST_P(PictureWrite, AHandleThatIsNeverCheckedFailsToClose) {
    Handle h = create(gray_);
    ASSERT_TRUE(h);
    EXPECT_EQ(close_now(&h), -1);
    EXPECT_FALSE(open());
}

TEST_P(PictureWrite, ASizeThatChangesBeforeTheFirstTrackCounts) {
    const Image image = sample_image(40, 3, 8);
    Handle h = create(gray_);
    ASSERT_TRUE(h);
    ASSERT_EQ(lfsetsize(h.get(), 10, 20), 0);
    ASSERT_EQ(lfcheck(h.get()), 0);
    ASSERT_EQ(lfsetsize(h.get(), 3, 40), 0); // warns
    ASSERT_EQ(lfcheck(h.get()), 0);
    put_rows(h.get(), image);
    ASSERT_EQ(close_now(&h), 0);
    EXPECT_EQ(read_back(), image);
}

TEST_P(PictureWrite, ASizeThatChangesBehindTheFirstTrackIsRefused) {
    Handle h = create(gray_);
    ASSERT_TRUE(h);
    ASSERT_EQ(lfsetsize(h.get(), 10, 20), 0);
    put_rows(h.get(), sample_image(20, 1, 8));
    ASSERT_EQ(lfsetsize(h.get(), 10, 30), 0);
    log_.take();
    EXPECT_EQ(lfcheck(h.get()), -1);
    EXPECT_EQ(log_.take().front(), report("check: invalid argument | the file has tracks already"));
    EXPECT_EQ(close_now(&h), -1);
    EXPECT_FALSE(open());
}

// A late change of the size without an lfcheck goes on in the file that was begun.
TEST_P(PictureWrite, RowsKeepTheWidthThatTheFileWasBegunWith) {
    constexpr int32_t wider = 1 << 30;
    for (const uint32_t type : kinds_) {
        Handle h = create(type);
        ASSERT_TRUE(h);
        ASSERT_EQ(lfsetsize(h.get(), 2, 12), 0);
        ASSERT_EQ(lfcheck(h.get()), 0);
        ASSERT_EQ(lfsetsize(h.get(), 2, wider), 0); // warns
        Track track;
        track.put({{3, 0}, {wider, 255}});
        ASSERT_EQ(lfwrite(h.get(), track.get(), 0), 0);
        track.put({{12, 0}, {wider, 255}});
        ASSERT_EQ(lfwrite(h.get(), track.get(), 1), 0);
        ASSERT_EQ(close_now(&h), 0);
        Image expected{12, 2, std::vector<uint8_t>(24, 0)};
        std::fill_n(expected.pixels.begin() + 3, 9, uint8_t{255});
        EXPECT_EQ(read_back(), expected) << type;
    }
}

TEST_P(PictureWrite, ALateSmallerHeightLeavesTheFileUnfinished) {
    Handle h = create(gray_);
    ASSERT_TRUE(h);
    ASSERT_EQ(lfsetsize(h.get(), 5, 20), 0);
    ASSERT_EQ(lfcheck(h.get()), 0);
    ASSERT_EQ(lfsetsize(h.get(), 2, 20), 0); // warns
    put_rows(h.get(), sample_image(20, 2, 8));
    log_.take();
    EXPECT_EQ(close_now(&h), -1);
    EXPECT_EQ(log_.take().front(), report("whdr: error count: 3 | tracks are missing"));
}

TEST_P(PictureWrite, ALateGreaterHeightMakesNoRoom) {
    for (const int32_t tracks : {2, 3}) {
        const Image image = sample_image(20, tracks, 8);
        Handle h = create(gray_);
        ASSERT_TRUE(h);
        ASSERT_EQ(lfsetsize(h.get(), 2, 20), 0);
        ASSERT_EQ(lfcheck(h.get()), 0);
        ASSERT_EQ(lfsetsize(h.get(), 5, 20), 0); // warns
        put_rows(h.get(), image);
        log_.take();
        EXPECT_EQ(close_now(&h), tracks == 2 ? 0 : -1);
        if (tracks == 2) {
            EXPECT_EQ(read_back(), image);
        } else {
            EXPECT_EQ(
                log_.take().front(),
                report("flush: invalid track number: 2 | the file was begun with fewer tracks"));
        }
    }
}

TEST_P(PictureWrite, AFullDiskIsAFailure) {
    for (const uint32_t type : {gray_, gray_ | GetParam().plain}) {
        const int32_t fd = kel_open("/dev/full", KEL_O_WRONLY, 0);
        if (fd < 0) GTEST_SKIP() << "no /dev/full here";
        Handle h(lfdopen(fd, "full", LF_WRITE, type_of(type), nullptr));
        ASSERT_TRUE(h);
        ASSERT_EQ(lfsetsize(h.get(), 100, 100), 0);
        EXPECT_EQ(lfcheck(h.get()), -1);
        EXPECT_EQ(log_.take().front().substr(0, 24), report("check: last os error"));
        EXPECT_EQ(close_now(&h), -1);
    }
}

TEST_P(PictureWrite, TracksBeyondAllMeasureAreRefused) {
    Handle h = create(gray_);
    ASSERT_TRUE(h);
    ASSERT_EQ(lfsetsize(h.get(), 1, 300000000), 0);
    EXPECT_EQ(lfcheck(h.get()), -1);
    EXPECT_EQ(log_.take().front(), report("check: out of memory"));
    EXPECT_EQ(close_now(&h), -1);
}

TEST_P(PictureWrite, TracksGoOutInOrder) {
    Handle h = create(gray_);
    ASSERT_TRUE(h);
    ASSERT_EQ(lfsetsize(h.get(), 2, 3), 0);
    Track track;
    track.put({{3, 1}});
    EXPECT_EQ(lfwrite(h.get(), track.get(), 1), -1);
    EXPECT_EQ(log_.take(),
              (Lines{"lfwrite: invalid argument | random access on write is not supported"}));
    EXPECT_EQ(lfwrite(h.get(), track.get(), 0), 0);
    EXPECT_EQ(lfwrite(h.get(), track.get(), 1), 0);
    EXPECT_EQ(lfwrite(h.get(), track.get(), 2), -1);
    EXPECT_EQ(close_now(&h), 0);
}

INSTANTIATE_TEST_SUITE_P(Modules, PictureWrite, testing::ValuesIn(picture_modules), module_name);

} // namespace
