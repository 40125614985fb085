#include "salvage_header.h"

#include <gtest/gtest.h>

#include "report.h"
#include "salvage_sample.h"

namespace vor::tool {
namespace {

using test::Bytes;
using test::kinds;
using test::make_sample;
using test::Sample;
using test::sample_pixels;
using test::sample_tracks;
using test::VorBytes;

class SalvageHeader : public testing::Test {
protected:
    MendedHeader mend(const Bytes &bytes, const HeaderWishes &wishes = {}) {
        test::write_bytes(dir_.file("a.vor"), bytes);
        FileBytes file(dir_.file("a.vor"));
        return mend_header(file, wishes);
    }
    std::string refusal(const Bytes &bytes, const HeaderWishes &wishes = {}) {
        try {
            mend(bytes, wishes);
        } catch (const Failure &failure) {
            return failure.what();
        }
        return "";
    }
    // What was guessed, as names.
    static std::string guessed(const MendedHeader &header) {
        std::string names;
        for (const Guess &guess : header.guesses)
            names += (names.empty() ? "" : ", ") + guess.field;
        return names;
    }

    test::TempDir dir_;
};

void put32(Bytes *bytes, size_t at, uint32_t value, bool swapped) {
    VorBytes numbers(1, 1, 1, swapped);
    numbers.put32({value});
    std::copy(numbers.bytes().begin() + VOR_HDRSIZE, numbers.bytes().end(),
              bytes->begin() + static_cast<ptrdiff_t>(at));
}

} // namespace

TEST_F(SalvageHeader, AGoodHeaderIsBelieved) {
    for (const auto &kind : kinds) {
        SCOPED_TRACE(kind.name);
        const MendedHeader header = mend(make_sample(kind).bytes);
        EXPECT_EQ(header.layout.header.type, kind.type);
        EXPECT_EQ(header.layout.header.tracks, uint32_t{sample_tracks});
        EXPECT_EQ(header.layout.header.pixels, uint32_t{sample_pixels});
        EXPECT_DOUBLE_EQ(header.resolution.x, 1 / double{0.05f});
        EXPECT_DOUBLE_EQ(header.resolution.y, 20);
        EXPECT_EQ(guessed(header), "");
    }
}

TEST_F(SalvageHeader, TracksTellTheirCodingAndPixels) {
    for (const auto &kind : kinds) {
        SCOPED_TRACE(kind.name);
        Bytes bytes = make_sample(kind).bytes;
        put32(&bytes, VorBytes::type_at, 0x7F00, kind.swapped);
        put32(&bytes, VorBytes::pixels_at, sample_pixels + 1, kind.swapped);
        const MendedHeader header = mend(bytes);
        EXPECT_EQ(header.layout.header.type, kind.type);
        EXPECT_EQ(header.layout.header.pixels, uint32_t{sample_pixels});
        EXPECT_EQ(guessed(header), "coding, deflated, pixels");
    }
}

TEST_F(SalvageHeader, WordsOfATypeTellTheByteOrderWhereNothingElseDoes) {
    Bytes bytes = make_sample(kinds[1]).bytes; // fw16 swapped
    std::fill_n(bytes.begin(), VOR_HDRSIZE, uint8_t{0});
    const bool native_little = std::endian::native == std::endian::little;
    const MendedHeader header = mend(bytes, {.tracks = uint32_t{sample_tracks},
                                             .pixels = {},
                                             .coding = {},
                                             .deflated = {},
                                             .order = {},
                                             .resolution = {}});
    EXPECT_EQ(header.layout.order == ByteOrder::big, native_little);
    EXPECT_EQ(header.layout.header.pixels, uint32_t{sample_pixels});
}

TEST_F(SalvageHeader, TheSeekTableTellsHowManyTracksThereAre) {
    for (const auto &kind : kinds) {
        if (!kind.table) continue;
        SCOPED_TRACE(kind.name);
        for (const uint32_t wrong : {0U, 7U, 13U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
            Bytes bytes = make_sample(kind).bytes;
            put32(&bytes, VorBytes::tracks_at, wrong, kind.swapped);
            const MendedHeader header = mend(bytes);
            EXPECT_EQ(header.layout.header.tracks, uint32_t{sample_tracks}) << wrong;
            EXPECT_EQ(guessed(header), "tracks");
        }
    }
}

TEST_F(SalvageHeader, TracksAreCountedWhereTheHeaderSaysNone) {
    Bytes bytes = make_sample(kinds[12]).bytes; // without a table
    bytes.resize(static_cast<size_t>(make_sample(kinds[12]).data_end));
    put32(&bytes, VorBytes::tracks_at, 0, false);
    EXPECT_EQ(mend(bytes).layout.header.tracks, uint32_t{sample_tracks});
}

TEST_F(SalvageHeader, MoreTracksThanBytesAreRefusedUnlessTheCallerSaysSo) {
    Bytes bytes = make_sample(kinds[12]).bytes;
    put32(&bytes, VorBytes::tracks_at, 0x7FFFFFFF, false);
    EXPECT_EQ(refusal(bytes), "2147483647 tracks are more than the file can hold; say with "
                              "--tracks how many there are");
    HeaderWishes wishes;
    wishes.tracks = 100000;
    EXPECT_EQ(mend(bytes, wishes).layout.header.tracks, 100000U);
}

TEST_F(SalvageHeader, WhatNothingTellsMustBeSaid) {
    const Bytes nothing(1000);
    EXPECT_EQ(refusal(Bytes(255)), "is too short for a native file");
    EXPECT_EQ(refusal(nothing), "nothing tells how its tracks are coded; say it with --coding");
    HeaderWishes wishes;
    wishes.coding = VT_FW8;
    wishes.deflated = false;
    EXPECT_EQ(refusal(nothing, wishes),
              "nothing tells how many pixels a track has; say it with --pixels");
    wishes.pixels = 8;
    EXPECT_EQ(refusal(nothing, wishes), "no track can be found");
}

TEST_F(SalvageHeader, TheCallerIsBelievedFirst) {
    const Sample sample = make_sample(kinds[4]);
    HeaderWishes wishes;
    wishes.pixels = 17;
    wishes.tracks = 3;
    wishes.resolution = Resolution{7, 8};
    const MendedHeader header = mend(sample.bytes, wishes);
    EXPECT_EQ(header.layout.header.pixels, 17U);
    EXPECT_EQ(header.layout.header.tracks, 3U);
    EXPECT_EQ(header.resolution.x, 7);
    EXPECT_EQ(header.resolution.y, 8);
    EXPECT_EQ(guessed(header), "");
}

TEST_F(SalvageHeader, AResolutionThatIsNoneIsNotTakenOver) {
    Bytes bytes = make_sample(kinds[4]).bytes;
    put32(&bytes, VorBytes::xpitch_at, 0, false);
    EXPECT_EQ(mend(bytes).resolution.x, 0);
    put32(&bytes, VorBytes::xpitch_at, 0x7FC00000, false); // no number
    EXPECT_EQ(mend(bytes).resolution.x, 0);
}

} // namespace vor::tool
