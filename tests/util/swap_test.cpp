#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "util/services.h"

namespace {

struct Row {
    const char *name;
    void (*in_place)(void *data, size_t size);
    void (*copying)(void *target, const void *source, size_t size);
    size_t width;
};

constexpr Row rows[] = {
    {"short", swapshort, swapshort_a, 2},
    {"long", swaplong, swaplong_a, 4},
    {"quad", swapquad, swapquad_a, 8},
};

constexpr char source[] = "0123456789abcdefghijklmnopqrstuvwxyz";

// The first `size` bytes swapped by hand, with the rest as in `rest`.
std::string expected(size_t width, size_t size, std::string rest) {
    for (size_t at = 0; at + width <= size; at += width)
        for (size_t i = 0; i < width; ++i)
            rest[at + i] = source[at + width - 1 - i];
    return rest;
}

TEST(Swap, InPlaceReversesWholeElementsOnly) {
    for (const Row &row : rows)
        for (size_t size = 0; size <= 33; ++size) {
            std::string data = source;
            row.in_place(data.data(), size);
            EXPECT_EQ(data, expected(row.width, size, source)) << row.name << " " << size;
        }
}

TEST(Swap, IntoATargetReversesWholeElementsOnly) {
    for (const Row &row : rows)
        for (size_t size = 0; size <= 33; ++size) {
            std::string target(sizeof source - 1, '.');
            const std::string untouched = target;
            row.copying(target.data(), source, size);
            EXPECT_EQ(target, expected(row.width, size, untouched)) << row.name << " " << size;
        }
}

TEST(Swap, TargetMayBeTheSource) {
    for (const Row &row : rows) {
        std::string data = source;
        row.copying(data.data(), data.data(), 32);
        EXPECT_EQ(data, expected(row.width, 32, source)) << row.name;
    }
}

TEST(Swap, DataNeedNoAlignment) {
    for (const Row &row : rows)
        for (size_t offset = 0; offset < 8; ++offset) {
            std::string data = std::string(offset, '.') + source;
            row.in_place(data.data() + offset, 32);
            EXPECT_EQ(data.substr(offset), expected(row.width, 32, source)) << row.name;
        }
}

TEST(Swap, ShortOfThreeBytesSwapsTheFirstTwo) {
    char data[] = "abc";
    swapshort(data, 3);
    EXPECT_STREQ(data, "bac");
}

TEST(Swap, QuadOfSevenBytesDoesNothing) {
    char data[] = "abcdefg";
    swapquad(data, 7);
    EXPECT_STREQ(data, "abcdefg");
}

} // namespace
