#include "file_bytes.h"

#include <gtest/gtest.h>

#include <numeric>

#include "report.h"
#include "support/byte_file.h"
#include "support/temp_dir.h"

namespace vor::tool {
namespace {

// Bytes that tell where they stand.
std::vector<uint8_t> numbered(size_t size) {
    std::vector<uint8_t> bytes(size);
    for (size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<uint8_t>(i * 7 + i / 251);
    return bytes;
}

class FileBytesTest : public testing::Test {
protected:
    std::string file_of(const std::vector<uint8_t> &bytes) {
        const std::string name = directory_.file("a.bin");
        test::write_bytes(name, bytes);
        return name;
    }

    test::TempDir directory_;
};

std::vector<uint8_t> taken(std::span<const uint8_t> bytes) {
    return {bytes.begin(), bytes.end()};
}

std::vector<uint8_t> part(const std::vector<uint8_t> &bytes, size_t from, size_t count) {
    const auto begin = bytes.begin() + static_cast<ptrdiff_t>(from);
    return {begin, begin + static_cast<ptrdiff_t>(count)};
}

TEST_F(FileBytesTest, GivesTheBytesAskedForInAnyOrder) {
    const auto bytes = numbered(1000000);
    FileBytes file(file_of(bytes));
    EXPECT_EQ(file.size(), 1000000);
    for (const size_t from : {999000U, 0U, 500000U, 65535U, 4095U, 4097U, 999999U, 1U, 250000U}) {
        const size_t count = std::min<size_t>(FileBytes::window_bytes, bytes.size() - from);
        EXPECT_EQ(taken(file.at(static_cast<int64_t>(from), count)), part(bytes, from, count));
        EXPECT_EQ(taken(file.at(static_cast<int64_t>(from), 1)), part(bytes, from, 1));
    }
}

TEST_F(FileBytesTest, GivesFewerBytesAtTheEnd) {
    const auto bytes = numbered(100);
    FileBytes file(file_of(bytes));
    EXPECT_EQ(taken(file.at(90, 64)), part(bytes, 90, 10));
    EXPECT_TRUE(file.at(100, 1).empty());
    EXPECT_TRUE(file.at(INT64_MAX, 1).empty());
    EXPECT_TRUE(file.at(-1, 4).empty());
    EXPECT_TRUE(file.some(100).empty());
    EXPECT_TRUE(file.some(-5).empty());
}

TEST_F(FileBytesTest, NeverGivesMoreThanAWindow) {
    FileBytes file(file_of(numbered(300000)));
    EXPECT_EQ(file.at(1000, 250000).size(), FileBytes::window_bytes);
}

TEST_F(FileBytesTest, SomeBytesLeadThroughTheWholeFile) {
    const auto bytes = numbered(200001);
    FileBytes file(file_of(bytes));
    std::vector<uint8_t> all;
    for (auto some = file.some(0); !some.empty();
         some = file.some(static_cast<int64_t>(all.size())))
        all.insert(all.end(), some.begin(), some.end());
    EXPECT_EQ(all, bytes);
}

TEST_F(FileBytesTest, CopiesMoreThanAWindow) {
    const auto bytes = numbered(300000);
    FileBytes file(file_of(bytes));
    std::vector<uint8_t> copy(250000);
    EXPECT_EQ(file.copy(100, copy), copy.size());
    EXPECT_EQ(copy, part(bytes, 100, copy.size()));
    EXPECT_EQ(file.copy(299990, copy), 10U);
    EXPECT_EQ(part(copy, 0, 10), part(bytes, 299990, 10));
}

TEST_F(FileBytesTest, AnEmptyFileHasNothing) {
    FileBytes file(file_of({}));
    EXPECT_EQ(file.size(), 0);
    EXPECT_TRUE(file.at(0, 1).empty());
}

TEST_F(FileBytesTest, WhatIsCutOffLaterIsMissing) {
    const std::string name = file_of(numbered(300000));
    FileBytes file(name);
    test::write_bytes(name, numbered(1000));
    EXPECT_TRUE(file.at(200000, 10).empty());
    EXPECT_EQ(file.at(990, 20).size(), 10U);
}

TEST_F(FileBytesTest, AFileThatCannotBeOpenedIsAFailureAboutIt) {
    for (const std::string &name : {directory_.file("missing"), directory_.path()}) {
        try {
            const FileBytes file(name);
            FAIL() << name;
        } catch (const Failure &failure) {
            EXPECT_EQ(failure.file, name);
            EXPECT_STRNE(failure.what(), "");
        }
    }
}

} // namespace
} // namespace vor::tool
