#include "tif/tif_bits.h"

#include <cstdint>
#include <random>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace vor::tif;

bool bit(const std::vector<uint8_t> &row, size_t i) {
    return (row[i / 8] >> (7 - i % 8) & 1) != 0;
}

std::vector<uint8_t> random_row(size_t bytes, uint32_t number) {
    std::mt19937 random(number);
    std::vector<uint8_t> row(bytes);
    for (uint8_t &byte : row)
        byte = static_cast<uint8_t>(random());
    return row;
}

TEST(TifBits, InvertingTwiceGivesTheRowBack) {
    std::vector<uint8_t> row = {0x00, 0xFF, 0xA5};
    invert(row);
    EXPECT_EQ(row, (std::vector<uint8_t>{0xFF, 0x00, 0x5A}));
    invert(row);
    EXPECT_EQ(row, (std::vector<uint8_t>{0x00, 0xFF, 0xA5}));
}

TEST(TifBits, MirroringBytesReversesThem) {
    std::vector<uint8_t> row = {1, 2, 3};
    mirror_bytes(row);
    EXPECT_EQ(row, (std::vector<uint8_t>{3, 2, 1}));
}

TEST(TifBits, MirroringBitsReversesThePixelsOfEveryLength) {
    for (int32_t pixels = 1; pixels <= 70; ++pixels) {
        const auto count = static_cast<size_t>(pixels);
        const std::vector<uint8_t> before =
            random_row((count + 7) / 8, static_cast<uint32_t>(pixels));
        std::vector<uint8_t> row = before;
        mirror_bits(row, pixels);
        for (size_t i = 0; i < count; ++i)
            ASSERT_EQ(bit(row, i), bit(before, count - 1 - i)) << pixels << " pixels, " << i;
        for (size_t i = count; i < row.size() * 8; ++i)
            ASSERT_FALSE(bit(row, i)) << pixels << " pixels, " << i;
    }
}

TEST(TifBits, TurningABlockOverSwapsRowsAndColumns) {
    for (uint32_t number = 0; number < 50; ++number) {
        const std::vector<uint8_t> before = random_row(8, number);
        uint8_t block[8];
        std::copy(before.begin(), before.end(), block);
        transpose_block(block);
        const std::vector<uint8_t> after(block, block + 8);
        for (size_t row = 0; row < 8; ++row) {
            for (size_t column = 0; column < 8; ++column)
                ASSERT_EQ(bit(after, column * 8 + row), bit(before, row * 8 + column));
        }
    }
}

} // namespace
