#include "salvage_walk.h"

#include <gtest/gtest.h>

#include "support/temp_dir.h"
#include "support/vor_bytes.h"

namespace vor::tool {
namespace {

using test::Bytes;
using test::Codes;

constexpr uint32_t pixels = 1000;

class SalvageWalk : public testing::Test {
protected:
    // A track of codes of its own; `damaged` has a pixel too many.
    static Bytes track(const TrackShape &shape, uint32_t n, bool damaged = false) {
        Codes codes;
        uint32_t left = pixels + (damaged ? 1 : 0);
        for (uint32_t i = 0; left > 0; ++i) {
            const uint32_t length = std::min(left, 20 + (n * 13 + i * 7) % 90);
            codes.emplace_back(length, i % 2);
            left -= length;
        }
        codes.emplace_back(0, 0);
        const Bytes plain = test::code_bytes(shape.coding, shape.order == ByteOrder::little, codes);
        return shape.deflated ? test::deflated(plain) : plain;
    }

    void put(const Bytes &more) { bytes_.insert(bytes_.end(), more.begin(), more.end()); }

    // The stretches as text: "." for a good track, the number of tracks for a damaged stretch.
    std::string walk(const TrackShape &shape) {
        test::write_bytes(dir_.file("data"), bytes_);
        FileBytes file(dir_.file("data"));
        TrackWalker walker(file, shape);
        std::string told;
        int64_t reached = 0;
        for (const Stretch &stretch : walker.walk(0, file.size())) {
            EXPECT_GE(stretch.begin, reached);
            reached = stretch.begin;
            told += stretch.good() ? "." : std::to_string(stretch.damaged);
        }
        return told;
    }

    test::TempDir dir_;
    Bytes bytes_;
};

constexpr TrackShape shapes[] = {
    {VT_FW16, false, ByteOrder::little, pixels}, {VT_FW16, false, ByteOrder::big, pixels},
    {VT_FW8, false, ByteOrder::little, pixels},  {VT_FW88, false, ByteOrder::little, pixels},
    {VT_FW16, true, ByteOrder::little, pixels},  {VT_FW8, true, ByteOrder::little, pixels},
    {VT_FW88, true, ByteOrder::big, pixels},
};

} // namespace

TEST_F(SalvageWalk, GoodTracksFollowEachOther) {
    for (const TrackShape &shape : shapes) {
        bytes_.clear();
        for (uint32_t n = 0; n < 5; ++n)
            put(track(shape, n));
        EXPECT_EQ(walk(shape), ".....");
    }
}

TEST_F(SalvageWalk, TheNextGoodTrackIsFoundBehindADamagedOne) {
    for (const TrackShape &shape : shapes) {
        bytes_.clear();
        for (uint32_t n = 0; n < 5; ++n)
            put(track(shape, n, n == 1));
        EXPECT_EQ(walk(shape), ".1...");
    }
}

TEST_F(SalvageWalk, PlainDamageTellsByItsPixelsHowManyTracksItHeld) {
    for (const TrackShape &shape : shapes) {
        if (shape.deflated) continue;
        bytes_.clear();
        for (uint32_t n = 0; n < 7; ++n)
            put(track(shape, n, n >= 2 && n < 5));
        EXPECT_EQ(walk(shape), "..3..");
    }
}

TEST_F(SalvageWalk, TwoByteCodesAreFoundAtTheOtherParityAfterThreeInARow) {
    for (const TrackShape &shape : shapes) {
        if (shape.deflated || shape.coding == VT_FW8) continue;
        bytes_ = {0x11};
        put(track(shape, 0));
        put(track(shape, 1));
        put(track(shape, 2));
        put({0x22, 0x22, 0x22}); // not to the end
        EXPECT_EQ(walk(shape), "1...1");
    }
}

TEST_F(SalvageWalk, StreamsAreFoundBehindBytesThatAreNone) {
    for (const TrackShape &shape : shapes) {
        if (!shape.deflated) continue;
        bytes_ = {0x78, 0xDA, 0x78, 0x9C, 0x00, 0x78}; // heads without a stream
        put(track(shape, 0));
        put({1, 2, 3});
        put(track(shape, 1));
        EXPECT_EQ(walk(shape), "1.1.");
    }
}

TEST_F(SalvageWalk, WhatIsCutOffIsDamage) {
    for (const TrackShape &shape : shapes) {
        bytes_.clear();
        put(track(shape, 0));
        put(track(shape, 1));
        bytes_.pop_back();
        EXPECT_EQ(walk(shape), ".1");
    }
}

TEST_F(SalvageWalk, ASurveyCountsTracksOfEachSum) {
    for (TrackShape shape : shapes) {
        bytes_.clear();
        for (uint32_t n = 0; n < 5; ++n)
            put(track(shape, n, n == 3));
        test::write_bytes(dir_.file("data"), bytes_);
        FileBytes file(dir_.file("data"));
        shape.pixels = 0;
        const auto sums = TrackWalker(file, shape).survey(0, file.size(), 0);
        ASSERT_EQ(sums.size(), 2U);
        EXPECT_EQ(sums.at(pixels).tracks, 4);
        EXPECT_EQ(sums.at(pixels + 1).tracks, 1);
        EXPECT_EQ(sums.at(pixels).bytes + sums.at(pixels + 1).bytes, file.size());
    }
}

// Heads that each unpack a little and then fail, one a few bytes: nothing is tried for ever.
TEST_F(SalvageWalk, ManyFalseHeadsCostLittle) {
    const TrackShape shape{VT_FW8, true, ByteOrder::little, 1 << 30};
    for (int i = 0; i < 50000; ++i)
        put({0x78, 0xDA, 0x00, 0xFF, 0xFF, 0x00, 0x00}); // a stored block up to far behind
    EXPECT_EQ(walk(shape), "1");
}

} // namespace vor::tool
