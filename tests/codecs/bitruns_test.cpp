#include "codecs/bitruns.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace vor::test {
namespace {

using Pairs = std::vector<std::pair<int, int>>; // length, bit

Pairs pairs_of(uint8_t byte) {
    Pairs pairs;
    for (int i = 0; i < bitruns[byte].count; ++i)
        pairs.emplace_back(bitruns[byte].runs[i].length, bitruns[byte].runs[i].bit);
    return pairs;
}

TEST(BitRuns, GoFromBitSevenToBitZero) {
    EXPECT_EQ(pairs_of(0xF1), (Pairs{{4, 1}, {3, 0}, {1, 1}}));
    EXPECT_EQ(pairs_of(0x80), (Pairs{{1, 1}, {7, 0}}));
    EXPECT_EQ(pairs_of(0x55),
              (Pairs{{1, 0}, {1, 1}, {1, 0}, {1, 1}, {1, 0}, {1, 1}, {1, 0}, {1, 1}}));
}

TEST(BitRuns, OfAPlainByteAreOneOfEight) {
    EXPECT_EQ(pairs_of(0x00), (Pairs{{8, 0}}));
    EXPECT_EQ(pairs_of(0xFF), (Pairs{{8, 1}}));
}

TEST(BitRuns, GiveEveryByteBack) {
    for (uint32_t byte = 0; byte < 256; ++byte) {
        uint32_t bits = 0;
        uint32_t count = 0;
        int last = -1;
        for (const auto &[length, bit] : pairs_of(static_cast<uint8_t>(byte))) {
            EXPECT_GT(length, 0) << byte;
            EXPECT_NE(bit, last) << byte;
            last = bit;
            for (int i = 0; i < length; ++i)
                bits = bits << 1 | static_cast<uint32_t>(bit);
            count += static_cast<uint32_t>(length);
        }
        EXPECT_EQ(bits, byte);
        EXPECT_EQ(count, pixels_per_byte) << byte;
    }
}

} // namespace
} // namespace vor::test
