#include "native_tracks.h"

#include <gtest/gtest.h>

#include <bit>

#include "native_sample.h"

namespace vor::tool {
namespace {

using test::Bytes;
using test::Codes;
using test::NativeSample;

constexpr uint32_t all_codings[] = {VT_FW16, VT_FW8, VT_FW88};

// A track's bytes alone, and what is decoded from them.
struct Decoded {
    DecodedTrack track;
    std::vector<TrackCode> codes;
};

Decoded decode(const Bytes &bytes, const TrackShape &shape, int64_t limit = INT64_MAX) {
    NativeSample sample(bytes);
    TrackDecoder decoder(sample.file(), shape);
    Decoded result;
    result.track =
        decoder.decode(0, limit, [&](const TrackCode &code) { result.codes.push_back(code); });
    return result;
}

TrackShape shape(uint32_t coding, uint32_t pixels, bool deflated = false, bool swapped = false) {
    return {coding, deflated, test::order_of(swapped), pixels};
}

// Codes as they stand in a file.
Bytes coded(uint32_t coding, const Codes &codes, bool swapped = false) {
    return test::code_bytes(coding, test::order_of(swapped) == ByteOrder::little, codes);
}

const Codes good_codes = {{100, 0}, {50, 1}, {27, 0}, {0, 0}};

// ---- good tracks

TEST(PlainTrack, GivesItsCodesWithTheirPlaces) {
    for (const uint32_t coding : all_codings) {
        for (const bool swapped : test::byte_orders) {
            const Bytes bytes = coded(coding, good_codes, swapped);
            const auto [track, codes] = decode(bytes, shape(coding, 177, false, swapped));
            EXPECT_TRUE(track.good()) << track_fault_text(track);
            EXPECT_TRUE(track.ended);
            EXPECT_EQ(track.bytes, static_cast<int64_t>(bytes.size()));
            EXPECT_EQ(track.pixels, 177);
            EXPECT_EQ(track.codes, 4);
            EXPECT_EQ(track.longest, 100);
            ASSERT_EQ(codes.size(), 4U);
            EXPECT_EQ(codes[0].length, 100);
            EXPECT_EQ(codes[0].colour, 0);
            EXPECT_EQ(codes[1].length, 50);
            EXPECT_EQ(codes[1].colour, coding == VT_FW88 ? 1 : 255);
            EXPECT_EQ(codes[1].offset, code_bytes(coding));
            EXPECT_EQ(codes[3].length, 0);
            EXPECT_EQ(codes[3].offset, 3 * code_bytes(coding));
        }
    }
}

TEST(PlainTrack, HasCodesOfAnyLengthAndAnyEnd) {
    for (const uint32_t coding : all_codings) {
        const auto longest = static_cast<uint32_t>(longest_code(coding));
        const auto [track, codes] =
            decode(coded(coding, {{longest, 1}, {1, 1}, {0, 1}}), shape(coding, longest + 1));
        EXPECT_TRUE(track.good());
        EXPECT_EQ(track.longest, longest_code(coding));
        EXPECT_EQ(codes.back().colour, coding == VT_FW88 ? 1 : 255);
    }
}

TEST(PlainTrack, EndsAtItsEndCode) {
    Bytes bytes = coded(VT_FW16, good_codes);
    bytes.insert(bytes.end(), 50, 0xAA);
    EXPECT_EQ(decode(bytes, shape(VT_FW16, 177)).track.bytes, 8);
}

TEST(PlainTrack, MayLieAcrossWindows) {
    // An odd place, so that a code of two bytes lies on the border of any window.
    const size_t many = 200000;
    Codes codes(many, {1, 7});
    codes.emplace_back(0, 0);
    Bytes bytes = coded(VT_FW88, codes);
    bytes.insert(bytes.begin(), 0x55);
    NativeSample sample(bytes);
    TrackDecoder decoder(sample.file(), shape(VT_FW88, many));
    size_t seen = 0;
    const DecodedTrack track = decoder.decode(1, INT64_MAX, [&](const TrackCode &code) {
        EXPECT_EQ(code.offset, static_cast<int64_t>(1 + 2 * seen));
        EXPECT_EQ(code.colour, seen < many ? 7 : 0);
        ++seen;
    });
    EXPECT_TRUE(track.good()) << track_fault_text(track);
    EXPECT_EQ(track.end(), static_cast<int64_t>(bytes.size()));
    EXPECT_EQ(seen, many + 1);
}

TEST(DeflatedTrack, GivesItsCodesAndTheParts) {
    for (const uint32_t coding : all_codings) {
        for (const bool swapped : test::byte_orders) {
            for (const int level : {0, 1, 9}) {
                const Bytes plain = coded(coding, good_codes, swapped);
                Bytes bytes = test::deflated(plain, level);
                const auto size = static_cast<int64_t>(bytes.size());
                bytes.insert(bytes.end(), 9, 0x77);
                const auto [track, codes] = decode(bytes, shape(coding, 177, true, swapped));
                EXPECT_TRUE(track.good()) << track_fault_text(track);
                EXPECT_TRUE(track.ended);
                EXPECT_EQ(track.bytes, size);
                EXPECT_EQ(track.data_bytes, size - 6);
                EXPECT_EQ(track.unpacked, static_cast<int64_t>(plain.size()));
                EXPECT_EQ(track.pixels, 177);
                EXPECT_EQ(track.adler_found, track.adler_expected);
                EXPECT_EQ(track.padding, 0);
                ASSERT_EQ(codes.size(), 4U);
                EXPECT_EQ(codes[2].length, 27);
                EXPECT_EQ(codes[2].offset, 2 * code_bytes(coding));
            }
        }
    }
}

TEST(DeflatedTrack, MayBeLongerThanAnyBuffer) {
    Codes codes;
    for (uint32_t i = 0; i < 100000; ++i)
        codes.emplace_back(1 + i * i % 5, i * 31 % 251);
    uint32_t pixels = 0;
    for (const auto &code : codes)
        pixels += code.first;
    codes.emplace_back(0, 0);
    const auto result = decode(test::deflated(coded(VT_FW88, codes)), shape(VT_FW88, pixels, true));
    EXPECT_TRUE(result.track.good()) << track_fault_text(result.track);
    ASSERT_EQ(result.codes.size(), codes.size());
    for (size_t i = 0; i < codes.size(); ++i)
        ASSERT_EQ(static_cast<uint32_t>(result.codes[i].length), codes[i].first) << i;
}

// Streams of several blocks, of stored ones too, whose unpacked bytes end on and beside the borders
// of any buffer.
TEST(DeflatedTrack, MayBeOfAnySize) {
    for (const int level : {0, 1, 9}) {
        for (const size_t size :
             {16383U, 16384U, 16385U, 32767U, 32768U, 32769U, 65536U, 200000U}) {
            Codes codes;
            uint32_t pixels = 0;
            for (uint32_t i = 0; codes.size() + 1 < size; ++i) {
                codes.emplace_back(1 + i * 7919 % 127, i * i / 3 % 2);
                pixels += codes.back().first;
            }
            codes.emplace_back(0, 0);
            const Bytes bytes = test::deflated(coded(VT_FW8, codes), level);
            const DecodedTrack track = decode(bytes, shape(VT_FW8, pixels, true)).track;
            EXPECT_TRUE(track.good()) << track_fault_text(track) << size << " " << level;
            EXPECT_EQ(track.unpacked, static_cast<int64_t>(size));
            EXPECT_EQ(track.bytes, static_cast<int64_t>(bytes.size()));
        }
    }
}

// The data of a stream seldom fills its last byte; where it does, the bit that is set here is one
// of its own.
TEST(DeflatedTrack, TellsTheUnusedBitsOfItsData) {
    int padded = 0;
    for (uint32_t length = 1; length <= 100; ++length) {
        Bytes bytes = test::deflated(coded(VT_FW8, {{length, 0}, {0, 0}}));
        bytes[bytes.size() - 5] |= 0x80;
        const DecodedTrack track = decode(bytes, shape(VT_FW8, length, true)).track;
        if (!track.good()) continue;
        ++padded;
        EXPECT_TRUE(std::has_single_bit(static_cast<uint32_t>(track.padding))) << track.padding;
    }
    EXPECT_GT(padded, 50);
}

// ---- faults of the codes

TEST(TrackFaults, AnEndTooEarly) {
    for (const uint32_t coding : all_codings) {
        const auto [track, codes] = decode(coded(coding, good_codes), shape(coding, 178));
        EXPECT_EQ(track.fault, TrackFault::too_few_pixels);
        EXPECT_EQ(track.fault_offset, 3 * code_bytes(coding));
        EXPECT_EQ(track.fault_code, 3);
        EXPECT_EQ(track.found, 177);
        EXPECT_EQ(track.expected, 178);
        EXPECT_TRUE(track.ended);
        EXPECT_EQ(codes.size(), 4U);
        EXPECT_EQ(track_fault_text(track), "ends with 177 of 178 pixels");
    }
}

TEST(TrackFaults, AnEndCodeInFront) {
    const DecodedTrack track = decode(coded(VT_FW8, {{0, 0}}), shape(VT_FW8, 5)).track;
    EXPECT_EQ(track.fault, TrackFault::too_few_pixels);
    EXPECT_EQ(track.found, 0);
    EXPECT_EQ(track.bytes, 1);
}

// The track is walked on, so that its end is known.
TEST(TrackFaults, TooManyPixels) {
    for (const uint32_t coding : all_codings) {
        const auto [track, codes] = decode(coded(coding, good_codes), shape(coding, 120));
        EXPECT_EQ(track.fault, TrackFault::too_many_pixels);
        EXPECT_EQ(track.fault_offset, code_bytes(coding));
        EXPECT_EQ(track.fault_code, 1);
        EXPECT_EQ(track.found, 177);
        EXPECT_EQ(track.expected, 120);
        EXPECT_TRUE(track.ended);
        EXPECT_EQ(track.bytes, 4 * code_bytes(coding));
        EXPECT_EQ(codes.size(), 2U);
        EXPECT_EQ(track_fault_text(track), "has 177 pixels in the place of 120");
    }
}

TEST(TrackFaults, TooManyPixelsWithoutAnEnd) {
    const Bytes bytes(1000, 0x01);
    const auto [track, codes] = decode(bytes, shape(VT_FW8, 20));
    EXPECT_EQ(track.fault, TrackFault::too_many_pixels);
    EXPECT_EQ(track.fault_offset, 20);
    EXPECT_FALSE(track.ended);
    EXPECT_EQ(track.codes, 22); // no more codes than pixels can have are looked at
    EXPECT_EQ(codes.size(), 21U);
    EXPECT_EQ(track_fault_text(track), "has at least 22 pixels in the place of 20");
}

TEST(TrackFaults, TheDataEnds) {
    for (const uint32_t coding : all_codings) {
        Bytes bytes = coded(coding, good_codes);
        const auto whole = static_cast<int64_t>(bytes.size());
        for (int64_t limit = 0; limit < whole; ++limit) {
            const DecodedTrack track = decode(bytes, shape(coding, 177), limit).track;
            EXPECT_EQ(track.fault, TrackFault::data_ends);
            EXPECT_EQ(track.fault_offset, limit);
            EXPECT_EQ(track.bytes, limit);
            EXPECT_FALSE(track.ended);
        }
        bytes.pop_back();
        const DecodedTrack track = decode(bytes, shape(coding, 177)).track;
        EXPECT_EQ(track.fault, TrackFault::data_ends);
        EXPECT_EQ(track_fault_text(track), "is cut off after 177 of 177 pixels");
    }
}

TEST(TrackFaults, NothingAtThePlace) {
    NativeSample sample(Bytes(10));
    for (const bool deflated : {false, true}) {
        TrackDecoder decoder(sample.file(), shape(VT_FW16, 5, deflated));
        for (const int64_t offset : {int64_t{10}, int64_t{1} << 60, int64_t{-4}}) {
            const DecodedTrack track = decoder.decode(offset, INT64_MAX);
            EXPECT_FALSE(track.good());
            EXPECT_EQ(track.bytes, 0);
            EXPECT_FALSE(track.ended);
        }
    }
}

// ---- faults of the stream

TEST(StreamFaults, NoHead) {
    const struct {
        uint8_t first, second;
        const char *words;
    } rows[] = {{0x78, 0xDB, "incorrect header check"},
                {0x77, 0x85, "unknown compression method"},
                {0x88, 0x1C, "invalid window size"},
                {0x78, 0xF9, "needs a dictionary"}};
    for (const auto &row : rows) {
        Bytes bytes = test::deflated(coded(VT_FW8, good_codes));
        bytes[0] = row.first;
        bytes[1] = row.second;
        const DecodedTrack track = decode(bytes, shape(VT_FW8, 177, true)).track;
        EXPECT_EQ(track.fault, TrackFault::stream_head) << row.words;
        EXPECT_EQ(track.words, row.words);
        EXPECT_EQ(track.fault_offset, 0);
        EXPECT_FALSE(track.ended);
        EXPECT_EQ(track_fault_text(track), std::string("is no deflated stream: ") + row.words);
    }
}

TEST(StreamFaults, BrokenData) {
    Bytes bytes = test::deflated(coded(VT_FW8, good_codes));
    bytes[2] |= 0x06; // a block of the kind that there is none of
    const DecodedTrack track = decode(bytes, shape(VT_FW8, 177, true)).track;
    EXPECT_EQ(track.fault, TrackFault::stream_broken);
    EXPECT_EQ(track.words, "invalid block type");
    EXPECT_FALSE(track.ended);
    EXPECT_GE(track.fault_offset, 2);
}

TEST(StreamFaults, AWrongChecksum) {
    Bytes bytes = test::deflated(coded(VT_FW8, good_codes));
    bytes.back() ^= 1;
    const auto [track, codes] = decode(bytes, shape(VT_FW8, 177, true));
    const auto size = static_cast<int64_t>(bytes.size());
    EXPECT_EQ(track.fault, TrackFault::stream_checksum);
    EXPECT_EQ(track.fault_offset, size - 4);
    EXPECT_EQ(track.found ^ track.expected, 1);
    EXPECT_EQ(track.found, track.adler_found);
    EXPECT_TRUE(track.ended);
    EXPECT_EQ(track.bytes, size);
    EXPECT_EQ(codes.size(), 4U);
}

TEST(StreamFaults, CutOff) {
    const Bytes bytes = test::deflated(coded(VT_FW16, good_codes));
    const auto size = static_cast<int64_t>(bytes.size());
    for (int64_t limit = 0; limit < size; ++limit) {
        const DecodedTrack track = decode(bytes, shape(VT_FW16, 177, true), limit).track;
        EXPECT_EQ(track.fault, TrackFault::stream_ends) << limit;
        EXPECT_EQ(track.fault_offset, limit);
        EXPECT_EQ(track.bytes, limit);
        EXPECT_FALSE(track.ended);
    }
}

TEST(StreamFaults, NoEndCodeInside) {
    const Bytes bytes = test::deflated(coded(VT_FW16, {{100, 0}, {77, 1}}));
    const DecodedTrack track = decode(bytes, shape(VT_FW16, 177, true)).track;
    EXPECT_EQ(track.fault, TrackFault::stream_short);
    EXPECT_EQ(track.found, 177);
    EXPECT_TRUE(track.ended);
    EXPECT_EQ(track.bytes, static_cast<int64_t>(bytes.size()));
}

TEST(StreamFaults, HalfACodeAtTheEnd) {
    Bytes plain = coded(VT_FW16, {{100, 0}, {77, 1}});
    plain.push_back(0);
    const DecodedTrack track = decode(test::deflated(plain), shape(VT_FW16, 177, true)).track;
    EXPECT_EQ(track.fault, TrackFault::stream_short);
}

TEST(StreamFaults, BytesBehindTheEndCode) {
    Bytes plain = coded(VT_FW16, good_codes);
    plain.insert(plain.end(), 5, 0x33);
    const Bytes bytes = test::deflated(plain);
    const DecodedTrack track = decode(bytes, shape(VT_FW16, 177, true)).track;
    EXPECT_EQ(track.fault, TrackFault::stream_long);
    EXPECT_EQ(track.found, 5);
    EXPECT_TRUE(track.ended);
    EXPECT_EQ(track.bytes, static_cast<int64_t>(bytes.size()));
    EXPECT_EQ(track_fault_text(track), "has 5 bytes behind its end code in the stream");
}

TEST(StreamFaults, PixelsThatDoNotAddUpInAWholeStream) {
    const Bytes bytes = test::deflated(coded(VT_FW8, good_codes));
    for (const uint32_t pixels : {176U, 178U}) {
        const DecodedTrack track = decode(bytes, shape(VT_FW8, pixels, true)).track;
        EXPECT_EQ(track.fault,
                  pixels < 177 ? TrackFault::too_many_pixels : TrackFault::too_few_pixels);
        EXPECT_EQ(track.found, 177);
        EXPECT_TRUE(track.ended);
        EXPECT_EQ(track.bytes, static_cast<int64_t>(bytes.size()));
    }
}

// Ten million bytes come out of some ten thousand; a track of 20 pixels has no use for them.
TEST(StreamFaults, AStreamWithoutMeasureIsNotUnpacked) {
    const Bytes bytes = test::deflated(Bytes(10000000, 0x01));
    const DecodedTrack track = decode(bytes, shape(VT_FW8, 20, true)).track;
    EXPECT_EQ(track.fault, TrackFault::too_many_pixels);
    EXPECT_FALSE(track.ended);
    EXPECT_LT(track.unpacked, 100000);

    const DecodedTrack zeros =
        decode(test::deflated(Bytes(10000000)), shape(VT_FW8, 0, true)).track;
    EXPECT_EQ(zeros.fault, TrackFault::stream_long);
    EXPECT_FALSE(zeros.ended);
    EXPECT_LT(zeros.unpacked, 100000);
}

TEST(TrackDecoder, ServesOneTrackAfterTheOther) {
    Bytes bytes = test::deflated(coded(VT_FW8, good_codes));
    const auto size = static_cast<int64_t>(bytes.size());
    Bytes broken = bytes;
    broken[2] |= 0x06;
    bytes.insert(bytes.end(), broken.begin(), broken.end());
    NativeSample sample(bytes);
    TrackDecoder decoder(sample.file(), shape(VT_FW8, 177, true));
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(decoder.decode(0, INT64_MAX).good());
        EXPECT_EQ(decoder.decode(size, INT64_MAX).fault, TrackFault::stream_broken);
    }
}

TEST(TrackShapeOf, IsThatOfTheHeader) {
    test::VorBytes bytes(VT_FW88 | VT_DEFLATED, 1, 99, true);
    NativeSample sample(bytes);
    const TrackShape shape = shape_of(sample.layout());
    EXPECT_EQ(shape.coding, VT_FW88);
    EXPECT_TRUE(shape.deflated);
    EXPECT_EQ(shape.order, test::order_of(true));
    EXPECT_EQ(shape.pixels, 99U);
}

} // namespace
} // namespace vor::tool
