#include "run_comparison.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <vector>

#include <gtest/gtest.h>

namespace {

using vor::tool::compare_runs;
using vor::tool::RunDifferences;
using Runs = std::vector<lfrun>;

constexpr int pixels = 4;
using Row = std::array<uint32_t, pixels>;

// Rows of all combinations of three codes.
std::vector<Row> all_rows() {
    constexpr uint32_t codes[] = {0, 1, 3};
    std::vector<Row> rows;
    for (int number = 0; number < 81; ++number) {
        Row row{};
        for (int i = 0, rest = number; i < pixels; ++i, rest /= 3)
            row[static_cast<size_t>(i)] = codes[rest % 3];
        rows.push_back(row);
    }
    return rows;
}

// The runs of a row; where a bit of `cuts` is set, a run ends that could go on.
Runs runs_of(const Row &row, unsigned cuts) {
    Runs runs;
    for (size_t i = 0; i < row.size(); ++i) {
        const bool joins = i > 0 && row[i] == row[i - 1] && (cuts >> (i - 1) & 1) == 0;
        if (!joins) runs.push_back({0, row[i]});
        ++runs.back().length;
    }
    return runs;
}

RunDifferences compare_pixels(const Row &a, const Row &b, int length, uint32_t tolerance) {
    RunDifferences found;
    for (size_t i = 0; i < static_cast<size_t>(length); ++i) {
        const uint32_t distance = std::max(a[i], b[i]) - std::min(a[i], b[i]);
        found.largest = std::max(found.largest, distance);
        if (distance > tolerance) {
            if (found.pixels++ == 0) found.leading = {static_cast<int64_t>(i), a[i], b[i]};
        } else if (distance > 0) {
            ++found.tolerated;
        }
    }
    return found;
}

bool are_equal(const RunDifferences &a, const RunDifferences &b) {
    if (a.pixels != b.pixels || a.tolerated != b.tolerated || a.largest != b.largest) return false;
    if (a.leading.has_value() != b.leading.has_value()) return false;
    return !a.leading ||
           (a.leading->pixel == b.leading->pixel && a.leading->first == b.leading->first &&
            a.leading->second == b.leading->second);
}

TEST(RunComparison, FindsWhatAComparisonOfPixelsFinds) {
    const std::vector<Row> rows = all_rows();
    for (const Row &a : rows) {
        for (const Row &b : rows) {
            for (unsigned cuts = 0; cuts < 8; ++cuts) {
                for (uint32_t tolerance = 0; tolerance < 4; ++tolerance) {
                    const int length = static_cast<int>(cuts + tolerance) % pixels + 1;
                    ASSERT_TRUE(
                        are_equal(compare_runs(runs_of(a, cuts), runs_of(b, 5), length, tolerance),
                                  compare_pixels(a, b, length, tolerance)));
                }
            }
        }
    }
}

TEST(RunComparison, RunsWithoutLengthCountForNothing) {
    const Runs plain = {{3, 7}, {2, 9}};
    const Runs padded = {{0, 1}, {1, 7}, {0, 2}, {2, 7}, {2, 9}, {0, 3}};
    EXPECT_EQ(compare_runs(plain, padded, 5, 0).largest, 0U);
    EXPECT_EQ(compare_runs(padded, plain, 5, 0).largest, 0U);
}

TEST(RunComparison, StopsWhereAListEnds) {
    const RunDifferences found = compare_runs(Runs{{2, 0}}, Runs{{9, 5}}, 100, 0);
    EXPECT_EQ(found.pixels, 2);
    EXPECT_EQ(compare_runs(Runs{}, Runs{{9, 5}}, 100, 0).pixels, 0);
    EXPECT_EQ(compare_runs(Runs{{0, 1}}, Runs{{9, 5}}, 100, 0).pixels, 0);
}

TEST(RunComparison, LongRunsAreCountedWhole) {
    constexpr uint32_t longest = 0x7FFFFFFF;
    const RunDifferences found = compare_runs(Runs{{longest, 0}}, Runs{{longest, 255}}, longest, 0);
    EXPECT_EQ(found.pixels, int64_t{longest});
}

TEST(RunComparison, LargestDifferenceIsOfCodesWithoutSign) {
    const RunDifferences found =
        compare_runs(Runs{{1, 0}, {1, 0xFFFFFFFF}}, Runs{{1, 0xFFFFFFFF}, {1, 1}}, 2, 255);
    EXPECT_EQ(found.largest, 0xFFFFFFFF);
    ASSERT_TRUE(found.leading);
    EXPECT_EQ(found.leading->first, 0U);
    EXPECT_EQ(found.leading->second, 0xFFFFFFFF);
}

} // namespace
