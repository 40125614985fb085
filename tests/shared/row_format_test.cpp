#include "shared/row_format.h"

#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/kel.h"
#include "support/byte_file.h"
#include "support/failing_malloc.h"
#include "support/report_log.h"
#include "support/temp_dir.h"

namespace {

using namespace vor::raster;
using namespace vor::test;

TEST(RowFormat, RowsEndAtAWholeByte) {
    EXPECT_EQ(row_bytes(1, 1), 1);
    EXPECT_EQ(row_bytes(8, 1), 1);
    EXPECT_EQ(row_bytes(9, 1), 2);
    EXPECT_EQ(row_bytes(9, 8), 9);
    EXPECT_EQ(row_bytes(INT32_MAX, 8), INT32_MAX);
}

TEST(RowFormat, SettingBitsTouchesTheRangeAndNothingElse) {
    for (size_t first = 0; first <= 24; ++first) {
        for (size_t count = 0; first + count <= 24; ++count) {
            std::vector<uint8_t> row(3);
            set_bits(row, static_cast<int64_t>(first), static_cast<int64_t>(count));
            for (size_t i = 0; i < 24; ++i) {
                const bool set = (row[i / 8] >> (7 - i % 8) & 1) != 0;
                ASSERT_EQ(set, i >= first && i < first + count)
                    << first << "+" << count << ", bit " << i;
            }
        }
    }
}

TEST(RowFormat, AnExceptionBecomesTheFailureForLackOfMemory) {
    ReportLog log;
    const auto fail = []() -> int32_t { throw std::bad_alloc(); };
    EXPECT_EQ(guarded(nullptr, "here", fail), -1);
    EXPECT_EQ(log.take(), (Lines{"here: out of memory"}));
    EXPECT_EQ(guarded(nullptr, "here", [] { return 7; }), 7);
}

TEST(RowFormat, ABufferThatCannotBeHadLeavesTheOldOne) {
    ReportLog log;
    auto *old = static_cast<uint8_t *>(std::malloc(16));
    xvor_t h = {};
    h.buf = old;
    h.bufsize = 16;
    {
        const FailingMalloc fault(1);
        EXPECT_EQ(make_buffer(&h, 100, "here"), -1);
        EXPECT_TRUE(fault.reached());
    }
    EXPECT_EQ(make_buffer(&h, largest_block + 1, "here"), -1);
    EXPECT_EQ(h.buf, old);
    EXPECT_EQ(h.bufsize, 16u);
    EXPECT_EQ(log.take(), (Lines{"here: out of memory", "here: out of memory"}));
    EXPECT_EQ(make_buffer(&h, 100, "here"), 0);
    EXPECT_EQ(h.bufsize, 100u);
    std::free(h.buf);
}

TEST(RowFormat, ReadingStopsAtTheEndOfTheFile) {
    const TempDir dir;
    const std::string name = dir.file("a");
    write_text(name, "abc");
    const int32_t fd = kel_open(name.c_str(), KEL_O_RDONLY, 0);
    char bytes[8] = "";
    EXPECT_EQ(read_fully(fd, bytes, 2), 2);
    EXPECT_EQ(read_fully(fd, bytes, sizeof bytes), 1);
    EXPECT_EQ(bytes[0], 'c');
    EXPECT_EQ(read_fully(fd, bytes, sizeof bytes), 0);
    EXPECT_FALSE(write_fully(fd, bytes, 1)) << "open for reading only";
    EXPECT_EQ(kel_close(fd), 0);
    EXPECT_EQ(read_fully(fd, bytes, 1), -1);
}

} // namespace
