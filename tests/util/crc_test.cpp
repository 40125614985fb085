#include <gtest/gtest.h>
#include <zlib.h>

#include <string>
#include <vector>

#include "util/checksum.h"

namespace {

constexpr char digits[] = "123456789";

std::vector<uint8_t> varied_bytes(size_t count) {
    std::vector<uint8_t> bytes(count);
    uint32_t value = 12345;
    for (uint8_t &byte : bytes) {
        value = value * 1103515245 + 12345;
        byte = static_cast<uint8_t>(value >> 16);
    }
    return bytes;
}

TEST(Crc32, OfNothingIsZero) {
    EXPECT_EQ(kel_crc32_buffer(digits, 0), 0u);
}

TEST(Crc32, OfTheNineDigitsIsThePublishedValue) {
    EXPECT_EQ(kel_crc32_buffer(digits, 9), 0xCBF43926u);
}

TEST(Crc32, StartsAllOnesAndEndsWithTheComplement) {
    EXPECT_EQ(kel_crc32_init(), 0xFFFFFFFFu);
    EXPECT_EQ(kel_crc32_final(0x12345678u), 0xEDCBA987u);
}

TEST(Crc32, UpdateWithNothingGivesTheValueBack) {
    EXPECT_EQ(kel_crc32_update(0xDEADBEEFu, nullptr, 0), 0xDEADBEEFu);
}

TEST(Crc32, IsThatOfZlib) {
    const std::vector<uint8_t> bytes = varied_bytes(1000);
    for (size_t size = 0; size <= bytes.size(); ++size)
        ASSERT_EQ(kel_crc32_buffer(bytes.data(), size),
                  crc32(0, bytes.data(), static_cast<uInt>(size)))
            << size;
}

TEST(Crc32, InTwoUpdatesIsThatOfOne) {
    const std::vector<uint8_t> bytes = varied_bytes(50);
    const uint32_t whole = kel_crc32_buffer(bytes.data(), bytes.size());
    for (size_t split = 0; split <= bytes.size(); ++split) {
        uint32_t crc = kel_crc32_update(kel_crc32_init(), bytes.data(), split);
        crc = kel_crc32_update(crc, bytes.data() + split, bytes.size() - split);
        ASSERT_EQ(kel_crc32_final(crc), whole) << split;
    }
}

TEST(Crc16, OfNothingIsZero) {
    EXPECT_EQ(kel_crc16_buffer(digits, 0), 0u);
}

TEST(Crc16, OfTheNineDigitsIsItsOwnCheckValue) {
    EXPECT_EQ(kel_crc16_buffer(digits, 9), 0xBEEFu);
}

TEST(Crc16, LetsTwoBytesThroughUnchanged) {
    EXPECT_EQ(kel_crc16_buffer("\x12\x34", 2), 0x1234u);
    EXPECT_EQ(kel_crc16_buffer("\x01\x00\x00", 3), 0x1021u);
}

TEST(Crc16, StartsAtZeroAndEndsWithTheLow16Bits) {
    EXPECT_EQ(kel_crc16_init(), 0u);
    EXPECT_EQ(kel_crc16_final(0x1234ABCDu), 0xABCDu);
}

TEST(Crc16, UpdateWithNothingGivesTheValueBack) {
    EXPECT_EQ(kel_crc16_update(0xDEADBEEFu, nullptr, 0), 0xDEADBEEFu);
}

TEST(Crc16, BitsAboveTheLow16PassThrough) {
    EXPECT_EQ(kel_crc16_update(0x12340000u, digits, 9), 0x1234BEEFu);
}

TEST(Crc16, InTwoUpdatesIsThatOfOne) {
    const std::vector<uint8_t> bytes = varied_bytes(50);
    const uint32_t whole = kel_crc16_buffer(bytes.data(), bytes.size());
    for (size_t split = 0; split <= bytes.size(); ++split) {
        uint32_t crc = kel_crc16_update(kel_crc16_init(), bytes.data(), split);
        crc = kel_crc16_update(crc, bytes.data() + split, bytes.size() - split);
        ASSERT_EQ(kel_crc16_final(crc), whole) << split;
    }
}

} // namespace
