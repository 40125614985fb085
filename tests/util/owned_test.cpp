#include "util/owned.h"

#include <gtest/gtest.h>

#include <cstring>

#include "support/failing_malloc.h"

namespace {

using vor::malloc_ptr;
using vor::test::FailingMalloc;

TEST(CheckedSizes, ProductThatFits) {
    size_t product = 0;
    EXPECT_TRUE(vor::checked_multiply(6, 7, &product));
    EXPECT_EQ(product, 42u);
    EXPECT_TRUE(vor::checked_multiply(0, SIZE_MAX, &product));
    EXPECT_EQ(product, 0u);
    EXPECT_TRUE(vor::checked_multiply(SIZE_MAX, 1, &product));
    EXPECT_EQ(product, SIZE_MAX);
}

TEST(CheckedSizes, WhatDoesNotFitLeavesTheResultAlone) {
    size_t result = 42;
    EXPECT_FALSE(vor::checked_multiply(SIZE_MAX / 2 + 1, 2, &result));
    EXPECT_FALSE(vor::checked_add(SIZE_MAX, 1, &result));
    EXPECT_EQ(result, 42u);
}

TEST(CheckedSizes, SumThatFits) {
    size_t sum = 0;
    EXPECT_TRUE(vor::checked_add(SIZE_MAX - 1, 1, &sum));
    EXPECT_EQ(sum, SIZE_MAX);
}

TEST(Allocation, ArrayOfTooManyElementsFails) {
    EXPECT_EQ(vor::allocate_array<int32_t>(SIZE_MAX / 2), nullptr);
    EXPECT_EQ(vor::allocate_zeroed<int32_t>(SIZE_MAX / 2), nullptr);
    malloc_ptr<int32_t[]> block(vor::allocate_array<int32_t>(1));
    EXPECT_EQ(vor::reallocate_array(block.get(), SIZE_MAX / 2), nullptr);
}

TEST(Allocation, NoElementsAreABlockToo) {
    const malloc_ptr<int32_t[]> block(vor::allocate_array<int32_t>(0));
    EXPECT_NE(block, nullptr);
    malloc_ptr<int32_t[]> shrunk(vor::allocate_zeroed<int32_t>(0));
    ASSERT_NE(shrunk, nullptr);
    int32_t *const again = vor::reallocate_array(shrunk.get(), 0);
    ASSERT_NE(again, nullptr);
    (void)shrunk.release();
    std::free(again);
}

TEST(Allocation, ZeroedIsZero) {
    const malloc_ptr<int32_t[]> block(vor::allocate_zeroed<int32_t>(100));
    ASSERT_NE(block, nullptr);
    for (size_t i = 0; i < 100; ++i)
        EXPECT_EQ(block[i], 0);
}

TEST(Allocation, ReallocatedKeepsItsElements) {
    int32_t *block = vor::allocate_array<int32_t>(2);
    ASSERT_NE(block, nullptr);
    block[0] = 1;
    block[1] = 2;
    block = vor::reallocate_array(block, 1000);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(block[0], 1);
    EXPECT_EQ(block[1], 2);
    std::free(block);
}

TEST(Allocation, FailureIsNull) {
    const FailingMalloc failing(1, true);
    EXPECT_EQ(vor::allocate_array<char>(1), nullptr);
    EXPECT_EQ(vor::allocate_zeroed<char>(1), nullptr);
    EXPECT_EQ(vor::reallocate_array<char>(nullptr, 1), nullptr);
    EXPECT_EQ(vor::copy_text("abc"), nullptr);
    EXPECT_TRUE(failing.reached());
}

TEST(CopyText, IsABlockOfItsOwn) {
    const char *const text = "some text";
    const malloc_ptr<char[]> copy(vor::copy_text(text));
    ASSERT_NE(copy, nullptr);
    EXPECT_NE(copy.get(), text);
    EXPECT_STREQ(copy.get(), text);
}

} // namespace
