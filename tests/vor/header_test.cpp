// The header's bytes: checksum, byte order, offsets of two words.
#include <gtest/gtest.h>
#include <zlib.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "vor/driver.h"

namespace vor {
namespace {

using Image = std::array<uint8_t, VOR_HDRSIZE>;

Image counting_image() {
    Image image;
    for (size_t i = 0; i < image.size(); ++i)
        image[i] = static_cast<uint8_t>(i * 7 + 3);
    return image;
}

TEST(HeaderCrc, IsTheCrc32OfTheOther252Bytes) {
    const Image image = counting_image();
    std::vector<uint8_t> others(image.begin(), image.begin() + 144);
    others.insert(others.end(), image.begin() + 148, image.end());
    ASSERT_EQ(252u, others.size());
    EXPECT_EQ(crc32(0, others.data(), 252), vor_hdrcrc(image.data()));
}

TEST(HeaderCrc, EveryByteCountsButThoseOfItsOwnWord) {
    const Image image = counting_image();
    const uint32_t crc = vor_hdrcrc(image.data());
    for (size_t i = 0; i < image.size(); ++i) {
        Image changed = image;
        changed[i] ^= 0x10;
        const bool own_word = i >= 144 && i < 148;
        EXPECT_EQ(own_word, vor_hdrcrc(changed.data()) == crc) << i;
    }
}

TEST(HeaderSwap, TurnsWordsAndFloatsAndLeavesTheRest) {
    const Image image = counting_image();
    vorhdr hdr;
    std::memcpy(&hdr, image.data(), sizeof hdr);
    swap_header(&hdr);
    Image swapped;
    std::memcpy(swapped.data(), &hdr, sizeof hdr);
    for (size_t i = 0; i < image.size(); ++i) {
        const size_t width = i < 160 ? 4 : i < 176 ? 8 : 1;
        const size_t mirrored = i - i % width + (width - 1 - i % width);
        EXPECT_EQ(image[mirrored], swapped[i]) << i;
    }
}

TEST(HeaderType, IsOfTheOtherOrderWithNothingButItsTopByte) {
    const struct {
        uint32_t type;
        bool swapped;
    } rows[] = {
        {0x00000001, false}, {0x00000043, false}, {0x00000000, false}, {0x01000000, true},
        {0x43000000, true},  {0xFF000000, true},  {0x01000001, false}, {0x01010000, false},
        {0x01000100, false}, {0x00010000, false},
    };
    for (const auto &row : rows) {
        vorhdr hdr = {};
        hdr.type = row.type;
        EXPECT_EQ(row.swapped, type_is_swapped(hdr)) << std::hex << row.type;
    }
}

TEST(HeaderOffset, HighWordCountsUnderItsFlagAlone) {
    vorhdr hdr = {};
    EXPECT_EQ(0x89ABCDEF, join_offset(hdr, 0x89ABCDEF, 5));
    hdr.hflags = HF_OFF64;
    EXPECT_EQ(0x589ABCDEF, join_offset(hdr, 0x89ABCDEF, 5));
    EXPECT_EQ(-1, join_offset(hdr, 0xFFFFFFFF, 0xFFFFFFFF));
}

TEST(HeaderFloat, GoesToInfinityBeyondTheRange) {
    EXPECT_EQ(0.5f, to_float(0.5));
    EXPECT_EQ(std::numeric_limits<float>::infinity(), to_float(1e300));
    EXPECT_EQ(-std::numeric_limits<float>::infinity(), to_float(-1e300));
    EXPECT_TRUE(std::isnan(to_float(std::numeric_limits<double>::quiet_NaN())));
}

} // namespace
} // namespace vor
