// The image that the scenarios write and read: tracks of many colours, with blank ones among them,
// larger than one buffer; and the look at a file that was left behind.
#ifndef VOR_TESTS_TEST_IMAGE_H
#define VOR_TESTS_TEST_IMAGE_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "support/owned_handles.h"
#include "trackfile/lf.h"
#include "vor/vor.h"

namespace vor::test {

struct TestImage {
    static constexpr int32_t tracks = 40;
    static constexpr int32_t pixels = 2000;

    // Short runs, no two neighbours of one colour; every seventh track is blank.
    static Runs track(int32_t i) {
        const auto n = static_cast<uint32_t>(i);
        if (i % 7 == 3) return {{pixels, n}};
        Runs runs;
        uint32_t left = pixels;
        for (uint32_t j = 0; left > 0; ++j) {
            const uint32_t length = std::min(left, 1 + (n * 31 + j * 17) % 15);
            runs.emplace_back(length, (n + j) % 256);
            left -= length;
        }
        return runs;
    }

    static constexpr int32_t plain = static_cast<int32_t>(VT_FW88);
    static constexpr int32_t deflated = static_cast<int32_t>(VT_FW88 | VT_DEFLATED);
};

// Tracks read from the start, up to the first that fails; a track that reads must be right.
inline int32_t count_right_tracks(xvor_t *h) {
    Track track(TestImage::pixels);
    for (int32_t i = 0; i < h->xsize; ++i) {
        const int32_t result = lfread(h, track.get(), i);
        if (result < 0) return i;
        EXPECT_EQ(track.runs(), TestImage::track(i)) << "track " << i << " reads wrong";
    }
    return h->xsize;
}

// A file reads back its tracks exactly.
inline void expect_whole(const std::string &name, int32_t tracks) {
    const Handle h(lfopen(name.c_str(), LF_READ, 0, nullptr));
    ASSERT_TRUE(h) << "the file does not open";
    EXPECT_EQ(h->xsize, tracks);
    EXPECT_EQ(h->ysize, TestImage::pixels);
    EXPECT_EQ(count_right_tracks(h.get()), tracks) << "a track does not read";
}

// What a failed close has left shows itself as damaged, or is the image of so many tracks: no read
// succeeds with something else.
inline void expect_no_false_image(const std::string &name, int32_t tracks) {
    for (const uint32_t mode : {uint32_t{0}, LF_SEQUENTIAL, LF_MEASURE}) {
        const Handle h(lfopen(name.c_str(), LF_READ | mode, 0, nullptr));
        if (!h || lfcheck(h.get()) < 0) continue;
        EXPECT_EQ(h->xsize, tracks);
        EXPECT_EQ(h->ysize, TestImage::pixels);
        count_right_tracks(h.get());
    }
}

} // namespace vor::test

#endif
